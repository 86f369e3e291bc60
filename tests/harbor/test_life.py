"""What a household's harbor goes through: pictures that come, move and break, crowds, dawdlers, and power cuts."""

import contextlib
import io
import os
import random
import re
import select
import shutil
import subprocess
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import pytest
from conftest import Client, Harbor, Settings, png_of, started, wait_until
from harbor import carrier, images
from harbor.catalogue import Catalogue
from harbor.members import Members
from harbor.store import Store
from PIL import Image, ImageChops, ImageCms


def paint(path: Path, colour="grey", mode="RGB", size=(64, 40), **options) -> None:
    path.parent.mkdir(parents=True, exist_ok=True)
    Image.new(mode, size, colour).save(path, **options)


@pytest.fixture
def home(tmp_path):
    """A folder with the pictures red, green and blue, in the order of their age, and the settings to serve it."""
    for age, colour in enumerate(("red", "green", "blue")):
        paint(tmp_path / "pictures" / "sea" / f"{colour}.png", colour)
        os.utime(tmp_path / "pictures" / "sea" / f"{colour}.png", (age, age))
    return Settings(tmp_path / "pictures", tmp_path / "state", bind=("127.0.0.1",), port=0)


def titles(settings, catalogue=None) -> dict[str, int]:
    """Titles and ids, of a catalogue that has just been started if none is given."""
    catalogue = catalogue or Catalogue(Store(settings.state), settings.pictures, settings.uploads)
    catalogue.scan()
    return {each.title: each.id for each in catalogue.newest}


def swap(sea):
    for old, new in (("red", "x"), ("green", "red"), ("x", "green")):
        (sea / f"{old}.png").rename(sea / f"{new}.png")


RED, GREEN, BLUE = ({name: id} for name, id in (("red", 1001), ("green", 1002), ("blue", 1003)))


@pytest.mark.parametrize("change, expected", [
    (lambda sea: (sea / "red.png").rename(sea.parent / "rose.png"), {"rose": 1001} | GREEN | BLUE),
    (lambda sea: sea.rename(sea.parent / "lake"), RED | GREEN | BLUE),
    (lambda sea: (sea / "red.png").unlink(), GREEN | BLUE),
    (lambda sea: (shutil.copy(sea / "red.png", sea / "a.png"), (sea / "red.png").rename(sea / "b.png")),
     GREEN | BLUE | {"a": 1004, "b": 1001}),
    (lambda sea: paint(sea / "old.png"), RED | GREEN | BLUE | {"old": 1004}),
    (lambda sea: (sea / "copy.png").write_bytes((sea / "red.png").read_bytes()), RED | GREEN | BLUE | {"copy": 1004}),
    (lambda sea: paint(sea / "red.png"), RED | GREEN | BLUE),  # edited in its place
    (swap, {"green": 1001, "red": 1002} | BLUE),  # the ids go with what is seen
], ids=["moved", "folder", "deleted", "doubled", "added", "copied", "edited", "swapped"])
def test_a_picture_keeps_its_id(home, change, expected):
    catalogue = Catalogue(Store(home.state), home.pictures, home.uploads)
    assert titles(home, catalogue) == RED | GREEN | BLUE
    change(home.pictures / "sea")
    assert titles(home, catalogue) == titles(home) == expected
    (path,) = home.pictures.rglob("blue.png")  # away for one look, and what comes back is what it was
    content = path.read_bytes()
    path.unlink()
    assert "blue" not in titles(home, catalogue)
    path.with_name("back.png").write_bytes(content)
    assert titles(home, catalogue)["back"] == 1003


