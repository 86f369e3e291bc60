"""The pages: one story in a real browser, and what strangers may try."""

import http.client
import io
import re
import urllib.parse

import pytest
from browser import Browser
from PIL import Image
from harbor.service import Harbor
from harbor.settings import Settings


def picture(colour="navy", size=(1600, 1000), kind="JPEG") -> bytes:
    out = io.BytesIO()
    Image.linear_gradient("L").resize(size).convert("RGB").point(lambda level: level // 2 + 60).save(out, kind)
    return out.getvalue()


@pytest.fixture
def house(pictures, tmp_path):
    """A new box: pictures, but no member yet."""
    settings = Settings(pictures, state=tmp_path / "state", bind=("127.0.0.1",), port=0)
    with Harbor(settings) as harbor:
        harbor.catalogue.scan()
        yield harbor


def test_a_house_moves_in(house, tmp_path):
    home = f"http://127.0.0.1:{house.port}"
    (tmp_path / "Quiet <b>Bay.jpg").write_bytes(picture())
    (tmp_path / "cut.jpg").write_bytes(picture()[:20000])

    with Browser(home) as alice:
        # The page that Quillory's login window opens, on a box that nobody owns yet.
        alice.open("/signup?source=Quillory")
        assert "whoever signs up first is its owner" in alice.text
        alice.see("signup")
        alice.type(username="alice", password="velvet", again="velvet")
        alice.press_and_go("Sign up")
        assert "You are the owner of this box" in alice.text
        assert alice.count(".pictures li") == 6 and alice.are_images_shown()
        assert (alice.cookie()["httpOnly"], alice.cookie()["sameSite"]) == (True, "Lax")
        alice.see("home")

        # Three pictures, chosen and dropped; each is told its own outcome.
        alice.press_and_go("Send pictures")
        alice.type(pictures=f"{tmp_path / 'Quiet <b>Bay.jpg'}\n{tmp_path / 'cut.jpg'}")
        alice.drop(".drop", "lantern_night.png", picture(kind="PNG"))
        alice._until(lambda _: alice.count(".state.well") == 2 and alice.count(".state.wrong") == 1, "three outcomes")
        alice.see("send")
        assert len(alice.complaints()) == 1  # the refused one, and nothing of a script or a style
        alice.open("/")
        alice.press_and_go("Quiet b Bay")
        bay = alice.address
        number = int(bay.removeprefix("/wallpaper/"))
        alice.press("Add to your favorites")
        alice.wait_for("In your favorites")
        assert alice.find("#stars").text == "1" and alice.address == bay
        alice.see("wallpaper")
        alice.dark()
        alice.see("wallpaper-dark")
        red, green, blue = map(int, re.findall(r"\d+", alice.style("html", "background-color"))[:3])
        assert max(red, green, blue) < 64
        alice.narrow()
        for page, name in (("/", "home"), ("/settings", "settings"), ("/galleries/", "galleries"), (bay, "picture")):
            alice.open(page)
            assert not alice.overflows()
            alice.see(f"{name}-narrow-dark")
        assert alice.complaints() == []

    # The client finds what the pages were told.
    assert house.members.favorites("alice") == {number} and len(house.members.uploads("alice")) == 2

    with Browser(home, scripts=False) as bob:
        bob.open("/quillory/")
        assert "No setup program lies here yet" in bob.text
        bob.press_and_go("Sign up")
        bob.type(username="Alice", password="linen", again="linen")
        bob.press_and_go("Sign up")
        assert "Alice is taken already" in bob.text
        bob.find("main [name=username]").clear()
        bob.type(username="bob", password="linen", again="linen")
        bob.press_and_go("Sign up")
        bob.open(bay)
        assert "Sent by\nalice" in bob.text and "Remove this picture" not in bob.text
        bob.press_and_go("Add to your favorites")
        bob.press_and_go("Give points")
        assert "your points count" in bob.text and bob.find("#stars").text == "2"
        bob.open("/members/alice/uploads/?source=Quillory")  # where Quillory's links lead
        assert "2 pictures" in bob.text
        bob.open("/send")
        bob.type(pictures=str(tmp_path / "Quiet <b>Bay.jpg"))
        bob.press_and_go("Send")
        bob.press_and_go("here it is")
        bob.press("Remove this picture")
        bob.press_and_go("Remove it")
        assert "is gone" in bob.text
        bob.open("/settings")
        assert "Members" not in bob.text
        bob.type(present="linen", password="hemp", again="hemp")
        bob.press_and_go("Change password")
        assert "Your password is changed" in bob.text
        bob.press_and_go("Log out")
        bob.open("/send")
        assert bob.address == "/login?next=%2Fsend"
        bob.type(username="BOB", password="hemp")
        bob.press_and_go("Log in")
        assert bob.address == "/send"
    assert house.members.uploads("bob") == set()


class Visitor:
    """A browser without eyes, which keeps its cookie and sends what it is told to."""

    def __init__(self, port: int):
        self._port, self.cookie, self.token = port, "", ""

    def ask(self, method: str, path: str, body: bytes = b"", kind="application/x-www-form-urlencoded", **headers):
        link = http.client.HTTPConnection("127.0.0.1", self._port, timeout=20)
        link.request(method, path, body or None, {"Content-Type": kind, "Cookie": self.cookie, **headers})
        answer = link.getresponse()
        text = answer.read().decode("utf-8", "replace")
        link.close()
        if cookie := answer.getheader("Set-Cookie"):
            self.cookie = cookie.partition(";")[0]
        if found := re.search(r'name="token" value="([^"]+)"', text):
            self.token = found[1]
        return answer, text

    def post(self, path: str, token=None, **fields) -> int:
        form = urllib.parse.urlencode({"token": self.token if token is None else token, **fields})
        return self.ask("POST", path, form.encode())[0].status

    def send(self, name: str, content: bytes):
        body = "".join(f'--cut\r\nContent-Disposition: form-data; name="{field}"{more}\r\n\r\n' + "{}\r\n"
                       for field, more in (("token", ""), ("pictures", f'; filename="{name}"')))
        first, second, _ = body.split("{}")
        raw = (first + self.token + second).encode() + content + b"\r\n--cut--\r\n"
        return self.ask("POST", "/send", raw, "multipart/form-data; boundary=cut", Accept="application/json")


def moved_in(house, name: str) -> Visitor:
    visitor = Visitor(house.port)
    visitor.ask("GET", "/signup")
    assert visitor.post("/signup", username=name, password="velvet", again="velvet") == 302
    visitor.ask("GET", "/settings")
    return visitor


def test_a_member_changes_only_what_is_theirs(house):
    alice, bob = moved_in(house, "alice"), moved_in(house, "bob")
    status = alice.send("mine.png", picture(kind="PNG"))[0].status
    (mine,) = house.members.uploads("alice")
    folders = max(house.catalogue.pictures.keys() - {mine})
    assert status == 200
    stranger = Visitor(house.port)
    stranger.ask("GET", "/login")
    for visitor, path, fields in [
        (bob, f"/wallpaper/{mine}/remove", {}),
        (alice, f"/wallpaper/{folders}/remove", {}),  # lies in the folder, so it is no upload of anybody's
        (bob, "/settings/members", {"username": "carl", "password": "x"}),
        (bob, "/settings/members/alice/password", {"password": "x"}),
        (bob, "/settings/members/alice/remove", {}),
        (stranger, f"/wallpaper/{mine}/star", {"on": "yes"}),
        (stranger, "/send", {}),
        (alice, f"/wallpaper/{mine}/star", {"on": "yes", "token": ""}),
        (alice, f"/wallpaper/{mine}/star", {"on": "yes", "token": bob.token}),
        (Visitor(house.port), "/login", {"username": "alice", "password": "velvet"}),  # another site's form
    ]:
        assert visitor.post(path, **fields) == 403, (path, fields)
    assert house.members.stars(mine) == 0 and mine in house.catalogue.pictures
    assert alice.post("/settings/members/alice/remove") == 400

    # The owner may: bob gets a new password, which ends his session, and leaves.
    assert alice.post("/settings/members/bob/password", password="linen") == 302
    assert bob.ask("GET", "/settings")[0].status == 302
    assert alice.post("/settings/members/bob/remove") == 302 and house.members.find("bob") is None
    assert alice.post(f"/wallpaper/{mine}/remove") == 302 and mine not in house.catalogue.pictures


def test_what_strangers_may_try(house):
    alice = moved_in(house, "alice")
    bomb = io.BytesIO()
    Image.new("1", (12000, 12000)).save(bomb, "PNG")
    for name, content, said in [
        ("page.jpg", b"<script>alert(1)</script>", "no picture"),
        ("drawing.svg", b"<svg xmlns='http://www.w3.org/2000/svg'/>", "no picture"),
        ("half.png", picture(kind="PNG")[:-400], "no picture"),
        ("wide.png", bomb.getvalue(), "pixels are too many"),
        ("empty.jpg", b"", "no picture"),
    ]:
        answer, text = alice.send(name, content)
        assert answer.status == 400 and said in text, (name, text)
    assert house.members.uploads("alice") == set()
    assert [each for each in house.settings.uploads.rglob("*") if each.is_file()] == []

    # A name from elsewhere stays a name, and two of one name stay two.
    for _ in range(2):
        answer, text = alice.send("../../../etc/.hidden\\..\\<img src=x onerror=alert(1)>.png", picture(kind="PNG"))
        assert answer.status == 200, text
    kept = sorted(each.name for each in house.settings.uploads.rglob("*") if each.is_file())
    assert len(kept) == 2 and all(re.fullmatch(r"img src x onerror alert\(1\)( 2)?\.png", name) for name in kept)
    (one, _) = house.members.uploads("alice")
    assert "<img src=x" not in alice.ask("GET", f"/wallpaper/{one}")[1]
    assert "<script>" not in alice.ask("GET", "/search?tag=%3Cscript%3E")[1]
    for points in ("-1", "101", "5+", ""):
        assert alice.post(f"/wallpaper/{one}/points", points=points) == 400

    # Nobody is led away after a login, a name is a name, and guessing has an end.
    visitor = Visitor(house.port)
    for elsewhere in ("//evil.example/", "http://evil.example/", "/\\evil.example/", "javascript:alert(1)"):
        visitor.ask("GET", "/login")
        where = "/login?next=" + urllib.parse.quote(elsewhere)
        form = urllib.parse.urlencode({"token": visitor.token, "username": "alice", "password": "velvet"}).encode()
        assert visitor.ask("POST", where, form)[0].getheader("Location") == "/"
    visitor.ask("GET", "/signup")
    for name in ("", "..", ".bob", "a b", "a/b", "x" * 33, "alice", "ALICE"):
        assert visitor.post("/signup", username=name, password="x", again="x") == 400, name
    flood = b"token=" + b"x" * 2_000_000
    assert visitor.ask("POST", "/login", flood)[0].status == 413
    assert alice.ask("POST", "/send", flood)[0].status == 413
    assert Visitor(house.port).ask("POST", "/send", flood)[0].status == 403
    tries = [visitor.post("/login", username="alice", password="wrong") for _ in range(11)]
    assert tries == [400] * 10 + [429]
    for path in ("/wallpaper/1", "/wallpaper/99999999999999999999", "/members/nobody/", "/gallery/x/",
                 "/preview/1/thumb", "/static/../app.py", "/nothing"):
        assert visitor.ask("GET", path)[0].status == 404, path
    answer, _ = visitor.ask("GET", "/alice/favorites/?source=Quillory", Host="members.velvetharbor.example")
    assert answer.getheader("Location") == "http://velvetharbor.example/members/alice/favorites/?source=Quillory"
