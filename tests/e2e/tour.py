"""A tour of the program by mouse and keyboard, as a person would take it; every step is checked.

The checks look at the screen, the registry and what the site was asked. What was seen goes to build/tour/.
"""

import argparse
import inspect
import pathlib
import shutil
import sys
import traceback
import xml.etree.ElementTree as ElementTree

import protocol
from desktop import BUILD, END_SECONDS, until
from options import add_options
from registry import LOGIN, text
from service import PASSWORD, USER, decoded
from stage import Stage

PICTURES = BUILD / "tour"


class Tour:
    """Each method with words to it is a step, in the order of their definition; those without are their helpers."""

    def __init__(self, stage):
        self.stage, self.person, self.service, self.screen = stage, stage.person, stage.service, stage.screen
        harbor = self.service.harbor
        if len(harbor.members.favorites(USER)) < 2:  # of a small folder she likes all: there must be some to change to
            harbor.set_favorites(USER, harbor.catalogue.pictures)

    def start(self):
        """The login window opens, and nothing else"""
        self.stage.start()
        self.person.window("frmLogin")
        assert self.person.of_program() == ["Quillory Login"] and not self.screen.tray_icon()
        assert self.service.asked("api") == []

    def log_in(self):
        """Alice logs in, and the guide opens"""
        self.stage.log_in()
        self.person.window("frmQuickStart")
        assert self.service.wait_for("api").raw == protocol.login(USER, PASSWORD)
        saved = {"SavedUsername": text(USER), "SavedPassword": text(protocol.hashed(PASSWORD))}
        assert self.stage.registry.settings(LOGIN) == saved
        assert not self.person.find("frmLogin")

    def close_the_guide(self):
        """The guide is ticked away, and the galleries arrive"""
        self.stage.close_guide()
        self.stage.galleries_arrive()
        assert self.service.asked("vh.getGalleries")[0].raw == protocol.galleries(self.stage.api_key())

    def save(self):
        """Save: a favorite of Alice becomes the wallpaper"""
        self.person.click("frmMain", "picSave")
        picture = self.stage.rotation()
        assert picture.id in self.service.harbor.members.favorites(USER)
        self.check_request("vh.wallpapers.favorites", ("member", USER))
        self.person.gone("frmMain")
        assert self.stage.account() == {
            "ActiveTab": text("0"),
            "HideQuickStart": text("1"),
            "MinimizeHelp": text("1"),
            "ActiveWallpaper": text(str(picture.id)),
            "ActiveWallpaperLink": text(f"http://velvetharbor.example/wallpaper/{picture.id}"),
        }
        assert sorted(path.name for path in self.stage.folder.iterdir()) == ["Quillory.bmp", "vh_wall_active"]

    def notice(self):
        """A notice rises and tells where the program went, and goes by itself"""
        self.person.window("frmSlideMessage")
        self.person.gone("frmSlideMessage")

    def force(self):
        """The tray's menu brings another one"""
        self.person.choose_from_tray("mnuForce")
        assert self.stage.rotation(2).id in self.service.harbor.members.favorites(USER)

    def come_back(self):
        """A double click on the icon brings the window back, in the middle of the screen"""
        self.person.double_click_icon()
        left, top, width, height = self.person.window("frmMain").place
        screen_width, screen_height = self.stage.desktop.size
        assert abs(left - (screen_width - width) / 2) <= 1 and abs(top - (screen_height - height) / 2) <= 1
        until(lambda: not self.screen.tray_icon(), "the icon away")

    def choose_a_gallery(self):
        """A gallery is chosen, and one of its pictures becomes the wallpaper"""
        self.person.click("frmMain", "picSourceTabs[2]")
        gallery = self.person.choose_last("frmMain", "cboGallery")
        asked = len(self.service.asked("image"))
        self.person.click("frmMain", "picSave")
        picture = self.stage.rotation(asked + 1)
        assert self.service.harbor.catalogue.galleries[picture.gallery].name == gallery
        self.check_request("vh.wallpapers.browse", ("gallery", gallery))
        self.stage.saved("Gallery", gallery)

    def quit(self):
        """The menu's exit asks first; Yes ends it: the icon goes, the wallpaper stays"""
        self.person.choose_from_tray("mnuExit")
        box = self.person.box("Confirm Exit")
        self.look("question")
        self.person.answer(box, "Yes")
        self.stage.has_ended()
        file = self.stage.folder / "Quillory.bmp"
        until(lambda: self.screen.desktop_shows(decoded(file.read_bytes())), "the wallpaper still there")
        assert self.stage.desktop.path(self.stage.registry.wallpaper()).samefile(file)

    def start_again(self):
        """The next start logs in silently, waits in the tray and keeps the gallery; one more start ends at once"""
        self.service.forget()
        self.stage.start()
        self.person.tray_icon()
        self.stage.galleries_arrive()
        asked = [request.raw for request in self.service.asked("api")]
        assert asked == [protocol.login(USER, PASSWORD), protocol.galleries(self.stage.api_key())], asked
        assert self.stage.start().wait(END_SECONDS) == 0
        assert len(self.stage.running()) == 1 and self.person.of_program() == []
        self.person.choose_from_tray("mnuForce")
        picture = self.stage.rotation()
        self.stage.saved("Gallery", self.service.harbor.catalogue.galleries[picture.gallery].name)

    # -------------------------------------------------------------------------------------------- helpers

    def check_request(self, method, source):
        expected = protocol.rotation(self.stage.api_key(), method, self.stage.desktop.size, source)
        assert self.service.asked(method)[-1].raw == expected, self.service.asked(method)[-1].raw

    def look(self, name):
        self.screen.look().save(PICTURES / f"{self.number:02}-{name}.png")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    add_options(parser)
    parser.add_argument("--report", type=pathlib.Path, help="write the result as XML, too")
    options = parser.parse_args()

    shutil.rmtree(PICTURES, ignore_errors=True)
    PICTURES.mkdir(parents=True)
    report = ElementTree.Element("testsuite", name="tour")
    steps = [step for step in vars(Tour).values() if inspect.isfunction(step) and step.__doc__]
    reason = None
    with Stage(options.pictures, options.size) as stage:
        stage.clean()
        tour = Tour(stage)
        for tour.number, step in enumerate(steps, 1):
            case = ElementTree.SubElement(report, "testcase", name=step.__doc__)
            try:
                if not reason:
                    step(tour)
                    tour.look(step.__name__.replace("_", "-"))
            except Exception:
                reason = traceback.format_exc()
                tour.look("failed")
            if reason:
                ElementTree.SubElement(case, "failure").text = reason
            print(f"{'FAILED' if reason else 'ok':7}{step.__doc__}", flush=True)
    if options.report:
        ElementTree.ElementTree(report).write(options.report)
    failed = len(report.findall("*/failure"))
    print(f"{reason or ''}tour: {len(report) - failed} passed, {failed} failed", flush=True)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
