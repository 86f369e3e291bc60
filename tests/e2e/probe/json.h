#pragma once

// What the probe's lines are made of: words come in, JSON goes out.

#include <windows.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

/// A command and what is said with it.
using Words = std::vector<std::wstring>;

inline HWND handle(const std::wstring& number) {
    return reinterpret_cast<HWND>(static_cast<std::uintptr_t>(std::stoul(number)));
}

inline std::wstring wide(const std::string& bytes) {
    const auto size = static_cast<int>(bytes.size());
    std::wstring text(bytes.size(), L'\0');
    text.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, text.data(), size)));
    return text;
}

/// In ASCII alone, and so without regard to how the stream is read.
inline std::string json(const std::wstring& text) {
    static const char digits[] = "0123456789abcdef";
    std::string out = "\"";
    for (const wchar_t c : text) {
        if (c >= 0x20 && c < 0x7f && c != L'"' && c != L'\\') {
            out += static_cast<char>(c);
        } else {
            out += "\\u";
            for (int shift = 12; shift >= 0; shift -= 4) out += digits[(c >> shift) & 15];
        }
    }
    return out + '"';
}

inline std::string json(bool value) { return value ? "true" : "false"; }

/// Left, top, width, height.
inline std::string json(const RECT& r) {
    return "[" + std::to_string(r.left) + "," + std::to_string(r.top) + "," + std::to_string(r.right - r.left) + "," +
           std::to_string(r.bottom - r.top) + "]";
}

inline std::string list(const std::vector<std::string>& items) {
    std::string out;
    for (const std::string& item : items) out += (out.empty() ? "" : ",") + item;
    return "[" + out + "]";
}

inline std::string object(std::initializer_list<std::pair<const char*, std::string>> members) {
    std::string out;
    for (const auto& [name, value] : members) out += (out.empty() ? "\"" : ",\"") + std::string(name) + "\":" + value;
    return "{" + out + "}";
}
