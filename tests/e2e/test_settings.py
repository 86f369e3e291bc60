"""Settings that somebody has edited, and settings of more than one person."""

import pytest

import registry
from desktop import until
from registry import REG_DWORD, Value, text
from service import USER


@pytest.mark.parametrize("key, value", [("Freeze", "x"), ("ActiveWallpaper", "abc"), ("ActiveTab", "first"),
                                        ("ActiveWallpaper", "99999999999")])  # fmt: skip
def test_nonsense_is_reported_and_the_program_runs_on(stage, key, value):
    stage.remember_login(**{key: value})
    stage.start()
    stage.person.window("frmSlideMessage")
    stage.person.gone("frmSlideMessage", 60)
    assert stage.running()
    # The login stops where it failed, before the galleries; a rotation of the person's still asks for them.
    assert stage.service.asked("vh.getGalleries") == []
    stage.force()
    stage.galleries_arrive()
    stage.force()
    stage.rotation()


def test_values_of_another_type_read_as_the_default(stage):
    number = Value(REG_DWORD, b"\1\0\0\0")
    stage.remember_login(UseMembers=number, ActiveTab=number, QualityRating=number)
    stage.start()
    stage.galleries_arrive()
    stage.force()
    stage.service.wait_for("vh.wallpapers.favorites")
    assert b"&minpoints=0&" in stage.service.asked("vh.wallpapers.favorites")[0].raw
    assert stage.account()["UseMembers"] == number, "what is only read stays as it is"
    assert stage.account()["ActiveTab"] == text("0")


def test_each_account_has_its_own_settings(stage):
    stage.service.harbor.add_member("bob", "harbor")
    stage.registry.write(registry.account(USER), HideQuickStart="1", TagName="dog", ActiveTab="1")
    stage.start()
    stage.log_in("bob", "harbor")
    stage.close_guide()
    assert stage.registry.settings(registry.LOGIN)["SavedUsername"] == text("bob")
    assert stage.registry.settings(registry.account("bob")) == {"ActiveTab": text("0"), "HideQuickStart": text("1")}
    assert stage.account() == {"HideQuickStart": text("1"), "TagName": text("dog"), "ActiveTab": text("1")}


def test_frozen_the_window_saves_without_a_rotation(stage):
    stage.start_in_tray(Freeze="1")
    stage.person.double_click_icon()
    stage.person.click("frmMain", "picSave")
    stage.person.gone("frmMain")
    stage.person.tray_icon()
    assert stage.service.asked("vh.wallpapers.favorites") == []
    # By hand it still rotates.
    stage.force()
    stage.rotation()


def test_no_setting_is_lost_by_a_crash(stage):
    stage.enter()
    stage.person.click("frmMain", "picSourceTabs[0]")
    stage.person.click("frmMain", "optMemberUploads")
    until(lambda: stage.account().get("UseMembers") == text("Uploads"), "the choice in the registry")
    stage.end()
    stage.service.forget()
    stage.start()
    stage.galleries_arrive()
    stage.force()
    stage.service.wait_for("vh.wallpapers.browse")
