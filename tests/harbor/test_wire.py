"""What goes over the wire, byte for byte where clients depend on it; and the stand-in's faults."""

import hashlib
import io
import json
import re
import subprocess
import sys

import pytest
from conftest import PICTURES, ROOT, Client, StandIn, wait_until
from harbor.faults import Fault
from PIL import Image, ImageChops

BROWSE, FAVORITES, GALLERIES, LOGIN = (
    "vh.wallpapers.browse", "vh.wallpapers.favorites", "vh.getGalleries", "vh.auth.login")


def credentials(name, password):
    return {"username": name, "md5password": hashlib.md5(password).hexdigest()}


def error_number(body):
    shape = re.fullmatch(r"<error>\n<number>(\d+)</number>\n<description>[^\n]+</description>\n</error>\n", body)
    return shape and int(shape[1])


def test_answers_have_the_services_form(client, harbor):
    body = (b'<wallpapers count="1">\n<wallpaper>\n<id>1002</id>\n<title>Green Meadow</title>\n'
            b'<filename>GreenMeadow.jpg</filename>\n<link>http://velvetharbor.example/wallpaper/1002</link>\n'
            b'<points>%d</points>\n</wallpaper>\n</wallpapers>\n' % harbor.catalogue.pictures[1002].points)
    assert client.get(client.query(BROWSE, {**client.ROTATION, "startid": "1003"})) == (
        b"HTTP/1.0 200 OK\r\nResponse-From: VHAPI\r\nContent-Type: text/xml\r\nContent-Length: %d\r\n\r\n"
        % len(body)) + body

    general = "<redir>no</redir><friendly>General</friendly>", "<redir>yes</redir><friendly>Miscellaneous</friendly>"
    galleries = {"Assorted": general, "deep space": general,
                 "Nature": (*general, "<redir>no</redir><friendly>Red Flowers</friendly>")}
    for wanted in ("yes", "no"):
        inner = {name: "<categories>" + "".join(f"<category>{each}</category>" for each in categories) + "</categories>"
                 if wanted == "yes" else "" for name, categories in galleries.items()}
        whole = "".join(f"<gallery><friendly>{name}</friendly>{more}</gallery>" for name, more in inner.items())
        lines = re.sub("(</[^>]+>|<[^/>]+>(?=<))", r"\1\n", f"<galleries>{whole}</galleries>")
        assert client.api(GALLERIES, {"withcategories": wanted}) == lines

    auth = client.api(LOGIN, credentials("ALICE", b"velvet"))
    shape = "<auth>\n<token>[0-9a-f]{32}</token>\n<username>alice</username>\n<apiKey>(.{12})</apiKey>\n</auth>\n"
    first, client.key = client.key, re.fullmatch(shape, auth)[1]
    assert client.key.isalnum() and client.key != first and client.rotate(member="alice")  # it is good from now on
    client.key = first.lower()
    assert error_number(client.api(GALLERIES)) == 902


@pytest.mark.parametrize("method, parameters, number", [
    (LOGIN, credentials("alice", b"linen"), 75),
    (LOGIN, credentials("nobody", b"velvet"), 75),
    (LOGIN, {"username": "alice"}, 951),
    ("vh.nonsense", {}, 950),
    (GALLERIES, {"apikey": "Rv8nTq2LxW5d"}, 951),  # the second one
    (FAVORITES, Client.ROTATION | {"member": "nobody"}, 69),
    (BROWSE, Client.ROTATION | {"gallery": "nowhere"}, 69),
    (BROWSE, Client.ROTATION | {"gallery": "nature", "category": "%A%E9%FF"}, 69),
    *[(BROWSE, Client.ROTATION | change, 951) for change in (
        {"withar": "0"}, {"withar": "inf"}, {"sort": "up"}, {"page": "0"}, {"startid": None}, {"QY%5FVersion": "1"})],
])
def test_errors(client, method, parameters, number):
    assert error_number(client.api(method, parameters)) == number


@pytest.mark.parametrize("search, found", [
    ({}, [1006, 1004, 1003, 1002, 1001]),  # all but the tower, which would be cut to a sliver
    ({"sort": "asc", "startid": "1002"}, [1003, 1004, 1006]),
    ({"startid": "1005"}, [1004, 1003, 1002, 1001]),  # be it among them or not
    ({"startid": "77"}, [1006, 1004, 1003, 1002, 1001]),  # behind the last one it begins anew
    ({"sort": "asc", "startid": "1006"}, [1001, 1002, 1003, 1004, 1006]),
    ({"perpage": "2", "page": "2"}, [1003, 1002]),
    ({"tag": "GREEN*"}, [1006, 1003, 1002]),
    ({"tag": "gr*use%2C+wolf%2C"}, [1006, 1001]),
    ({"tag": "tea+green"}, [1003]),  # wherever its words stand
    ({"tag": "green%9tea", "withar": "1%2C6"}, [1003]),  # a code below 16 comes with one digit
    ({"tag": "greenmeadow"}, [1002]),
    ({"tag": "flowers+rose"}, [1004]),  # folders are words as well
    ({"tag": "gree"}, []),
    ({"tag": "", "startid": "1003"}, []),
    ({"gallery": "Nature", "category": "Red%21+Flowers"}, [1006, 1004]),
    ({"gallery": "Nature", "category": "Miscellaneous"}, [1003, 1002]),
    ({"member": "alice"}, [1004, 1001]),
    ({"method": "favorites", "member": "aLiCe"}, [1003, 1001]),
])
def test_searches(client, search, found):
    assert client.rotate(**search) == found


