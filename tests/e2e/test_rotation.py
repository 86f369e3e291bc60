"""From Save to the photograph on the desktop."""

import json
import struct

import protocol
import registry
from desktop import probe_program, until
from registry import text
from screen import furthest_difference
from service import PASSWORD, USER, decoded

# Two decoders of one JPEG may differ by a few steps of brightness; a wrong picture differs by far more.
JPEG_SLACK = 12


def test_the_first_wallpaper_and_all_that_it_leaves(stage):
    stage.enter()
    stage.person.click("frmMain", "picSave")
    picture = stage.rotation()

    assert stage.registry.sections() == ["Quillory - alice", "Velvet Harbor"]
    saved = {"SavedUsername": text(USER), "SavedPassword": text(protocol.hashed(PASSWORD))}
    assert stage.registry.settings(registry.LOGIN) == saved
    assert stage.account() == {
        "ActiveTab": text("0"),
        "HideQuickStart": text("1"),
        "MinimizeHelp": text("1"),
        "ActiveWallpaper": text(str(picture.id)),
        "ActiveWallpaperLink": text(f"http://velvetharbor.example/wallpaper/{picture.id}"),
    }
    assert sorted(path.name for path in stage.folder.iterdir()) == ["Quillory.bmp", "vh_wall_active"]

    bitmap = stage.folder / "Quillory.bmp"
    kind, size, _, _, start = struct.unpack("<2sIHHI", bitmap.read_bytes()[:14])
    assert (kind, size, start) == (b"BM", bitmap.stat().st_size, 54)
    assert stage.desktop.path(stage.registry.wallpaper()).samefile(bitmap)
    told = json.loads(stage.desktop.wine(probe_program(), "wallpaper"))
    assert stage.desktop.path(told).samefile(bitmap)


def test_pixels_are_those_of_the_image(stage):
    for tag, slack in (("dog", JPEG_SLACK), ("retriever", 0)):
        stage.clean()
        stage.start_in_tray(ActiveTab="1", TagName=tag)
        stage.force()
        stage.rotation()
        image, bitmap = (decoded((stage.folder / name).read_bytes()) for name in ("vh_wall_active", "Quillory.bmp"))
        assert furthest_difference(image, bitmap) <= slack


def test_a_forced_download_shows_its_progress_and_can_be_aborted(stage):
    stage.start_in_tray()
    stage.force()
    before = stage.rotation()
    stage.service.fault("image", times=1, slow=5_000)
    stage.force()
    window = stage.person.window("frmDownloading")
    left, top, width, height = window.place
    assert (left + width // 2, top + height // 2) == (640, 512)
    stage.person.double_click_icon()  # busy: nothing happens
    stage.person.click("frmDownloading", "imgAbort")
    stage.person.gone("frmDownloading")
    until(lambda: not (stage.folder / "vh_wall_active").exists(), "the half file gone")
    assert not stage.person.find("frmMain")
    assert stage.account()["ActiveWallpaper"] == text(str(before.id))
    bitmap = decoded((stage.folder / "Quillory.bmp").read_bytes())
    until(lambda: stage.screen.desktop_shows(bitmap), "the old wallpaper")

    stage.person.double_click_icon()
    stage.person.window("frmMain")


def test_a_sequence_goes_on_where_it_was(stage):
    freshest = sorted(stage.service.harbor.catalogue.pictures, reverse=True)
    stage.start_in_tray(Method="Sequential", ActiveTab="2")
    stage.force()
    assert stage.rotation(1).id == freshest[0]
    stage.force()
    assert stage.rotation(2).id == freshest[1]
    stage.end()
    stage.service.forget()
    stage.start_in_tray()
    stage.force()
    assert stage.rotation(1).id == freshest[2]
