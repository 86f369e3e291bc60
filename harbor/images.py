"""Wallpapers at the size of a screen: scaled to cover it, cropped at the centre, in the picture's own format."""

import io
import re
from functools import lru_cache

from PIL import Image, ImageOps

from answers import Answer, file, not_found
from catalogue import FORMATS, Catalogue

LARGEST_SIDE = 8192


class Images:
    def __init__(self, catalogue: Catalogue):
        self._catalogue = catalogue
        # Scaling a large photograph takes up to a second, and screens keep asking for the same few sizes.
        self._scaled = lru_cache(maxsize=32)(scaled)

    def fetch(self, path: str) -> Answer:
        """Answers a path below /dl/inline/: "1029/1920x1080/Dune.jpg"."""
        asked = re.fullmatch(r"([0-9]{1,9})/([0-9]{1,5})x([0-9]{1,5})/(.+)", path)
        if not asked:
            return not_found("image")
        picture = self._catalogue.pictures.get(int(asked[1]))
        size = int(asked[2]), int(asked[3])
        if picture is None or picture.filename != asked[4] or not all(1 <= side <= LARGEST_SIDE for side in size):
            return not_found("image")
        return file(self._scaled(picture.path, picture.format, size), FORMATS[picture.format], "image")


def scaled(path, image_format: str, size: tuple[int, int]) -> bytes:
    with Image.open(path) as image:
        image = ImageOps.exif_transpose(image)
        if image.mode not in ("L", "LA", "RGB", "RGBA", "CMYK"):  # a palette or a bit depth that cannot be blended
            image = image.convert("RGBA" if "transparency" in image.info else "RGB")
        image = ImageOps.fit(image, size, Image.Resampling.LANCZOS)
        out = io.BytesIO()
        image.save(out, image_format, **({"quality": 92} if image_format == "JPEG" else {}))
        return out.getvalue()
