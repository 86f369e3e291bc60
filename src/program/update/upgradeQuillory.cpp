#include "api/CVHAPI.h"
#include "api/modXML.h"
#include "core/Endpoints.h"
#include "core/Errors.h"
#include "core/FileNames.h"
#include "core/Raised.h"
#include "core/modMD5.h"
#include "core/modMisc.h"
#include "core/modShell.h"
#include "platform/Desktop.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "platform/Shell.h"
#include "platform/Text.h"
#include "state/modGlobals.h"
#include "ui/frmDownloading.h"
#include "ui/frmMain.h"
#include "ui/frmOptions.h"
#include "ui/windows.h"

#include <algorithm>

namespace {

namespace box = platform::box;

std::wstring archivePath() { return tempFolder + gAPI->apiDownloadingUpdateFile; }
std::wstring checksumPath() { return archivePath() + L".md5"; }

/// An update comes from one of the two known places, as a zip archive with a name that the updater takes: nothing that
/// the service sends may choose where a file lands.
bool isAcceptedLink(const std::wstring& link) {
    const auto startsWith = [&](std::wstring_view base) { return link.compare(0, base.size(), base) == 0; };
    if (!startsWith(UpdateStaticUrl) && !startsWith(UpdateDownloadUrl)) return false;
    std::string name;
    for (const wchar_t c : link.substr(link.rfind(L'/') + 1)) name += c < 0x80 ? static_cast<char>(c) : '?';
    return isArchiveName(name);
}

/// The first item of a text file: up to a comma or the end of its line, without blanks and quotes around it.
/// Raises inputPastEnd (62) for an empty file.
std::wstring firstItem(const std::wstring& path) {
    const std::string bytes = platform::readWholeFile(path);
    if (bytes.empty()) throw RunTimeError(errors::inputPastEnd);
    const std::wstring text = platform::fromAnsi(bytes);
    std::wstring item = text.substr(0, text.find_first_of(L",\r"));
    std::erase(item, L'\n');
    const auto first = item.find_first_not_of(L" \"");
    if (first == std::wstring::npos) return {};
    return item.substr(first, item.find_last_not_of(L" \"") - first + 1);
}

void showProgressWindow() {
    frmDownloading->Show(Modality::modeless, &*frmMain);
    platform::setForegroundWindow(frmDownloading->hWnd());
}

void resetProgress() {
    gAPI->apiDownloadedBytes = 0;
    frmDownloading->SetProgressBarValue(0);
    frmDownloading->lblProgressPercent.Caption = L"0%";
}

} // namespace

void upgradeQuillory(const std::wstring& link) {
    trapErrors(L"Function upgradeQuillory, modXML", [&] {
        // While a question waits for its answer, the rotations go on and each brings word of the same update.
        static bool underWay = false;
        if (underWay) return;
        const Raised untilItReturns(underWay);
        CVHAPI& api = *gAPI;
        bool showProgress = false;
        const bool isRetry = api.apiDownloadingUpdateMD5;
        if (frmOptions->chkAutoUpdate.Value == 0 && !isRetry) {
            const auto answer = platform::messageBox(
                L"An update has been released for your Quillory Wallpaper Manager software." + crLf + crLf +
                    L"You have disabled automatic updates, so your permission is required to update Quillory." + crLf +
                    crLf + L"Proceed with update now?  Clicking 'No' will exit the program.",
                box::yesNo | box::question, L"Proceed with Update?");
            if (answer != box::resultYes) {
                frmMain->exitQuillory(true);
                return;
            }
            showProgress = true;
        }
        if (!isAcceptedLink(link)) {
            platform::messageBox(
                L"A critical error occurred while downloading the new software update for Quillory Wallpaper Manager." +
                    crLf + crLf + L"Please try reinstalling the software by visiting:" + crLf +
                    std::wstring(ProductPageUrl),
                box::critical, L"Critical Update Error");
            frmMain->exitQuillory(false);
            return;
        }
        if (api.apiForced && !isRetry) {
            platform::messageBox(
                L"A new update to Quillory has been released since you last rotated your wallpaper.  Hang on "
                L"one second and we'll handle the upgrade for you.",
                box::information, L"Auto-Update Starting");
            showProgress = true;
        }
        if (!dirExists(tempFolder)) platform::makeDirectory(tempFolder);

        api.apiDownloadingUpdate = true;
        api.apiDownloadingUpdateLink = link;
        api.apiDownloadingUpdateFile = link.substr(link.rfind(L'/') + 1);
        api.apiForced = true;
        frmMain->tmrMain.Enabled = false; // the scheduler stops here; the new version starts with its own
        if (fileExists(archivePath())) platform::deleteFile(archivePath());

        frmMain->Enabled = false;
        frmDownloading.Load();
        resetProgress();
        if (showProgress) showProgressWindow();
        api.VHDownload.Cancel();
        platform::pumpMessages();
        api.VHDownload.Download(link, archivePath());
    });
}

void CVHAPI::fetchUpdateChecksum() {
    apiDownloadingUpdateMD5 = true;
    frmDownloading->lblHeaderTitle.Caption = L"Quillory - Verifying update file ...";
    resetProgress();
    VHDownload.Download(apiDownloadingUpdateLink + L".md5", checksumPath());
}

void CVHAPI::verifyUpdate() {
    if (firstItem(checksumPath()) == md5File(archivePath())) {
        installUpdate();
        return;
    }
    if (++apiDownloadingUpdateErr <= 2) {
        upgradeQuillory(apiDownloadingUpdateLink); // the archive again; the checksum file is kept
        return;
    }
    showNotice(
        L"Quillory - Update Error",
        L"The update engine cannot find the correct update file on the Velvet Harbor servers.  This could be due to a "
        L"corruption issue.  Please reopen Quillory and try again later.  If the problem persists, please reinstall: " +
            std::wstring(ProductPageUrl));
    const auto isNotice = [](const Form* form) { return std::wstring_view(form->design.name) == L"frmSlideMessage"; };
    while (std::ranges::any_of(openForms(), isNotice)) platform::waitMessages();
    platform::endProcess();
}

void CVHAPI::installUpdate() {
    frmDownloading->lblHeaderTitle.Caption = L"Download completed. Updating...";
    platform::deleteFile(checksumPath());
    if (frmOptions->chkAutoUpdate.Value == 0)
        platform::messageBox(
            L"Quillory has successfully downloaded the update.  Applying update now and restarting the program...",
            box::information, L"Update Downloaded Successfully");
    const std::wstring updater = platform::programFolder() + L"\\Updater\\update.exe";
    if (!fileExists(updater)) {
        platform::messageBox(L"An error has occurred launching the Quillory Update Engine." + crLf + crLf +
                                 L"Please visit " + std::wstring(ProductPageUrl) + L" and reinstall the software.",
                             box::critical, L"Critical Update Error");
        frmMain->exitQuillory(true);
        platform::endProcess();
    }
    platform::shellExecute(frmMain->hWnd(), L"runas", updater, apiDownloadingUpdateFile, {}, 1);
    platform::endProcess();
}

/// An update that cannot be fetched ends the program.
void CVHAPI::abandonUpdate() {
    VHDownload.Cancel();
    platform::messageBox(L"An error occurred downloading the new Quillory update: " + apiDownloadingUpdateFile + L"." +
                             crLf + L"Please check your internet connection and try again, otherwise visit " +
                             std::wstring(ProductPageUrl) + L" and try reinstalling the software." + crLf + crLf +
                             L"Shutting down Quillory...",
                         box::information, L"Update Error");
    apiDownloadingUpdate = false;
    frmMain->exitQuillory(true);
}
