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
    assert [record.raw for record in harbor.requests] == [first, second, first]
    assert len({record.connection for record in harbor.requests}) == 1


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
    ("vh.getGalleries&withcategories=perhaps", 951),
    ("vh.getGalleries&apikey=Rv8nTq2LxW5d", 951),
    ("vh.getGalleries&&", 951),
    ("vh.wallpapers.favorites" + ROTATION, 951),
    ("vh.wallpapers.favorites&member=nobody" + ROTATION, 69),
    ("vh.wallpapers.browse&gallery=nowhere" + ROTATION, 69),
    ("vh.wallpapers.browse&gallery=nature&category=%A%E9%FF" + ROTATION, 69),
    *[("vh.wallpapers.browse" + re.sub(rf"&{name}=[^&]*", "", ROTATION), 951) for name in
      ("withar", "minpoints", "startid", "QY%5FVersion")],
    *[("vh.wallpapers.browse" + re.sub(rf"&{name}=[^&]*", f"&{name}={value}", ROTATION), 951) for name, value in
      [("withar", "0"), ("withar", "inf"), ("sort", "up"), ("page", "0"), ("perpage", "-1"), ("QY%5FVersion", "1%2E0")]],
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
    ({"sort": "asc", "startid": "1002"}, [1003, 1004, 1006]),
    ({"startid": "1005"}, [1004, 1003, 1002, 1001]),
    ({"startid": "77"}, [1006, 1004, 1003, 1002, 1001]),  # behind the last one it begins anew
    ({"sort": "asc", "startid": "1006"}, [1001, 1002, 1003, 1004, 1006]),
    ({"perpage": "2", "page": "2"}, [1003, 1002]),
    ({"tag": "green"}, [1003, 1002]),
    ({"tag": "GREEN*"}, [1006, 1003, 1002]),
    ({"tag": "*e*a*"}, [1003, 1002]),
    ({"tag": "gr*use%2C+wolf%2C"}, [1006, 1001]),
    ({"tag": "tea+green"}, [1003]),  # wherever its words stand
    ({"tag": "green%9tea"}, [1003]),  # a code below 16 comes with one digit
    ({"tag": "lone%2Dwolf"}, [1001]),
    ({"tag": "greenmeadow"}, [1002]),
    ({"tag": "flowers+rose"}, [1004]),  # folders are words as well
    ({"tag": "gree"}, []),
    ({"tag": ""}, []),
    ({"gallery": "nature"}, [1006, 1004, 1003, 1002]),
    ({"gallery": "Nature", "category": "Red%21+Flowers"}, [1006, 1004]),
    ({"gallery": "Nature", "category": "Miscellaneous"}, [1003, 1002]),
    ({"gallery": "Assorted"}, [1001]),
    ({"member": "alice"}, [1004, 1001]),
    ({"method": "favorites", "member": "aLiCe"}, [1003, 1001]),
])
def test_searches(client, search, found):
    assert client.rotate(**search) == found


def test_ratings_filter_and_members_choose(client, harbor):
    for picture_id, points in {1001: 1, 1002: 0, 1003: 30, 1004: 90, 1006: 100}.items():
        harbor.members.rate("alice", picture_id, points)
    harbor.members.rate("bob", 1003, 33)
    # The last ones are what a person has typed up to now.
    found = {least: len(client.rotate(minpoints=least)) for least in ("0", "32", "90", "101", "", "%2D", "90%2B", "nan")}
    assert found == {"0": 5, "32": 2 + 1, "90": 2, "101": 0, "": 5, "%2D": 5, "90%2B": 2, "nan": 5}
    harbor.members.star("bob", 1006, on=False)
    assert 1006 not in client.rotate("favorites", member="Bob")


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
    b"nonsense\r\n\r\n", b"\r\n\r\n", b"POST /api.php HTTP/1.0\r\n\r\n", b"GET / HTTP/1.0\n\n",
    b"GET / HTTP/1.0\r\nno field\r\n\r\n", b"\xff\x00\xfe\r\n\r\n", b"GET / HT", b"x" * 70000,
], ids=lambda raw: ascii(raw[:20]))
def test_malformed_requests_are_told_so(client, capfd, raw):
    with client.connect() as sock:
        sock.sendall(raw)
        if b"\n\n" not in raw.replace(b"\r", b""):
            sock.shutdown(1)
        header, _, body = client.read(sock).partition(b"\r\n\r\n")  # the connection ends by itself
    assert header.startswith(b"HTTP/1.0 400 ") and error_number(body.decode()) == 951
    assert "Traceback" not in capfd.readouterr().err


