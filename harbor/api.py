"""The API's methods: logging in, the gallery tree, and the search for wallpapers."""

import math
import random
import re
import secrets

from answers import (BAD_REQUEST, LOGIN_REFUSED, NOTHING_THERE, UNKNOWN_KEY, UNKNOWN_METHOD, Answer, ApiError,
                     api_answer, branch, error, leaf, upgrade)
from catalogue import Catalogue, Picture, key, tag_pattern
from members import Members
from releases import Releases, version

INITIAL_KEY = "Rv8nTq2LxW5d"  # what every client knows before its first login
WALLPAPER_PAGE = "http://velvetharbor.example/wallpaper/"


def decode(text: str) -> str:
    """Undoes a client's encoding of a key or value: code page 1252, and codes below 16 come with a single digit."""
    raw = re.sub("%([0-9A-Fa-f]{1,2})", lambda code: chr(int(code[1], 16)), text.replace("+", " "))
    return raw.encode("latin-1").decode("cp1252", "replace")


def quoted(text: str) -> str:
    """A stranger's text, made safe and short for a description."""
    return ascii(text[:64])


class Parameters(dict):
    """The decoded parameters of a request; asking for one that is missing or malformed ends in an `error` answer."""

    def __init__(self, query: str):
        super().__init__()
        for pair in query.split("&"):
            name, equals, value = pair.partition("=")
            if not equals or decode(name) in self:
                raise ApiError(BAD_REQUEST, f"Malformed or repeated parameter {quoted(pair)}")
            self[decode(name)] = decode(value)

    def __missing__(self, name: str):
        raise ApiError(BAD_REQUEST, f"Missing parameter {name}")

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


class Api:
    def __init__(self, catalogue: Catalogue, members: Members, releases: Releases):
        self._catalogue = catalogue
        self._members = members
        self._releases = releases
        self._methods = {
            "vh.auth.login": self._login,
            "vh.getGalleries": self._galleries,
            "vh.wallpapers.browse": self._browse,
            "vh.wallpapers.favorites": self._favorites,
        }

    def answer(self, query: str) -> Answer:
        try:
            parameters = Parameters(query)
            if parameters["apikey"] != INITIAL_KEY and not self._members.knows_key(parameters["apikey"]):
                raise ApiError(UNKNOWN_KEY, f"Unknown API key {quoted(parameters['apikey'])}")
            method = self._methods.get(parameters["method"])
            if method is None:
                raise ApiError(UNKNOWN_METHOD, f"Unknown method {quoted(parameters['method'])}")
            return method(parameters)
        except ApiError as problem:
            return error(problem.number, str(problem))

    def _login(self, parameters: Parameters) -> Answer:
        member = self._members.find(parameters["username"])
        if parameters["md5password"] != (member and member.md5password):
            raise ApiError(LOGIN_REFUSED, "Invalid username or password")
        return api_answer(branch("auth", [
            leaf("token", secrets.token_hex(16)),
            leaf("username", member.name),
            leaf("apiKey", member.api_key),
        ]))

    def _galleries(self, parameters: Parameters) -> Answer:
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

    def _browse(self, parameters: Parameters) -> Answer:
        pictures = self._catalogue.pictures.values()
        if "member" in parameters:
            uploads = self._member(parameters).uploads
            pictures = [each for each in pictures if each.id in uploads]
        if "tag" in parameters:
            pattern = tag_pattern(parameters["tag"])
            pictures = [each for each in pictures if pattern and each.has_tag(pattern)]
        if "category" in parameters or "gallery" in parameters:
            gallery = self._catalogue.galleries.get(key(parameters["gallery"]))
            if gallery is None:
                raise ApiError(NOTHING_THERE, f"Unknown gallery {quoted(parameters['gallery'])}")
            pictures = [each for each in pictures if self._catalogue.galleries[each.gallery] is gallery]
            if "category" in parameters:
                category = gallery.find_category(parameters["category"])
                if category is None:
                    raise ApiError(NOTHING_THERE, f"Unknown category {quoted(parameters['category'])}")
                pictures = [each for each in pictures if each.category == category]
        return self._wallpapers(parameters, pictures)

    def _favorites(self, parameters: Parameters) -> Answer:
        favorites = self._member(parameters).favorites
        pictures = self._catalogue.pictures.values()
        return self._wallpapers(parameters, [each for each in pictures if each.id in favorites])

    def _member(self, parameters: Parameters):
        member = self._members.find(parameters["member"])
        if member is None:
            raise ApiError(NOTHING_THERE, f"Unknown member {quoted(parameters['member'])}")
        return member

    def _wallpapers(self, parameters: Parameters, pictures) -> Answer:
        """What both searches share: the filters, the order, and the page that is asked for."""
        client = version(parameters["QY_Version"])
        if client is None:
            raise ApiError(BAD_REQUEST, f"QY_Version is no version: {quoted(parameters['QY_Version'])}")
        link = self._releases.newer_than(client)
        if link:
            return upgrade(link)

        ratio = parameters.number("withar", least=0.01)
        points = parameters.number("minpoints")
        pictures = [each for each in pictures if each.fits(ratio) and each.points >= points]

        descending = parameters.choice("sort", "desc", "asc") == "desc"
        if parameters.choice("order", "randomize", "freshness") == "randomize":
            random.shuffle(pictures)
        else:
            pictures.sort(key=lambda each: each.id, reverse=descending)
            start = parameters.number("startid")
            if start in self._catalogue.pictures:  # of any other id there is no telling what follows it
                pictures = [each for each in pictures if (each.id < start if descending else each.id > start)]

        per_page = int(parameters.number("perpage", least=1))
        first = (int(parameters.number("page", least=1)) - 1) * per_page
        with_tags = parameters.choice("withtags", "yes", "no") == "yes"
        chosen = pictures[first:first + per_page]
        lines = [line for each in chosen for line in wallpaper(each, with_tags)]
        return api_answer(branch("wallpapers", lines, count=len(chosen)))


def wallpaper(picture: Picture, with_tags: bool) -> list[str]:
    lines = [
        leaf("id", picture.id),
        leaf("title", picture.title),
        leaf("filename", picture.filename),
        leaf("link", f"{WALLPAPER_PAGE}{picture.id}"),
        leaf("points", picture.points),
    ]
    if with_tags:
        lines += branch("tags", [leaf("tag", tag) for tag in picture.tags])
    return branch("wallpaper", lines)
