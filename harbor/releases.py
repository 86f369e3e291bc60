"""Quillory's releases: a folder with Quillory-1.0.113.zip and the like, each with its .md5 beside it."""

import re
from pathlib import Path

from answers import Answer, file, not_found

DOWNLOADS = "http://dl.velvetharbor.example/quillory/"


def version(text: str) -> tuple[int, ...] | None:
    """"1.0.112" -> (1, 0, 112); None for a text that is no version."""
    return tuple(map(int, text.split("."))) if re.fullmatch(r"[0-9]{1,9}(\.[0-9]{1,9}){2}", text) else None


class Releases:
    """Reads the folder anew for each request, so a release is out as soon as its archive lies there."""

    def __init__(self, folder: Path | None):
        self._folder = folder

    def newer_than(self, client: tuple[int, ...]) -> str | None:
        """The link of the newest release, if it is newer than the client."""
        archives = self._folder.glob("Quillory-*.zip") if self._folder else []
        released = [(version(path.stem.removeprefix("Quillory-")) or (), path.name) for path in archives]
        newest, name = max(released, default=((), ""))
        return DOWNLOADS + name if newest > client else None

    def fetch(self, name: str) -> Answer:
        if self._folder and re.fullmatch(r"[A-Za-z0-9][A-Za-z0-9._-]*", name):
            path = self._folder / name
            if path.is_file():
                is_checksum = path.suffix == ".md5"
                return file(path.read_bytes(), "text/plain" if is_checksum else "application/zip", "release")
        return not_found("release")
