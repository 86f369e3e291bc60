#pragma once

#include <string>

class Form;

/// What waits for the person's answer: modal forms and message boxes, in the order of their coming. The last of them
/// lies above every other window of the program and has the keyboard whenever the program has it. All others but
/// notices are blocked until it goes, whatever enables or disables them meanwhile.
namespace asking {

struct Question {
    Form* form = nullptr; // null: a message box
    std::wstring text;    // of a box
    std::wstring title;
};

/// A question is up, from here to the end of the scope or to its answer, if that comes first. An open menu ends at its
/// coming, since it would keep the mouse.
class Waiting {
public:
    explicit Waiting(Question asked);
    ~Waiting();
    Waiting(const Waiting&) = delete;
    void answered();

private:
    Question question;
};

/// The one that came last; null if nothing waits.
const Question* last();

/// True for a box of this text and title that waits, whatever has come after it.
bool isAsked(const std::wstring& text, const std::wstring& title);

/// True for a form that the person cannot use because something waits.
bool blocks(const Form& form);

/// Brings the last one to the front, with the keyboard or, for what comes by itself while the person is elsewhere,
/// without it. Nothing if nothing waits.
void bringForward(bool withKeyboard = true);

} // namespace asking
