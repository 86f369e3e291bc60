"""The stand-in of the tests: the same site on a wire that can tear answers, with every trouble of a network, and
forgetful."""

import shutil
import tempfile
from collections import deque
from collections.abc import Iterable
from dataclasses import replace
from pathlib import Path
from typing import Any

from werkzeug.test import EnvironBuilder, run_wsgi_app

from harbor.answers import Answer
from harbor.catalogue import drawn
from harbor.faults import Fault, Faults
from harbor.journal import Journal, Record
from harbor.routes import Request
from harbor.service import Site
from harbor.settings import Settings
from harbor.wire import Listener

DEFAULT_PICTURES = "/usr/share/backgrounds/mate"  # Debian's mate-backgrounds


class StandIn(Site):
    """A running site: `with StandIn(pictures=folder) as harbor: harbor.port ...`

    With port 0 the system picks a free one. `users` maps names to clear passwords. The pictures are read once, and
    rated as if many had done so; what it is told it forgets at its end.
    """

    def __init__(self, pictures: Path | str = DEFAULT_PICTURES, bind: str = "127.0.0.1", port: int = 0,
                 users: dict[str, str] | None = None, releases: Path | str | None = None,
                 log: Path | str | None = None, faults: Iterable[Fault] = ()):
        self._state = tempfile.mkdtemp(prefix="harbor-")
        try:
            settings = Settings(Path(pictures).absolute(), Path(self._state), bind=(bind,), port=port)
            if releases:
                settings = replace(settings, releases=Path(releases))
            super().__init__(settings, drawn)
            self.catalogue.scan()
            for name, password in (users or {"alice": "velvet"}).items():
                self.add_member(name, password)
            self.faults = Faults()
            self.faults.add(*faults)
            self._journal = Journal(log)
            self._listener = Listener(bind, port, self._answer, self.faults, self._journal)
        except BaseException:
            shutil.rmtree(self._state, ignore_errors=True)
            raise
        self.faults.changed = self._listen_or_refuse
        self._listen_or_refuse()

    @property
    def port(self) -> int:
        return self._listener.port

    @property
    def requests(self) -> deque[Record]:
        """The records of the last requests, in the order of their arrival (see journal.py)."""
        return self._journal.records

    def add_member(self, name: str, password: str) -> None:
        """A new member has uploaded every third picture and likes every other one: two lists that differ."""
        self.members.add(name, password)
        ids = list(self.catalogue.pictures)
        for id in ids[::3]:
            self.members.add_upload(name, id)
        self.set_favorites(name, ids[::2])

    def set_favorites(self, name: str, ids: Iterable[int]) -> None:
        for id in self.catalogue.pictures:
            self.members.star(name, id, id in ids)

    def fault(self, on: str, times: int | None = None, **effects: Any) -> Fault:
        """Switches a fault on (see faults.py)."""
        fault = Fault(on, times, **effects)
        self.faults.add(fault)
        return fault

    def abort_connections(self) -> int:
        return self._listener.abort_connections()

    def stop(self) -> None:
        self.faults.changed = lambda: None
        self.faults.clear()  # which ends the stalls
        self._listener.refuse()
        self.abort_connections()
        self._journal.close()
        shutil.rmtree(self._state, ignore_errors=True)

    def _listen_or_refuse(self) -> None:
        if self.faults.refusing:
            self._listener.refuse()
        else:
            self._listener.listen()

    def _answer(self, request: Request) -> Answer:
        answer = self.routes.answer(request)
        if answer is not None:
            return answer
        base = f"http://{request.host or '127.0.0.1'}"
        environ = EnvironBuilder(request.path, base, query_string=request.query).get_environ()
        body, status, headers = run_wsgi_app(self.pages, environ, buffered=True)
        return Answer("page", b"".join(body), status, dict(headers))
