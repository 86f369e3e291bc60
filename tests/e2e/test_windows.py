"""Every window at the common density and at its double: seen whole, at its size, and kept in build/screens/."""

import pytest

from desktop import BUILD, until
from forms import form
from screen import furthest_difference
from stage import Stage

SCREENS = BUILD / "screens"
SCREEN_SIZE = {96: (1280, 1024), 192: (1600, 1200)}
SLOW = 20_000  # bytes a second: time to look around during a download


class Gallery:
    """Photographs windows, each with what stands on it and nothing of what stands around it."""

    def __init__(self, stage):
        self.stage = stage
        self.person = stage.person
        self.folder = SCREENS / str(stage.desktop.dpi)
        self.folder.mkdir(parents=True, exist_ok=True)

    def scaled(self, length):
        return round(length * self.stage.desktop.dpi / 96)

    def keep(self, name, window):
        left, top, width, height = window.place
        seen = self.person.screen.look().crop((left, top, left + width, top + height))
        seen.save(self.folder / f"{name}.png")
        return seen

    def form(self, name, as_name=None):
        """A window of the program's, at its designed size, completely on the screen, with its header drawn."""
        window = self.person.window(name)
        design = form(name)
        width, height = (self.scaled(length) for length in (design.width, design.height))
        assert window.place[2:] == (width, height), name
        left, top = window.place[:2]
        assert 0 <= left <= self.stage.desktop.size[0] - width and 0 <= top <= self.stage.desktop.size[1] - height
        self.person.point(left + width // 2, top + 2)  # nothing is under the pointer
        return self.keep(as_name or name, window)
