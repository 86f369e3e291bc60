"""What a release is made of, and the life of an installed copy: its setup, its updates and its end."""

import hashlib
import io
import os
import re
import shutil
import subprocess
import zipfile

import pytest
import signing
from desktop import BUILD, ROOT, Desktop, until
from person import Person

VERSION = "1.0.113"
ARCHIVE = f"Quillory-{VERSION}.zip"
PAGE = "http://velvetharbor.example/quillory/"
SYSTEM = "advapi32 comctl32 gdi32 kernel32 msvcrt ole32 oleaut32 shell32 user32 uxtheme windowscodecs ws2_32".split()
NAMES = ["Quillory.exe", "Updater/update.exe", "LICENSE.txt", "README.txt", "THIRD-PARTY.txt"]


def made(out, root=ROOT, *options, **environment):
    command = [root / "scripts" / "release", "--uncommitted", "--version", VERSION, "--out", out, *options]
    subprocess.run(command, env={**os.environ, **environment}, check=True)
    return {path.name: path.read_bytes() for path in out.iterdir()}


@pytest.fixture(scope="module")
def release(tmp_path_factory):
    out = tmp_path_factory.mktemp("release")
    made(out)
    return out


def headers(program):
    """What stands in a program's headers; requires that data is not run, and the words about Windows 10 and paths."""
    told = subprocess.run(["objdump", "-p", program], capture_output=True, text=True, check=True).stdout
    manifest = program.read_bytes()
    assert "NX_COMPAT" in told and b"longPathAware" in manifest and b"8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a" in manifest
    return told


def test_a_release_holds_the_programs_of_its_version_and_the_checksum_that_quillory_reads(release, tmp_path):
    package = f"quillory-harbor_{VERSION}_all.deb"
    assert {path.name for path in release.iterdir()} == {ARCHIVE, ARCHIVE + ".md5", "Quillory-Setup.exe", package}
    checksum = (release / (ARCHIVE + ".md5")).read_text()
    assert checksum == hashlib.md5((release / ARCHIVE).read_bytes()).hexdigest() + "\n"
    with zipfile.ZipFile(release / ARCHIVE) as packed:
        packed.extractall(tmp_path)
        assert packed.namelist() == [*NAMES, "Updater/release.txt", "Updater/release.sig"]
    assert f"Quillory {VERSION}\r\n".encode() in (tmp_path / "README.txt").read_bytes()
    assert VERSION.encode("utf-16-le") in (tmp_path / "Quillory.exe").read_bytes()
    assert b'level="asInvoker"' in (tmp_path / "Updater/update.exe").read_bytes()
    for program in ("Quillory.exe", "Updater/update.exe"):
        told = headers(tmp_path / program)
        assert "DYNAMIC_BASE" in told and re.search(r"Entry 5 \w* [0-9a-f]*[1-9a-f][0-9a-f]* Base Relocation", told)
        needed = {name.lower() for name in re.findall(r"DLL Name: (\S+)\.dll", told, re.I)}
        assert needed and needed <= set(SYSTEM)
        assert b"stack smashing detected" in (tmp_path / program).read_bytes()
    assert (tmp_path / "Quillory.exe").stat().st_size <= 1_200_000


@pytest.mark.long
def test_the_same_source_makes_the_same_bytes_in_any_folder(tmp_path):
    results = []
    for folder in (tmp_path / "one", tmp_path / "another" / "place"):
        folder.mkdir(parents=True)
        listed = "git ls-files --cached --others --exclude-standard -z"
        subprocess.run(f"{listed} | xargs -0 cp --parents --preserve -t {folder}", shell=True, cwd=ROOT)
        told = {"SOURCE_DATE_EPOCH": "1700000000", "CCACHE_DISABLE": "1"}
        results.append(made(tmp_path / f"from-{folder.name}", folder, "--key", BUILD / "signing-key.pem", **told))
    assert len(results[0]) == 4 and results[0] == results[1]


def test_what_would_be_a_wrong_release_is_refused_with_one_line():
    for says, epoch, *arguments in (
        ("65535", "1700000000", "--version", "1.0.99999"),
        ("zeros", "1700000000", "--version", "1.0.070"),
        ("blank", "1700000000", "--out", "/tmp/a blank"),
        ("SOURCE_DATE_EPOCH", "yesterday"),
        ("no key", "1700000000", "--key", "/tmp/no such key.pem"),
    ):
        command = [ROOT / "scripts" / "release", "--uncommitted", *arguments]
        environment = {**os.environ, "SOURCE_DATE_EPOCH": epoch}
        told = subprocess.run(command, env=environment, capture_output=True, text=True, timeout=60)
        assert told.returncode == 1 and says in told.stderr and told.stderr.count("\n") == 1


