#pragma once

#include <initializer_list>
#include <string>
#include <utility>

#include "platform/Toolkit.h"

/// What the program's self-drawn windows have in common.

/// Lets a window be moved by its header: by the surface and by the title on it, with any mouse button. The window is
/// not held to the screen.
class HeaderDrag {
public:
    HeaderDrag(Form& form, Control& surface, Control& title);
    void clear() { headerDragging = 0; }

private:
    void MouseDown(double X, double Y);
    void MouseMove(double X, double Y);
    void MouseUp(double X, double Y);

    Form& form;
    std::int16_t headerDragging = 0;
    std::int16_t headerDragX = 0; // where on the surface the drag began, in twips
    std::int16_t headerDragY = 0;
};

/// Gives controls the hand as mouse pointer, the only sign that a picture or a label is a button.
void showHand(std::initializer_list<Control*> controls);

/// Lets a click move the focus to pictures that the Tab key passes by, so that what the focus leaves is asked first.
void takeFocusOnClick(std::initializer_list<Control*> controls);

/// Gives controls their access keys: letters of their own words, which work with Alt and are underlined once the
/// keyboard is in use.
void giveAccessKeys(std::initializer_list<std::pair<Control*, wchar_t>> keys);

/// Lets the Tab key reach pictures and labels that act on a click, so that the mouse is never needed.
void makeReachable(std::initializer_list<Control*> controls);

/// Makes the form topmost or not, and visible, without activating it.
void setAlwaysOnTop(Form& form, bool onTop);

/// Whether the list has the text exactly so, with case.
bool existsInCombo(const std::wstring& text, const ComboBox& combo);
