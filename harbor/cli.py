"""The command line: harbor serve, harbor member add|password|remove, harbor check."""

import argparse
import errno
import getpass
import os
import signal
import sys
import threading
from pathlib import Path
from typing import TYPE_CHECKING, NoReturn

from harbor.settings import CONFIGURATION, Settings, Unusable

if TYPE_CHECKING:
    from harbor.members import Members
    from harbor.service import Harbor
    from harbor.standin import StandIn

UNUSABLE = 2  # the exit status of everything that a person has to mend first


class Parser(argparse.ArgumentParser):
    """A wrong option gets one line, not a page."""

    def error(self, message: str) -> NoReturn:
        self.exit(UNUSABLE, f"harbor: {message}; see {self.prog} --help\n")


def parser() -> Parser:
    everything = Parser(prog="harbor", description="One's own pictures, for Quillory and for any browser of the house.")
    everything.add_argument("--config", type=Path, metavar="FILE", help=f"default: {CONFIGURATION}, if it is there")
    commands = everything.add_subparsers(dest="command", required=True, metavar="COMMAND")

    serve = commands.add_parser("serve", help="offer the pictures until it is told to end")
    serve.set_defaults(run=run_serve)
    serve.add_argument("--pictures", metavar="DIR", help="the pictures: folders are galleries")
    serve.add_argument("--state", metavar="DIR", help="where members, stars and points are remembered")
    serve.add_argument("--releases", metavar="DIR", help="releases of Quillory to offer (default: in the state folder)")
    serve.add_argument("--bind", metavar="ADDRESS", action="append", help="repeatable; default: all, IPv4 and IPv6")
    serve.add_argument("--port", type=int, help="default: 80, where Quillory asks; 0 takes a free one")
    tests = serve.add_argument_group("for tests and demonstrations")
    tests.add_argument("--user", metavar="NAME:PASSWORD", action="append", default=[],
                       help="be a stand-in with this member, which forgets all at its end; repeatable")
    tests.add_argument("--fault", metavar="FAULT", action="append", default=[],
                       help='be a stand-in that fails so, as in "image*2 cut=500"; repeatable')
    tests.add_argument("--log", metavar="FILE", help="append each request to FILE, as lines of JSON")

    member = commands.add_parser("member", help="make a member, give a new password, remove one")
    actions = member.add_subparsers(dest="action", required=True, metavar="ACTION")
    for action, text in (("add", "the first one owns the box"), ("password", "a new password"),
                         ("remove", "the account goes, the pictures stay")):
        each = actions.add_parser(action, help=text)
        each.add_argument("name")
        each.set_defaults(run=run_member)

    check = commands.add_parser("check", help="tell in a line each what is well and what is not")
    check.set_defaults(run=run_check)
    for each in (check, *actions.choices.values()):
        each.add_argument("--state", metavar="DIR", help="default: as configured")
    return everything


def main(arguments: list[str] | None = None) -> int:
    options = parser().parse_args(arguments)
    try:
        return int(options.run(options))
    except Unusable as problem:
        print(f"harbor: {problem}", file=sys.stderr)
        return UNUSABLE
    except KeyboardInterrupt:
        return 130


def the_folder(settings: Settings) -> Path:
    """The folder of pictures. Raises Unusable if there is none that can be read."""
    if settings.pictures is None:
        raise Unusable(f"which pictures? Name a folder with --pictures, or in {CONFIGURATION}")
    try:
        with os.scandir(settings.pictures):
            return settings.pictures
    except OSError as problem:
        raise Unusable(f"the folder {settings.pictures} cannot be read: {problem.strerror}") from problem


def why_not(problem: OSError, settings: Settings) -> str:
    """Why a port cannot be had."""
    if problem.errno == errno.EADDRINUSE:
        return f"port {settings.port} is taken by another program"
    if problem.errno in (errno.EACCES, errno.EPERM) and settings.port < 1024:
        return f"port {settings.port} needs a right that this user has not; run it as the service, or take --port 8080"
    return f"nobody can listen at {', '.join(settings.bind)}, port {settings.port}: {problem.strerror or problem}"


