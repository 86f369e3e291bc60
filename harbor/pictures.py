"""One picture of the catalogue, what its file says about it, and the names that folders and files make."""

import hashlib
import os
import re
import unicodedata
import warnings
from dataclasses import dataclass, field
from pathlib import Path
from typing import BinaryIO

from PIL import Image

READ = ("JPEG", "PNG", "WEBP", "GIF")  # as Pillow names its readers; the one for JPEG takes MPO as well
# As what a format is sent: clients know no other ones than these two.
FORMATS = {"JPEG": "JPEG", "MPO": "JPEG", "WEBP": "JPEG", "PNG": "PNG", "GIF": "PNG"}
SUFFIXES = (".jpg", ".jpeg", ".jpe", ".jfif", ".mpo", ".png", ".webp", ".gif")
CONTENT_TYPES = {"JPEG": "image/jpeg", "PNG": "image/png"}

# The most memory that scaling pictures may take, of one or of several at once; what needs more is not offered.
MOST_BYTES = 256 << 20

_SAMPLE = 65536  # bytes at either end of a file that tell it from all others of its length

Image.init()  # not every reader is there unasked
warnings.simplefilter("ignore", Image.DecompressionBombWarning)  # MOST_BYTES is the limit here


class Unreadable(Exception):
    """Why a file is not offered."""


@dataclass(frozen=True)
class Stamp:
    """What changes with a file's content, as far as a folder tells it."""

    bytes: int
    nanoseconds: int  # of the last change

    @classmethod
    def of(cls, status: os.stat_result) -> "Stamp":
        return cls(status.st_size, status.st_mtime_ns)


@dataclass(slots=True, eq=False)
class Picture:
    id: int
    file: str  # its path, with what is no UTF-8 in it as lone surrogates (os.fsdecode)
    folders: tuple[str, ...]  # between the folder that is served and the file
    stamp: Stamp
    format: str  # in which it is sent
    size: tuple[int, int]  # as it is seen
    gallery: str = ""  # the keys of its gallery and category
    category: str = ""
    points: int = 0  # the members' average rating
    ratio: float = field(init=False)  # of its width to its height

    def __post_init__(self) -> None:
        self.ratio = self.size[0] / self.size[1]

    @property
    def path(self) -> Path:
        return Path(self.file)

    @property
    def stem(self) -> str:
        return os.path.splitext(readable(os.path.basename(self.file)))[0]

    @property
    def title(self) -> str:
        return " ".join(words(self.stem)) or f"Wallpaper {self.id}"

    @property
    def tags(self) -> list[str]:
        """The words of its name, then those of its folders, each once."""
        names = [self.stem, *map(readable, self.folders)]
        return list(dict.fromkeys(word.casefold() for name in names for word in words(name)))

    @property
    def filename(self) -> str:
        """The name of what is sent. Clients put it into a request line as it stands."""
        stem, suffix = os.path.splitext(re.sub("[^A-Za-z0-9._-]+", "_", readable(os.path.basename(self.file))))
        fitting = (".jpg", ".jpeg") if self.format == "JPEG" else (".png",)
        return stem + (suffix if suffix.lower() in fitting else fitting[0])


@dataclass(frozen=True)
class Look:
    """What a file says about itself."""

    fingerprint: bytes
    format: str
    size: tuple[int, int]


def look(path: str) -> Look:
    """Reads a file's beginning and end; the pixels between are not looked at. Raises Unreadable."""
    try:
        # Not to wait for what is no file: the other end of a pipe may never come.
        with open(path, "rb", opener=lambda name, flags: os.open(name, flags | os.O_NONBLOCK)) as file:
            fingerprint = _fingerprint(file)
            with Image.open(file, formats=READ) as image:
                if memory_for(image) > MOST_BYTES:
                    raise Unreadable(f"{image.width} x {image.height} pixels are too many")
                size = image.size[::-1] if orientation(image) >= 5 else image.size
                return Look(fingerprint, FORMATS[image.format or ""], size)
    except Unreadable:
        raise
    except OSError as problem:
        raise Unreadable(problem.strerror or "no picture that can be read") from problem
    except Exception as problem:  # Pillow's readers raise nearly anything on a broken file
        raise Unreadable(f"no picture that can be read ({problem})") from problem


