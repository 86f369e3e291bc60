#include "program/Service.h"

#include <algorithm>

#include "program/Person.h"

std::string samplePicture() {
    const std::string header("BM\x46\0\0\0\0\0\0\0\x36\0\0\0", 14);
    const std::string sizes("\x28\0\0\0\2\0\0\0\2\0\0\0\1\0\x18\0\0\0\0\0\x10\0\0\0", 24); // 2 by 2, of 24 bits
    const std::string row("\x10\x20\x30\x10\x20\x30\0\0", 8);                              // padded
    return header + sizes + std::string(16, '\0') + row + row;
}

Service::Service() { comeBack(); }

void Service::comeBack() {
    listener = CSocketMaster::create();
    listener->Bind(person::sitePort(), L"127.0.0.1");
    listener->on.ConnectionRequest = [this](std::int32_t id) {
        auto peer = std::make_shared<Peer>();
        peer->socket = CSocketMaster::create();
        const std::weak_ptr<Peer> weak = peer;
        peer->socket->on.DataArrival = [this, weak](std::int32_t) {
            if (auto alive = weak.lock()) serve(alive);
        };
        peer->socket->on.CloseSck = [this, weak] {
            if (auto alive = weak.lock()) {
                alive->socket->CloseSck();
                std::erase(peers, alive);
            }
        };
        peers.push_back(peer);
        peer->socket->Accept(id);
    };
    listener->Listen();
    person::siteListens(listener->LocalPort());
}

void Service::goAway() {
    listener->CloseSck();
    listener.reset();
    hangUp();
}

void Service::hangUp() {
    for (const auto& peer : peers) peer->socket->CloseSck();
    peers.clear();
}

void Service::serve(const std::shared_ptr<Peer>& peer) {
    Value data = std::string();
    peer->socket->GetData(data);
    peer->received += std::get<std::string>(data);
    for (std::size_t end; (end = peer->received.find("\r\n\r\n")) != std::string::npos;) {
        requests.push_back(peer->received.substr(0, end + 4));
        peer->received.erase(0, end + 4);
        const Reply reply = replyTo(requests.back());
        peer->waiting.insert(peer->waiting.end(), reply.segments.begin(), reply.segments.end());
        peer->closing = reply.close;
        sendNext(peer);
    }
}

/// One segment at a time, with a pause in which the client sees it.
void Service::sendNext(const std::shared_ptr<Peer>& peer) {
    if (peer->socket->State() != StateConnected) return;
    if (peer->waiting.empty()) {
        if (!peer->closing) return;
        peer->socket->CloseSck();
        std::erase(peers, peer);
        return;
    }
    const std::string segment = peer->waiting.front();
    peer->waiting.erase(peer->waiting.begin());
    peer->socket->SendData(segment);
    const std::weak_ptr<Peer> weak = peer;
    person::later(
        [this, weak] {
            if (auto alive = weak.lock()) sendNext(alive);
        },
        peer->waiting.empty() ? 0 : 3);
}

Service::Reply Service::replyTo(const std::string& request) {
    for (auto& [text, reply] : replies) {
        if (reply.times == 0 || request.find(text) == std::string::npos) continue;
        if (reply.times > 0) --reply.times;
        return reply;
    }
    if (request.find("method=vh.auth.login") != std::string::npos) return {{apiAnswer(auth)}};
    if (request.find("method=vh.getGalleries") != std::string::npos) return {{apiAnswer(galleries)}};
    if (request.find("method=vh.wallpapers.") != std::string::npos) return {{apiAnswer(wallpapers(4711))}};
    return {{fileAnswer(samplePicture())}, true};
}

std::size_t Service::count(const std::string& text) const {
    return static_cast<std::size_t>(
        std::ranges::count_if(requests, [&](const std::string& r) { return r.find(text) != std::string::npos; }));
}

bool Service::hasSentAll() const {
    return std::ranges::all_of(peers, [](const auto& peer) { return peer->waiting.empty(); });
}

void Service::onApi(const std::string& method, const std::string& body) {
    replies.insert(replies.begin(), {"method=" + method, {{apiAnswer(body)}}});
}

void Service::onFile(const std::string& pathPart, const std::string& content) {
    replies.insert(replies.begin(), {pathPart, {{fileAnswer(content)}, true}});
}

void Service::offerUpdate() {
    onFile("Quillory-1.0.113.zip.md5 ", updateHash + "\n");
    onFile("Quillory-1.0.113.zip ", updateArchive);
}

std::string Service::apiAnswer(const std::string& body) {
    return "HTTP/1.0 200 OK\r\nResponse-From: VHAPI\r\nContent-Type: text/xml\r\n\r\n" + body;
}

std::string Service::fileAnswer(const std::string& content) {
    return "HTTP/1.0 200 OK\r\nContent-Length: " + std::to_string(content.size()) + "\r\n\r\n" + content;
}

std::string Service::wallpapers(int id) {
    return "<wallpapers count=\"1\">\n<wallpaper><id>" + std::to_string(id) +
           "</id><filename>Quiet-Bay.jpg</filename><link>http://velvetharbor.example/w/" + std::to_string(id) +
           "</link></wallpaper>\n</wallpapers>\n";
}