def test_ratings_and_chance(client, harbor):
    for picture_id, points in {1001: 1, 1002: 0, 1003: 30, 1004: 90, 1006: 100}.items():
        harbor.members.rate("alice", picture_id, points)
    harbor.members.rate("bob", 1003, 33)
    # The last ones are what a person has typed up to now.
    found = {least: len(client.rotate(minpoints=least)) for least in ("0", "32", "33", "90", "101", "", "%2D", "90%2B")}
    assert found == {"0": 5, "32": 3, "33": 2, "90": 2, "101": 0, "": 5, "%2D": 5, "90%2B": 2}
    orders = {tuple(client.rotate(order="randomize", startid=None)) for _ in range(30)}
    assert len(orders) > 5 and {tuple(sorted(order)) for order in orders} == {(1001, 1002, 1003, 1004, 1006)}


def test_clients_write_in_the_code_page_of_their_windows(tmp_path, pictures):
    """A name comes back as the code page has it, be it as question marks; a password has to come back whole."""
    sent = {"Обои": ["cp1251", "cp1252"], "Łódź": ["cp1250", "cp1257"], "Café": ["cp1252"], "壁紙": ["cp932"], "??": []}
    for name in sent:
        (tmp_path / name).mkdir()
        (tmp_path / name / f"{name}.png").write_bytes((pictures / "Lone-Wolf.png").read_bytes() + name.encode())
    with StandIn(tmp_path) as harbor:
        client = Client(harbor)
        for name, page in [(name, page) for name, pages in sent.items() for page in pages]:
            coded = "".join(f"%{byte:X}" for byte in name.encode(page, "replace"))
            (wanted,) = (each.id for each in harbor.catalogue.newest if each.folders == (name,))
            assert client.rotate(gallery=coded) == [wanted]
            assert page == sent[name][-1] or client.rotate(tag=coded) == [wanted]
        harbor.members.set_password("alice", "Łódź")
        assert "<auth>" in client.api(LOGIN, credentials("alice", "Łódź".encode("cp1250")))
        assert harbor.members.verify("alice", "Łódź")


@pytest.mark.parametrize("host, prefix", [("api.velvetharbor.example", "http://dl.velvetharbor.example/quillory/"),
                                          ("box.lan", "http://box.lan/quillory/")])
def test_a_new_release_calls_for_an_upgrade(pictures, tmp_path, host, prefix):
    right, releases = hashlib.md5(b"archive").hexdigest() + "\n", tmp_path / "releases"
    releases.mkdir()
    for name, checksum in {"1.0.99": right, "1.0.113": right, "1.0.114": "", "1.0.115": "0" * 32, "9": right}.items():
        (releases / f"Quillory-{name}.zip").write_bytes(b"archive")
        (releases / f"Quillory-{name}.zip.md5").write_text(checksum)
    (tmp_path / "secret.zip").write_bytes(b"")
    with StandIn(pictures, releases=releases) as harbor:
        client = Client(harbor)
        assert client.api(BROWSE, client.ROTATION, host) == (
            f"<quillory>\n<action>upgrade</action>\n<link>{prefix}Quillory-1.0.113.zip</link>\n</quillory>\n")
        assert client.rotate(**{"QY%5FVersion": "1%2E0%2E113"})
        for path in (prefix, "http://velvetharbor.example/quillory/dl/"):
            assert client.get(path + "Quillory-1.0.113.zip").endswith(b"Content-Length: 7\r\n\r\narchive")
            assert client.get(path + "Quillory-1.0.113.zip.md5").endswith(right.encode())
            for name in ("../secret.zip", "Quillory-1.0.113.zip/", "Quillory-2.0.0.zip"):
                assert client.get(path + name).startswith(b"HTTP/1.0 404 ")


def test_an_image_comes_at_the_asked_size_in_its_own_format(client, harbor):
    for picture_id in PICTURES:
        picture = harbor.catalogue.pictures[picture_id]
        header, _, body = client.image(f"{picture_id}/99x71/{picture.filename}").partition(b"\r\n\r\n")
        image = Image.open(io.BytesIO(body))
        image.load()
        assert (image.size, image.format) == ((99, 71), picture.format)
        assert f"Content-Length: {len(body)}".encode() in header.split(b"\r\n")
    image = Image.open(io.BytesIO(client.image("1005/30x30/Tower.jpg").partition(b"\r\n\r\n")[2])).convert("L")
    centre = Image.radial_gradient("L").resize((30, 90)).crop((0, 30, 30, 60))
    assert max(ImageChops.difference(image, centre).getdata()) < 12
    for path in ("1002/9x9/Other.jpg", "9/9x9/GreenMeadow.jpg", "1002/0x9/GreenMeadow.jpg", "1002", "",
                 "1002/9x99999/GreenMeadow.jpg", "1002/9x9.0/GreenMeadow.jpg"):
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
    assert client.get(path, host).startswith(b"HTTP/1.0 %d " % status)


