"""What changes around a program that runs: the network, the screen, the program itself; and folders of any letters."""

import contextlib
import itertools
import pathlib
import shutil
import subprocess
import zipfile

import pytest

from desktop import ROOT, until
from reader import Reader

# As somebody might edit it in the registry: the options window does not let a person have it so short.
SECONDS_21 = {"Frequency": "0.006", "FrequencyType": "Hours"}
NEXT = "Quillory-1.0.113.zip"
SHELL_FOLDERS = r"HKCU\Software\Microsoft\Windows\CurrentVersion\Explorer\User Shell Folders"


def test_an_outage_is_ridden_out_in_the_tray_and_rotations_go_on_unseen(stage):
    person, service = stage.person, stage.service
    refusal = service.fault("connect", refuse=True)
    stage.remember_login(**SECONDS_21)
    stage.start()
    notice = Reader(person).read("frmSlideMessage")[0]
    assert notice.name == "Quillory - Connection Issue"
    assert notice.description.startswith("Could not connect to VelvetHarbor")
    person.tray_icon()
    person.gone("frmSlideMessage")
    refusal.withdraw()
    service.harbor.faults.changed()

    seen, spots = set(), itertools.cycle((300, 301))

    def first_wallpaper():
        person.xdotool("mousemove", next(spots), 300)  # or the program would hold its rotation
        seen.update(person.of_program())
        return service.asked("image")

    until(first_wallpaper, "a login and a rotation by themselves", 300)
    stage.rotation()
    assert seen == set()


def test_another_resolution_gets_a_window_that_is_whole_and_a_wallpaper_of_its_size(stage):
    person, before = stage.person, stage.desktop.size
    stage.start_in_tray()
    person.double_click_icon()
    left, top, width, height = person.window("frmMain").place
    assert (left, top) == ((before[0] - width) // 2, (before[1] - height) // 2)
    start, _, _, _ = person.place("frmMain", "lblHeaderTitle")
    person.drag((start + 10, top + 20), (start + 510, top + 420))
    until(lambda: person.window("frmMain").place[:2] == [left + 500, top + 400], "the window dragged by its header")
    try:
        stage.desktop.size = 1024, 768
        assert stage.probe.ask("resolution", *stage.desktop.size) == 0
        until(lambda: person.window("frmMain").place[:2] == [1024 - width, 768 - height], "the window on the screen")
        person.click("frmMain", "picSave")
        stage.rotation()
    finally:
        stage.desktop.size = before
        stage.probe.ask("resolution", *before)  # Wine remembers it beyond the desktop's end


@pytest.fixture
def next_version(stage, tmp_path):
    """The files of the version that comes next, which is made of this very source and offered by the site."""
    command = [ROOT / "scripts" / "release", "--uncommitted", "--version", "1.0.113", "--out", tmp_path]
    made = subprocess.run(command, capture_output=True, text=True, check=False)
    assert made.returncode == 0, made.stderr
    offered = [pathlib.Path(shutil.copy(path, stage.service.releases)) for path in tmp_path.glob(f"{NEXT}*")]
    with zipfile.ZipFile(tmp_path / NEXT) as archive:
        yield {name: archive.read(name) for name in archive.namelist() if name != "Updater/release.sig"}
    for path in offered:
        path.unlink()


@pytest.fixture
def far_folders(stage, monkeypatch):
    """The program and the person's data in folders whose names are in no code page that a machine here has."""

    def keep_data_in(folder):
        stage.desktop.wine("reg", "add", SHELL_FOLDERS, "/v", "AppData", "/t", "REG_EXPAND_SZ", "/d", folder, "/f")

    data = "C:\\users\\\u6d77\u9f8d\\\u0416\u00e9"
    program = stage.desktop.path("C:\\\u58c1\u7d19 \u2603") / stage.program.name
    with contextlib.ExitStack() as endings:
        for folder in (stage.desktop.path(data), program.parent):
            folder.mkdir(parents=True, exist_ok=True)
            endings.callback(shutil.rmtree, folder, ignore_errors=True)
        shutil.copy(stage.program, program)
        monkeypatch.setattr(stage, "program", program)
        monkeypatch.setattr(stage, "folder", stage.desktop.path(data) / "Quillory")
        keep_data_in(data)
        endings.callback(keep_data_in, r"%USERPROFILE%\AppData\Roaming")
        endings.callback(stage.end)
        yield


def test_the_program_moves_itself_to_the_next_version_whatever_its_folders_are_called(stage, far_folders, next_version):
    person, service = stage.person, stage.service
    updater = stage.program.parent / "Updater" / "update.exe"
    updater.parent.mkdir()
    updater.write_bytes(next_version["Updater/update.exe"] + b"the old one")
    stage.start_in_tray()
    person.choose_from_tray("mnuForce")
    person.answer(person.box("Auto-Update Starting"), "OK")
    service.wait_for("vh.getGalleries", 2)
    until(lambda: not (stage.folder / NEXT).exists() and stage.knows_galleries(), "the updater's end, and a new start")
    person.choose_from_tray("mnuForce")
    stage.rotation()
    versions = [request.raw.split(b"&")[-1] for request in service.asked("vh.wallpapers.favorites")]
    assert versions == [b"QY%5FVersion=1%2E0%2E11" + digit + b" HTTP/1.0\r\n\r\n" for digit in (b"2", b"3")]
    assert len(service.asked("release")) == 2 and len(stage.running()) == 1 and person.of_program() == []
    for name, content in next_version.items():
        assert (stage.program.parent / name).read_bytes() == content, name
