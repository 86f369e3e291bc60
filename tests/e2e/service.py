"""The stand-in site in this process, on the port and under the names that Quillory knows."""

import io
import re
import sys

from PIL import Image

from desktop import ROOT, until

sys.path.insert(0, str(ROOT))
from harbor.images import scaled  # noqa: E402
from harbor.standin import DEFAULT_PICTURES, StandIn  # noqa: E402

USER, PASSWORD = "alice", "velvet"
PICTURES = DEFAULT_PICTURES


class Service:
    def __init__(self, pictures, releases):
        self.harbor = StandIn(pictures=pictures, port=80, users={USER: PASSWORD}, releases=releases)
        self.releases = releases
        self.fault = self.harbor.fault

    def forget(self):
        """Starts a new page: withdraws all faults, and leaves out the requests so far from what asked() tells."""
        self.harbor.faults.clear()
        self.harbor.requests.clear()

    def asked(self, kind):
        """The answered requests of a kind: "api", "image", "release", or a method of the API."""
        return [
            request
            for request in list(self.harbor.requests)
            if request.done and (request.kind == kind or b"&method=%s" % kind.encode() in request.raw)
        ]

    def wait_for(self, kind, count=1):
        """The `count`-th request of a kind, as soon as there are that many."""
        told = lambda: f"{count} requests {kind}, but {[r.raw[:200] for r in self.harbor.requests]}"  # noqa: E731
        return until(lambda: len(self.asked(kind)) >= count and self.asked(kind), told)[count - 1]

    def served(self, request):
        """The catalogue's entry and the bytes that an image request was answered with."""
        asked = re.search(rb"/dl/inline/(\d+)/(\d+)x(\d+)/", request.raw)
        number, width, height = map(int, asked.groups())
        picture = self.harbor.catalogue.pictures[number]
        return picture, scaled(picture.path, picture.format, (width, height))


def decoded(data):
    """The pixels of an image file."""
    return Image.open(io.BytesIO(data)).convert("RGB")
