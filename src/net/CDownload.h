#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "net/CSocketMaster.h"

/// Fetches one URL into one local file over HTTP/1.0. The status of the answer is not looked at, and the end of the
/// connection is the end of the download.
///
/// All failures come as the event Error, once, after which the object is idle again. A partial file stays.
class CDownload {
public:
    struct Events {
        /// The header block is complete (FileSize is its Content-Length, or 0), or the connection ended without one
        /// (FileSize is what was received, Header empty).
        std::function<void(std::int32_t FileSize, const std::string& Header)> Starting;
        std::function<void(std::int32_t Bytes)> DataArrival; // bytes written to the file
        std::function<void(std::int16_t Number, std::wstring& Description)> Error;
        std::function<void()> Completed;
    };
    Events on;

    CDownload() = default;
    ~CDownload();
    CDownload(const CDownload&) = delete;
    CDownload& operator=(const CDownload&) = delete;

    std::wstring Proxy() const;
    void Proxy(const std::wstring& host);
    std::int32_t ProxyPort() const;
    void ProxyPort(std::int32_t port);
    std::int32_t AccessType() const; // 0 direct, 1 by the proxy with whole URLs, others by the proxy with bare paths
    void AccessType(std::int32_t type);
    std::wstring URL() const;
    void URL(const std::wstring& url);
    std::wstring Destination() const;
    void Destination(const std::wstring& ignored); // trims what is there: only Download sets it
    bool DisableRedirection() const;
    void DisableRedirection(bool disable);
    std::int32_t FileSize() const; // 0 outside of a download
    bool IsIdle() const;           // no download is running

    /// Starts a download of the given or the stored URL into the given or the stored file, on port 80 whatever the URL
    /// says. Cancel first if one is running.
    void Download(std::optional<std::wstring> url = {}, std::optional<std::wstring> destination = {});

    /// Raises no event.
    void Cancel();

private:
    void connectSocketEvents();
    void dropSocket();
    template <class Step> void failing(Step step);
    void cmSocket_Connect();
    void cmSocket_DataArrival();
    void cmSocket_CloseSck();
    void cmSocket_Error(std::int16_t Number, std::wstring& Description);

    void removeOldFile() const;
    void appendToFile(const std::string& bytes) const;
    std::wstring GetPathFromUrl(const std::wstring& url) const;
    void ResetDownload();

    std::shared_ptr<CSocketMaster> cmSocket; // of the download that is running
    std::int32_t accessType = 0;
    std::wstring proxy;
    std::wstring address;
    std::wstring destination;
    std::int32_t proxyPort = 0;
    bool disableRedirection = false;
    std::string HeaderBuffer; // what was received up to the end of the header block
    bool HeaderReceived = false;
    std::int16_t FileNumber = 0;
    std::int32_t fileSize = 0;
    std::string spare; // storage of the last chunk, for the next one
};
