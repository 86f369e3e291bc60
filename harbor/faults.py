"""Troubles on demand: what can go wrong between a client and the site, and whom it hits."""

import json
import threading
from collections.abc import Callable, Iterator
from dataclasses import dataclass, field, fields, replace
from types import UnionType
from typing import Any

from harbor.answers import Answer, error, page, upgrade

KINDS = ("any", "api", "image", "release", "page", "connect")


@dataclass
class Fault:
    """One trouble. All effects that are set apply together: first the answer is altered, then its way to the client.

    Offsets count from the answer's first byte, header included; negative ones count from its end.
    """

    on: str  # one of KINDS, or a method of the API as in "vh.auth.login"
    times: int | None = None  # how many answers it still hits; None: for ever

    # What is answered instead.
    error: int | None = None  # an `error` answer of this number
    upgrade: str | None = None  # a call to upgrade, with this link
    gateway: bool = False  # the HTML page of somebody's wireless gateway
    garbage: bool = False  # a body that is no picture, no XML and no archive
    body: str | None = None  # a body of one's own
    header: dict[str, str | None] = field(default_factory=dict)  # header lines to set, or with None to leave out
    nolength: bool = False  # no Content-Length
    nomark: bool = False  # no Response-From

    # How it goes out.
    segments: list[int] | int | None = None  # offsets at which to cut into segments, or the length of each segment
    pause: float | int = 0.02  # seconds between segments
    slow: int | None = None  # bytes a second
    stall: int | None = None  # stop at this offset
    seconds: float | int | None = None  # length of the stall; None: until the fault is withdrawn
    cut: int | None = None  # end in order at this offset
    reset: int | None = None  # end with a reset at this offset

    refuse: bool = False  # "connect" only: nobody listens at the port

    def __post_init__(self) -> None:
        for each in fields(self):
            value = getattr(self, each.name)
            if not isinstance(value, _plain(each.type)) or isinstance(value, bool) and each.type is not bool:
                raise ValueError(f"{each.name} cannot be {value!r}")
        if self.on not in KINDS and not self.on.startswith("vh."):
            raise ValueError(f"a fault cannot be on {self.on!r}")
        if self.refuse != (self.on == "connect"):
            raise ValueError("refuse goes with connect, and nothing else does")
        self._withdrawn = threading.Event()

    @classmethod
    def parse(cls, text: str) -> "Fault":
        """Reads the command line's form: "image*2 cut=500 nolength" hits the next two images with two effects."""
        target, *effects = text.split()
        on, _, times = target.partition("*")
        values: dict[str, Any] = {"times": int(times)} if times else {}
        for effect in effects:
            name, equals, value = effect.partition("=")
            try:
                values[name] = json.loads(value) if equals else True
            except ValueError:
                values[name] = value
        return cls(on, **values)

    def hits(self, kind: str, method: str | None) -> bool:
        return self.times != 0 and self.on in ("any", kind, method)

    def alter(self, answer: Answer) -> Answer:
        keep = answer.keep
        if self.error is not None:
            answer = error(self.error, "This harbor was told to fail")
        if self.upgrade is not None:
            answer = upgrade(self.upgrade)
        if self.gateway:
            answer = page("Welcome to our wireless", "<p>Please accept our terms to go on.</p>", label="gateway")
        body = b"Neither a picture\nnor anything else.\n" if self.garbage else answer.body
        if self.body is not None:
            body = self.body.encode("utf-8")
        headers = {**answer.headers, **self.header}
        headers.update({"Content-Length": None} if self.nolength else {})
        headers.update({"Response-From": None} if self.nomark else {})
        return replace(answer, body=body, headers=headers, keep=keep)

    def steps(self, length: int) -> Iterator[tuple[int, int, float | None]]:
        """The way of an answer of that length: (start, end, seconds to wait behind it); None waits without end."""
        def offset(position: int) -> int:
            return max(0, min(length, position + length if position < 0 else position))

        end = min(offset(each) for each in (self.cut, self.reset, length) if each is not None)
        stall = offset(self.stall) if self.stall is not None else None
        if isinstance(self.segments, int):
            marks = set(range(0, end, max(1, self.segments)))
        else:
            marks = set(map(offset, self.segments or ()))
        if self.slow:
            marks |= set(range(0, end, max(1, self.slow // 10)))
        marks |= {0, end} if stall is None else {0, end, stall}
        ways = sorted(mark for mark in marks if mark <= end)

        if stall == 0:
            yield 0, 0, self.seconds
        for start, stop in zip(ways, ways[1:]):
            if stop == stall:
                yield start, stop, self.seconds
            elif self.slow:
                yield start, stop, (stop - start) / self.slow
            else:
                yield start, stop, self.pause if stop < end else 0

    def wait(self, seconds: float | None) -> None:
        self._withdrawn.wait(seconds)

    def withdraw(self) -> None:
        """Ends it, and with it the waits of answers under way."""
        self.times = 0
        self._withdrawn.set()


def _plain(kind: Any) -> Any:
    """A type as isinstance() takes it: without what stands in its brackets."""
    if isinstance(kind, UnionType):
        return tuple(map(_plain, kind.__args__))
    return getattr(kind, "__origin__", kind)


class Faults:
    """The faults that are switched on; the first one that fits an answer hits it. `changed` is called after changes."""

    def __init__(self, changed: Callable[[], None] = lambda: None):
        self._faults: list[Fault] = []
        self._lock = threading.Lock()
        self.changed = changed

    def add(self, *faults: Fault) -> None:
        with self._lock:
            self._faults.extend(faults)
        self.changed()

    def clear(self) -> None:
        with self._lock:
            for fault in self._faults:
                fault.withdraw()
            self._faults.clear()
        self.changed()

    def take(self, kind: str, method: str | None) -> Fault | None:
        with self._lock:
            fault = next((each for each in self._faults if each.hits(kind, method)), None)
            if fault and fault.times is not None:
                fault.times -= 1
            return fault

    @property
    def refusing(self) -> bool:
        return any(each.refuse and each.times != 0 for each in self._faults)
