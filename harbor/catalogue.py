"""The site's wallpapers: a folder of pictures, read once at the start.

The first folder level makes the galleries, the second one their categories, and the words of a file's name its tags.
"""

import os
import re
import sys
import zlib
from dataclasses import dataclass, field
from pathlib import Path

from PIL import Image

FIRST_ID = 1001
FORMATS = {"JPEG": "image/jpeg", "PNG": "image/png"}

# Where a picture goes that lies outside of any gallery, or in a gallery but outside of its categories. The site's
# visitors knew the latter category by another name once, and that name still leads to it.
LOOSE_GALLERY = "Assorted"
LOOSE_CATEGORY = "General"
LOOSE_CATEGORY_ALIAS = "Miscellaneous"

# A picture is offered for a screen if at least this part of it remains after cropping: every photograph fits every
# common screen lying down, and none is cut to a sliver.
LEAST_PART_KEPT = 0.5


def key(name: str) -> str:
    """What makes two names the same: neither letter case nor punctuation tells them apart."""
    return "".join(c for c in name.casefold() if c.isalnum()) or name.casefold()


def friendly(folder: str) -> str:
    """The display name of a folder. One already written for people, with a blank or a capital, stays as it is."""
    name = "".join(c for c in folder if c.isprintable())
    if " " in name or name != name.lower():
        return name
    return " ".join(word[:1].upper() + word[1:] for word in re.split("[-_]+", name) if word) or name


def words(stem: str) -> list[str]:
    """"GreenMeadow_2" -> ["Green", "Meadow", "2"]"""
    return re.findall(r"[^\W_]+", re.sub(r"(?<=[a-z])(?=[A-Z])", " ", stem))


def tag_pattern(tags: str) -> re.Pattern | None:
    """A pattern for comma separated alternatives, in which "*" stands for any characters; None if there is no tag."""
    alternatives = [" ".join(words_and_stars.split()) for words_and_stars in re.sub("[-_]", " ", tags).split(",")]
    patterns = [".*".join(map(re.escape, re.split(r"\*+", tag))) for tag in alternatives if tag]
    return re.compile("|".join(patterns), re.IGNORECASE) if patterns else None


@dataclass
class Picture:
    id: int
    path: Path
    gallery: str  # the keys of its gallery and category
    category: str
    format: str
    size: tuple[int, int]
    points: int  # the visitors' average rating
    title: str = field(init=False)
    filename: str = field(init=False)
    tags: list[str] = field(init=False)

    def __post_init__(self):
        parts = words(self.path.stem)
        self.title = " ".join(parts) or f"Wallpaper {self.id}"
        self.tags = [part.lower() for part in parts]
        # Clients put this name into a request line as it stands.
        self.filename = re.sub("[^A-Za-z0-9._-]+", "_", self.path.name)

    def has_tag(self, pattern: re.Pattern) -> bool:
        """Each word is a tag, and so are all of them in a row and the name written without blanks."""
        return any(map(pattern.fullmatch, [*self.tags, " ".join(self.tags), "".join(self.tags)]))

    def fits(self, ratio: float) -> bool:
        own = self.size[0] / self.size[1]
        return min(own, ratio) / max(own, ratio) >= LEAST_PART_KEPT


@dataclass
class Gallery:
    name: str
    categories: dict[str, str] = field(default_factory=dict)  # key -> display name
    aliases: dict[str, str] = field(default_factory=dict)  # display name of the alias -> key of its category

    def listing(self) -> list[tuple[str, bool]]:
        """The display names, each with whether it is an alias only. A real category takes precedence of an alias."""
        aliases = [(name, True) for name in self.aliases if key(name) not in self.categories]
        return sorted([*((name, False) for name in self.categories.values()), *aliases])

    def find_category(self, name: str) -> str | None:
        """The key of the category of that name, which may be an alias."""
        if key(name) in self.categories:
            return key(name)
        return next((target for alias, target in self.aliases.items() if key(alias) == key(name)), None)


class Catalogue:
    """All pictures below `root`. `pictures` maps ids to pictures; a higher id is a fresher picture."""

    def __init__(self, root: Path):
        self.galleries: dict[str, Gallery] = {}
        self.pictures: dict[int, Picture] = {}
        for path, image_format, size in self._find(root):
            gallery, category = self._place(path.relative_to(root).parts[:-1])
            points = zlib.crc32(str(path.relative_to(root)).encode()) % 101  # as good as any, and always the same
            picture = Picture(FIRST_ID + len(self.pictures), path, gallery, category, image_format, size, points)
            self.pictures[picture.id] = picture

    @staticmethod
    def _find(root: Path):
        """The pictures below a folder, oldest first; among files of one second the name decides."""
        found = []
        for folder, folders, files in os.walk(root):
            folders[:] = [name for name in folders if not name.startswith(".")]
            for name in files:
                path = Path(folder, name)
                if name.startswith(".") or path.suffix.lower() not in (".jpg", ".jpeg", ".png"):
                    continue
                try:
                    with Image.open(path) as image:
                        turned = image.getexif().get(0x0112, 1) >= 5  # EXIF orientation: lies on its side
                        size = image.size[::-1] if turned else image.size
                        if image.format in FORMATS:
                            found.append((int(path.stat().st_mtime), path, image.format, size))
                except Exception as problem:  # Pillow's plugins raise nearly anything on a broken file
                    print(f"harbor: {path} is left out: {problem}", file=sys.stderr)
        return [entry[1:] for entry in sorted(found)]

    def _place(self, folders: tuple[str, ...]) -> tuple[str, str]:
        gallery_name = friendly(folders[0]) if folders else LOOSE_GALLERY
        gallery = self.galleries.setdefault(key(gallery_name), Gallery(gallery_name))
        category_name = friendly(folders[1]) if len(folders) > 1 else LOOSE_CATEGORY
        gallery.categories.setdefault(key(category_name), category_name)
        if category_name == LOOSE_CATEGORY:
            gallery.aliases[LOOSE_CATEGORY_ALIAS] = key(LOOSE_CATEGORY)
        return key(gallery_name), key(category_name)
