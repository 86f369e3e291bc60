"""Pictures from phones and PCs: looked at closely before they are kept, and removed by whoever sent them."""

import os
import re
import secrets
import threading
import unicodedata
from pathlib import Path
from typing import Any

from flask import Blueprint, abort, flash, jsonify, redirect, render_template, request, url_for
from PIL import Image
from werkzeug.datastructures import FileStorage

from harbor.pictures import MOST_BYTES, READ, memory_for
from harbor.web.app import SENDING, need_login, the_site, wants_json
from harbor.web.pages import may_remove, the_picture

blueprint = Blueprint("sending", __name__)

SUFFIXES = {"JPEG": ".jpg", "MPO": ".jpg", "PNG": ".png", "WEBP": ".webp", "GIF": ".gif"}
LONGEST_NAME = 120  # bytes, which leaves room for a number and the suffix in any file system
_one_at_a_time = threading.Lock()


class Refused(Exception):
    """Why a picture is not kept, in words for its sender."""


@blueprint.route(SENDING, methods=["GET", "POST"])
def send() -> Any:
    me, outcomes = need_login(), []
    for file in request.files.getlist("pictures"):
        name = file.filename or "picture"
        try:
            outcomes.append({"name": name, "link": url_for("pages.wallpaper", id=keep(file, me).id)})
        except Refused as refusal:
            outcomes.append({"name": name, "problem": str(refusal)})
    if request.method == "POST" and not outcomes:
        abort(400, "No picture came with that.")
    status = 400 if any("problem" in each for each in outcomes) else 200
    if wants_json():
        return jsonify(outcomes=outcomes), status
    return render_template("send.html", limit=the_site().settings.upload_limit, outcomes=outcomes), status


def keep(file: FileStorage, member: Any) -> Any:
    """Puts a picture among the member's uploads and answers with the catalogue's entry. Raises Refused."""
    site = the_site()
    folder = Path(site.settings.uploads)
    folder.mkdir(parents=True, exist_ok=True)
    coming = folder / f".coming-{secrets.token_hex(8)}"  # a hidden file is none of the catalogue's
    try:
        try:
            _receive(file, coming, site.settings.upload_limit)
            place = _put(coming, folder / member.name, _name(file.filename or ""), _look_closely(coming))
        except OSError as problem:
            raise Refused(f"it could not be written down ({problem.strerror})") from problem
        picture = site.catalogue.look_at(place)
        if picture is None:
            place.unlink(missing_ok=True)
            raise Refused("it cannot be shown")
        site.members.add_upload(member.name, picture.id)
        return picture
    finally:
        coming.unlink(missing_ok=True)


def _receive(file: FileStorage, path: Path, limit: int) -> None:
    with open(path, "xb") as out:
        while chunk := file.stream.read(1 << 20):
            if out.tell() + len(chunk) > limit:
                raise Refused(f"larger than {limit // 1_000_000} MB")
            out.write(chunk)
        out.flush()
        os.fsync(out.fileno())


def _look_closely(path: Path) -> str:
    """The suffix for a picture that is one from its first byte to its last. What only looks like one is refused."""
    try:
        with _one_at_a_time, Image.open(path, formats=READ) as image:
            suffix = SUFFIXES[image.format or ""]
            if memory_for(image) > MOST_BYTES:
                raise Refused(f"{image.width} × {image.height} pixels are too many")
            image.draft("RGB", (image.width // 8, image.height // 8))  # a JPEG is read whole all the same
            image.load()
            return suffix
    except (Refused, MemoryError):
        raise
    except Exception as problem:  # Pillow's readers raise nearly anything on a broken file
        raise Refused("no picture that can be read") from problem


def _name(filename: str) -> str:
    """A file's name without its suffix, as it may stand in any file system: it came from a stranger's."""
    stem = re.sub(r"\.\w{1,5}$", "", unicodedata.normalize("NFC", re.split(r"[/\\]", filename)[-1]))
    stem = " ".join(re.sub(r"[^\w .()'+&,-]+", " ", stem).split()).lstrip(". -")
    return stem.encode()[:LONGEST_NAME].decode(errors="ignore").rstrip(". ") or "Picture"


def _put(coming: Path, folder: Path, stem: str, suffix: str) -> Path:
    """Moves a file to its name, or to the next that is free: nothing is ever overwritten."""
    folder.mkdir(exist_ok=True)
    number = 1
    while True:
        place = folder / f"{stem if number == 1 else f'{stem} {number}'}{suffix}"
        try:
            os.link(coming, place)
            return place
        except FileExistsError:
            number += 1


@blueprint.post("/wallpaper/<int:id>/remove")
def remove(id: int) -> Any:
    need_login()
    site, picture = the_site(), the_picture(id)
    if not may_remove(picture):
        abort(403, "A picture is removed by who sent it, or by the owner of this box; what lies in the folder that the "
                   "harbor serves is removed there.")
    path = Path(picture.file)
    path.unlink(missing_ok=True)
    site.catalogue.look_at(path)
    site.members.remove_upload(id)
    flash(f"{picture.title} is gone.", "well")
    return redirect(url_for("pages.home"))
