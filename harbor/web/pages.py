"""Looking at pictures: the newest, galleries, searches, members, one picture, and what a member thinks of it."""

from collections.abc import Sequence
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from flask import Blueprint, Response, abort, flash, g, jsonify, redirect, render_template, request, url_for

from harbor.images import Broken, Busy
from harbor.web.app import need_login, the_site, wants_json

blueprint = Blueprint("pages", __name__)

PER_PAGE = 24
ON_A_MEMBERS_PAGE = 8
THUMB = (480, 300)
VIEW = (1600, 1000)


@dataclass(frozen=True)
class Shown:
    """One page of a list of pictures."""

    pictures: Sequence[Any]
    number: int
    last: int
    count: int

    @staticmethod
    def link(number: int) -> str:
        arguments: dict[str, Any] = {**(request.view_args or {}), **request.args.to_dict(), "page": number}
        arguments.pop("source", None)
        return url_for(request.endpoint or "", **arguments)

    @property
    def near(self) -> list[int | None]:
        """The numbers to choose from: the ends and what is around; None where some are left out."""
        numbers = sorted({1, self.last, *range(max(1, self.number - 2), min(self.last, self.number + 2) + 1)})
        gaps = [[None, number] if before and number > before + 1 else [number]
                for before, number in zip([0, *numbers], numbers)]
        return [each for gap in gaps for each in gap]


