#include "net/CDownload.h"

#include "NetTest.h"
#include "Peer.h"
#include "platform/Files.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

#ifdef _WIN32
constexpr std::uint16_t serverPort = 80;
#else
constexpr std::uint16_t serverPort = 0; // any, and port 80 leads to it
#endif

class Download : public NetTest {
protected:
    peers::Server server{serverPort};
    CDownload download;
    std::vector<std::string> events;
    std::string header;
    std::string request;
    const std::wstring file = testDesktop::scratchFolder() + L"\\Picture.jpg";

    Download() {
#ifndef _WIN32
        headless::redirectPort(80, server.port());
#endif
        download.on.Starting = [this](std::int32_t FileSize, const std::string& Header) {
            events.push_back("Starting " + std::to_string(FileSize));
            header = Header;
        };
        download.on.DataArrival = [this](std::int32_t Bytes) {
            events.push_back("DataArrival " + std::to_string(Bytes));
        };
        download.on.Error = [this](std::int16_t Number, std::wstring& Description) {
            events.push_back("Error " + std::to_string(Number) + " " +
                             std::string(Description.begin(), Description.end()));
        };
        download.on.Completed = [this] { events.push_back("Completed"); };
    }

    /// The other end of a download that has been started, its request read.
    peers::Connection requested() {
        EXPECT_TRUE(testDesktop::pumpUntil([&] { return server.hasInput(); }));
        peers::Connection peer = server.accept();
        EXPECT_TRUE(testDesktop::pumpUntil([&] { return peer.hasInput(); }));
        request = peer.receiveRequest();
        return peer;
    }

    peers::Connection started(const std::wstring& url = L"http://127.0.0.1/picture.jpg") {
        events.clear();
        download.Download(url, file);
        return requested();
    }

    bool hears(const std::string& event) const {
        return testDesktop::pumpUntil([&] { return testing::Value(events, testing::Contains(event)); });
    }

    /// A whole download with this answer; what the file holds then.
    std::string fetched(const std::string& answer) {
        auto peer = started();
        peer.send(answer);
        peer.close();
        EXPECT_TRUE(hears("Completed"));
        return platform::readWholeFile(file);
    }
};

TEST_F(Download, FetchesAFileWithItsFixedRequest) {
    auto peer = started(L"  http://127.0.0.1/dl/a b?x=1&y=/2 ");
    EXPECT_EQ(request,
              "GET /dl/a b?x=1&y=/2 HTTP/1.0\r\n"
              "Accept: image/gif, image/x-xbitmap, image/jpeg, image/pjpeg, application/vnd.ms-powerpoint, "
              "application/vnd.ms-excel, application/msword, application/x-shockwave-flash, */*\r\n"
              "Referer: 127.0.0.1\r\n"
              "User-Agent: Mozilla/4.0 (compatible; MSIE 5.5; Windows 98; Win 9x 4.90)\r\n"
              "Host: 127.0.0.1\r\n"
              "\r\n");
    peer.send("HTTP/1.0 200 OK\r\ncontent-length: 11\r\n\r\nhello");
    ASSERT_TRUE(hears("DataArrival 5"));
    EXPECT_EQ(download.FileSize(), 11);
    EXPECT_EQ(header, "HTTP/1.0 200 OK\r\ncontent-length: 11\r\n\r\n");
    peer.send(" world");
    ASSERT_TRUE(hears("DataArrival 6"));
    std::int32_t sizeAtEnd = -1;
    download.on.Completed = [&] {
        sizeAtEnd = download.FileSize();
        events.push_back("Completed");
    };
    peer.close();
    ASSERT_TRUE(hears("Completed"));
    EXPECT_THAT(events, ElementsAre("Starting 11", "DataArrival 5", "DataArrival 6", "Completed"));
    EXPECT_EQ(sizeAtEnd, 0) << "reset already";
    EXPECT_EQ(platform::readWholeFile(file), "hello world");
    EXPECT_EQ(InstanceCount, 0) << "no socket is kept";
}

