"""Where the controls of a window stand, read from the header that is the window's design.

Most controls are drawn by their window and have no handle of their own: like a person, a test goes by the place.
"""

import functools
import re

from desktop import ROOT

UI = ROOT / "src" / "program" / "ui"
CONTROL = re.compile(r"^\s*(?:\w+ (\w+))?\{(\*this|[\w\[\]]+),\s*\{([-\d., ]+)\}")
ARRAY = re.compile(r"^\s*std::array<\w+, \d+> (\w+)\{\{")


@functools.cache
def design(form):
    """Of each control its parent, and its left, top, width and height in that, in design pixels."""
    places, array, index = {}, "", 0
    for line in (UI / f"{form}.h").read_text().splitlines():
        if found := ARRAY.match(line):
            array, index = found[1], 0
        elif found := CONTROL.match(line):
            places[found[1] or f"{array}[{index}]"] = found[2], [float(number) for number in found[3].split(",")]
            index += 1
    return places


def place(form, control):
    """Left, top, width and height of a control in its window, in design pixels."""
    parent, (left, top, width, height) = design(form)[control]
    if parent != "*this":
        frame_left, frame_top, _, _ = place(form, parent)
        left, top = left + frame_left, top + frame_top
    return left, top, width, height
