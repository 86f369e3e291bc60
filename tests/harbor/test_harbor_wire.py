"""Images, pages and faults."""

import io
import json
import socket
import subprocess
import sys
import time
from pathlib import Path

import pytest
from conftest import PICTURES
from harbor.faults import Fault
from PIL import Image, ImageChops

GALLERIES = "vh.getGalleries"


def eventually(condition):
    deadline = time.time() + 5
    while not condition():
        assert time.time() < deadline
        time.sleep(0.01)


@pytest.mark.parametrize("picture_id", PICTURES)
def test_an_image_comes_at_the_asked_size_in_its_own_format(client, harbor, picture_id):
    picture = harbor.catalogue.pictures[picture_id]
    header, _, body = client.image(f"{picture_id}/99x71/{picture.filename}").partition(b"\r\n\r\n")
    image = Image.open(io.BytesIO(body))
    image.load()
    assert (image.size, image.format) == ((99, 71), picture.format)
    assert f"Content-Length: {len(body)}".encode() in header.split(b"\r\n")


def test_an_image_is_cropped_at_its_centre(client):
    body = client.image("1005/30x30/Tower.jpg").partition(b"\r\n\r\n")[2]
    image = Image.open(io.BytesIO(body)).convert("L")
    expected = Image.radial_gradient("L").resize((30, 90)).crop((0, 30, 30, 60))
    assert max(ImageChops.difference(image, expected).getdata()) < 12


@pytest.mark.parametrize("path", ["1002/9x9/Other.jpg", "9/9x9/GreenMeadow.jpg", "1002/0x9/GreenMeadow.jpg", "1002", "",
                                  "1002/9x99999/GreenMeadow.jpg", "1002/9x9.0/GreenMeadow.jpg"])
def test_an_unknown_image_is_a_404_with_a_length(client, path):
    header, _, body = client.image(path).partition(b"\r\n\r\n")
    assert header.startswith(b"HTTP/1.0 404 ") and f"Content-Length: {len(body)}".encode() in header and body


@pytest.mark.parametrize("host, path, status", [
    ("www.velvetharbor.example", "/quillory/", 200), ("velvetharbor.example", "/api.php", 404),
    ("velvetharbor.example", "/wallpaper/1002", 200), ("velvetharbor.example", "/wallpaper/9", 404),
    ("members.velvetharbor.example", "/alice/favorites/?source=Quillory", 302),
    ("api.velvetharbor.example", "/dl/inline/1002/9x9/GreenMeadow.jpg", 404),
    ("127.0.0.1:8080", "/dl/inline/1002/9x9/GreenMeadow.jpg", 200), ("box.lan", "/quillory/", 200), ("", "/", 200),
])
def test_names_and_paths_lead_to_their_part_of_the_site(client, host, path, status):
    assert client.exchange(client.request(path, host)).startswith(b"HTTP/1.0 %d " % status)


@pytest.mark.parametrize("effects, expected", [
    ({"error": 901}, b"<error>\n<number>901</number>\n"),
    ({"upgrade": "http://x/?a&b"}, b"<action>upgrade</action>\n<link>http://x/?a&amp;b</link>\n"),
    ({"gateway": True}, b"\r\n\r\n<html>\n"),
    ({"garbage": True}, b"Response-From: VHAPI\r\nContent-Type: text/xml\r\nContent-Length: 37\r\n\r\nNeither"),
    ({"body": "<a>\n</a>\n"}, b"Content-Length: 9\r\n\r\n<a>\n</a>\n"),
    ({"header": {"Location": "/x", "Content-Type": None}}, b"Response-From: VHAPI\r\nLocation: /x\r\nContent-Length"),
    ({"nolength": True}, b"Content-Type: text/xml\r\n\r\n<galleries>"),
    ({"nomark": True}, b"200 OK\r\nContent-Type"),
])
def test_faults_that_alter_an_answer(client, harbor, effects, expected):
    raw = client.request(client.API + GALLERIES)
    right = client.exchange(raw)
    harbor.fault("api", times=1, **effects)
    wrong = client.exchange(raw)
    assert expected in wrong and expected not in right
    assert (b"Response-From" in wrong) == (not {"nomark", "gateway"} & effects.keys())
    assert client.exchange(raw) == right


def test_faults_choose_whom_they_hit(client, harbor):
    def hit():
        return (client.api(GALLERIES) == "hit", client.api("vh.auth.login&username=x&md5password=x") == "hit",
                client.image("1002/9x9/GreenMeadow.jpg").endswith(b"hit"),
                client.exchange(b"?\r\n\r\n").endswith(b"hit"))

    for on, expected in {"api": (True, True, False, False), GALLERIES: (True, False, False, False),
                         "image": (False, False, True, False), "release": (False, False, False, False),
                         "any": (True, True, True, True)}.items():
        harbor.fault(on, body="hit")
        assert hit() == expected, on
        harbor.faults.clear()


