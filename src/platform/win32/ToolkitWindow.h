#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <windows.h>

#include <commctrl.h>

#include "platform/Toolkit.h"
#include "platform/win32/Density.h"
#include "platform/win32/ToolkitArt.h"

/// The peer's own parts. A form is one window; what has no window of its own is drawn by the form into one back buffer
/// and hit-tested by it; the rest are the system's native controls, children of that window.
///
/// One object, FormWindow, in the files of what it does: ToolkitWindow its life and its procedure, ToolkitScreen its
/// place, ToolkitPaint its looks, ToolkitInput mouse and keys, ToolkitControls its native controls (with ToolkitTexts for
/// what text boxes and combos show, ToolkitField and ToolkitChoice for how two kinds look), ToolkitReader what it says.
/// ToolkitPeer passes on to it what the program changes. Beside it: ToolkitArt, what is drawn with; ToolkitBox and
/// ToolkitMenu, the system's own message boxes and popup menus.
namespace platform::win32 {

class FormWindow;

using MouseEvent = std::function<void(std::int16_t Button, std::int16_t Shift, double X, double Y)>;

/// Messages to itself, for what must wait until a procedure of the system has returned.
enum : UINT { placeWaits = WM_APP, densityWaits, focusMoved, choiceMade, blockedOne, readerAsks };

/// What a screen reader asks for by readerAsks, or is owed.
enum : WPARAM { readerPresses, readerFocuses, readerIsAlerted };

/// A native control.
struct Native {
    FormWindow& on;
    Control& control;
    HWND window = nullptr;
    HWND label = nullptr;  // never seen: what the system names a field after
    HWND edit = nullptr;   // where its text is edited: a combo's inner window, a text box itself
    bool clicked = false;  // by the person, and not yet told
    bool picked = false;   // the person moved in the list since it opened
    bool dismissed = false; // the list closed without a choice
    std::vector<std::wstring> listed;
    HBRUSH background = nullptr;

    void dropBackground() {
        if (background) DeleteObject(background);
        background = nullptr;
    }
    ~Native() { dropBackground(); }
};

/// A combo's list is open.
inline bool isDropped(const Native& native) {
    return native.edit && native.edit != native.window && SendMessageW(native.window, CB_GETDROPPEDSTATE, 0, 0) != 0;
}

/// A combo leaves its text marked without having the focus, after new text or a new size.
inline void hideSelection(const Native& combo) {
    if (GetFocus() != combo.edit) SendMessageW(combo.edit, EM_SETSEL, 0, 0);
}

/// While the program changes a native control.
struct Assigning {
    explicit Assigning(bool& now) : flag(now), before(now) { flag = true; }
    ~Assigning() { flag = before; }
    Assigning(const Assigning&) = delete;
    bool& flag;
    const bool before;
};

class FormWindow : public std::enable_shared_from_this<FormWindow> {
public:
    explicit FormWindow(Form& shown) : form(shown), dpi(primaryDpi()) {}

    Form& form;
    HWND window = nullptr;
    int dpi;             // of the screen that it is on, at which everything on it is drawn
    bool closed = false; // the form is unloaded: nothing is raised from the window any more
    bool cues = false;   // the keyboard has been used, so the focus is shown
    bool assigning = false; // the program changes a native control, which therefore has nothing to tell

    void create();
    void furnish(); // before it is seen for the first time: its icons and native controls
    void destroy();
    void show();
    void hide();
    void activate(bool withKeyboard);
    void applyInput();
    void applyWindowState();
    void applyPointer();

    /// Brings the window to the form's place soon: what a handler assigns one by one moves the window once.
    void placeSoon();
    void placeNow();

    LRESULT handle(UINT message, WPARAM wParam, LPARAM lParam);

    // Screens (ToolkitScreen.cpp)
    RECT placeOnScreen() const; // where the form is to stand, in pixels
    void adoptPlace(POINT leftTop);
    void densityChanged(int now, const RECT& suggested); // the system finds the window on a screen of another density
    void densityAfterDrag();                    // what waited for the end of a drag
    void coloursChanged();                      // of the system, or its contrast theme
    void screensChanged(bool mayHide);          // other screens, resolutions or, with `mayHide`, less room

    // Drawing (ToolkitPaint.cpp)
    RECT pixelsOf(const Control& control) const;
    void invalidate(const Control& control); // where it stood and where it stands
    void paint();
    void print(HDC onto);
    HBRUSH backgroundOf(Native& native); // what lies below a native control, as the brush of its own background
    void showCues();

