"""What a screen reader is told of each window, from outside as it is told, and the program worked by it alone."""

import dataclasses

from desktop import until
from forms import form
from service import PASSWORD, USER

# Roles and states of Active Accessibility.
ALERT, DIALOG, LINK, TEXT, TAB, STATIC = 8, 18, 30, 42, 37, 41
BUTTON, CHECK, OPTION, COMBO, PROGRESS = 43, 44, 45, 46, 48
UNAVAILABLE, SELECTED, FOCUSED, CHECKED, INVISIBLE, FOCUSABLE, PROTECTED = 1, 2, 4, 0x10, 0x8000, 0x100000, 0x20000000


@dataclasses.dataclass(frozen=True)
class Element:
    number: int
    role: int
    state: int
    name: str
    value: str
    description: str
    action: str
    keys: str
    place: tuple


class Reader:
    def __init__(self, stage):
        self.stage = stage

    def read(self, name):
        """The window itself, and what is shown on it."""
        heard = self.stage.probe.ask("read", self.stage.person.window(name).handle)
        elements = [Element(number, **{**entry, "place": tuple(entry["place"])}) for number, entry in enumerate(heard)]
        return elements[0], [element for element in elements[1:] if not element.state & INVISIBLE]

    def find(self, name, role, called):
        elements = self.read(name)[1]
        found = [element for element in elements if (element.role, element.name) == (role, called)]
        assert found, f"{called} of {name}: {elements}"
        return found[0]

    def act(self, name, role, called):
        element = self.find(name, role, called)
        assert element.action, element
        assert self.stage.probe.ask("act", self.stage.person.window(name).handle, element.number)

    def hears_all_of(self, name, title, role=DIALOG):
        """Whatever can be acted on has a name, and stands where it is seen."""
        window, elements = self.read(name)
        assert (window.role, window.name) == (role, title)
        for element in elements:
            assert element.name, element
            assert element.role in (STATIC, TEXT, COMBO, PROGRESS) or element.action, element
        (mark,) = [element for element in elements if (element.name, element.action) == ("Close", "Close")]
        assert mark.place == self.stage.person.place(name, "picCloseX")
        return elements


def test_a_reader_hears_each_window_and_works_it(stage):
    reader, person = Reader(stage), stage.person
    stage.start()
    reader.hears_all_of("frmLogin", form("frmLogin").caption)
    until(lambda: reader.find("frmLogin", TEXT, "Username:").state & FOCUSED, "the focus told")
    person.type(USER)
    person.press("Tab")
    person.type(PASSWORD)
    until(lambda: reader.find("frmLogin", TEXT, "Username:").value == USER, "the name typed")
    password = reader.find("frmLogin", TEXT, "Password:")
    assert password.state & PROTECTED and not password.value
    # The system's own account of a field, which a reader gets where the focus is.
    field = stage.probe.ask("read", person.field("frmLogin", "txtPassword").handle)[0]
    assert (field["role"], field["name"]) == (TEXT, "Password:")
    reader.find("frmLogin", LINK, "Register")
    assert reader.find("frmLogin", BUTTON, "Login").keys == "Alt+L"
    reader.act("frmLogin", BUTTON, "Login")

    reader.hears_all_of("frmQuickStart", form("frmQuickStart").caption)
    reader.act("frmQuickStart", CHECK, "Don't show this again")
    until(lambda: reader.find("frmQuickStart", CHECK, "Don't show this again").state & CHECKED, "a tick")
    main = stage.probe.ask("read", person.window("frmMain").handle)[0]
    assert main["state"] & UNAVAILABLE, "behind a modal window"
    person.press("Escape")
    person.gone("frmQuickStart")
    stage.galleries_arrive()

    reader.hears_all_of("frmMain", form("frmMain").caption)
    for tab, fields in (("Category", {(COMBO, "Gallery:"), (COMBO, "Category:")}), ("Tag", {(TEXT, "Tag Name:")}),
                        ("Member", {(OPTION, "Favorite Wallpapers"), (OPTION, "Uploaded Wallpapers")})):  # fmt: skip
        reader.act("frmMain", TAB, tab)
        until(lambda tab=tab: reader.find("frmMain", TAB, tab).state & SELECTED, f"the tab {tab}")
        elements = reader.hears_all_of("frmMain", form("frmMain").caption)
        assert {(e.role, e.name) for e in elements if e.role in (COMBO, TEXT, OPTION)} == fields
        assert [e.name for e in elements if e.role == TAB and e.state & SELECTED] == [tab]
    assert reader.find("frmMain", OPTION, "Favorite Wallpapers").state & CHECKED
    reader.act("frmMain", BUTTON, "Options")
    elements = reader.hears_all_of("frmOptions", form("frmOptions").caption)
    often = "How often should Quillory rotate your wallpaper image?"
    assert [(e.role, e.value) for e in elements if e.name == often and e.value] == [(TEXT, "3"), (COMBO, "Hours")]
    reader.act("frmOptions", BUTTON, "Cancel")
    person.gone("frmOptions")

    stage.service.fault("image", slow=40_000)
    reader.act("frmMain", BUTTON, "Save and Minimize")
    person.gone("frmMain")
    notice, _ = reader.read("frmSlideMessage")
    assert (notice.role, notice.name) == (ALERT, "Quillory - Information")
    assert notice.description.startswith("Quillory has been minimized!")
    person.window("frmDownloading")
    bars = [element for element in reader.read("frmDownloading")[1] if element.role == PROGRESS]
    assert [bar.value[-1] for bar in bars] == ["%"]
    reader.act("frmDownloading", BUTTON, "Abort")
    person.gone("frmDownloading")
