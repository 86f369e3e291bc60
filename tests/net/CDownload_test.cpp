#include "net/CDownload.h"

#include <map>

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
            events.push_back("Error " + told(RunTimeError(Number, L"", Description)));
            EXPECT_TRUE(download.IsIdle());
        };
        download.on.Completed = [this] {
            events.push_back("Completed");
            EXPECT_EQ(download.FileSize(), 0) << "reset already";
        };
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
        return testDesktop::pumpUntil([&] { return testing::Value(events, testing::Contains(StartsWith(event))); });
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
    EXPECT_EQ(request, "GET /dl/a b?x=1&y=/2 HTTP/1.0\r\n"
                       "Accept: image/gif, image/x-xbitmap, image/jpeg, image/pjpeg, application/vnd.ms-powerpoint, "
                       "application/vnd.ms-excel, application/msword, application/x-shockwave-flash, */*\r\n"
                       "Referer: 127.0.0.1\r\n"
                       "User-Agent: Mozilla/4.0 (compatible; MSIE 5.5; Windows 98; Win 9x 4.90)\r\n"
                       "Host: 127.0.0.1\r\n"
                       "\r\n");
    const std::string head = "HTTP/1.0 404 Not Found\r\ncontent-length: 11\r\n\r\n";
    for (const char byte : head) { // in the smallest pieces that there are
        EXPECT_THAT(events, IsEmpty());
        peer.send({byte});
        platform::pumpMessages();
    }
    ASSERT_TRUE(hears("DataArrival 0"));
    EXPECT_EQ(download.FileSize(), 11);
    EXPECT_EQ(header, head);
    peer.send("hello world");
    ASSERT_TRUE(hears("DataArrival 11"));
    peer.close();
    ASSERT_TRUE(hears("Completed"));
    EXPECT_THAT(events, ElementsAre("Starting 11", "DataArrival 0", "DataArrival 11", "Completed"));
    EXPECT_EQ(platform::readWholeFile(file), "hello world") << "whatever the status";
    EXPECT_EQ(InstanceCount, 0) << "no socket is kept";
}

TEST_F(Download, ReadsTheLengthAsALeadingNumber) {
    const std::map<std::string, std::string> cases{{"12 bytes", "Starting 12"},
                                                   {"  7  ", "Starting 7"},
                                                   {"2.5", "Starting 2"},
                                                   {"many", "Starting 0"},
                                                   {"", "Starting 0"},
                                                   {"-5", "Starting -5"},
                                                   {"2147483647", "Starting 2147483647"},
                                                   {"2147483648", "Error 6 Overflow"}};
    for (const auto& [text, event] : cases) {
        started().send("HTTP/1.0 200 OK\r\nCONTENT-LENGTH:" + text + "\r\n\r\n");
        EXPECT_TRUE(hears(event)) << text;
        download.Cancel();
    }
}

