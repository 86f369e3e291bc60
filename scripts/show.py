"""Shows Quillory to a person: a harbor with pictures and a member, a Windows desktop on the person's screen, and the
program on it. What members do at the harbor is kept in build/harbor."""

import argparse
import contextlib
import os
import pathlib
import signal
import socket
import sys
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path[:0] = [str(ROOT), str(ROOT / "tests" / "e2e")]
import waitress  # noqa: E402
from desktop import PROGRAM, Desktop  # noqa: E402
from options import add_options  # noqa: E402
from service import PASSWORD, USER  # noqa: E402

from harbor.service import Harbor  # noqa: E402
from harbor.settings import Settings, Unusable  # noqa: E402

GRACE_SECONDS = 5
DOOR_PORT = 8080


def enter_the_private_network():
    """Starts this anew on the network of the site's names, with a port of this machine's own network still in hand:
    by that door the person's browser comes to the pages."""
    door = socket.socket()
    door.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    try:
        door.bind(("127.0.0.1", DOOR_PORT))
    except OSError:
        door.bind(("127.0.0.1", 0))
    door.listen()
    door.set_inheritable(True)
    command = [str(ROOT / "scripts" / "sitenet"), sys.executable, *sys.argv, "--door", str(door.fileno())]
    os.execv(command[0], command)


@contextlib.contextmanager
def open_door(harbor, number):
    """Shows the harbor's pages at the door as well, and tells their address."""
    try:
        door = socket.socket(fileno=number)
        address = f"http://localhost:{door.getsockname()[1]}/"
    except OSError:  # this is the machine's own network after all
        yield "http://velvetharbor.example/"
        return
    server = waitress.create_server(harbor.pages, sockets=[door], clear_untrusted_proxy_headers=True)
    threading.Thread(target=server.run, daemon=True).start()
    yield address
    server.close()


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
    parser.add_argument("--door", type=int, help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.door is None:
        enter_the_private_network()
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda *_: sys.exit(0))
    try:
        state = ROOT / "build" / "harbor"
        settings = Settings(pathlib.Path(options.pictures), state=state, bind=("127.0.0.1",), port=80)
        with Harbor(settings) as harbor, open_door(harbor, options.door) as address:
            harbor.members.add(USER, PASSWORD)  # unless an earlier run has
            print(f"The harbor's pages are at {address}", flush=True)
            with Desktop(options.size, display=os.environ["DISPLAY"]) as desktop:
                desktop.start(PROGRAM)
                print(f"Log in as {USER}, password {PASSWORD}. Quit Quillory, its desktop, or this by Ctrl-C.",
                      flush=True)
                wait_for_end(desktop)
    except Unusable as problem:
        sys.exit(f"./run: {problem}")
    except (EOFError, KeyboardInterrupt):
        pass


if __name__ == "__main__":
    main()
