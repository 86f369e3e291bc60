"""The options that the tour and the person's desktop have in common."""

from service import PICTURES


def add_options(parser):
    parser.add_argument("--pictures", default=PICTURES, metavar="DIR", help="default: %(default)s")
    parser.add_argument("--size", type=size, default=(1280, 1024), metavar="WxH", help="of the desktop")


def size(text):
    width, height = map(int, text.split("x"))
    return width, height
