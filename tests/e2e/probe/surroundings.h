#pragma once

#include <windows.h>

#include <oleacc.h>

#include <iterator>
#include <stdexcept>

#include "words.h"

// What surrounds a program and differs from person to person: a screen reader, colours, the resolution.

inline json spoken(IAccessible* from, HRESULT (STDMETHODCALLTYPE IAccessible::*get)(VARIANT, BSTR*), VARIANT of) {
    BSTR text = nullptr;
    (from->*get)(of, &text);
    const std::string copy = narrow(text ? text : L"");
    SysFreeString(text);
    return copy;
}

inline LONG number(IAccessible* from, HRESULT (STDMETHODCALLTYPE IAccessible::*get)(VARIANT, VARIANT*), VARIANT of) {
    VARIANT value{};
    (from->*get)(of, &value);
    return value.vt == VT_I4 ? value.lVal : -1;
}

inline json describe(IAccessible* from, VARIANT of) {
    LONG left = 0, top = 0, width = 0, height = 0;
    from->accLocation(&left, &top, &width, &height, of);
    return {{"role", number(from, &IAccessible::get_accRole, of)},
            {"state", number(from, &IAccessible::get_accState, of)},
            {"name", spoken(from, &IAccessible::get_accName, of)},
            {"value", spoken(from, &IAccessible::get_accValue, of)},
            {"description", spoken(from, &IAccessible::get_accDescription, of)},
            {"action", spoken(from, &IAccessible::get_accDefaultAction, of)},
            {"keys", spoken(from, &IAccessible::get_accKeyboardShortcut, of)},
            {"place", place({left, top, left + width, top + height})}};
}

/// read WINDOW: the window itself and its elements, in their order, as a screen reader takes its client area.
/// read WINDOW NUMBER: carries out the default action of an element.
inline json read(const json& words) {
    void* found = nullptr;
    const HRESULT result =
        AccessibleObjectFromWindow(handle(words.at(1)), static_cast<DWORD>(OBJID_CLIENT), IID_IAccessible, &found);
    if (FAILED(result)) throw std::runtime_error("no accessible object: " + std::to_string(result));
    auto* const from = static_cast<IAccessible*>(found);
    VARIANT of{};
    of.vt = VT_I4;
    json told;
    if (words.size() > 2) {
        of.lVal = words[2];
        told = from->accDoDefaultAction(of) == S_OK;
    } else {
        LONG count = 0;
        from->get_accChildCount(&count);
        for (of.lVal = CHILDID_SELF; of.lVal <= count; ++of.lVal) told.push_back(describe(from, of));
    }
    from->Release();
    return told;
}

/// contrast 1|0: the colours of a dark contrast theme, or those before it; the system tells every window. Wine knows no
/// theme of the kind, only its colours.
inline json contrastTheme(const json& words) {
    const bool on = words.at(1) == 1;
    static const int parts[] = {COLOR_WINDOW,    COLOR_WINDOWTEXT,    COLOR_BTNFACE,  COLOR_BTNTEXT,
                                COLOR_HIGHLIGHT, COLOR_HIGHLIGHTTEXT, COLOR_GRAYTEXT, COLOR_HOTLIGHT};
    static const COLORREF dark[] = {RGB(0, 0, 0),      RGB(255, 255, 255), RGB(0, 0, 0),     RGB(255, 255, 255),
                                    RGB(26, 235, 255), RGB(0, 0, 0),       RGB(63, 242, 63), RGB(255, 255, 0)};
    static COLORREF before[std::size(parts)];
    if (on)
        for (std::size_t i = 0; i < std::size(parts); ++i) before[i] = GetSysColor(parts[i]);
    return SetSysColors(std::size(parts), parts, on ? dark : before) != FALSE;
}

/// resolution WIDTH HEIGHT
inline json resolution(const json& words) {
    DEVMODEW mode{};
    mode.dmSize = sizeof mode;
    mode.dmFields = DM_PELSWIDTH | DM_PELSHEIGHT;
    mode.dmPelsWidth = words.at(1);
    mode.dmPelsHeight = words.at(2);
    return ChangeDisplaySettingsExW(nullptr, &mode, nullptr, 0, nullptr);
}
