"""What `harbor check` tells: whether the house is in order, with the eyes of the service."""

import hashlib
import os
import socket
from collections.abc import Iterator

from harbor.catalogue import LEFT_OUT
from harbor.cli import become_the_owner_of, open_members, the_folder
from harbor.pictures import SUFFIXES
from harbor.settings import Settings, Unusable

Finding = tuple[bool, str]  # is it well? and the line that says so


def check(settings: Settings) -> int:
    """Prints a line for each finding; 0 if all is well, 1 if not."""
    become_the_owner_of(settings.state)
    is_well = True
    for look in (pictures, state, uploads, releases, ports):
        for good, line in look(settings):
            is_well = is_well and good
            print(f"{'ok' if good else '!!'}  {line}", flush=True)
    return 0 if is_well else 1


def pictures(settings: Settings) -> Iterator[Finding]:
    try:
        folder = the_folder(settings)
    except Unusable as problem:
        yield False, str(problem)
        return
    found, closed = 0, []

    def not_read(problem: OSError) -> None:
        closed.append(str(problem.filename))

    for where, folders, files in os.walk(folder, onerror=not_read):
        folders[:] = [each for each in folders if not each.startswith(".") and each.lower() not in LEFT_OUT]
        for name in files:
            if not name.startswith(".") and name.lower().endswith(SUFFIXES):
                if os.access(os.path.join(where, name), os.R_OK):
                    found += 1
                else:
                    closed.append(os.path.join(where, name))
    yield found > 0, f"{folder} has {found} picture{'' if found == 1 else 's'}" + ("" if found else ": put some there")
    if closed:
        yield False, f"{len(closed)} of its files and folders may not be read, the first is {ascii(closed[0])}"


def state(settings: Settings) -> Iterator[Finding]:
    if not settings.state.is_dir():
        yield True, f"{settings.state} is not there yet; the service makes it"
        return
    try:
        members = open_members(settings)
        count = members.count()
        yield True, f"{settings.state} remembers {count} member{'' if count == 1 else 's'}"
        if not count:
            yield True, "the first who signs up will own this box"
    except Unusable as problem:
        yield False, str(problem)


def uploads(settings: Settings) -> Iterator[Finding]:
    place = next(each for each in (settings.uploads, *settings.uploads.parents) if each.exists())
    good = os.access(place, os.W_OK | os.X_OK)
    yield good, f"{settings.uploads} {'takes' if good else 'cannot take'} what members send"


def releases(settings: Settings) -> Iterator[Finding]:
    archives = sorted(settings.releases.glob("Quillory-*.zip")) if settings.releases.is_dir() else []
    for archive in archives:
        try:
            wanted = archive.with_name(archive.name + ".md5").read_text("ascii").strip()
            good = hashlib.md5(archive.read_bytes()).hexdigest() == wanted
        except (OSError, UnicodeDecodeError):
            good = False
        how = "is offered to the PCs" if good else "is not offered: its checksum does not agree"
        yield good, f"{archive.name} {how}"
    setup = settings.releases / "Quillory-Setup.exe"
    if setup.is_file():
        yield True, f"{setup.name} can be downloaded from the page /quillory/"
    else:
        yield True, f"no {setup.name} in {settings.releases}, so the PCs have to get Quillory elsewhere"


def ports(settings: Settings) -> Iterator[Finding]:
    for address in settings.bind:
        own = {"0.0.0.0": "127.0.0.1", "::": "::1"}.get(address, address)
        shown = f"[{address}]:{settings.port}" if ":" in address else f"{address}:{settings.port}"
        try:
            with socket.create_connection((own, settings.port), timeout=3) as peer:
                peer.sendall(b"GET /static/mark.svg HTTP/1.0\r\n\r\n")
                is_ours = peer.makefile("rb").read(9000).find(b"Content-Security-Policy") >= 0
        except ConnectionRefusedError:
            yield True, f"nobody listens at {shown}: the service is not running, or not yet"
        except OSError as problem:
            yield ":" in address, f"{shown} cannot be reached: {problem.strerror or problem}"
        else:
            yield is_ours, f"{shown} " + ("is answered by a harbor" if is_ours else "is taken by another program")
