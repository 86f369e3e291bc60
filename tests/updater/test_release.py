"""What a release is made of, and what its setup program does."""

import hashlib
import os
import re
import shutil
import subprocess
import zipfile

import pytest
from desktop import ROOT, until
from person import Person

VERSION = "1.0.113"
SYSTEM_LIBRARIES = {
    "advapi32", "comctl32", "gdi32", "kernel32", "msvcrt", "ole32", "oleaut32", "shell32", "user32",
    "uxtheme", "windowscodecs", "ws2_32",
}  # fmt: skip
NAMES = ["Quillory.exe", "Updater/update.exe", "LICENSE.txt", "README.txt"]
UNINSTALL_KEY = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Quillory"
RUN_KEY = "Software\\Microsoft\\Windows\\CurrentVersion\\Run"
START_MENU = "Microsoft/Windows/Start Menu/Programs/Quillory.lnk"


def made(out, root=ROOT, *options, **environment):
    command = [root / "scripts" / "release", "--uncommitted", "--version", VERSION, "--out", out, *options]
    subprocess.run(command, env={**os.environ, **environment}, check=True)
    return {path.name: path.read_bytes() for path in out.iterdir()}


@pytest.fixture(scope="module")
def release(tmp_path_factory):
    out = tmp_path_factory.mktemp("release")
    made(out)
    return out


def test_a_release_holds_the_programs_of_its_version_and_the_checksum_that_quillory_reads(release, tmp_path):
    archive = release / f"Quillory-{VERSION}.zip"
    names = sorted(path.name for path in release.iterdir())
    assert names == [archive.name, archive.name + ".md5", "Quillory-Setup.exe", f"quillory-harbor_{VERSION}_all.deb"]
    checksum = archive.with_name(archive.name + ".md5").read_text()
    assert checksum == hashlib.md5(archive.read_bytes()).hexdigest() + "\n"
    with zipfile.ZipFile(archive) as packed:
        packed.extractall(tmp_path)
        assert packed.namelist() == [*NAMES, "Updater/release.txt", "Updater/release.sig"]
    assert f"Quillory {VERSION}\r\n".encode() in (tmp_path / "README.txt").read_bytes()
    assert VERSION.encode("utf-16-le") in (tmp_path / "Quillory.exe").read_bytes()
    updater = (tmp_path / "Updater/update.exe").read_bytes()
    assert b'level="asInvoker"' in updater
    assert b"QUILLORY_TEST" not in updater
    for program in ("Quillory.exe", "Updater/update.exe"):
        told = subprocess.run(["objdump", "-p", tmp_path / program], capture_output=True, text=True, check=True).stdout
        needed = {name.lower() for name in re.findall(r"DLL Name: (\S+)\.dll", told, re.I)}
        assert needed and needed <= SYSTEM_LIBRARIES
        assert {"DYNAMIC_BASE", "NX_COMPAT"} <= set(told.split()) and "Base Relocation Directory [.reloc]" in told
        assert b"stack smashing detected" in (tmp_path / program).read_bytes()
    assert (tmp_path / "Quillory.exe").stat().st_size <= 1_200_000


@pytest.mark.long
def test_the_same_source_makes_the_same_bytes_in_any_folder(tmp_path):
    listed = ["git", "ls-files", "--cached", "--others", "--exclude-standard", "-z"]
    sources = subprocess.run(listed, cwd=ROOT, capture_output=True, check=True).stdout.decode().split("\0")
    results = []
    for folder in (tmp_path / "one", tmp_path / "another" / "place"):
        for name in filter(None, sources):
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            if (ROOT / name).is_file():
                shutil.copy2(ROOT / name, folder / name)
        out = tmp_path / f"from-{folder.name}"
        key = ROOT / "build" / "signing-key.pem"
        results.append(made(out, folder, "--key", key, SOURCE_DATE_EPOCH="1700000000", CCACHE_DISABLE="1"))
    assert len(results[0]) == 4 and results[0] == results[1]


