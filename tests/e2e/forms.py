"""Where the controls of a window stand, read from the header that is the window's design.

Most controls are drawn by their window and have no handle of their own: like a person, a test goes by the place.
"""

import functools
import re

from desktop import ROOT

UI = ROOT / "src" / "program" / "ui"
PLACE = r"(\*this|[\w\[\]]+),\s*\{([-\d., ]+)\}"
CONTROL = re.compile(r"^\s*\w+ (\w+)\{" + PLACE)
ELEMENT = re.compile(r"^\s*\{" + PLACE)
WINDOW = re.compile(r'\.caption = (?:\{\}|L"([^"]*)"),\s*\.width = (\d+),\s*\.height = (\d+)')
ARRAY = re.compile(r"^\s*std::array<\w+, \d+> (\w+)\{\{")


class FormDesign:
    def __init__(self, name):
        self.name = name
        design = (UI / f"{name}.h").read_text()
        self.places = dict(read_places(design))
        self.caption, *size = WINDOW.search((UI / f"{name}.cpp").read_text()).groups(default="")
        self.width, self.height = map(int, size)

    def place(self, control):
        """Left, top, width and height in the window, in design pixels."""
        parent, (left, top, width, height) = self.places[control]
        if parent != "*this":
            frame_left, frame_top, _, _ = self.place(parent)
            left, top = left + frame_left, top + frame_top
        return left, top, width, height


form = functools.cache(FormDesign)


def read_places(design):
    array, index = "", 0
    for line in design.splitlines():
        if found := ARRAY.match(line):
            array, index = found[1], 0
        elif found := ELEMENT.match(line):
            yield f"{array}[{index}]", (found[1], numbers(found[2]))
            index += 1
        elif found := CONTROL.match(line):
            yield found[1], (found[2], numbers(found[3]))


def numbers(text):
    return tuple(float(number) for number in text.split(","))


@functools.cache
def menu_lines(busy=False):
    """The entries of the tray's menu from top to bottom, by name, with an empty name for a separator."""
    design = (UI / "frmPopupMenu.h").read_text()
    entries = re.findall(r'MenuEntry (\w+)\{L"([^"]*)", (true|false)', design)
    return ["" if caption == "-" else name for name, caption, visible in entries if busy or visible == "true"]
