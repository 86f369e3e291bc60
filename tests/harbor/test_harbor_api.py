"""What the API answers, byte for byte where clients depend on it."""

import hashlib
import re
import xml.etree.ElementTree as ElementTree

import pytest
from conftest import Client, StandIn

ROTATION = ("&withar=1%2E77778&withtags=no&sort=desc&minpoints=0&order=freshness&startid=1003&page=1&perpage=1"
            "&QY%5FVersion=1%2E0%2E112")


def login(name, password):
    return f"vh.auth.login&username={name}&md5password={hashlib.md5(password.encode()).hexdigest()}"


def error_number(body):
    shape = re.fullmatch(r"<error>\n<number>(\d+)</number>\n<description>[^\n]+</description>\n</error>\n", body)
    return shape and int(shape[1])


def test_an_answer_has_the_services_form(client):
    answer = client.exchange(client.request(client.API + "vh.wallpapers.browse" + ROTATION))
    body = (b'<wallpapers count="1">\n<wallpaper>\n<id>1002</id>\n<title>Green Meadow</title>\n'
            b'<filename>GreenMeadow.jpg</filename>\n<link>http://velvetharbor.example/wallpaper/1002</link>\n'
            b'<points>%d</points>\n</wallpaper>\n</wallpapers>\n' % client._harbor.catalogue.pictures[1002].points)
    assert answer == (b"HTTP/1.0 200 OK\r\nResponse-From: VHAPI\r\nContent-Type: text/xml\r\n"
                      b"Content-Length: %d\r\n\r\n" % len(body)) + body


def test_a_connection_carries_many_requests_pipelined_or_torn(client, harbor):
    first, second = (client.request(client.API + method) for method in ("vh.getGalleries", "vh.nonsense"))
    with client.connect() as sock:
        sock.sendall(first + second + first[:30])
        received = b""
        while not received.endswith(b"</error>\n"):
            received += sock.recv(65536)
        sock.sendall(first[30:])
        received += sock.recv(65536)
    assert re.findall(rb"\n</(\w+)>\n(?=HTTP|$)", received) == [b"galleries", b"error", b"galleries"]
    assert [(record.connection, record.raw) for record in harbor.requests] == [(1, first), (1, second), (1, first)]


def test_login(client):
    auth = ElementTree.fromstring(client.api(login("ALICE", "velvet")))
    assert (auth.tag, auth.findtext("username")) == ("auth", "alice")
    assert auth.findtext("token")
    key = auth.findtext("apiKey")
    assert re.fullmatch("[A-Za-z0-9]{12}", key) and key not in client.API
    client.API = client.API.replace("Rv8nTq2LxW5d", key)
    assert client.rotate(member="alice")  # the new key is good from now on


@pytest.mark.parametrize("query, number", [
    (login("alice", "linen"), 75),
    (login("alice", "velvet").replace("md5password=", "md5password=A"), 75),
    (login("nobody", "velvet"), 75),
    ("vh.auth.login&username=alice", 951),
    ("vh.nonsense", 950),
    ("", 950),
    ("vh.getGalleries&withcategories=perhaps", 951),
    ("vh.getGalleries&apikey=Rv8nTq2LxW5d", 951),
    ("vh.getGalleries&&", 951),
    ("vh.getGalleries&apikey", 951),
    ("vh.wallpapers.favorites" + ROTATION, 951),
    ("vh.wallpapers.favorites&member=nobody" + ROTATION, 69),
    ("vh.wallpapers.browse&member=nobody" + ROTATION, 69),
    ("vh.wallpapers.browse&gallery=nowhere" + ROTATION, 69),
    ("vh.wallpapers.browse&gallery=nature&category=%A%E9%FF" + ROTATION, 69),
    ("vh.wallpapers.browse&category=General" + ROTATION, 951),
    *[("vh.wallpapers.browse" + re.sub(rf"&{name}=[^&]*", "", ROTATION), 951) for name in
      ("withar", "withtags", "sort", "minpoints", "order", "startid", "page", "perpage", "QY%5FVersion")],
    *[("vh.wallpapers.browse" + re.sub(rf"&{name}=[^&]*", f"&{name}={value}", ROTATION), 951) for name, value in
      [("withar", "0"), ("withar", "inf"), ("withar", "wide"), ("minpoints", "nan"), ("sort", "up"), ("order", "any"),
       ("page", "0"), ("perpage", "-1"), ("startid", "%E9"), ("QY%5FVersion", "1%2E0")]],
])
def test_errors(client, query, number):
    assert error_number(client.api(query)) == number


