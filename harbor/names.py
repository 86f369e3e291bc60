"""The names and addresses under which the site is known to whoever asks it."""

import re
from dataclasses import dataclass

DOMAIN = "velvetharbor.example"
_HOSTS = {DOMAIN, *(f"{part}.{DOMAIN}" for part in ("www", "api", "members", "images", "dl"))}
_HOST_SHAPE = re.compile(r"[a-z0-9](?:[a-z0-9._-]{0,251}[a-z0-9])?\.?")


@dataclass(frozen=True)
class Names:
    """The addresses that clients of one build know. Each ends in a slash; links in answers have to begin with them."""

    home: str
    members: str
    images: str
    releases: str

    @property
    def wallpapers(self) -> str:
        return self.home + "wallpaper/"

    @classmethod
    def of(cls, host: str) -> "Names":
        """The addresses by the host that a request came for: whoever uses one of the site's own names knows them all;
        under any other name, as of a box at home, that one name stands for everything. What can be no host's name gets
        the site's own."""
        host = host.lower().partition(":")[0]
        if host in _HOSTS or not _HOST_SHAPE.fullmatch(host):
            return cls(f"http://{DOMAIN}/", f"http://members.{DOMAIN}/", f"http://images.{DOMAIN}/dl/inline/",
                       f"http://dl.{DOMAIN}/quillory/")
        home = f"http://{host}/"
        return cls(home, home + "members/", home + "dl/inline/", home + "quillory/")