TEST_F(Download, TheHeadMayComeInAnyPieces) {
    const std::string head = "HTTP/1.0 404 Not Found\r\nServer: x\r\n\r\n";
    for (std::size_t cut = head.size() - 5; cut <= head.size(); ++cut) {
        auto peer = started();
        peer.send(head.substr(0, cut));
        settle();
        if (cut == head.size()) {
            EXPECT_THAT(events, ElementsAre("Starting 0", "DataArrival 0"));
        } else {
            EXPECT_THAT(events, IsEmpty());
        }
        peer.send(head.substr(cut) + "body");
        peer.close();
        ASSERT_TRUE(hears("Completed"));
        EXPECT_EQ(events.front(), "Starting 0");
        EXPECT_EQ(header, head);
        EXPECT_EQ(platform::readWholeFile(file), "body") << "whatever the status";
    }
}

TEST_F(Download, ReadsTheLengthAsALeadingNumber) {
    struct Case {
        std::string text;
        std::string event;
    };
    for (const auto& [text, event] :
         {Case{"12 bytes", "Starting 12"}, Case{"  7  ", "Starting 7"}, Case{"2.5", "Starting 2"},
          Case{"3.5", "Starting 4"}, Case{"many", "Starting 0"}, Case{"", "Starting 0"}, Case{"-5", "Starting -5"},
          Case{"2147483647", "Starting 2147483647"}, Case{"2147483648", "Error 6 Overflow"}}) {
        auto peer = started();
        peer.send("HTTP/1.0 200 OK\r\nCONTENT-LENGTH:" + text + "\r\n\r\n");
        EXPECT_TRUE(hears(event)) << text;
        download.Cancel();
    }
}

TEST_F(Download, AnAnswerWithoutAHeadIsAllBody) {
    const std::string bare = "HTTP/1.0 200 OK\nContent-Length: 4\n\nbody";
    EXPECT_EQ(fetched(bare), bare);
    EXPECT_THAT(events, ElementsAre("Starting 39", "DataArrival 39", "Completed"));
    EXPECT_EQ(header, "");
    EXPECT_EQ(fetched(""), "") << "the earlier file is gone";
    EXPECT_THAT(events, ElementsAre("Starting 0", "DataArrival 0", "Completed")) << "no answer is no failure";
    EXPECT_EQ(fetched("HTTP/1.0 200 OK\r\nContent-Length: 900\r\n\r\nshort"), "short");
    EXPECT_THAT(events, ElementsAre("Starting 900", "DataArrival 5", "Completed")) << "the end is the peer's close";
}

TEST_F(Download, FollowsALocationWhereverItStands) {
    for (const std::string field : {"Location: ", "X-Content-LOCATION:", "Note: see the location: "}) {
        SCOPED_TRACE(field);
        const auto first = started();
        first.send("HTTP/1.0 302 Found\r\n" + field + " http://localhost/there?a=b \r\n\r\nmoved");
        auto second = requested();
        EXPECT_THAT(request, StartsWith("GET /there?a=b HTTP/1.0\r\n"));
        EXPECT_THAT(request, HasSubstr("Host: localhost\r\n"));
        EXPECT_EQ(download.URL(), L"http://localhost/there?a=b");
        second.send("HTTP/1.0 200 OK\r\n\r\nfound");
        second.close();
        ASSERT_TRUE(hears("Completed"));
        EXPECT_THAT(events, ElementsAre("Starting 0", "DataArrival 5", "Completed")) << "of the last answer alone";
        EXPECT_EQ(platform::readWholeFile(file), "found");
    }
}

TEST_F(Download, LeavesALocationAloneIfTold) {
    download.DisableRedirection(true);
    EXPECT_EQ(fetched("HTTP/1.0 302 Found\r\nLocation: http://localhost/there\r\n\r\nmoved"), "moved");
    EXPECT_EQ(download.URL(), L"http://127.0.0.1/picture.jpg");
}

