#include "api/CVHAPI.h"
#include "api/accountSettings.h"
#include "core/Endpoints.h"
#include "core/Errors.h"
#include "core/Numbers.h"
#include "core/modMisc.h"
#include "platform/Desktop.h"
#include "platform/Files.h"
#include "platform/Pictures.h"
#include "scheduler/CTimerFunctions.h"
#include "state/modGlobals.h"
#include "ui/frmDownloading.h"
#include "ui/frmMain.h"

// The downloader serves two: a wallpaper and, while apiDownloadingUpdate says so, a self-update. The events below are
// common; what only concerns an update is in update/.

namespace {

/// Makes a bitmap of what was downloaded. picBuff holds the picture between the two files and no longer, for a large
/// one takes a lot of memory.
void convertDownload(const std::wstring& bitmap) {
    const struct Return {
        ~Return() { frmMain->picBuff.Picture = Picture(); }
    } afterwards;
    frmMain->picBuff.Picture = platform::loadPicture(tempFolder + L"vh_wall_active");
    platform::savePicture(frmMain->picBuff.Picture, bitmap);
}

} // namespace

void CVHAPI::DownloadAndChangeWallpaper(std::int32_t ID, const std::wstring& FileName) {
    trapErrors(L"Function DownloadAndChangeWallpaper, CVHAPI", [&] {
        if (apiDownloadingUpdate) return;
        VHDownload.Cancel();
        if (!dirExists(tempFolder)) platform::makeDirectory(tempFolder); // somebody may have tidied up meanwhile
        const std::wstring destination = tempFolder + L"vh_wall_active";
        if (fileExists(destination)) platform::deleteFile(destination);

        frmMain->Enabled = false; // until the rotation ends, whichever way
        frmDownloading.Load();
        apiDownloadedBytes = 0;
        frmDownloading->SetProgressBarValue(0);
        frmDownloading->lblProgressPercent.Caption = L"0%";
        if (apiForced) { // a timed rotation happens unseen
            frmDownloading->Show(Modality::modeless, &*frmMain);
            platform::setForegroundWindow(frmDownloading->hWnd());
        }
        const platform::Size screen = platform::screenSize();
        const auto width = static_cast<float>(screen.width);
        const auto height = static_cast<float>(screen.height);
        VHDownload.Download(std::wstring(WallpaperInlineUrl) + std::to_wstring(ID) + L"/" + singleText(width) + L"x" +
                                singleText(height) + L"/" + FileName,
                            destination);
    });
}

void CVHAPI::endAbandonedRotation() {
    if (!frmDownloading.isLoaded() || !VHDownload.IsIdle() || apiDownloadingUpdate) return;
    frmMain->Enabled = true;
    frmDownloading.Unload();
}

void CVHAPI::VHDownload_Starting() {
    trapErrors(L"Function VHDownload_Starting, CVHAPI", [&] {
        if (apiForced) frmDownloading->lblHeaderTitle.Caption = L"Quillory - Connecting to Velvet Harbor...";
    });
}

void CVHAPI::VHDownload_DataArrival(std::int32_t Bytes) {
    trapErrors(L"Function VHDownload_DataArrival, CVHAPI", [&] {
        gTimers->Active_SockTimeout = false;
        if (apiDownloadedBytes == 0 && VHDownload.FileSize() >= 1) {
            frmDownloading->lblHeaderTitle.Caption = !apiDownloadingUpdate ? L"Quillory - Downloading..."
                                                     : apiDownloadingUpdateMD5
                                                         ? L"Quillory - Corrupt update detected! Retrying download..."
                                                         : L"Quillory - Downloading Update...";
        }
        apiDownloadedBytes += Bytes;
        if (VHDownload.FileSize() == 0) { // the server gave no size: another wallpaper, then
            VHDownload.Cancel();
            RotateWallpaper();
            return;
        }
        if (frmDownloading->Visible) {
            const std::int16_t percent =
                toInteger(static_cast<double>(apiDownloadedBytes) / VHDownload.FileSize() * 100);
            frmDownloading->SetProgressBarValue(percent);
            frmDownloading->lblProgressPercent.Caption = std::to_wstring(percent) + L"%";
        }
    });
}

/// The one function whose trap does not report: an image that cannot be decoded or written makes the program fetch
/// another one, without a word.
void CVHAPI::VHDownload_Completed() {
    try {
        gTimers->Active_SockTimeout = false;
        frmDownloading->SetProgressBarValue(100);
        frmDownloading->lblProgressPercent.Caption = L"100%";
        if (apiDownloadingUpdateMD5) {
            verifyUpdate();
        } else if (apiDownloadingUpdate) {
            fetchUpdateChecksum();
        } else {
            applyWallpaper();
        }
    } catch (const RunTimeError&) {
        RotateWallpaper();
    } catch (const std::bad_alloc&) {
        RotateWallpaper();
    }
}

void CVHAPI::applyWallpaper() {
    constexpr std::uint32_t updateProfileAndBroadcast = 3;
    const std::wstring bitmap = tempFolder + L"Quillory.bmp";
    convertDownload(bitmap);
    platform::setWallpaper(bitmap, updateProfileAndBroadcast);

    // Only now, so that a sequence moves on only after a wallpaper has really been applied.
    apiActiveWallpaper = wallpaperId;
    apiActiveWallpaperLink = wallpaperLink;
    saveAccountSetting(L"ActiveWallpaperLink", apiActiveWallpaperLink);
    saveAccountSetting(L"ActiveWallpaper", std::to_wstring(apiActiveWallpaper));
    apiForced = false;
    frmMain->Enabled = true;
    frmDownloading.Unload();
}

void CVHAPI::VHDownload_Error(std::int16_t Number, const std::wstring& Description) {
    trapErrors(L"Function VHDownload_Error, CVHAPI", [&] {
        if (!apiCheckOutageError(Number)) {
            if (apiDownloadingUpdate) {
                abandonUpdate();
                return;
            }
            notifyNetworkError(Number, Description);
        }
        VHDownload.Cancel();
        apiForced = false;
        frmMain->Enabled = true;
        frmDownloading.Unload();
    });
}
