"""Which part of the site a request is for, and its answer."""

import re
import sys
import traceback
from dataclasses import dataclass
from urllib.parse import unquote

from harbor.answers import BAD_REQUEST, BROKEN_SERVICE, Answer, ApiError, error, file, not_found, page
from harbor.api import Api, Parameters
from harbor.catalogue import Catalogue
from harbor.images import LARGEST_SIDE, LARGEST_SIZE, Broken, Busy, Images
from harbor.names import DOMAIN, Names
from harbor.releases import Releases

# (kind, host, path): a name of the site answers only its own paths. Under any other name, as that of a box at home or
# none at all, the path alone decides, in this order.
ROUTES = [
    ("api", f"api.{DOMAIN}", "/api.php"),
    ("image", f"images.{DOMAIN}", "/dl/inline/"),
    ("release", DOMAIN, "/quillory/dl/"),
    ("release", f"dl.{DOMAIN}", "/quillory/"),
]


class Malformed(Exception):
    """Bytes that are no request of ours."""


@dataclass(frozen=True)
class Request:
    host: str  # lower case, without a port
    path: str
    query: str
    peer: str = ""  # the address that asks, where the wire tells it

    @classmethod
    def of(cls, host: str, path: str, query: str, peer: str = "") -> "Request":
        name = host.rpartition("]")[0] + "]" if host.startswith("[") else host.partition(":")[0]
        return cls(name.lower(), path, query, peer)

    @classmethod
    def parse(cls, raw: bytes) -> "Request":
        """Reads a GET request; the host of an absolute URL goes before the header's."""
        line, *fields = re.sub(r"\r\n\r\n$", "", raw.decode("latin-1")).split("\r\n")
        shape = re.fullmatch(r"GET (?:http://([^/\s?]*))?(/[^\s?]*)?(?:\?(\S*))? HTTP/1\.[01]", line)
        if not raw.endswith(b"\r\n\r\n") or not shape or not all(re.match(r"[^\s:]+:", each) for each in fields):
            raise Malformed
        named = {name.lower(): value.strip() for name, _, value in (each.partition(":") for each in fields)}
        host = shape[1] if shape[1] is not None else named.get("host", "")
        return cls.of(host, shape[2] or "/", shape[3] or "")


class Routes:
    """Brings each request to the part that answers it."""

    def __init__(self, catalogue: Catalogue, images: Images, api: Api, releases: Releases):
        self._catalogue = catalogue
        self._images = images
        self._api = api
        self._releases = releases

    @staticmethod
    def kind(request: Request) -> tuple[str, str]:
        """The kind of a request, and what stands behind the route's path."""
        host = request.host.removeprefix("www.")
        known = host == DOMAIN or host.endswith("." + DOMAIN)
        for kind, name, path in ROUTES:
            # The product's page is a page, what lies below it are its releases.
            if request.path.startswith(path) and request.path != "/quillory/" and (host == name or not known):
                return kind, request.path.removeprefix(path)
        return "page", request.path

    @staticmethod
    def method(request: Request) -> str | None:
        """The API method that a request names, for faults to find it by."""
        try:
            return Parameters(request.query).get("method")
        except ApiError:
            return None

    def answer(self, request: Request) -> Answer | None:
        """None if it is for one of the pages."""
        kind, rest = self.kind(request)
        try:
            if kind == "api":
                return self._api.answer(request.query, Names.of(request.host), request.peer)
            if kind == "image":
                return self._image(unquote(rest))
            if kind == "release":
                return self._releases.fetch(rest)
            return None
        except Exception:
            # A fault of this program must neither go unseen nor leave the client without an answer.
            traceback.print_exc(file=sys.stderr)
            return broken()

    def _image(self, path: str) -> Answer:
        """Answers a path below /dl/inline/: "1029/1920x1080/Dune.jpg"."""
        asked = re.fullmatch(r"([0-9]{1,9})/([0-9]{1,5})x([0-9]{1,5})/(.+)", path)
        if not asked:
            return not_found("image")
        picture = self._catalogue.pictures.get(int(asked[1]))
        size = int(asked[2]), int(asked[3])
        is_screen = all(1 <= side <= LARGEST_SIDE for side in size) and size[0] * size[1] <= LARGEST_SIZE
        if picture is None or picture.filename != asked[4] or not is_screen:
            return not_found("image")
        try:
            return file(*self._images.scaled(picture, size), label="image")
        except Broken:
            return not_found("image")  # nor is it offered any more
        except Busy:
            return page("Too busy", "<p>Too much is asked for at once. Please try again.</p>",
                        "503 Service Unavailable", "busy")


def malformed() -> Answer:
    return error(BAD_REQUEST, "Malformed request", "400 Bad Request", keep=False)


def broken() -> Answer:
    return error(BROKEN_SERVICE, "The harbor is closed for repairs", "500 Internal Server Error", keep=False)
