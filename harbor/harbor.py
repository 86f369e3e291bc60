#!/usr/bin/python3
"""A stand-in for the Velvet Harbor site: serves any folder of pictures with the site's API. See README.md."""

import argparse
import threading
from pathlib import Path

from catalogue import Catalogue
from control import Control
from faults import Fault, Faults
from journal import Journal
from members import Members
from releases import Releases
from routes import Routes
from wire import Listener

DEFAULT_PICTURES = "/usr/share/backgrounds/mate"  # Debian's mate-backgrounds


class Harbor:
    """A running site: `with Harbor(pictures=folder) as harbor: harbor.port ...`

    With port 0 the system picks a free one. `users` maps names to clear passwords. `control` is the control port, None
    for no such port.
    """

    def __init__(self, pictures=DEFAULT_PICTURES, bind="127.0.0.1", port=0, users=None, releases=None, log=None,
                 faults=(), control=None):
        self.catalogue = Catalogue(Path(pictures))
        self.members = Members(self.catalogue.pictures)
        for name, password in (users or {"alice": "velvet"}).items():
            self.members.add(name, password)
        self.faults = Faults()
        self.faults.add(*faults)
        self._journal = Journal(log)
        routes = Routes(self.catalogue, self.members, Releases(Path(releases) if releases else None))
        self._listener = Listener(bind, port, routes, self.faults, self._journal)
        self.faults.changed = self._listen_or_refuse
        self._listen_or_refuse()
        self._control = Control(self, control) if control is not None else None

    def __enter__(self) -> "Harbor":
        return self

    def __exit__(self, *_):
        self.stop()

    @property
    def port(self) -> int:
        return self._listener.port

    @property
    def control_port(self) -> int | None:
        return self._control and self._control.port

    @property
    def requests(self):
        """The records of all requests so far, in the order of their arrival (see journal.py)."""
        return self._journal.records

    def fault(self, on: str, times: int | None = None, **effects) -> Fault:
        """Switches a fault on (see faults.py)."""
        fault = Fault(on, times, **effects)
        self.faults.add(fault)
        return fault

    def abort_connections(self) -> int:
        return self._listener.abort_connections()

    def stop(self):
        self.faults.changed = lambda: None
        self.faults.clear()  # which ends the stalls
        self._listener.refuse()
        self.abort_connections()
        if self._control:
            self._control.stop()
        self._journal.close()

    def _listen_or_refuse(self):
        if self.faults.refusing:
            self._listener.refuse()
        else:
            self._listener.listen()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--pictures", metavar="DIR", default=DEFAULT_PICTURES, help="default: %(default)s")
    parser.add_argument("--bind", metavar="ADDRESS", default="127.0.0.1", help="default: %(default)s")
    parser.add_argument("--port", type=int, default=80, help="default: %(default)s; 0 takes a free one")
    parser.add_argument("--user", metavar="NAME:PASSWORD", action="append", help="repeatable; default: alice:velvet")
    parser.add_argument("--releases", metavar="DIR", help="folder with Quillory-1.0.113.zip, its .md5 and the like")
    parser.add_argument("--log", metavar="FILE", help="append each request to FILE, as lines of JSON")
    parser.add_argument("--fault", metavar="FAULT", type=Fault.parse, action="append", default=[],
                        help='repeatable, as in "image*2 cut=500"')
    parser.add_argument("--control", metavar="PORT", type=int, help="serve the control port; 0 takes a free one")
    options = parser.parse_args()
    if not Path(options.pictures).is_dir():
        parser.error(f"no such folder: {options.pictures}")
    users = dict(user.split(":", 1) if ":" in user else parser.error(f"no password in {user}")
                 for user in options.user or ["alice:velvet"])

    with Harbor(options.pictures, options.bind, options.port, users, options.releases, options.log, options.fault,
                options.control) as harbor:
        control = f", control port {harbor.control_port}" if harbor.control_port else ""
        print(f"harbor: {len(harbor.catalogue.pictures)} pictures at http://{options.bind}:{harbor.port}/{control}",
              flush=True)
        try:
            threading.Event().wait()
        except KeyboardInterrupt:
            pass


if __name__ == "__main__":
    main()
