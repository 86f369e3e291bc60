"""Shows Quillory to a person: the site's stand-in, a Windows desktop on the person's screen, and the program on it."""

import argparse
import os
import pathlib
import signal
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests" / "e2e"))
from desktop import PROGRAM, Desktop  # noqa: E402
from options import add_options  # noqa: E402
from service import PASSWORD, USER, Service  # noqa: E402

GRACE_SECONDS = 5


def wait_for_end(desktop):
    """An update ends the program only to start it again; a desktop that is closed raises EOFError."""
    since = time.monotonic()
    while time.monotonic() < since + GRACE_SECONDS:
        if any(desktop.probe.ask("processes", program) for program in ("Quillory.exe", "update.exe")):
            since = time.monotonic()
        time.sleep(0.5)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    add_options(parser)
    options = parser.parse_args()
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda *_: sys.exit(0))
    try:
        with Service(options.pictures), Desktop(options.size, display=os.environ["DISPLAY"]) as desktop:
            desktop.start(PROGRAM)
            print(f"Log in as {USER}, password {PASSWORD}. Quit Quillory, its desktop, or this by Ctrl-C.", flush=True)
            wait_for_end(desktop)
    except (EOFError, KeyboardInterrupt):
        pass


if __name__ == "__main__":
    main()
