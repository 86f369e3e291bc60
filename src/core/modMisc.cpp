#include "core/modMisc.h"

#include <algorithm>

#include "core/Errors.h"
#include "core/Numbers.h"
#include "platform/Desktop.h"
#include "platform/Files.h"
#include "platform/Text.h"

namespace {

bool isAsciiAlphanumeric(wchar_t c) {
    return (c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z');
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

std::int16_t getTaskbarHeight() {
    return trapErrors(L"Function getTaskbarHeight, modMisc", [] {
        const platform::Rect area = platform::workArea();
        return toInteger(static_cast<double>(platform::desktopSize().height - (area.bottom - area.top)));
    });
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
