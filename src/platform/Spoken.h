#pragma once

#include <string>
#include <vector>

#include "platform/Toolkit.h"

/// What a form tells somebody who does not see it. All of it comes from the design in the form's own header.
namespace platform {

struct Spoken {
    std::wstring name;   // its own words, or those of the label beside it
    std::wstring value;  // what is in a field, how far a bar has come; never a password
    std::wstring action; // what a click does, in a word; empty: nothing
    bool shown = false;
    bool enabled = false;
    bool focusable = false;
    bool focused = false;
    bool selected = false; // a tab
    bool checked = false;  // an option, a check
};
Spoken spokenOf(const Control& control);

/// The controls that say something, shown or not, in reading order.
std::vector<Control*> spokenControls(const Form& form);

/// What the window is called; for a notice, which has no title that anybody sees, its heading.
std::wstring spokenName(const Form& form);

/// The message of a notice; empty for any other form.
std::wstring spokenMessage(const Form& form);

/// The label that names a field: on its left, else above it; null if there is none.
const Label* labelOf(const Control& field);

} // namespace platform
