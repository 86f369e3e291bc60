"""The site's wallpapers: what lies in the folders that it serves.

The first folder level makes the galleries, the second one their categories. Network mounts tell nobody of changes, so
what lies there is compared with what is known from time to time.
"""

import os
import sys
import threading
import time
import zlib
from collections.abc import Callable, Iterator, Sequence
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

from harbor.codepages import is_remnant, readings
from harbor.pictures import SUFFIXES, Look, Picture, Stamp, Unreadable, friendly, key, look, plain
from harbor.store import Store
from harbor.tags import Index

# Folders that file servers and systems make for themselves, in lower case; so is every one that begins with a period.
LEFT_OUT = {"@eadir", "#recycle", "#snapshot", "@recycle", "@tmp", "$recycle.bin", "system volume information",
            "lost+found"}

# Where a picture goes that lies outside of any gallery, or in a gallery but outside of its categories. The site's
# visitors knew the latter category by another name once, and that name still leads to it.
LOOSE_GALLERY = "Assorted"
LOOSE_CATEGORY = "General"
LOOSE_CATEGORY_ALIAS = "Miscellaneous"

SHOW_EVERY = 5.0  # seconds, while a long look at new pictures goes on
AT_ONCE = 100  # pictures that are taken in by one transaction


def drawn(picture: Picture) -> int:
    """A rating as good as any, and always the same, for pictures that nobody has rated."""
    return zlib.crc32("/".join([*picture.folders, os.path.basename(picture.file)]).encode(errors="replace")) % 101


def unrated(picture: Picture) -> int:
    return 0


@dataclass
class Gallery:
    name: str
    categories: dict[str, str] = field(default_factory=dict)  # key -> display name
    aliases: dict[str, str] = field(default_factory=dict)  # display name of the alias -> key of its category

    def listing(self) -> list[tuple[str, bool]]:
        """The display names, each with whether it is an alias only. A real category takes precedence of an alias."""
        aliases = [(name, True) for name in self.aliases if key(name) not in self.categories]
        return sorted([*((name, False) for name in self.categories.values()), *aliases])

    def find_category(self, raw: bytes) -> str | None:
        """The key of the category whose name a client sends, which may be an alias."""
        return find(raw, self.categories) or find(raw, {self.aliases[name]: name for name in self.aliases})


def find(raw: bytes, names: dict[str, str]) -> str | None:
    """The key of the name, among keys and display names, that a client means by these bytes of its code page. It sends
    what it was offered, but what its code page lacks has become a question mark or the letter that comes closest."""
    asked = [key(reading) for reading in readings(raw)]
    exact = next((known for each in asked for known in names if each in (known, key(names[known]))), None)
    if exact is not None:
        return exact
    remnant = next((known for known, name in names.items() if is_remnant(raw, name)), None)
    if remnant is not None:
        return remnant
    asked = [plain(reading) for reading in readings(raw)]
    return next((known for known, name in names.items() if plain(name) in asked), None)


class Snapshot:
    """The catalogue at one moment. A higher id is a fresher picture. Nothing of it changes but the pictures' points."""

    def __init__(self, pictures: Sequence[Picture] = ()):
        self.newest: Sequence[Picture] = sorted(pictures, key=lambda each: -each.id)
        self.pictures: dict[int, Picture] = {each.id: each for each in reversed(self.newest)}
        self.galleries: dict[str, Gallery] = {}
        self._in_gallery: dict[tuple[str, str | None], list[Picture]] = {}
        places: dict[tuple[str, ...], tuple[str, str]] = {}
        for picture in self.newest:
            place = places.get(picture.folders[:2])
            if place is None:
                place = places[picture.folders[:2]] = self._place(picture.folders)
            picture.gallery, picture.category = place
            self._in_gallery.setdefault((place[0], None), []).append(picture)
            self._in_gallery.setdefault(place, []).append(picture)
        self._index = Index(self.newest)

    def search(self, tags: str) -> Sequence[Picture]:
        return self._index.search(tags)

    def hanging_in(self, gallery: str, category: str | None = None) -> Sequence[Picture]:
        """The pictures, newest first, of a gallery or of one of its categories, by their keys."""
        return self._in_gallery.get((gallery, category), [])

    def find_gallery(self, raw: bytes) -> str | None:
        return find(raw, {known: gallery.name for known, gallery in self.galleries.items()})

    def _place(self, folders: tuple[str, ...]) -> tuple[str, str]:
        gallery_name = friendly(folders[0]) if folders else LOOSE_GALLERY
        gallery = self.galleries.setdefault(key(gallery_name), Gallery(gallery_name))
        category_name = friendly(folders[1]) if len(folders) > 1 else LOOSE_CATEGORY
        gallery.categories.setdefault(key(category_name), category_name)
        if category_name == LOOSE_CATEGORY:
            gallery.aliases[LOOSE_CATEGORY_ALIAS] = key(LOOSE_CATEGORY)
        return key(gallery_name), key(category_name)


