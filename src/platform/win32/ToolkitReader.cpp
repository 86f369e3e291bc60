#include <algorithm>

#include <windows.h>

#include <oleacc.h>

#include "platform/Input.h"
#include "platform/Spoken.h"
#include "platform/win32/Com.h"
#include "platform/win32/ToolkitWindow.h"

// What a screen reader is told: a form is one IAccessible, and each control that says something is a simple element of
// it (Active Accessibility, "Simple Elements"). The native controls are also windows that the system itself describes;
// they take their names from the label windows before them.

namespace platform::win32 {

namespace {

LONG roleOf(Role role) {
    switch (role) {
    case Role::link: return ROLE_SYSTEM_LINK;
    case Role::button:
    case Role::closeMark: return ROLE_SYSTEM_PUSHBUTTON;
    case Role::tab: return ROLE_SYSTEM_PAGETAB;
    case Role::progress: return ROLE_SYSTEM_PROGRESSBAR;
    case Role::field: return ROLE_SYSTEM_TEXT;
    case Role::combo: return ROLE_SYSTEM_COMBOBOX;
    case Role::option: return ROLE_SYSTEM_RADIOBUTTON;
    case Role::check: return ROLE_SYSTEM_CHECKBUTTON;
    case Role::text: return ROLE_SYSTEM_STATICTEXT;
    default: return ROLE_SYSTEM_GRAPHIC;
    }
}

LONG stateOf(const Control& control, const Spoken& spoken) {
    const auto* box = dynamic_cast<const TextBox*>(&control);
    LONG state = 0;
    if (!spoken.shown) state |= STATE_SYSTEM_INVISIBLE;
    if (!spoken.enabled) state |= STATE_SYSTEM_UNAVAILABLE;
    if (spoken.focusable) state |= STATE_SYSTEM_FOCUSABLE;
    if (spoken.focused) state |= STATE_SYSTEM_FOCUSED;
    if (spoken.checked) state |= STATE_SYSTEM_CHECKED;
    if (box && box->passwordChar) state |= STATE_SYSTEM_PROTECTED;
    if (control.role == Role::link) state |= STATE_SYSTEM_LINKED;
    if (control.role == Role::tab) state |= STATE_SYSTEM_SELECTABLE | (spoken.selected ? STATE_SYSTEM_SELECTED : 0);
    if (control.role == Role::text || control.role == Role::progress) state |= STATE_SYSTEM_READONLY;
    return state;
}

/// A text for the caller; S_FALSE for none.
HRESULT give(const std::wstring& text, BSTR* result) {
    if (!result) return E_POINTER;
    *result = text.empty() ? nullptr : SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    return *result ? S_OK : S_FALSE;
}

HRESULT give(LONG number, VARIANT* result) {
    if (!result) return E_POINTER;
    result->vt = VT_I4;
    result->lVal = number;
    return S_OK;
}

/// oleacc.dll, loaded when somebody asks for the first time: most people have no screen reader.
template <class Function> Function readersCall(const char* name) {
    static const HMODULE library = LoadLibraryW(L"oleacc.dll");
    return library ? reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name))) : nullptr;
}

class FormReader final : public IAccessible {
public:
    explicit FormReader(std::weak_ptr<FormWindow> read) : of(std::move(read)) {}
    virtual ~FormReader() = default;

    STDMETHODIMP QueryInterface(REFIID id, void** result) override {
        const bool known =
            IsEqualIID(id, IID_IUnknown) || IsEqualIID(id, IID_IDispatch) || IsEqualIID(id, IID_IAccessible);
        *result = known ? static_cast<IAccessible*>(this) : nullptr;
        if (known) AddRef();
        return known ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override {
        const ULONG left = --references;
        if (left == 0) delete this;
        return left;
    }

    // Readers do not call by name.
    STDMETHODIMP GetTypeInfoCount(UINT* count) override {
        *count = 0;
        return S_OK;
    }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }

