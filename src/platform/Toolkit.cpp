#include "platform/Toolkit.h"

#include <algorithm>
#include <utility>

#include "platform/Desktop.h"
#include "platform/Input.h"
#include "platform/RunTimeError.h"
#include "platform/ToolkitPeer.h"

namespace {

std::vector<Form*> loadedForms;

void refuseCheckValue(const std::int16_t& value) {
    if (value < 0 || value > 1) throw RunTimeError(errors::invalidPropertyValue);
}

} // namespace

const std::vector<Form*>& openForms() { return loadedForms; }

namespace screen {
double TwipsPerPixelX() { return 1440.0 / platform::screenDpi(); }
double TwipsPerPixelY() { return 1440.0 / platform::screenDpi(); }
double Width() { return platform::desktopSize().width * TwipsPerPixelX(); }
double Height() { return platform::desktopSize().height * TwipsPerPixelY(); }
} // namespace screen

// Controls

Parent::Parent(Frame& inFrame) : form(inFrame.form), frame(&inFrame) {}

Control::Control(Parent parent, Place place, Role as)
    : form(parent.form), container(parent.frame), Left(*this, Aspect::place, place.x),
      Top(*this, Aspect::place, place.y), Width(*this, Aspect::place, place.width),
      Height(*this, Aspect::place, place.height), Visible(*this, Aspect::visible, true),
      Enabled(*this, Aspect::enabled, true), MousePointer(*this, Aspect::pointer, pointerDefault), role(as) {
    form.all.push_back(this);
}

Control::~Control() = default;

void Control::changed(Aspect aspect) {
    if (form.isLoaded()) platform::controlChanged(*this, aspect);
}

bool Control::isShown() const { return Visible && (!container || container->isShown()); }

bool Control::canTakeFocus() const { return isShown() && Enabled; }

void Control::SetFocus() {
    if (!form.isLoaded() || !form.Visible || !canTakeFocus()) return;
    if (form.active != this) {
        form.active = this;
        if (GotFocus) GotFocus();
    }
    platform::focusChanged(form);
}

Label::Label(Parent parent, Place place, std::wstring caption, TextStyle textStyle, Role as)
    : Control(parent, place, as), Caption(*this, Aspect::text, std::move(caption)), style(textStyle) {}

PictureBox::PictureBox(Parent parent, Place place, ::Picture picture, std::wstring caption, TextStyle textStyle,
                       Role as)
    : Control(parent, place, as), Picture(*this, Aspect::picture, std::move(picture)), Caption(std::move(caption)),
      style(textStyle) {}

Frame::Frame(Parent parent, Place place, std::wstring caption, Color fillColor, Color edgeColor)
    : Control(parent, place, Role::art), Caption(std::move(caption)), fill(fillColor), edge(edgeColor) {}

TextBox::TextBox(Parent parent, Place place, std::wstring text, wchar_t hidden)
    : Control(parent, place, Role::field), Text(*this, Aspect::text, std::move(text)),
      SelStart(*this, Aspect::selection, 0), SelLength(*this, Aspect::selection, 0), passwordChar(hidden) {
    TabStop = true;
}

ComboBox::ComboBox(Parent parent, Place place, std::vector<std::wstring> list, std::wstring text)
    : Control(parent, place, Role::combo), Text(*this, Aspect::text, std::move(text)),
      List(*this, Aspect::list, std::move(list)), Locked(*this, Aspect::locked, false) {
    TabStop = true;
}

void ComboBox::AddItem(const std::wstring& entry) {
    auto entries = List();
    entries.push_back(entry);
    List = std::move(entries);
}

void ComboBox::Clear() {
    List = {};
    Text = {};
}

OptionButton::OptionButton(Parent parent, Place place, std::wstring caption, bool value)
    : Control(parent, place, Role::option), Caption(std::move(caption)), Value(*this, Aspect::value, value) {
    TabStop = true;
}

CheckBox::CheckBox(Parent parent, Place place, std::wstring caption, std::int16_t value)
    : Control(parent, place, Role::check), Caption(std::move(caption)),
      Value(*this, Aspect::value, value, refuseCheckValue) {
    TabStop = true;
}

CommandButton::CommandButton(Parent parent, Place place, std::wstring caption, bool isDefault)
    : Control(parent, place, Role::art), Caption(std::move(caption)) {
    if (isDefault) form.byReturn = this;
}

// Timers

TimerControl::TimerControl(Form& onForm, std::uint32_t milliseconds, bool enabled)
    : Interval(milliseconds), Enabled(*this, Aspect::enabled, enabled), form(onForm) {
    TimerControl::changed(Aspect::enabled);
}

