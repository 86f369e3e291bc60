#pragma once

// Text and JSON: what the probe's lines are made of.

#include <windows.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

inline std::string utf8(const std::wstring& text) {
    const int size =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(), size, nullptr, nullptr);
    return bytes;
}

inline std::wstring wide(const std::string& bytes) {
    const int size = MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
    std::wstring text(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), text.data(), size);
    return text;
}

inline std::string hex(const std::uint8_t* bytes, std::size_t size) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

inline std::vector<std::uint8_t> unhex(const std::wstring& text) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    return bytes;
}

// ---------------------------------------------------------------------------------------------------- JSON

inline std::string json(const std::wstring& text) {
    std::string out = "\"";
    for (const char c : utf8(text)) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (static_cast<unsigned char>(c) < 0x20) {
            const auto code = static_cast<std::uint8_t>(c);
            out += "\\u00" + hex(&code, 1);
        } else {
            out += c;
        }
    }
    return out + '"';
}

inline std::string json(bool value) { return value ? "true" : "false"; }

inline std::string json(HWND window) { return std::to_string(reinterpret_cast<std::uintptr_t>(window)); }

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

inline std::string object(const std::vector<std::pair<std::wstring, std::string>>& members) {
    std::string out;
    for (const auto& [name, value] : members) out += (out.empty() ? "" : ",") + json(name) + ":" + value;
    return "{" + out + "}";
}
