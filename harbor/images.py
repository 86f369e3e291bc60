"""Wallpapers at the size of a screen: scaled to cover it, cropped at the centre, in a format that clients know."""

import contextlib
import hashlib
import io
import math
import os
import secrets
import threading
from collections.abc import Iterator
from concurrent.futures import Future
from pathlib import Path
from typing import Any

from PIL import Image, ImageCms

from harbor.catalogue import Catalogue
from harbor.pictures import CONTENT_TYPES, MOST_BYTES, READ, Picture, memory_for, memory_of, memory_to_read, orientation

LARGEST_SIDE = 8192
LARGEST_SIZE = 40_000_000  # pixels: a screen of 8K has 33 million
MOST_KEPT = 500_000_000  # bytes of scaled pictures on the disk
MOST_WAITING = 16
BAND = 1 << 21  # pixels, before or after, that are worked on at once
_SRGB = ImageCms.createProfile("sRGB")


class Busy(Exception):
    """More is asked for at once than is served."""


class Broken(Exception):
    """The picture that is asked for turned out to be none."""


class Turns:
    """Who may scale now: two at a time, and no more than fit into the memory for it together; so many wait for that."""

    def __init__(self, at_once: int = 2, memory: int = MOST_BYTES, waiting: int = MOST_WAITING):
        self._places, self._waiting = at_once, waiting
        self._most = self._free = memory
        self._changed = threading.Condition()

    @contextlib.contextmanager
    def take(self, memory: int) -> Iterator[None]:
        with self._changed:
            if self._waiting == 0:
                raise Busy
            self._waiting -= 1
            memory = min(memory, self._most)  # one alone may always go
            self._changed.wait_for(lambda: self._places > 0 and self._free >= memory)
            self._waiting += 1
            self._places -= 1
            self._free -= memory
        try:
            yield
        finally:
            with self._changed:
                self._places += 1
                self._free += memory
                self._changed.notify_all()


class Images:
    """Scales what it has not scaled before. A size that many ask for at once is made once."""

    def __init__(self, catalogue: Catalogue, folder: Path, most_kept: int = MOST_KEPT):
        self._catalogue = catalogue
        self._folder = folder
        self._most_kept = most_kept
        self._turns = Turns()
        self._lock = threading.Lock()
        self._under_way: dict[str, Future[bytes]] = {}
        folder.mkdir(parents=True, exist_ok=True)
        self._bytes = self._tidy()

    def scaled(self, picture: Picture, size: tuple[int, int]) -> tuple[bytes, str]:
        """The image and its content type. Raises Broken, after which the picture is offered no more, or Busy."""
        return self._made(picture, size), CONTENT_TYPES[picture.format]

    def _made(self, picture: Picture, size: tuple[int, int]) -> bytes:
        stamp = picture.stamp
        name = hashlib.blake2b(f"{picture.id} {stamp.bytes} {stamp.nanoseconds} {size} {picture.format}".encode(),
                               digest_size=16).hexdigest()
        path = self._folder / name
        try:
            data = path.read_bytes()
            os.utime(path)  # who was asked for last goes last
            return data
        except OSError:
            pass
        with self._lock:
            future = self._under_way.get(name)
            if is_first := future is None:
                future = self._under_way[name] = Future()
        if is_first:
            try:
                data = self._make(picture, size)
                self._keep(path, data)
                future.set_result(data)
            except BaseException as problem:
                future.set_exception(problem)
            finally:
                with self._lock:
                    del self._under_way[name]
        try:
            return future.result()
        finally:
            future = None  # or its exception and this frame would hold each other, and a picture's memory with them

    def _make(self, picture: Picture, size: tuple[int, int]) -> bytes:
        try:
            with open(picture.path, "rb") as file:
                image = Image.open(file, formats=READ)
                with self._turns.take(memory_for(image, size)):
                    return render(image, picture.format, size)
        except (Busy, MemoryError):
            raise
        except Exception as problem:  # Pillow's readers raise nearly anything on a broken file
            why = getattr(problem, "strerror", None) or str(problem)
            self._catalogue.leave_out(picture, why)
            raise Broken(why) from problem

    # ------------------------------------------------------------------------------------------ what is kept

    def _keep(self, path: Path, data: bytes) -> None:
        """Keeps an image; where that fails it is only slower to ask for it again."""
        coming = path.with_name(f"{secrets.token_hex(8)}.coming")
        try:
            with open(coming, "xb") as file:
                file.write(data)
                file.flush()
                os.fsync(file.fileno())  # or a power cut could leave an empty file under the name
            coming.replace(path)
        except OSError:
            coming.unlink(missing_ok=True)
            return
        with self._lock:
            self._bytes += len(data)
            is_full = self._bytes > self._most_kept
        if is_full:
            kept = self._tidy()
            with self._lock:
                self._bytes = kept

    def _tidy(self) -> int:
        """Removes what nobody has asked for longest, until a tenth is free; tells how many bytes are left."""
        entries = []
        for path in self._folder.iterdir():
            with contextlib.suppress(OSError):
                status = path.stat()
                entries.append((status.st_mtime, status.st_size, path))
        total = sum(size for _, size, _ in entries)
        for _, size, path in sorted(entries):
            if total <= self._most_kept * 0.9 and path.suffix != ".coming":
                continue
            with contextlib.suppress(OSError):
                path.unlink()
                total -= size
        return total


