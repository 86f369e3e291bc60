#include "platform/win32/Density.h"

namespace platform::win32 {

namespace {

/// A function that this system may not have.
template <class Function> Function lookUp(const wchar_t* library, const char* name) {
    const HMODULE module = LoadLibraryW(library);
    return module ? reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name))) : nullptr;
}

int dpiAtLogon() {
    static const int dpi = [] {
        const HDC screen = GetDC(nullptr);
        const int value = GetDeviceCaps(screen, LOGPIXELSX);
        ReleaseDC(nullptr, screen);
        return value > 0 ? value : USER_DEFAULT_SCREEN_DPI;
    }();
    return dpi;
}

} // namespace

int primaryDpi() {
    using GetDpiForMonitor = HRESULT(WINAPI*)(HMONITOR, int, UINT*, UINT*);
    static const auto getDpi = lookUp<GetDpiForMonitor>(L"shcore.dll", "GetDpiForMonitor"); // Windows 8.1
    constexpr int effective = 0;
    UINT x = 0;
    UINT y = 0;
    const HMONITOR primary = MonitorFromPoint({0, 0}, MONITOR_DEFAULTTOPRIMARY);
    if (getDpi && SUCCEEDED(getDpi(primary, effective, &x, &y)) && x > 0) return static_cast<int>(x);
    return dpiAtLogon();
}

int windowDpi(HWND window) {
    using GetDpiForWindow = UINT(WINAPI*)(HWND);
    static const auto getDpi = lookUp<GetDpiForWindow>(L"user32.dll", "GetDpiForWindow"); // Windows 10, 1607
    const UINT dpi = getDpi ? getDpi(window) : 0;
    return dpi > 0 ? static_cast<int>(dpi) : dpiAtLogon();
}

int metricAt(int metric, int dpi) {
    using GetSystemMetricsForDpi = int(WINAPI*)(int, UINT);
    static const auto get = lookUp<GetSystemMetricsForDpi>(L"user32.dll", "GetSystemMetricsForDpi");
    return get ? get(metric, static_cast<UINT>(dpi)) : GetSystemMetrics(metric);
}

} // namespace platform::win32
