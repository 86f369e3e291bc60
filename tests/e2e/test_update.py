"""When a new release comes: the program fetches it, checks it, and hands it over to the updater."""

import hashlib
import random
import shutil
import subprocess
import zipfile

import pytest

import lettering
from conftest import SIZE
from desktop import PROGRAM, ROOT, until
from stage import Stage

NAME = "Quillory-1.0.113.zip"
ARCHIVE = random.Random(113).randbytes(100_000)
CHECKSUM = hashlib.md5(ARCHIVE).hexdigest()
BASE = "/quillory/" + NAME

# As somebody might edit it in the registry: the options window does not let a person have it so short.
SECONDS_7 = {"Frequency": "0.002", "FrequencyType": "Hours"}

WITH_PERMISSION = (
    "An update has been released for your Quillory Wallpaper Manager software.\n\nYou have disabled automatic updates, "
    "so your permission is required to update Quillory.\n\nProceed with update now?  Clicking 'No' will exit the "
    "program."
)
HANG_ON = (
    "A new update to Quillory has been released since you last rotated your wallpaper.  Hang on one second and we'll "
    "handle the upgrade for you."
)
DOWNLOADED = "Quillory has successfully downloaded the update.  Applying update now and restarting the program..."
NO_UPDATER = (
    "An error has occurred launching the Quillory Update Engine.\n\nPlease visit "
    "http://velvetharbor.example/quillory/ and reinstall the software."
)
WRONG_LINK = (
    "A critical error occurred while downloading the new software update for Quillory Wallpaper Manager.\n\n"
    "Please try reinstalling the software by visiting:\nhttp://velvetharbor.example/quillory/"
)
NOT_FETCHED = (
    f"An error occurred downloading the new Quillory update: {NAME}.\nPlease check your internet connection and try "
    "again, otherwise visit http://velvetharbor.example/quillory/ and try reinstalling the software.\n\n"
    "Shutting down Quillory..."
)
NO_CORRECT_FILE = (
    "The update engine cannot find the correct update file on the Velvet Harbor servers.  This could be due to a "
    "corruption issue.  Please reopen Quillory and try again later.  If the problem persists, please reinstall: "
    "http://velvetharbor.example/quillory/"
)


@pytest.fixture(scope="module")
def stand_in(tmp_path_factory):
    """A program that stands in for the updater."""
    exe = tmp_path_factory.mktemp("updater") / "update.exe"
    source = ROOT / "tests" / "e2e" / "updater" / "stand_in.cpp"
    command = ["i686-w64-mingw32-g++-posix", "-Os", "-s", "-static", "-mwindows", "-o", exe, source]
    subprocess.run(command, check=True)
    return exe


@pytest.fixture(scope="module")
def releases(tmp_path_factory):
    return tmp_path_factory.mktemp("releases")


@pytest.fixture(scope="module")
def theatre(library, releases):
    with Stage(library, SIZE, releases=releases) as stage:
        yield stage


@pytest.fixture(autouse=True)
def installed(stage, stand_in, releases, tmp_path):
    """The program in a folder of its own, with an updater below it, and a release newer than it."""
    folder = tmp_path / "Quillory"
    updater = folder / "Updater" / "update.exe"
    updater.parent.mkdir(parents=True)
    shutil.copy(PROGRAM, folder)
    shutil.copy(stand_in, updater)
    stage.program = folder / PROGRAM.name
    (releases / NAME).write_bytes(ARCHIVE)
    (releases / f"{NAME}.md5").write_text(CHECKSUM + "\n")
    return updater


def seen_until_end(stage, seconds=40):
    """The windows that come up until the program ends by itself."""
    seen = set()

    def ended():
        seen.update(windows(stage))
        return not stage.running()

    until(ended, lambda: f"the program's end, with {seen}", seconds)
    return seen


def windows(stage):
    return [window.text or window.cls for window in stage.screen.open_windows() if stage.person.is_ours(window)]


def fetched(stage):
    return [request.raw.split()[1].decode() for request in stage.service.asked("release")]


def answer(stage, title, words, icon, button="OK"):
    box = stage.person.box()
    assert (box.title, box.text, box.icon) == (title, words, icon)
    stage.person.answer(box, button)


