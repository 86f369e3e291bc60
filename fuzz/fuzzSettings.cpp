#include "Running.h"
#include "platform/Registry.h"
#include "ui/frmMain.h"

namespace {

constexpr const wchar_t* settingNames[] = {
    L"ActiveTab",     L"UseMembers",      L"TagName",        L"Gallery",      L"Category",
    L"Frequency",     L"FrequencyType",   L"Freeze",         L"AutoUpdate",   L"Method",
    L"QualityRating", L"ActiveWallpaper", L"HideQuickStart", L"MinimizeHelp", L"ActiveWallpaperLink",
};

} // namespace

/// Logs in, rotates and ticks with settings of any bytes and kind. What is no number ends the bring-up with a report
/// and with nothing worse, and after the settings are gone a login comes up whole.
///
/// The input: pieces as Fuzz.h tells, each a byte that names a setting, one for its kind in the registry, and its data.
inline void fuzzSettings(const std::uint8_t* data, std::size_t size) {
    withProgram([&](Service& site) {
        const std::wstring account = L"Software\\Quillory\\Quillory - alice\\";
        for (const std::string& piece : piecesOf(data, size)) {
            if (piece.size() < 2) continue;
            const auto name = settingNames[static_cast<unsigned char>(piece[0]) % std::size(settingNames)];
            platform::setRegistryValue(platform::hkeyCurrentUser, account, name,
                                       static_cast<unsigned char>(piece[1]) % 4, piece.substr(2));
        }
        const auto logIn = [&] {
            gAPI->apiUsername = L"alice";
            gAPI->apiPasswordHash = L"3ab8d589b5e2c77ade96614f29ef4cc6";
            gAPI->apiSilent = true;
            const std::size_t before = site.requests.size();
            gAPI->APILogin();
            finish(site, before);
        };
        logIn();
        for (int i = 0; i < 120; ++i) frmMain->tmrMain.Timer();
        gAPI->apiForced = true;
        gAPI->RotateWallpaper();
        headless::pumpUntil([&] { return frmMain->Enabled && site.hasSentAll(); }, 100);

        headless::registry().clear();
        renewClient();
        logIn();
        require(headless::pumpUntil([] { return galleries.size() == 2; }));
        require(changeInterval == 3 * 60 * 60);
    });
}

FUZZ_TARGET(fuzzSettings)