@pytest.mark.parametrize(
    "says, arguments, environment",
    [
        ("65535", ["--version", "1.0.99999"], {}),
        ("zeros", ["--version", "1.0.070"], {}),
        ("blank", ["--out", "/tmp/a blank"], {}),
        ("SOURCE_DATE_EPOCH", [], {"SOURCE_DATE_EPOCH": "yesterday"}),
        ("no key", ["--key", "/tmp/no such key.pem"], {}),
    ],
)
def test_what_would_be_a_wrong_release_is_refused_with_one_line(says, arguments, environment):
    command = [ROOT / "scripts" / "release", "--uncommitted", *arguments]
    told = subprocess.run(command, env={**os.environ, **environment}, capture_output=True, text=True, timeout=20)
    assert told.returncode == 1 and says in told.stderr and told.stderr.count("\n") == 1


class Setup:
    def __init__(self, desktop, release):
        self.desktop, self.program = desktop, release / "Quillory-Setup.exe"
        self.person = Person(desktop)

    def run(self, *arguments):
        """The code that a silent setup ends with."""
        command = ["wine", self.program, "/S", *arguments]
        return subprocess.run(command, env=self.desktop.environment, timeout=120, stdin=subprocess.DEVNULL).returncode

    def uninstall(self, folder, *arguments):
        """It works from a copy of itself, which goes on after its own end."""
        self.desktop.wine(folder / "Uninstall.exe", "/S", *arguments)
        until(lambda: not self.desktop.probe.ask("processes", "Un.exe"), "the uninstaller's end", 30)

    def windows_path(self, path):
        return self.desktop.wine("winepath", "-w", path).strip()

    def value(self, hive, key, name):
        """A registry value as `reg` prints it; None if there is none."""
        query = ["wine", "reg", "query", f"{hive}\\{key}", "/v", name]
        told = subprocess.run(query, env=self.desktop.environment, capture_output=True, text=True, timeout=60).stdout
        found = re.search(r"REG_\w+\s+(.*?)\s*$", told, re.M)
        return found[1] if found else None

    def running(self):
        return self.desktop.probe.ask("processes", "Quillory.exe")

    def end_quillory(self):
        for process in self.running():
            self.desktop.probe.ask("end", process)
        until(lambda: not self.running(), "Quillory's end")

    def press(self, button, seconds=30):
        """Clicks a button, or what looks like one, as soon as it can be clicked."""
        self.person.mouse(*until(lambda: self.find(button), f"the button {button}", seconds).middle)

    def find(self, button):
        for window in self.desktop.probe.windows():
            if window.visible and window.enabled and window.cls == "#32770":
                for child in self.desktop.probe.children(window):
                    if child.visible and child.enabled and child.text.replace("&", "") == button:
                        return child
        return None


@pytest.fixture
def setup(desktop, release, data_folder):
    desktop.probe.ask("deletekey", "Software\\Quillory")
    return Setup(desktop, release)


DONE, REFUSED, HELD, OLDER = 0, 3, 4, 7


def files(folder):
    return {path.relative_to(folder).as_posix() for path in folder.rglob("*") if path.is_file()}


