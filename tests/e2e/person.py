"""A person at the desktop: looks for windows, clicks what is on them, types, and reads what the boxes say."""

import collections
import subprocess

import forms
from desktop import until
from screen import Screen

BUTTONS = {"left": "1", "right": "3"}
MENU = ["mnuVisitVH", "mnuViewCurrent", "", "mnuEditPreferences", "mnuForce", "", "mnuExit"]  # of a program at rest
MENU_EDGE = 3  # pixels
SEPARATOR = 9 / 16  # height of a separator in a menu, in lines
SLACK = 3  # pixels by which a control's own window may be smaller than its place


Box = collections.namedtuple("Box", "window title text")


class Person:
    def __init__(self, desktop):
        self.desktop = desktop
        self.probe = desktop.probe
        self.screen = Screen(desktop)

    # ------------------------------------------------------------------------------------------ windows

    def find(self, name, even_hidden=False):
        """The window of a form if it can be seen now."""
        for window in self.probe.windows():
            if window.cls == f"Quillory.{name}" and (window.visible or even_hidden):
                return window
        return None

    def window(self, name):
        return until(lambda: self.find(name), lambda: f"{name} on the screen, with {self.titles()}")

    def gone(self, name):
        until(lambda: not self.find(name), f"{name} away from the screen")

    def titles(self):
        return [window.text or window.cls for window in self.screen.open_windows()]

    def of_program(self):
        """What can be seen of the program, its icon aside."""
        return [w.text for w in self.screen.open_windows() if w.cls.startswith("Quillory.") or w.cls == "#32770"]

    def place(self, name, control, window=None):
        """Where a control stands on the screen."""
        left, top, _, _ = (window or self.window(name)).place
        x, y, width, height = (round(length * self.desktop.dpi / 96) for length in forms.place(name, control))
        return left + x, top + y, width, height

    def field(self, name, control):
        """The control's own window, for the kinds of controls that are the system's: text boxes, combos, buttons."""

        def standing():
            window = self.window(name)
            left, top, _, _ = self.place(name, control, window)
            for child in self.probe.children(window):
                near = abs(child.place[0] - left) <= SLACK and abs(child.place[1] - top) <= SLACK
                if near and child.visible:
                    return child
            return None

        return until(standing, f"a window of {control} in {name}")

    def wait_for_focus(self, name, control):
        """Until the keyboard's focus is in the control, or in a part of it, as the text of a combo is."""

        def is_there():
            field = self.field(name, control)
            return self.probe.ask("focus") in [part.handle for part in (field, *self.probe.children(field))]

        until(is_there, f"the focus in {control} of {name}")

    # ----------------------------------------------------------------------------------- mouse, keyboard

    def click(self, name, control):
        """Clicks the middle of a control, once the window takes clicks and nothing stands before it there."""

        def reachable():
            window = self.find(name)
            if not window or not window.enabled:
                return None
            left, top, width, height = self.place(name, control, window)
            spot = left + width // 2, top + height // 2
            return spot if self.is_in_front(window, *spot) else None

        self.mouse(*until(reachable, lambda: f"{control} of {name} within reach, with {self.titles()}"))

    def is_in_front(self, window, x, y):
        for other in self.screen.open_windows():
            left, top, width, height = other.place
            if left <= x < left + width and top <= y < top + height:
                return other.handle == window.handle
        return False

    def mouse(self, x, y, button="left", times=1):
        self.xdotool("mousemove", x, y, "sleep", "0.05", "click", "--repeat", times, "--delay", 60, BUTTONS[button])

    def drag(self, start, end):
        half = [(one + other) // 2 for one, other in zip(start, end)]
        steps = [word for spot in (half, end) for word in ("mousemove", *spot, "sleep", "0.1")]
        self.xdotool("mousemove", *start, "mousedown", "1", *steps, "mouseup", "1")

    def type(self, text):
        self.xdotool("type", "--delay", 15, text)

    def press(self, *keys):
        self.xdotool("key", "--delay", 30, *keys)

    def xdotool(self, *arguments):
        subprocess.run(["xdotool", *map(str, arguments)], env=self.desktop.environment, timeout=60, check=True)

    def choose_last(self, name, control):
        """Picks the last entry of a combo with the mouse, and returns it."""
        before = self.field(name, control)
        left, top, width, height = before.place
        self.mouse(left + width - height // 2, top + height // 2)
        lists = lambda: [window for window in self.screen.open_windows() if window.cls == "ComboLBox"]  # noqa: E731
        left, top, width, height = until(lists, f"the list of {control}")[0].place
        self.mouse(left + width // 3, top + height - 8)
        until(lambda: self.field(name, control).text != before.text, f"another entry in {control}")
        return self.field(name, control).text

    # ------------------------------------------------------------------------------------- boxes, tray

    def find_box(self):
        """The message box on the screen, once it is complete."""
        for window in self.screen.open_windows():
            if window.cls == "#32770":
                texts = [child.text for child in self.probe.children(window) if child.cls == "Static" and child.text]
                if texts:
                    return Box(window, window.text, texts[0].replace("\r\n", "\n"))
        return None

    def box(self, title):
        """The box of a title, as soon as there is any."""
        box = until(self.find_box, lambda: f"a message box, with {self.titles()}")
        assert box.title == title, box
        return box

    def answer(self, box, button):
        named = [child for child in self.probe.children(box.window) if child.text.replace("&", "") == button]
        self.mouse(*named[0].middle)
        handles = lambda: [window.handle for window in self.screen.open_windows()]  # noqa: E731
        until(lambda: box.window.handle not in handles(), f"the box away after {button}")

    def tray_icon(self):
        """The middle of the icon, as soon as no notice stands before it."""

        def uncovered():
            icon = self.screen.tray_icon()
            return icon and self.is_in_front(self.screen.taskbar(), *icon[0]) and icon[0]

        return until(uncovered, "an icon in the notification area")

    def double_click_icon(self):
        self.mouse(*self.tray_icon(), times=2)

    def tray_menu(self):
        """Opens the icon's menu and returns its window, once it has its size."""
        self.mouse(*self.tray_icon(), button="right")
        return until(lambda: (menu := self.find_menu()) and any(menu.place[2:]) and menu, "the tray's menu")

    def find_menu(self):
        return next((window for window in self.screen.open_windows() if window.cls == "#32768"), None)

    def menu_is_gone(self):
        until(lambda: not self.find_menu(), "the menu's end")

    def choose_from_tray(self, entry):
        """Clicks an entry of the icon's menu."""
        left, top, width, height = self.tray_menu().place
        lines = [1 if name else SEPARATOR for name in MENU]
        line = (height - 2 * MENU_EDGE) / sum(lines)
        above = sum(lines[: MENU.index(entry)])
        self.mouse(left + width // 2, round(top + MENU_EDGE + (above + 0.5) * line))
        self.menu_is_gone()