def run_serve(options: argparse.Namespace) -> int:
    settings = Settings.read(options.config, pictures=options.pictures, state=options.state, bind=options.bind,
                             releases=options.releases, port=options.port)
    the_folder(settings)
    ended = threading.Event()
    for number in (signal.SIGTERM, signal.SIGINT):
        signal.signal(number, lambda *_: ended.set())
    try:
        with running(settings, options) as harbor:
            count = len(harbor.catalogue.pictures)
            print(f"harbor: {count} pictures known, at http://{own_name(settings)}{port_of(harbor.port)}/", flush=True)
            ended.wait()
    except OSError as problem:
        raise Unusable(why_not(problem, settings)) from problem
    return 0


def running(settings: Settings, options: argparse.Namespace) -> "Harbor | StandIn":
    if options.user or options.fault:
        return stand_in(settings, options)
    from harbor.service import Harbor

    return Harbor(settings, log=options.log)


def stand_in(settings: Settings, options: argparse.Namespace) -> "StandIn":
    from harbor.faults import Fault
    from harbor.standin import StandIn

    try:
        users = dict(user.split(":", 1) for user in options.user)
        faults = [Fault.parse(each) for each in options.fault]
    except (ValueError, TypeError) as problem:
        raise Unusable(f'a member is NAME:PASSWORD, a fault is as in "image*2 cut=500" ({problem})') from problem
    bind = options.bind[0] if options.bind else "127.0.0.1"
    return StandIn(the_folder(settings), bind=bind, port=settings.port, users=users or None, releases=options.releases,
                   log=options.log, faults=faults)


def own_name(settings: Settings) -> str:
    """What a person may type to come here."""
    everywhere = {"0.0.0.0", "::"} & set(settings.bind)
    address = os.uname().nodename if everywhere else settings.bind[0]
    return f"[{address}]" if ":" in address else address


def port_of(port: int) -> str:
    return "" if port == 80 else f":{port}"


def become_the_owner_of(state: Path) -> None:
    """Root gives up its rights for those of the service: files of root's in the state would lock the service out."""
    if os.geteuid() == 0 and state.is_dir() and (owner := state.stat()).st_uid != 0:
        os.setgroups([])
        os.setgid(owner.st_gid)
        os.setuid(owner.st_uid)


def open_members(settings: Settings) -> "Members":
    from harbor.members import Members
    from harbor.store import Store

    become_the_owner_of(settings.state)
    return Members(Store(settings.state))


def new_password() -> str:
    """From the terminal, twice; or the first line of what is piped in."""
    if not sys.stdin.isatty():
        password = sys.stdin.readline().rstrip("\r\n")
    else:
        password = getpass.getpass("Password: ")
        if password != getpass.getpass("The same once more: "):
            raise Unusable("the two passwords differ")
    return password


def run_member(options: argparse.Namespace) -> int:
    from harbor.web.account import fault_in, fault_in_password

    members = open_members(Settings.read(options.config, state=options.state))
    known = members.find(options.name)
    if options.action == "add":
        if known:
            raise Unusable(f"{known.name} is a member already")
        password = new_password()
        if problem := fault_in(options.name, password):
            raise Unusable(problem)
        made = members.add(options.name, password)
        if made is None:
            raise Unusable(f"{options.name} is a member already")
        print(f"{made.name} is a member now" + (", and the owner of this box" if made.is_owner else ""))
        return 0
    if not known:
        raise Unusable(f"no member {options.name}")
    if options.action == "password":
        password = new_password()
        if problem := fault_in_password(password):
            raise Unusable(problem)
        members.set_password(known.name, password)
        print(f"{known.name} has a new password")
    else:
        members.remove(known.name)
        print(f"{known.name} is no member any more")
    return 0


def run_check(options: argparse.Namespace) -> int:
    from harbor.check import check

    return check(Settings.read(options.config, state=options.state))
