"""Reads words that a window draws itself and no window of the system holds: they are compared, as a person would read
them, with the same words in the same lettering."""

from PIL import Image

from desktop import until
from forms import form

FACE = "Tahoma"  # what the program takes where there is no Segoe UI, as here
BODY, TITLE = (90, 400), (105, 600)  # tenths of a point, weight

# Letters are smoothed at their edges, where nothing is said about a pixel.
CLEARLY_FREE, CLEARLY_COVERED, HALF = 60, 195, 128

NOTICE = "frmSlideMessage"
NOTICE_TITLE = "Quillory Wallpaper Manager"  # if the program gives it none
RISE_SECONDS = 20


def notice(stage, text, title=NOTICE_TITLE, seconds=RISE_SECONDS):
    """Waits until a notice stands at its height and says just this."""
    says_title = title_reader(stage, NOTICE, "lblTitle", title)
    says_text = Reader(stage, NOTICE, "lblStatusMsg", text, BODY, is_dark)
    until(lambda: says_title() and says_text(), lambda: f"{title!r}: {text!r}, with {stage.person.titles()}", seconds)


def close_notice(stage):
    stage.person.click(NOTICE, "picCloseX")
    stage.person.gone(NOTICE)


def heading(stage, name, control, text, seconds=15):
    """Waits until a window's heading reads just this."""
    reads = title_reader(stage, name, control, text)
    until(reads, lambda: f"{text!r} on {name}, with {stage.person.titles()}", seconds)


def title_reader(stage, name, control, text):
    return Reader(stage, name, control, text, TITLE, is_light)


def is_dark(pixel):
    return pixel < HALF


def is_light(pixel):
    return pixel >= HALF


class Reader:
    """Tells whether a control shows a text, at whatever height in its place."""

    def __init__(self, stage, name, control, text, style, is_ink):
        self.stage, self.name, self.control, self.is_ink = stage, name, control, is_ink
        self.size = [round(length) for length in form(name).place(control)[2:]]
        characters = text.replace("\n", "\r\n").encode("utf-16-le").hex()
        covered = stage.probe.ask("lettering", FACE, *style, *self.size, characters)
        self.expected = Image.frombytes("L", self.size, bytes.fromhex(covered))
        self.top = top_of(self.expected, is_light)
        assert self.top is not None, f"nothing to read in {text!r}"

    def __call__(self):
        window = self.stage.person.find(self.name)
        if not window:
            return False
        left, top, width, height = self.stage.person.place(self.name, self.control, window)
        if top + height > window.place[1] + window.place[3]:
            return False  # a notice that still rises
        seen = self.stage.screen.look().convert("L").crop((left, top, left + width, top + height))
        # Wine's taskbar takes no room from the desktop, and may be painted over a notice's last line.
        hidden = (0, self.stage.screen.taskbar().place[1] - top, width, height)
        if covers := hidden[1] < height:
            seen.paste(0 if self.is_ink(255) else 255, hidden)
        seen_top = top_of(seen, self.is_ink)
        if seen_top is None:
            return False
        lower = seen_top - self.top
        expected = self.expected.crop((0, -lower, width, height - lower))
        if covers:
            expected.paste(HALF, hidden)
        return all(
            self.is_ink(pixel) == (covered >= CLEARLY_COVERED)
            for pixel, covered in zip(seen.getdata(), expected.getdata())
            if covered <= CLEARLY_FREE or covered >= CLEARLY_COVERED
        )


def top_of(picture, is_ink):
    """The first line with ink in it, None for a blank picture."""
    box = picture.point(lambda pixel: 255 * is_ink(pixel)).getbbox()
    return box[1] if box else None
