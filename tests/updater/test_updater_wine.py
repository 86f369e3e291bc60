"""The updater for real: it is started as Quillory starts it, in a folder with a stand-in for Quillory."""

import io
import shutil
import subprocess
import zipfile

import pytest
from desktop import BUILD, until

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
ADDED = {"Help/read me.txt": b"what the old version did not have"}


def packed(files, **changes):
    """A release's archive. `changes` are set in the records of its first file."""
    archive = io.BytesIO()
    with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED) as zipped:
        for name, contents in files.items():
            record = zipfile.ZipInfo(name)
            record.compress_type = zipfile.ZIP_DEFLATED
            for field, value in changes.items():
                setattr(record, field, value)
            changes = {}
            zipped.writestr(record, contents)
    return archive.getvalue()


class Place:
    """A folder with Quillory in it."""

    def __init__(self, desktop, data_folder):
        self.desktop, self.data = desktop, data_folder
        self.folder = desktop.prefix / "drive_c" / "Quillory's place"
        self.archive = data_folder / ARCHIVE

    def install(self, files):
        shutil.rmtree(self.folder, ignore_errors=True)
        for name, contents in {**files, "Uninstall.exe": b"MZ, from the installer"}.items():
            path = self.folder / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(contents)

    def files(self):
        """All files but the copy that the updater works from, which Windows removes at its next start."""
        found = {path.relative_to(self.folder).as_posix(): path for path in self.folder.rglob("*") if path.is_file()}
        return {name: path.read_bytes() for name, path in found.items() if name != "Updater/updating.exe"}

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
        for process in self.running(name):
            self.desktop.probe.ask("end", process)
        until(lambda: not self.running(name), f"the end of {name}")

    def updater_ends(self, seconds=30):
        until(lambda: not self.running("update.exe") and not self.running("updating.exe"), "the updater's end", seconds)

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


def test_an_update_waits_for_quillory_replaces_everything_and_starts_it_again(place):
    place.install(version(OLD))
    place.start()
    until(lambda: place.started() == [OLD], "the old version")
    place.archive.write_bytes(packed({**version(NEW), **ADDED}))
    place.update(ARCHIVE)
    until(lambda: place.running("updating.exe"), "the updater's copy")
    with pytest.raises(AssertionError):  # not while Quillory runs
        until(lambda: place.files()["LICENSE.txt"] != version(OLD)["LICENSE.txt"], "a change", 2)

    place.end()
    until(lambda: place.started() == [OLD, NEW], "the new version")
    place.updater_ends()
    assert place.files() == {**version(NEW), **ADDED, "Uninstall.exe": b"MZ, from the installer"}
    assert not (place.folder / "Updater" / "new").exists()
    assert not place.archive.exists()
    assert place.messages() == []

    # The updater that has come with the new version does the next update, over what the last one has left behind.
    assert (place.folder / "Updater" / "updating.exe").exists()
    place.end()
    place.archive.write_bytes(packed(version("2nd")))
    assert place.update(ARCHIVE).wait(30) == 0
    until(lambda: place.started() == [OLD, NEW, "2nd"], "the version after that")
    place.updater_ends()
    assert place.files() == {**version("2nd"), **ADDED, "Uninstall.exe": b"MZ, from the installer"}


def damaged(archive):
    middle = len(archive) // 2
    return archive[:middle] + bytes([archive[middle] ^ 1]) + archive[middle + 1 :]


def archives():
    good = version(NEW)
    return {
        "one wrong bit": damaged(packed(good)),
        "cut off": packed(good)[:-1000],
        "a page of the network's gateway": b"<html>Please log in</html>" * 100,
        "empty": b"",
        "out of the folder": packed({**good, "../evil.exe": b"MZ"}),
        "absolute": packed({**good, "C:/evil.exe": b"MZ"}),
        "device": packed({**good, "Help/NUL.txt": b""}),
        "stream": packed({**good, "LICENSE.txt:evil": b"MZ"}),
        "twice": packed({**good, "license.TXT": b"MZ"}),
        "link": packed({"LICENSE.txt": b"../../secret", **good}, external_attr=0o120777 << 16),
        "no program": packed({"LICENSE.txt": b"new"}),
    }