def check_hand_over(stage, updater):
    note = updater.with_name("update.exe.txt")
    until(lambda: note.exists() and note.read_text(), "the updater")
    program, _, arguments = note.read_text().rpartition('"')
    assert program.endswith("\\Updater\\update.exe") and arguments.strip() == NAME
    assert sorted(path.name for path in stage.folder.iterdir() if NAME in path.name) == [NAME]
    assert (stage.folder / NAME).read_bytes() == ARCHIVE
    assert not stage.running()


def test_while_nobody_looks_it_happens_unseen(stage, installed):
    stage.start_in_tray(**SECONDS_7)
    assert seen_until_end(stage) == set()
    check_hand_over(stage, installed)
    assert fetched(stage) == [BASE, BASE + ".md5"]
    assert rotation(stage).count("&QY%5FVersion=1%2E0%2E112 HTTP") == 1
    assert stage.service.asked("image") == []


def rotation(stage):
    return stage.service.asked("vh.wallpapers.favorites")[-1].raw.decode()


def test_who_waits_for_a_wallpaper_is_told_and_sees_the_progress(stage, installed):
    stage.service.fault("release", times=1, slow=50_000)
    stage.start_in_tray()
    stage.force()
    answer(stage, "Auto-Update Starting", HANG_ON, "information")
    lettering.heading(stage, "frmDownloading", "lblHeaderTitle", "Quillory - Downloading Update...")
    seen_until_end(stage)
    check_hand_over(stage, installed)


def test_permission_is_asked_of_who_wants_to_be_asked(stage, installed):
    stage.start_in_tray(AutoUpdate="0")
    stage.force()
    answer(stage, "Proceed with Update?", WITH_PERMISSION, "question", "Yes")
    answer(stage, "Auto-Update Starting", HANG_ON, "information")
    answer(stage, "Update Downloaded Successfully", DOWNLOADED, "information")
    seen_until_end(stage)
    check_hand_over(stage, installed)


def test_without_permission_the_program_ends(stage, installed):
    stage.start_in_tray(AutoUpdate="0", **SECONDS_7)
    answer(stage, "Proceed with Update?", WITH_PERMISSION, "question", "No")
    seen_until_end(stage)
    assert not stage.screen.tray_icon()
    assert fetched(stage) == []
    assert not installed.with_name("update.exe.txt").exists()


@pytest.mark.parametrize(
    "link",
    [
        "http://evil.example/quillory/Quillory-1.0.113.zip",
        "http://dl.velvetharbor.example/quillory/Quillory-1.0.113.exe",
        "http://dl.velvetharbor.example/quillory/..\\..\\Quillory.zip",
    ],
    ids=["elsewhere", "no archive", "out of the folder"],
)
def test_a_link_that_leads_astray_is_refused(stage, releases, link):
    (releases / NAME).unlink()
    before = sorted(stage.folder.parent.rglob("*"))
    stage.service.fault("vh.wallpapers.favorites", times=1, upgrade=link)
    stage.start_in_tray()
    stage.force()
    answer(stage, "Critical Update Error", WRONG_LINK, "critical")
    box = stage.person.box()
    assert box.title == "Confirm Exit"
    stage.person.answer(box, "No")
    assert fetched(stage) == []
    assert [path for path in sorted(stage.folder.parent.rglob("*")) if path not in before] in ([], [stage.folder])
    stage.force()
    stage.rotation()


@pytest.mark.parametrize("corrupt", [1, 2])
def test_a_corrupt_archive_is_fetched_again(stage, installed, corrupt):
    damage(stage, corrupt)
    stage.service.fault("release", slow=50_000)
    stage.start_in_tray()
    stage.force()
    answer(stage, "Auto-Update Starting", HANG_ON, "information")
    title = "Quillory - Corrupt update detected! Retrying download..."
    lettering.heading(stage, "frmDownloading", "lblHeaderTitle", title)
    assert "#32770" not in [window.cls for window in stage.screen.open_windows()], "no further question"
    seen_until_end(stage)
    check_hand_over(stage, installed)
    assert fetched(stage) == [BASE, BASE + ".md5"] + [BASE] * corrupt


def damage(stage, times):
    """Makes the first archives unusable, and leaves their checksum as it is."""
    stage.service.fault("release", times=1, garbage=True)
    stage.service.fault("release", times=1)
    if times > 1:
        stage.service.fault("release", times=times - 1, garbage=True)