def test_setup_for_one_and_for_all_in_silence(setup, data_folder):
    drive = setup.desktop.prefix / "drive_c"
    user = data_folder.parents[2].name
    mine = drive / "users" / user / "AppData" / "Local" / "Programs" / "Quillory"
    all_users = drive / "Program Files" / "Quillory"
    moved = drive / "Moved" / "Quillory"
    link = drive / "users" / user / "AppData" / "Roaming" / START_MENU
    everything = {*NAMES, "Updater/release.txt", "Uninstall.exe"}

    assert setup.run("/Unknown") == REFUSED
    (drive / "Taken").mkdir()
    (drive / "Taken" / "README.txt").write_text("my own")
    assert setup.run("/D=C:\\Taken") == REFUSED
    assert (drive / "Taken" / "README.txt").read_text() == "my own" and not mine.exists()

    assert setup.run() == DONE  # for one person, as nothing else is said
    assert files(mine) == everything and link.exists()
    assert setup.value("HKCU", UNINSTALL_KEY, "DisplayVersion") == VERSION
    program = setup.windows_path(mine / "Quillory.exe")
    assert setup.value("HKCU", RUN_KEY, "Quillory") == f'"{program}"'

    # A second time: over the first, an autostart that the person has removed stays removed, and nothing goes back.
    setup.desktop.wine("reg", "delete", f"HKCU\\{RUN_KEY}", "/v", "Quillory", "/f")
    setup.desktop.wine("reg", "add", f"HKCU\\{UNINSTALL_KEY}", "/v", "DisplayVersion", "/d", "1.0.999", "/f")
    assert setup.run() == OLDER
    assert setup.run("/Older") == DONE
    assert setup.value("HKCU", RUN_KEY, "Quillory") is None

    # All or nothing while Quillory runs, unless it may be closed; then it comes back.
    setup.desktop.start(mine / "Quillory.exe")
    until(lambda: "Quillory Login" in setup.person.titles(), "Quillory")
    (mine / "README.txt").write_text("changed")
    assert setup.run() == HELD
    setup.uninstall(mine)
    assert files(mine) == everything and (mine / "README.txt").read_text() == "changed"
    assert setup.value("HKCU", UNINSTALL_KEY, "UninstallString")
    assert setup.run("/Close") == DONE
    assert (mine / "README.txt").read_text() != "changed"
    until(lambda: "Quillory Login" in setup.person.titles(), "Quillory again", 30)
    setup.end_quillory()

    # It moves to another folder, and a copy for all is another copy; each uninstaller removes its own.
    assert setup.run("/CurrentUser", "/D=C:\\Moved\\Quillory") == DONE
    assert files(moved) == everything and not mine.exists()
    assert setup.run("/AllUsers", "/NoStart") == DONE
    assert setup.value("HKLM", RUN_KEY, "Quillory") is None
    (all_users / "mine.txt").touch()
    (data_folder / "Quillory.bmp").write_bytes(b"the wallpaper")
    setup.uninstall(all_users)
    assert files(all_users) == {"mine.txt"} and files(moved) == everything and link.exists()
    assert setup.value("HKLM", UNINSTALL_KEY, "UninstallString") is None
    setup.uninstall(moved)
    assert not moved.exists() and not link.exists()
    assert setup.value("HKCU", UNINSTALL_KEY, "UninstallString") is None
    assert (data_folder / "Quillory.bmp").exists()  # nobody has asked for that


def test_a_person_installs_quillory_starts_it_and_removes_it_with_all_data(setup, data_folder):
    folder = data_folder.parents[1] / "Local" / "Programs" / "Quillory"
    setup.desktop.start(setup.program)
    setup.press("Next >")
    setup.press("I Agree")
    until(lambda: setup.find("Just for me"), "the question for whom")
    assert setup.run() == 6  # one setup at a time
    setup.press("Next >")
    setup.press("Next >")  # the folder as it is
    setup.press("Install")
    setup.press("Finish", 60)
    until(lambda: "Quillory Login" in setup.person.titles(), "Quillory, as the last page has offered")
    picture = data_folder / "Quillory.bmp"
    picture.write_bytes(b"the wallpaper")
    desktop = "Control Panel\\Desktop"
    setup.desktop.wine("reg", "add", f"HKCU\\{desktop}", "/v", "Wallpaper", "/d", setup.windows_path(picture), "/f")

    setup.desktop.start(folder / "Uninstall.exe")
    setup.press("Uninstall")
    setup.press("OK")  # it runs, and may be closed
    until(lambda: setup.find("Yes"), "the question after the data", 60)
    assert picture.exists() and not setup.running()
    setup.press("Yes")
    until(lambda: not data_folder.exists(), "the end of the data")
    assert not setup.value("HKCU", desktop, "Wallpaper")
    setup.press("Close")
    until(lambda: not folder.exists(), "the end of the folder")