def refuses(place, says, *arguments):
    place.install(version(OLD))
    before = place.files()
    updater = place.update(*arguments)
    text = place.message()
    assert says in text and PAGE in text
    assert updater.wait(20) == 1
    place.updater_ends()
    assert place.files() == before
    assert not (place.folder / "Updater" / "updating.exe").exists()
    assert place.started() == []


@pytest.mark.parametrize("kind", archives())
def test_an_archive_that_is_not_a_release_changes_nothing(place, kind):
    place.archive.write_bytes(archives()[kind])
    refuses(place, "The update file cannot be used", ARCHIVE)


def test_only_the_name_of_an_archive_in_the_data_folder_is_taken(place):
    (place.data / ARCHIVE).write_bytes(packed(version(NEW)))
    (place.data.parent / ARCHIVE).write_bytes(packed(version(NEW)))
    try:
        windows_path = place.desktop.probe.ask("appdata") + "\\Quillory\\" + ARCHIVE
        elsewhere = [(windows_path,), ("..\\" + ARCHIVE,), ("../" + ARCHIVE,)]
        for arguments in [(), (ARCHIVE, ARCHIVE), *elsewhere, ("started",)]:
            refuses(place, "for Quillory to start", *arguments)
    finally:
        (place.data.parent / ARCHIVE).unlink()
    refuses(place, "cannot be read", "Quillory-9.zip")


def test_a_quillory_that_does_not_end_is_left_alone(place):
    place.install(version(OLD))
    place.start()
    until(lambda: place.started(), "Quillory")
    place.archive.write_bytes(packed(version(NEW)))
    before = place.files()
    place.update(ARCHIVE)
    assert "still running" in place.message(40)
    place.updater_ends()
    assert place.files() == before
    assert place.started() == [OLD]


def test_a_file_that_cannot_be_replaced_leaves_the_old_program(place):
    place.install(version(OLD))
    (place.folder / "LICENSE.txt").unlink()
    (place.folder / "LICENSE.txt").mkdir()
    place.archive.write_bytes(packed(version(NEW)))
    place.update(ARCHIVE)
    text = place.message(20)
    assert "LICENSE.txt" in text and PAGE in text
    place.updater_ends()
    assert place.files()["Quillory.exe"] == version(OLD)["Quillory.exe"]
    assert not (place.folder / "Updater" / "new").exists()


def test_wherever_the_updater_is_killed_the_old_or_the_new_program_starts(place):
    old, new = version(OLD, KILLABLE), {**version(NEW, KILLABLE), **ADDED}
    seen = []
    for step in range(1, 100):
        place.install(old)
        (place.data / "started").unlink(missing_ok=True)
        place.archive.write_bytes(packed(new))
        assert place.update(ARCHIVE, QUILLORY_TEST_KILL_AT=str(step)).wait(30) == 0
        place.updater_ends()
        if not place.archive.exists():  # the last thing that it removes
            break
        left = place.files()
        for name in old:
            assert left[name] in (old[name], new[name]), f"{name} after {step} steps"
        place.start()
        until(place.started, f"Quillory after {step} steps")
        seen += place.started()
        place.end()

        (place.data / "started").unlink()
        assert place.update(ARCHIVE).wait(30) == 0
        until(lambda: place.started() == [NEW], f"the second try after {step} steps")
        place.updater_ends()
        place.end()
        assert place.files() == {**new, "Uninstall.exe": b"MZ, from the installer"}
        assert not (place.folder / "Updater" / "new").exists()
    # A folder and a write for each of four files, a replacement for each, two of their folders, and two cleanings.
    assert step == 17 and seen == [OLD] * 15 + [NEW]
    until(lambda: place.started() == [NEW], "the undisturbed update")
    assert place.files() == {**new, "Uninstall.exe": b"MZ, from the installer"}
