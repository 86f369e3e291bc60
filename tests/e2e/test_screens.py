"""Screens of other sizes and densities."""

import pytest

import protocol
from desktop import until
from service import USER
from stage import Stage


@pytest.mark.parametrize("size, dpi, ratio", [((1366, 768), 96, "1.77865"), ((1920, 1080), 144, "1.77778")])
def test_a_screen_gets_its_own_wallpaper(library, size, dpi, ratio):
    with Stage(library, size, dpi) as stage:
        stage.clean()
        stage.enter()
        assert stage.person.window("frmMain").place[2] == 640 * dpi // 96
        stage.person.click("frmMain", "picSave")
        stage.rotation()
        method = "vh.wallpapers.favorites"
        expected = protocol.rotation(stage.api_key(), method, ratio, [("member", USER)])
        assert stage.service.asked(method)[0].raw == expected
        # Whatever the density, the icon is there to be clicked.
        stage.person.double_click_icon()
        stage.person.window("frmMain")

        try:
            another_resolution(stage, take_picture=dpi == 96)
        finally:
            stage.probe.ask("resolution", *size)  # Wine remembers it beyond the desktop's end
        stage.end()


def another_resolution(stage, take_picture):
    """While the program runs: its window is whole on the new screen, and the next picture has that screen's size."""
    stage.desktop.size = width, height = 1024, 768
    assert stage.probe.ask("resolution", width, height) == 0
    until(lambda: stage.probe.ask("screen")["size"] == [width, height], "the resolution")
    until(lambda: within(stage.person.window("frmMain").place, (width, height)), "the window on the screen")
    if take_picture:
        stage.person.click("frmMain", "picSave")
        request = stage.service.wait_for("image", 2)
        picture, _ = stage.service.served(request)
        assert request.raw == protocol.image(picture.id, stage.desktop.size, picture.filename)


def within(place, size):
    left, top, width, height = place
    return 0 <= left <= size[0] - width and 0 <= top <= max(0, size[1] - height)
