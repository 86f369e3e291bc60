"""The site's members: their logins, their keys, what they sent and what they like."""

import hashlib
import hmac
import secrets
import sqlite3
import string
import threading
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from typing import Any

from harbor.codepages import spellings
from harbor.store import Store

_ALPHABET = string.ascii_letters + string.digits
_hashing = threading.BoundedSemaphore(2)  # each takes 16 MiB


def _slow_hash(protocol_hash: str, salt: bytes) -> bytes:
    """What is kept of a password. The protocol's own hash is as good as the password for whoever finds it, so a slow,
    salted one lies above it (scrypt, RFC 7914)."""
    with _hashing:
        return hashlib.scrypt(protocol_hash.encode(), salt=salt, n=2 ** 14, r=8, p=1, dklen=32)


def _protocol_hashes(password: str) -> list[str]:
    """What clients may send for a password: its MD5 in the code page of their Windows."""
    return [hashlib.md5(spelling).hexdigest() for spelling in spellings(password)]


@dataclass(frozen=True)
class Member:
    id: int
    name: str  # in the spelling of the sign-up, which is the site's own
    api_key: str
    seal: str  # another one after each change of the password
    is_owner: bool  # of the box: the first who came


class Members:
    """All of it lies in the store; names are known in any letter case, picture ids are the catalogue's.

    What asks for a member that does not exist finds nothing; what changes one that does not exist raises KeyError.
    """

    def __init__(self, store: Store):
        self._store = store
        self.when_rated: Callable[[], None] = lambda: None

    # ------------------------------------------------------------------------------------------ who there is

    def count(self) -> int:
        return int(self._store.read("SELECT count(*) FROM member")[0][0])

    def __iter__(self) -> Iterator[Member]:
        return iter([_member(row) for row in self._store.read(f"{_MEMBERS} ORDER BY folded")])

    def find(self, name: str) -> Member | None:
        rows = self._store.read(f"{_MEMBERS} WHERE folded = ?", name.casefold())
        return _member(rows[0]) if rows else None

    def knows_key(self, api_key: str) -> bool:
        return bool(self._store.read("SELECT 1 FROM member WHERE api_key = ?", api_key))

    def add(self, name: str, password: str) -> Member | None:
        """The new member, who is the owner if there was none before; None if the name is taken."""
        api_key = "".join(secrets.choice(_ALPHABET) for _ in range(12))
        hashes = _kept_of(password)
        try:
            with self._store.change() as db:
                db.execute("INSERT INTO member (name, folded, api_key, seal, is_owner) "
                           "VALUES (?, ?, ?, ?, NOT EXISTS (SELECT 1 FROM member))",
                           (name, name.casefold(), api_key, secrets.token_hex(16)))
                _keep(db, name, hashes)
        except sqlite3.IntegrityError:
            return None
        return self.find(name)

    def set_password(self, name: str, password: str) -> None:
        hashes = _kept_of(password)
        with self._store.change() as db:
            _keep(db, name, hashes)
            db.execute("UPDATE member SET seal = ? WHERE folded = ?", (secrets.token_hex(16), name.casefold()))

    def remove(self, name: str) -> None:
        """What the member sent stays where it is. After an owner, who has been here longest owns the box."""
        with self._store.change() as db:
            db.execute("DELETE FROM member WHERE folded = ?", (name.casefold(),))
            db.execute("UPDATE member SET is_owner = 1 WHERE id = (SELECT min(id) FROM member) "
                       "AND NOT EXISTS (SELECT 1 FROM member WHERE is_owner)")
        self.when_rated()

    def verify(self, name: str, password: str) -> Member | None:
        """The member, if the password is right."""
        return self.verify_hash(name, _protocol_hashes(password)[0])

    def verify_hash(self, name: str, protocol_hash: str) -> Member | None:
        """The member, if this is a hash that clients send for the password. An unknown name takes as long as a known
        one, so that the time tells no names."""
        member = self.find(name)
        kept = self._store.read("SELECT salt, hash FROM password WHERE member = ?", member.id) if member else []
        # All are looked at: which one matches is nobody's business either.
        right = [hmac.compare_digest(_slow_hash(protocol_hash, salt), bytes(hash))
                 for salt, hash in kept or [(b"nobody", b"")]]
        return member if any(right) else None

    def secret(self) -> bytes:
        return self._store.secret()

    # ------------------------------------------------------------------------------------------ what they like

    def favorites(self, name: str) -> frozenset[int]:
        return self._pictures_of(name, "favorite")

    def stars(self, picture: int) -> int:
        return int(self._store.read("SELECT count(*) FROM favorite WHERE picture = ?", picture)[0][0])

    def star(self, name: str, picture: int, on: bool) -> None:
        with self._store.change() as db:
            if on:
                db.execute("INSERT OR IGNORE INTO favorite VALUES (?, ?)", (_id(db, name), picture))
            else:
                db.execute("DELETE FROM favorite WHERE member = ? AND picture = ?", (_id(db, name), picture))

    def rating(self, name: str, picture: int) -> int | None:
        """The points, 0 to 100, that a member has given."""
        rows = self._store.read("SELECT points FROM rating JOIN member ON member.id = member "
                                "WHERE folded = ? AND picture = ?", name.casefold(), picture)
        return int(rows[0][0]) if rows else None

    def rate(self, name: str, picture: int, points: int) -> None:
        with self._store.change() as db:
            db.execute("INSERT OR REPLACE INTO rating VALUES (?, ?, ?)", (_id(db, name), picture, points))
        self.when_rated()

    def points(self) -> dict[int, int]:
        """The members' average for each picture that was rated."""
        return dict(self._store.read("SELECT picture, CAST(round(avg(points)) AS INTEGER) FROM rating "
                                     "GROUP BY picture"))

    # ------------------------------------------------------------------------------------------ what they sent

    def uploads(self, name: str) -> frozenset[int]:
        return self._pictures_of(name, "upload")

    def sender(self, picture: int) -> str | None:
        rows = self._store.read("SELECT name FROM upload JOIN member ON member.id = member WHERE picture = ?", picture)
        return str(rows[0][0]) if rows else None

    def add_upload(self, name: str, picture: int) -> None:
        with self._store.change() as db:
            db.execute("INSERT OR IGNORE INTO upload VALUES (?, ?)", (_id(db, name), picture))

    def remove_upload(self, picture: int) -> None:
        with self._store.change() as db:
            db.execute("DELETE FROM upload WHERE picture = ?", (picture,))

    def _pictures_of(self, name: str, table: str) -> frozenset[int]:
        return frozenset(row[0] for row in self._store.read(
            f"SELECT picture FROM {table} JOIN member ON member.id = member WHERE folded = ?", name.casefold()))


_MEMBERS = "SELECT id, name, api_key, seal, is_owner FROM member"


def _member(row: tuple[Any, ...]) -> Member:
    id, name, api_key, seal, is_owner = row
    return Member(id, name, api_key, seal, bool(is_owner))


def _id(db: sqlite3.Connection, name: str) -> int:
    row: Any = db.execute("SELECT id FROM member WHERE folded = ?", (name.casefold(),)).fetchone()
    if row is None:
        raise KeyError(name)
    return int(row[0])


def _kept_of(password: str) -> list[tuple[bytes, bytes]]:
    return [(salt := secrets.token_bytes(16), _slow_hash(each, salt)) for each in _protocol_hashes(password)]


def _keep(db: sqlite3.Connection, name: str, hashes: list[tuple[bytes, bytes]]) -> None:
    member = _id(db, name)
    db.execute("DELETE FROM password WHERE member = ?", (member,))
    db.executemany("INSERT INTO password VALUES (?, ?, ?)", [(member, salt, hash) for salt, hash in hashes])
