"""How many wrong passwords somebody may try: enough for fingers that slip, too few to guess one."""

import threading
import time
from collections.abc import Callable

from harbor.members import Member


class TooMany(Exception):
    """So many wrong passwords that the next one, right or wrong, is not looked at for a while."""


class Patience:
    """Counts wrong passwords by the address that they come from and by the name that they are for. An address comes to
    its end long before a name does: who guesses at a member's password shall not keep that member out."""

    SECONDS = 300.0
    OF_AN_ADDRESS, FOR_A_NAME = 10, 30  # wrong ones in that time
    MOST_KEPT = 1000  # addresses, and names

    def __init__(self, clock: Callable[[], float] = time.monotonic):
        self._clock = clock
        self._addresses: dict[str, list[float]] = {}
        self._names: dict[str, list[float]] = {}
        self._lock = threading.Lock()

    def verify(self, address: str | None, name: str, verify: Callable[[], Member | None]) -> Member | None:
        """What `verify` finds for this name; raises TooMany instead of asking it. Without an address nothing counts."""
        if not address:
            return verify()
        now = self._clock()
        counts = (self._addresses, address, self.OF_AN_ADDRESS), (self._names, name.casefold()[:64], self.FOR_A_NAME)
        with self._lock:
            if any(len(self._recent(tries, key, now)) >= most for tries, key, most in counts):
                raise TooMany
            # It counts as wrong until it turns out right, or many at once would all get through.
            for tries, key, _ in counts:
                tries[key] = [*self._recent(tries, key, now), now]
                while len(tries) > self.MOST_KEPT:
                    del tries[next(iter(tries))]  # whose last try is the oldest
        member = verify()
        if member:
            with self._lock:
                for tries, key, _ in counts:
                    if now in tries.get(key, ()):
                        tries[key].remove(now)
        return member

    def _recent(self, tries: dict[str, list[float]], key: str, now: float) -> list[float]:
        """Takes the tries of a key out, and puts those that still count in again, behind all others."""
        recent = [each for each in tries.pop(key, ()) if each > now - self.SECONDS]
        if recent:
            tries[key] = recent
        return recent