@dataclass(frozen=True)
class Root:
    """A folder that is served; `above` are folders that its pictures hang in as if it lay there."""

    path: str
    above: tuple[str, ...] = ()

    def folders(self, file: str) -> tuple[str, ...]:
        return (*self.above, *file[len(self._start):].split(os.sep)[:-1])

    def holds(self, file: str) -> bool:
        return file.startswith(self._start)

    @property
    def _start(self) -> str:
        return self.path.rstrip(os.sep) + os.sep


class Catalogue:
    """What is offered just now, replaced whole whenever something has changed.

    Ids are kept in the store before anybody sees them: neither a rename, nor a newer or an older neighbour, nor a
    restart changes them, and a picture that comes back has its own again.
    """

    def __init__(self, store: Store, pictures: Path, uploads: Path | None = None,
                 points: Callable[[], dict[int, int]] = dict, unrated: Callable[[Picture], int] = unrated):
        """`points` tells the ratings there are, `unrated` what counts where there is none."""
        self._store = store
        self._roots = [Root(str(pictures))] + ([Root(str(uploads), ("Uploads",))] if uploads else [])
        self._points, self._unrated = points, unrated
        self._changing = threading.RLock()
        self._told: set[str] = set()  # what was left out with a line already
        self._left_out: dict[str, Stamp] = {}
        self._known: dict[str, Picture] = {}
        self.is_away = False  # a disk that is not mounted is not a household that threw all its pictures away
        for id, path, *rest in store.read("SELECT id, path, bytes, stamp, format, width, height FROM picture "
                                          "WHERE is_here"):
            self._know(id, os.fsdecode(path), *rest)
        self._show()

    # What is seen: each of these is whole, but two of them may be of two moments. Who needs more takes `now`.
    now: Snapshot

    @property
    def pictures(self) -> dict[int, Picture]:
        return self.now.pictures

    @property
    def newest(self) -> Sequence[Picture]:
        return self.now.newest

    @property
    def galleries(self) -> dict[str, Gallery]:
        return self.now.galleries

    def search(self, tags: str) -> Sequence[Picture]:
        return self.now.search(tags)

    def show_points(self) -> None:
        """Takes over ratings that have changed."""
        self._rate(self.newest)

    # ------------------------------------------------------------------------------------------ what there is

    def watch(self, seconds: float, ended: threading.Event) -> None:
        """Looks again and again, until it has ended."""
        while True:
            try:
                self.scan()
            except Exception as problem:  # of the disk or of the store: the next look may find it mended
                self._tell("", f"the pictures could not be looked at: {problem}")
            if ended.wait(seconds):
                return

    def scan(self) -> None:
        """Compares the folders with what is known, and takes over what has changed."""
        with self._changing:
            found: dict[str, Stamp] = {}
            for root in self._roots:
                if not self._list(root, found):
                    return
            self._left_out = {path: stamp for path, stamp in self._left_out.items() if path in found}
            fresh = [path for path, stamp in found.items() if self._is_news(path, stamp)]
            # Ids follow the age of what comes together; among files of one second the name decides.
            fresh.sort(key=lambda path: (found[path].nanoseconds // 10 ** 9, path))
            gone = self._known.keys() - found.keys()
            free = self._set_free(fresh, gone)
        # A first look takes minutes; who sends a picture meanwhile must not wait for all of it.
        since = time.monotonic()
        for start in range(0, len(fresh), AT_ONCE):
            with self._changing:
                self._take_in(fresh[start:start + AT_ONCE], free)
                if time.monotonic() > since + SHOW_EVERY:
                    self._show()
                    since = time.monotonic()
        with self._changing:
            self._forget(gone)
            if fresh or gone:
                self._show()

    def look_at(self, path: Path | str) -> Picture | None:
        """Takes one file in, or out if it is gone or unreadable; what is offered of it now."""
        file = str(path)
        with self._changing:
            try:
                is_there = os.path.isfile(file)
                if is_there and self._is_news(file, Stamp.of(os.stat(file))):
                    self._take_in([file], self._set_free([file], set()))
                    self._show()
            except OSError:
                is_there = False
            if not is_there and file in self._known:
                self._forget({file})
                self._show()
            picture = self._known.get(file)
            return picture and self.pictures.get(picture.id)

    def leave_out(self, picture: Picture, why: str) -> None:
        """Offers a picture no more that turned out to be broken, until its file changes."""
        with self._changing:
            if self._known.get(picture.file) is picture and picture.file not in self._left_out:
                self._leave_out(picture.file, picture.stamp, why)
                self._show()

    def _is_news(self, path: str, stamp: Stamp) -> bool:
        known = self._known.get(path)
        return stamp != (self._left_out.get(path) or (known and known.stamp))

    def _list(self, root: Root, found: dict[str, Stamp]) -> bool:
        """Finds the files of a root; false if the root is away."""
        is_first = root is self._roots[0]
        try:
            names = os.listdir(root.path)
        except OSError as problem:
            if is_first:
                self._be_away(f"{root.path} cannot be read: {problem.strerror}")
            return not is_first
        if is_first and not names and any(map(root.holds, self._known)):
            self._be_away(f"{root.path} has become empty; is its disk mounted?")
            return False
        if is_first and self.is_away:
            self.is_away = False
            self._told.discard(root.path)
        for path, status in self._walk(root.path):
            found[path] = Stamp.of(status)
        return True

    def _be_away(self, why: str) -> None:
        self.is_away = True
        self._tell(self._roots[0].path, why)

    def _walk(self, folder: str) -> Iterator[tuple[str, os.stat_result]]:
        try:
            with os.scandir(folder) as entries:
                listed = sorted(entries, key=lambda each: each.name)
        except OSError as problem:
            self._tell(folder, f"{shown(folder)} is left out: {problem.strerror}")
            return
        for entry in listed:
            try:
                if entry.is_dir(follow_symlinks=False):
                    # The uploads may lie below the pictures, but are a root of their own.
                    if entry.name.startswith(".") or entry.name.lower() in LEFT_OUT:
                        self._tell(entry.path, f"{shown(entry.path)} is left out: it is none of a person's folders")
                    elif all(entry.path != root.path for root in self._roots[1:]):
                        yield from self._walk(entry.path)
                elif entry.name.lower().endswith(SUFFIXES) and not entry.name.startswith("."):
                    if entry.is_file():  # a link to one is as good, a pipe or a device is not
                        yield entry.path, entry.stat()
                    else:
                        self._tell(entry.path, f"{shown(entry.path)} is left out: it is no file")
            except OSError as problem:
                self._tell(entry.path, f"{shown(entry.path)} is left out: {problem.strerror}")

    # ------------------------------------------------------------------------------------------ what has changed

    def _set_free(self, fresh: list[str], gone: set[str]) -> "Free":
        return Free(gone | {path for path in fresh if path in self._known})

    def _take_in(self, fresh: list[str], free: "Free") -> None:
        """Takes in files that are new or have changed."""
        looked: list[tuple[str, Stamp, Look]] = []
        for path in fresh:
            try:
                stamp = Stamp.of(os.stat(path))
                looked.append((path, stamp, look(path)))
                self._left_out.pop(path, None)
            except (OSError, Unreadable) as problem:
                self._leave_out(path, self._stamp(path), getattr(problem, "strerror", None) or str(problem))
        self._keep(looked, free)

    def _forget(self, gone: set[str]) -> None:
        """Offers files no more that are gone; their rows stay, for the day that they come back."""
        with self._store.change() as db:
            for path in gone & self._known.keys():
                db.execute("UPDATE picture SET is_here = 0 WHERE id = ?", (self._known[path].id,))
        for path in gone:
            self._known.pop(path, None)
            self._left_out.pop(path, None)

    @staticmethod
    def _stamp(path: str) -> Stamp:
        try:
            return Stamp.of(os.stat(path))
        except OSError:
            return Stamp(0, 0)

    def _keep(self, looked: list[tuple[str, Stamp, Look]], free: "Free") -> None:
        """Gives ids: to a file that was known under another name its own, to one changed in its place the one it had,
        to all others new ones."""
        with self._store.change() as db:
            ids: dict[str, int | None] = {}
            for path, _, each in looked:
                ids[path], before = free.of_content(db, path, each.fingerprint)
                if before is not None and before != path:
                    self._known.pop(before, None)
            rows = []
            for path, stamp, each in looked:
                known = self._known.get(path)
                id = ids[path] or (free.take(known.id) if known else None)
                values = (os.fsencode(path), stamp.bytes, stamp.nanoseconds, each.fingerprint, each.format, *each.size)
                if id is None:
                    id = db.execute("INSERT INTO picture (is_here, path, bytes, stamp, fingerprint, format, width, "
                                    "height) VALUES (1, ?, ?, ?, ?, ?, ?, ?)", values).lastrowid
                else:
                    db.execute("UPDATE picture SET is_here = 1, path = ?, bytes = ?, stamp = ?, fingerprint = ?, "
                               "format = ?, width = ?, height = ? WHERE id = ?", (*values, id))
                rows.append((int(id or 0), path, stamp.bytes, stamp.nanoseconds, each.format, *each.size))
        for row in rows:
            self._know(*row)

    def _know(self, id: int, path: str, length: int, stamp: int, format: str, width: int, height: int) -> None:
        root = next((root for root in reversed(self._roots) if root.holds(path)), None)
        if root is not None:  # or it lies in a folder that was served another time
            folders = tuple(map(sys.intern, root.folders(path)))
            self._known[path] = Picture(id, path, folders, Stamp(length, stamp), format, (width, height))

    def _show(self) -> None:
        shown = [picture for path, picture in self._known.items() if path not in self._left_out]
        self._rate(shown)
        self.now = Snapshot(shown)

    def _rate(self, pictures: Sequence[Picture]) -> None:
        points = self._points()
        for picture in pictures:
            given = points.get(picture.id)
            picture.points = self._unrated(picture) if given is None else given

    def _leave_out(self, path: str, stamp: Stamp, why: str) -> None:
        self._left_out[path] = stamp
        self._told.discard(path)
        self._tell(path, f"{shown(path)} is left out: {why}")

    def _tell(self, about: str, line: str) -> None:
        """A line for whoever reads the log, once for each thing that it is about."""
        if about not in self._told:
            self._told.add(about)
            print(f"harbor: {line}", file=sys.stderr, flush=True)


def shown(path: str) -> str:
    """A path for one line of a terminal."""
    return path if path.isprintable() else ascii(path)[1:-1]


class Free:
    """The ids that a change sets free: those of the files that are gone or have changed, and of those gone before."""

    def __init__(self, paths: set[str]):
        self._paths = {os.fsencode(path) for path in paths}
        self.taken: set[int] = set()

    def take(self, id: int) -> int | None:
        """The id, unless another file has taken it along."""
        if id in self.taken:
            return None
        self.taken.add(id)
        return id

    def of_content(self, db: Any, path: str, fingerprint: bytes) -> tuple[int | None, str | None]:
        """Takes the id that a file of this content has had, and tells under which path."""
        rows = db.execute("SELECT id, path, is_here FROM picture WHERE fingerprint = ? ORDER BY path = ? DESC, id DESC",
                          (fingerprint, os.fsencode(path)))
        for id, where, is_here in rows.fetchall():
            if (not is_here or where in self._paths) and self.take(id) is not None:
                return int(id), os.fsdecode(where)
        return None, None
