"""The registry as the program leaves it, byte for byte, and as a curious person might edit it."""

import dataclasses

REG_SZ = 1
REG_DWORD = 4
SOFTWARE = "Software\\Quillory"
LOGIN = "Velvet Harbor"


def account(name):
    """The section that holds an account's settings."""
    return f"Quillory - {name}"


@dataclasses.dataclass(frozen=True)
class Value:
    type: int
    data: bytes


def text(characters):
    """A setting as the program writes it: the characters alone, no NUL behind them."""
    return Value(REG_SZ, characters.encode("cp1252"))


class Registry:
    def __init__(self, desktop):
        self.desktop = desktop

    def values(self, key):
        """All values of a key below the current user's hive; empty for no such key."""
        found = self.desktop.probe.ask("key", key) or {"values": {}}
        return {name: Value(value["type"], bytes.fromhex(value["data"])) for name, value in found["values"].items()}

    def settings(self, section):
        return self.values(f"{SOFTWARE}\\{section}")

    def sections(self):
        found = self.desktop.probe.ask("key", SOFTWARE)
        return found["keys"] if found else []

    def write(self, section, **settings):
        for name, value in settings.items():
            value = value if isinstance(value, Value) else text(value)
            key = f"{SOFTWARE}\\{section}"
            assert self.desktop.probe.ask("write", key, name, value.type, value.data.hex())

    def delete(self, section, name):
        self.desktop.probe.ask("delete", f"{SOFTWARE}\\{section}", name)

    def forget(self):
        """As if Quillory had never run here."""
        self.desktop.probe.ask("deletekey", SOFTWARE)

    def wallpaper(self):
        """The picture file that the desktop will show at its next start."""
        stored = self.values("Control Panel\\Desktop").get("Wallpaper", Value(REG_SZ, b""))
        return stored.data.rstrip(b"\0").decode("cp1252")
