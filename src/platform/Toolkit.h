#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/Asking.h"
#include "platform/Messages.h"
#include "platform/Pictures.h"
#include "platform/Property.h"

/// The window toolkit: forms and the controls on them. A control holds its values itself and is complete without a
/// screen; the desktop's peer (ToolkitPeer.h) shows the values and brings the person's actions in through Input.h.
///
/// Units: controls stand in design pixels, 96 to the inch, which the peer scales by the screen's density. A form's own
/// size is in twips, 15 to the design pixel, so that it means the same at every density; its position and all mouse
/// coordinates are in twips of the primary screen. What asks for the size of the screen gets pixels (Desktop.h).

class Form;
class Frame;

struct Place { // design pixels, relative to the form or frame that the control stands in
    double x;
    double y;
    double width;
    double height;
};

struct Color {
    std::uint8_t red;
    std::uint8_t green;
    std::uint8_t blue;
    friend bool operator==(const Color&, const Color&) = default;
};

enum class Align { left, centre, right };

/// How a text is drawn: in the system's user-interface font, wrapped at words.
struct TextStyle {
    Color color{};
    double points = 9;
    bool semibold = false;
    bool underline = false;
    Align align = Align::left;
    bool middle = false; // centred between top and bottom; otherwise from the top
};

/// Mouse pointers, by the numbers of the controls' property.
enum : std::int16_t { pointerDefault = 0, pointerSizeAll = 5, pointerHand = 99 };

inline constexpr double twipsPerDesignPixel = 15.0;

/// The primary screen in the units of a form.
namespace screen {
double Width(); // twips
double Height();
double TwipsPerPixelX(); // twips to a pixel of the primary screen, now
double TwipsPerPixelY();
} // namespace screen

/// What a control stands in: the form itself, or a frame on it.
struct Parent {
    Parent(Form& onForm) : form(onForm), frame(nullptr) {} // NOLINT: written as the form or the frame
    Parent(Frame& inFrame);                                // NOLINT
    Form& form;
    Frame* frame;
};

/// What a control is: to somebody who does not see it, and to one who sees it in a contrast theme of the system's.
enum class Role {
    art,      // says nothing
    backdrop, // art behind words, before which it gives way
    trough,   // what a bar moves in
    text,
    link,
    button,
    closeMark,
    tab,
    progress,
    field,
    combo,
    option,
    check
};

class Control : public Propertied {
public:
    Control(Parent parent, Place place, Role role);

    Form& form;
    Frame* const container; // null: the form itself

    Property<double> Left, Top, Width, Height; // design pixels
    Property<bool> Visible, Enabled;
    Property<std::int16_t> MousePointer;
    std::wstring Tag;
    Role role;
    std::wstring name;       // what it is called where it shows no words of its own that say it
    wchar_t accessKey = 0;   // with Alt, the key that does what a click does; for a label, to the field that it names
    bool TabStop = false;    // reached by the Tab key, in the order of declaration, and by a click
    bool ClickFocus = false; // a click alone moves the focus here

    std::function<void()> Click;
    std::function<void()> GotFocus;
    std::function<void(bool& Cancel)> Validate; // the focus is about to leave; Cancel keeps it
    std::function<void(std::int16_t Button, std::int16_t Shift, double X, double Y)> MouseDown, MouseMove, MouseUp;
    std::function<void()> KeyDown, KeyUp;

    /// Moves the focus here, if the control can have it at this moment.
    void SetFocus();

    /// True if the control and all that it stands in are visible; the form's own visibility does not count.
    bool isShown() const;
    bool canTakeFocus() const;

    virtual bool isSelected() const { return false; } // a tab
    virtual std::wstring spokenValue() const { return {}; }

    void changed(Aspect aspect) override;

protected:
    ~Control();
};

class Label : public Control {
public:
    Label(Parent parent, Place place, std::wstring caption, TextStyle style = {}, Role role = Role::text);
    Property<std::wstring> Caption;
    TextStyle style;
};

/// A picture at its own size, clipped to its place. With a caption it looks like a button.
class PictureBox : public Control {
public:
    PictureBox(Parent parent, Place place, ::Picture picture = {}, std::wstring caption = {}, TextStyle style = {},
               Role role = Role::art);
    Property<::Picture> Picture;
    std::wstring Caption;
    TextStyle style;
    double captionInset = 0; // design pixels between the left edge and the caption's own space
};

/// A picture without behaviour but for a click, and never the focus on a mouse click.
using Image = PictureBox;

/// A panel that other controls stand in.
class Frame : public Control {
public:
    Frame(Parent parent, Place place, std::wstring caption, Color fill, Color edge);
    std::wstring Caption; // never drawn
    Color fill, edge;
    bool roundTop = true; // otherwise only the lower corners are round, for what joins the panel from above
};

class TextBox : public Control {
public:
    TextBox(Parent parent, Place place, std::wstring text = {}, wchar_t passwordChar = 0);
    Property<std::wstring> Text;
    Property<std::int32_t> SelStart, SelLength; // characters
    const wchar_t passwordChar;
};

/// A combo box whose text can be typed.
class ComboBox : public Control {
public:
    ComboBox(Parent parent, Place place, std::vector<std::wstring> list, std::wstring text);
    Property<std::wstring> Text;
    Property<std::vector<std::wstring>> List;
    Property<bool> Locked; // the text cannot be changed by the person
    void AddItem(const std::wstring& entry);
    void Clear(); // list and text
};

/// One of the options that stand in the same container; at most one is on.
class OptionButton : public Control {
public:
    OptionButton(Parent parent, Place place, std::wstring caption, bool value = false);
    const std::wstring Caption;
    Property<bool> Value;
};