TimerControl::~TimerControl() {
    if (id != 0) platform::stopTimer(id);
}

void TimerControl::changed(Aspect) {
    if (Enabled && id == 0) {
        id = platform::startTimer(Interval, [this] {
            auto alive = form.weak_from_this().lock(); // the handler may unload its form
            if (alive && alive->isLoaded() && Enabled && Timer) Timer();
        });
    } else if (!Enabled && id != 0) {
        platform::stopTimer(id);
        id = 0;
    }
}

// Forms

Form::Form(FormDesign asDesigned)
    : design(std::move(asDesigned)), Left(*this, Aspect::place, 0), Top(*this, Aspect::place, 0),
      Width(*this, Aspect::place, design.width * twipsPerDesignPixel),
      Height(*this, Aspect::place, design.height * twipsPerDesignPixel), Visible(*this, Aspect::visible, false),
      Enabled(*this, Aspect::enabled, true), MousePointer(*this, Aspect::pointer, pointerDefault),
      WindowState(*this, Aspect::windowState, windowNormal) {}

Form::~Form() = default;

void Form::load() {
    loaded = true;
    loadedForms.push_back(this);
    platform::formLoaded(*this);
}

void Form::unload() {
    if (!loaded) return;
    Visible = false;
    loaded = false;
    std::erase(loadedForms, this);
    for (Form* other : loadedForms)
        if (other->ownedBy == this) other->ownedBy = nullptr;
    platform::formUnloaded(*this);
}

void Form::changed(Aspect aspect) {
    if (!loaded) return;
    if (aspect == Aspect::visible && Visible && !placed) {
        placed = true;
        if (design.startUp == StartUp::centreScreen) centreOn(nullptr);
        if (design.startUp == StartUp::centreOwner) centreOn(ownedBy);
    }
    // Before the window goes: what it blocked must be able to take the activation from it.
    if (aspect == Aspect::visible && !Visible) waits.reset();
    platform::formChanged(*this, aspect);
    if (aspect == Aspect::visible && Visible && asking::blocks(*this)) asking::bringForward(platform::hasKeyboard());
    if (aspect == Aspect::visible && Visible && !active)
        if (Control* first = Input::nextInTabOrder(*this, nullptr, false)) first->SetFocus();
}

void Form::centreOn(const Form* other) {
    const bool onForm = other && other->Visible;
    const double x = onForm ? other->Left : 0.0;
    const double y = onForm ? other->Top : 0.0;
    const double width = onForm ? other->Width : screen::Width();
    const double height = onForm ? other->Height : screen::Height();
    Left = x + (width - Width) / 2;
    Top = y + (height - Height) / 2;
}

void Form::Show(Modality modality, Form* owner) {
    const auto alive = weak_from_this().lock();
    const auto ownerAlive = owner ? owner->weak_from_this().lock() : nullptr;
    if (owner && ownedBy != owner) {
        ownedBy = owner;
        platform::inputChanged(*this);
    }
    const bool modal = modality == Modality::modal;
    if (modal && !waits) waits = std::make_unique<asking::Waiting>(asking::Question{this, {}, {}});
    quiet = modal && !platform::hasKeyboard();
    if (WindowState == windowMinimized) WindowState = windowNormal;
    if (!Visible) Visible = true;
    bringForward();
    quiet = false;
    if (!modal) return;
    struct Release { // also when the process ends under a test, by an exception
        ~Release() { form.waits.reset(); }
        Form& form;
    };
    const Release release{*this};
    while (loaded && Visible) platform::waitMessages();
}

void Form::bringForward() {
    if (asking::blocks(*this))
        asking::bringForward();
    else
        platform::activate(*this, !quiet);
}

void Form::Hide() {
    if (Visible) Visible = false;
}

void Form::SetFocus() {
    if (loaded && Visible) bringForward();
}

void Form::PopupMenu(const std::vector<MenuEntry*>& entries, const MenuEntry* defaultEntry) {
    MenuEntry* chosen = platform::trackMenu(*this, entries, defaultEntry);
    asking::bringForward(); // the menu's window has had the keyboard
    if (chosen && chosen->Enabled && chosen->Click) chosen->Click();
}

platform::WindowHandle Form::hWnd() const { return platform::windowOf(*this); }

std::uint32_t Form::hIcon() const { return platform::smallIconOf(*this); }

// Places

Place platform::placeOnForm(const Control& control) {
    Place place{control.Left, control.Top, control.Width, control.Height};
    for (const Frame* outer = control.container; outer; outer = outer->container) {
        place.x += outer->Left;
        place.y += outer->Top;
    }
    return place;
}