    STDMETHODIMP get_accParent(IDispatch** parent) override {
        using FromWindow = HRESULT(WINAPI*)(HWND, DWORD, REFIID, void**);
        const auto fromWindow = readersCall<FromWindow>("AccessibleObjectFromWindow");
        const auto shown = form();
        if (!shown || !fromWindow) return CO_E_OBJNOTCONNECTED;
        return fromWindow(shown->window, static_cast<DWORD>(OBJID_WINDOW), IID_IDispatch,
                          reinterpret_cast<void**>(parent));
    }
    STDMETHODIMP get_accChildCount(LONG* count) override {
        const auto shown = form();
        if (!shown) return CO_E_OBJNOTCONNECTED;
        *count = static_cast<LONG>(spokenControls(shown->form).size());
        return S_OK;
    }
    STDMETHODIMP get_accChild(VARIANT, IDispatch** child) override {
        *child = nullptr;
        return S_FALSE; // all are simple elements
    }
    STDMETHODIMP get_accName(VARIANT id, BSTR* name) override {
        return about(
            id, [&](FormWindow& shown) { return give(spokenName(shown.form), name); },
            [&](FormWindow&, Control& control) { return give(spokenOf(control).name, name); });
    }
    STDMETHODIMP get_accValue(VARIANT id, BSTR* value) override {
        return about(
            id, [&](FormWindow&) { return give({}, value); },
            [&](FormWindow&, Control& control) { return give(spokenOf(control).value, value); });
    }
    STDMETHODIMP get_accDescription(VARIANT id, BSTR* description) override {
        return about(
            id, [&](FormWindow& shown) { return give(spokenMessage(shown.form), description); },
            [&](FormWindow&, Control&) { return give({}, description); });
    }
    STDMETHODIMP get_accRole(VARIANT id, VARIANT* role) override {
        return about(
            id,
            [&](FormWindow& shown) {
                return give(shown.form.design.notice ? ROLE_SYSTEM_ALERT : ROLE_SYSTEM_DIALOG, role);
            },
            [&](FormWindow&, Control& control) { return give(roleOf(control.role), role); });
    }
    STDMETHODIMP get_accState(VARIANT id, VARIANT* state) override {
        return about(
            id,
            [&](FormWindow& shown) {
                return give((shown.form.Visible ? 0 : STATE_SYSTEM_INVISIBLE) |
                                (shown.form.takesInput() ? 0 : STATE_SYSTEM_UNAVAILABLE),
                            state);
            },
            [&](FormWindow&, Control& control) { return give(stateOf(control, spokenOf(control)), state); });
    }
    STDMETHODIMP get_accHelp(VARIANT, BSTR* help) override { return give({}, help); }
    STDMETHODIMP get_accHelpTopic(BSTR*, VARIANT, LONG*) override { return E_NOTIMPL; }
    STDMETHODIMP get_accKeyboardShortcut(VARIANT id, BSTR* keys) override {
        return about(
            id, [&](FormWindow&) { return give({}, keys); },
            [&](FormWindow&, Control& control) {
                return give(control.accessKey ? std::wstring(L"Alt+") + control.accessKey : L"", keys);
            });
    }
    STDMETHODIMP get_accFocus(VARIANT* child) override {
        const auto shown = form();
        if (!shown) return CO_E_OBJNOTCONNECTED;
        const Control* const active = shown->form.activeControl();
        const LONG id = active ? shown->spokenId(*active) : 0;
        if (GetForegroundWindow() != shown->window || id == 0) {
            child->vt = VT_EMPTY;
            return S_FALSE;
        }
        return give(id, child);
    }
    STDMETHODIMP get_accSelection(VARIANT* child) override {
        const auto shown = form();
        if (!shown) return CO_E_OBJNOTCONNECTED;
        child->vt = VT_EMPTY;
        for (const Control* control : spokenControls(shown->form))
            if (control->isSelected()) return give(shown->spokenId(*control), child);
        return S_FALSE;
    }
    STDMETHODIMP get_accDefaultAction(VARIANT id, BSTR* action) override {
        return about(
            id, [&](FormWindow&) { return give({}, action); },
            [&](FormWindow&, Control& control) { return give(spokenOf(control).action, action); });
    }
    STDMETHODIMP accSelect(LONG flags, VARIANT id) override {
        return about(
            id, [](FormWindow&) { return E_INVALIDARG; },
            [&](FormWindow& shown, Control& control) -> HRESULT {
                if (!(flags & SELFLAG_TAKEFOCUS)) return E_INVALIDARG;
                if (!spokenOf(control).focusable) return S_FALSE;
                PostMessageW(shown.window, readerAsks, readerFocuses, id.lVal);
                return S_OK;
            });
    }
    STDMETHODIMP accLocation(LONG* left, LONG* top, LONG* width, LONG* height, VARIANT id) override {
        const auto given = [&](const FormWindow& shown, RECT place) {
            MapWindowPoints(shown.window, nullptr, reinterpret_cast<POINT*>(&place), 2);
            *left = place.left;
            *top = place.top;
            *width = place.right - place.left;
            *height = place.bottom - place.top;
            return S_OK;
        };
        return about(
            id,
            [&](FormWindow& shown) {
                RECT all;
                GetClientRect(shown.window, &all);
                return given(shown, all);
            },
            [&](FormWindow& shown, Control& control) { return given(shown, shown.pixelsOf(control)); });
    }
    STDMETHODIMP accNavigate(LONG direction, VARIANT from, VARIANT* to) override {
        const auto shown = form();
        if (!shown) return CO_E_OBJNOTCONNECTED;
        if (from.vt != VT_I4) return E_INVALIDARG;
        const auto count = static_cast<LONG>(spokenControls(shown->form).size());
        const LONG id = direction == NAVDIR_FIRSTCHILD  ? 1
                        : direction == NAVDIR_LASTCHILD ? count
                        : from.lVal == CHILDID_SELF     ? 0 // of its siblings the window knows
                        : direction == NAVDIR_NEXT      ? from.lVal + 1
                        : direction == NAVDIR_PREVIOUS  ? from.lVal - 1
                                                        : 0;
        to->vt = VT_EMPTY;
        return id >= 1 && id <= count ? give(id, to) : S_FALSE;
    }
    STDMETHODIMP accHitTest(LONG x, LONG y, VARIANT* hit) override {
        const auto shown = form();
        if (!shown) return CO_E_OBJNOTCONNECTED;
        POINT at{x, y};
        ScreenToClient(shown->window, &at);
        RECT all;
        GetClientRect(shown->window, &all);
        hit->vt = VT_EMPTY;
        if (!PtInRect(&all, at)) return S_FALSE;
        LONG found = CHILDID_SELF;
        for (const Control* control : spokenControls(shown->form)) { // the last one lies on top
            const RECT place = shown->pixelsOf(*control);
            if (control->isShown() && PtInRect(&place, at)) found = shown->spokenId(*control);
        }
        return give(found, hit);
    }
    STDMETHODIMP accDoDefaultAction(VARIANT id) override {
        return about(
            id, [](FormWindow&) { return DISP_E_MEMBERNOTFOUND; },
            [&](FormWindow& shown, Control& control) -> HRESULT {
                if (spokenOf(control).action.empty()) return DISP_E_MEMBERNOTFOUND;
                // Not at once: a click may open a message box, and the reader must not wait for its end.
                PostMessageW(shown.window, readerAsks, readerPresses, id.lVal);
                return S_OK;
            });
    }
    STDMETHODIMP put_accName(VARIANT, BSTR) override { return E_NOTIMPL; }
    STDMETHODIMP put_accValue(VARIANT, BSTR) override { return E_NOTIMPL; }

private:
    std::shared_ptr<FormWindow> form() const {
        auto shown = of.lock();
        return shown && !shown->closed ? shown : nullptr;
    }

