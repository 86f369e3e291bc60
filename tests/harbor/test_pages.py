"""The pages: one story in a real browser, and what strangers may try."""

import hashlib
import http.client
import io
import re
import time
import urllib.parse

from browser import Browser
from conftest import Client, png_of
from PIL import Image


def picture(kind="JPEG") -> bytes:
    out = io.BytesIO()
    Image.linear_gradient("L").resize((1600, 1000)).convert("RGB").save(out, kind)
    return out.getvalue()


def test_a_house_moves_in(house, tmp_path):
    (tmp_path / "Quiet <b>Bay.jpg").write_bytes(picture())
    (tmp_path / "cut.jpg").write_bytes(picture()[:20000])
    with Browser(f"http://127.0.0.1:{house.port}") as person:
        # Alice, on the page that Quillory's login window opens, on a box that nobody owns yet.
        person.open("/signup?source=Quillory")
        assert "whoever signs up first is its owner" in person.text
        for name, text in {"username": "alice", "password": "velvet", "again": "velvet"}.items():
            person.find(f"main [name={name}]").send_keys(text)
        person.go("Sign up")
        assert "You are the owner of this box" in person.text and person.count(".pictures li") == 6
        cookie = person.driver.get_cookie("harbor")
        assert (cookie["httpOnly"], cookie["sameSite"]) == (True, "Lax")

        # Three pictures, chosen and dropped; each is told its own outcome.
        person.go("Send pictures")
        person.find("main [name=pictures]").send_keys(f"{tmp_path / 'Quiet <b>Bay.jpg'}\n{tmp_path / 'cut.jpg'}")
        person.drop(".drop", "lantern_night.png", picture(kind="PNG"))
        person.wait_for(lambda: (person.count(".state.well"), person.count(".state.wrong")) == (2, 1), "outcomes")
        person.see("send")
        assert len(person.complaints()) == 1  # the refused one, and nothing of a script or a style
        person.go("Newest")
        person.see("home")
        person.go("Quiet b Bay")
        bay = person.address
        person.press("Add to your favorites")
        person.wait_for(lambda: "In your favorites" in person.text, "the star")
        assert person.find("#stars").text == "1" and person.address == bay
        person.tell("setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": "dark"}])
        assert max(map(int, re.findall(r"\d+", person.find("html").value_of_css_property("background-color"))[:3])) < 64
        person.driver.set_window_size(500, 900)
        for page, name in ((bay, "picture"), ("/settings", "settings"), ("/galleries/", "galleries")):
            person.open(page)
            person.see(f"{name}-narrow-dark")
        assert person.complaints() == []
        # The client finds what the pages were told.
        assert house.members.favorites("alice") == {int(bay.removeprefix("/wallpaper/"))}
        assert len(house.members.uploads("alice")) == 2
        person.press("Log out")
        person.wait_for(lambda: "Log in" in person.find("nav").text, "the way back")


class Visitor:
    """A browser without eyes, which keeps its cookie and sends what it is told to."""

    def __init__(self, port: int, name: str = ""):
        self._port, self.cookie, self.token = port, "", ""
        self.ask("GET", "/signup")
        if name:
            assert self.post("/signup", username=name, password="velvet", again="velvet") == 302
            self.ask("GET", "/settings")

    def ask(self, method: str, path: str, body: bytes = b"", kind="application/x-www-form-urlencoded", **headers):
        link = http.client.HTTPConnection("127.0.0.1", self._port, timeout=60)
        link.request(method, path, body or None, {"Content-Type": kind, "Cookie": self.cookie, **headers})
        answer = link.getresponse()
        text = answer.read().decode("utf-8", "replace")
        link.close()
        if cookie := answer.getheader("Set-Cookie"):
            self.cookie = cookie.partition(";")[0]
        if found := re.search(r'name="token" value="([^"]+)"', text):
            self.token = found[1]
        return answer, text

    def post(self, path: str, **fields) -> int:
        return self.ask("POST", path, urllib.parse.urlencode({"token": self.token, **fields}).encode())[0].status

    def send(self, name: str, content: bytes):
        head = "--cut\r\nContent-Disposition: form-data; name="
        raw = f'{head}"token"\r\n\r\n{self.token}\r\n{head}"pictures"; filename="{name}"\r\n\r\n'.encode() + content
        return self.ask("POST", "/send", raw + b"\r\n--cut--\r\n", "multipart/form-data; boundary=cut",
                        Accept="application/json")