TEST_F(Download, ALocationThatIsNoWholeUrlLeadsNowhere) {
    auto peer = started();
    peer.send("HTTP/1.0 302 Found\r\nLocation: nobody.invalid/there\r\n\r\n");
    EXPECT_TRUE(hears("Error " + unknownHost()));
    EXPECT_EQ(InstanceCount, 0);
}

TEST_F(Download, TakesHostAndPathOutOfTheUrl) {
    struct Case {
        std::wstring url;
        std::string line;
        std::string host;
    };
    for (const auto& [url, line, host] :
         {Case{L"http://localhost", "GET / HTTP/1.0\r\n", "localhost"},
          Case{L"localhost/", "GET / HTTP/1.0\r\n", "localhost"},
          Case{L"127.0.0.1/a//b", "GET /a//b HTTP/1.0\r\n", "127.0.0.1"}}) {
        const auto peer = started(url);
        EXPECT_THAT(request, StartsWith(line));
        EXPECT_THAT(request, HasSubstr("\r\nReferer: " + host + "\r\n"));
        download.Cancel();
    }
    for (const std::wstring url : {L"HTTP://localhost/a", L"https://localhost/a", L"http://localhost:80/a"}) {
        events.clear();
        download.Download(url, file);
        EXPECT_TRUE(testDesktop::pumpUntil([&] { return !events.empty(); })) << "its host is no name";
        EXPECT_THAT(events, ElementsAre(StartsWith("Error 1100"))) << std::string(url.begin(), url.end());
    }
}

TEST_F(Download, AProxyGetsTheWholeUrlWithAccessTypeOneOnly) {
    download.Proxy(L"  127.0.0.1 ");
    EXPECT_EQ(download.Proxy(), L"127.0.0.1");
    for (const std::int32_t type : {1, 2, 3}) {
        peers::Server proxy;
        download.ProxyPort(proxy.port());
        download.AccessType(type);
        download.Download(L"http://far.away/picture.jpg", file);
        EXPECT_TRUE(testDesktop::pumpUntil([&] { return proxy.hasInput(); }));
        const auto peer = proxy.accept();
        EXPECT_TRUE(testDesktop::pumpUntil([&] { return peer.hasInput(); }));
        const std::string whole = type == 1 ? "http://far.away" : "";
        EXPECT_THAT(peer.receiveRequest(), StartsWith("GET " + whole + "/picture.jpg HTTP/1.0\r\n"));
        download.Cancel();
    }
    download.ProxyPort(0);
    events.clear();
    download.Download();
    EXPECT_EQ(events.size(), 1u) << "a port that Connect refuses is a failure like any other";
}

TEST_F(Download, OnlyDownloadSetsTheDestination) {
    download.URL(L" http://127.0.0.1/stored ");
    EXPECT_EQ(download.URL(), L"http://127.0.0.1/stored");
    download.Destination(L"elsewhere");
    EXPECT_EQ(download.Destination(), L"");
    download.Download({}, L"  " + file + L" ");
    EXPECT_EQ(download.Destination(), file);
    requested();
    EXPECT_THAT(request, StartsWith("GET /stored "));
    download.Cancel();
}

TEST_F(Download, TheOldFileGoesOnlyWhenTheConnectionStands) {
    testDesktop::putFile(file, "old content");
    download.Download(L"http://nobody.invalid/", file);
    ASSERT_TRUE(hears("Error " + unknownHost()));
    EXPECT_EQ(platform::readWholeFile(file), "old content");
    server.close();
    download.Download(L"http://127.0.0.1/", file);
    ASSERT_TRUE(hears("Error 10061 Connection refused."));
    EXPECT_EQ(platform::readWholeFile(file), "old content");
    EXPECT_EQ(InstanceCount, 0);
}

