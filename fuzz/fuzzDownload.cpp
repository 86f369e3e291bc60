#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <string>
#include <vector>

#include "../tests/net/Peer.h"
#include "Fuzz.h"
#include "net/CDownload.h"
#include "net/modSocketMaster.h"
#include "platform/Files.h"
#include "platform/headless/Loop.h"
#include "platform/headless/Sockets.h"
#include "platform/headless/State.h"

namespace {

const std::wstring file = L"C:\\fuzzed";

bool mentionsLocation(std::string head) {
    std::ranges::transform(head, head.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return head.find("location") != std::string::npos;
}

struct Seen {
    int starts = 0;
    int ends = 0;
    std::int32_t error = 0;
    std::int64_t bytes = 0;
    std::string header;
};

/// Feeds CDownload an answer in pieces of any size, and compares what it does with what the bytes as a whole ask for.
/// Aborts on a difference.
///
/// The input: a first byte whose lowest bit says whether redirects are followed, then pieces as Fuzz.h tells.
void fuzzDownload(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return;
    headless::reset();
    headless::resetNetwork();
    headless::useResolver(false);
    const peers::Server server; // of its own: a redirect may leave a call behind
    headless::redirectPort(80, server.port());

    Seen seen;
    CDownload download;
    download.DisableRedirection((data[0] & 1) == 0);
    download.on.Starting = [&](std::int32_t, const std::string& Header) {
        ++seen.starts;
        seen.header = Header;
    };
    download.on.DataArrival = [&](std::int32_t bytes) { seen.bytes += bytes; };
    download.on.Error = [&](std::int16_t number, std::wstring&) {
        seen.error = number;
        ++seen.ends;
    };
    download.on.Completed = [&] { ++seen.ends; };
    download.Download(L"http://127.0.0.1/", file);
    require(headless::pumpUntil([&] { return server.hasInput(); }));
    peers::Connection peer = server.accept();
    require(headless::pumpUntil([&] { return peer.hasInput(); }));
    peer.receiveRequest();

    std::string answer;
    for (const std::string& piece : piecesOf(data + 1, size - 1)) {
        if (seen.ends > 0 || download.URL() != L"http://127.0.0.1/") break;
        answer += piece;
        peer.send(piece);
        platform::pumpMessages();
    }
    peer.close();

    const auto end = answer.find("\r\n\r\n");
    const std::string head = end == std::string::npos ? std::string() : answer.substr(0, end + 4);
    if (!download.DisableRedirection() && mentionsLocation(head)) {
        // The new host is whatever stood there; what counts is that no byte of this answer is kept as the file.
        headless::pumpUntil([&] { return seen.ends > 0; }, 1);
        download.Cancel();
        return;
    }
    require(headless::pumpUntil([&] { return seen.ends > 0; }));
    require(seen.ends == 1);
    require(InstanceCount == 0);
    if (seen.error != 0) {
        require(seen.error == 6 && !head.empty()); // a length that no number can hold
        return;
    }
    const std::string body = answer.substr(head.size());
    require(seen.starts == 1);
    require(seen.header == head);
    require(seen.bytes == static_cast<std::int64_t>(body.size()));
    require(platform::readWholeFile(file) == body);
}

} // namespace

FUZZ_TARGET(fuzzDownload)
