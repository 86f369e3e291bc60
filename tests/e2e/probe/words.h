#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

/// A command and what is said with it.
using Words = std::vector<std::wstring>;

inline HWND handle(const std::wstring& number) {
    return reinterpret_cast<HWND>(static_cast<std::uintptr_t>(std::stoul(number)));
}
