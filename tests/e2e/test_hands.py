"""The program in other hands than those at a mouse in its windows: the keyboard alone, a screen reader, the tray."""

from desktop import until
from reader import (
    ALERT, BUTTON, CHECK, CHECKED, COMBO, FOCUSED, PROGRESS, PROTECTED, SELECTED, TAB, TEXT, UNAVAILABLE, Reader,
)  # fmt: skip
from registry import text
from screen import furthest_difference
from service import PASSWORD, USER

VISIBLE = 40  # by how much some pixel changes where the focus is
SLOW = 20_000  # bytes a second: time to look around during a download


def test_the_keyboard_is_enough(stage):
    person = stage.person

    def tab_to(name, control, key="Tab"):
        """Moves the focus on, and sees it arrive at what the window draws itself."""
        left, top, width, height = person.place(name, control)
        look = lambda: person.screen.part((left - 2, top - 2, width + 4, height + 4))  # noqa: E731
        before = look()
        person.press(key)
        until(lambda: furthest_difference(look(), before) > VISIBLE, f"the focus to be seen at {control} of {name}")

    stage.start()
    person.wait_for_focus("frmLogin", "txtUserName")
    person.type(USER)
    person.press("Tab")
    person.wait_for_focus("frmLogin", "txtPassword")
    person.type(PASSWORD)
    tab_to("frmLogin", "picLoginSubmit")
    tab_to("frmLogin", "picNewAccount")
    tab_to("frmLogin", "picLoginSubmit", "shift+Tab")
    person.press("space")

    person.window("frmQuickStart")
    person.press("space")  # the focus is at the tick
    tab_to("frmQuickStart", "picClose")
    person.press("space")
    stage.saved("HideQuickStart", "1")
    stage.galleries_arrive()

    # The third source, a gallery and a category of it.
    tab_to("frmMain", "picSourceTabs[1]")
    tab_to("frmMain", "picSourceTabs[2]")
    person.press("space")
    stage.saved("ActiveTab", "2")
    for combo, entry in (("cboGallery", "Sea & Sky"), ("cboCategory", "Harbours")):
        person.press("Tab")
        person.wait_for_focus("frmMain", combo)
        person.press("alt+Down", *["Down"] * 3, "Return")
        until(lambda: person.field("frmMain", combo).text == entry, entry)  # noqa: B023
    tab_to("frmMain", "picOptions")
    stage.saved("Gallery", "Sea & Sky")
    stage.saved("Category", "Harbours")

    person.press("space")
    person.wait_for_focus("frmOptions", "txtFrequency")
    person.press("Home", "shift+End")
    person.type("6")
    person.press("Tab")
    person.wait_for_focus("frmOptions", "cboFrequencyType")
    tab_to("frmOptions", "chkFreeze")
    tab_to("frmOptions", "optRandomize")
    tab_to("frmOptions", "optSequential", "Right")
    person.press("Tab", "Tab")
    person.wait_for_focus("frmOptions", "chkAutoUpdate")
    tab_to("frmOptions", "lblLogout")
    tab_to("frmOptions", "picSave")
    person.press("space")
    person.gone("frmOptions")
    saved = {"Frequency": text("6"), "FrequencyType": text("Hours"), "Method": text("Sequential")}
    assert saved.items() <= stage.account().items()

    tab_to("frmMain", "picExit")
    person.press("space")
    person.box("Confirm Exit")
    person.press("Return")
    stage.has_ended()


def test_a_screen_reader_is_enough(stage):
    person, reader = stage.person, Reader(stage.person)
    stage.start()
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
    assert reader.find("frmLogin", BUTTON, "Login").keys == "Alt+L"
    reader.act("frmLogin", BUTTON, "Login")

    reader.act("frmQuickStart", CHECK, "Don't show this again")
    until(lambda: reader.find("frmQuickStart", CHECK, "Don't show this again").state & CHECKED, "a tick")
    assert reader.read("frmMain")[0].state & UNAVAILABLE, "behind a modal window"
    person.press("Escape")
    person.gone("frmQuickStart")
    stage.galleries_arrive()

    for tab, role, field in ("Category", COMBO, "Gallery:"), ("Tag", TEXT, "Tag Name:"), ("Member", BUTTON, "Options"):
        reader.act("frmMain", TAB, tab)
        until(lambda tab=tab: reader.find("frmMain", TAB, tab).state & SELECTED, f"the tab {tab}")
        reader.find("frmMain", role, field)
    stage.service.fault("image", slow=SLOW)
    reader.act("frmMain", BUTTON, "Save and Minimize")
    notice = reader.read("frmSlideMessage")[0]
    assert (notice.role, notice.name) == (ALERT, "Quillory - Information")
    assert notice.description.startswith("Quillory has been minimized!")
    person.window("frmDownloading")
    assert [e.value[-1] for e in reader.read("frmDownloading")[1] if e.role == PROGRESS] == ["%"]
    reader.act("frmDownloading", BUTTON, "Abort")
    person.gone("frmDownloading")


def test_the_tray_beside_what_asks_and_what_works(stage):
    person = stage.person

    def choose(key):
        """By its letter, in the menu, which has the keyboard as the program has a window on the screen."""
        person.tray_menu()
        person.xdotool("mousemove", 10, 10)  # or the pointer would choose
        person.press(key)
        person.menu_is_gone()

    def is_in_front(window):
        until(lambda: person.is_in_front(window, *window.middle), lambda: f"{window.text} in front")

    stage.remember_login(HideQuickStart="0")
    stage.start()
    guide = person.window("frmQuickStart")  # behind which the rest of the login waits
    choose("x")
    question = person.box("Confirm Exit")
    choose("x")
    is_in_front(question.window)
    person.answer(question, "No")
    assert not person.find_box(), "it was asked once"
    choose("Escape")
    choose("p")
    main = person.window("frmMain")
    until(lambda: not stage.screen.tray_icon(), "the icon away")
    is_in_front(guide)
    person.mouse(main.place[0] + 5, main.place[1] + 5)
    is_in_front(guide)
    assert not person.window("frmMain").enabled and stage.service.asked("vh.getGalleries") == []
    person.click("frmQuickStart", "picClose")
    stage.galleries_arrive()

    # A double click while nothing else is up, then the menu and the icon of a busy program.
    stage.service.fault("image", slow=SLOW)
    person.click("frmMain", "picSave")
    person.window("frmDownloading")
    choose("r")  # grey, as two others are
    choose("p")
    choose("x")  # of use at any time
    person.answer(person.box("Confirm Exit"), "No")
    person.double_click_icon()
    assert not person.find("frmMain") and len(stage.service.asked("vh.wallpapers.favorites")) == 1
    person.click("frmDownloading", "imgAbort")
    person.gone("frmDownloading")

    # The shell has crashed and come back.
    icon = stage.screen.tray_icon()[1]
    stage.probe.ask("forget icon", person.find("frmPopupMenu", even_hidden=True).handle, 1)
    until(lambda: not stage.screen.tray_icon(), "the icon away")
    stage.probe.ask("announce taskbar")
    person.tray_icon()
    assert stage.screen.tray_icon()[1].tobytes() == icon.tobytes()
    person.double_click_icon()
    person.window("frmMain")