def test_a_fault_of_the_harbor_itself_is_answered_and_seen(client, harbor, monkeypatch, capfd):
    monkeypatch.setattr(harbor.catalogue, "now", None)
    header, _, body = client.exchange(client.request(client.API + "vh.getGalleries")).partition(b"\r\n\r\n")
    assert header.startswith(b"HTTP/1.0 500 ") and error_number(body.decode()) == 999
    assert "AttributeError" in capfd.readouterr().err


@pytest.mark.parametrize("name, page", [("Обои", "cp1251"), ("Łódź", "cp1250"), ("Café & Bar", "cp1252"), ("壁紙", "cp932"),
                                        ("Обои", "cp1252"), ("Łódź", "cp1257")])
def test_clients_write_in_the_code_page_of_their_windows(tmp_path, pictures, name, page):
    """A name comes back as the code page has it, be it as question marks; a password has to come back whole."""
    def coded(text):
        return "".join("%%%X" % byte for byte in text.encode(page, "replace"))

    for gallery in (name, "Other", "??"):
        (tmp_path / gallery).mkdir()
        (tmp_path / gallery / f"{gallery}.png").write_bytes((pictures / "Lone-Wolf.png").read_bytes() + gallery.encode())
    with StandIn(tmp_path) as harbor:
        client = Client(harbor)
        (wanted,) = (each.id for each in harbor.catalogue.newest if each.folders == (name,))
        assert client.rotate(gallery=coded(name)) == [wanted]
        if "?" not in coded(name) and name.encode(page, "replace").decode(page) == name:
            assert client.rotate(tag=coded(name.split()[0])) == [wanted]
            harbor.members.set_password("alice", name)
            assert "<auth>" in client.api("vh.auth.login&username=alice&md5password=" +
                                          hashlib.md5(name.encode(page)).hexdigest())
            assert harbor.members.verify("alice", name)


@pytest.mark.parametrize("host, prefix", [("api.velvetharbor.example", "http://dl.velvetharbor.example/quillory/"),
                                          ("box.lan", "http://box.lan/quillory/")])
def test_a_new_release_calls_for_an_upgrade(pictures, tmp_path, host, prefix):
    right = hashlib.md5(b"archive").hexdigest() + "\n"
    for name, checksum in {"1.0.99": right, "1.0.113": right, "1.0.114": None, "1.0.115": "0" * 32, "9": right}.items():
        (tmp_path / f"Quillory-{name}.zip").write_bytes(b"archive")
        if checksum:
            (tmp_path / f"Quillory-{name}.zip.md5").write_text(checksum)
    (tmp_path.parent / "secret.zip").write_bytes(b"")
    with StandIn(pictures, releases=tmp_path) as harbor:
        client = Client(harbor)
        assert client.api("vh.wallpapers.browse" + ROTATION, host) == (
            f"<quillory>\n<action>upgrade</action>\n<link>{prefix}Quillory-1.0.113.zip</link>\n</quillory>\n")
        assert client.rotate(**{"QY%5FVersion": "1%2E0%2E113"})
        for path in (prefix, "http://velvetharbor.example/quillory/dl/"):
            for name, content in {"Quillory-1.0.113.zip": b"archive", "Quillory-1.0.113.zip.md5": right.encode()}.items():
                header, _, body = client.exchange(client.request(path + name)).partition(b"\r\n\r\n")
                assert body == content and b"Content-Length: %d" % len(content) in header
        for name in ("../secret.zip", "Quillory-1.0.113.zip/", "Quillory-2.0.0.zip"):
            assert b"404" in client.exchange(client.request("/quillory/" + name, "dl.velvetharbor.example"))[:20]
