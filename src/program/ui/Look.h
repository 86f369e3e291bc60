#pragma once

#include <cmath>

#include "platform/Toolkit.h"

/// The look of the windows: a harbour at dusk above, warm paper below, one lamp.
namespace look {

inline constexpr Color night{0x14, 0x21, 0x3D};
inline constexpr Color water{0x1F, 0x5A, 0x6E};
inline constexpr Color paper{0xF7, 0xF3, 0xEA};
inline constexpr Color sheet{0xFF, 0xFF, 0xFF};
inline constexpr Color sheetEdge{0xD9, 0xD2, 0xC3};
inline constexpr Color ink{0x22, 0x30, 0x3C};
inline constexpr Color quietInk{0x5F, 0x6B, 0x76};

inline constexpr TextStyle body{.color = ink};
inline constexpr TextStyle quiet{.color = quietInk};
inline constexpr TextStyle caption{.color = ink, .middle = true}; // beside a field, or in the middle of a place
inline constexpr TextStyle tip{.color = quietInk, .middle = true};
inline constexpr TextStyle centred{.color = ink, .align = Align::centre};
inline constexpr TextStyle heading{.color = ink, .points = 10.5, .semibold = true};
inline constexpr TextStyle title{.color = paper, .points = 10.5, .semibold = true, .middle = true};
inline constexpr TextStyle link{.color = water, .underline = true, .middle = true};
inline constexpr TextStyle linkRight{.color = water, .underline = true, .align = Align::right, .middle = true};
inline constexpr TextStyle lampButton{.color = night, .semibold = true, .align = Align::centre, .middle = true};
inline constexpr TextStyle quietButton{.color = ink, .align = Align::centre, .middle = true};
inline constexpr TextStyle tab{.color = ink, .points = 10.5, .semibold = true, .middle = true};

} // namespace look

/// Art behind words.
struct Backdrop : PictureBox {
    Backdrop(Parent parent, Place place, ::Picture picture)
        : PictureBox(parent, place, std::move(picture), {}, {}, Role::backdrop) {}
};

/// Pictures and labels that do something on a click.
struct Button : PictureBox {
    Button(Parent parent, Place place, ::Picture picture, std::wstring caption, TextStyle lettering)
        : PictureBox(parent, place, std::move(picture), std::move(caption), lettering, Role::button) {}
};
struct CloseMark : PictureBox {
    CloseMark(Parent parent, Place place) : PictureBox(parent, place, "close", {}, {}, Role::closeMark) {
        name = L"Close";
    }
};
struct LinkPicture : PictureBox {
    LinkPicture(Parent parent, Place place, ::Picture picture, std::wstring called)
        : PictureBox(parent, place, std::move(picture), {}, {}, Role::link) {
        name = std::move(called);
    }
};
struct Link : Label {
    Link(Parent parent, Place place, std::wstring caption, TextStyle lettering = look::link)
        : Label(parent, place, std::move(caption), lettering, Role::link) {}
};

/// One of the tabs; its tag is "A" for the active one and "U" for the others.
struct SourceTab : PictureBox {
    SourceTab(Parent parent, Place place, ::Picture picture, std::wstring caption)
        : PictureBox(parent, place, std::move(picture), std::move(caption), look::tab, Role::tab) {}
    bool isSelected() const override { return Tag == L"A"; }
};

/// A bar that has come as far as it is wide, of the whole width of its design.
struct ProgressBar : PictureBox {
    ProgressBar(Parent parent, Place place, ::Picture picture)
        : PictureBox(parent, place, std::move(picture), {}, {}, Role::progress), whole(place.width) {}
    std::wstring spokenValue() const override { return std::to_wstring(std::lround(Width / whole * 100)) + L"%"; }
    const double whole;
};

/// A white panel with rounded corners, and the tip box on it.
struct Sheet : Frame {
    Sheet(Parent parent, Place place, std::wstring caption = {})
        : Frame(parent, place, std::move(caption), look::sheet, look::sheetEdge) {}
};
struct TipBox : Frame {
    TipBox(Parent parent, Place place) : Frame(parent, place, {}, look::paper, look::sheetEdge) {}
};
