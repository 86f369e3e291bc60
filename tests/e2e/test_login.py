"""The login window, as a person meets it."""

import pytest

import protocol
import registry
from desktop import until
from registry import text
from service import PASSWORD, USER


def test_what_is_typed_is_checked_before_anything_is_sent(stage):
    person = stage.person
    stage.start()

    person.click("frmLogin", "picLoginSubmit")
    box = person.box()
    assert (box.title, box.icon, box.buttons) == ("Oops! You forgot something...", "exclamation", ("OK",))
    assert box.text == "Please enter your username."
    person.answer(box, "OK")
    until(lambda: person.focused("frmLogin", "txtUserName"), "the focus at the username")

    person.type("alice wonder")
    person.press("Return")
    box = person.box()
    assert (box.title, box.text, box.icon) == (
        "Oops! You forgot something...", "Please enter your password.", "exclamation",
    )  # fmt: skip
    person.press("Return")
    until(lambda: person.focused("frmLogin", "txtPassword"), "the focus at the password")

    person.type(" ")
    person.press("Return")
    box = person.box()
    assert (box.title, box.icon) == ("Invalid Username", "information")
    assert box.text == (
        "The username can only consist of letters, numbers, periods, dashes, and underscores.\n"
        "Please check your typing and try again."
    )
    person.answer(box, "OK")
    until(lambda: person.focused("frmLogin", "txtUserName"), "the focus at the username")
    assert person.field("frmLogin", "txtUserName").text == "alice wonder"
    assert not stage.service.harbor.requests
    assert stage.registry.sections() == []


def test_a_refused_login_is_told_and_forgotten(stage):
    person = stage.person
    stage.start()
    stage.log_in(password="Velvet")
    box = person.box()
    assert (box.title, box.icon) == ("Invalid Username/Password", "exclamation")
    assert box.text == (
        "Oops!  That username / password is not a valid Velvet Harbor login!\n\nPlease try again, or visit "
        "VelvetHarbor to create a new account or recover a forgotten password."
    )
    assert not person.field("frmLogin", "txtUserName").enabled
    person.answer(box, "OK")
    until(lambda: person.focused("frmLogin", "txtPassword"), "the focus at the password")
    assert person.field("frmLogin", "txtPassword").text == ""
    assert person.field("frmLogin", "txtUserName").text == USER
    assert stage.registry.settings(registry.LOGIN) == {"SavedUsername": text(""), "SavedPassword": text("")}

    person.type(PASSWORD)
    person.press("Return")
    stage.close_guide()
    assert [request.raw for request in stage.service.asked("vh.auth.login")] == [
        protocol.login(USER, "Velvet"), protocol.login(USER, PASSWORD),
    ]  # fmt: skip


def test_the_account_has_the_name_that_the_service_gives_it(stage):
    stage.start()
    stage.log_in("ALICE")
    stage.close_guide(for_ever=False)
    assert stage.service.wait_for("vh.auth.login").raw == protocol.login("ALICE", PASSWORD)
    assert stage.registry.settings(registry.LOGIN)["SavedUsername"] == text("alice")
    assert stage.registry.sections() == ["Quillory - alice", "Velvet Harbor"]
    assert stage.account() == {"ActiveTab": text("0"), "HideQuickStart": text("0")}


def test_without_a_network_the_person_is_told_once(stage):
    person = stage.person
    stage.service.fault("connect", refuse=True)
    stage.start()
    stage.log_in()
    box = person.box()
    assert (box.title, box.icon) == ("Connection Error", "critical")
    assert box.text == (
        "The connection to VelvetHarbor cannot be established at this time due to a connectivity issue.\n\n"
        "Please make sure you're connected to the internet and try again."
    )
    person.answer(box, "OK")
    until(lambda: person.field("frmLogin", "txtPassword").enabled, "the window enabled again")

    # The outage has been announced: the next failure is silent and leaves the window as the click has.
    person.click("frmLogin", "picLoginSubmit")
    until(lambda: not person.field("frmLogin", "txtPassword").enabled, "the fields disabled")
    with pytest.raises(AssertionError):
        person.box(seconds=3)

    # The button's picture is not disabled with them: it logs in once there is a network again.
    stage.service.forget()
    person.click("frmLogin", "picLoginSubmit")
    person.window("frmQuickStart")


def test_the_two_ways_out_of_the_login_window(stage):
    person = stage.person
    stage.start()
    person.click("frmLogin", "picCloseX")
    box = person.box()
    assert (box.title, box.icon, len(box.buttons)) == ("Confirm Exit", "question", 2)
    assert box.text == (
        "Are you sure you want to completely shut down Quillory?\n\nYour wallpaper will remain exactly as it looks now "
        "and will not be automatically updated with new images."
    )
    person.answer(box, "No")
    person.fill("frmLogin", "txtUserName", "still here")

    # A close request of the system does not ask.
    stage.probe.ask("close", person.window("frmLogin").handle)
    until(lambda: not stage.running(), "the program's end")