def orientation(image: Image.Image) -> int:
    """The orientation of EXIF, 1 to 8; from 5 on the picture lies on its side."""
    if image.format == "PNG" and "exif" not in image.info:
        return 1  # it may stand behind the pixels, but reading all of them for that takes too long
    value = image.getexif().get(0x0112)
    return int(value) if isinstance(value, int) else 1


def memory_of(image: Image.Image) -> int:
    """Bytes that the pixels of an image take."""
    each = {"1": 1, "L": 1, "P": 1, "I;16": 2, "I;16B": 2}.get(image.mode, 4)
    return int(image.width * image.height * each)


def memory_to_read(image: Image.Image) -> int:
    """Bytes that the reader of an image takes beside its pixels."""
    each = 0.0
    if image.format == "WEBP":
        each = 17  # four pictures of its own, and the file
    elif "progressive" in image.info:  # whose coefficients, two bytes each, are all there before the first pixel
        samples = [across * down for _, across, down, _ in image.layer]
        each = 2 * sum(samples) / max(samples)
    return int(image.width * image.height * each)


def memory_for(image: Image.Image, size: tuple[int, int] = (0, 0)) -> int:
    """Bytes that an image takes until it is scaled to a size: while it is read, then for the pixels before and after,
    or for those after when they are turned."""
    pixels, after = memory_of(image), 4 * size[0] * size[1]
    beside = max(memory_to_read(image), after)
    if pixels + beside > MOST_BYTES and image.format in ("JPEG", "MPO"):
        pixels //= 4  # it can be decoded to half its size
    return max(pixels + beside, 2 * after)


def _fingerprint(file: BinaryIO) -> bytes:
    digest = hashlib.blake2b(digest_size=16)
    digest.update(file.read(_SAMPLE))
    length = file.seek(0, os.SEEK_END)
    file.seek(max(0, length - _SAMPLE))
    digest.update(file.read(_SAMPLE))
    digest.update(str(length).encode())
    file.seek(0)
    return digest.digest()


# ---------------------------------------------------------------------------------------------------------- names

def readable(name: str) -> str:
    """A file's or folder's name as text: composed, and where it is no UTF-8, in the code page that it most likely is
    in."""
    try:
        name.encode()
    except UnicodeEncodeError:
        name = os.fsencode(name).decode("cp1252", "replace")
    return unicodedata.normalize("NFC", name)


def key(name: str) -> str:
    """What makes two names the same: neither letter case nor punctuation tells them apart."""
    return "".join(c for c in name.casefold() if c.isalnum()) or name.casefold()


def plain(name: str) -> str:
    """A key without the accents, which code pages that lack a letter replace by the letter that comes closest."""
    parts = unicodedata.normalize("NFKD", name.translate(_BARRED))
    return key("".join(c for c in parts if not unicodedata.combining(c)))


_BARRED = str.maketrans("ŁłĐđØøĦħŦŧı", "LlDdOoHhTti")


def friendly(folder: str) -> str:
    """The display name of a folder. One already written for people, with a blank or a capital, stays as it is."""
    name = "".join(c for c in readable(folder) if c.isprintable())
    if " " in name or name != name.lower():
        return name
    return " ".join(word[:1].upper() + word[1:] for word in re.split("[-_]+", name) if word) or name


def words(name: str) -> list[str]:
    """"GreenMeadow_2" -> ["Green", "Meadow", "2"]"""
    return re.findall(r"[^\W_]+", re.sub(r"(?<=[a-z])(?=[A-Z])", " ", name))
