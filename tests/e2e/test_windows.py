"""Every window at the common density, at greater ones and in a contrast theme: whole, at its size, what a screen reader
tells of it to be seen as well, and kept in build/screens/ to be looked at."""

import pytest

from desktop import BUILD, until
from reader import ALERT, BUTTON, COMBO, DIALOG, LINK, PROGRESS, STATIC, TAB, TEXT, Reader

SLOW = 40_000  # bytes a second: time to look around during a download
HEADER = 40  # design pixels
WATER, PAPER = (0x1F, 0x5A, 0x6E), (0xF7, 0xF3, 0xEA)
INK = 60  # by how much letters stand out, in steps of brightness

sizes = {}  # of each window, in design pixels


class Album:
    """Photographs of windows, each with what stands on it and nothing of what stands around it."""

    def __init__(self, stage, contrast):
        self.person, self.desktop = stage.person, stage.desktop
        self.edge, self.paper = ((255, 255, 255), (0, 0, 0)) if contrast else (WATER, PAPER)
        self.folder = BUILD / "screens" / (str(self.desktop.dpi) + "-contrast" * contrast)
        self.folder.mkdir(parents=True, exist_ok=True)

    def scaled(self, length):
        return round(length * self.desktop.dpi / 96)

    def keep(self, find, name):
        """A window and its picture, taken while it stood still."""

        def stands():
            window = find()
            picture = window and self.person.screen.part(window.place)
            return window and window == find() and (window, picture)

        window, picture = until(stands, name)
        picture.save(self.folder / f"{name}.png")
        return window, picture

    def form(self, name, as_name=None, stays=True):
        """A window of the program's, as soon as all of it is painted."""
        return until(lambda: self.whole(name, as_name or name, stays), as_name or name, 60)

    def whole(self, name, as_name, stays):
        """Complete on the screen, with its edge and its paper; of one that stays, whatever is told of it is seen as
        well, where it is told, and what acts has a name."""
        window, picture = self.keep(lambda: self.person.find(name), as_name)
        left, top, width, height = window.place
        size = sizes.setdefault(name, (width, height))  # the first look is at the common density
        assert near((width, height), [self.scaled(length) for length in size], 2), f"the size of {name}"
        assert 0 <= left <= self.desktop.size[0] - width and 0 <= top <= self.desktop.size[1] - height
        for corner in ((0, 0), (width - 1, 0), (0, height - 1), (width - 1, height - 1)):
            assert picture.getpixel(corner) == self.edge, f"the edge of {name} at {corner}"
        below = picture.crop((self.scaled(4), self.scaled(HEADER), self.scaled(8), height - self.scaled(4)))
        if name != "frmMain":  # which has its logo there
            assert all(near(colour, self.paper, 24) for _, colour in below.getcolors(100_000)), f"the paper of {name}"
        told, elements = Reader(self.person).read(name)
        for element in elements if stays else []:
            x, y, width, height = element.place
            spot = picture.crop((x - left, y - top, x - left + width, y - top + height))
            low, high = spot.convert("L").getextrema()
            assert high - low > INK or element.role not in (STATIC, BUTTON, LINK, TAB), element
            assert element.name and (element.action or element.role in (STATIC, TEXT, COMBO, PROGRESS)), element
            if (element.name, element.action) == ("Close", "Close"):
                assert near(element.place, self.person.place(name, "picCloseX"), 1)
        assert told.role in (ALERT, DIALOG) and told.name
        return picture


def near(one, other, slack=12):
    return all(abs(a - b) <= slack for a, b in zip(one, other))


def notice_stands(person):
    """The notice, once it has risen so far that its text is seen."""
    window = person.find("frmSlideMessage")
    _, top, _, height = person.place("frmSlideMessage", "lblStatusMsg", window) if window else (0, 0, 0, 0)
    return window and top + height <= window.place[1] + window.place[3] and window


@pytest.mark.parametrize(
    "dpi, contrast", [(96, False), (96, True), (120, False), (144, False), (192, False), (240, False)]
)
def test_the_windows(stage, dpi, contrast):
    person = stage.person
    stage.desktop.set_density(dpi)
    if contrast:  # before the start: a program that runs on Wine keeps the colours that it has seen
        assert stage.probe.ask("contrast", 1)
    try:
        album = Album(stage, contrast)
        stage.start()
        person.window("frmLogin")
        person.xdotool("mousemove", 5, 5)
        album.form("frmLogin")
        stage.log_in()
        person.window("frmQuickStart")
        album.form("frmQuickStart")
        stage.close_guide()
        stage.galleries_arrive()
        tabs = []
        for number, name in enumerate(("member", "tag", "category")):
            person.click("frmMain", f"picSourceTabs[{number}]")
            stage.saved("ActiveTab", str(number))
            tabs.append(album.form("frmMain", f"frmMain-{name}").tobytes())
        assert len(set(tabs)) == 3
        person.click("frmMain", "picExit")
        box = person.box("Confirm Exit")
        album.keep(lambda: person.find_box().window, "box")
        person.answer(box, "No")
        person.click("frmMain", "picOptions")
        person.window("frmOptions")
        album.form("frmOptions")
        person.click("frmOptions", "picCancel")

        stage.service.fault("image", slow=SLOW)
        person.click("frmMain", "picSave")
        until(lambda: notice_stands(person), "the notice")
        album.form("frmSlideMessage", stays=False)
        person.click("frmSlideMessage", "picCloseX")
        person.window("frmDownloading")
        album.form("frmDownloading")
        for name in ("menu-busy", "menu"):
            person.tray_menu()
            album.keep(person.find_menu, name)
            person.mouse(5, 5)
            person.menu_is_gone()
            if person.find("frmDownloading"):
                person.click("frmDownloading", "imgAbort")
                person.gone("frmDownloading")
    finally:
        stage.desktop.set_density(96)
        if contrast:
            stage.probe.ask("contrast", 0)
