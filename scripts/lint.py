#!/usr/bin/env python3
"""Runs the linters over what they know: clang-tidy and cppcheck over both builds, shellcheck and ruff over the scripts.

usage: scripts/lint.py [--report FILE.xml] [tidy|tests|cppcheck|shell|python]...

Without a word: all of them; `tests` is clang-tidy over the tests. What has passed is remembered in build/lint by its
content, with that of every header it includes, and not looked at again.
"""

import concurrent.futures
import functools
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tomllib
import xml.etree.ElementTree as ElementTree

ROOT = pathlib.Path(__file__).resolve().parent.parent
CACHE = ROOT / "build" / "lint"
TESTS = ROOT / "tests"
RUFF = "@astral-sh/ruff-wasm-nodejs@0.17.4"
INCLUDE = re.compile(rb'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)
CROSS = "i686-w64-mingw32"
WINDOWS = ["-D_WIN32", "-DSTDMETHODIMP=HRESULT", "-DSTDMETHODIMP_(type)=type"]  # what cppcheck must know of its headers


def output(*command):
    return subprocess.run(command, cwd=ROOT, capture_output=True, text=True, check=True).stdout


class Unit:
    """One source as one build compiles it."""

    def __init__(self, entry, build):
        self.build = build
        self.file = pathlib.Path(entry["file"])
        self.name = f"{build} {self.file.relative_to(ROOT)}"
        words = shlex.split(entry["command"])
        self.flags = []
        while words:
            word = words.pop(0)
            if word in ("-isystem", "-I", "-D"):
                self.flags += [word, words.pop(0)]
            elif word.startswith(("-I", "-D", "-std=")):
                self.flags.append(word)
        self.folders = [
            pathlib.Path(flag.removeprefix("-I"))
            for before, flag in zip([""] + self.flags, self.flags)
            if flag.startswith("-I") or before == "-I"
        ]

    def contents(self):
        """The source and all headers of this project below it, each once."""
        seen, waiting = {}, [self.file]
        while waiting:
            file = waiting.pop()
            if file in seen:
                continue
            seen[file] = read(file)
            for name in INCLUDE.findall(seen[file]):
                for folder in (file.parent, *self.folders):
                    found = folder / name.decode()
                    if found.is_file():
                        waiting.append(found.resolve())
                        break
        return seen

    def key(self, *salt):
        digest = hashlib.sha256("\0".join([*salt, self.name, *self.flags]).encode())
        for file, content in sorted(self.contents().items()):
            digest.update(str(file).encode() + b"\0" + content)
        return digest.hexdigest()


@functools.cache
def read(file):
    return file.read_bytes()


def units():
    """What the builds compile of this project; a source that both have is looked at in the native one alone."""
    native = list(units_of("native"))
    known = {unit.file for unit in native}
    return native + [unit for unit in units_of("win32") if unit.file not in known]


def units_of(build):
    subprocess.run(["cmake", "--preset", build], cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    database = ROOT / "build" / build / "compile_commands.json"
    seen = set()
    for entry in json.loads(database.read_text(encoding="utf-8")):
        file = pathlib.Path(entry["file"])
        ours = file.suffix == ".cpp" and file.is_relative_to(ROOT) and not file.is_relative_to(ROOT / "build")
        if ours and file not in seen:
            seen.add(file)
            yield Unit(entry, build)


@functools.cache
def cross_flags():
    """The headers of the cross compiler, which clang does not find by itself."""
    said = subprocess.run(
        [f"{CROSS}-g++-posix", "-E", "-v", "-x", "c++", os.devnull], capture_output=True, text=True, check=True
    ).stderr
    folders = said.partition("search starts here:\n")[2].partition("End of search list")[0].split("\n")
    # Only those of its C++ library: clang finds Windows' by the target, and has compiler headers of its own.
    library = [folder.strip() for folder in folders if "/c++" in folder]
    return [f"--target={CROSS}", "-nostdinc++", *(word for folder in library for word in ("-isystem", folder))]


def remembered(key):
    return (CACHE / key).is_file()


def remember(key):
    (CACHE / key).touch()


def each(work, things):
    """Does `work` on all things, as many at a time as there are processors; what comes back, in their order."""
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        return [result for result in pool.map(work, things) if result]


def tidy():
    return tidied(unit for unit in units() if not unit.file.is_relative_to(TESTS))


def tidy_tests():
    return tidied(unit for unit in units() if unit.file.is_relative_to(TESTS))


def tidied(chosen):
    settings = [ROOT / ".clang-tidy", TESTS / ".clang-tidy"]
    salt = "".join([output("clang-tidy-19", "--version"), *(file.read_text(encoding="utf-8") for file in settings)])

    def look(unit):
        key = unit.key("tidy", salt)
        if remembered(key):
            return None
        flags = [*unit.flags, *(cross_flags() if unit.build == "win32" else [])]
        said = subprocess.run(
            ["clang-tidy-19", "--quiet", "--warnings-as-errors=*", str(unit.file), "--", *flags],
            cwd=ROOT, capture_output=True, text=True,
        )
        if said.returncode == 0:
            remember(key)
            return None
        return f"{unit.name}\n{said.stdout}{said.stderr if 'error:' not in said.stdout else ''}"

    return each(look, chosen)


def cppcheck():
    suppressions = ROOT / ".cppcheck"
    salt = output("cppcheck", "--version") + suppressions.read_text(encoding="utf-8")

    def look(unit):
        key = unit.key("cppcheck", salt)
        if remembered(key):
            return None
        own = [f for f in unit.flags if f.startswith("-D")]
        folders = [word for folder in unit.folders for word in ("-I", str(folder))]
        said = subprocess.run(
            [
                "cppcheck", "--quiet", "--std=c++20", "--enable=warning,performance,portability", "--inline-suppr",
                "--library=googletest",
                f"--suppressions-list={suppressions}", "--error-exitcode=1", "--template=gcc",
                f"--platform={'win32W' if unit.build == 'win32' else 'unix64'}",
                *(WINDOWS if unit.build == "win32" else ["-D__linux__"]), *own, *folders, str(unit.file),
            ],
            cwd=ROOT, capture_output=True, text=True,
        )
        if said.returncode == 0:
            remember(key)
            return None
        return f"{unit.name}\n{said.stdout}{said.stderr}"

    return each(look, units())


def tracked(shebang, suffix):
    for name in output("git", "ls-files", "-z", "--cached", "--others", "--exclude-standard").split("\0"):
        file = ROOT / name
        if name and file.is_file():
            with file.open("rb") as source:
                first = source.readline()
            if name.endswith(suffix) or (first.startswith(b"#!") and shebang in first):
                yield name


def shell():
    names = sorted(tracked(b"sh", ".sh"))
    said = subprocess.run(["shellcheck", "--external-sources", *names], cwd=ROOT, capture_output=True, text=True)
    return [] if said.returncode == 0 else [said.stdout + said.stderr]


def python():
    package = RUFF.rpartition("@")[0]
    place = CACHE / RUFF.replace("/", "-")
    if not (place / "node_modules" / package).is_dir():
        place.mkdir(parents=True, exist_ok=True)
        subprocess.run(
            ["npm", "install", "--silent", "--no-audit", "--no-fund", "--ignore-scripts", "--prefix", str(place), RUFF],
            cwd=place, check=True,
        )
    options = tomllib.loads((ROOT / "ruff.toml").read_text(encoding="utf-8"))
    job = {"options": options, "root": str(ROOT), "files": sorted(tracked(b"python", ".py"))}
    said = subprocess.run(
        ["node", "scripts/ruff.cjs", str(place / "node_modules" / package)],
        cwd=ROOT, input=json.dumps(job), capture_output=True, text=True,
    )
    return [] if said.returncode == 0 else [said.stdout + said.stderr]


LINTERS = {"tidy": tidy, "tests": tidy_tests, "cppcheck": cppcheck, "shell": shell, "python": python}


def main(*words):
    words = list(words)
    report = None
    if words[:1] == ["--report"]:
        report = pathlib.Path(words[1])
        del words[:2]
    if set(words) - set(LINTERS):
        sys.exit(__doc__)
    CACHE.mkdir(parents=True, exist_ok=True)
    suite = ElementTree.Element("testsuite", name="lint")
    failed = False
    for name in words or LINTERS:
        found = LINTERS[name]()
        case = ElementTree.SubElement(suite, "testcase", classname="lint", name=name)
        print(f"{name}: {'clean' if not found else f'{len(found)} with findings'}", flush=True)
        if found:
            failed = True
            print("\n".join(found), flush=True)
            ElementTree.SubElement(case, "failure").text = "\n".join(found)
    if report:
        ElementTree.ElementTree(suite).write(report)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
