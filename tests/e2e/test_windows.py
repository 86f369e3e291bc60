"""Every window at the common density, at greater ones and in a contrast theme: whole, at its size, and kept in
build/screens/ to be looked at."""

import pytest
from PIL import ImageStat

from desktop import BUILD, until
from forms import form
from stage import Stage

SCREENS = BUILD / "screens"
SLOW = 40_000  # bytes a second: time to look around during a download
HEADER = 40  # design pixels
NIGHT, WATER, PAPER = (0x14, 0x21, 0x3D), (0x1F, 0x5A, 0x6E), (0xF7, 0xF3, 0xEA)
BLACK, WHITE = (0, 0, 0), (255, 255, 255)  # of the contrast theme


class Album:
    """Photographs of windows, each with what stands on it and nothing of what stands around it."""

    def __init__(self, stage, contrast=False):
        self.stage = stage
        self.person = stage.person
        self.contrast = contrast
        self.folder = SCREENS / (str(stage.desktop.dpi) + "-contrast" * contrast)
        self.folder.mkdir(parents=True, exist_ok=True)

    def keep(self, window, name):
        left, top, width, height = window.place
        picture = self.person.screen.look().crop((left, top, left + width, top + height))
        picture.save(self.folder / f"{name}.png")
        return picture

    def scaled(self, length):
        return round(length * self.stage.desktop.dpi / 96)

    def form(self, name, as_name=None, taller=0):
        """A window of the program's: complete on the screen, with its edge, its header and its paper."""
        design = form(name)
        size = [self.scaled(length) for length in (design.width, design.height + taller)]
        window = until(
            lambda: (seen := self.person.window(name)) and near(seen.place[2:], size, 1) and seen,
            lambda: f"{name} of {size}, not {self.person.window(name).place}",
        )
        left, top, width, height = window.place
        screen_width, screen_height = self.stage.desktop.size
        assert 0 <= left <= screen_width - width and 0 <= top <= screen_height - height
        picture = self.keep(window, as_name or name)
        for corner in ((0, 0), (width - 1, 0), (0, height - 1), (width - 1, height - 1)):
            edge = WHITE if self.contrast else WATER
            assert picture.getpixel(corner) == edge, f"the edge of {name} at {corner}"
        middle = width - self.scaled(60)  # between title and close mark
        assert near(picture.getpixel((middle, self.scaled(2))), BLACK if self.contrast else NIGHT), f"header of {name}"
        assert not near(picture.getpixel((middle, self.scaled(HEADER) - 2)), PAPER), f"the header of {name}"
        below = picture.crop((self.scaled(4), self.scaled(HEADER), self.scaled(8), height - self.scaled(4)))
        if name != "frmMain":  # which has its logo there
            paper = BLACK if self.contrast else PAPER
            assert all(near(colour, paper, 24) for _, colour in below.getcolors(100_000)), f"the paper of {name}"
        assert min(ImageStat.Stat(picture).stddev) > 10, f"{name} is blank"
        return picture


def near(one, other, slack=12):
    return all(abs(a - b) <= slack for a, b in zip(one, other))


@pytest.mark.parametrize(
    "dpi, size, contrast",
    [(96, (1280, 1024), False), (96, (1280, 1024), True), (120, (1280, 1024), False), (144, (1280, 1024), False),
     (192, (1600, 1200), False), (240, (2000, 1600), False)],
)  # fmt: skip
def test_the_windows(library, dpi, size, contrast):
    with Stage(library, size, dpi) as stage:
        stage.clean()
        album, person = Album(stage, contrast), stage.person
        if contrast:  # before the start: a program that runs on Wine keeps the colours that it has seen
            assert stage.probe.ask("contrast", 1)
        stage.start()
        person.window("frmLogin")
        person.point(5, 5)
        album.form("frmLogin")
        person.click("frmLogin", "picCloseX")
        box = person.box()
        album.keep(box.window, "box")
        person.answer(box, "No")

        stage.log_in()
        person.window("frmQuickStart")
        album.form("frmQuickStart")
        stage.close_guide()
        stage.galleries_arrive()
        tabs = []
        for number, name in enumerate(("member", "tag", "category")):
            person.click("frmMain", f"picSourceTabs[{number}]")
            until(lambda shown=b"%d" % number: stage.account()["ActiveTab"].data == shown, f"the tab {name}")
            tabs.append(album.form("frmMain", f"frmMain-{name}"))
        assert len({tab.tobytes() for tab in tabs}) == 3
        person.click("frmMain", "picOptions")
        person.window("frmOptions")
        album.form("frmOptions")
        person.click("frmOptions", "picCancel")

        person.click("frmMain", "picSourceTabs[0]")
        stage.service.fault("image", slow=SLOW)
        person.click("frmMain", "picSave")
        person.window("frmDownloading")
        album.form("frmDownloading")
        album.form("frmSlideMessage", taller=3)  # it rises by a little more than its height
        person.gone("frmSlideMessage", 60)
        for name in ("menu-busy", "menu"):
            menu = person.tray_menu()
            until(lambda: any(person.find_menu().place[2:]), "the menu in its size")
            album.keep(person.find_menu() or menu, name)
            person.mouse(5, 5)
            until(lambda: not person.find_menu(), "the menu's end")
            if person.find("frmDownloading"):
                person.click("frmDownloading", "imgAbort")
                person.gone("frmDownloading")
        stage.end()
