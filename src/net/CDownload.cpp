#include "net/CDownload.h"

#include <algorithm>
#include <new>

#include "core/Numbers.h"
#include "net/Events.h"
#include "platform/Files.h"
#include "platform/RunTimeError.h"
#include "platform/Text.h"

namespace {

constexpr const char* endOfHeader = "\r\n\r\n";

template <class Text> Text trimmed(const Text& text) {
    const auto first = text.find_first_not_of(' ');
    if (first == Text::npos) return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::wstring withoutScheme(const std::wstring& url) {
    const std::wstring scheme = L"http://";
    return url.starts_with(scheme) ? url.substr(scheme.size()) : url;
}

std::wstring GetHostFromUrl(const std::wstring& url) {
    const std::wstring rest = withoutScheme(trimmed(url));
    return rest.substr(0, rest.find(L'/'));
}

/// The last character is not looked at, so a backslash at the end belongs to the name.
std::wstring GetFileFromPath(const std::wstring& path) {
    if (path.size() < 2) return path;
    const auto slash = path.rfind(L'\\', path.size() - 2);
    return slash == std::wstring::npos ? path : path.substr(slash + 1);
}

char lowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// The value behind the first place in the whole block where the name stands, be it a field's name or not.
std::string GetHeaderValue(const std::string& header, const std::string& name) {
    const auto found = std::search(header.begin(), header.end(), name.begin(), name.end(),
                                   [](char a, char b) { return lowerCase(a) == lowerCase(b); });
    if (found == header.end()) return {};
    const auto start = static_cast<std::size_t>(found - header.begin()) + name.size() + 1; // one for the colon
    if (start > header.size()) return {};
    return trimmed(header.substr(start, header.find("\r\n", start) - start));
}

} // namespace

CDownload::~CDownload() { dropSocket(); }

std::wstring CDownload::Proxy() const { return proxy; }
void CDownload::Proxy(const std::wstring& host) { proxy = trimmed(host); }
std::int32_t CDownload::ProxyPort() const { return proxyPort; }
void CDownload::ProxyPort(std::int32_t port) { proxyPort = port; }
std::int32_t CDownload::AccessType() const { return accessType; }
void CDownload::AccessType(std::int32_t type) { accessType = type; }
std::wstring CDownload::URL() const { return address; }
void CDownload::URL(const std::wstring& url) { address = trimmed(url); }
std::wstring CDownload::Destination() const { return destination; }
void CDownload::Destination(const std::wstring&) { destination = trimmed(destination); }
bool CDownload::DisableRedirection() const { return disableRedirection; }
void CDownload::DisableRedirection(bool disable) { disableRedirection = disable; }
std::int32_t CDownload::FileSize() const { return fileSize; }
bool CDownload::IsIdle() const { return cmSocket == nullptr; }

/// Runs a step whose failures all end the download the same way.
template <class Step> void CDownload::failing(Step step) {
    const auto fail = [this](const RunTimeError& error) {
        std::wstring description = error.Description;
        cmSocket_Error(static_cast<std::int16_t>(error.Number), description);
    };
    try {
        step();
    } catch (const RunTimeError& error) {
        fail(error);
    } catch (const std::bad_alloc&) {
        fail(RunTimeError(errors::outOfMemory));
    }
}

void CDownload::Download(std::optional<std::wstring> url, std::optional<std::wstring> newDestination) {
    failing([&] {
        dropSocket();
        cmSocket = CSocketMaster::create();
        connectSocketEvents();
        if (url) address = trimmed(*url);
        if (newDestination) destination = trimmed(*newDestination);
        if (accessType != 0) {
            cmSocket->Connect(proxy, proxyPort);
        } else {
            cmSocket->Connect(GetHostFromUrl(address), 80);
        }
    });
}

void CDownload::Cancel() { ResetDownload(); }

void CDownload::connectSocketEvents() {
    cmSocket->on.Connect = [this] { cmSocket_Connect(); };
    cmSocket->on.DataArrival = [this](std::int32_t) { cmSocket_DataArrival(); };
    cmSocket->on.CloseSck = [this] { cmSocket_CloseSck(); };
    cmSocket->on.Error = [this](std::int16_t Number, std::wstring& Description, std::int32_t, const std::wstring&,
                                const std::wstring&, std::int32_t, bool&) { cmSocket_Error(Number, Description); };
}

/// The socket may live on until its dispatch ends, but it tells nothing any more.
void CDownload::dropSocket() {
    if (!cmSocket) return;
    cmSocket->on = {};
    cmSocket.reset();
}

void CDownload::cmSocket_Connect() {
    failing([this] {
        removeOldFile();
        FileNumber = platform::openBinary(destination);
        const std::wstring host = GetHostFromUrl(address);
        cmSocket->SendData(L"GET " + GetPathFromUrl(address) +
                           L" HTTP/1.0\r\n"
                           L"Accept: image/gif, image/x-xbitmap, image/jpeg, image/pjpeg, "
                           L"application/vnd.ms-powerpoint, application/vnd.ms-excel, application/msword, "
                           L"application/x-shockwave-flash, */*\r\n"
                           L"Referer: " +
                           host +
                           L"\r\n"
                           L"User-Agent: Mozilla/4.0 (compatible; MSIE 5.5; Windows 98; Win 9x 4.90)\r\n"
                           L"Host: " +
                           host + L"\r\n\r\n");
    });
}

/// The earlier file goes only now that the connection stands. One whose name differs in letter case does not count as
/// the same, and is written on to.
void CDownload::removeOldFile() const {
    constexpr std::uint32_t anyFile = platform::attributes::readOnly | platform::attributes::hidden |
                                      platform::attributes::system | platform::attributes::archive;
    const std::wstring found = platform::findFile(destination, anyFile);
    if (found.empty() || found != GetFileFromPath(destination)) return;
    platform::setFileAttributes(destination, 0);
    platform::deleteFile(destination);
}

void CDownload::cmSocket_DataArrival() {
    failing([this] {
        Value data = std::move(spare);
        cmSocket->GetData(data);
        std::string chunk = std::move(std::get<std::string>(data));
        if (!HeaderReceived) {
            const std::size_t known = HeaderBuffer.size(); // without an end in it, but for its last three bytes
            HeaderBuffer += chunk;
            const auto end = HeaderBuffer.find(endOfHeader, known < 3 ? 0 : known - 3);
            if (end == std::string::npos) return;
            HeaderReceived = true;
            chunk = HeaderBuffer.substr(end + 4);
            HeaderBuffer.resize(end + 4);
            if (!disableRedirection) {
                const std::string location = GetHeaderValue(HeaderBuffer, "Location");
                if (!location.empty()) {
                    ResetDownload();
                    address = platform::fromAnsi(location);
                    Download();
                    return;
                }
            }
            fileSize = toLong(Val(platform::fromAnsi(GetHeaderValue(HeaderBuffer, "Content-Length"))));
            raiseEvent(on.Starting, fileSize, std::string(HeaderBuffer)); // a handler may reset the object
        }
        appendToFile(chunk);
        const auto length = static_cast<std::int32_t>(chunk.size());
        spare = std::move(chunk);
        raiseEvent(on.DataArrival, length);
    });
}

void CDownload::cmSocket_CloseSck() {
    if (!HeaderReceived) { // then everything is body
        const std::string body = std::move(HeaderBuffer);
        HeaderBuffer.clear();
        const auto length = static_cast<std::int32_t>(body.size());
        raiseEvent(on.Starting, length, std::string());
        appendToFile(body);
        raiseEvent(on.DataArrival, length);
    }
    ResetDownload();
    raiseEvent(on.Completed);
}

void CDownload::cmSocket_Error(std::int16_t Number, std::wstring& Description) {
    ResetDownload();
    raiseEvent(on.Error, Number, Description);
}

void CDownload::appendToFile(const std::string& bytes) const {
    const std::int64_t length = platform::fileLength(FileNumber);
    if (!bytes.empty()) platform::writeFile(FileNumber, length + 1, bytes);
}

void CDownload::ResetDownload() {
    dropSocket();
    HeaderBuffer.clear();
    HeaderReceived = false;
    if (FileNumber != 0) platform::closeFile(FileNumber);
    FileNumber = 0;
    fileSize = 0;
}

/// A proxy gets the whole URL, but only with access type 1.
std::wstring CDownload::GetPathFromUrl(const std::wstring& url) const {
    if (accessType == 1) return url;
    const std::wstring rest = withoutScheme(url);
    const auto slash = rest.find(L'/');
    return slash == std::wstring::npos ? L"/" : rest.substr(slash);
}
