"""Answers come as the network cuts them, and sometimes they are none."""

import pytest

from desktop import until
from registry import text
from service import decoded

WITHIN_STATUS_LINE, BEHIND_STATUS_LINE = 10, 20
INSIDE_BODY, BEFORE_LAST_LINE_FEED = -30, -1


@pytest.mark.parametrize("cuts", [[INSIDE_BODY], [-60, INSIDE_BODY, -12]])
def test_a_body_in_pieces_is_one_answer(stage, cuts):
    stage.service.fault("api", segments=cuts)
    stage.start_in_tray()
    stage.force()
    stage.rotation()
    assert not stage.person.find("frmSlideMessage"), stage.person.titles()


@pytest.mark.parametrize(
    "fault", [{"segments": [WITHIN_STATUS_LINE]}, {"segments": [BEFORE_LAST_LINE_FEED]}, {"nomark": True}]
)
def test_what_comes_without_the_services_mark_is_warned_of_and_the_answer_used(stage, fault):
    stage.service.fault("api", **fault)
    stage.remember_login()
    stage.start()
    stage.person.window("frmSlideMessage")
    stage.galleries_arrive()
    stage.force()
    stage.rotation()


@pytest.mark.parametrize("fault", [{"segments": [BEHIND_STATUS_LINE]}, {"segments": 1, "pause": 0.002}])
def test_a_header_line_taken_for_the_answers_first_line_is_never_an_answer(stage, fault):
    stage.service.fault("vh.auth.login", **fault)
    stage.remember_login()
    stage.start()
    stage.person.window("frmSlideMessage")
    stage.service.wait_for("vh.auth.login")
    stage.person.gone("frmSlideMessage", 60)
    assert len(stage.service.harbor.requests) == 1
    stage.person.double_click_icon()  # without a login the icon leads nowhere
    stage.person.choose_from_tray("mnuExit", stage.person.tray_menu(), busy=True)
    stage.person.answer(stage.person.box(), "Yes")
    until(lambda: not stage.running(), "the program's end")


@pytest.mark.parametrize("fault", [{"segments": [20, 60, -1]}, {"segments": 997, "pause": 0}])
def test_an_image_in_pieces_is_whole(stage, fault):
    stage.service.fault("image", **fault)
    stage.start_in_tray()
    stage.force()
    stage.rotation()


@pytest.mark.parametrize("fault", [{"garbage": True}, {"nolength": True}, {"cut": 3000}])
def test_an_unusable_image_leads_to_another(stage, fault):
    stage.start_in_tray()
    stage.service.fault("image", times=2, **fault)
    stage.force()
    stage.rotation(3)
    assert len(stage.service.asked("vh.wallpapers.favorites")) == 3
    assert not stage.person.find("frmDownloading") and not stage.person.find("frmSlideMessage")


def test_a_failed_download_is_told_and_keeps_the_old_wallpaper(stage):
    stage.start_in_tray()
    stage.force()
    before = stage.rotation()
    stage.service.fault("connect", refuse=True)  # which leaves the API's open connection as it is
    stage.force()
    stage.person.window("frmSlideMessage")
    stage.person.gone("frmDownloading")
    assert stage.account()["ActiveWallpaper"] == text(str(before.id))
    bitmap = decoded((stage.folder / "Quillory.bmp").read_bytes())
    until(lambda: stage.screen.desktop_shows(bitmap), "the old wallpaper")
    stage.person.gone("frmSlideMessage", 60)
    asked = len(stage.service.asked("image"))
    stage.service.harbor.faults.clear()
    stage.force()
    stage.rotation(asked + 1)


def test_no_match_is_told_once(stage):
    stage.start_in_tray(ActiveTab="1", TagName="no such tag")
    stage.force()
    stage.person.window("frmSlideMessage")
    stage.person.gone("frmSlideMessage", 60)
    stage.force()
    stage.service.wait_for("vh.wallpapers.browse", 2)
    with pytest.raises(AssertionError):
        stage.person.window("frmSlideMessage", seconds=3)
    assert stage.service.asked("image") == []
