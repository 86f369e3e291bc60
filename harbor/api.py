"""The API's methods: logging in, the gallery tree, and the search for wallpapers."""

import math
import random
import re
import secrets
from bisect import bisect_left, bisect_right
from collections.abc import Callable, Sequence

from harbor.answers import (BAD_REQUEST, BROKEN_SERVICE, LOGIN_REFUSED, NOTHING_THERE, TRIED_TOO_OFTEN, UNKNOWN_KEY,
                            UNKNOWN_METHOD, Answer, ApiError, api_answer, branch, error, leaf, upgrade)
from harbor.catalogue import Catalogue, Snapshot
from harbor.codepages import readings
from harbor.members import Member, Members
from harbor.names import Names
from harbor.patience import Patience, TooMany
from harbor.pictures import Picture
from harbor.releases import Releases, version

INITIAL_KEY = "Rv8nTq2LxW5d"  # what every client knows before its first login

# A picture is offered for a screen if at least this part of it remains after cropping: every photograph fits every
# common screen lying down, and none is cut to a sliver.
LEAST_PART_KEPT = 0.5


def decode(text: str) -> bytes:
    """Undoes a client's encoding of a key or value. Codes below 16 come with a single digit."""
    return re.sub("%([0-9A-Fa-f]{1,2})", lambda code: chr(int(code[1], 16)), text.replace("+", " ")).encode("latin-1")


def quoted(text: str) -> str:
    """A stranger's text, made safe and short for a description."""
    return ascii(text[:64])


class Parameters(dict[str, str]):
    """The decoded parameters of a request; asking for one that is missing or malformed ends in an `error` answer."""

    def __init__(self, query: str, peer: str = ""):
        super().__init__()
        self.peer = peer  # the address that asks
        self._raw: dict[str, bytes] = {}
        for pair in query.split("&"):
            raw_name, equals, value = pair.partition("=")
            name = decode(raw_name).decode("latin-1")
            if not equals or name in self:
                raise ApiError(BAD_REQUEST, f"Malformed or repeated parameter {quoted(pair)}")
            self._raw[name] = decode(value)
            self[name] = next(readings(self._raw[name]))

    def __missing__(self, name: str) -> str:
        raise ApiError(BAD_REQUEST, f"Missing parameter {name}")

    def raw(self, name: str) -> bytes:
        """The bytes of a text that people have written, in whichever code page."""
        return self._raw[name] if name in self else self[name].encode()

    def choice(self, name: str, *allowed: str) -> str:
        if self[name] not in allowed:
            raise ApiError(BAD_REQUEST, f"Parameter {name} must be one of: {', '.join(allowed)}")
        return self[name]

    def number(self, name: str, least: float = -math.inf) -> float:
        try:
            # A client in a country of decimal commas writes its ratios so.
            value = float(self[name].replace(",", ".") or "0")
        except ValueError:
            value = math.nan
        if not (math.isfinite(value) and value >= least):
            raise ApiError(BAD_REQUEST, f"Parameter {name} is not a usable number: {quoted(self[name])}")
        return value

    def typed(self, name: str) -> float:
        """The number that a text of the user's begins with, 0 without one: clients send what is being typed, and an
        error would be a fatal one to them."""
        shape = re.match(r"\s*([+-]?\d{1,9}(?:[.,]\d{0,9})?)", self[name], re.ASCII)
        return float(shape[1].replace(",", ".")) if shape else 0.0


