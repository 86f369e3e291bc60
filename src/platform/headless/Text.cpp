#include "platform/Text.h"

#include <algorithm>
#include <array>

namespace {

/// Code page 1252 from 0x80 to 0x9F; the five bytes without a character stand for themselves. All others are Latin-1.
constexpr std::array<wchar_t, 32> upperControls = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                                   0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                                   0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                                   0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

} // namespace

namespace platform {

std::string toAnsi(const std::wstring& text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (const wchar_t c : text) {
        if (c < 0x80 || (c >= 0xA0 && c <= 0xFF)) {
            bytes += static_cast<char>(c);
        } else if (auto found = std::ranges::find(upperControls, c); found != upperControls.end()) {
            bytes += static_cast<char>(0x80 + (found - upperControls.begin()));
        } else {
            bytes += c > 0xFFFF ? "??" : "?"; // two units of text on Windows
        }
    }
    return bytes;
}

std::wstring fromAnsi(const std::string& bytes) {
    std::wstring text;
    text.reserve(bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += byte >= 0x80 && byte <= 0x9F ? upperControls[byte - 0x80u] : static_cast<wchar_t>(byte);
    }
    return text;
}

} // namespace platform
