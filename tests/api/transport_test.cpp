#include "program/ProgramTest.h"

namespace {

class Transport : public ProgramTest {
protected:
    void SetUp() override {
        ProgramTest::SetUp();
        frmMain->tmrMain.Enabled = true; // a bad answer stops it
    }
    static bool send(const std::wstring& method, Strings keys = {}, Strings values = {}) {
        return gAPI->APISend(method, keys, values);
    }
    /// The answer to a getGalleries request, in the given pieces; true if it was taken apart.
    bool isUnderstood(const std::vector<std::string>& segments) {
        galleries.clear();
        site().replies.insert(site().replies.begin(), {"method=vh.getGalleries", {segments}});
        const std::size_t before = site().requests.size();
        getGalleries();
        const bool sent =
            testDesktop::pumpUntil([&] { return site().requests.size() > before && site().hasSentAll(); });
        person::settle();
        site().replies.erase(site().replies.begin());
        return sent && galleries.size() == 2;
    }
};

TEST_F(Transport, RequestsAreBareLinesWithTheVersionLast) {
    ASSERT_EQ(site().requests.size(), 0u);
    const std::string base = "GET http://api.velvetharbor.example/api.php?apikey=Rv8nTq2LxW5d&method=";
    const std::tuple<std::wstring, Strings, Strings, std::string> cases[] = {
        {L"vh.auth.login",
         {L"username", L"md5password"},
         {L"a.b", L"ff"},
         "vh.auth.login&username=a%2Eb&md5password=ff"},
        {L"vh.getGalleries", {}, {}, "vh.getGalleries"},
        {L"vh.wallpapers.browse",
         {L"tag"},
         {L"dog*, cat"},
         "vh.wallpapers.browse&tag=dog%2A%2C+cat&QY%5FVersion=1%2E0%2E112"},
        {L"vh.wallpapers.favorites", {L"member"}, {L""}, "vh.wallpapers.favorites&member=&QY%5FVersion=1%2E0%2E112"},
    };
    for (const auto& [method, keys, values, line] : cases) {
        site().stayMute("vh");
        const std::size_t before = site().requests.size();
        ASSERT_TRUE(send(method, keys, values));
        ASSERT_TRUE(testDesktop::pumpUntil([&] { return site().requests.size() > before; }));
        EXPECT_EQ(site().lastRequest(), base + line + " HTTP/1.0\r\n\r\n");
    }
}

TEST_F(Transport, TheConnectionIsKeptAndDataFromItDisarmsTheWatchdog) {
    site().stayMute("vh.wallpapers.browse");
    timerTick = 17;
    ASSERT_TRUE(send(L"vh.wallpapers.browse"));
    EXPECT_TRUE(gTimers->Active_SockTimeout);
    EXPECT_EQ(Start_SockTimeout, 17);
    ASSERT_TRUE(send(L"vh.wallpapers.browse"));
    ASSERT_TRUE(testDesktop::pumpUntil([&] { return site().requests.size() == 2; })) << "both on the one connection";
    gAPI->apiNetworkOutage = true;
    ASSERT_TRUE(send(L"vh.getGalleries"));
    ASSERT_TRUE(testDesktop::pumpUntil([] { return galleries.size() == 2; }));
    EXPECT_FALSE(gTimers->Active_SockTimeout);
    EXPECT_FALSE(gAPI->apiNetworkOutage) << "any byte is a sign of life";
}

TEST_F(Transport, TheEndOfAnAnswerIsKnownFromItsText) {
    const std::string whole = Service::apiAnswer(Service::galleries);
    EXPECT_TRUE(isUnderstood({whole}));
    EXPECT_TRUE(frmMain->tmrMain.Enabled);
    EXPECT_EQ(takeNotice(), L"");
    site().replies = {{"vh.wallpapers", {{Service::apiAnswer("<half")}}}};
    ASSERT_TRUE(send(L"vh.wallpapers.browse"));
    ASSERT_TRUE(testDesktop::pumpUntil([] { return !gTimers->Active_SockTimeout; }));
    EXPECT_TRUE(isUnderstood({whole})) << "what another answer has left is gone with its connection";
    const std::size_t body = whole.find("<galleries>");
    std::vector<std::string> bytes{whole.substr(0, whole.size() - 30)};
    for (const char c : whole.substr(whole.size() - 30)) bytes.emplace_back(1, c);
    EXPECT_TRUE(isUnderstood(bytes)) << "the end byte by byte";
    EXPECT_TRUE(isUnderstood({whole.substr(0, body), whole.substr(body)}));
    EXPECT_TRUE(isUnderstood({Service::apiAnswer("\n\n" + Service::galleries + "\n\n\n")})) << "empty lines around it";
    std::string withAttribute = whole;
    withAttribute.replace(body, 11, "<galleries count=\"2\" x=\"y\">");
    EXPECT_TRUE(isUnderstood({withAttribute}));
}

TEST_F(Transport, AnAnswerThatDoesNotCloseItsRootOnALineOfItsOwnNeverEnds) {
    std::string crlf = Service::galleries;
    for (std::size_t at = 0; (at = crlf.find('\n', at)) != std::string::npos; at += 2) crlf.insert(at, "\r");
    EXPECT_FALSE(isUnderstood({Service::apiAnswer(crlf)}));
    // The tag of the answer that never ended is still the one that counts.
    EXPECT_FALSE(isUnderstood({Service::apiAnswer(Service::galleries)}));
    EXPECT_EQ(takeNotice(), L"");
}

TEST_F(Transport, ASplitHeaderIsTakenForAForeignOneAndStopsTheClock) {
    const std::string whole = Service::apiAnswer(Service::galleries);
    EXPECT_TRUE(isUnderstood({"HTTP/1.0 200 OK\r\n\r\n" + Service::galleries})) << "warned, and processed all the same";
    frmSlideMessage.discard();
    EXPECT_TRUE(isUnderstood({whole.substr(0, 10), whole.substr(10)}));
    EXPECT_FALSE(frmMain->tmrMain.Enabled);
    EXPECT_EQ(takeNotice(),
              L"Quillory - Network Error | Quillory received a response from a source other than Velvet "
              L"Harbor.  This is usually caused by a wireless gateway interfering (at a coffee shop, "
              L"airport, etc).  Try visiting VelvetHarbor in your web browser.  If everything works there, "
              L"try scanning your computer for spyware.");
    EXPECT_FALSE(isUnderstood({whole.substr(0, 25), whole.substr(25)}))
        << "cut behind its first line, which is taken for the answer's: what would close it never comes";
}

TEST_F(Transport, AnAnswerOfOneLineIsUnexpected) {
    EXPECT_FALSE(isUnderstood({Service::apiAnswer("<galleries></galleries>\n")}));
    EXPECT_EQ(takeNotice(),
              L"Quillory - Network Error | The Velvet Harbor servers responded in an unexpected way.  This "
              L"could be due to a temporary network problem or interference from another program on your "
              L"computer (such as spyware).  If this continues, please reinstall Quillory: "
              L"http://velvetharbor.example/quillory/");
    EXPECT_FALSE(frmMain->tmrMain.Enabled);
    gAPI = std::make_unique<CVHAPI>();
    EXPECT_FALSE(isUnderstood({Service::apiAnswer("<a>\n</a>\n")}));
    EXPECT_THAT(takeNotice(), StartsWith(L"Quillory - API Error | ")) << "the shortest that is an answer";
}

} // namespace
