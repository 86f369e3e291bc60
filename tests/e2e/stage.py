"""Everything that a story needs: the site, the desktop, the person, and Quillory itself."""

import shutil

import protocol
import registry
from desktop import PROGRAM, Desktop, until
from person import Person
from service import PASSWORD, PICTURES, USER, Service, decoded

UNAVAILABLE, COMBO = 1, 46  # a state and a role of Active Accessibility

WALLPAPER_SECONDS = 30  # of a rotation, most of which the site spends on scaling a large photograph


class Stage:
    def __init__(self, pictures=PICTURES, size=(1280, 1024), dpi=96, releases=None):
        self.program = PROGRAM
        self.service = Service(pictures, releases=releases)
        self.desktop = Desktop(size, dpi=dpi, bare=True)

    def __enter__(self):
        try:
            self.desktop.__enter__()
        except BaseException:
            self.service.__exit__()
            raise
        self.probe = self.desktop.probe
        self.person = Person(self.desktop)
        self.screen = self.person.screen
        self.registry = registry.Registry(self.desktop)
        self.folder = self.desktop.data_folder()
        return self

    def __exit__(self, *exception):
        self.desktop.__exit__(*exception)
        self.service.__exit__(*exception)

    # ------------------------------------------------------------------------------------------ the program

    def clean(self):
        """As on a machine that Quillory has never run on."""
        self.end()
        self.registry.forget()
        if self.folder.is_dir():
            shutil.rmtree(self.folder)
        else:
            self.folder.unlink(missing_ok=True)
        self.service.forget()

    def start(self):
        return self.desktop.start(self.program)

    def running(self):
        return self.probe.ask("processes", "Quillory.exe")

    def end(self):
        """Ends the program as a crash or a power cut would."""
        for process in self.running():
            self.probe.ask("end", process)
        until(lambda: not self.running(), "the program's end")
        # The taskbar takes a moment to see that an icon's program is gone.
        until(lambda: not self.screen.tray_icon(), "the icon's end")

    def log_in(self, username=USER, password=PASSWORD):
        self.person.fill("frmLogin", "txtUserName", username)
        self.person.fill("frmLogin", "txtPassword", password)
        self.person.press("Return")

    def close_guide(self, for_ever=True):
        self.person.window("frmQuickStart")
        if for_ever:
            self.person.click("frmQuickStart", "chkDontShowAgain")
            until(lambda: self.person.field("frmQuickStart", "chkDontShowAgain").checked, "a tick")
        self.person.click("frmQuickStart", "picClose")
        self.person.gone("frmQuickStart")

    def enter(self):
        """From the program's start to the main window with everything in it."""
        self.start()
        self.log_in()
        self.close_guide()
        self.galleries_arrive()

    def remember_login(self, **settings):
        """What a login of an earlier run has left: the next start logs in by itself. `settings` join the account's."""
        self.registry.write(registry.LOGIN, SavedUsername=USER, SavedPassword=protocol.hashed(PASSWORD))
        settings = {"HideQuickStart": "1", "MinimizeHelp": "1", **settings}
        self.registry.write(registry.account(USER), **settings)

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
        heard = self.probe.ask("read", self.person.find("frmMain", even_hidden=True).handle)
        return next(each["state"] & UNAVAILABLE == 0 for each in heard if each["role"] == COMBO)

    def account(self):
        return self.registry.settings(registry.account(USER))

    def api_key(self):
        """The key that the site gave to the member at the login."""
        return self.service.harbor.members.find(USER).api_key

    # ------------------------------------------------------------------------------------------ a rotation

    def force(self):
        self.person.choose_from_tray("mnuForce")

    def rotation(self, count=1):
        """Waits until the `count`-th image that was asked for stands on the desktop; returns its catalogue entry."""
        request = self.service.wait_for("image", count, WALLPAPER_SECONDS)
        picture, data = self.service.served(request)
        until(
            lambda: self.account().get("ActiveWallpaper") == registry.text(str(picture.id)),
            lambda: f"{picture.id} as the active wallpaper, with {self.account()}",
            WALLPAPER_SECONDS,
        )
        assert request.raw == protocol.image(picture.id, self.desktop.size, picture.filename)
        assert (self.folder / "vh_wall_active").read_bytes() == data
        bitmap = decoded((self.folder / "Quillory.bmp").read_bytes())
        assert bitmap.size == self.desktop.size
        until(lambda: self.screen.desktop_shows(bitmap), f"{picture.filename} on the desktop")
        return picture