def test_a_member_changes_only_what_is_theirs(house):
    alice, bob, stranger = Visitor(house.port, "alice"), Visitor(house.port, "bob"), Visitor(house.port)
    assert alice.send("mine.png", picture(kind="PNG"))[0].status == 200
    (mine,) = house.members.uploads("alice")
    folders = max(house.catalogue.pictures.keys() - {mine})
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
        (stranger, "/login", {"username": "alice", "password": "velvet", "token": ""}),  # another site's form
    ]:
        assert visitor.post(path, **fields) == 403, (path, fields)
    stranger.cookie = ""
    assert stranger.post("/login", username="alice", password="velvet", token="") == 403
    assert house.members.stars(mine) == 0 and mine in house.catalogue.pictures
    assert alice.post("/settings/members/alice/remove") == 400

    # A star and points; a changed password ends the other sessions, and a member who goes leaves the pictures.
    assert bob.post(f"/wallpaper/{mine}/star", on="yes") == 302 and house.members.favorites("bob") == {mine}
    assert bob.post(f"/wallpaper/{mine}/points", points="80") == 302 and house.catalogue.pictures[mine].points == 80
    page = bob.ask("GET", f"/wallpaper/{mine}")[1]
    assert all(text in page for text in ("80 of 100", "alice</a>", ">In your favorites<"))
    assert "1 picture<" in bob.ask("GET", "/members/alice/uploads/?source=Quillory")[1]  # where Quillory's links lead
    assert bob.post("/settings/password", present="x", password="hemp", again="hemp") == 302
    assert bob.post("/settings/password", present="velvet", password="linen", again="linen") == 302
    assert house.members.verify("BOB", "linen") and bob.ask("GET", "/settings")[0].status == 200
    assert alice.post("/settings/members/bob/password", password="hemp") == 302
    assert bob.ask("GET", "/settings")[0].status == 302
    assert alice.post("/settings/members/bob/remove") == 302 and house.members.find("bob") is None
    assert (house.members.stars(mine), house.catalogue.pictures[mine].points) == (0, 0)  # his go with him
    assert alice.post(f"/wallpaper/{mine}/remove") == 302 and mine not in house.catalogue.pictures


def test_what_strangers_may_try(house):
    alice = Visitor(house.port, "alice")
    for name, content, said in [
        ("page.jpg", b"<script>alert(1)</script>", "no picture"), ("empty.jpg", b"", "no picture"),
        ("half.png", picture(kind="PNG")[:-400], "no picture"), ("wide.png", png_of(9000, 8000), "pixels are too many"),
    ]:
        answer, text = alice.send(name, content)
        assert answer.status == 400 and said in text, (name, text)
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

    # Nobody is led away after a login, and a name is a name.
    visitor = Visitor(house.port)
    for elsewhere in ("//evil.example/", "http://evil.example/", "/\\evil.example/", "javascript:alert(1)"):
        visitor.ask("GET", "/login")
        form = urllib.parse.urlencode({"token": visitor.token, "username": "alice", "password": "velvet"}).encode()
        answer, _ = visitor.ask("POST", "/login?next=" + urllib.parse.quote(elsewhere), form)
        assert answer.getheader("Location") == "/"
    visitor.ask("GET", "/signup")
    assert visitor.post("/signup", username="carl", password="x", again="y") == 400
    for name in ("", "..", ".bob", "a b", "a/b", "x" * 33, "ALICE"):
        assert visitor.post("/signup", username=name, password="x", again="x") == 400, name
    flood = b"token=" + b"x" * 2_000_000
    assert [each.ask("POST", "/send", flood)[0].status for each in (alice, Visitor(house.port))] == [413, 403]
    for path in ("/wallpaper/1", "/wallpaper/99999999999999999999", "/members/nobody/", "/gallery/x/",
                 "/preview/1/thumb", "/static/../app.py", "/nothing"):
        assert visitor.ask("GET", path)[0].status == 404, path
    answer, _ = visitor.ask("GET", "/alice/favorites/?source=Quillory", Host="members.velvetharbor.example")
    assert answer.getheader("Location") == "http://velvetharbor.example/members/alice/favorites/?source=Quillory"


def test_guessing_has_an_end(house):
    house.patience.OF_AN_ADDRESS, house.patience.FOR_A_NAME = 3, 6
    visitor = Visitor(house.port, "alice")
    visitor.post("/logout")
    visitor.ask("GET", "/login")

    def told(last_byte, password):
        """Who is let in from an address, or the number of the error."""
        sent = {"username": "ALICE", "md5password": hashlib.md5(password).hexdigest()}
        body = Client(house, f"127.0.0.{last_byte}").api("vh.auth.login", sent)
        return re.search(r"<(?:username|number)>(\w+)<", body)[1]

    assert [told(1, each) for each in (b"wrong", b"velvet", b"wrong")] == ["75", "alice", "75"]  # a finger may slip
    assert visitor.post("/login", username="alice", password="wrong") == 400
    assert visitor.post("/login", username="alice", password="velvet") == 429 and told(1, b"velvet") == "903"
    assert told(2, b"velvet") == "alice"  # the member sits elsewhere
    assert [told(3, b"wrong") for _ in range(4)] == ["75", "75", "75", "903"]
    assert told(2, b"velvet") == "903"  # for so many are a danger to the name
    house.patience._clock = lambda: time.monotonic() + house.patience.SECONDS
    assert told(1, b"velvet") == told(2, b"velvet") == "alice"