def test_an_unknown_key_is_refused(client):
    client.API = client.API.replace("Rv8n", "rv8n")
    assert error_number(client.api("vh.getGalleries")) == 902


def test_galleries(client):
    def category(redir, name):
        return f"<category>\n<redir>{redir}</redir>\n<friendly>{name}</friendly>\n</category>\n"

    general = category("no", "General") + category("yes", "Miscellaneous")
    galleries = {"Assorted": general, "deep space": general, "Nature": general + category("no", "Red Flowers")}
    for wanted in ("yes", "no"):
        assert client.api(f"vh.getGalleries&withcategories={wanted}") == "<galleries>\n" + "".join(
            f"<gallery>\n<friendly>{name}</friendly>\n" +
            (f"<categories>\n{categories}</categories>\n" if wanted == "yes" else "") + "</gallery>\n"
            for name, categories in galleries.items()) + "</galleries>\n"


@pytest.mark.parametrize("search, found", [
    ({}, [1006, 1004, 1003, 1002, 1001]),  # all but the tower, which would be cut to a sliver
    ({"withar": "0%2E5"}, [1005]),
    ({"withar": "1%2C77778"}, [1006, 1004, 1003, 1002, 1001]),
    ({"sort": "asc"}, [1001, 1002, 1003, 1004, 1006]),
    ({"sort": "asc", "startid": "1002"}, [1003, 1004, 1006]),
    ({"startid": "1005"}, [1004, 1003, 1002, 1001]),
    ({"startid": "77"}, [1006, 1004, 1003, 1002, 1001]),
    ({"perpage": "2", "page": "2"}, [1003, 1002]),
    ({"perpage": "2", "page": "9"}, []),
    ({"tag": "green"}, [1003, 1002]),
    ({"tag": "GREEN*"}, [1006, 1003, 1002]),
    ({"tag": "*e*a*"}, [1003, 1002]),
    ({"tag": "gr*use%2C+wolf%2C"}, [1006, 1001]),
    ({"tag": "green+tea"}, [1003]),
    ({"tag": "green%9tea"}, [1003]),  # a code below 16 comes with one digit
    ({"tag": "lone%2Dwolf"}, [1001]),
    ({"tag": "gree"}, []),
    ({"tag": ""}, []),
    ({"tag": "%2E%2B"}, []),
    ({"gallery": "nature"}, [1006, 1004, 1003, 1002]),
    ({"gallery": "Nature", "category": "Red+Flowers"}, [1006, 1004]),
    ({"gallery": "Nature", "category": "Red%21+Flowers"}, [1006, 1004]),
    ({"gallery": "Nature", "category": "Miscellaneous"}, [1003, 1002]),
    ({"gallery": "Assorted"}, [1001]),
    ({"member": "alice"}, [1004, 1001]),
    ({"method": "favorites", "member": "aLiCe"}, [1003, 1001]),
])
def test_searches(client, search, found):
    assert client.rotate(**search) == found


def test_ratings_filter_and_members_choose(client, harbor):
    for picture_id, points in {1001: -5, 1002: 0, 1003: 30, 1004: 90, 1006: 200}.items():
        harbor.catalogue.pictures[picture_id].points = points
    found = {least: len(client.rotate(minpoints=least)) for least in ("%2D99", "0", "", "31", "200", "201")}
    assert found == {"%2D99": 5, "0": 4, "": 4, "31": 2, "200": 1, "201": 0}
    harbor.set_favorites("bob", [1006])
    assert client.rotate("favorites", member="Bob") == [1006]


def test_a_sequence_ends_and_begins_anew(client):
    seen = [0]
    while len(seen) < 8:
        seen += client.rotate(perpage="1", startid=seen[-1])
    assert seen == [0, 1006, 1004, 1003, 1002, 1001, 1006, 1004]
    assert client.rotate(tag="nothing", startid="1003") == []


