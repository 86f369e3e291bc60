"""The probe's answers as Python values. The program itself stands in probe/probe.cpp."""

import dataclasses
import json
import select

ANSWER_SECONDS = 180  # to the first question, which a whole desktop may have to come up for


@dataclasses.dataclass(frozen=True)
class Window:
    """A window as the desktop knows it; `place` is left, top, width and height on the screen."""

    handle: int
    cls: str
    text: str
    place: list
    visible: bool
    enabled: bool

    @property
    def middle(self):
        left, top, width, height = self.place
        return left + width // 2, top + height // 2


class Probe:
    def __init__(self, program):
        self.program = program

    def ask(self, *words):
        try:
            self.program.stdin.write(json.dumps(words) + "\n")
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
        return [Window(**entry) for entry in self.ask("windows")]

    def children(self, parent):
        return [Window(**entry) for entry in self.ask("children", parent.handle)]

    def write(self, key, name, kind, data):
        """Writes a value of the registry."""
        assert self.ask("write", key, name, kind, list(data))
