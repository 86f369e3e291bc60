"""What goes over the wire, byte for byte where clients depend on it."""

import hashlib
import io
import re

import pytest
from conftest import PICTURES, Client, StandIn
from PIL import Image, ImageChops

BROWSE, FAVORITES, GALLERIES, LOGIN = (
    "vh.wallpapers.browse", "vh.wallpapers.favorites", "vh.getGalleries", "vh.auth.login")


def credentials(name, password):
    return {"username": name, "md5password": hashlib.md5(password).hexdigest()}


def leaf(name, value, line_feed=""):
    return f"<{name}>{line_feed}{value}</{name}>\n"


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

    general = "no General", "yes Miscellaneous"
    galleries = {"Assorted": general, "deep space": general, "Nature": (*general, "no Red Flowers")}
    for wanted in ("yes", "no"):
        expected = "<galleries>\n"
        for name, categories in galleries.items():
            entries = [leaf("category", leaf("redir", each[:3].strip()) + leaf("friendly", each[3:].strip()), "\n")
                       for each in categories]
            listed = leaf("categories", "".join(entries), "\n") if wanted == "yes" else ""
            expected += leaf("gallery", leaf("friendly", name) + listed, "\n")
        assert client.api(GALLERIES, {"withcategories": wanted}) == expected + "</galleries>\n"

    auth = client.api(LOGIN, credentials("ALICE", b"velvet"))
    shape = "<auth>\n<token>[0-9a-f]{32}</token>\n<username>alice</username>\n<apiKey>(.{12})</apiKey>\n</auth>\n"
    first, client.key = client.key, re.fullmatch(shape, auth)[1]
    assert client.key.isalnum() and client.key != first and client.rotate(member="alice")  # it is good from now on
    client.key = first.lower()
    assert error_number(client.api(GALLERIES)) == 902


@pytest.mark.parametrize("method, parameters, number", [
    (LOGIN, credentials("alice", b"linen"), 75), (LOGIN, credentials("nobody", b"velvet"), 75),
    (LOGIN, {"username": "alice"}, 951), ("vh.nonsense", {}, 950),
    (GALLERIES, {"apikey": "Rv8nTq2LxW5d"}, 951),  # the second one
    (FAVORITES, Client.ROTATION | {"member": "nobody"}, 69), (BROWSE, Client.ROTATION | {"gallery": "nowhere"}, 69),
    (BROWSE, Client.ROTATION | {"gallery": "nature", "category": "%A%E9%FF"}, 69),
    *[(BROWSE, Client.ROTATION | change, 951) for change in (
        {"withar": "0"}, {"withar": "inf"}, {"sort": "up"}, {"page": "0"}, {"startid": None}, {"QY%5FVersion": "1"})],
])
def test_errors(client, method, parameters, number):
    assert error_number(client.api(method, parameters)) == number


@pytest.mark.parametrize("search, found", [
    ({}, [1006, 1004, 1003, 1002, 1001]),  # all but the tower, which would be cut to a sliver
    ({"startid": "1005"}, [1004, 1003, 1002, 1001]), ({"sort": "asc", "startid": "1002"}, [1003, 1004, 1006]),
    ({"startid": "77"}, [1006, 1004, 1003, 1002, 1001]),  # behind the last one it begins anew
    ({"sort": "asc", "startid": "1006"}, [1001, 1002, 1003, 1004, 1006]), ({"perpage": "2", "page": "2"}, [1003, 1002]),
    ({"tag": "GREEN*"}, [1006, 1003, 1002]), ({"tag": "gr*use%2C+wolf%2C"}, [1006, 1001]),
    ({"tag": "tea+green"}, [1003]),  # wherever its words stand
    ({"tag": "green%9tea", "withar": "1%2C6"}, [1003]),  # a code below 16 comes with one digit
    ({"tag": "greenmeadow"}, [1002]), ({"tag": "gree"}, []), ({"tag": ""}, []), ({"withar": "0%2E5"}, [1005]),
    ({"tag": "flowers+rose"}, [1004]),  # folders are words as well
    ({"gallery": "Nature", "category": "Red%21+Flowers"}, [1006, 1004]),
    ({"gallery": "Nature", "category": "Miscellaneous"}, [1003, 1002]),
    ({"member": "alice"}, [1004, 1001]), ({"method": "favorites", "member": "aLiCe"}, [1003, 1001]),
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


def test_names_and_paths_lead_to_their_part_of_the_site(client):
    image = "/dl/inline/1002/9x9/GreenMeadow.jpg"
    for host, path, status in (
            ("www.velvetharbor.example", "/quillory/", 200), ("velvetharbor.example", "/api.php", 404),
            ("velvetharbor.example", "/wallpaper/1002", 200), ("api.velvetharbor.example", image, 404),
            ("127.0.0.1:8080", image, 200), ("box.lan", "/quillory/", 200), ("", "/", 200)):
        assert client.get(path, host).startswith(b"HTTP/1.0 %d " % status), (host, path)


def test_what_is_no_request_and_a_fault_of_its_own_are_told_so(client, harbor, monkeypatch, capfd):
    def told(raw):
        header, _, body = client.exchange(raw).partition(b"\r\n\r\n")
        return header[9:12], error_number(body.decode()), "Traceback" in capfd.readouterr().err

    for raw in (b"nonsense\r\n\r\n", b"POST /api.php HTTP/1.0\r\n\r\n", b"GET / HTTP/1.0\n\n", b"GET / HT",
                b"x" * 70000, b"GET / HTTP/1.0\r\nno field\r\n\r\n", b"\xff\x00\xfe\r\n\r\n"):
        assert told(raw) == (b"400", 951, False), raw[:20]
    monkeypatch.setattr(harbor.catalogue, "now", None)
    assert told(f"GET {client.query(GALLERIES)} HTTP/1.0\r\n\r\n".encode()) == (b"500", 999, True)
