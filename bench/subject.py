"""Quillory on a Wine desktop, with what is needed to drive it quickly and to look at it from outside."""

import contextlib
import json
import pathlib
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests" / "e2e"))
import forms  # noqa: E402
from desktop import Desktop, until  # noqa: E402, F401
from service import PICTURES  # noqa: E402
from stage import Stage  # noqa: E402

BENCH = ROOT / "build" / "win32" / "bench"
PATIENCE = 120


class Subject(Stage):
    """A stage with another hand: it posts what the mouse would have said, so that nothing waits for a screen."""

    def __init__(self, size, pictures=PICTURES, releases=None):
        super().__init__(pictures, size, releases)

    def __enter__(self):
        super().__enter__()
        self.desk = subprocess.Popen(
            ["wine", str(BENCH / "desk_bench.exe"), "watch"], env=self.desktop.environment, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, bufsize=1,
        )  # fmt: skip
        self.endings.callback(self.desk.kill)
        return self

    def tell(self, *words):
        self.desk.stdin.write(" ".join(map(str, words)) + "\n")
        return json.loads(self.desk.stdout.readline())

    def start(self):
        started = super().start()
        self.number = until(self.running, "the program's start", PATIENCE)[0]
        self.process = until(lambda: process_of(self.program.name), "the program's process", PATIENCE)
        return started

    def start_in_tray(self, **settings):
        before = len(self.service.asked("vh.getGalleries"))
        self.remember_login(**settings)
        self.start()
        until(lambda: len(self.service.asked("vh.getGalleries")) > before, "the question for galleries", PATIENCE)

    def press_save(self, from_tray=False):
        """A forced rotation; from the tray the main window comes up first."""
        if from_tray:
            self.tell("double-click-icon")
        self.press("frmMain", "picSave")

    def press(self, form, control):
        """By the middle of it, in the pixels of its window."""
        left, top, width, height = forms.place(form, control)
        self.tell("press", form, round(left + width / 2), round(top + height / 2))

    def move_mouse(self, x, y):
        """Nobody there, and the scheduler holds."""
        self.person.xdotool("mousemove", x, y)

    def bitmap(self):
        return self.folder / "Quillory.bmp"

    def changed(self):
        """When the desktop's bitmap was last replaced."""
        with contextlib.suppress(FileNotFoundError):
            return self.bitmap().stat().st_mtime_ns
        return 0

    def status(self, what):
        """Bytes of the program's own, as its machine knows them: VmRSS, VmHWM."""
        lines = pathlib.Path(f"/proc/{self.process}/status").read_text().splitlines()
        return next(int(line.split()[1]) * 1024 for line in lines if line.startswith(what + ":"))

    def look(self):
        """Private memory in MiB, threads, handles and GDI objects of the program now."""
        memory = pathlib.Path(f"/proc/{self.process}/smaps_rollup").read_text()
        private = next(int(line.split()[1]) for line in memory.splitlines() if line.startswith("Private_Dirty"))
        threads = len(list(pathlib.Path(f"/proc/{self.process}/task").iterdir()))
        return {"private MiB": round(private / 1024, 1), "threads": threads, **self.tell("look", self.number)}


def process_of(name):
    """The newest process of this machine that runs a Windows program of that name."""
    return max(processes_of(name), default=None)


def processes_of(name):
    found = []
    for process in pathlib.Path("/proc").iterdir():
        with contextlib.suppress(OSError):
            comm, line = (process / "comm").read_text().strip(), (process / "cmdline").read_bytes()
            if process.name.isdigit() and comm == name[:15] and line:  # none: it has ended
                found.append(int(process.name))
    return found


def build(*targets):
    subprocess.run([str(ROOT / "scripts" / "build"), "win32", *targets], check=True, stdout=subprocess.DEVNULL)


def in_sitenet(file, arguments):
    """Starts the same command again where the site's names are this machine's own; returns there."""
    if "--inside" not in arguments:
        command = [str(ROOT / "scripts" / "sitenet"), sys.executable, file, "--inside", *arguments]
        sys.exit(subprocess.run(command, check=False).returncode)
    arguments.remove("--inside")


def seconds_since(start):
    return time.monotonic() - start
