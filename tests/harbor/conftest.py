import contextlib
import io
import os
import socket
import struct
import subprocess
import sys
import time
import zlib
from pathlib import Path

import pytest
from PIL import Image

ROOT = Path(__file__).parents[2]
sys.path.insert(0, str(ROOT))

from harbor.service import Harbor  # noqa: E402
from harbor.settings import Settings  # noqa: E402
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


def wait_until(condition):
    deadline = time.monotonic() + 60
    while not condition():
        assert time.monotonic() < deadline
        time.sleep(0.02)


def png_of(width: int, height: int) -> bytes:
    """The beginning of a picture of that size: what its file says of it, and few of its pixels."""
    out = io.BytesIO()
    Image.new("RGB", (1, 1)).save(out, "PNG")
    data = out.getvalue()
    header = b"IHDR" + struct.pack(">II", width, height) + data[24:29]
    return data[:12] + header + struct.pack(">I", zlib.crc32(header)) + data[33:]


@contextlib.contextmanager
def started(options: str, before: str = ""):
    """The service as a process of its own, at a free port."""
    command = f"{before} exec {sys.executable} -m harbor serve --port 0 {options}"
    with subprocess.Popen(["bash", "-c", command], stdout=subprocess.PIPE, text=True, cwd=ROOT) as process:
        try:
            process.port = int(process.stdout.readline().rpartition(":")[2].strip("/\n"))
            yield process
        finally:
            process.kill()


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
    """The one stand-in of all tests, without faults and requests of those before."""
    running.faults.clear()
    running.abort_connections()
    running.requests.clear()
    return running


@pytest.fixture
def house(pictures, tmp_path):
    """A new box: pictures, but no member yet."""
    with Harbor(Settings(pictures, state=tmp_path / "state", bind=("127.0.0.1",), port=0)) as harbor:
        harbor.catalogue.scan()
        yield harbor


class Client:
    """Speaks to the harbor as Quillory does: bytes out, bytes in. It may have another address of this machine."""

    ROTATION = {"withar": "1%2E77778", "withtags": "no", "sort": "desc", "minpoints": "0", "order": "freshness",
                "startid": "0", "page": "1", "perpage": "1", "QY%5FVersion": "1%2E0%2E112"}

    def __init__(self, harbor, address="127.0.0.1"):
        self._harbor, self._address, self.key = harbor, address, "Rv8nTq2LxW5d"

    def connect(self):
        return socket.create_connection(("127.0.0.1", self._harbor.port), 60, (self._address, 0))

    @staticmethod
    def read(sock) -> bytes:
        """Everything up to the end of the connection."""
        return b"".join(iter(lambda: sock.recv(65536), b""))

    def exchange(self, raw: bytes) -> bytes:
        """One request on a connection of its own, whose sending side is then closed so that the answer is the last."""
        with self.connect() as sock:
            sock.sendall(raw)
            sock.shutdown(socket.SHUT_WR)
            return self.read(sock)

    def get(self, url: str, host: str = "") -> bytes:
        return self.exchange(f"GET {url} HTTP/1.0\r\n{f'Host: {host}' if host else 'X: y'}\r\n\r\n".encode())

    def query(self, method: str, parameters=(), host: str = "api.velvetharbor.example") -> str:
        more = "".join(f"&{name}={value}" for name, value in dict(parameters).items() if value is not None)
        return f"http://{host}/api.php?apikey={self.key}&method={method}{more}"

    def api(self, method: str, parameters=(), host: str = "api.velvetharbor.example") -> str:
        """The body of the API's answer."""
        header, _, body = self.get(self.query(method, parameters, host)).partition(b"\r\n\r\n")
        assert b"Response-From: VHAPI" in header.split(b"\r\n")
        return body.decode("ascii")

    def rotate(self, method: str = "browse", **parameters) -> list[int]:
        """The ids of all wallpapers that a search finds."""
        body = self.api(f"vh.wallpapers.{method}", {**self.ROTATION, "perpage": "99", **parameters})
        ids = [int(line[4:-5]) for line in body.split("\n") if line.startswith("<id>")]
        assert body.startswith(f'<wallpapers count="{len(ids)}">\n'), body
        return ids

    def image(self, path: str) -> bytes:
        return self.get("/dl/inline/" + path, "images.velvetharbor.example")


@pytest.fixture
def client(harbor):
    return Client(harbor)