def test_what_is_no_picture_or_breaks_is_left_out_with_a_line(home, capfd):
    sea = home.pictures / "sea"
    green = sea / "green.png"
    os.mkfifo(sea / "pipe.png")
    (sea / "text.jpg").write_text("no picture")
    (sea / "huge.png").write_bytes(png_of(9000, 8000))
    (sea / "loop.png").symlink_to(sea / "loop.png")
    for folder in (".hidden", "@eaDir", "#recycle"):
        paint(sea / folder / "thumb.png")
    paint(Path(os.fsdecode(os.fsencode(sea) + b"/caf\xe9.png")))
    with Harbor(home) as harbor:
        client = Client(harbor)
        wait_until(lambda: client.rotate() == [1004, 1003, 1002, 1001])
        body = client.api("vh.wallpapers.browse", client.ROTATION, "box.lan")
        assert "<title>caf&#233;</title>" in body and "<link>http://box.lan/wallpaper/1004</link>" in body
        (sea / "blue.png").unlink()
        green.write_bytes(green.read_bytes()[:-40])
        for id, name in ((1003, "blue"), (1002, "green")):
            assert client.rotate(startid=str(id + 1))[0] == id
            assert client.image(f"{id}/50x40/{name}.png").startswith(b"HTTP/1.0 404 ")
        assert client.rotate() == [1004, 1001]
        paint(green, "green", size=(80, 50))  # whole again, and seen by the next look
        harbor.catalogue.scan()
        assert client.rotate() == [1004, 1002, 1001]

        # A disk that is away is no reason to tell clients that there is nothing, upon which they would stop asking.
        home.pictures.rename(home.pictures.with_name("away"))
        home.pictures.mkdir()
        harbor.catalogue.scan()
        assert "<number>999</number>" in client.api("vh.wallpapers.browse", client.ROTATION)
        home.pictures.rmdir()
        home.pictures.with_name("away").rename(home.pictures)
        harbor.catalogue.scan()
        assert client.rotate() == [1004, 1002, 1001]
    told = re.findall(r"harbor: .*?([^/]+) is left out: .", capfd.readouterr().err)
    assert sorted(told) == ["#recycle", ".hidden", "@eaDir", "blue.png", "green.png", "huge.png", "loop.png",
                            "pipe.png", "text.jpg"]


LAB = ImageCms.ImageCmsProfile(ImageCms.createProfile("LAB")).tobytes()  # under which all colours mean others


def swapped() -> bytes:
    """A profile under which what stands as red is meant as green: that of sRGB with its colours in another order."""
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    at = {profile[at:at + 4]: at + 4 for at in range(132, 132 + 12 * profile[131], 12)}
    red, green = (profile[at[name]:at[name] + 8] for name in (b"rXYZ", b"gXYZ"))
    return profile.replace(b"rXYZ" + red, b"rXYZ" + green).replace(b"gXYZ" + green, b"gXYZ" + red)


@pytest.mark.parametrize("name, mode, colour, options, expected", [
    ("cmyk.jpg", "CMYK", (0, 255, 255, 0), {}, (255, 0, 0)),
    ("16 bit.png", "I;16", 0x8000, {}, (128, 128, 128)),
    ("webp.webp", "RGB", "blue", {"lossless": True}, (0, 0, 255)),
    ("gif.gif", "P", 0, {"transparency": 0}, (255, 255, 255)),
    ("alpha.png", "RGBA", (255, 0, 0, 0), {}, (255, 255, 255)),
    ("mpo.jpg", "RGB", "lime", {"format": "MPO", "save_all": True, "append_images": [Image.new("L", (8, 8))]},
     (0, 255, 0)),
    ("no profile.jpg", "RGB", "red", {"icc_profile": b"no profile"}, (255, 0, 0)),
    ("wrong profile.png", "RGB", "red", {"icc_profile": LAB}, (255, 0, 0)),
    ("profile.png", "RGB", "red", {"icc_profile": swapped()}, (0, 255, 0)),
])
def test_every_kind_of_picture_comes_out_right(tmp_path, name, mode, colour, options, expected):
    paint(tmp_path / name, colour, mode, **options)
    catalogue = Catalogue(Store(tmp_path / "state"), tmp_path)
    catalogue.scan()
    (picture,) = catalogue.newest
    data, content_type = images.Images(catalogue, tmp_path / "scaled").scaled(picture, (20, 10))
    image = Image.open(io.BytesIO(data))
    assert (image.size, image.format, content_type) == ((20, 10), picture.format, f"image/{picture.format.lower()}")
    assert image.mode in ("L", "RGB") and image.convert("RGB").getpixel((10, 5)) == pytest.approx(expected, abs=6)


