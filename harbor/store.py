"""What a harbor remembers: one SQLite file in its state folder."""

import sqlite3
import threading
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import Any

from harbor.settings import Unusable

FILE = "harbor.sqlite"
VERSION = 1

# Members and pictures never get the number of one that has gone: a favorite must not come back as another picture.
# Rows of pictures that have gone stay, so that one that comes back is the same again. Paths are bytes, as in the file
# system; `stamp` and `fingerprint` tell whether a file has changed, and which one it is after a rename.
SCHEMA = """
CREATE TABLE member (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    name TEXT NOT NULL,
    folded TEXT NOT NULL UNIQUE,
    api_key TEXT NOT NULL UNIQUE,
    seal TEXT NOT NULL,
    is_owner INTEGER NOT NULL
);
CREATE TABLE password (
    member INTEGER NOT NULL REFERENCES member ON DELETE CASCADE,
    salt BLOB NOT NULL,
    hash BLOB NOT NULL
);
CREATE INDEX password_of_member ON password (member);
CREATE TABLE picture (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    path BLOB NOT NULL,
    is_here INTEGER NOT NULL,
    bytes INTEGER NOT NULL,
    stamp INTEGER NOT NULL,
    fingerprint BLOB NOT NULL,
    format TEXT NOT NULL,
    width INTEGER NOT NULL,
    height INTEGER NOT NULL
);
CREATE INDEX picture_by_path ON picture (path);
CREATE INDEX picture_by_fingerprint ON picture (fingerprint);
CREATE TABLE favorite (
    member INTEGER NOT NULL REFERENCES member ON DELETE CASCADE,
    picture INTEGER NOT NULL REFERENCES picture ON DELETE CASCADE,
    PRIMARY KEY (member, picture)
) WITHOUT ROWID;
CREATE INDEX favorite_by_picture ON favorite (picture);
CREATE TABLE rating (
    member INTEGER NOT NULL REFERENCES member ON DELETE CASCADE,
    picture INTEGER NOT NULL REFERENCES picture ON DELETE CASCADE,
    points INTEGER NOT NULL,
    PRIMARY KEY (member, picture)
) WITHOUT ROWID;
CREATE INDEX rating_by_picture ON rating (picture);
CREATE TABLE upload (
    member INTEGER NOT NULL REFERENCES member ON DELETE CASCADE,
    picture INTEGER NOT NULL REFERENCES picture ON DELETE CASCADE,
    PRIMARY KEY (member, picture)
) WITHOUT ROWID;
CREATE INDEX upload_by_picture ON upload (picture);
CREATE TABLE secret (value BLOB NOT NULL);
"""


class Store:
    """Every thread works on a connection of its own, so that nobody waits for another one's write to reach the disk.

    Raises Unusable where the folder or the file in it cannot be used.
    """

    def __init__(self, folder: Path):
        self._path = folder / FILE
        self._local = threading.local()
        try:
            folder.mkdir(parents=True, exist_ok=True, mode=0o700)
            with self.change() as db:
                (version,) = db.execute("PRAGMA user_version").fetchone()
                if version == 0:
                    for statement in SCHEMA.split(";"):
                        db.execute(statement)
                    db.execute("INSERT INTO secret VALUES (randomblob(32))")
                    db.execute("INSERT INTO sqlite_sequence VALUES ('picture', 1000)")
                    db.execute(f"PRAGMA user_version = {VERSION}")
                elif version != VERSION:
                    raise Unusable(f"{self._path} was written by another version of harbor")
            self._path.chmod(0o600)
        except OSError as problem:
            raise Unusable(f"{folder} cannot be the state folder: {problem.strerror}") from problem
        except sqlite3.Error as problem:
            raise Unusable(f"{self._path} cannot be used: {problem}") from problem

    def read(self, query: str, *values: Any) -> list[Any]:
        return self._connection().execute(query, values).fetchall()

    @contextmanager
    def change(self) -> Iterator[sqlite3.Connection]:
        """A transaction: whole and on the disk when the block has ended, or undone if an exception leaves it."""
        db = self._connection()
        db.execute("BEGIN IMMEDIATE")
        try:
            yield db
            db.execute("COMMIT")
        except BaseException:
            if db.in_transaction:
                db.execute("ROLLBACK")
            raise

    def secret(self) -> bytes:
        """Random bytes that are this harbor's own."""
        return bytes(self.read("SELECT value FROM secret")[0][0])

    def _connection(self) -> sqlite3.Connection:
        db: sqlite3.Connection | None = getattr(self._local, "db", None)
        if db is None:
            # Only ever used by its thread; but whichever thread collects the garbage may close it.
            db = sqlite3.connect(self._path, timeout=30, isolation_level=None, check_same_thread=False)
            db.execute("PRAGMA journal_mode = WAL")
            db.execute("PRAGMA synchronous = FULL")  # what was answered for outlives a power cut too
            db.execute("PRAGMA foreign_keys = ON")
            db.execute("PRAGMA cache_size = -512")  # KiB; there is a connection for each thread
            self._local.db = db
        return db
