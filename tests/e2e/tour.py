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
import registry
from desktop import BUILD, until
from options import add_options
from registry import text
from service import PASSWORD, USER, decoded
from stage import Stage

PICTURES = BUILD / "tour"
TRIES = 8  # at a picture that differs from the one on the desktop, where the site draws at random


class Tour:
    """Each method with words to it is a step, in the order of their definition; those without are their helpers."""

    def __init__(self, stage):
        self.stage = stage
        self.person = stage.person
        self.service = stage.service
        self.screen = stage.screen
        harbor = self.service.harbor
        if len(harbor.members.favorites(USER)) < 2:  # of a small folder she likes all: there must be some to change to
            harbor.set_favorites(USER, harbor.catalogue.pictures)

    def start(self):
        """The login window opens, and nothing else"""
        self.stage.start()
        self.person.window("frmLogin")
        assert not self.person.find("frmMain")
        assert not self.screen.tray_icon()
        assert self.service.asked("api") == []

    def log_in(self):
        """Alice logs in, and the guide opens"""
        self.stage.log_in()
        self.person.window("frmQuickStart")
        assert self.service.wait_for("api").raw == protocol.login(USER, PASSWORD)
        saved = {"SavedUsername": text(USER), "SavedPassword": text(protocol.hashed(PASSWORD))}
        assert self.stage.registry.settings(registry.LOGIN) == saved
        assert not self.person.find("frmLogin")

    def close_the_guide(self):
        """The guide is ticked away, and the galleries arrive"""
        self.stage.close_guide()
        assert self.stage.account()["HideQuickStart"] == text("1")
        self.stage.galleries_arrive()
        assert self.service.asked("vh.getGalleries")[0].raw == protocol.galleries(self.stage.api_key())

    def choose_favorites(self):
        """The member's favorites are chosen"""
        self.person.click("frmMain", "picSourceTabs[0]")
        self.person.click("frmMain", "optMemberFavorites")
        until(lambda: self.stage.account().get("UseMembers") == text("Favorites"), "the choice in the registry")
        assert self.stage.account()["ActiveTab"] == text("0")

    def save(self):
        """Save: a favorite of Alice becomes the wallpaper"""
        self.person.click("frmMain", "picSave")
        picture = self.stage.rotation()
        assert picture.id in self.service.harbor.members.favorites(USER)
        self.check_request("vh.wallpapers.favorites", ("member", USER))
        self.person.gone("frmMain")

    def notice(self):
        """A notice rises and tells where the program went"""
        self.person.window("frmSlideMessage")
        assert self.stage.account()["MinimizeHelp"] == text("1")
        self.look("rising")
        self.person.gone("frmSlideMessage", 60)
        self.person.tray_icon()

    def force(self):
        """The tray's menu brings another one"""
        menu = self.person.tray_menu()
        self.look("menu")
        self.person.choose_from_tray("mnuForce", menu)
        before = self.stage.account()["ActiveWallpaper"]
        for count in range(2, 2 + TRIES):
            picture = self.stage.rotation(count)
            if text(str(picture.id)) != before:
                break
            self.stage.force()
        assert text(str(picture.id)) != before, f"the same picture {TRIES} times"
        self.person.tray_icon()
        assert picture.id in self.service.harbor.members.favorites(USER)

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
        gallery = self.person.field("frmMain", "cboGallery").entries[-1]
        self.person.choose("frmMain", "cboGallery", gallery)
        self.look("gallery")
        asked = len(self.service.asked("image"))
        self.person.click("frmMain", "picSave")
        picture = self.stage.rotation(asked + 1)
        self.person.tray_icon()
        assert self.service.harbor.catalogue.galleries[picture.gallery].name == gallery
        self.check_request("vh.wallpapers.browse", ("gallery", gallery))
        assert self.stage.account()["Gallery"] == text(gallery)

    def stay(self):
        """The menu's exit asks first; No keeps the program"""
        self.person.choose_from_tray("mnuExit")
        question = self.person.box()
        assert question.title == "Confirm Exit" and question.icon == "question", question
        self.look("question")
        self.person.answer(question, "No")
        assert self.stage.running()
        self.person.tray_icon()

    def quit(self):
        """Yes ends it: the icon goes, the wallpaper stays"""
        self.person.choose_from_tray("mnuExit")
        self.person.answer(self.person.box(), "Yes")
        self.check_end()

    def start_again(self):
        """The next start logs in silently and waits in the tray"""
        self.service.forget()
        self.stage.start()
        self.person.tray_icon()
        self.service.wait_for("vh.getGalleries")
        asked = [request.raw for request in self.service.asked("api")]
        assert asked == [protocol.login(USER, PASSWORD), protocol.galleries(self.stage.api_key())], asked
        assert not self.person.find("frmLogin") and not self.person.find("frmMain"), self.person.titles()

    def rotate_again(self):
        """It goes on with the gallery that was chosen"""
        self.stage.force()
        picture = self.stage.rotation()
        self.person.tray_icon()
        assert text(self.service.harbor.catalogue.galleries[picture.gallery].name) == self.stage.account()["Gallery"]

    def leave(self):
        """Goodbye"""
        self.person.choose_from_tray("mnuExit")
        self.person.answer(self.person.box(), "Yes")
        self.check_end()

    # -------------------------------------------------------------------------------------------- helpers

    def check_request(self, method, *source):
        width, height = self.stage.desktop.size
        ratio = f"{round(width / height, 5):.7g}"
        expected = protocol.rotation(self.stage.api_key(), method, ratio, source)
        assert self.service.asked(method)[-1].raw == expected, self.service.asked(method)[-1].raw

    def check_end(self):
        until(lambda: not self.stage.running(), "the program's end")
        until(lambda: not self.screen.tray_icon(), "the icon away")
        file = self.stage.folder / "Quillory.bmp"
        until(lambda: self.screen.desktop_shows(decoded(file.read_bytes())), "the wallpaper still there")
        assert self.stage.desktop.path(self.stage.registry.wallpaper()).samefile(file)

    def look(self, name):
        self.screen.look(PICTURES / f"{self.number:02}-{name}.png")


def take(tour):
    """Yields each step's words, and why it failed or None; what comes after a failure is not reached."""
    steps = [step for step in vars(Tour).values() if inspect.isfunction(step) and step.__doc__]
    failed = False
    for tour.number, step in enumerate(steps, 1):
        reason = "not reached" if failed else None
        if not failed:
            try:
                step(tour)
            except Exception:
                failed = True
                reason = traceback.format_exc()
            tour.look(step.__name__.replace("_", "-"))
        yield step.__doc__, reason


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    add_options(parser)
    parser.add_argument("--report", type=pathlib.Path, help="write the result as XML, too")
    options = parser.parse_args()

    shutil.rmtree(PICTURES, ignore_errors=True)
    PICTURES.mkdir(parents=True)
    passed = failed = 0
    report = ElementTree.Element("testsuite", name="tour")
    with Stage(options.pictures, options.size) as stage:
        stage.clean()
        for words, reason in take(Tour(stage)):
            case = ElementTree.SubElement(report, "testcase", name=words)
            if reason:
                failed += 1
                ElementTree.SubElement(case, "failure").text = reason
            else:
                passed += 1
            print(f"{'FAILED' if reason else 'ok':7}{words}" + (f"\n{reason}" if reason else ""), flush=True)
    if options.report:
        ElementTree.ElementTree(report).write(options.report)
    print(f"tour: {passed} passed, {failed} failed", flush=True)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
