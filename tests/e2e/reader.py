"""A screen reader: what is told of a window from outside, and the program worked by that alone."""

import types

# Roles and states of Active Accessibility.
ALERT, DIALOG, LINK, TAB, STATIC, TEXT = 8, 18, 30, 37, 41, 42
BUTTON, CHECK, OPTION, COMBO, PROGRESS = 43, 44, 45, 46, 48
UNAVAILABLE, SELECTED, FOCUSED, CHECKED, INVISIBLE, PROTECTED = 1, 2, 4, 0x10, 0x8000, 0x20000000


class Reader:
    def __init__(self, person):
        self.person = person

    def read(self, name):
        """The window itself, and what is shown on it."""
        heard = self.person.probe.ask("read", self.person.window(name).handle)
        window, *elements = [types.SimpleNamespace(number=number, **entry) for number, entry in enumerate(heard)]
        return window, [element for element in elements if not element.state & INVISIBLE]

    def find(self, name, role, called):
        elements = self.read(name)[1]
        found = [element for element in elements if (element.role, element.name) == (role, called)]
        assert found, f"{called} of {name}: {elements}"
        return found[0]

    def act(self, name, role, called):
        number = self.find(name, role, called).number
        assert self.person.probe.ask("read", self.person.window(name).handle, number)
