"""Builds and runs the tests, and adds up what they say.

usage: ./test [native|lint|wine|e2e|long]

Without a word: everything but what takes its time.
  native   the suite on the headless desktop, with sanitizers, and the tests of the stand-in site
  lint     clang-tidy, cppcheck and shellcheck over what has changed; if asked for, clang-tidy over the tests and ruff
  wine     the same suite, built for Windows, under Wine
  e2e      the shipped program on a Wine desktop, the tour, 200 rotations, and the release's files
  long     everything, and what takes its time
"""

import os
import pathlib
import shutil
import signal
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

ROOT = pathlib.Path(__file__).resolve().parent.parent
REPORTS = ROOT / "build" / "reports"
SITENET = ["scripts/sitenet"]
PYTHON = "/usr/bin/python3"
PYTEST = [PYTHON, "-m", "pytest", "-p", "no:cacheprovider", "-q", "--durations=5"]
MINUTE = 60


class Part:
    """One line of the summary."""

    def __init__(self, name):
        self.name = name
        self.passed = self.failed = self.skipped = 0
        self.notes = []
        self.reports = REPORTS / name
        shutil.rmtree(self.reports, ignore_errors=True)
        self.reports.mkdir(parents=True)

    def run(self, *command, minutes, **environment):
        """Runs one step; False, and a failure, if it fails or does not end in time."""
        print(f"\n== {self.name}: {' '.join(map(str, command))}", flush=True)
        step = subprocess.Popen(
            list(map(str, command)), cwd=ROOT, stdin=subprocess.DEVNULL, start_new_session=True,
            env={**os.environ, "PYTHONDONTWRITEBYTECODE": "1", **environment},
        )
        try:
            code = step.wait(minutes * MINUTE)
        except BaseException as end:
            os.killpg(step.pid, signal.SIGKILL)
            step.wait()
            if not isinstance(end, subprocess.TimeoutExpired):
                raise
            self.notes.append(f"ended after {minutes} minutes")
            code = 1
        self.read_reports()
        if code != 0 and self.failed == 0:
            self.failed = 1
            self.notes.append(f"{pathlib.Path(command[0]).name} failed")
        return code == 0

    def read_reports(self):
        cases = [case for path in self.reports.glob("**/*.xml") for case in ElementTree.parse(path).iter("testcase")]
        self.failed = sum(1 for case in cases if case.find("failure") is not None or case.find("error") is not None)
        self.skipped = sum(1 for case in cases if case.find("skipped") is not None)
        self.passed = len(cases) - self.failed - self.skipped

    def skip(self, why):
        if os.environ.get("CI") == "true":
            self.failed = 1
        else:
            self.skipped = 1
        self.notes.append(why)

    def __str__(self):
        notes = f"  ({'; '.join(self.notes)})" if self.notes else ""
        skipped = f", {self.skipped} skipped" if self.skipped else ""
        return f"{self.name:8}{self.passed:5} passed, {self.failed} failed{skipped}{notes}"


def native(part):
    if not part.run("scripts/check_floors", minutes=1):
        return
    tests = ["ctest", "--test-dir", "build/native", "--output-on-failure", "-j2"]
    if part.run("scripts/build", "native", minutes=25):
        part.run(*tests, minutes=15, GTEST_OUTPUT=f"xml:{part.reports}/")


def lint(part):
    part.run("scripts/lint.py", "--report", part.reports / "lint.xml", "tidy", "cppcheck", "shell", minutes=20)


def style(part):
    part.run("scripts/lint.py", "--report", part.reports / "style.xml", "tests", "python", minutes=20)


def harbor(part):
    part.run(PYTHON, "-m", "mypy", minutes=5)
    part.run(*PYTEST, "tests/harbor", f"--junitxml={part.reports}/harbor.xml", minutes=10)


def wine(part):
    if part.run("scripts/build", "win32", minutes=20):
        part.run(*SITENET, PYTHON, "scripts/wine_suite.py", part.reports, minutes=15)


def release(part, which="not long", minutes=15):
    if part.run("scripts/build", "win32", minutes=20):
        report = f"--junitxml={part.reports}/{part.name}.xml"
        part.run(*SITENET, *PYTEST, "tests/updater", "-m", which, report, minutes=minutes)


def e2e(part):
    if part.run("scripts/build", "win32", "Quillory", minutes=20):
        part.run(*SITENET, *PYTEST, "tests/e2e", f"--junitxml={part.reports}/e2e.xml", minutes=40)


def soak(part):
    part.passed += part.run("bench/soak", "200", minutes=15)


def long(part):
    release(part, "long", minutes=60)


def tour(part):
    if part.run("scripts/build", "win32", "Quillory", minutes=20):
        part.run(*SITENET, PYTHON, "tests/e2e/tour.py", f"--report={part.reports}/tour.xml", minutes=10)


GROUPS = {
    "lint": [lint],
    "style": [style],
    "build": [native, lint, wine, release, e2e, tour, soak, long],
    "site": [harbor, e2e, tour, soak],
    "test": [harbor, release, e2e, soak, long],
    "release": [release, e2e, long],
}
WINE_PARTS = [wine, release, e2e, tour, soak, long]
CHOICES = {
    "": [native, harbor, lint, wine, release, e2e, tour, soak],
    "native": [native, harbor],
    "lint": [lint, style],
    "wine": [wine],
    "e2e": [release, e2e, tour, soak],
    "long": [native, harbor, lint, wine, release, e2e, tour, soak, long],
}


def main(choice="", *more):
    if more or choice not in CHOICES:
        sys.exit(__doc__)
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda *_: sys.exit(1))
    os.environ.pop("DISPLAY", None)  # the tests bring a screen of their own
    wanted = CHOICES[choice]
    groups = [group for group, users in GROUPS.items() if set(users) & set(wanted)]
    subprocess.run(["scripts/setup", *groups], cwd=ROOT, stdin=subprocess.DEVNULL, check=True)
    has_wine = not set(WINE_PARTS) & set(wanted) or not subprocess.run(["scripts/setup", "wine"], cwd=ROOT).returncode

    parts = []
    for test in wanted:
        parts.append(part := Part(test.__name__))
        if test in WINE_PARTS and not has_wine:
            part.skip("Wine cannot be installed here")
        else:
            test(part)

    passed, failed, skipped = (sum(getattr(part, count) for part in parts) for count in ("passed", "failed", "skipped"))
    print("\n" + "\n".join(map(str, parts)))
    print(f"{passed} passed, {failed} failed" + (f", {skipped} skipped" if skipped else ""), flush=True)
    return 1 if failed or not passed else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