def scaled(path: Path | str, image_format: str, size: tuple[int, int]) -> bytes:
    with open(path, "rb") as file:
        return render(Image.open(file, formats=READ), image_format, size)


def render(image: Image.Image, image_format: str, size: tuple[int, int]) -> bytes:
    """An image as a file of that format, covering that size: upright, opaque, and in sRGB. The image is closed."""
    turned = orientation(image)
    # Turning comes last, on the few pixels that are left; until then the picture lies on its side.
    width, height = size[::-1] if turned >= 5 else size
    image = _decoded(image, width, height)
    pixels = _cover(image, width, height)
    image.close()  # which gives its pixels back before more are made
    turn = _TURNS.get(turned)
    if turn is not None:
        pixels = pixels.transpose(turn)
    out = io.BytesIO()
    pixels.save(out, image_format, **({"quality": 92} if image_format == "JPEG" else {}))
    return out.getvalue()


_TURNS = {
    2: Image.Transpose.FLIP_LEFT_RIGHT, 3: Image.Transpose.ROTATE_180, 4: Image.Transpose.FLIP_TOP_BOTTOM,
    5: Image.Transpose.TRANSPOSE, 6: Image.Transpose.ROTATE_270, 7: Image.Transpose.TRANSVERSE,
    8: Image.Transpose.ROTATE_90,
}


def _decoded(image: Image.Image, width: int, height: int) -> Image.Image:
    """The image with its pixels, and no more of them than fit into the memory beside what becomes of them."""
    scale = max(width / image.width, height / image.height)
    after = 4 * width * height
    # A JPEG decodes to a half, a quarter or an eighth of its size for a fraction of the time and memory.
    least = max(width, round(image.width * scale)), max(height, round(image.height * scale))
    if memory_of(image) + max(memory_to_read(image), after) > MOST_BYTES:
        least = min(least[0], image.width // 2), min(least[1], image.height // 2)
    image.draft(None, least)
    image.load()
    if memory_of(image) + after > MOST_BYTES:
        half = image.reduce(2)
        half.info = image.info
        image.close()
        return half
    return image


def _cover(image: Image.Image, width: int, height: int) -> Image.Image:
    """What covers that size, cut at the centre. One band after the other, since most modes need copies on their way."""
    scale = max(width / image.width, height / image.height)
    left, top = max(0.0, (image.width - width / scale) / 2), max(0.0, (image.height - height / scale) / 2)
    right = left + width / scale
    margin = 4 + math.ceil(4 / min(scale, 1))  # the filter looks at three pixels of the coarser side around each one
    x, end_x = max(0, int(left) - margin), min(image.width, math.ceil(right) + margin)
    rows = max(1, int(BAND / max(width, image.width / scale)))
    colours = _Colours(image.info.get("icc_profile"))
    whole: Image.Image | None = None
    for start in range(0, height, rows):
        end = min(height, start + rows)
        above, below = top + start / scale, top + end / scale
        y, end_y = max(0, int(above) - margin), min(image.height, math.ceil(below) + margin)
        band = _with_depth(image.crop((x, y, end_x, end_y)))
        box = (left - x, above - y, min(right - x, band.width), min(below - y, band.height))
        band = band.resize((width, end - start), Image.Resampling.LANCZOS, box, reducing_gap=3.0)
        band = _opaque(colours.in_srgb(band))
        whole = whole or Image.new(band.mode, (width, height))
        whole.paste(band, (0, start))
    assert whole
    return whole


def _with_depth(image: Image.Image) -> Image.Image:
    """The pixels in a mode that can be blended: palettes and 16 bits cannot."""
    if image.mode.startswith("I") or image.mode == "F":
        return image.convert("I").point(lambda value: value * (1 / 256)).convert("L")
    if "transparency" in image.info or image.mode == "PA":
        return image.convert("RGBA")
    return image if image.mode in ("L", "LA", "RGB", "RGBA", "CMYK") else image.convert("RGB")


class _Colours:
    """The colours as their profile means them; where it means nothing, as they stand."""

    def __init__(self, profile: bytes | None):
        self._profile = profile
        self._transform: Any = None

    def in_srgb(self, image: Image.Image) -> Image.Image:
        alpha = image.getchannel("A") if image.mode in ("LA", "RGBA") else None
        colours = image.convert({"LA": "L", "RGBA": "RGB"}[image.mode]) if alpha else image
        if self._profile:
            try:
                source = ImageCms.ImageCmsProfile(io.BytesIO(self._profile))
                self._transform = ImageCms.buildTransform(source, _SRGB, colours.mode, "RGB")
            except (ImageCms.PyCMSError, OSError, ValueError):
                pass  # a profile for other colours than these, or none at all
            self._profile = None
        if self._transform:
            colours = ImageCms.applyTransform(colours, self._transform) or colours
        colours = colours if colours.mode in ("L", "RGB") else colours.convert("RGB")
        if alpha:
            colours = colours.convert("RGB")
            colours.putalpha(alpha)
        return colours


def _opaque(image: Image.Image) -> Image.Image:
    """There is nothing behind a wallpaper that could shine through."""
    if image.mode != "RGBA":
        return image
    return Image.alpha_composite(Image.new("RGBA", image.size, "white"), image).convert("RGB")
