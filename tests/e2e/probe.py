"""The probe's answers as Python values. The program itself stands in probe/probe.cpp."""

import dataclasses
import json
import select

ANSWER_SECONDS = 30


@dataclasses.dataclass(frozen=True)
class Window:
    """A window as the desktop knows it; `place` is left, top, width and height on the screen."""

    handle: int
    cls: str
    text: str
    place: tuple
    visible: bool
    enabled: bool
    minimized: bool
    style: int
    exstyle: int
    id: int
    owner: int
    process: int
    checked: bool = False
    entries: tuple = ()

    @property
    def middle(self):
        left, top, width, height = self.place
        return left + width // 2, top + height // 2


class Probe:
    def __init__(self, program):
        self.program = program

    def ask(self, *words):
        try:
            self.program.stdin.write("\t".join(map(str, words)) + "\n")
            # Read behind an empty buffer, since each command is answered with one line.
            answered, _, _ = select.select([self.program.stdout], [], [], ANSWER_SECONDS)
            line = self.program.stdout.readline() if answered else ""
        except BrokenPipeError:
            line = ""
        if not line:
            raise EOFError("the desktop has been closed")
        answer = json.loads(line)
        if isinstance(answer, dict) and "error" in answer:
            raise ValueError(f"probe {words}: {answer['error']}")
        return answer

    def windows(self):
        return [window(entry) for entry in self.ask("windows")]

    def children(self, parent):
        return [window(entry) for entry in self.ask("children", parent.handle)]


def window(entry):
    entry = dict(entry, cls=entry["class"], place=tuple(entry["place"]), entries=tuple(entry.get("entries", ())))
    del entry["class"]
    return Window(**entry)
