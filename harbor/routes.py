"""Which part of the site a request is for."""

import re
from dataclasses import dataclass
from html import escape
from urllib.parse import unquote

from answers import Answer, ApiError, not_found, page
from api import Api, Parameters
from catalogue import Catalogue
from images import Images
from members import Members
from releases import Releases

SITE = "velvetharbor.example"

# (kind, host, path): a name of the site answers only its own paths. Under any other name, as 127.0.0.1 or none at all,
# the path alone decides, in this order.
ROUTES = [
    ("api", f"api.{SITE}", "/api.php"),
    ("image", f"images.{SITE}", "/dl/inline/"),
    ("release", SITE, "/quillory/dl/"),
    ("page", SITE, "/"),
    ("page", f"members.{SITE}", "/"),
    ("release", f"dl.{SITE}", "/quillory/"),
]


class Malformed(Exception):
    """Bytes that are no request of ours."""


@dataclass(frozen=True)
class Request:
    host: str
    path: str
    query: str

    @classmethod
    def parse(cls, raw: bytes) -> "Request":
        """Reads a GET request; the host of an absolute URL goes before the header's."""
        line, *fields = re.sub(r"\r\n\r\n$", "", raw.decode("latin-1")).split("\r\n")
        shape = re.fullmatch(r"GET (?:http://([^/\s?]*))?(/[^\s?]*)?(?:\?(\S*))? HTTP/1\.[01]", line)
        if not raw.endswith(b"\r\n\r\n") or not shape or not all(re.match(r"[^\s:]+:", each) for each in fields):
            raise Malformed
        named = {name.lower(): value.strip() for name, _, value in (each.partition(":") for each in fields)}
        host = shape[1] if shape[1] is not None else named.get("host", "")
        return cls(host.partition(":")[0].lower(), shape[2] or "/", shape[3] or "")


class Routes:
    """Brings each request to the part that answers it."""

    def __init__(self, catalogue: Catalogue, members: Members, releases: Releases):
        self._api = Api(catalogue, members, releases)
        self._images = Images(catalogue)
        self._releases = releases
        self._catalogue = catalogue
        self._members = members

    @staticmethod
    def kind(request: Request) -> tuple[str, str]:
        """The kind of a request, and what stands behind the route's path."""
        host = request.host.removeprefix("www.")
        known = host == SITE or host.endswith("." + SITE)
        for kind, name, path in ROUTES:
            if request.path.startswith(path) and (host == name or not known):
                return kind, request.path.removeprefix(path)
        return "page", "unknown/"

    @staticmethod
    def method(request: Request) -> str | None:
        """The API method that a request names, for faults to find it by."""
        try:
            return Parameters(request.query).get("method")
        except ApiError:
            return None

    def answer(self, request: Request) -> Answer:
        kind, rest = self.kind(request)
        if kind == "api":
            return self._api.answer(request.query)
        if kind == "image":
            return self._images.fetch(unquote(rest))
        if kind == "release":
            return self._releases.fetch(rest)
        return self._page(unquote(rest).strip("/").split("/"))

    def _page(self, names: list[str]) -> Answer:
        """The pages that Quillory opens in its user's browser."""
        if names == [""]:
            links = "".join(f"<p>{self._picture_link(each)}</p>\n" for each in self._catalogue.pictures)
            return page("Velvet Harbor", links)
        if names == ["quillory"]:
            return page("Quillory", "<p>Quillory keeps your desktop wallpaper changing.</p>")
        if names == ["contact"]:
            return page("Contact", "<p>Tell the harbor master what troubles you.</p>")
        if names == ["signup"]:
            return page("Sign up", "<p>Members join when the harbor starts: <code>--user alice:velvet</code>.</p>")
        if names[0] == "wallpaper" and names[1:] and self._picture_link(names[1]):
            return page("Wallpaper", self._picture_link(names[1], with_image=True))
        if names[0] == "preview":  # the pages' own images, under whichever name the browser came
            return self._images.fetch("/".join(names[1:]))
        member = self._members.find(names[0])
        if member and names[1:] in ([], ["uploads"], ["favorites"]):
            ids = sorted(member.favorites if names[-1] == "favorites" else member.uploads, reverse=True)
            return page(f"{member.name}: {names[-1]}", "".join(f"<p>{self._picture_link(each)}</p>\n" for each in ids))
        return not_found("page")

    def _picture_link(self, picture_id, with_image: bool = False) -> str:
        picture = self._catalogue.pictures.get(int(picture_id) if str(picture_id).isdecimal() else 0)
        if picture is None:
            return ""
        text = escape(picture.title)
        if with_image:
            text = f'<img src="/preview/{picture.id}/960x600/{picture.filename}" alt="{text}" /> {text}'
        return f'<a href="/wallpaper/{picture.id}">{text}</a>'
