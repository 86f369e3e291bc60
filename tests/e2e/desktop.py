"""A Windows desktop to run Quillory on: a screen, a Wine prefix of the project's own, and the programs in it."""

import contextlib
import fcntl
import os
import pathlib
import shutil
import subprocess
import time

from probe import Probe

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = ROOT / "build"
PROGRAM = BUILD / "win32" / "Quillory.exe"
PROBE = ROOT / "tests" / "e2e" / "probe"
NAME = "Quillory"
SETTINGS, EXPLORER = r"Control Panel\Desktop", r"Software\Wine\Explorer"
REG_SZ, REG_DWORD = 1, 4

BOOT_SECONDS = 180
END_SECONDS = 60


class Desktop:
    """Open from `with` to its end. Without a display given it brings a screen of its own, in memory.

    A bare desktop shows its plain colour and not the wallpaper that an earlier run has left.
    """

    def __init__(self, size=(1280, 1024), display=None, bare=False):
        self.size = size
        self.display = display
        self.bare = bare

    def __enter__(self):
        with contextlib.ExitStack() as endings:
            self.endings = endings
            self.prefix, lock = claim_prefix()
            endings.callback(lock.close)
            if not self.display:
                self.open_screen()
            self.environment = {
                **os.environ,
                "DISPLAY": self.display,
                "WINEPREFIX": str(self.prefix),
                "WINEARCH": "win32",
                "WINEDEBUG": "-all",
                # No question about browsers and runtimes that Wine could add, no entries in the person's own menu.
                "WINEDLLOVERRIDES": "mscoree,mshtml=;winemenubuilder.exe=",
            }
            endings.callback(subprocess.run, ["wineserver", "-k"], env=self.environment, timeout=END_SECONDS)
            self.boot()
            self.endings = endings.pop_all()
        return self

    def __exit__(self, *_):
        self.endings.close()

    def open_screen(self):
        geometry = f"{self.size[0]}x{self.size[1]}x24"
        command = ["Xvfb", "-displayfd", "1", "-screen", "0", geometry, "-nolisten", "tcp"]
        screen = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.endings.callback(end, screen)
        number = screen.stdout.readline().strip()  # the screen's end closes the pipe: this cannot wait for ever
        if not number:
            raise RuntimeError("Xvfb did not start")
        self.display = f":{number}"

    def boot(self):
        ready = self.prefix / "ready"
        if not ready.exists():
            shutil.rmtree(self.prefix, ignore_errors=True)  # a start that was broken off may have left anything
            self.prefix.mkdir()
            # Without a display, since its own "please wait" window would stand outside the desktop. And before any
            # program that is to stand on the desktop, since each takes the one that has a name when it starts.
            for command in (["wineboot", "--init"], ["reg", "add", f"HKCU\\{EXPLORER}", "/v", "Desktop", "/d", NAME]):
                self.wine(*command, seconds=BOOT_SECONDS, environment={**self.environment, "DISPLAY": ""})
            subprocess.run(["wineserver", "-w"], env=self.environment, timeout=BOOT_SECONDS, check=True)
            ready.touch()
        listening = subprocess.Popen(
            ["wine", probe_program()], env=self.environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
            bufsize=1, encoding="utf-8",
        )  # fmt: skip
        self.endings.callback(end, listening)
        self.probe = Probe(listening)
        self.set_text(EXPLORER + r"\Desktops", NAME, f"{self.size[0]}x{self.size[1]}")
        self.set_density(96)
        if self.bare:
            self.set_text(SETTINGS, "Wallpaper", "")
        if self.probe.ask("screen") != list(self.size):  # answered as soon as the desktop stands
            self.probe.ask("resolution", *self.size)  # Wine remembers one that was changed and not given back

    def set_text(self, key, name, text):
        self.probe.write(key, name, REG_SZ, text.encode() + b"\0")

    def set_density(self, dpi):
        """As the programs that start from now on find it."""
        self.dpi = dpi
        self.probe.write(SETTINGS, "LogPixels", REG_DWORD, dpi.to_bytes(4, "little"))

    def wine(self, program, *arguments, seconds=BOOT_SECONDS, environment=None):
        """Runs a Windows program to its end and returns what it wrote."""
        return subprocess.run(
            ["wine", program, *map(str, arguments)], env=environment or self.environment, timeout=seconds, check=True,
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL, text=True,
        ).stdout

    def start(self, program, *arguments):
        """Starts a Windows program on the desktop and goes on."""
        started = subprocess.Popen(
            ["wine", str(program), *arguments], env=self.environment, stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
        )
        self.endings.callback(end, started)
        return started

    def path(self, windows_path):
        """The place in the file system of a path as Windows programs write it."""
        drive, rest = windows_path.split(":", 1)
        return self.prefix / "dosdevices" / f"{drive.lower()}:" / rest.replace("\\", "/").lstrip("/")

    def data_folder(self):
        return self.path(self.probe.ask("appdata")) / "Quillory"


def claim_prefix():
    """A prefix that no other run is using, and the lock that says so for as long as it is held."""
    for number in range(1, 10):
        prefix = BUILD / ("wine" if number == 1 else f"wine-{number}")
        BUILD.mkdir(exist_ok=True)
        lock = prefix.with_suffix(".lock").open("w")
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
            return prefix, lock
        except BlockingIOError:
            lock.close()
    raise RuntimeError("nine runs at once are enough")


def probe_program():
    exe = BUILD / "probe" / "probe.exe"
    changed = max(source.stat().st_mtime for source in PROBE.iterdir())
    if not exe.exists() or exe.stat().st_mtime < changed:
        exe.parent.mkdir(parents=True, exist_ok=True)
        fresh = exe.with_suffix(f".{os.getpid()}")
        library = exe.parent / "include" / "nlohmann"  # by itself, since the system's other headers are not Windows'
        if not library.exists():
            library.parent.mkdir(exist_ok=True)
            library.symlink_to("/usr/include/nlohmann")
        subprocess.run(
            ["i686-w64-mingw32-g++-posix", "-std=c++20", "-O1", "-DUNICODE", "-D_UNICODE", "-static",
             "-Wall", "-Wextra", "-isystem", library.parent, "-o", fresh, PROBE / "probe.cpp", "-lgdi32", "-lshell32",
             "-loleacc", "-lole32", "-loleaut32", "-luuid"],
            check=True,
        )  # fmt: skip
        fresh.replace(exe)
    return str(exe)


def end(program):
    if program.poll() is None:
        program.terminate()
        try:
            program.wait(END_SECONDS)
        except subprocess.TimeoutExpired:
            program.kill()
            program.wait()


def until(check, what, seconds=120.0):
    """Waits for a true answer, and returns it; tells what was missed when the time is over. A check may also fail."""
    deadline = time.monotonic() + seconds
    while True:
        missed = what
        try:
            if answer := check():
                return answer
        except AssertionError as failure:
            missed = repr(failure)
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {seconds:.0f} seconds: {missed() if callable(missed) else missed}")
        time.sleep(0.05)
