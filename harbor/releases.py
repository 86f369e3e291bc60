"""Quillory's releases: a folder with Quillory-1.0.113.zip and the like, each with its .md5 beside it."""

import hashlib
import re
import threading
from pathlib import Path

from harbor.answers import Answer, file, not_found
from harbor.pictures import Stamp

SETUP = "Quillory-Setup.exe"
_ARCHIVE = re.compile(r"Quillory-([0-9]{1,9}(?:\.[0-9]{1,9}){2})\.zip")
_NAME = re.compile(r"[A-Za-z0-9][A-Za-z0-9._-]*")


def version(text: str) -> tuple[int, ...] | None:
    """"1.0.112" -> (1, 0, 112); None for a text that is no version."""
    return tuple(map(int, text.split("."))) if re.fullmatch(r"[0-9]{1,9}(\.[0-9]{1,9}){2}", text) else None


class Releases:
    """Reads the folder anew for each request, so a release is out as soon as it lies there whole: an archive that is
    still being copied has no checksum yet, or not this one, and a client that fetched it would end."""

    def __init__(self, folder: Path | None):
        self._folder = folder
        self._agreed: dict[str, tuple[Stamp, Stamp, bool]] = {}
        self._lock = threading.Lock()

    def newer_than(self, client: tuple[int, ...]) -> str | None:
        """The file name of the newest release, if it is newer than the client."""
        newest, name = self._newest()
        return name if newest > client else None

    def newest_version(self) -> str | None:
        newest, _ = self._newest()
        return ".".join(map(str, newest)) or None

    def setup(self) -> Path | None:
        """The program that installs Quillory."""
        path = self._folder / SETUP if self._folder else None
        return path if path and path.is_file() else None

    def fetch(self, name: str) -> Answer:
        if self._folder and _NAME.fullmatch(name):
            path = self._folder / name
            if path.is_file():
                types = {".md5": "text/plain", ".zip": "application/zip"}
                return file(path.read_bytes(), types.get(path.suffix, "application/octet-stream"), "release")
        return not_found("release")

    def _newest(self) -> tuple[tuple[int, ...], str]:
        found: tuple[tuple[int, ...], str] = (), ""
        for path in self._folder.glob("Quillory-*.zip") if self._folder else ():
            shape = _ARCHIVE.fullmatch(path.name)
            candidate = version(shape[1]) if shape else None
            if candidate and candidate > found[0] and self._is_whole(path):
                found = candidate, path.name
        return found

    def _is_whole(self, archive: Path) -> bool:
        """Does the checksum beside an archive agree with it? Computed anew only when one of the two has changed."""
        checksum = archive.with_name(archive.name + ".md5")
        try:
            stamps = Stamp.of(archive.stat()), Stamp.of(checksum.stat())
            with self._lock:
                kept = self._agreed.get(archive.name)
                if kept is None or kept[:2] != stamps:
                    with open(archive, "rb") as content:
                        digest = hashlib.file_digest(content, "md5").hexdigest()
                    # Clients compare the first item of the file, and letter case counts.
                    told = checksum.read_text("latin-1").replace("\n", "").strip("\r ")
                    kept = self._agreed[archive.name] = *stamps, told == digest
            return kept[2]
        except OSError:
            return False
