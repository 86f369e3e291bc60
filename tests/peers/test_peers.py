"""CDownload against the servers that the world runs, on both desktops: what arrives is what the server has.

Needs port 80 of a network of its own, and nginx, apache2 and busybox:
    scripts/sitenet /usr/bin/python3 -m pytest tests/peers
"""

import hashlib
import pathlib
import random
import subprocess
import sys

import pytest

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
HERE = pathlib.Path(__file__).resolve().parent
BUILD = ROOT / "build"
sys.path[:0] = [str(HERE), str(HERE.parent / "e2e")]
from desktop import Desktop  # noqa: E402
from servers import Apache, Busybox, Nginx  # noqa: E402

SECONDS = 300
SIZES = {"empty": 0, "byte": 1, "chunk": 131072, "odd": 5_000_003}
MEBIBYTE = 1024 * 1024


@pytest.fixture(scope="session")
def folder(tmp_path_factory):
    root = tmp_path_factory.mktemp("site")
    for path in (root, *root.parents[:2]):
        path.chmod(0o755)  # a server may have an account of its own
    files = root / "files"
    files.mkdir()
    noise = random.Random(1)
    for name, size in SIZES.items():
        (files / name).write_bytes(noise.randbytes(size))
    return files


@pytest.fixture(scope="session")
def gibibyte(folder):
    block = random.Random(2).randbytes(MEBIBYTE)
    with (folder / "gibibyte").open("wb") as file:
        for _ in range(1024):
            file.write(block)
    yield "gibibyte"
    (folder / "gibibyte").unlink()


class Headless:
    compiler = ["g++", "-I/usr/include/stb"]
    preset = "bench"
    libraries = ["-lcrypto", "-lxml2", "-pthread"]
    name = "headless"

    def fetch(self, program, urls):
        return subprocess.run([program, *urls], check=True, stdout=subprocess.PIPE, text=True, timeout=SECONDS).stdout


class Windows:
    compiler = ["i686-w64-mingw32-g++-posix", "-static", "-fstack-protector-strong"]
    preset = "win32"
    libraries = [f"-l{name}" for name in (
        "ws2_32", "advapi32", "shell32", "user32", "gdi32", "ole32", "oleaut32", "uuid", "windowscodecs",
        "uxtheme", "comctl32",
    )]  # fmt: skip
    name = "win32"

    def fetch(self, program, urls):
        with Desktop() as desktop:
            command = ["wine", program, *urls]
            run = subprocess.run(
                command, env=desktop.environment, check=True, stdout=subprocess.PIPE, text=True, timeout=SECONDS
            )
        return run.stdout


@pytest.fixture(scope="session", params=[Headless, Windows], ids=["headless", "windows"])
def fetch(request):
    """Downloads paths from the server, and gives a line for each."""
    desktop = request.param()
    subprocess.run(["scripts/build", desktop.preset, "quillory_net"], cwd=ROOT, check=True)
    program = BUILD / "peers" / f"fetch-{desktop.name}.exe"
    program.parent.mkdir(parents=True, exist_ok=True)
    libraries = [BUILD / desktop.preset / "src" / f"libquillory_{name}.a" for name in ("net", "core", "platform")]
    command = [*desktop.compiler, "-std=c++20", "-O1", f"-I{ROOT / 'src'}", f"-I{HERE / desktop.name}"]
    subprocess.run([*command, HERE / "fetch.cpp", *libraries, *desktop.libraries, "-o", program], check=True)
    return lambda paths: desktop.fetch(str(program), [f"http://127.0.0.1{path}" for path in paths]).split("\n")[:-1]


def md5(path):
    with path.open("rb") as file:
        return hashlib.file_digest(file, "md5").hexdigest()


def expect_whole(fetch, folder, server, names):
    with server:
        lines = fetch([path for name in names for path in (f"/{name}", server.bare(name))])
    expected = []
    for name in names:
        size = (folder / name).stat().st_size
        digest = md5(folder / name)
        expected += [f"{digest} {size} {size}", f"{digest} 0 {size}"]
    assert lines == expected


@pytest.mark.parametrize("keep_alive", [True, False], ids=["kept", "closed"])
@pytest.mark.parametrize("kind", [Nginx, Apache, Busybox])
def test_whatever_the_size_and_with_or_without_a_length(fetch, folder, kind, keep_alive):
    if kind is Busybox and keep_alive:
        pytest.skip("busybox httpd always closes")
    expect_whole(fetch, folder, kind(folder, keep_alive), list(SIZES))


@pytest.mark.long
@pytest.mark.parametrize("kind", [Nginx, Apache, Busybox])
def test_a_gibibyte(fetch, folder, gibibyte, kind):
    expect_whole(fetch, folder, kind(folder, False), [gibibyte])
