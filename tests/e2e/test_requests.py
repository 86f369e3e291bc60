"""What the site is asked for each choice of the person, byte for byte."""

import pytest

import protocol
from service import USER

FAVORITES, BROWSE = "vh.wallpapers.favorites", "vh.wallpapers.browse"

CASES = {
    "favorites": ({}, FAVORITES, [("member", USER)], {}),
    "uploads": ({"UseMembers": "Uploads"}, BROWSE, [("member", USER)], {}),
    "tags": ({"ActiveTab": "1", "TagName": "dog*, b*ball"}, BROWSE, [("tag", "dog*, b*ball")], {}),
    "no tag": ({"ActiveTab": "1"}, BROWSE, [("tag", "")], {}),
    "everything": ({"ActiveTab": "2", "Category": "Harbours"}, BROWSE, [], {}),
    "gallery": ({"ActiveTab": "2", "Gallery": "Sea & Sky"}, BROWSE, [("gallery", "Sea & Sky")], {}),
    "category": (
        {"ActiveTab": "2", "Gallery": "Anime", "Category": "Ah! My Goddess"},
        BROWSE, [("gallery", "Anime"), ("category", "Ah! My Goddess")], {},
    ),
    "unknown tab": ({"ActiveTab": "7"}, FAVORITES, [("member", USER)], {}),
    "first in sequence": ({"Method": "Sequential"}, FAVORITES, [("member", USER)], {"startid": "0"}),
    "next in sequence": (
        {"Method": "Sequential", "ActiveTab": "2", "ActiveWallpaper": "1003"}, BROWSE, [], {"startid": "1003"},
    ),
    "rated": ({"QualityRating": "37"}, FAVORITES, [("member", USER)], {"rating": "37"}),
}  # fmt: skip


@pytest.mark.parametrize("settings, method, source, more", CASES.values(), ids=CASES.keys())
def test_a_rotation_asks_for(stage, settings, method, source, more):
    stage.start_in_tray(**settings)
    stage.force()
    assert stage.service.wait_for(method).raw == protocol.rotation(stage.api_key(), method, "1.25", source, **more)


def test_one_connection_serves_until_the_galleries_and_one_from_there_on(stage):
    stage.start_in_tray()
    stage.force()
    stage.rotation()
    asked = stage.service.asked("api")
    assert [request.raw.split(b"&")[1] for request in asked] == [
        b"method=vh.auth.login", b"method=vh.getGalleries", b"method=vh.wallpapers.favorites",
    ]  # fmt: skip
    login, galleries, rotation = (request.connection for request in asked)
    assert login != galleries == rotation


def test_while_the_galleries_are_missing_a_rotation_asks_for_them(stage):
    stage.service.fault("vh.getGalleries", times=1, stall=0)
    stage.remember_login()
    stage.start()
    stage.person.tray_icon()
    stage.service.wait_for("vh.auth.login")
    stage.force()
    stage.galleries_arrive()
    assert stage.service.asked("vh.wallpapers.favorites") == []
    stage.force()
    stage.rotation()