class CheckBox : public Control {
public:
    CheckBox(Parent parent, Place place, std::wstring caption, std::int16_t value = 0);
    const std::wstring Caption;
    Property<std::int16_t> Value; // 0 or 1; anything else raises invalidPropertyValue (380)
};

/// A push button. One may be its form's default: the Return key presses it, whatever has the focus.
class CommandButton : public Control {
public:
    CommandButton(Parent parent, Place place, std::wstring caption, bool isDefault = false);
    const std::wstring Caption;
};

/// Fires every Interval milliseconds while enabled.
class TimerControl : public Propertied {
public:
    TimerControl(Form& form, std::uint32_t milliseconds, bool enabled);
    ~TimerControl();
    const std::uint32_t Interval;
    Property<bool> Enabled;
    std::function<void()> Timer;
    void changed(Aspect aspect) override;

private:
    Form& form;
    std::uint32_t id = 0;
};

struct MenuEntry {
    std::wstring Caption; // "-" is a separator, "&" marks the access key
    bool Visible = true;
    bool Enabled = true;
    std::function<void()> Click;
};

enum class StartUp { manual, centreScreen, centreOwner };

struct FormDesign {
    const wchar_t* name;
    std::wstring caption;
    std::int32_t width; // design pixels
    std::int32_t height;
    StartUp startUp = StartUp::centreScreen;
    bool inTaskbar = true;
    bool notice = false;   // never takes the activation
    bool closable = true;  // answers the system's close request
    bool unseen = false;   // never shown: it is there for its handle, and nothing blocks it
    Color background{};
    Color edge{};
    Color text{}; // of fields, options and checks
};

enum class Modality { modeless, modal };
enum : std::int16_t { windowNormal = 0, windowMinimized = 1 };

class Form : public Propertied, public std::enable_shared_from_this<Form> {
public:
    explicit Form(FormDesign design);
    virtual ~Form();

    const FormDesign design;
    Property<double> Left, Top, Width, Height; // twips
    Property<bool> Visible, Enabled;
    Property<std::int16_t> MousePointer, WindowState;
    Control* escapePresses = nullptr; // what the Escape key does; null: nothing
    std::function<void()> Activate;
    std::function<void(std::int16_t Button, std::int16_t Shift, double X, double Y)> MouseMove;

    /// Shows the window in front, not minimized. Modal, it waits for an answer (Asking.h) and returns when it has been
    /// hidden or unloaded; it then leaves the keyboard to another program that has it.
    void Show(Modality modality = Modality::modeless, Form* owner = nullptr);
    void Hide();
    void SetFocus();

    /// Opens a menu at the mouse pointer with one entry as the default, and runs the chosen entry's Click.
    void PopupMenu(const std::vector<MenuEntry*>& entries, const MenuEntry* defaultEntry);

    platform::WindowHandle hWnd() const;
    std::uint32_t hIcon() const; // of the program's icon in tray size

    const std::vector<Control*>& controls() const { return all; }
    Control* activeControl() const { return active; }
    CommandButton* defaultButton() const { return byReturn; }
    Form* owner() const { return ownedBy; }

    /// The person can use the window: it is enabled, and nothing waits for an answer first.
    bool takesInput() const { return Enabled && !asking::blocks(*this); }
    bool isLoaded() const { return loaded; }

    /// It comes while the person is at another program, whose keyboard it leaves alone.
    bool comesQuietly() const { return quiet; }

    void changed(Aspect aspect) override;

    /// What a close request of the system does; set by AutoForm.
    std::function<void()> closeRequested;

    // For AutoForm: the window comes to be, hidden; the window goes.
    void load();
    void unload();

private:
    friend class Control;
    friend class CommandButton;
    friend struct Input;
    void centreOn(const Form* other);
    void bringForward();

    std::vector<Control*> all;
    Control* active = nullptr;
    CommandButton* byReturn = nullptr;
    Form* ownedBy = nullptr;
    std::unique_ptr<asking::Waiting> waits; // while modal
    bool quiet = false;
    bool loaded = false;
    bool placed = false;
};

/// The forms that are loaded now, oldest first.
const std::vector<Form*>& openForms();

/// The one form of its kind, which loads on first touch. `->` keeps it alive to the end of the expression, so a handler
/// may unload its own form.
template <class T> class AutoForm {
public:
    std::shared_ptr<T> operator->() {
        Load();
        return form;
    }
    T& operator*() {
        Load();
        return *form;
    }
    bool isLoaded() const { return form != nullptr; }

    void Load() {
        if (form) return;
        auto loading = std::make_shared<T>();
        form = loading;
        loading->closeRequested = [this] { Unload(); };
        static_cast<Form&>(*loading).load();
        if constexpr (requires { loading->Form_Load(); }) loading->Form_Load();
    }

    /// Takes the window away, unless the form's own Form_Unload objects. Running handlers of the form may go on.
    void Unload() {
        auto unloading = form;
        if (!unloading) return;
        if constexpr (requires(std::int16_t& cancel) { unloading->Form_Unload(cancel); }) {
            std::int16_t Cancel = 0;
            unloading->Form_Unload(Cancel);
            if (Cancel != 0) return;
        }
        if (form == unloading) form.reset();
        static_cast<Form&>(*unloading).unload();
    }

    /// Forgets the form without asking it: for the start of a test.
    void discard() {
        if (auto dropping = std::move(form)) static_cast<Form&>(*dropping).unload();
        form.reset();
    }

private:
    std::shared_ptr<T> form;
};
