"""Without a mouse."""

from desktop import until
from registry import text
from screen import furthest_difference
from service import PASSWORD, USER

VISIBLE = 40  # by how much some pixel changes where the focus is


def look_at(person, name, control):
    left, top, width, height = person.place(name, control)
    return person.screen.look().crop((left - 2, top - 2, left + width + 2, top + height + 2))


def tab_to(person, name, control, key="Tab", before=None):
    """Moves the focus on, and sees it arrive."""
    before = before or look_at(person, name, control)
    person.press(key)
    until(
        lambda: furthest_difference(look_at(person, name, control), before) > VISIBLE,
        f"the focus to be seen at {control} of {name}",
    )


def test_the_keyboard_is_enough(stage):
    person = stage.person
    stage.start()
    until(lambda: person.focused("frmLogin", "txtUserName"), "the focus at the username")
    person.type(USER)
    person.press("Tab")
    until(lambda: person.focused("frmLogin", "txtPassword"), "the focus at the password")
    person.type(PASSWORD)
    tab_to(person, "frmLogin", "picLoginSubmit")
    tab_to(person, "frmLogin", "picNewAccount")
    tab_to(person, "frmLogin", "picLoginSubmit", "shift+Tab")
    person.press("space")

    person.window("frmQuickStart")
    person.press("space")  # the focus is at the tick
    until(lambda: person.field("frmQuickStart", "chkDontShowAgain").checked, "a tick")
    tab_to(person, "frmQuickStart", "picClose")
    person.press("space")
    person.gone("frmQuickStart")
    stage.galleries_arrive()

    # The third source, a gallery and a category of it.
    person.window("frmMain")
    tab_to(person, "frmMain", "picSourceTabs[1]")
    tab_to(person, "frmMain", "picSourceTabs[2]")
    person.press("space")
    until(lambda: stage.account()["ActiveTab"] == text("2"), "the tab chosen")
    person.press("Tab")
    until(lambda: person.focused("frmMain", "cboGallery"), "the focus at the galleries")
    person.press("alt+Down", "Down", "Down", "Down", "Return")
    until(lambda: person.field("frmMain", "cboGallery").text == "Sea & Sky", "a gallery")
    person.press("Tab")
    until(lambda: person.focused("frmMain", "cboCategory"), "the focus at the categories")
    assert stage.account()["Gallery"] == text("Sea & Sky")
    person.press("alt+Down", "Down", "Down", "Return")
    until(lambda: person.field("frmMain", "cboCategory").text == "Harbours", "a category")

    # The options, on the way to which the category is saved.
    tab_to(person, "frmMain", "picOptions")
    assert stage.account()["Category"] == text("Harbours")
    person.press("space")
    person.window("frmOptions")
    until(lambda: person.focused("frmOptions", "txtFrequency"), "the focus at the frequency")
    person.press("Home", "shift+End")
    person.type("6")
    person.press("Tab")
    until(lambda: person.focused("frmOptions", "cboFrequencyType"), "the focus at its type")
    tab_to(person, "frmOptions", "chkFreeze")
    tab_to(person, "frmOptions", "optRandomize")
    tab_to(person, "frmOptions", "optSequential", "Right")
    person.press("Tab", "Tab")
    until(lambda: person.focused("frmOptions", "chkAutoUpdate"), "the focus at the updates")
    tab_to(person, "frmOptions", "lblLogout")
    tab_to(person, "frmOptions", "picSave")
    person.press("space")
    person.gone("frmOptions")
    saved = stage.account()
    chosen = (saved["Frequency"], saved["FrequencyType"], saved["Method"])
    assert chosen == (text("6"), text("Hours"), text("Sequential"))

    # Out.
    person.window("frmMain")
    tab_to(person, "frmMain", "picExit")
    person.press("space")
    person.box()
    person.press("Return")
    until(lambda: not stage.running(), "the program's end")
