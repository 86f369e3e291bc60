"""What the end-to-end tests share: a desktop with a site for each file of stories, and a clean slate for each story."""

import pathlib
import random

import pytest
from PIL import Image

from stage import Stage

SIZE = (1280, 1024)

# Small pictures with the odd names that people give: each gallery, category and file name has to survive the way.
LIBRARY = {
    "Sea & Sky/Harbours": ["evening_lamp.png", "Two-Wings.png"],
    "Sea & Sky/General": ["wave.png"],
    "Anime/Ah My Goddess": ["goddess 1.png"],
    "Animals": ["dog.jpg", "golden retriever.png"],
}


def pytest_configure(config):
    config.addinivalue_line("markers", "long: takes many minutes")


@pytest.fixture(scope="session")
def library(tmp_path_factory):
    """A folder of pictures, all different, with a pattern that shows every wrong pixel."""
    root = tmp_path_factory.mktemp("library")
    for number, path in enumerate(root / folder / name for folder, names in LIBRARY.items() for name in names):
        path.parent.mkdir(parents=True, exist_ok=True)
        # Decoders of one JPEG agree on smooth pictures; the others are lossless and may be as wild as they like.
        width, height = (10, 8) if path.suffix == ".jpg" else (160, 128)
        noise = Image.frombytes("RGB", (width, height), random.Random(number).randbytes(width * height * 3))
        noise.resize(SIZE, Image.Resampling.BICUBIC).save(path)
    return root


@pytest.fixture(scope="module")
def theatre(library):
    with Stage(library, SIZE) as stage:
        yield stage


@pytest.fixture
def stage(theatre, request):
    """The desktop as if Quillory had never run on it. Where a story fails, the screen is kept."""
    theatre.clean()
    yield theatre
    if getattr(request.node, "failed", False):
        seen = pathlib.Path(__file__).resolve().parents[2] / "build" / "reports" / "seen"
        seen.mkdir(parents=True, exist_ok=True)
        theatre.screen.look(seen / f"{request.node.name.replace('/', '_')}.png")
    theatre.end()


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    outcome = yield
    item.failed = getattr(item, "failed", False) or outcome.get_result().failed