def test_what_is_no_request_and_a_fault_of_its_own_are_told_so(client, harbor, monkeypatch, capfd):
    def told(raw):
        header, _, body = client.exchange(raw).partition(b"\r\n\r\n")
        return header[9:12], error_number(body.decode()), "Traceback" in capfd.readouterr().err

    for raw in (b"nonsense\r\n\r\n", b"POST /api.php HTTP/1.0\r\n\r\n", b"GET / HTTP/1.0\n\n", b"GET / HT",
                b"x" * 70000, b"GET / HTTP/1.0\r\nno field\r\n\r\n", b"\xff\x00\xfe\r\n\r\n"):
        assert told(raw) == (b"400", 951, False), raw[:20]
    monkeypatch.setattr(harbor.catalogue, "now", None)
    assert told(f"GET {client.query(GALLERIES)} HTTP/1.0\r\n\r\n".encode()) == (b"500", 999, True)


@pytest.mark.parametrize("effects, expected", [
    ({"error": 901}, b"<error>\n<number>901</number>\n"),
    ({"upgrade": "http://x/?a&b"}, b"<action>upgrade</action>\n<link>http://x/?a&amp;b</link>\n"),
    ({"gateway": True}, b"\r\n\r\n<html>\n"),
    ({"header": {"Location": "/x", "Content-Type": None}}, b"Response-From: VHAPI\r\nLocation: /x\r\nContent-Length"),
    ({"nolength": True, "nomark": True, "body": "x"}, b"200 OK\r\nContent-Type: text/xml\r\n\r\nx"),
    ({"segments": [17, 40, -1], "slow": 2000}, b""), ({"stall": 25, "seconds": 0.1}, b""),
    ({"cut": 10}, b"HTTP/1.0 2"), ({"cut": -5}, b"\n</galler"),
])
def test_a_fault_hits_as_often_as_it_is_told_to(client, harbor, effects, expected):
    url = client.query(GALLERIES)
    right = client.get(url)
    harbor.fault("image", garbage=True)
    harbor.fault(GALLERIES, times=1, **effects)
    assert error_number(client.api("vh.nonsense")) == 950
    wrong = client.get(url)
    assert wrong.endswith(expected) if "cut" in effects else expected in wrong
    assert (wrong == right) == (not expected)
    assert client.get(url) == right and client.image("1002/9x9/GreenMeadow.jpg").endswith(b"nor anything else.\n")


def test_a_connection_can_stall_break_and_be_refused(client, harbor):
    wait_until(lambda: harbor.abort_connections() == 0)  # those of the tests before may just be going
    harbor.fault("api", times=1, stall=25)
    harbor.fault("api", times=1, reset=30)
    raw = f"GET {client.query(GALLERIES)} HTTP/1.0\r\n\r\n".encode()
    with client.connect() as sock:
        sock.sendall(raw + raw[:9])
        received = sock.recv(65536)
        wait_until(lambda: harbor.requests[-1].sent == 25)
        with client.connect() as other, pytest.raises(ConnectionResetError):
            other.sendall(raw)
            client.read(other)
        harbor.faults.clear()  # which ends the stall
        sock.sendall(raw[9:] + raw)  # pipelined, and torn
        while received.count(b"</galleries>\n") < 3:
            received += sock.recv(65536)
        harbor.fault("connect", refuse=True)
        with pytest.raises(ConnectionRefusedError):
            client.connect()
        assert harbor.abort_connections() == 1
        with pytest.raises(ConnectionResetError):
            sock.recv(1)
    harbor.faults.clear()
    assert client.rotate()


def test_the_command_line(pictures, tmp_path):
    assert Fault.parse('any*2 header={"A":null} segments=[1,2] seconds=0.5 upgrade=http://x/y=z nolength') == Fault(
        "any", 2, header={"A": None}, segments=[1, 2], seconds=0.5, upgrade="http://x/y=z", nolength=True)
    for text in ("", "image*x cut=1", "images cut=1", "image cut", "image cut=1.5", "image bite=1", "api refuse"):
        with pytest.raises((ValueError, TypeError)):
            Fault.parse(text)
    log = tmp_path / "log"
    command = [sys.executable, "-m", "harbor", "serve", "--pictures", pictures, "--port", "0", "--user", "Dora:wool",
               "--log", log, "--fault", "page*1 body=hello"]
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True, cwd=ROOT) as process:
        try:
            process.port = int(process.stdout.readline().rpartition(":")[2].strip("/\n"))
            assert Client(process).get("/").endswith(b"hello")
            answer = Client(process).get("/api.php?apikey=secret&md5password=secret")
            assert answer.endswith(b"</error>\n")
            wait_until(lambda: log.read_text().count("\n") == 2)
            assert json.loads(log.read_text().splitlines()[1])["sent"] == len(answer)
            assert "secret" not in log.read_text()
        finally:
            process.terminate()
