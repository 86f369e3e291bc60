#pragma once

#include <memory>
#include <string>
#include <vector>

#include "net/CSocketMaster.h"

/// The site, played by the test on its own thread: API, images and update files on port 80 of every name. It answers
/// well unless the test says otherwise.
class Service {
public:
    struct Reply {
        std::vector<std::string> segments; // sent one after the other, each with its own arrival at the client
        bool close = false;
        int times = -1; // how often it is given; for ever if negative
    };

    Service();

    std::vector<std::string> requests; // whole, as they came

    /// The last request, "" if there was none.
    std::string lastRequest() const { return requests.empty() ? std::string() : requests.back(); }

    /// Number of requests with this text in them.
    std::size_t count(const std::string& text) const;

    /// Nothing of an answer waits to go out.
    bool hasSentAll() const;

    /// Answers of the test's own, by a text in the request; the first that fits counts.
    std::vector<std::pair<std::string, Reply>> replies;

    void onApi(const std::string& method, const std::string& body);
    void onFile(const std::string& pathPart, const std::string& content);
    void offerUpdate(); // the archive and its checksum
    void stayMute(const std::string& method) { replies.push_back({"method=" + method, {}}); }

    /// Closes every connection and refuses new ones until comeBack().
    void goAway();
    void hangUp(); // closes every connection, and goes on listening
    void comeBack();

    static std::string apiAnswer(const std::string& body);
    static std::string fileAnswer(const std::string& content);

    static inline const std::wstring updateLink = L"http://dl.velvetharbor.example/quillory/Quillory-1.0.113.zip";
    static inline const std::string updateArchive = "PK archive of the new release";
    static inline const std::string updateHash = "68459d8c45fa15311a0db9d11dfc38f5";
    static inline const std::string auth = "<auth>\n<token>t0k3n</token>\n<username>Alice</username>\n"
                                           "<apiKey>Zz11yY22xX33</apiKey>\n</auth>\n";
    static inline const std::string galleries =
        "<galleries>\n"
        "<gallery><friendly>Nature</friendly><categories>"
        "<category><redir>no</redir><friendly>Lakes</friendly></category>"
        "<category><redir>yes</redir><friendly>Ponds</friendly></category>"
        "<category><redir>No</redir><friendly>Seas</friendly></category>"
        "<category><redir>no</redir><friendly>Ah My Goddess</friendly></category></categories></gallery>\n"
        "<gallery><friendly>Cities</friendly></gallery>\n"
        "</galleries>\n";
    static std::string wallpapers(int id);
    static inline const std::string noWallpapers = "<wallpapers count=\"0\">\n</wallpapers>\n";

private:
    struct Peer {
        std::shared_ptr<CSocketMaster> socket;
        std::string received;
        std::vector<std::string> waiting;
        bool closing = false;
    };
    void serve(const std::shared_ptr<Peer>& peer);
    void sendNext(const std::shared_ptr<Peer>& peer);
    Reply replyTo(const std::string& request);

    std::shared_ptr<CSocketMaster> listener;
    std::vector<std::shared_ptr<Peer>> peers;
};

/// A bitmap file of one colour, as the site would send it.
std::string samplePicture();
