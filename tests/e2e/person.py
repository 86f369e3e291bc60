"""A person at the desktop: looks for windows, clicks what is on them, types, and reads what the boxes say."""

import dataclasses
import subprocess

import screen
from desktop import until
from forms import form, menu_lines

BUTTONS = {"left": "1", "right": "3"}
MENU_EDGE = 3  # pixels
SEPARATOR = 9 / 16  # height of a separator in a menu, in lines
SLACK = 3  # pixels by which a control's own window may be smaller than its place


@dataclasses.dataclass(frozen=True)
class Box:
    """A message box."""

    window: object
    title: str
    text: str
    buttons: tuple
    icon: str  # exclamation, information, question, critical, or nothing


class Person:
    def __init__(self, desktop):
        self.desktop = desktop
        self.probe = desktop.probe
        self.screen = screen.Screen(desktop)

    # ------------------------------------------------------------------------------------------ windows

    def find(self, name, even_hidden=False):
        """The window of a form if it can be seen now."""
        design = form(name)
        width = round(design.width * self.desktop.dpi / 96)
        for window in self.probe.windows():
            wide = abs(window.place[2] - width) <= 1  # edges are rounded, and not lengths
            same = window.text == design.caption and (wide or window.minimized)
            if same and (window.visible or even_hidden) and self.is_ours(window):
                return window
        return None

    def window(self, name, seconds=15):
        return until(lambda: self.find(name), lambda: f"{name} on the screen, with {self.titles()}", seconds)

    def gone(self, name, seconds=15):
        until(lambda: not self.find(name), f"{name} away from the screen", seconds)

    def is_ours(self, window):
        ours = ("Quillory.exe", "update.exe", "updating.exe")
        return any(window.process in self.probe.ask("processes", name) for name in ours)

    def titles(self):
        return [window.text or window.cls for window in self.screen.open_windows()]

    def place(self, name, control, window=None):
        """Where a control stands on the screen."""
        left, top, width, height = form(name).place(control)
        scale = self.desktop.dpi / 96
        window = window or self.window(name)
        return (
            round(window.place[0] + left * scale),
            round(window.place[1] + top * scale),
            round(width * scale),
            round(height * scale),
        )

    def field(self, name, control):
        """The control's own window, for the kinds of controls that are the system's: text boxes, combos, buttons."""
        window = self.window(name)
        left, top, width, height = self.place(name, control, window)
        x, y = left + width // 2, top + min(height // 2, 8)
        for child in self.probe.children(window):
            at, below, w, h = child.place
            near = abs(at - left) <= SLACK and abs(below - top) <= SLACK
            if near and at <= x < at + w and below <= y < below + h and child.visible:
                return child
        raise LookupError(f"{control} of {name} has no window at {left},{top}")

    def focused(self, name, control):
        """True if the keyboard's focus is in the control, or in a part of it, as the text of a combo is."""
        field = self.field(name, control)
        focus = self.probe.ask("focus")["focus"]
        return focus == field.handle or any(child.handle == focus for child in self.probe.children(field))

    # ----------------------------------------------------------------------------------- mouse, keyboard

    def click(self, name, control, button="left"):
        """Clicks the middle of a control, once the window takes clicks and nothing stands before it there."""

        def reachable():
            window = self.find(name)
            if not window or not window.enabled:
                return None
            left, top, width, height = self.place(name, control, window)
            x, y = left + width // 2, top + height // 2
            front = self.front_window(x, y)
            return (x, y) if front and front.handle == window.handle else None

        spot = until(reachable, lambda: f"{control} of {name} within reach, with {self.titles()}")
        self.mouse(*spot, button=button)

    def front_window(self, x, y):
        for window in self.screen.open_windows():
            left, top, width, height = window.place
            if left <= x < left + width and top <= y < top + height:
                return window
        return None

    def mouse(self, x, y, button="left", times=1):
        self.xdotool("mousemove", x, y, "sleep", "0.05", "click", "--repeat", times, "--delay", 60, BUTTONS[button])

    def point(self, x, y):
        self.xdotool("mousemove", x, y)

    def drag(self, start, end):
        half = [(one + other) // 2 for one, other in zip(start, end)]
        steps = [word for spot in (half, end) for word in ("mousemove", *spot, "sleep", "0.1")]
        self.xdotool("mousemove", *start, "mousedown", "1", *steps, "mouseup", "1")

    def type(self, text):
        self.xdotool("type", "--delay", 15, text)

    def press(self, *keys):
        self.xdotool("key", "--delay", 30, *keys)

    def xdotool(self, *arguments):
        subprocess.run(["xdotool", *map(str, arguments)], env=self.desktop.environment, timeout=30, check=True)

    def fill(self, name, control, text):
        """Replaces the text of a text box."""
        self.click(name, control)
        until(lambda: self.focused(name, control), f"the focus in {control}")
        self.press("Home", "shift+End")
        if text:
            self.type(text)
        else:
            self.press("Delete")
        until(
            lambda: self.field(name, control).text == text,
            lambda: f"{text!r} in {control}, not {self.field(name, control).text!r}",
        )

    def choose(self, name, control, entry):
        """Picks an entry from a combo with the mouse: opens the list, then clicks the entry's line."""
        field = self.field(name, control)
        left, top, width, height = field.place
        self.mouse(left + width - height // 2, top + height // 2)
        dropped = until(
            lambda: next((window for window in self.screen.open_windows() if window.cls == "ComboLBox"), None),
            f"the list of {control}",
        )
        lines = len(field.entries)
        left, top, width, height = dropped.place
        # All entries fit: the list is as high as its lines.
        line = field.entries.index(entry)
        self.mouse(left + width // 3, top + round((line + 0.5) * height / lines))
        until(lambda: self.field(name, control).text == entry, f"{entry!r} in {control}")

    # --------------------------------------------------------------------------------------------- boxes

    def find_box(self):
        """The message box on the screen, once it is complete."""
        for window in self.screen.open_windows():
            if window.cls == "#32770" and self.is_ours(window):
                children = self.probe.children(window)
                buttons = tuple(child.text for child in children if child.cls == "Button" and child.visible)
                texts = [child.text for child in children if child.cls == "Static" and child.text]
                if buttons and texts:
                    return Box(window, window.text, texts[0].replace("\r\n", "\n"), buttons, self.icon_of(children))
        return None

    def box(self, seconds=15):
        return until(self.find_box, lambda: f"a message box, with {self.titles()}", seconds)

    def icon_of(self, children):
        """Which of the system's icons stands in the box, by its looks."""
        for child in children:
            left, top, width, height = child.place
            if child.cls == "Static" and child.visible and not child.text and (width, height) == (32, 32):
                seen = self.screen.look().crop((left, top, left + 32, top + 32))
                for name in ("exclamation", "information", "question", "critical"):
                    if screen.furthest_difference(seen, screen.stock_icon(self.desktop, name)) < 8:
                        return name
                return "unknown"
        return ""

    def answer(self, box, button):
        child = next(
            child
            for child in self.probe.children(box.window)
            if child.cls == "Button" and child.text.replace("&", "") == button
        )
        self.mouse(*child.middle)
        until(
            lambda: not any(window.handle == box.window.handle for window in self.screen.open_windows()),
            f"the box away after {button}",
        )

    # ---------------------------------------------------------------------------------------------- tray

    def tray_icon(self, seconds=40):
        """The middle of the icon, as soon as no notice stands before it."""

        def uncovered():
            icon = self.screen.tray_icon()
            return icon and self.front_window(*icon[0]).cls == "Shell_TrayWnd" and icon[0]

        return until(uncovered, "an icon in the notification area", seconds)

    def double_click_icon(self):
        self.mouse(*self.tray_icon(), times=2)

    def tray_menu(self):
        """Opens the icon's menu and returns its window."""
        self.mouse(*self.tray_icon(), button="right")
        return until(self.find_menu, "the tray's menu")

    def find_menu(self):
        return next((window for window in self.screen.open_windows() if window.cls == "#32768"), None)

    def choose_from_tray(self, entry, menu=None, busy=False):
        """Clicks an entry of the icon's menu, which is opened first if it is not open."""
        menu = menu or self.tray_menu()
        left, top, width, height = menu.place
        entries = menu_lines(busy)
        lines = [1 if name else SEPARATOR for name in entries]
        line = (height - 2 * MENU_EDGE) / sum(lines)
        above = sum(lines[: entries.index(entry)])
        self.mouse(left + width // 2, round(top + MENU_EDGE + (above + 0.5) * line))
        until(lambda: not self.find_menu(), "the menu's end")
