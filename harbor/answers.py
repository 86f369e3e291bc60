"""The forms in which the site speaks: its XML answers, its HTML pages, and files."""

from collections.abc import Iterable
from dataclasses import dataclass, field, replace
from html import escape

# What the site answers in `error` elements. 69, 75, 901, 950 and 951 have a meaning of their own to its clients: no
# wallpapers to show, a refused login, a key used too often today, and two faults of the calling program itself.
NOTHING_THERE = 69
LOGIN_REFUSED = 75
UNKNOWN_KEY = 902
TRIED_TOO_OFTEN = 903
UNKNOWN_METHOD = 950
BAD_REQUEST = 951
BROKEN_SERVICE = 999

STYLE = ("body { font: 16px/1.5 sans-serif; max-width: 40em; margin: 3em auto; color: #22303c; background: #f7f3ea } "
         "a { color: #1f5a6e } img { max-width: 100% }")


@dataclass(frozen=True)
class Answer:
    """One answer before it goes out. `label` names it in the log; `keep` leaves the connection open behind it."""

    label: str
    body: bytes
    status: str = "200 OK"
    headers: dict[str, str | int | None] = field(default_factory=dict)
    keep: bool = False

    def encode(self) -> bytes:
        """The bytes on the wire. A header set to None is left out, so that a fault can take away any of them."""
        headers = {**self.headers}
        headers.setdefault("Content-Length", len(self.body))
        lines = [f"{name}: {value}" for name, value in headers.items() if value is not None]
        return "\r\n".join([f"HTTP/1.0 {self.status}", *lines, "", ""]).encode("latin-1", "replace") + self.body


class ApiError(Exception):
    """Leaves a method of the API with an `error` answer."""

    def __init__(self, number: int, description: str):
        super().__init__(description)
        self.number = number


def leaf(name: str, value: object) -> str:
    return f"<{name}>{escape(' '.join(str(value).split()), quote=False)}</{name}>"


def branch(name: str, lines: Iterable[str], **attributes: object) -> list[str]:
    start = "".join(f' {key}="{escape(str(value))}"' for key, value in attributes.items())
    return [f"<{name}{start}>", *lines, f"</{name}>"]


def api_answer(lines: list[str], status: str = "200 OK", keep: bool = True) -> Answer:
    """An answer of the API: its start tag and its end tag on lines of their own, every line ended by a bare line feed.

    Characters beyond ASCII go out as references: without an XML declaration, clients take the bytes for whatever
    code page they happen to live in.
    """
    body = "".join(line + "\n" for line in lines).encode("ascii", "xmlcharrefreplace")
    headers: dict[str, str | int | None] = {"Response-From": "VHAPI", "Content-Type": "text/xml"}
    return Answer(lines[0].strip("<>").split()[0], body, status, headers, keep)


def error(number: int, description: str, status: str = "200 OK", keep: bool = True) -> Answer:
    lines = branch("error", [leaf("number", number), leaf("description", description)])
    return api_answer(lines, status, keep)


def upgrade(link: str) -> Answer:
    return api_answer(branch("quillory", [leaf("action", "upgrade"), leaf("link", link)]))


def page(title: str, content: str, status: str = "200 OK", label: str = "page") -> Answer:
    """A small HTML page that is also well-formed XML. `content` is markup, `title` is text."""
    title = escape(title)
    body = (f'<html>\n<head>\n<meta charset="utf-8" />\n<title>{title}</title>\n<style>{STYLE}</style>\n</head>\n'
            f'<body>\n<h1>{title}</h1>\n{content}\n</body>\n</html>\n')
    return Answer(label, body.encode(), status, {"Content-Type": "text/html; charset=utf-8"})


def refusal(status: str, description: str) -> Answer:
    """An answer to whoever asks for what: an `error` to the API's clients, which take anything else for a stranger's
    and stop asking; a browser shows its text."""
    answer = error(BROKEN_SERVICE, description, status, keep=False)
    return replace(answer, headers={**answer.headers, "Content-Type": "text/html"})


def not_found(what: str) -> Answer:
    return page("Not found", f"<p>There is no such {escape(what)} in this harbor.</p>", "404 Not Found", "not found")


def file(body: bytes, content_type: str, label: str) -> Answer:
    return Answer(label, body, headers={"Content-Type": content_type})