def test_the_third_corrupt_archive_is_the_last(stage, installed):
    damage(stage, 3)
    stage.start_in_tray(**SECONDS_7)
    lettering.notice(stage, NO_CORRECT_FILE, "Quillory - Update Error")
    assert stage.running(), "until the notice has been read"
    lettering.close_notice(stage)
    seen_until_end(stage, 5)
    assert fetched(stage) == [BASE, BASE + ".md5", BASE, BASE]
    assert not installed.with_name("update.exe.txt").exists()


def test_a_missing_updater_is_told(stage, installed):
    installed.unlink()
    stage.start_in_tray(**SECONDS_7)
    answer(stage, "Critical Update Error", NO_UPDATER, "critical")
    seen_until_end(stage, 5)
    until(lambda: not stage.screen.tray_icon(), "the icon away")


def test_an_update_can_be_aborted(stage, releases):
    stage.service.fault("release", times=1, slow=20_000)
    stage.start_in_tray(**SECONDS_7)
    stage.force()
    answer(stage, "Auto-Update Starting", HANG_ON, "information")
    stage.person.click("frmDownloading", "imgAbort")
    stage.person.gone("frmDownloading")
    assert not (stage.folder / NAME).exists()
    (releases / NAME).unlink()
    with pytest.raises(AssertionError):
        stage.service.wait_for("vh.wallpapers.favorites", 2, 9)  # the clock has been stopped
    stage.force()
    stage.rotation()


def test_an_update_that_is_broken_off_ends_the_program(stage):
    stage.start_in_tray()
    stage.service.fault("connect", refuse=True)
    stage.force()
    answer(stage, "Auto-Update Starting", HANG_ON, "information")
    answer(stage, "Update Error", NOT_FETCHED, "information")
    seen_until_end(stage, 5)
    until(lambda: not stage.screen.tray_icon(), "the icon away")


# ------------------------------------------------------------------------------------------ with the real updater


@pytest.fixture(scope="module")
def new_version(tmp_path_factory):
    """This very source as the release that comes next."""
    out = tmp_path_factory.mktemp("release")
    command = [ROOT / "scripts" / "release", "--uncommitted", "--version", "1.0.113", "--out", out]
    made = subprocess.run(command, capture_output=True, text=True, check=False)
    assert made.returncode == 0, made.stderr
    return out


def test_the_program_moves_itself_to_the_new_version(stage, installed, releases, new_version):
    with zipfile.ZipFile(new_version / NAME) as archive:
        new = {name: archive.read(name) for name in archive.namelist()}
    installed.write_bytes(new["Updater/update.exe"] + b"the old one")
    old_program = stage.program.read_bytes()
    assert new["Quillory.exe"] != old_program

    # Somebody on the network has put a program of his own into the archive, and its sum beside it.
    with zipfile.ZipFile(releases / NAME, "w") as archive:
        for name, content in {**new, "Quillory.exe": old_program}.items():
            archive.writestr(name, content)
    (releases / f"{NAME}.md5").write_text(hashlib.md5((releases / NAME).read_bytes()).hexdigest() + "\n")
    stage.start_in_tray(**SECONDS_7)
    box = until(stage.person.find_box, "the updater's word", 60)
    assert box.title == "Quillory Update" and "it is not what its maker has signed" in box.text
    stage.person.answer(box, "OK")
    assert stage.program.read_bytes() == old_program and not stage.running()

    for name in (NAME, f"{NAME}.md5"):
        shutil.copy(new_version / name, releases)
    stage.service.forget()
    stage.start_in_tray(**SECONDS_7)
    stage.service.wait_for("release", 2)
    assert "&QY%5FVersion=1%2E0%2E112 HTTP" in rotation(stage)
    stage.service.wait_for("vh.wallpapers.favorites", 2, 60)
    assert "&QY%5FVersion=1%2E0%2E113 HTTP" in rotation(stage)
    stage.rotation()
    assert stage.person.tray_icon()
    assert len(stage.running()) == 1
    until(lambda: not (stage.folder / NAME).exists(), "the updater's end")
    del new["Updater/release.sig"]
    for name, content in new.items():
        assert (stage.program.parent / name).read_bytes() == content, name
    assert not (stage.folder / NAME).exists()
    assert windows(stage) == [] and not stage.person.find_box()
