#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "core/Strings.h"
#include "net/CDownload.h"
#include "net/CSocketMaster.h"

/// The one client of the wallpaper service: a socket for the XML API, a downloader for images and updates, and the
/// login and rotation state of the program. A request returns at once; its answer comes later as a socket event.
/// Nothing here is guarded against being entered again while a handler pumps messages.
class CVHAPI {
public:
    CVHAPI();

    std::wstring apiKey;          // of all requests; the service may give an account its own
    std::wstring apiUsername;     // as the service spells it, once logged in
    std::wstring apiPasswordHash; // MD5 of the password; the clear password is never kept
    std::wstring apiAuthToken;    // stored, never sent
    bool apiForced = false;       // the user asked for this rotation, or an update is running
    bool apiSilent = false;       // the login is an automatic one: failures use no message boxes
    bool apiLoggedIn = false;
    bool apiDownloadingUpdate = false; // while True no rotation starts
    std::wstring apiDownloadingUpdateFile;
    std::wstring apiDownloadingUpdateLink;
    bool apiDownloadingUpdateMD5 = false;     // the update has reached the verification
    std::int16_t apiDownloadingUpdateErr = 0; // checksum mismatches
    bool apiNetworkOutage = false;            // the service is believed to be unreachable
    std::int32_t apiActiveWallpaper = 0;      // id of the wallpaper on the desktop
    std::wstring apiActiveWallpaperLink;
    std::int32_t apiDownloadedBytes = 0; // of the running transfer
    CDownload VHDownload;

    // Transport (CVHAPI.cpp)

    /// Sends one request with its parameters in order, connecting first if need be, and starts the watchdog. False if
    /// it did not go out; the failure has been dealt with then.
    bool APISend(const std::wstring& QueryMethod, Strings& queryKeys, Strings& queryValues);
    void APICloseSock();

    // Login (login.cpp)

    /// False, and nothing sent, while the name or the hash is empty.
    bool APILogin();
    void APILogout();

    // Errors and outages (outage.cpp)
    void APIHandleError(std::int16_t ErrorNo, const std::wstring& ErrorDescr);
    void apiSetNetworkOutage();
    bool apiNetworkRetry(); // True once connected again

    // Rotation (rotation/)

    /// Turns the user's choices into one request for one wallpaper.
    void RotateWallpaper();

    /// Fetches the image at the size of the screen and, once it is here, makes it the wallpaper.
    void DownloadAndChangeWallpaper(std::int32_t ID, const std::wstring& FileName);

private:
    void makeSocket();
    bool APIConnect();
    void VHSock_DataArrival();
    void VHSock_Error(std::int16_t Number, const std::wstring& Description);

    void refuseLogin();
    void APIHandleSockError();
    bool apiCheckOutageError(std::int16_t Number);
    void notifyNetworkError(std::int16_t Number, const std::wstring& Description);
    void notifyUnexpectedResponse();
    void notifyForeignResponse();

    void VHDownload_Starting();
    void VHDownload_DataArrival(std::int32_t Bytes);
    void VHDownload_Completed();
    void VHDownload_Error(std::int16_t Number, const std::wstring& Description);
    void applyWallpaper();

    /// Ends a rotation whose image was given up, once it is known that no other one comes. Without this the main window
    /// would stay disabled.
    void endAbandonedRotation();

    // The update's side of the download (update/)
    void fetchUpdateChecksum();
    void verifyUpdate();
    void installUpdate();
    void abandonUpdate();

    std::wstring ApiHost;
    std::wstring ApiBaseUrl;
    bool announcingOutage = false;    // the box that tells of it is up
    std::wstring apiExpectedCloseTag; // last line of the answer that is coming in; empty for none
    std::shared_ptr<CSocketMaster> VHSock;
};