DONE, REFUSED, HELD, BUSY, OLDER = 0, 3, 4, 6, 7
WINDOWS = "Software\\Microsoft\\Windows\\CurrentVersion"
PATIENCE = 180  # seconds for what must come


class Copy:
    """A person's own copy of Quillory, and what is done with it."""

    def __init__(self, desktop, release):
        self.desktop, self.setup_program = desktop, release / "Quillory-Setup.exe"
        self.person, self.data = Person(desktop), desktop.data_folder()
        self.folder = self.data.parents[1] / "Local" / "Programs" / "Quillory"

    def setup(self, *arguments):
        """The code that a silent setup ends with."""
        command = ["wine", self.setup_program, "/S", *arguments]
        return subprocess.run(command, env=self.desktop.environment, timeout=300, stdin=subprocess.DEVNULL).returncode

    def uninstall(self, folder, *arguments):
        """It works from a copy of itself, which goes on after its own end."""
        self.desktop.wine(folder / "Uninstall.exe", "/S", *arguments)
        until(lambda: not self.running("Un.exe"), "the uninstaller's end", PATIENCE)

    def update(self, files, number, key=None, says=None):
        """Starts the updater as Quillory does, with a release of these files; waits for its end, or for a box first."""
        key = key or signing.opened(BUILD / "signing-key.pem")
        archive = io.BytesIO()
        with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED) as zipped:
            for name, contents in signing.signed(number, files, key).items():
                zipped.writestr(zipfile.ZipInfo(name), contents, zipfile.ZIP_DEFLATED)
        (self.data / ARCHIVE).write_bytes(archive.getvalue())
        self.desktop.start(self.folder / "Updater" / "update.exe", ARCHIVE)
        if says:
            whole = f"Quillory could not be updated.\n\n{says}\n\nTo get the new version, please visit:\n{PAGE}"
            box = until(lambda: (box := self.person.find_box()) and box.text == whole and box, says, PATIENCE)
            self.person.answer(box, "OK")
        else:
            until(lambda: self.running("updating.exe"), "the updater's copy", PATIENCE)
            self.end()
            until(lambda: not (self.data / ARCHIVE).exists(), "the end of the update", PATIENCE)
        until(lambda: not self.running("updating.exe") and not self.running("update.exe"), "its end", PATIENCE)

    def files(self, folder=None):
        found = [path for path in (folder or self.folder).rglob("*") if path.is_file()]
        return {path.relative_to(folder or self.folder).as_posix(): path.read_bytes() for path in found}

    def value(self, hive, key, name):
        """A registry value as `reg` prints it; None if there is none."""
        query = ["wine", "reg", "query", f"{hive}\\{key}", "/v", name]
        told = subprocess.run(query, env=self.desktop.environment, capture_output=True, text=True, timeout=PATIENCE)
        found = re.search(r"REG_\w+\s+(.*?)\s*$", told.stdout, re.M)
        return found[1] if found else None

    def running(self, name="Quillory.exe"):
        return self.desktop.probe.ask("processes", name)

    def end(self, name="Quillory.exe"):
        for process in self.running(name):
            self.desktop.probe.ask("end", process)
        until(lambda: not self.running(name), f"the end of {name}", PATIENCE)

    def is_up(self):
        until(lambda: "Quillory Login" in self.person.titles(), "Quillory", PATIENCE)