def test_a_picture_is_made_in_bands_that_nobody_sees(tmp_path, monkeypatch):
    """And within its memory: what does not fit into it is halved first."""
    noise = Image.effect_noise((333, 251), 90)
    picture = Image.merge("RGBA", (noise, noise.rotate(90), Image.radial_gradient("L").resize(noise.size), noise))
    for name, made, halves in (("a.png", picture, True), ("b.png", picture.quantize(64), False),  # which takes less
                               ("c.jpg", picture.convert("RGB"), True)):
        made.save(tmp_path / name)
        scaled = []
        for band, most in ((1 << 20, 1 << 30), (5000, 1 << 30), (5000, 4 * (333 * 251 + 200 * 300) - 1)):
            monkeypatch.setattr(images, "BAND", band)
            monkeypatch.setattr(images, "MOST_BYTES", most)
            scaled.append(Image.open(io.BytesIO(images.scaled(tmp_path / name, "PNG", (200, 300)))))
        assert max(high for _, high in ImageChops.difference(*scaled[:2]).getextrema()) <= 2
        assert (ImageChops.difference(*scaled[1:]).getbbox() is not None) == halves


def test_a_large_screen_takes_the_pixels_before_and_after_its_turn_and_little_more(tmp_path):
    def kilobytes(what):
        return int(re.search(rf"{what}:\s+(\d+)", Path("/proc/self/status").read_text())[1])

    turned = Image.Exif()
    turned[0x0112] = 6
    Image.linear_gradient("L").resize((6000, 4000)).save(tmp_path / "grey.jpg", exif=turned)  # pixels of one byte
    Path("/proc/self/clear_refs").write_text("5")  # the peak begins anew
    before = kilobytes("VmRSS")
    images.scaled(tmp_path / "grey.jpg", "JPEG", (4320, 7680))
    assert kilobytes("VmHWM") - before < 2.5 * 7680 * 4320 / 1024


def test_a_size_that_many_ask_for_is_made_once_two_at_a_time_and_no_two_large_ones(home, monkeypatch):
    made, under_way, at_once, goes_on = [], set(), [], threading.Event()

    def slow(image, image_format, size):
        under_way.add(size)
        at_once.append(set(under_way))
        made.append(size)
        goes_on.wait(60 if len(made) < 3 else 0.02)
        under_way.remove(size)
        return b"x" * 400

    monkeypatch.setattr(images, "render", slow)
    with Harbor(home) as harbor, ThreadPoolExecutor(12) as pool:
        wait_until(lambda: len(harbor.catalogue.pictures) == 3)
        harbor.images._most_kept = 1500
        sizes = [(7680, 4320), (4320, 7680), (9, 1), (9, 2), (9, 3), (9, 4)]
        asked = [pool.submit(harbor.images.scaled, harbor.catalogue.newest[0], size) for size in sizes * 2]
        wait_until(lambda: len(made) == 2)
        assert Client(harbor).rotate()  # nobody else has to wait
        goes_on.set()
        assert {each.result() for each in asked} == {(b"x" * 400, "image/png")} and sorted(made) == sorted(sizes)
        assert max(map(len, at_once)) == 2 and {(7680, 4320), (4320, 7680)} not in at_once
        assert sum(path.stat().st_size for path in (home.state / "scaled").iterdir()) <= 1500