def shown(pictures: Sequence[Any]) -> Shown:
    """The page that the request asks for; one behind the last is the last."""
    last = max(1, -(-len(pictures) // PER_PAGE))
    asked = request.args.get("page", "1")
    number = min(max(1, int(asked)), last) if asked.isascii() and asked.isdecimal() and len(asked) < 9 else 1
    return Shown(pictures[(number - 1) * PER_PAGE:number * PER_PAGE], number, last, len(pictures))


def the_picture(id: int) -> Any:
    return the_site().catalogue.pictures.get(id) or abort(404)


def the_member(name: str) -> Any:
    return the_site().members.find(name) or abort(404)


@blueprint.get("/")
def home() -> str:
    return render_template("home.html", shown=shown(the_site().catalogue.newest))


@blueprint.get("/galleries/")
def galleries() -> str:
    now = the_site().catalogue.now
    found = [(each.name, url_for("pages.gallery", gallery=key), now.hanging_in(key))
             for key, each in now.galleries.items()]
    return render_template("galleries.html", galleries=sorted(found, key=lambda each: str(each[0]).casefold()))


@blueprint.get("/gallery/<gallery>/", defaults={"category": None})
@blueprint.get("/gallery/<gallery>/<category>/")
def gallery(gallery: str, category: str | None) -> str:
    now = the_site().catalogue.now
    known = now.galleries.get(gallery) or abort(404)
    if category is not None and category not in known.categories:
        abort(404)
    names = sorted(known.categories.items(), key=lambda each: str(each[1]).casefold())
    chips = [("All", url_for("pages.gallery", gallery=gallery), category is None)]
    chips += [(name, url_for("pages.gallery", gallery=gallery, category=key), key == category) for key, name in names]
    return render_template("pictures.html", title=known.name, shown=shown(now.hanging_in(gallery, category)),
                           chips=chips if len(names) > 1 else [], above=[("Galleries", url_for("pages.galleries"))],
                           nothing="Nothing hangs here any more.")


@blueprint.get("/search")
def search() -> str:
    asked = request.args.get("tag", "").strip()[:64]
    return render_template("pictures.html", title=f"“{asked}”" if asked else "Search", asked=asked,
                           shown=shown(the_site().catalogue.search(asked) if asked else []),
                           nothing="No picture bears these words. A star stands for any letters, as in sun*."
                                   if asked else "Type a word: the names of pictures and folders are searched.")


@blueprint.get("/wallpaper/<int:id>")
def wallpaper(id: int) -> str:
    site = the_site()
    now = site.catalogue.now
    picture = now.pictures.get(id) or abort(404)
    place = now.galleries[picture.gallery]
    sender = site.members.sender(id)
    return render_template(
        "wallpaper.html", picture=picture, view=view_size(picture), tags=picture.tags, sender=sender,
        above=[(place.name, url_for("pages.gallery", gallery=picture.gallery)),
               (place.categories[picture.category],
                url_for("pages.gallery", gallery=picture.gallery, category=picture.category))],
        stars=site.members.stars(id), is_starred=bool(g.me) and id in site.members.favorites(g.me.name),
        mine=site.members.rating(g.me.name, id) if g.me else None, may_remove=may_remove(picture))


def may_remove(picture: Any) -> bool:
    """What was sent may be removed by its sender and by the owner of the box; what lies in the folder, by nobody."""
    uploads, members = Path(the_site().settings.uploads), the_site().members
    place = Path(picture.file)
    if not g.me or not place.is_relative_to(uploads):
        return False
    return g.me.is_owner or (picture.id in members.uploads(g.me.name) and place.parent == uploads / g.me.name)


def view_size(picture: Any) -> tuple[int, int]:
    """The whole picture, within what a page has room for, and never larger than it is."""
    width, height = picture.size
    scale = min(1, VIEW[0] / width, VIEW[1] / height)
    return max(1, round(width * scale)), max(1, round(height * scale))


@blueprint.get("/preview/<int:id>/<kind>")
def preview(id: int, kind: str) -> Any:
    picture = the_picture(id)
    size = {"thumb": THUMB, "view": view_size(picture)}.get(kind) or abort(404)
    try:
        data, content_type = the_site().images.scaled(picture, size)
    except Broken:
        abort(404)
    except Busy:
        abort(503, "Too many pictures are being made ready at once. Please try again in a moment.")
    response = Response(data, content_type=content_type)
    response.headers["Cache-Control"] = "private, max-age=3600"
    response.add_etag()
    return response.make_conditional(request)


@blueprint.post("/wallpaper/<int:id>/star")
def star(id: int) -> Any:
    me, picture, members = need_login(), the_picture(id), the_site().members
    members.star(me.name, picture.id, request.form.get("on") == "yes")
    if wants_json():
        return jsonify(stars=members.stars(id))
    return redirect(url_for("pages.wallpaper", id=id))


@blueprint.post("/wallpaper/<int:id>/points")
def points(id: int) -> Any:
    me, picture = need_login(), the_picture(id)
    given = request.form.get("points", "")
    if not (given.isascii() and given.isdecimal() and len(given) < 4 and int(given) <= 100):
        abort(400, "Points are a number from 0 to 100.")
    the_site().members.rate(me.name, picture.id, int(given))
    flash("Thank you, your points count.", "well")
    return redirect(url_for("pages.wallpaper", id=id))


def members_pictures(name: str, which: str) -> list[Any]:
    pictures = the_site().catalogue.pictures
    ids = getattr(the_site().members, which)(name)
    return [pictures[id] for id in sorted(ids, reverse=True) if id in pictures]


NO_FAVORITES = "No favorites yet: open a picture and give it a star."
NO_UPLOADS = "Nothing sent yet."


@blueprint.get("/members/<name>/")
def member(name: str) -> str:
    name = the_member(name).name
    parts = [
        (text, url_for(f"pages.{which}", name=name), members_pictures(name, which), nothing)
        for text, which, nothing in (("Favorites", "favorites", NO_FAVORITES), ("Uploads", "uploads", NO_UPLOADS))
    ]
    return render_template("member.html", name=name, parts=parts, most=ON_A_MEMBERS_PAGE)


@blueprint.get("/members/<name>/favorites/")
def favorites(name: str) -> str:
    return _list_of_a_member(name, "favorites", NO_FAVORITES)


@blueprint.get("/members/<name>/uploads/")
def uploads(name: str) -> str:
    return _list_of_a_member(name, "uploads", NO_UPLOADS)


def _list_of_a_member(name: str, which: str, nothing: str) -> str:
    name = the_member(name).name
    chips = [(text, url_for(f"pages.{each}", name=name), each == which)
             for text, each in (("Favorites", "favorites"), ("Uploads", "uploads"))]
    return render_template("pictures.html", title=f"{name}: {which}", shown=shown(members_pictures(name, which)),
                           chips=chips, above=[(name, url_for("pages.member", name=name))], nothing=nothing)


@blueprint.get("/quillory/")
def quillory() -> str:
    releases = the_site().releases
    setup = releases.setup()
    found = {"link": f"/quillory/{setup.name}", "size": f"{setup.stat().st_size / 1e6:.1f} MB"} if setup else None
    return render_template("quillory.html", setup=found, version=releases.newest_version(),
                           host=request.host.partition(":")[0])


@blueprint.get("/contact/")
def contact() -> str:
    owner = next((each.name for each in the_site().members if each.is_owner), None)
    return render_template("contact.html", owner=owner)
