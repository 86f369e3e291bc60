"""The updater for real: it is started as Quillory starts it, in a folder with a stand-in for Quillory."""

import io
import shutil
import subprocess
import sys
import zipfile

import pytest
from conftest import ended
from desktop import BUILD, ROOT, until

sys.path.insert(0, str(ROOT / "scripts"))
import signing  # noqa: E402

RELEASED = BUILD / "win32" / "Updater" / "update.exe"
KILLABLE = BUILD / "win32" / "tests" / "updater" / "update.exe"
STAND_IN = BUILD / "win32" / "tests" / "updater" / "standIn.exe"
ARCHIVE = "Quillory-1.0.113.zip"
PAGE = "http://velvetharbor.example/quillory/"


def version(name, updater=RELEASED):
    """The files of a version; its three letters at the end of a program leave it as it was, but for that."""
    mark = name.encode()
    return {
        "Quillory.exe": STAND_IN.read_bytes() + mark,
        "Updater/update.exe": updater.read_bytes() + mark,
        "LICENSE.txt": b"the licence, " + mark,
    }


OLD, NEW = "old", "new"
NUMBERS = {OLD: "1.0.112", NEW: "1.0.113", "2nd": "1.0.114", "bad": "1.0.115"}
ADDED = {"Help/read me.txt": b"what the old version did not have"}
UNINSTALLER = {"Uninstall.exe": b"MZ, from the installer"}


def installed(name, updater=RELEASED, added=None):
    """All files of a version when it is installed."""
    files = {**version(name, updater), **(added or {})}
    return {**files, "Updater/release.txt": signing.record(NUMBERS[name], files), **UNINSTALLER}


def packed(files):
    archive = io.BytesIO()
    with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED) as zipped:
        for name, contents in files.items():
            zipped.writestr(zipfile.ZipInfo(name), contents, zipfile.ZIP_DEFLATED)
    return archive.getvalue()


def release(name, updater=RELEASED, added=None, number=None):
    """A version's archive, signed with the key that the updaters of this build know."""
    key = signing.opened(BUILD / "signing-key.pem")
    return packed(signing.signed(number or NUMBERS[name], {**version(name, updater), **(added or {})}, key))


class Place:
    """A folder with Quillory in it."""

    def __init__(self, desktop, data_folder):
        self.desktop, self.data = desktop, data_folder
        self.folder = desktop.prefix / "drive_c" / "Quillory's place"
        self.archive = data_folder / ARCHIVE

    def install(self, files):
        shutil.rmtree(self.folder, ignore_errors=True)
        for name, contents in files.items():
            path = self.folder / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(contents)

    def files(self):
        found = {path.relative_to(self.folder).as_posix(): path for path in self.folder.rglob("*") if path.is_file()}
        return {name: path.read_bytes() for name, path in found.items()}

    def start(self):
        return self.desktop.start(self.folder / "Quillory.exe")

    def update(self, *arguments, **environment):
        return subprocess.Popen(
            ["wine", self.folder / "Updater" / "update.exe", *arguments], stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, env={**self.desktop.environment, **environment},
        )  # fmt: skip

    def running(self, name="Quillory.exe"):
        return self.desktop.probe.ask("processes", name)

    def end(self, name="Quillory.exe"):
        until(lambda: ended(self.desktop, name), f"the end of {name}")

    def updater_ends(self, seconds=30):
        until(lambda: not self.running("updating.exe"), "the end of the updater's copy", seconds)
        until(lambda: not self.running("update.exe"), "the end of the updater, which removes the copy", seconds)

    def started(self):
        """The versions that have started, in their order."""
        told = self.data / "started"
        return told.read_text().split() if told.exists() else []

    def messages(self):
        probe = self.desktop.probe
        return [window for window in probe.windows() if window.visible and window.text == "Quillory Update"]

    def message(self, seconds=15):
        """What the message box says; closes it."""
        until(self.messages, "a message", seconds)
        box = self.messages()[0]
        text = " ".join(child.text for child in self.desktop.probe.children(box) if child.cls == "Static")
        self.desktop.probe.ask("close", box.handle)
        until(lambda: not self.messages(), "the message's end")
        return text


@pytest.fixture
def place(desktop, data_folder):
    return Place(desktop, data_folder)


def register(place, *command):
    key = "HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Quillory"
    return place.desktop.wine("reg", command[0], key, *command[1:])


def archives():
    good = signing.signed("1.0.113", version(NEW), signing.opened(BUILD / "signing-key.pem"))
    other = signing.ecdsa.SigningKey.generate(signing.ecdsa.NIST256p)
    program = version(OLD)["Quillory.exe"] + b"swapped"
    cut = {**version(NEW), "Quillory.exe": version(NEW)["Quillory.exe"][:9000]}
    return {
        "a page of the network's gateway": b"<html>Please log in</html>" * 100,
        "out of the folder": packed({**good, "../evil.exe": b"MZ"}),
        "another key": packed(signing.signed("1.0.113", version(NEW), other)),
        "a swapped program": packed({**good, "Quillory.exe": program}),
        "half a program": packed(signing.signed("1.0.113", cut, signing.opened(BUILD / "signing-key.pem"))),
        "an older version": release(OLD, number="1.0.111"),
    }