def test_a_crowd_is_told_so_and_forgotten(home):
    log = home.state.with_name("log")
    limited = f"--pictures {home.pictures} --state {home.state} --bind 127.0.0.1 --log {log}"
    with started(limited, "ulimit -n 256;") as harbor, contextlib.ExitStack() as crowd:
        client = Client(harbor)
        wait_until(lambda: "<gallery>" in client.api("vh.getGalleries"))
        many = [crowd.enter_context(client.connect()) for _ in range(300)]
        for each in many[:100]:
            each.sendall(b"GET /half a requ")
        told = many[-1].recv(1000)
        # In a form that Quillory takes for what it is: what is not the service's makes it stop for good.
        assert told.startswith(b"HTTP/1.0 503 ") and b"\r\nResponse-From: VHAPI\r\n" in told and b"Too many" in told
        for each in many[:80]:
            each.close()
        wait_until(lambda: b"<galleries>" in client.get(client.query("vh.getGalleries")))  # beside 220 that say nothing
    assert "apikey=***&method=vh.getGalleries" in log.read_text() and client.key not in log.read_text()


def test_who_dawdles_or_sends_too_much_is_told_so(home, monkeypatch):
    monkeypatch.setattr(carrier, "HEADER", 0.5)
    with Harbor(home) as harbor:
        client = Client(harbor)
        drips = (b"GET / HTTP/1.0\r\nX: ", 60), (b"POST /send HTTP/1.0\r\nContent-Length: 9000\r\n\r\n", 0)
        for head, silence in drips:
            monkeypatch.setattr(carrier, "SILENCE", silence)
            with client.connect() as sock:
                sock.sendall(head)
                while not select.select([sock], [], [], 0.02)[0]:
                    sock.sendall(b"x")
                told = client.read(sock)
            assert told.startswith(b"HTTP/1.0 408 ") and b"Response-From: VHAPI" in told
        for path, length in (("/login", 20_000_000), ("/send", 2 * 8 * harbor.settings.upload_limit)):
            for expects in ("", "Expect: 100-continue\r\n"):
                head = f"POST {path} HTTP/1.1\r\nHost: x\r\nContent-Length: {length}\r\n{expects}\r\n"
                told = client.exchange(head.encode() + bytes(20_000_000))
                assert told.startswith(b"HTTP/1.1 413 ") and b"more than this harbor takes" in told
        assert client.exchange(b"GET / HTTP/1.0\r\nno field\r\n\r\n").startswith(b"HTTP/1.0 400 ")


def promise(state, pictures):
    """Takes in one picture after the other, and says so, until it is killed."""
    members, catalogue = Members(Store(Path(state))), Catalogue(Store(Path(state)), Path(pictures))
    members.add("alice", "velvet")
    catalogue.scan()
    for number in range(len(catalogue.pictures), 1 << 20):
        paint(Path(pictures) / f"picture {number}.png", number * 1000)
        id = catalogue.look_at(Path(pictures) / f"picture {number}.png").id
        members.rate("alice", id, number % 101)
        members.star("alice", id, True)
        print(id, number, flush=True)


def test_what_it_answered_for_outlives_a_kill(home):
    promised = {}
    command = [sys.executable, "-c", "import sys, test_life as t; t.promise(*sys.argv[1:])", home.state, home.pictures]
    for _ in range(3):
        with subprocess.Popen(command, stdout=subprocess.PIPE, text=True, cwd=Path(__file__).parent) as process:
            lines = [process.stdout.readline()]
            time.sleep(random.uniform(0, 0.3))
            process.kill()
            lines += process.stdout.read().splitlines(keepends=True)
        promised |= dict(map(int, line.split()) for line in lines if line.endswith("\n"))
    members = Members(Store(home.state))
    assert promised.keys() <= members.favorites("alice") and members.verify("alice", "velvet")
    assert all(members.rating("alice", id) == number % 101 for id, number in promised.items())
    assert {f"picture {number}": id for id, number in promised.items()}.items() <= titles(home).items()


def test_a_tag_of_many_stars_takes_no_longer_than_others(home):
    for number in range(300):
        paint(home.pictures / f"{'a' * 150}{number}.png", "red", size=(2, 2))
    catalogue = Catalogue(Store(home.state), home.pictures)
    catalogue.scan()
    # By trying all places for the stars this would take longer than the world is old.
    assert catalogue.search("*a" * 31 + "*b") == [] and len(catalogue.search("*a" * 31 + "*7")) == 30
