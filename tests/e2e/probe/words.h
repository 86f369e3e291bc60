#pragma once

// What the probe's lines are made of: a command and what is said with it come in as a JSON array, and JSON goes out.

#include <windows.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>

using nlohmann::json;

inline HWND handle(const json& number) { return reinterpret_cast<HWND>(number.get<std::uintptr_t>()); }

inline json number(HWND window) { return reinterpret_cast<std::uintptr_t>(window); }

inline std::wstring wide(const std::string& bytes) {
    const auto size = static_cast<int>(bytes.size());
    std::wstring text(bytes.size(), L'\0');
    text.resize(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, text.data(), size)));
    return text;
}

inline std::string narrow(const std::wstring& text) {
    const auto size = static_cast<int>(text.size());
    std::string bytes(text.size() * 3, '\0');
    bytes.resize(static_cast<std::size_t>(
        WideCharToMultiByte(CP_UTF8, 0, text.data(), size, bytes.data(), size * 3, nullptr, nullptr)));
    return bytes;
}

/// Left, top, width, height.
inline json place(const RECT& r) { return {r.left, r.top, r.right - r.left, r.bottom - r.top}; }
