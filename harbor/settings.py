"""What a harbor is told about its house: from a configuration file, and from the command line above that."""

import os
import tomllib
from dataclasses import dataclass, field, fields, replace
from pathlib import Path
from typing import Any

CONFIGURATION = Path("/etc/harbor.toml")  # read if no other file is named
LARGEST_UPLOAD = 40_000_000


class Unusable(Exception):
    """What cannot be served, in one line for the person at the terminal."""


def own_state() -> Path:
    return Path(os.environ.get("XDG_STATE_HOME") or Path.home() / ".local" / "state") / "harbor"


@dataclass(frozen=True)
class Settings:
    """`uploads` and `releases` lie in the state folder unless they are named."""

    pictures: Path | None = None
    state: Path = field(default_factory=own_state)
    uploads: Path = None  # type: ignore[assignment]  # set below
    releases: Path = None  # type: ignore[assignment]
    bind: tuple[str, ...] = ("0.0.0.0", "::")
    port: int = 80
    signup: bool = True  # may anybody in the house make an account?
    upload_limit: int = LARGEST_UPLOAD  # bytes for each picture

    def __post_init__(self) -> None:
        for name in ("uploads", "releases"):
            if getattr(self, name) is None:
                object.__setattr__(self, name, self.state / name)

    @classmethod
    def read(cls, path: Path | None = None, **above: Any) -> "Settings":
        """The settings of a file (none at all without one), and above them those that are not None. Raises Unusable."""
        values: dict[str, Any] = {}
        if path or CONFIGURATION.is_file():
            values = _from_file(path or CONFIGURATION)
        values |= {name: value for name, value in above.items() if value is not None}
        return replace(cls(**{name: _converted(name, value) for name, value in values.items()}))


def _from_file(path: Path) -> dict[str, Any]:
    try:
        with open(path, "rb") as file:
            values = tomllib.load(file)
    except OSError as problem:
        raise Unusable(f"{path} cannot be read: {problem.strerror}") from problem
    except (tomllib.TOMLDecodeError, UnicodeDecodeError) as problem:
        raise Unusable(f"{path}: {problem}") from problem
    known = {each.name for each in fields(Settings)} - {"upload_limit"} | {"upload_megabytes"}
    if unknown := sorted(values.keys() - known):
        raise Unusable(f"{path}: no setting {unknown[0]}; there are {', '.join(sorted(known))}")
    if "upload_megabytes" in values:
        megabytes = values.pop("upload_megabytes")
        values["upload_limit"] = megabytes * 1_000_000 if type(megabytes) is int else megabytes
    return values


def _converted(name: str, value: Any) -> Any:
    def need(kind: type, is_good: bool, what: str) -> Any:
        if type(value) is not kind or not is_good:
            raise Unusable(f"{name} has to be {what}, not {value!r}")
        return value

    if name in ("pictures", "state", "uploads", "releases"):
        if isinstance(value, str) and value:
            return Path(value).expanduser().absolute()
        return value.absolute() if isinstance(value, Path) else need(str, bool(value), "the path of a folder")
    if name == "bind":
        addresses = [value] if isinstance(value, str) else value
        if not isinstance(addresses, (list, tuple)) or not addresses or not all(isinstance(a, str) for a in addresses):
            raise Unusable(f"bind has to be a list of addresses, not {value!r}")
        return tuple(addresses)
    if name == "port":
        return need(int, type(value) is int and 0 <= value < 65536, "a number below 65536")
    if name == "upload_limit":
        return need(int, type(value) is int and value > 0, "a number above 0")
    return need(bool, True, "true or false")
