#include "Scenarios.h"

#include <filesystem>
#include <stdexcept>
#include <string>

#include "Machine.h"
#include "net/CDownload.h"
#include "platform/Files.h"

namespace {

constexpr std::uint16_t slowPort = 81;

void expect(bool condition, const char* what) {
    if (!condition) throw std::runtime_error(what);
}

std::int64_t writtenBytes() {
    const std::int16_t number = platform::openBinary(machine::scratchFile());
    const std::int64_t length = platform::fileLength(number);
    platform::closeFile(number);
    return length;
}

std::int32_t chunkSize() {
    const auto socket = CSocketMaster::create();
    socket->Bind(0, L"127.0.0.1");
    std::int32_t size = 0;
    platform::getsockopt(socket->SocketHandle(), platform::sockets::receiveBufferSize, size);
    return size;
}

} // namespace

namespace scenarios {

void download(std::int64_t bytes) {
    CDownload download;
    bool completed = false;
    bool failed = false;
    download.on.Completed = [&] { completed = true; };
    download.on.Error = [&](std::int16_t, std::wstring&) { failed = true; };
    download.Download(L"http://127.0.0.1/" + std::to_wstring(bytes), machine::scratchFile());
    while (!completed && !failed) platform::waitMessages();
    expect(completed, "the download has failed");
    expect(writtenBytes() == bytes, "the download is not whole");
}

namespace {

void bareLoop(std::int64_t bytes, decltype(machine::plainDownload)* fetch) {
    static const std::int32_t chunk = chunkSize();
    const std::int64_t all = fetch("/" + std::to_string(bytes), machine::scratchFile(), chunk);
    expect(all > bytes, "the answer is not whole");
}

} // namespace

void plainLoop(std::int64_t bytes) { bareLoop(bytes, machine::plainDownload); }

void eventLoop(std::int64_t bytes) { bareLoop(bytes, machine::eventDownload); }

Growth cycles(std::int32_t rounds) {
    constexpr std::int32_t warmUp = 200;
    const auto socket = CSocketMaster::create();
    bool done = false;
    socket->on.Connect = [&] { socket->SendData(L"GET /1000 HTTP/1.0\r\n\r\n"); };
    socket->on.DataArrival = [&](std::int32_t total) { done = total > 1000; };
    socket->on.Error = [](std::int16_t, std::wstring&, std::int32_t, const std::wstring&, const std::wstring&,
                          std::int32_t, bool&) { throw std::runtime_error("a connection has failed"); };
    Growth start{};
    for (std::int32_t round = -warmUp; round < rounds; ++round) {
        if (round == 0) start = {machine::residentBytes(), machine::openHandles()};
        done = false;
        socket->Connect(L"localhost", 80);
        while (!done) platform::waitMessages();
        Value answer;
        socket->GetData(answer);
        socket->CloseSck();
    }
    return {machine::residentBytes() - start.bytes, machine::openHandles() - start.handles};
}

double sendToSlowReader(std::int64_t bytes) {
    const std::string data(static_cast<std::size_t>(bytes), 'x');
    const auto socket = CSocketMaster::create();
    bool complete = false;
    socket->on.SendComplete = [&] { complete = true; };
    socket->Connect(L"127.0.0.1", slowPort);
    while (socket->State() == StateConnecting) platform::waitMessages();
    expect(socket->State() == StateConnected, "no slow reader");
    const double start = machine::processorSeconds();
    socket->SendData(data);
    while (!complete && socket->State() == StateConnected) platform::waitMessages();
    expect(complete, "not all was sent");
    return machine::processorSeconds() - start;
}

} // namespace scenarios
