"""What the end-to-end tests share: one desktop and one site for all, and a clean slate for each story."""

import random

import pytest
from PIL import Image

from desktop import BUILD
from stage import Stage

SIZE = (2000, 1600)  # room for the largest window at the greatest density

# Small pictures with the odd names that people give: each gallery, category and file name has to survive the way.
LIBRARY = {
    "Sea & Sky/Harbours": ["evening_lamp.png", "Two-Wings.png"],
    "Sea & Sky/General": ["wave.png"],
    "Anime/Ah My Goddess": ["goddess 1.png"],
    "Animals": ["dog.jpg", "golden retriever.png"],
}


@pytest.fixture(scope="session")
def theatre(tmp_path_factory):
    """A desktop and a site, whose pictures are all different, with a pattern that shows every wrong pixel."""
    root = tmp_path_factory.mktemp("library")
    for number, path in enumerate(root / folder / name for folder, names in LIBRARY.items() for name in names):
        path.parent.mkdir(parents=True, exist_ok=True)
        noise = Image.frombytes("RGB", (160, 128), random.Random(number).randbytes(160 * 128 * 3))
        noise.resize(SIZE, Image.Resampling.BICUBIC).save(path)
    with Stage(root, SIZE, releases=tmp_path_factory.mktemp("releases")) as stage:
        yield stage


@pytest.fixture
def stage(theatre, request):
    """The desktop as if Quillory had never run on it. Where a story fails, the screen is kept."""
    theatre.clean()
    failed = request.session.testsfailed
    yield theatre
    if request.session.testsfailed > failed:
        seen = BUILD / "reports" / "seen"
        seen.mkdir(parents=True, exist_ok=True)
        theatre.screen.look().save(seen / f"{request.node.name}.png")
    theatre.end()
