#include "core/modMisc.h"

#include <algorithm>
#include <cstdlib>

#include "api/CVHAPI.h"
#include "core/Errors.h"
#include "core/Numbers.h"
#include "core/modGlobals.h"
#include "core/modRegistry.h"
#include "platform/Desktop.h"
#include "platform/Files.h"
#include "platform/Text.h"
#include "ui/frmMain.h"
#include "ui/frmPopupMenu.h"
#include "ui/frmSlideMessage.h"
#include "ui/modSysTray.h"

namespace {

bool isAsciiAlphanumeric(wchar_t c) {
    return (c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z');
}

std::wstring twoDigits(std::int32_t number) {
    const std::wstring digits = std::to_wstring(std::abs(number));
    return (number < 0 ? L"-" : L"") + (digits.size() < 2 ? L"0" + digits : digits);
}

} // namespace

std::wstring URLEncode(const std::wstring& text) {
    return trapErrors(L"Function URLEncode, modMisc", [&] {
        const wchar_t* const hex = L"0123456789ABCDEF";
        std::wstring encoded;
        for (const char byte : platform::toAnsi(text)) {
            const auto code = static_cast<unsigned char>(byte);
            if (isAsciiAlphanumeric(code)) {
                encoded += static_cast<wchar_t>(code);
            } else if (code == ' ') {
                encoded += L'+';
            } else {
                encoded += L'%';
                if (code >= 16) encoded += hex[code / 16];
                encoded += hex[code % 16];
            }
        }
        return encoded;
    });
}

void array_push(Strings& array, const std::wstring& value) { array.push_back(value); }

std::wstring array_shift(Strings& array) {
    return trapErrors(L"Function array_shift, modMisc", [&] {
        if (array.size() < 2) return std::wstring();
        std::wstring first = std::move(array.front());
        array.erase(array.begin());
        return first;
    });
}

bool existsInCombo(const std::wstring& text, const ComboBox& combo) {
    return trapErrors(L"Function existsInCombo, modMisc",
                      [&] { return std::ranges::find(combo.List(), text) != combo.List().end(); });
}

bool validateHTMLHeader(std::wstring& text) {
    return trapErrors(L"Function validateHTMLHeader, modMisc", [&] {
        Strings pieces = split(text, crLf + crLf);
        if (pieces.size() < 2) return false;
        const std::wstring header = array_shift(pieces);
        text = join(pieces, crLf + crLf);
        return std::ranges::any_of(split(header, crLf), [](const std::wstring& line) {
            const Strings parts = split(line, L": ");
            return parts.size() == 2 && parts[0] == L"Response-From" && parts[1] == L"VHAPI";
        });
    });
}

void setAlwaysOnTop(Form& form, bool onTop) {
    trapErrors(L"Function setAlwaysOnTop, modMisc", [&] {
        constexpr std::int32_t topmost = -1;
        constexpr std::int32_t notTopmost = -2;
        constexpr std::uint32_t noSizeNoMoveNoActivateShow = 83;
        platform::setWindowPos(form.hWnd(), onTop ? topmost : notTopmost, noSizeNoMoveNoActivateShow);
        form.Visible.adopt(true);
    });
}

std::int16_t getTaskbarHeight() {
    return trapErrors(L"Function getTaskbarHeight, modMisc", [] {
        const platform::Rect area = platform::workArea();
        return toInteger(static_cast<double>(platform::screenSize().height - (area.bottom - area.top)));
    });
}

void minimizeToTray() {
    trapErrors(L"Function minimizeToTray, modMisc", [] {
        frmMain->Hide();
        CreateSystrayIcon(*frmPopupMenu, L"Quillory Wallpaper Manager");
        if (getAccountSetting(L"MinimizeHelp", L"0") == L"0") {
            frmSlideMessage.Load();
            frmSlideMessage->lblTitle.Caption = L"Quillory - Information";
            frmSlideMessage->startSlide(L"Quillory has been minimized!" + crLf + crLf +
                                        L"You'll see the Quillory icon in the bottom-right corner of your monitor.  To "
                                        L"bring the preferences screen "
                                        L"back, double-click on the icon.  To see more options, right-click on it.");
            saveAccountSetting(L"MinimizeHelp", L"1");
        }
    });
}

std::wstring getFormattedTimeUntilChange() {
    return trapErrors(L"Function getFormattedTimeUntilChange, modMisc", [] {
        const std::int32_t left = changeInterval - secondsSinceChange;
        // A remainder below a minute, a negative one too, is seconds alone.
        const std::int32_t days = left < 86400 ? 0 : left / 86400;
        const std::int32_t hours = left < 3600 ? 0 : left % 86400 / 3600;
        const std::int32_t minutes = left < 60 ? 0 : left % 3600 / 60;
        const std::int32_t seconds = left < 60 ? left : left % 60;
        std::wstring text;
        if (days == 1) text = L"1 Day, ";
        if (days > 1) text = std::to_wstring(days) + L" Days, ";
        return text + std::to_wstring(hours) + L":" + twoDigits(minutes) + L":" + twoDigits(seconds);
    });
}

void getGalleries() {
    frmMain->cboGallery.Enabled = false;
    frmMain->cboCategory.Enabled = false;
    Strings queryKeys, queryValues;
    array_push(queryKeys, L"withcategories");
    array_push(queryValues, L"yes");
    gAPI->APICloseSock();
    gAPI->APISend(L"vh.getGalleries", queryKeys, queryValues);
}

float getScreenAspectRatio() {
    const platform::Size screen = platform::screenSize();
    const double ratio = static_cast<double>(screen.width) / screen.height;
    return static_cast<float>(roundHalfEven(ratio * 100000) / 100000);
}

bool isValidUsername(const std::wstring& text) {
    return std::ranges::all_of(
        text, [](wchar_t c) { return isAsciiAlphanumeric(c) || c == L'\\' || c == L'.' || c == L'_' || c == L'-'; });
}

bool fileExists(const std::wstring& path) {
    const auto bits = platform::fileAttributes(path);
    return bits && (*bits & platform::attributes::directory) == 0;
}

bool dirExists(const std::wstring& path) {
    const auto bits = platform::fileAttributes(path);
    return bits && (*bits & platform::attributes::directory) != 0;
}
