"""The search for tags: which pictures bear the words that somebody asks for."""

import re
import sys
from collections.abc import Sequence

from harbor.pictures import Picture, words


class Index:
    """The words of pictures, to which a whole catalogue comes down to far fewer than it has pictures."""

    def __init__(self, newest: Sequence[Picture]):
        self._newest = newest
        self._bearers: dict[str, set[int]] = {}
        for picture in newest:
            for word in {*picture.tags, "".join(words(picture.stem)).casefold()}:
                self._bearers.setdefault(sys.intern(word), set()).add(picture.id)
        self._found: dict[str, Sequence[Picture]] = {}

    def search(self, text: str) -> Sequence[Picture]:
        """The pictures, newest first, for comma separated alternatives. Of each alternative all words have to match,
        wherever they stand; "*" stands for any characters. A picture's name without its blanks is a word as well."""
        if text not in self._found:
            if len(self._found) >= 64:  # a household asks for few tags, a stranger for any number
                self._found.clear()
            ids = set().union(*(self._bearing(part) for part in text.split(",")))
            self._found[text] = [picture for picture in self._newest if picture.id in ids] if ids else []
        return self._found[text]

    def _bearing(self, alternative: str) -> set[int]:
        asked = re.sub("[-_]", " ", alternative.casefold()).split()
        found: set[int] | None = None
        for word in asked:
            bearers = self._bearers_of(word)
            found = bearers if found is None else found & bearers
            if not found:
                break
        return found or set()

    def _bearers_of(self, word: str) -> set[int]:
        if "*" not in word:
            return self._bearers.get(word, set())
        fits = pattern(word).fullmatch
        return set().union(*(bearers for each, bearers in self._bearers.items() if fits(each)))


def pattern(word: str) -> re.Pattern[str]:
    """A pattern for a word with stars. Each piece between two stars takes the first place that it fits and never
    another one, which is enough, and takes linear time whatever a stranger writes."""
    first, *pieces, last = re.split(r"\*+", word)
    between = "".join(f"(?>.*?{re.escape(piece)})" for piece in pieces)
    return re.compile(f"{re.escape(first)}{between}.*{re.escape(last)}", re.DOTALL)