def test_a_copy_is_installed_updated_put_back_moved_and_removed(release):
    with Desktop() as desktop:
        copy = Copy(desktop, release)
        drive = desktop.prefix / "drive_c"
        moved, all_users = drive / "Moved" / "Quillory", drive / "Program Files" / "Quillory"
        link = copy.data.parent / "Microsoft/Windows/Start Menu/Programs/Quillory.lnk"
        for key in ("Software\\Quillory", WINDOWS + "\\Uninstall\\Quillory"):
            desktop.probe.ask("deletekey", key)
        for folder in (copy.data, copy.folder, drive / "Taken", moved, all_users):
            shutil.rmtree(folder, ignore_errors=True)
        copy.data.mkdir()

        # What is refused has changed nothing.
        assert copy.setup("/Unknown") == REFUSED
        (drive / "Taken").mkdir()
        (drive / "Taken" / "README.txt").write_text("my own")
        assert copy.setup("/D=C:\\Taken") == REFUSED
        assert copy.files(drive / "Taken") == {"README.txt": b"my own"} and not copy.folder.exists()

        # For one person, as nothing else is said; an autostart that the person has removed stays removed.
        assert copy.setup() == DONE
        installed = copy.files()
        assert installed.keys() == {*NAMES, "Updater/release.txt", "Uninstall.exe"} and link.exists()
        for program in (copy.setup_program, copy.folder / "Uninstall.exe"):
            assert "TERMINAL_SERVICE_AWARE" in headers(program)
        program = desktop.wine("winepath", "-w", copy.folder / "Quillory.exe").strip()
        assert copy.value("HKCU", WINDOWS + "\\Run", "Quillory") == f'"{program}"'
        desktop.wine("reg", "delete", f"HKCU\\{WINDOWS}\\Run", "/v", "Quillory", "/f")

        # All or nothing while Quillory runs, unless it may be closed; then it comes back. One setup at a time.
        desktop.start(program)
        copy.is_up()
        (copy.folder / "README.txt").write_text("changed")
        assert copy.setup() == HELD
        copy.uninstall(copy.folder)
        assert copy.files() == {**installed, "README.txt": b"changed"}
        assert copy.setup("/Close") == DONE
        copy.is_up()
        assert copy.files() == installed and copy.value("HKCU", WINDOWS + "\\Run", "Quillory") is None
        desktop.start(copy.setup_program)
        until(lambda: "Quillory Setup" in copy.person.titles(), "setup with its pages", PATIENCE)
        assert copy.setup() == BUSY
        copy.end("Quillory-Setup.exe")

        # An update waits for Quillory's end and starts the new one; what is no update changes nothing and says why.
        new = {name: installed[name] for name in NAMES if name != "README.txt"}
        new |= {"Quillory.exe": installed["Quillory.exe"] + b"new", "Help/read me.txt": b"added"}
        stranger = signing.ecdsa.SigningKey.generate(signing.ecdsa.NIST256p)
        forged = "The update file cannot be used: it is not signed by its maker."
        copy.update(new, "1.0.114", stranger, forged)
        assert copy.files() == installed
        copy.update(new, "1.0.114")
        copy.is_up()
        updated = {**installed, **new, "Updater/release.txt": signing.record("1.0.114", new)}
        del updated["README.txt"]
        assert copy.files() == updated
        assert copy.value("HKCU", WINDOWS + "\\Uninstall\\Quillory", "DisplayVersion") == "1.0.114"

        # A signed program that is none of Quillory's does not come up, and gives its place back.
        copy.end()
        back = "The new version did not start. The one before it is in its place again."
        copy.update({**new, "Quillory.exe": new["Updater/update.exe"]}, "1.0.115", says=back)
        assert copy.files() == updated

        # It goes back to an older version if told to, and moves; a copy for all is another copy. Each goes by itself.
        assert copy.setup() == OLDER
        assert copy.setup("/Older", "/CurrentUser", "/D=C:\\Moved\\Quillory") == DONE
        assert copy.files(moved) == installed and not copy.folder.exists()
        assert copy.setup("/AllUsers", "/NoStart") == DONE
        assert copy.value("HKLM", WINDOWS + "\\Run", "Quillory") is None
        (all_users / "mine.txt").touch()
        copy.uninstall(all_users)
        assert copy.files(all_users) == {"mine.txt": b""} and copy.files(moved) == installed and link.exists()
        assert copy.value("HKLM", WINDOWS + "\\Uninstall\\Quillory", "UninstallString") is None
        picture = copy.data / "Quillory.bmp"
        picture.write_bytes(b"the wallpaper")
        shown = desktop.wine("winepath", "-w", picture).strip()
        desktop.wine("reg", "add", "HKCU\\Control Panel\\Desktop", "/v", "Wallpaper", "/d", shown, "/f")
        copy.uninstall(moved, "/Data")
        assert not moved.exists() and not link.exists() and not copy.data.exists()
        assert copy.value("HKCU", WINDOWS + "\\Uninstall\\Quillory", "UninstallString") is None
        assert not copy.value("HKCU", "Control Panel\\Desktop", "Wallpaper")