def test_an_answer_can_end_early_in_order_or_with_a_reset(client, harbor):
    raw = client.request(client.API + GALLERIES)
    whole = client.exchange(raw)
    for offset, length in ((0, 0), (10, 10), (-5, len(whole) - 5), (10**6, len(whole))):
        harbor.fault("any", times=1, cut=offset)
        with client.connect() as sock:  # not shut down: the harbor ends it
            sock.sendall(raw)
            assert client.read(sock) == whole[:length]
        harbor.fault("any", times=1, reset=offset)
        received = b""
        with client.connect() as sock, pytest.raises(ConnectionResetError):
            sock.sendall(raw)
            while True:
                received += (chunk := sock.recv(65536))
                assert chunk, "an orderly end"
        assert received == whole[:length]


@pytest.mark.parametrize("segments, first", [(7, [7, 7, 7]), (1, [1, 1, 1]), ([17, 40, -1], [17, 23, -1])])
def test_an_answer_can_come_in_segments(client, harbor, segments, first):
    whole = client.exchange(client.request(client.API + GALLERIES))
    harbor.fault("api", segments=segments, pause=0.03)
    sizes = []
    with client.connect() as sock:
        sock.sendall(client.request(client.API + GALLERIES))
        while len(sizes) < 3:
            sizes.append(len(sock.recv(65536)))
    expected = [each if each > 0 else len(whole) - 1 - sum(sizes[:2]) for each in first]
    assert sizes == expected


def test_an_answer_can_stall_and_be_slow(client, harbor):
    raw = client.request(client.API + GALLERIES)
    whole = client.exchange(raw)

    harbor.fault("api", times=1, stall=25)
    with client.connect() as sock:
        sock.sendall(raw)
        received = sock.recv(65536)
        sock.settimeout(0.3)
        with pytest.raises(TimeoutError):
            sock.recv(1)
        assert received == whole[:25] and harbor.requests[-1].sent == 25
        harbor.faults.clear()
        sock.settimeout(5)
        sock.shutdown(socket.SHUT_WR)
        assert received + client.read(sock) == whole

    for effects, least in (({"stall": 0, "seconds": 0.3}, 0.3), ({"slow": len(whole) * 2}, 0.4)):
        harbor.fault("api", times=1, **effects)
        start = time.monotonic()
        assert client.exchange(raw) == whole
        assert least <= time.monotonic() - start < least + 1


def test_the_harbor_can_refuse_and_abort(client, harbor):
    eventually(lambda: harbor.abort_connections() == 0)  # those of the tests before may just be going
    with client.connect() as sock:
        sock.sendall(client.request(client.API + GALLERIES))
        sock.recv(65536)
        fault = harbor.fault("connect", refuse=True)
        with pytest.raises(ConnectionRefusedError):
            client.connect()
        assert harbor.abort_connections() == 1
        with pytest.raises(ConnectionResetError):
            sock.recv(1)
    harbor.faults.clear()
    assert fault.times == 0 and client.rotate()


@pytest.mark.parametrize("text, fault", [
    ("image*2 cut=500 nolength", Fault("image", 2, cut=500, nolength=True)),
    ('any header={"A":null} segments=[1,2] seconds=0.5',
     Fault("any", header={"A": None}, segments=[1, 2], seconds=0.5)),
    ("vh.auth.login upgrade=http://x/y=z", Fault("vh.auth.login", upgrade="http://x/y=z")),
    *[(text, None) for text in ("", "image*x cut=1", "images cut=1", "image cut", "image cut=1.5", "image bite=1",
                                "api refuse", "connect cut=1", "api gateway=1")],
])
def test_the_command_lines_form_of_a_fault(text, fault):
    if fault:
        assert Fault.parse(text) == fault
    else:
        with pytest.raises((ValueError, TypeError)):
            Fault.parse(text)


def test_the_command_line(pictures, tmp_path):
    log = tmp_path / "log"
    command = [sys.executable, "-m", "harbor", "serve", "--pictures", pictures, "--port", "0", "--user", "Dora:wool",
               "--log", log, "--fault", "page*1 body=hello"]
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True, cwd=Path(__file__).parents[2]) as process:
        try:
            port = int(process.stdout.readline().rpartition(":")[2].strip("/\n"))
            for path, expected in (("/", b"hello"), ("/api.php?apikey=secret&md5password=secret", b"</error>\n")):
                with socket.create_connection(("127.0.0.1", port), timeout=5) as sock:
                    sock.sendall(b"GET %s HTTP/1.0\r\n\r\n" % path.encode())
                    sock.shutdown(socket.SHUT_WR)
                    answer = b"".join(iter(lambda: sock.recv(65536), b""))
                    assert answer.endswith(expected)
            eventually(lambda: log.read_text().count("\n") == 2)
            assert json.loads(log.read_text().splitlines()[1])["sent"] == len(answer)
            assert "secret" not in log.read_text()
        finally:
            process.terminate()