def test_random_order_brings_everything_in_turn(client):
    orders = {tuple(client.rotate(order="randomize", startid=None)) for _ in range(40)}
    assert len(orders) > 5 and {tuple(sorted(order)) for order in orders} == {(1001, 1002, 1003, 1004, 1006)}


@pytest.mark.parametrize("raw", [
    b"nonsense\r\n\r\n", b"\r\n\r\n", b"GET /\r\n\r\n", b"POST /api.php HTTP/1.0\r\n\r\n", b"GET / HTTP/1.0\n\n",
    b"GET /a b HTTP/1.0\r\n\r\n", b"GET / HTTP/1.0\r\nno field\r\n\r\n", b"\xff\x00\xfe\r\n\r\n", b"GET / HT",
    b"x" * 70000,
], ids=lambda raw: ascii(raw[:20]))
def test_malformed_requests_are_told_so(client, capfd, raw):
    with client.connect() as sock:
        sock.sendall(raw)
        if b"\n\n" not in raw.replace(b"\r", b""):
            sock.shutdown(1)
        header, _, body = client.read(sock).partition(b"\r\n\r\n")  # the connection ends by itself
    assert header.startswith(b"HTTP/1.0 400 ") and error_number(body.decode()) == 951
    assert "Traceback" not in capfd.readouterr().err


def test_a_fault_of_the_harbor_itself_is_answered_and_seen(tmp_path, pictures, capfd):
    picture = tmp_path / "Gone.png"
    picture.write_bytes((pictures / "Lone-Wolf.png").read_bytes())
    with StandIn(tmp_path) as harbor:
        picture.unlink()
        header, _, body = Client(harbor).image("1001/8x6/Gone.png").partition(b"\r\n\r\n")
        assert header.startswith(b"HTTP/1.0 500 ") and error_number(body.decode()) == 999
        assert "FileNotFoundError" in capfd.readouterr().err


def test_names_beyond_ascii_survive_any_code_page(tmp_path, pictures):
    (tmp_path / "Caf\u00e9 & Bar").mkdir()
    (tmp_path / "Caf\u00e9 & Bar" / "Th\u00e9 \u0416.png").write_bytes((pictures / "Lone-Wolf.png").read_bytes())
    with StandIn(tmp_path) as harbor:
        client = Client(harbor)
        assert "<friendly>Caf&#233; &amp; Bar</friendly>\n" in client.api("vh.getGalleries")
        assert client.rotate(gallery="Caf%E9+%26+Bar", tag="th%E9") == [1001]
        assert client.image("1001/8x6/Th_.png").startswith(b"HTTP/1.0 200 OK")


def test_a_new_release_calls_for_an_upgrade(client, pictures, tmp_path):
    for name in ("Quillory-1.0.99.zip", "Quillory-1.0.113.zip", "Quillory-1.0.113.zip.md5", "Quillory-9.zip"):
        (tmp_path / name).write_bytes(name.encode())
    (tmp_path.parent / "secret.zip").write_bytes(b"")
    with StandIn(pictures, releases=tmp_path) as harbor:
        client = Client(harbor)
        assert client.api("vh.wallpapers.browse" + ROTATION) == (
            "<quillory>\n<action>upgrade</action>\n"
            "<link>http://dl.velvetharbor.example/quillory/Quillory-1.0.113.zip</link>\n</quillory>\n")
        assert client.rotate(**{"QY%5FVersion": "1%2E0%2E113"})
        for host, path in (("dl.velvetharbor.example", "/quillory/"), ("velvetharbor.example", "/quillory/dl/")):
            for name in ("Quillory-1.0.113.zip", "Quillory-1.0.113.zip.md5"):
                header, _, body = client.exchange(client.request(path + name, host)).partition(b"\r\n\r\n")
                assert body == name.encode() and b"Content-Length: %d" % len(name) in header
        for name in ("../secret.zip", "Quillory-1.0.113.zip/", "Quillory-2.0.0.zip", ""):
            assert b"404" in client.exchange(client.request("/quillory/" + name, "dl.velvetharbor.example"))[:20]
