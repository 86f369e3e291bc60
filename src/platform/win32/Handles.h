#pragma once

#include <cstdint>

#include <windows.h>

#include "platform/Messages.h"

/// Window handles as the program holds them and as the platform does.
namespace platform::win32 {

inline HWND toHwnd(WindowHandle window) { return reinterpret_cast<HWND>(static_cast<std::uintptr_t>(window)); }

inline WindowHandle fromHwnd(HWND window) {
    return static_cast<WindowHandle>(reinterpret_cast<std::uintptr_t>(window));
}

} // namespace platform::win32
