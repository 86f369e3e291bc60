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

        # Another resolution while it runs: the window is whole on it, and the next picture has its size.
        stage.desktop.size = width, height = 1024, 768
        assert stage.probe.ask("resolution", width, height) == 0
        until(lambda: stage.probe.ask("screen")["size"] == [width, height], "the resolution")
        until(lambda: within(stage.person.window("frmMain").place, (width, height)), "the window on the screen")
        if dpi == 96:
            stage.person.click("frmMain", "picSave")
            stage.rotation(2)
        stage.end()


def within(place, size):
    left, top, width, height = place
    return 0 <= left <= size[0] - width and 0 <= top <= max(0, size[1] - height)
