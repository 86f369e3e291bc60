#include "platform/Asking.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/Messages.h"
#include "platform/Toolkit.h"
#include "platform/ToolkitPeer.h"

namespace {

std::vector<const asking::Question*> waiting;

void applyToAll() {
    // Those of this moment: a form that hears of it may open or close others.
    const std::vector<Form*> forms(openForms().begin(), openForms().end());
    for (Form* form : forms)
        if (std::ranges::count(openForms(), form)) platform::inputChanged(*form);
    platform::boxInputChanged();
}

} // namespace

namespace asking {

Waiting::Waiting(Question asked) : question(std::move(asked)) {
    platform::endMenu();
    waiting.push_back(&question);
    applyToAll();
}

Waiting::~Waiting() { answered(); }

void Waiting::answered() {
    if (std::erase(waiting, &question) != 0) applyToAll();
}

const Question* last() { return waiting.empty() ? nullptr : waiting.back(); }

bool isAsked(const std::wstring& text, const std::wstring& title) {
    return std::ranges::any_of(
        waiting, [&](const Question* asked) { return !asked->form && asked->text == text && asked->title == title; });
}

bool blocks(const Form& form) { return last() && last()->form != &form && !form.design.notice && !form.design.unseen; }

void bringForward(bool withKeyboard) {
    if (!last()) return;
    if (Form* form = last()->form) {
        if (form->WindowState == windowMinimized) form->WindowState = windowNormal;
        platform::activate(*form, withKeyboard);
    } else {
        platform::activateBox(withKeyboard);
    }
}

} // namespace asking

std::int32_t platform::messageBox(const std::wstring& text, std::int32_t style, const std::wstring& title,
                                  const std::function<void(std::int32_t)>& answered) {
    if (asking::isAsked(text, title)) {
        asking::bringForward();
        return box::notAsked;
    }
    asking::Waiting waits({nullptr, text, title});
    return showBox(text, style, title, [&](std::int32_t button) {
        waits.answered();
        if (answered && button != 0) answered(button);
    });
}
