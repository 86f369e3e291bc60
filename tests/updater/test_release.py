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
    "advapi32", "comctl32", "gdi32", "kernel32", "msimg32", "msvcrt", "ole32", "oleaut32", "shell32", "user32",
    "uxtheme", "windowscodecs", "ws2_32",
}  # fmt: skip
UNINSTALL_KEY = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Quillory"
RUN_KEY = "Software\\Microsoft\\Windows\\CurrentVersion\\Run"
START_MENU = "Microsoft/Windows/Start Menu/Programs/Quillory.lnk"


def made(out, root=ROOT, **environment):
    command = [root / "scripts" / "release", "--version", VERSION, "--out", out]
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
    assert names == [archive.name, archive.name + ".md5", "Quillory-Setup.exe"]
    checksum = archive.with_name(archive.name + ".md5").read_text()
    assert checksum == hashlib.md5(archive.read_bytes()).hexdigest() + "\n"
    with zipfile.ZipFile(archive) as packed:
        packed.extractall(tmp_path)
        assert packed.namelist() == ["Quillory.exe", "Updater/update.exe", "LICENSE.txt", "README.txt"]
    assert f"Quillory {VERSION}\r\n".encode() in (tmp_path / "README.txt").read_bytes()
    assert VERSION.encode("utf-16-le") in (tmp_path / "Quillory.exe").read_bytes()
    updater = (tmp_path / "Updater/update.exe").read_bytes()
    assert b'level="requireAdministrator"' in updater
    assert b"QUILLORY_TEST" not in updater
    for program in ("Quillory.exe", "Updater/update.exe"):
        told = subprocess.run(["objdump", "-p", tmp_path / program], capture_output=True, text=True, check=True).stdout
        needed = {name.lower() for name in re.findall(r"DLL Name: (\S+)\.dll", told, re.I)}
        assert needed and needed <= SYSTEM_LIBRARIES


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
        out = tmp_path / f"from {folder.name}"
        results.append(made(out, folder, SOURCE_DATE_EPOCH="1700000000", CCACHE_DISABLE="1"))
    assert len(results[0]) == 3 and results[0] == results[1]


class Setup:
    def __init__(self, desktop, release):
        self.desktop, self.program = desktop, release / "Quillory-Setup.exe"
        self.person = Person(desktop)

    def run(self, *arguments):
        return self.desktop.wine(self.program, "/S", *arguments)

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


@pytest.mark.parametrize(
    "who, hive, home, menu",
    [
        ("/AllUsers", "HKLM", "Program Files", "ProgramData"),
        ("/CurrentUser", "HKCU", "users/{user}/AppData/Local/Programs", "users/{user}/AppData/Roaming"),
    ],
)
def test_setup_installs_for_all_or_for_one_and_leaves_nothing_behind(setup, data_folder, who, hive, home, menu):
    drive = setup.desktop.prefix / "drive_c"
    user = data_folder.parents[2].name
    folder = drive / home.format(user=user) / "Quillory"
    link = drive / menu.format(user=user) / START_MENU
    (data_folder / "Quillory.bmp").write_bytes(b"the wallpaper")
    setup.run(who)
    try:
        files = {path.relative_to(folder).as_posix() for path in folder.rglob("*") if path.is_file()}
        assert files == {"Quillory.exe", "Updater/update.exe", "LICENSE.txt", "README.txt", "Uninstall.exe"}
        program = setup.windows_path(folder / "Quillory.exe")
        assert setup.value(hive, RUN_KEY, "Quillory") == f'"{program}"'
        assert who in setup.value(hive, UNINSTALL_KEY, "UninstallString")
        assert link.exists()
        # What a killed update has left, and what the person has put there.
        (folder / "Updater" / "new").mkdir()
        (folder / "Updater" / "new" / "Quillory.exe").touch()
        (folder / "Updater" / "updating.exe").touch()
        (folder / "mine.txt").touch()
    finally:
        setup.uninstall(folder, who)
    assert [path.name for path in folder.rglob("*")] == ["mine.txt"]
    (folder / "mine.txt").unlink()
    folder.rmdir()
    assert not link.exists()
    assert setup.value(hive, RUN_KEY, "Quillory") is None
    assert setup.value(hive, UNINSTALL_KEY, "UninstallString") is None
    assert (data_folder / "Quillory.bmp").exists()  # nobody was asked


def test_setup_and_uninstaller_refuse_to_go_on_while_quillory_runs(setup):
    folder = setup.desktop.prefix / "drive_c" / "Program Files" / "Quillory"
    setup.run("/AllUsers")
    try:
        setup.desktop.start(folder / "Quillory.exe")
        until(lambda: "Quillory Login" in setup.person.titles(), "Quillory")
        (folder / "README.txt").write_text("changed")
        with pytest.raises(subprocess.CalledProcessError):
            setup.run()
        setup.uninstall(folder)
        assert (folder / "README.txt").read_text() == "changed"
    finally:
        setup.end_quillory()
        setup.run("/AllUsers")
        setup.uninstall(folder)


def test_a_person_installs_quillory_starts_it_and_removes_it_with_all_data(setup, data_folder):
    folder = data_folder.parents[1] / "Local" / "Programs" / "Quillory"
    setup.desktop.start(setup.program)
    setup.press("Next >")
    setup.press("I Agree")
    setup.press("Install just for me")
    setup.press("Next >")
    setup.press("Next >")  # the folder as it is
    setup.press("Install")
    setup.press("Finish", 60)
    until(lambda: "Quillory Login" in setup.person.titles(), "Quillory, as the last page has offered")
    (data_folder / "Quillory.bmp").write_bytes(b"the wallpaper")

    setup.desktop.start(folder / "Uninstall.exe")
    setup.press("Uninstall")
    setup.press("Retry")  # it runs
    assert (folder / "Quillory.exe").exists()
    until(lambda: setup.find("Retry"), "the same question")
    setup.end_quillory()
    setup.press("Retry")
    until(lambda: setup.find("Yes"), "the question after the data")
    assert (data_folder / "Quillory.bmp").exists()
    setup.press("Yes")
    until(lambda: not data_folder.exists(), "the end of the data")
    setup.press("Close")
    assert not folder.exists()