    /// Calls one function for the form itself, or the other for the control of that number.
    template <class OfForm, class OfControl>
    HRESULT about(const VARIANT& id, OfForm ofForm, OfControl ofControl) const {
        const auto shown = form();
        if (!shown) return CO_E_OBJNOTCONNECTED;
        if (id.vt != VT_I4) return E_INVALIDARG;
        if (id.lVal == CHILDID_SELF) return ofForm(*shown);
        Control* const control = shown->spokenAt(id.lVal);
        return control ? ofControl(*shown, *control) : E_INVALIDARG;
    }

    const std::weak_ptr<FormWindow> of;
    ULONG references = 1;
};

} // namespace

LRESULT FormWindow::answerReader(WPARAM flags) {
    using ToResult = LRESULT(WINAPI*)(REFIID, WPARAM, IUnknown*);
    const auto toResult = readersCall<ToResult>("LresultFromObject");
    if (!toResult) return 0;
    useCom();
    if (!reader) reader = new FormReader(weak_from_this());
    return toResult(IID_IAccessible, flags, static_cast<IAccessible*>(reader));
}

void FormWindow::dropReader() {
    if (reader) static_cast<IAccessible*>(reader)->Release();
    reader = nullptr;
}

LONG FormWindow::spokenId(const Control& control) const {
    const auto all = spokenControls(form);
    const auto found = std::ranges::find(all, &control);
    return found == all.end() ? 0 : static_cast<LONG>(found - all.begin()) + 1;
}

Control* FormWindow::spokenAt(LONG id) const {
    const auto all = spokenControls(form);
    return id >= 1 && static_cast<std::size_t>(id) <= all.size() ? all[static_cast<std::size_t>(id) - 1] : nullptr;
}

void FormWindow::obeyReader(WPARAM wish, LONG id) {
    Control* const control = spokenAt(id);
    if (!control || !form.takesInput()) return;
    const Native* const native = nativeOf(control);
    if (wish == readerFocuses)
        Input::moveFocus(form, control);
    else if (native)
        SendMessageW(native->window, BM_CLICK, 0, 0); // with the mouse's own events
    else
        Input::press(*control);
}

void FormWindow::tellReader(DWORD event, const Control& control) const {
    if (const LONG id = spokenId(control)) NotifyWinEvent(event, window, OBJID_CLIENT, id);
}

void FormWindow::tellReaderOf(const Control& control, Aspect aspect) {
    switch (aspect) {
    case Aspect::text:
        tellReader(EVENT_OBJECT_NAMECHANGE, control);
        if (!form.design.notice || alertPending) break;
        alertPending = true; // what a notice says is complete once its caller has returned
        PostMessageW(window, readerAsks, readerIsAlerted, 0);
        break;
    case Aspect::place:
        if (control.role == Role::progress) tellReader(EVENT_OBJECT_VALUECHANGE, control);
        break;
    case Aspect::enabled: tellReader(EVENT_OBJECT_STATECHANGE, control); break;
    case Aspect::picture:
        if (control.role == Role::tab) tellReader(EVENT_OBJECT_STATECHANGE, control);
        break;
    default: break;
    }
}

void FormWindow::alertReader() {
    alertPending = false;
    if (form.Visible) NotifyWinEvent(EVENT_SYSTEM_ALERT, window, OBJID_CLIENT, CHILDID_SELF);
}

void FormWindow::tellFocus() {
    const Control* const active = GetFocus() == window ? form.activeControl() : nullptr;
    if (active && active != focusTold) tellReader(EVENT_OBJECT_FOCUS, *active);
    focusTold = active;
}

} // namespace platform::win32
