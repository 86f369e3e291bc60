"""The harbor of a household: all parts of the site together, and how they are carried to the net."""

import threading
from collections.abc import Callable
from pathlib import Path
from types import TracebackType
from typing import Self

from flask import Flask

from harbor.api import Api
from harbor.carrier import Carrier
from harbor.catalogue import Catalogue, unrated
from harbor.images import Images
from harbor.members import Members
from harbor.patience import Patience
from harbor.pictures import Picture
from harbor.releases import Releases
from harbor.routes import Routes
from harbor.settings import Settings
from harbor.store import Store
from harbor.web import create_app

LOOK_EVERY = 20.0  # seconds; what is new shows up within a minute, however long a look takes


class Site:
    """What the site knows and answers, whatever brings it the requests: `with` it, until it is stopped. Raises Unusable
    if the state folder is."""

    def __init__(self, settings: Settings, points: Callable[[Picture], int] = unrated):
        self.settings = settings
        store = Store(settings.state)
        self.members = Members(store)
        self.catalogue = Catalogue(store, Path(settings.pictures or ""), settings.uploads, self.members.points, points)
        self.members.when_rated = self.catalogue.show_points
        self.images = Images(self.catalogue, settings.state / "scaled")
        self.releases = Releases(settings.releases)
        self.patience = Patience()
        api = Api(self.catalogue, self.members, self.releases, self.patience)
        self.routes = Routes(self.catalogue, self.images, api, self.releases)
        self.pages: Flask = create_app(self)

    @property
    def port(self) -> int:
        raise NotImplementedError

    def stop(self) -> None:
        """What has been answered for is kept already."""

    def __enter__(self) -> Self:
        return self

    def __exit__(self, kind: type[BaseException] | None, problem: BaseException | None,
                 trace: TracebackType | None) -> None:
        self.stop()


class Harbor(Site):
    """A running harbor: `with Harbor(settings) as harbor: harbor.port ...`

    It answers at once with the pictures that it knows, and looks for others in the background. Raises OSError if it
    cannot listen where it is told to.
    """

    def __init__(self, settings: Settings, log: Path | str | None = None):
        super().__init__(settings)
        self._ended = threading.Event()
        self._carrier = Carrier(self, log)
        threading.Thread(target=self.catalogue.watch, args=(LOOK_EVERY, self._ended), name="look", daemon=True).start()

    @property
    def port(self) -> int:
        return self._carrier.port

    def stop(self) -> None:
        self._ended.set()
        self._carrier.stop()
