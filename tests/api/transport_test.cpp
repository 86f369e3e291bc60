#include "program/ProgramTest.h"

#include "core/Endpoints.h"

namespace {

using testing::HasSubstr;

class Transport : public ProgramTest {
protected:
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
    struct Case {
        std::wstring method;
        Strings keys, values;
        std::string line;
    };
    const std::string base = "GET http://api.velvetharbor.example/api.php?apikey=Rv8nTq2LxW5d&method=";
    const Case cases[] = {
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
    for (const Case& c : cases) {
        site().stayMute("vh");
        const std::size_t before = site().requests.size();
        ASSERT_TRUE(send(c.method, c.keys, c.values));
        ASSERT_TRUE(testDesktop::pumpUntil([&] { return site().requests.size() > before; }));
        EXPECT_EQ(site().lastRequest(), base + c.line + " HTTP/1.0\r\n\r\n");
    }
}

TEST_F(Transport, SendingArmsTheWatchdogAndDataDisarmsIt) {
    site().stayMute("vh.wallpapers.browse");
    timerTick = 17;
    ASSERT_TRUE(send(L"vh.wallpapers.browse"));
    EXPECT_TRUE(gTimers->Active_SockTimeout);
    EXPECT_EQ(Start_SockTimeout, 17);
    gAPI->apiNetworkOutage = true;
    ASSERT_TRUE(send(L"vh.getGalleries"));
    ASSERT_TRUE(testDesktop::pumpUntil([] { return galleries.size() == 2; }));
    EXPECT_FALSE(gTimers->Active_SockTimeout);
    EXPECT_FALSE(gAPI->apiNetworkOutage) << "any byte is a sign of life";
}

TEST_F(Transport, TheEndOfAnAnswerIsKnownFromItsText) {
    const std::string whole = Service::apiAnswer(Service::galleries);
    EXPECT_TRUE(isUnderstood({whole}));
    const std::size_t body = whole.find("<galleries>");
    std::vector<std::string> bytes{whole.substr(0, whole.size() - 30)};
    for (const char c : whole.substr(whole.size() - 30)) bytes.emplace_back(1, c);
    EXPECT_TRUE(isUnderstood(bytes)) << "the end byte by byte";
    EXPECT_TRUE(isUnderstood({whole.substr(0, body), whole.substr(body)}));
    EXPECT_TRUE(isUnderstood({whole.substr(0, body + 30), whole.substr(body + 30, 40), whole.substr(body + 70)}));
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
}

TEST_F(Transport, ASplitHeaderIsTakenForAForeignOneAndStopsTheClock) {
    frmMain->tmrMain.Enabled = true;
    const std::string whole = Service::apiAnswer(Service::galleries);
    EXPECT_TRUE(isUnderstood({whole}));
    EXPECT_TRUE(frmMain->tmrMain.Enabled);
    EXPECT_FALSE(frmSlideMessage.isLoaded());
    EXPECT_TRUE(isUnderstood({whole.substr(0, 10), whole.substr(10)})) << "warned, and processed all the same";
    EXPECT_FALSE(frmMain->tmrMain.Enabled);
    EXPECT_EQ(frmSlideMessage->lblTitle.Caption(), L"Quillory - Network Error");
    EXPECT_THAT(frmSlideMessage->lblStatusMsg.Caption(),
                testing::StartsWith(L"Quillory received a response from a source othe"));
}

TEST_F(Transport, AHeaderCutBehindItsFirstLineIsTakenForTheAnswersFirstLine) {
    const std::string whole = Service::apiAnswer(Service::galleries);
    EXPECT_FALSE(isUnderstood({whole.substr(0, 25), whole.substr(25)})) << "what would close it never comes";
}

TEST_F(Transport, AnAnswerOfOneLineIsUnexpected) {
    EXPECT_FALSE(isUnderstood({Service::apiAnswer("<galleries></galleries>\n")}));
    EXPECT_EQ(frmSlideMessage->lblTitle.Caption(), L"Quillory - Network Error");
    EXPECT_THAT(frmSlideMessage->lblStatusMsg.Caption(),
                testing::StartsWith(L"The Velvet Harbor servers responded in an unexpected way.  This "));
    EXPECT_FALSE(frmMain->tmrMain.Enabled);
}

TEST_F(Transport, TheConnectionIsKeptAndTwoRequestsMayShareIt) {
    site().stayMute("vh.wallpapers.browse");
    ASSERT_TRUE(send(L"vh.wallpapers.browse"));
    ASSERT_TRUE(send(L"vh.wallpapers.browse"));
    ASSERT_TRUE(testDesktop::pumpUntil([&] { return site().requests.size() == 2; }));
    ASSERT_TRUE(send(L"vh.getGalleries"));
    ASSERT_TRUE(testDesktop::pumpUntil([] { return galleries.size() == 2; }));
}

} // namespace