TEST_F(Download, AnAnswerWithoutAHeadIsAllBodyAndThePeersCloseIsTheEnd) {
    const std::string bare = "HTTP/1.0 200 OK\nContent-Length: 4\n\nbody";
    EXPECT_EQ(fetched(bare), bare);
    EXPECT_THAT(events, ElementsAre("Starting 39", "DataArrival 39", "Completed"));
    EXPECT_EQ(header, "");
    EXPECT_EQ(fetched(""), "") << "the earlier file is gone";
    EXPECT_THAT(events, ElementsAre("Starting 0", "DataArrival 0", "Completed")) << "no answer is no failure";
    EXPECT_EQ(fetched("HTTP/1.0 200 OK\r\nContent-Length: 900\r\n\r\nshort"), "short");
    EXPECT_THAT(events, ElementsAre("Starting 900", "DataArrival 5", "Completed"));

    download.on.Starting = [this](std::int32_t, const std::string&) { download.Cancel(); };
    auto peer = started();
    peer.send("no head");
    peer.close();
    EXPECT_TRUE(testDesktop::pumpUntil([&] { return !escaped.empty(); }));
    EXPECT_THAT(escaped, ElementsAre(StartsWith("52 "))) << "there is no file any more, and nobody to tell";
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(Download, FollowsALocationWhereverItStandsUnlessTold) {
    const std::string answer = "HTTP/1.0 302 Found\r\nX-Content-LOCATION:  http://localhost/there?a=b \r\n\r\nmoved";
    started().send(answer);
    auto second = requested();
    EXPECT_THAT(request, StartsWith("GET /there?a=b HTTP/1.0\r\n"));
    EXPECT_THAT(request, HasSubstr("Host: localhost\r\n"));
    EXPECT_EQ(download.URL(), L"http://localhost/there?a=b");
    second.send("HTTP/1.0 200 OK\r\n\r\nfound");
    second.close();
    ASSERT_TRUE(hears("Completed"));
    EXPECT_THAT(events, ElementsAre("Starting 0", "DataArrival 5", "Completed")) << "of the last answer alone";
    EXPECT_EQ(platform::readWholeFile(file), "found");

    started().send("HTTP/1.0 302 Found\r\nNote: location:nobody.invalid/there\r\n\r\n");
    EXPECT_TRUE(hears("Error 1100")) << "one that is no whole URL leads nowhere";

    download.DisableRedirection(true);
    EXPECT_EQ(fetched(answer), "moved");
    EXPECT_EQ(download.URL(), L"http://127.0.0.1/picture.jpg");
}

TEST_F(Download, TakesHostAndPathOutOfTheUrl) {
    const std::map<std::wstring, std::string> paths{
        {L"http://localhost", "/"}, {L"localhost/", "/"}, {L"localhost/a//b", "/a//b"}};
    for (const auto& [url, path] : paths) {
        started(url);
        EXPECT_THAT(request, StartsWith("GET " + path + " HTTP/1.0\r\n"));
        EXPECT_THAT(request, HasSubstr("\r\nReferer: localhost\r\n"));
        download.Cancel();
    }
    for (const std::wstring url : {L"HTTP://localhost/a", L"http://localhost:80/a"}) {
        events.clear();
        download.Download(url, file);
        EXPECT_TRUE(hears("Error 1100")) << "its host is no name";
    }

    download.Proxy(L"  127.0.0.1 ");
    download.ProxyPort(server.port());
    for (const std::int32_t type : {1, 2}) { // the whole URL with the first alone
        download.AccessType(type);
        started(L"http://far.away/picture.jpg");
        EXPECT_THAT(request, StartsWith(type == 1 ? "GET http://far.away/picture.jpg " : "GET /picture.jpg "));
        download.Cancel();
    }
    download.ProxyPort(0);
    download.Download();
    EXPECT_THAT(events.back(), HasSubstr("in the specified range")) << "a failure like any other";
}

TEST_F(Download, OnlyDownloadSetsTheDestination) {
    download.URL(L" http://127.0.0.1/stored ");
    download.Destination(L"elsewhere");
    EXPECT_EQ(download.Destination(), L"");
    download.Download({}, L"  " + file + L" ");
    EXPECT_EQ(download.Destination(), file);
    requested();
    EXPECT_THAT(request, StartsWith("GET /stored "));
    download.Cancel();

    download.Download(L"http://127.0.0.1/", testDesktop::scratchFolder() + L"\\missing\\file");
    EXPECT_TRUE(hears("Error 76 Path not found"));
}

TEST_F(Download, ReplacesAFileWhenTheConnectionStandsButNotOneInOtherLetterCase) {
    constexpr std::uint32_t special =
        platform::attributes::readOnly | platform::attributes::hidden | platform::attributes::system;
    testDesktop::putFile(file, "a longer old content");
    download.Download(L"http://nobody.invalid/", file);
    ASSERT_TRUE(hears("Error 1100"));
    EXPECT_EQ(platform::readWholeFile(file), "a longer old content");

    platform::setFileAttributes(file, special);
    EXPECT_EQ(fetched("HTTP/1.0 200 OK\r\n\r\nnew"), "new");
    EXPECT_EQ(*platform::fileAttributes(file) & special, 0u);
    platform::deleteFile(file);
    testDesktop::putFile(testDesktop::scratchFolder() + L"\\PICTURE.JPG", "old");
    EXPECT_EQ(fetched("HTTP/1.0 200 OK\r\n\r\n+new"), "old+new");
}

TEST_F(Download, HandlersMayCancelAndStartAnew) {
    download.Cancel(); // nothing
    EXPECT_EQ(download.FileSize(), 0);
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
    started().send(answer);
    EXPECT_TRUE(hears("DataArrival 4"));
    EXPECT_EQ(InstanceCount, 0);
    EXPECT_EQ(platform::readWholeFile(file), "body") << "the part stays";
    EXPECT_EQ(events.size(), 1u);

    download.on.DataArrival = [](std::int32_t) { throw std::bad_alloc(); };
    started().send(answer);
    EXPECT_TRUE(hears("Error 7 Out of memory"));

    download.on.DataArrival = nullptr;
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
    {
        CDownload other;
        other.Download(L"http://127.0.0.1/", file + L"2");
        requested();
    }
    EXPECT_EQ(InstanceCount, 0) << "dropping it drops its socket";
    platform::closeFile(1); // and not the file
}

} // namespace
