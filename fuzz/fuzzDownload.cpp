#include <cctype>
#include <string>

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
    for (char& c : head) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return head.find("location") != std::string::npos;
}

/// Feeds CDownload an answer in pieces of any size, and compares what it does with what the bytes as a whole ask for.
/// Aborts on a difference.
///
/// The input: a first byte whose lowest bit says whether redirects are followed, then pieces as Fuzz.h tells.
void fuzzDownload(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return;
    headless::reset();
    headless::useResolver(false);
    const peers::Server server; // of its own: a redirect may leave a call behind
    headless::redirectPort(80, server.port());

    struct {
        int starts = 0;
        int ends = 0;
        std::int32_t error = 0;
        std::size_t bytes = 0;
        std::string header;
    } seen;
    CDownload download;
    download.DisableRedirection((data[0] & 1) == 0);
    download.on.Starting = [&](std::int32_t, const std::string& Header) {
        ++seen.starts;
        seen.header = Header;
    };
    download.on.DataArrival = [&](std::int32_t bytes) { seen.bytes += static_cast<std::size_t>(bytes); };
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
    require(seen.ends == 1 && InstanceCount == 0);
    if (seen.error != 0) {
        require(seen.error == 6 && !head.empty()); // a length that no number can hold
        return;
    }
    const std::string body = answer.substr(head.size());
    require(seen.starts == 1 && seen.header == head && seen.bytes == body.size());
    require(platform::readWholeFile(file) == body);
}

} // namespace

FUZZ_TARGET(fuzzDownload)
