#pragma once

#include <windows.h>

#include <oleacc.h>

#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "json.h"
#include "words.h"

// What surrounds a program and differs from person to person: a screen reader, colours, the resolution.

/// What a screen reader takes a window's client area for. Its children are simple elements.
struct Reader {
    IAccessible* from = nullptr;
    explicit Reader(HWND window) {
        void* found = nullptr;
        const HRESULT result =
            AccessibleObjectFromWindow(window, static_cast<DWORD>(OBJID_CLIENT), IID_IAccessible, &found);
        if (FAILED(result)) throw std::runtime_error("no accessible object: " + std::to_string(result));
        from = static_cast<IAccessible*>(found);
    }
    ~Reader() { from->Release(); }
};

inline VARIANT element(LONG id) {
    VARIANT value{};
    value.vt = VT_I4;
    value.lVal = id;
    return value;
}

inline std::string spoken(IAccessible* from, HRESULT (STDMETHODCALLTYPE IAccessible::*get)(VARIANT, BSTR*), LONG id) {
    BSTR text = nullptr;
    (from->*get)(element(id), &text);
    const std::wstring copy = text ? text : L"";
    SysFreeString(text);
    return json(copy);
}

inline std::string number(IAccessible* from, HRESULT (STDMETHODCALLTYPE IAccessible::*get)(VARIANT, VARIANT*), LONG id) {
    VARIANT value{};
    (from->*get)(element(id), &value);
    return std::to_string(value.vt == VT_I4 ? value.lVal : -1);
}

inline std::string describe(IAccessible* from, LONG id) {
    LONG left = 0, top = 0, width = 0, height = 0;
    from->accLocation(&left, &top, &width, &height, element(id));
    return object({{L"role", number(from, &IAccessible::get_accRole, id)},
                     {L"state", number(from, &IAccessible::get_accState, id)},
                     {L"name", spoken(from, &IAccessible::get_accName, id)},
                     {L"value", spoken(from, &IAccessible::get_accValue, id)},
                     {L"description", spoken(from, &IAccessible::get_accDescription, id)},
                     {L"action", spoken(from, &IAccessible::get_accDefaultAction, id)},
                     {L"keys", spoken(from, &IAccessible::get_accKeyboardShortcut, id)},
                     {L"place", json(RECT{left, top, left + width, top + height})}});
}

/// read WINDOW: the window itself and its elements, in their order.
inline std::string readAloud(const Words& words) {
    const Reader reader(handle(words.at(1)));
    LONG count = 0;
    reader.from->get_accChildCount(&count);
    std::vector<std::string> elements;
    for (LONG id = CHILDID_SELF; id <= count; ++id) elements.push_back(describe(reader.from, id));
    return list(elements);
}

/// act WINDOW NUMBER: the default action of an element.
inline std::string act(const Words& words) {
    const Reader reader(handle(words.at(1)));
    return json(reader.from->accDoDefaultAction(element(std::stol(words.at(2)))) == S_OK);
}

/// contrast 1|0: the colours of a dark contrast theme, or those before it; the system tells every window. Wine knows no
/// theme of the kind, only its colours.
inline std::string contrastTheme(const Words& words) {
    const bool on = words.at(1) == L"1";
    static const int parts[] = {COLOR_WINDOW,    COLOR_WINDOWTEXT,    COLOR_BTNFACE,  COLOR_BTNTEXT,
                                COLOR_HIGHLIGHT, COLOR_HIGHLIGHTTEXT, COLOR_GRAYTEXT, COLOR_HOTLIGHT};
    static const COLORREF dark[] = {RGB(0, 0, 0),      RGB(255, 255, 255), RGB(0, 0, 0),     RGB(255, 255, 255),
                                    RGB(26, 235, 255), RGB(0, 0, 0),       RGB(63, 242, 63), RGB(255, 255, 0)};
    static COLORREF before[std::size(parts)];
    if (on)
        for (std::size_t i = 0; i < std::size(parts); ++i) before[i] = GetSysColor(parts[i]);
    return json(SetSysColors(std::size(parts), parts, on ? dark : before) != FALSE);
}

/// resolution WIDTH HEIGHT
inline std::string resolution(const Words& words) {
    DEVMODEW mode{};
    mode.dmSize = sizeof mode;
    mode.dmFields = DM_PELSWIDTH | DM_PELSHEIGHT;
    mode.dmPelsWidth = static_cast<DWORD>(std::stoul(words.at(1)));
    mode.dmPelsHeight = static_cast<DWORD>(std::stoul(words.at(2)));
    return std::to_string(ChangeDisplaySettingsExW(nullptr, &mode, nullptr, 0, nullptr));
}