    // Screen readers (ToolkitReader.cpp)
    LRESULT answerReader(WPARAM flags);          // WM_GETOBJECT for the client area
    LONG spokenId(const Control& control) const; // by which a reader knows a control, from 1; 0: it says nothing
    Control* spokenAt(LONG id) const;
    void tellReaderOf(const Control& control, Aspect aspect);
    void tellFocus();

    // Native controls (ToolkitControls.cpp)
    void createNatives();
    Native* nativeOf(const Control* control) const;
    Native* nativeOf(HWND window) const; // also by its inner window
    void apply(Native& native, Aspect aspect);
    void applyShownNatives();
    void acceptList(Native& native); // closes an open list, with what is chosen in it
    void endLists();      // closes open lists, with what was chosen before
    void applyFocus();    // gives the system's focus to the form's active control
    void followFocus();   // the person moved the system's focus
    void notified(HWND child, UINT code);
    LRESULT drawNative(const NMHDR& notification);
    LRESULT handleNative(Native& native, HWND at, UINT message, WPARAM wParam, LPARAM lParam);

private:
    LRESULT windowMoved(const WINDOWPOS& moved);
    /// Raises a mouse event of a control (null: of the form), unless it is disabled. `where` is a mouse message's lParam.
    void raiseMouse(const MouseEvent& event, std::int16_t button, const Control* control, LPARAM where) const;
    void mouseDown(std::int16_t button, LPARAM where);
    void mouseUp(std::int16_t button, LPARAM where);
    void mouseMoved(WPARAM buttons, LPARAM where);
    Control* hit(LPARAM where) const;
    void moveRing();
    HCURSOR cursorAt(POINT client) const;
    bool isOver(const Control& control, LPARAM where) const;

    void redraw(const RECT& dirty);
    void resized(SIZE from, SIZE to);

    void giveFocus();
    void placeNative(Native& native);
    void rescaleNatives();
    void showText(Native& native);
    void showList(Native& native);
    void adoptText(Native& native);
    void adoptSelection(Native& native);
    void settleChoice(Native& native);
    void endList(Native& native);

    Surface buffer;
    SIZE size{}; // of the window, as last drawn
    std::map<const Control*, RECT> drawnAt;
    std::map<const Control*, std::unique_ptr<Native>> natives;
    const Control* ringed = nullptr; // shows the focus
    Control* pressed = nullptr; // has the mouse until all buttons are up
    std::int16_t buttonsDown = 0;
    void tellReader(DWORD event, const Control& control) const;
    void obeyReader(WPARAM wish, LONG id);
    void alertReader();
    void dropReader();

    IUnknown* reader = nullptr; // made when the first one asks
    const Control* focusTold = nullptr;
    bool alertPending = false;

    void forgetLooks();
    void applyDensity(int now);
    void applyIcons();
    void keepReachable();

    bool furnished = false;
    bool placePending = false;
    bool placing = false;
    bool rescaling = false;
    bool iconic = false;
};

/// The procedure of an edit field, which puts its line in the middle of its height; the system leaves it at the top
/// (ToolkitField.cpp).
LRESULT fieldProcedure(HWND field, UINT message, WPARAM wParam, LPARAM lParam);

/// Design pixels between the mark of an option or a check and its text.
inline constexpr double choiceGap = 4;

/// Draws an option or a check with the theme's own mark and the caption in a colour of the form's; the theme would have
/// it black. `cues`: the focus and the access key are shown. The result is the notification's (ToolkitChoice.cpp).
LRESULT drawChoice(const NMCUSTOMDRAW& job, const Control& choice, const std::wstring& caption, bool cues, int dpi);

/// Null if the form or window is not, or no longer, of this program's forms.
std::shared_ptr<FormWindow> windowOfForm(const Form& form);
std::shared_ptr<FormWindow> formWindowAt(HWND window);
std::vector<std::shared_ptr<FormWindow>> allFormWindows();

/// Lets go of the pictures that no window on the screen shows.
void forgetUnseenPictures();

/// Keyboard navigation, before a message is dispatched.
bool filterKeys(void* message);

/// The buttons in a mouse message's wParam: 1 left, 2 right, 4 middle.
std::int16_t buttonMask(WPARAM keys);

/// The button that a message is about: 1 left, 2 right, 4 middle; 0 for any other message.
std::int16_t buttonPressedBy(UINT message);
std::int16_t buttonReleasedBy(UINT message);

} // namespace platform::win32