TEST_F(Download, ReplacesAFileWhateverItsAttributesButNotOneInOtherLetterCase) {
    namespace attributes = platform::attributes;
    constexpr std::uint32_t special = attributes::readOnly | attributes::hidden | attributes::system;
    for (const std::uint32_t bits : {attributes::readOnly, attributes::hidden, attributes::system, special}) {
        testDesktop::putFile(file, "a longer old content");
        platform::setFileAttributes(file, bits);
        EXPECT_EQ(fetched("HTTP/1.0 200 OK\r\n\r\nnew"), "new") << bits;
        EXPECT_EQ(*platform::fileAttributes(file) & special, 0u);
    }
    platform::deleteFile(file);
    testDesktop::putFile(testDesktop::scratchFolder() + L"\\PICTURE.JPG", "old");
    EXPECT_EQ(fetched("HTTP/1.0 200 OK\r\n\r\n+new"), "old+new");
}

TEST_F(Download, AFileThatCannotBeWrittenIsAnError) {
    download.Download(L"http://127.0.0.1/", testDesktop::scratchFolder() + L"\\missing\\file");
    EXPECT_TRUE(hears("Error 76 Path not found"));
    events.clear();
    download.Download(L"http://127.0.0.1/", L"");
    EXPECT_TRUE(testDesktop::pumpUntil([&] { return !events.empty(); }));
    EXPECT_THAT(events, ElementsAre(StartsWith("Error ")));
    EXPECT_EQ(InstanceCount, 0);
}

TEST_F(Download, CancelIsQuietAndLeavesWhatIsThere) {
    download.Cancel();
    EXPECT_THAT(events, IsEmpty());
    auto peer = started();
    peer.send("HTTP/1.0 200 OK\r\n\r\npart");
    ASSERT_TRUE(hears("DataArrival 4"));
    download.Cancel();
    EXPECT_EQ(InstanceCount, 0);
    EXPECT_EQ(events.size(), 2u);
    EXPECT_EQ(platform::readWholeFile(file), "part");
    EXPECT_EQ(fetched("HTTP/1.0 200 OK\r\n\r\nwhole"), "whole") << "and the next one works";
}

TEST_F(Download, HandlersMayCancelAndStartAnew) {
    const std::string answer = "HTTP/1.0 200 OK\r\n\r\nbody";
    download.on.Starting = [this](std::int32_t, const std::string&) { download.Cancel(); };
    started().send(answer);
    EXPECT_TRUE(hears("Error 52 Bad file name or number")) << "there is no file to write to any more";

    download.on.Starting = nullptr;
    auto report = download.on.DataArrival;
    download.on.DataArrival = [&, report](std::int32_t bytes) {
        report(bytes);
        download.Cancel();
    };
    const auto cancelled = started();
    cancelled.send(answer);
    EXPECT_TRUE(hears("DataArrival 4"));
    EXPECT_EQ(InstanceCount, 0);
    EXPECT_EQ(events.size(), 1u);

    download.on.DataArrival = report;
    int runs = 0;
    download.on.Completed = [&] {
        if (++runs == 1) download.Download();
    };
    for (int run = 1; run <= 2; ++run) {
        auto peer = run == 1 ? started() : requested();
        peer.send(answer);
        peer.close();
        EXPECT_TRUE(testDesktop::pumpUntil([&] { return runs == run; }));
    }
    EXPECT_EQ(platform::readWholeFile(file), "body");
}

TEST_F(Download, AFailureAtTheEndOfAnAnswerWithoutAHeadEscapes) {
    download.on.Starting = [this](std::int32_t, const std::string&) { download.Cancel(); };
    auto peer = started();
    peer.send("no head");
    settle();
    peer.close();
    ASSERT_TRUE(testDesktop::pumpUntil([&] { return !escaped.empty(); }));
    EXPECT_EQ(escaped[0].Number, 52);
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(Download, DroppingItDropsTheSocketAndNotTheFile) {
    testDesktop::putFile(file, "");
    {
        CDownload other;
        other.Download(L"http://127.0.0.1/", file);
        requested();
        EXPECT_EQ(InstanceCount, 1);
    }
    EXPECT_EQ(InstanceCount, 0);
    for (std::int16_t number = 1; number <= 8; ++number) platform::closeFile(number);
}

} // namespace
