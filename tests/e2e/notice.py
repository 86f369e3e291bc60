"""What a notice says. Its words are drawn by the program and no window of the system holds them: they are compared, as
a person would read them, with the same words in the same lettering."""

from PIL import Image

from desktop import until
from forms import form

FACE = "Tahoma"  # what the program takes where there is no Segoe UI, as here
NORMAL, SEMIBOLD = 400, 600
WRAPPED, ON_ONE_LINE = 0x810, 0x824  # DrawText's word break, or a single line in the middle; no mnemonics

DEFAULT_TITLE = "Quillory Wallpaper Manager"
RISE_SECONDS = 20

# Letters are smoothed at their edges, where nothing is said about a pixel.
CLEARLY_FREE, CLEARLY_COVERED, HALF = 60, 195, 128


def read(stage, text, title=DEFAULT_TITLE, seconds=RISE_SECONDS):
    """Waits until a notice stands at its height and says just this."""
    title_lettering = lettering(stage, "lblTitle", title, 105, SEMIBOLD, ON_ONE_LINE)
    text_lettering = lettering(stage, "lblStatusMsg", text, 90, NORMAL, WRAPPED)

    def says():
        window = stage.person.find("frmSlideMessage")
        if not window or not is_up(stage, window):
            return False
        seen = stage.screen.look().convert("L")
        return (
            matches(seen.crop(place(stage, "lblTitle", window)), title_lettering, lambda pixel: pixel > HALF)
            and matches(seen.crop(place(stage, "lblStatusMsg", window)), text_lettering, lambda pixel: pixel < HALF)
        )  # fmt: skip

    until(says, lambda: f"a notice {title!r}: {text!r}, with {stage.person.titles()}", seconds)


def close(stage):
    stage.person.click("frmSlideMessage", "picCloseX")
    stage.person.gone("frmSlideMessage")


def is_up(stage, window):
    """The notice grows out of the taskbar until all of it can be read."""
    _, top, _, height = window.place
    return top + height >= place(stage, "lblStatusMsg", window)[3]


def place(stage, control, window):
    left, top, width, height = stage.person.place("frmSlideMessage", control, window)
    return left, top, left + width, top + height


def lettering(stage, control, text, tenths, weight, drawing):
    width, height = (round(length) for length in form("frmSlideMessage").place(control)[2:])
    pixels = stage.probe.ask(
        "lettering", FACE, tenths, weight, width, height, drawing, text.replace("\n", "\r\n").encode("utf-16-le").hex()
    )
    return Image.frombytes("L", (width, height), bytes.fromhex(pixels))


def matches(seen, expected, is_lettering):
    """No pixel is clearly covered and looks free, or the other way round."""
    assert expected.getbbox(), "nothing to read"
    return all(
        is_lettering(pixel) == (covered >= CLEARLY_COVERED)
        for pixel, covered in zip(seen.getdata(), expected.getdata())
        if covered <= CLEARLY_FREE or covered >= CLEARLY_COVERED
    )
