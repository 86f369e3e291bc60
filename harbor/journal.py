"""What the clients asked: byte for byte in the memory of the tests, and if wanted as lines of JSON in a file."""

import json
import re
import threading
from collections import deque
from dataclasses import asdict, dataclass, field
from pathlib import Path
from time import time as now

MOST_RECORDS = 10_000
_SECRET = re.compile(r"((?:md5password|apikey)=)[^& ]*", re.IGNORECASE)


@dataclass
class Record:
    """A request and what became of it. The fields below `raw` fill while it is answered."""

    connection: int
    raw: bytes
    time: float = field(default_factory=now)
    host: str = ""
    kind: str = "malformed"  # api, image, release, page
    answer: str = ""  # label of the answer
    sent: int = 0  # bytes of it that went out
    done: bool = False

    def as_json(self) -> dict[str, object]:
        """As it is written down: without what would open an account for whoever reads it."""
        return asdict(self) | {"raw": _SECRET.sub(r"\1***", self.raw.decode("latin-1"))}


class Journal:
    """`records` holds the last requests from their arrival on; the file gets a line when an answer has ended."""

    def __init__(self, path: Path | str | None = None, most: int = MOST_RECORDS):
        self.records: deque[Record] = deque(maxlen=most)
        self._file = open(path, "a", encoding="ascii") if path else None
        self._lock = threading.Lock()

    def open(self, connection: int, raw: bytes) -> Record:
        record = Record(connection, raw)
        self.records.append(record)
        return record

    def finish(self, record: Record) -> None:
        with self._lock:
            record.done = True
            if self._file and not self._file.closed:
                self._file.write(json.dumps(record.as_json()) + "\n")
                self._file.flush()

    def close(self) -> None:
        with self._lock:
            if self._file:
                self._file.close()
