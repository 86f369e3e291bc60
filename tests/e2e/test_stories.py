"""What people do with the program, from one window to the next."""

import pytest

import registry
from desktop import until
from registry import text


def open_options(stage):
    stage.person.click("frmMain", "picOptions")
    return stage.person.window("frmOptions")


def next_rotation(stage):
    """How the countdown looks."""
    left, top, width, height = stage.person.place("frmOptions", "lblNextRotation")
    return stage.screen.look().crop((left, top, left + width, top + height)).tobytes()


def test_a_frequency_is_rounded_before_it_is_too_frequent(stage):
    person = stage.person
    stage.enter()
    open_options(stage)
    person.choose("frmOptions", "cboFrequencyType", "Minutes")
    person.fill("frmOptions", "txtFrequency", "9.4")
    person.click("frmOptions", "picSave")
    box = person.box()
    assert (box.title, box.icon, box.buttons) == ("Too Frequent Wallpaper Rotation", "exclamation", ("OK",))
    assert box.text == "Oops! The most frequent update allowed is every 10 minutes."
    person.answer(box, "OK")
    until(lambda: person.focused("frmOptions", "txtFrequency"), "the focus at the frequency")
    assert person.field("frmOptions", "txtFrequency").text == "9"
    assert "Frequency" not in stage.account()

    person.fill("frmOptions", "txtFrequency", "9.6")
    person.click("frmOptions", "picSave")
    person.gone("frmOptions")
    person.window("frmMain")
    saved = stage.account()
    assert (saved["Frequency"], saved["FrequencyType"]) == (text("10"), text("Minutes"))

    # A type that is typed is not an entry, however much it looks like one.
    open_options(stage)
    person.fill("frmOptions", "cboFrequencyType", "minutes")
    person.click("frmOptions", "picSave")
    box = person.box()
    assert (box.title, box.icon) == ("Invalid Frequency Type", "exclamation")
    person.answer(box, "OK")
    until(lambda: person.focused("frmOptions", "cboFrequencyType"), "the focus at the type")


def test_a_tick_with_the_mouse_stops_the_countdown_at_once(stage):
    person = stage.person
    stage.enter()
    open_options(stage)
    before = next_rotation(stage)
    until(lambda: next_rotation(stage) != before, "the countdown to run")
    person.click("frmOptions", "chkFreeze")
    until(lambda: person.field("frmOptions", "chkFreeze").checked, "a tick")
    frozen = next_rotation(stage)
    with pytest.raises(AssertionError):
        until(lambda: next_rotation(stage) != frozen, "the countdown to run", 3)

    # Cancelled, the tick is gone, and what it has done is not.
    person.click("frmOptions", "picCancel")
    open_options(stage)
    assert not person.field("frmOptions", "chkFreeze").checked
    with pytest.raises(AssertionError):
        until(lambda: next_rotation(stage) != frozen, "the countdown to run", 3)
    person.click("frmOptions", "chkFreeze")
    person.click("frmOptions", "chkFreeze")
    until(lambda: next_rotation(stage) != frozen, "the countdown to run again")

    person.click("frmOptions", "chkFreeze")
    person.click("frmOptions", "picSave")
    person.gone("frmOptions")
    assert stage.account()["Freeze"] == text("1")
    person.click("frmMain", "picSave")
    person.gone("frmMain")
    person.tray_icon()
    assert stage.service.asked("vh.wallpapers.favorites") == []


def test_the_next_account_finds_its_own_choices(stage):
    stage.service.harbor.add_member("bob", "harbor")
    stage.registry.write(registry.account("bob"), HideQuickStart="1", ActiveTab="1", TagName="dog", Frequency="7")
    person = stage.person
    stage.enter()
    person.click("frmMain", "picSourceTabs[2]")
    open_options(stage)
    person.fill("frmOptions", "txtFrequency", "12")
    person.click("frmOptions", "picSave")
    open_options(stage)
    person.click("frmOptions", "lblLogout")
    box = person.box()
    assert (box.title, box.icon) == ("Confirm Logout?", "question")
    assert box.text == "Are you sure you want to logout of your Velvet Harbor account?"
    person.answer(box, "Yes")

    person.window("frmLogin")
    assert not person.find("frmMain") and not person.find("frmOptions")
    assert person.field("frmLogin", "txtUserName").text == person.field("frmLogin", "txtPassword").text == ""
    login = stage.registry.settings(registry.LOGIN)
    assert login == {"SavedUsername": text(""), "SavedPassword": text("")}
    alice = stage.account()
    assert (alice["ActiveTab"], alice["Frequency"]) == (text("2"), text("12"))

    stage.service.forget()
    stage.log_in("bob", "harbor")
    stage.galleries_arrive()
    assert person.field("frmMain", "txtTagName").text == "dog"
    open_options(stage)
    assert person.field("frmOptions", "txtFrequency").text == "7"
    person.click("frmOptions", "picCancel")
    person.press("Return")
    stage.service.wait_for("vh.wallpapers.browse")
    assert stage.account() == alice, "untouched"


def test_an_aborted_download_leaves_the_window_of_use(stage):
    person = stage.person
    stage.enter()
    stage.service.fault("image", times=1, slow=20_000)
    person.click("frmMain", "picSave")
    person.window("frmDownloading")
    until((stage.folder / "vh_wall_active").exists, "a file that grows")
    person.click("frmDownloading", "imgAbort")
    person.gone("frmDownloading")
    assert not (stage.folder / "vh_wall_active").exists()
    assert not (stage.folder / "Quillory.bmp").exists()
    assert "ActiveWallpaper" not in stage.account()
    assert stage.registry.wallpaper() == ""
    person.double_click_icon()
    person.click("frmMain", "picSave")
    stage.rotation(2)
