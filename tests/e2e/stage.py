"""Everything that a story needs: the site, the desktop, the person, and Quillory itself."""

import contextlib
import shutil

from PIL import ImageChops, ImageStat

import protocol
from desktop import PROGRAM, Desktop, until
from person import Person
from reader import COMBO, UNAVAILABLE
from registry import LOGIN, Registry, text
from service import PASSWORD, USER, Service, decoded

ACCOUNT = f"Quillory - {USER}"
# By so much two decoders of one picture differ on average, in steps of brightness; a wrong picture does by far more.
SLACK = 2


class Stage:
    def __init__(self, pictures, size, releases=None):
        self.program = PROGRAM
        self.service = Service(pictures, releases)
        self.desktop = Desktop(size, bare=True)

    def __enter__(self):
        with contextlib.ExitStack() as endings:
            endings.callback(self.service.harbor.stop)
            endings.enter_context(self.desktop)
            self.endings = endings.pop_all()
        self.probe = self.desktop.probe
        self.person = Person(self.desktop)
        self.screen = self.person.screen
        self.registry = Registry(self.probe)
        self.folder = self.desktop.data_folder()
        return self

    def __exit__(self, *_):
        self.endings.close()

    # ------------------------------------------------------------------------------------------ the program

    def clean(self):
        """As on a machine that Quillory has never run on."""
        self.end()
        self.registry.forget()
        shutil.rmtree(self.folder, ignore_errors=True)
        self.service.forget()

    def start(self):
        return self.desktop.start(self.program)

    def running(self):
        return self.probe.ask("processes", "Quillory.exe")

    def end(self):
        """Ends the program as a crash or a power cut would."""
        for process in self.running():
            self.probe.ask("end", process)
        self.has_ended()

    def has_ended(self):
        until(lambda: not self.running(), lambda: f"the program's end, with {self.person.titles()}")
        # The taskbar takes a moment to see that an icon's program is gone.
        until(lambda: not self.screen.tray_icon(), "the icon's end")

    def log_in(self):
        for field, typed in (("txtUserName", USER), ("txtPassword", PASSWORD)):
            self.person.click("frmLogin", field)
            self.person.wait_for_focus("frmLogin", field)
            self.person.type(typed)
        self.person.press("Return")

    def close_guide(self):
        self.person.click("frmQuickStart", "chkDontShowAgain")
        self.person.click("frmQuickStart", "picClose")
        self.saved("HideQuickStart", "1")

    def remember_login(self, **settings):
        """What a login of an earlier run has left: the next start logs in by itself. `settings` join the account's."""
        self.registry.write(LOGIN, SavedUsername=USER, SavedPassword=protocol.hashed(PASSWORD))
        self.registry.write(ACCOUNT, **{"HideQuickStart": "1", "MinimizeHelp": "1", **settings})

    def start_in_tray(self, **settings):
        """Starts with a remembered login, until the program has all it needs for a rotation."""
        self.remember_login(**settings)
        self.start()
        self.galleries_arrive()
        self.person.tray_icon()

    def galleries_arrive(self):
        self.service.wait_for("vh.getGalleries")
        until(self.knows_galleries, "the list of galleries")

    def knows_galleries(self):
        """As a screen reader finds it, since a window that was never shown has no fields to look at."""
        window = self.person.find("frmMain", even_hidden=True)
        heard = self.probe.ask("read", window.handle) if window else []
        return any(each["role"] == COMBO and not each["state"] & UNAVAILABLE for each in heard)

    def account(self):
        return self.registry.settings(ACCOUNT)

    def saved(self, key, characters):
        """Waits until a setting of the account is written."""
        until(lambda: self.account().get(key) == text(characters), lambda: f"{key} {characters} in {self.account()}")

    def api_key(self):
        """The key that the site gave to the member at the login."""
        return self.service.harbor.members.find(USER).api_key

    # ------------------------------------------------------------------------------------------ a rotation

    def rotation(self, count=1):
        """Waits until the `count`-th image that was asked for stands on the desktop; returns its catalogue entry."""
        request = self.service.wait_for("image", count)
        picture, data = self.service.served(request)
        self.saved("ActiveWallpaper", str(picture.id))
        size = "{}x{}".format(*self.desktop.size)
        line = f"GET /dl/inline/{picture.id}/{size}/{picture.filename} HTTP/1.0"
        assert request.raw.splitlines()[0].decode() == line
        assert (self.folder / "vh_wall_active").read_bytes() == data
        bitmap = decoded((self.folder / "Quillory.bmp").read_bytes())
        assert max(ImageStat.Stat(ImageChops.difference(bitmap, decoded(data))).mean) < SLACK
        until(lambda: self.screen.desktop_shows(bitmap), f"{picture.filename} on the desktop")
        return picture
