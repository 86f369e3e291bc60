import os
import socket
import sys
from pathlib import Path

import pytest
from PIL import Image

sys.path.insert(0, str(Path(__file__).parents[2]))

from harbor.standin import StandIn  # noqa: E402

# In the order of their age, so that they get the ids from 1001 on.
PICTURES = {
    1001: ("Lone-Wolf.png", (64, 48), "RGB"),
    1002: ("nature/GreenMeadow.jpg", (160, 100), "RGB"),
    1003: ("nature/green tea.png", (160, 100), "P"),
    1004: ("nature/red_flowers/Rose.jpg", (320, 200), "CMYK"),
    1005: ("deep space/Tower.jpg", (30, 90), "L"),
    1006: ("nature/red_flowers/deeper/Greenhouse.png", (160, 120), "RGBA"),
}


@pytest.fixture(scope="session")
def pictures(tmp_path_factory):
    root = tmp_path_factory.mktemp("pictures")
    for age, (name, size, mode) in enumerate(PICTURES.values()):
        path = root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        picture = Image.radial_gradient("L").resize(size).convert("RGB" if mode == "P" else mode)
        if "Tower" in name:  # a camera held upright: the picture lies on its side, and its EXIF data say so
            exif = Image.Exif()
            exif[0x0112] = 6
            picture.transpose(Image.Transpose.ROTATE_90).save(path, exif=exif, quality=95)
        else:
            picture.convert(mode).save(path)
        os.utime(path, (1_000_000 + age, 1_000_000 + age))
    for name, content in {"broken.jpg": b"no picture", "notes.txt": b"", ".hidden.png": b""}.items():
        (root / name).write_bytes(content)
    return root


@pytest.fixture(scope="session")
def running(pictures):
    with StandIn(pictures, users={"alice": "velvet", "Bob": "linen"}) as harbor:
        yield harbor


@pytest.fixture
def harbor(running):
    """The one harbor of all tests, without faults and requests of those before."""
    running.faults.clear()
    running.abort_connections()
    running.requests.clear()
    return running


class Client:
    """Speaks to the harbor as Quillory does: bytes out, bytes in."""

    API = "http://api.velvetharbor.example/api.php?apikey=Rv8nTq2LxW5d&method="
    ROTATION = {"withar": "1%2E77778", "withtags": "no", "sort": "desc", "minpoints": "0", "order": "freshness",
                "startid": "0", "page": "1", "perpage": "1", "QY%5FVersion": "1%2E0%2E112"}

    def __init__(self, harbor):
        self._harbor = harbor

    def connect(self):
        return socket.create_connection(("127.0.0.1", self._harbor.port), timeout=5)

    @staticmethod
    def request(url: str, host: str = "") -> bytes:
        return f"GET {url} HTTP/1.0\r\n{f'Host: {host}' + chr(13) + chr(10) if host else ''}\r\n".encode()

    def read(self, sock) -> bytes:
        """Everything up to the end of the connection."""
        return b"".join(iter(lambda: sock.recv(65536), b""))

    def exchange(self, raw: bytes) -> bytes:
        """One request on a connection of its own, whose sending side is then closed so that the answer is the last."""
        with self.connect() as sock:
            sock.sendall(raw)
            sock.shutdown(socket.SHUT_WR)
            return self.read(sock)

    def api(self, query: str, host: str = "api.velvetharbor.example") -> str:
        """The body of the API's answer to what stands behind "method="."""
        url = self.API.replace("api.velvetharbor.example", host) + query
        header, _, body = self.exchange(self.request(url)).partition(b"\r\n\r\n")
        assert b"Response-From: VHAPI" in header.split(b"\r\n")
        return body.decode("ascii")

    def rotate(self, method: str = "browse", **parameters) -> list[int]:
        """The ids of all wallpapers that a search finds."""
        asked = {**self.ROTATION, "perpage": "99", **parameters}
        body = self.api(f"vh.wallpapers.{method}&" + "&".join(f"{k}={v}" for k, v in asked.items() if v is not None))
        ids = [int(line[4:-5]) for line in body.split("\n") if line.startswith("<id>")]
        assert body.startswith(f'<wallpapers count="{len(ids)}">\n'), body
        return ids

    def image(self, path: str) -> bytes:
        return self.exchange(self.request("/dl/inline/" + path, "images.velvetharbor.example"))


@pytest.fixture
def client(harbor):
    return Client(harbor)
