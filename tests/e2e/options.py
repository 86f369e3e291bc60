"""The options that the tour and the person's desktop have in common."""

from service import PICTURES


def add_options(parser):
    parser.add_argument("--pictures", default=PICTURES, metavar="DIR", help="default: %(default)s")
    size = {"type": lambda text: tuple(map(int, text.split("x"))), "default": (1280, 1024), "metavar": "WxH"}
    parser.add_argument("--size", **size, help="of the desktop")