class Api:
    def __init__(self, catalogue: Catalogue, members: Members, releases: Releases, patience: Patience):
        self._catalogue = catalogue
        self._members = members
        self._releases = releases
        self._patience = patience
        self._methods: dict[str, Callable[[Parameters, Names], Answer]] = {
            "vh.auth.login": self._login,
            "vh.getGalleries": self._galleries,
            "vh.wallpapers.browse": self._browse,
            "vh.wallpapers.favorites": self._favorites,
        }

    def answer(self, query: str, names: Names, peer: str = "") -> Answer:
        """Answers a query; `names` are the addresses that the client knows the site by, `peer` is its own."""
        try:
            parameters = Parameters(query, peer)
            if parameters["apikey"] != INITIAL_KEY and not self._members.knows_key(parameters["apikey"]):
                raise ApiError(UNKNOWN_KEY, f"Unknown API key {quoted(parameters['apikey'])}")
            method = self._methods.get(parameters["method"])
            if method is None:
                raise ApiError(UNKNOWN_METHOD, f"Unknown method {quoted(parameters['method'])}")
            return method(parameters, names)
        except ApiError as problem:
            return error(problem.number, str(problem))

    def _login(self, parameters: Parameters, names: Names) -> Answer:
        name, password = parameters["username"], parameters["md5password"]
        try:
            member = self._patience.verify(parameters.peer, name, lambda: self._members.verify_hash(name, password))
        except TooMany:
            # Nor is it "refused", upon which a client forgets a password that may be right.
            raise ApiError(TRIED_TOO_OFTEN, "Too many wrong passwords, please wait five minutes") from None
        if member is None:
            raise ApiError(LOGIN_REFUSED, "Invalid username or password")
        return api_answer(branch("auth", [
            leaf("token", secrets.token_hex(16)),
            leaf("username", member.name),
            leaf("apiKey", member.api_key),
        ]))

    def _galleries(self, parameters: Parameters, names: Names) -> Answer:
        with_categories = "withcategories" in parameters and parameters.choice("withcategories", "yes", "no") == "yes"
        lines = []
        for gallery in sorted(self._catalogue.galleries.values(), key=lambda each: each.name.casefold()):
            entry = [leaf("friendly", gallery.name)]
            if with_categories:
                entry += branch("categories", [
                    line for name, is_alias in gallery.listing()
                    for line in branch("category", [leaf("redir", "yes" if is_alias else "no"), leaf("friendly", name)])
                ])
            lines += branch("gallery", entry)
        return api_answer(branch("galleries", lines))

    def _browse(self, parameters: Parameters, names: Names) -> Answer:
        now = self._catalogue.now
        pictures = now.newest
        if "category" in parameters or "gallery" in parameters:
            pictures = self._hanging(parameters, now)
        if "tag" in parameters:
            searches = map(now.search, readings(parameters.raw("tag")))
            found = next((each for each in searches if each), [])
            pictures = found if pictures is now.newest else among(pictures, {each.id for each in found})
        if "member" in parameters:
            pictures = among(pictures, self._members.uploads(self._member(parameters).name))
        return self._wallpapers(parameters, names, pictures)

    def _hanging(self, parameters: Parameters, now: Snapshot) -> Sequence[Picture]:
        gallery = now.find_gallery(parameters.raw("gallery"))
        if gallery is None:
            raise ApiError(NOTHING_THERE, f"Unknown gallery {quoted(parameters['gallery'])}")
        category = None
        if "category" in parameters:
            category = now.galleries[gallery].find_category(parameters.raw("category"))
            if category is None:
                raise ApiError(NOTHING_THERE, f"Unknown category {quoted(parameters['category'])}")
        return now.hanging_in(gallery, category)

    def _favorites(self, parameters: Parameters, names: Names) -> Answer:
        favorites = self._members.favorites(self._member(parameters).name)
        return self._wallpapers(parameters, names, among(self._catalogue.newest, favorites))

    def _member(self, parameters: Parameters) -> Member:
        member = self._members.find(parameters["member"])
        if member is None:
            raise ApiError(NOTHING_THERE, f"Unknown member {quoted(parameters['member'])}")
        return member

    def _wallpapers(self, parameters: Parameters, names: Names, pictures: Sequence[Picture]) -> Answer:
        """What both searches share: the filters, the order, and the page that is asked for."""
        client = version(parameters["QY_Version"])
        if client is None:
            raise ApiError(BAD_REQUEST, f"QY_Version is no version: {quoted(parameters['QY_Version'])}")
        archive = self._releases.newer_than(client)
        if archive:
            return upgrade(names.releases + archive)
        if self._catalogue.is_away:
            # "No wallpapers" would stop a client until its user chooses anew; this it tries again.
            raise ApiError(BROKEN_SERVICE, "The pictures cannot be read at the moment")

        ratio = parameters.number("withar", least=0.01)
        points = parameters.typed("minpoints")
        narrow, wide = ratio * LEAST_PART_KEPT, ratio / LEAST_PART_KEPT
        fitting = [each for each in pictures if each.points >= points and narrow <= each.ratio <= wide]

        per_page = int(parameters.number("perpage", least=1))
        first = (int(parameters.number("page", least=1)) - 1) * per_page
        descending = parameters.choice("sort", "desc", "asc") == "desc"
        if parameters.choice("order", "randomize", "freshness") == "randomize":
            fitting = random.sample(fitting, min(first + per_page, len(fitting)))
        else:
            fitting = following(fitting, int(parameters.typed("startid")), descending)
        with_tags = parameters.choice("withtags", "yes", "no") == "yes"
        chosen = fitting[first:first + per_page]
        lines = [line for each in chosen for line in wallpaper(each, names, with_tags)]
        return api_answer(branch("wallpapers", lines, count=len(chosen)))


def among(pictures: Sequence[Picture], ids: frozenset[int] | set[int]) -> list[Picture]:
    return [each for each in pictures if each.id in ids]


def following(newest: list[Picture], start: int, descending: bool) -> list[Picture]:
    """What comes after a picture, be it still there or not, in one of the two directions of age. Behind the last one
    the order begins anew, and with it comes what is new. It also begins at 0."""
    oldest = newest[::-1]
    if descending:
        rest = newest[len(oldest) - bisect_left(oldest, start, key=_id):] if start else newest
        return rest or newest
    return oldest[bisect_right(oldest, start, key=_id):] or oldest


def _id(picture: Picture) -> int:
    return picture.id


def wallpaper(picture: Picture, names: Names, with_tags: bool) -> list[str]:
    lines = [
        leaf("id", picture.id),
        leaf("title", picture.title),
        leaf("filename", picture.filename),
        leaf("link", f"{names.wallpapers}{picture.id}"),
        leaf("points", picture.points),
    ]
    if with_tags:
        lines += branch("tags", [leaf("tag", tag) for tag in picture.tags])
    return branch("wallpaper", lines)
