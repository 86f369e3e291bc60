"""What the clients asked: each request byte for byte, in memory and, if wanted, as lines of JSON in a file."""

import json
import threading
from dataclasses import asdict, dataclass, field
from time import time as now


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

    def as_json(self) -> dict:
        return asdict(self) | {"raw": self.raw.decode("latin-1")}


class Journal:
    """`records` holds a request from its arrival on; the file gets its line when the answer has ended."""

    def __init__(self, path=None):
        self.records: list[Record] = []
        self._file = open(path, "a", encoding="ascii") if path else None
        self._lock = threading.Lock()

    def open(self, connection: int, raw: bytes) -> Record:
        record = Record(connection, raw)
        self.records.append(record)
        return record

    def finish(self, record: Record):
        with self._lock:
            record.done = True
            if self._file and not self._file.closed:
                self._file.write(json.dumps(record.as_json()) + "\n")
                self._file.flush()

    def close(self):
        with self._lock:
            if self._file:
                self._file.close()
