"""The icon in the notification area and its menu."""

import pytest

from desktop import until
from forms import menu_lines

SLOW = 20_000  # bytes a second: time to look around during a download


def open_menu(stage):
    """The icon's menu, ready for the keyboard, which the desktop gives to a program that has a window on the screen."""
    menu = stage.person.tray_menu()
    stage.person.point(10, 10)  # the pointer would choose for the keyboard
    return menu


def is_in_front(person, window):
    left, top, width, height = window.place
    front = person.front_window(left + width // 2, top + height // 2)
    return front is not None and front.handle == window.handle


def menu_is_gone(stage):
    until(lambda: not stage.person.find_menu(), "the menu's end")


def test_the_access_keys_of_the_menu(stage):
    person = stage.person
    stage.remember_login(HideQuickStart="0")
    stage.start()
    guide = person.window("frmQuickStart")  # behind which the rest of the login waits
    open_menu(stage)
    person.press("x")
    question = person.box()
    open_menu(stage)
    person.press("x")
    menu_is_gone(stage)
    until(lambda: is_in_front(person, question.window), "the question in front")
    person.answer(person.box(), "No")
    until(lambda: not person.find_box(), "no box: it was not asked twice")

    open_menu(stage)
    person.press("Escape")
    menu_is_gone(stage)
    assert stage.running() and not person.find("frmMain")
    assert stage.service.asked("vh.getGalleries") == []

    open_menu(stage)
    person.press("r")
    menu_is_gone(stage)
    stage.service.wait_for("vh.getGalleries")  # a rotation's first step

    open_menu(stage)
    person.press("p")
    main = person.window("frmMain")
    until(lambda: not stage.screen.tray_icon(), "the icon away")
    until(lambda: is_in_front(person, guide), "the guide in front of what it blocks")
    left, top, _, _ = main.place
    person.mouse(left + 5, top + 5)
    until(lambda: is_in_front(person, guide), "the guide in front after a click on what it blocks")
    assert not person.window("frmMain").enabled
    person.click("frmQuickStart", "picClose")
    until(lambda: person.window("frmMain").enabled, "the main window for use")


def test_the_menu_of_a_busy_program(stage):
    person = stage.person
    stage.start_in_tray()
    person.tray_menu()
    at_rest = until(lambda: any(size := person.find_menu().place[2:]) and size, "the menu in its size")
    stage.person.mouse(10, 10)
    menu_is_gone(stage)
    stage.probe.ask("close", person.find("frmPopupMenu", even_hidden=True).handle)  # as Alt+F4 after its menu

    stage.service.fault("image", slow=SLOW)
    stage.force()
    person.window("frmDownloading")
    open_menu(stage)
    line = at_rest[1] / len(menu_lines())
    until(lambda: person.find_menu().place[3] > at_rest[1] + 2 * line, "two lines more, and a separator")
    person.press("r")  # grey, as two others are
    menu_is_gone(stage)
    open_menu(stage)
    person.press("p")
    menu_is_gone(stage)
    assert not person.find("frmMain")
    assert len(stage.service.asked("vh.wallpapers.favorites")) == 1

    open_menu(stage)
    person.press("x")  # of use at any time
    person.answer(person.box(), "No")
    person.double_click_icon()  # while busy nothing comes of it
    assert not person.find("frmMain")

    person.click("frmDownloading", "imgAbort")
    person.gone("frmDownloading")
    person.tray_menu()
    until(lambda: person.find_menu().place[2:] == at_rest, "the menu as it was before")
    stage.service.forget()


@pytest.mark.parametrize("in_tray", [True, False])
def test_the_icon_comes_back_with_the_shell(stage, in_tray):
    stage.start_in_tray()
    icon = stage.screen.tray_icon()[1]
    if not in_tray:
        stage.person.double_click_icon()
        stage.person.window("frmMain")
        until(lambda: not stage.screen.tray_icon(), "the icon away")
    else:
        stage.probe.ask("forget icon", "Quillory.frmPopupMenu", 1)
        until(lambda: not stage.screen.tray_icon(), "the icon away")
    stage.probe.ask("broadcast", "TaskbarCreated")
    if in_tray:
        until(stage.screen.tray_icon, "the icon back")
        assert stage.screen.tray_icon()[1].tobytes() == icon.tobytes()
        stage.person.double_click_icon()
        stage.person.window("frmMain")
    else:
        stage.person.click("frmMain", "picSourceTabs[1]")
        until(lambda: stage.account()["ActiveTab"].data == b"1", "the message behind it dealt with")
        assert not stage.screen.tray_icon()