def refuses(place, says, *arguments):
    updater = place.update(*arguments)
    text = place.message()
    assert says in text and PAGE in text
    assert updater.wait(20) != 0
    place.updater_ends()
    assert place.files() == installed(OLD)
    assert place.started() == []


def test_what_is_no_update_changes_nothing_and_is_told(place):
    place.install(installed(OLD))
    for kind, archive in archives().items():
        print(kind)
        place.archive.write_bytes(archive)
        refuses(place, "The update file cannot be used", ARCHIVE)

    (place.data.parent / ARCHIVE).write_bytes(release(NEW))
    place.archive.write_bytes(release(NEW))
    try:
        windows_path = place.desktop.probe.ask("appdata") + "\\Quillory\\" + ARCHIVE
        for arguments in [(), (ARCHIVE, ARCHIVE), (windows_path,), ("../" + ARCHIVE,), ("Quillory+1.zip",), ("started",)]:
            refuses(place, "for Quillory to start", *arguments)
    finally:
        (place.data.parent / ARCHIVE).unlink()
    refuses(place, "cannot be read", "Quillory-9.zip")

    # A file that cannot be replaced: all or nothing.
    (place.folder / "LICENSE.txt").unlink()
    (place.folder / "LICENSE.txt").mkdir()
    before = place.files()
    place.update(ARCHIVE)
    text = place.message(40)
    assert "LICENSE.txt" in text and PAGE in text
    place.updater_ends()
    assert place.files() == before

    # A Quillory that does not end is left alone.
    place.install(installed(OLD))
    place.start()
    until(lambda: place.started(), "Quillory")
    place.update(ARCHIVE)
    assert "still running" in place.message(40)
    place.updater_ends()
    assert place.files() == installed(OLD)
    assert place.started() == [OLD]


def test_an_update_replaces_everything_and_starts_the_new_version(place):
    place.install(installed(OLD, added={"Old.txt": b"what the new version no longer has"}))
    register(place, "add", "/v", "InstallLocation", "/d", "C:\\Quillory's place", "/f")
    place.start()
    until(lambda: place.started() == [OLD], "the old version")
    place.archive.write_bytes(release(NEW, added=ADDED))
    place.update(ARCHIVE)
    until(lambda: place.running("updating.exe"), "the updater's copy")
    with pytest.raises(AssertionError):  # not while Quillory runs
        until(lambda: place.files()["LICENSE.txt"] != version(OLD)["LICENSE.txt"], "a change", 2)

    place.end()
    until(lambda: place.started() == [OLD, NEW], "the new version")
    place.updater_ends()
    assert place.files() == installed(NEW, added=ADDED)
    assert sorted(path.name for path in (place.folder / "Updater").iterdir()) == ["release.txt", "update.exe"]
    assert not place.archive.exists()
    assert place.messages() == []
    assert "1.0.113" in register(place, "query", "/v", "DisplayVersion")
    register(place, "delete", "/f")

    # The updater that has come with the new version does the next update. What it cannot remove does not stop it, nor
    # does a message that nobody has read.
    place.update("Quillory-9.zip")
    until(place.messages, "a message")
    place.end()
    place.archive.write_bytes(release("2nd"))
    assert place.update(ARCHIVE).wait(60) == 0
    until(lambda: place.started() == [OLD, NEW, "2nd"], "the version after that")
    place.updater_ends()
    assert place.files() == installed("2nd") and not (place.folder / "Help").exists()
    place.end()

    # A signed program that does not come up gives its place back to the one before it.
    broken = {**version("bad"), "Quillory.exe": (BUILD / "win32" / "tests" / "updater" / "stillborn.exe").read_bytes()}
    key = signing.opened(BUILD / "signing-key.pem")
    place.archive.write_bytes(packed(signing.signed("1.0.115", broken, key)))
    place.update(ARCHIVE)
    assert "did not start" in place.message(60)
    place.updater_ends()
    assert place.files() == installed("2nd")
    place.start()
    until(lambda: place.started() == [OLD, NEW, "2nd", "2nd"], "the version before")


def test_wherever_the_updater_is_killed_the_old_or_the_new_program_starts(place):
    old, new = installed(OLD, KILLABLE), installed(NEW, KILLABLE, ADDED)
    archive = release(NEW, KILLABLE, ADDED)
    seen = set()
    for step in (1, 9, 17, *range(22, 60)):  # each of them natively; here some, and all about the swap
        place.install(old)
        (place.data / "started").unlink(missing_ok=True)
        place.archive.write_bytes(archive)
        assert place.update(ARCHIVE, QUILLORY_TEST_KILL_AT=str(step)).wait(60) == 0
        until(lambda: not place.running("updating.exe"), "the end of the updater's copy", 60)
        if not place.archive.exists():  # the last thing that it removes
            break
        left = place.files()
        for name in version(OLD):
            assert left[name] in (old[name], new[name]), f"{name} after {step} steps"
        place.end()
        (place.data / "started").unlink(missing_ok=True)
        place.start()
        until(place.started, f"Quillory after {step} steps")
        seen.update(place.started())
        place.end()

        (place.data / "started").unlink()
        assert place.update(ARCHIVE).wait(60) == 0
        until(lambda: place.started() == [NEW], f"the second try after {step} steps")
        place.updater_ends()
        place.end()
        assert place.files() == new
    assert seen == {OLD, NEW}
