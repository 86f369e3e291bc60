"""The registry as the program leaves it, byte for byte, and as an earlier run may have left it."""

from desktop import REG_SZ

SOFTWARE = "Software\\Quillory\\"
LOGIN = "Velvet Harbor"


def text(characters):
    """A setting as the program writes it: the characters alone, no NUL behind them."""
    return REG_SZ, characters.encode("cp1252")


class Registry:
    def __init__(self, probe):
        self.probe = probe

    def values(self, key):
        """All values of a key below the current user's hive, each with its type and bytes; empty for no such key."""
        found = self.probe.ask("key", key) or []
        return {name: (kind, bytes(data)) for name, kind, data in found}

    def settings(self, section):
        return self.values(SOFTWARE + section)

    def write(self, section, **settings):
        for name, value in settings.items():
            self.probe.write(SOFTWARE + section, name, *text(value))

    def forget(self):
        """As if Quillory had never run here."""
        self.probe.ask("deletekey", SOFTWARE)

    def wallpaper(self):
        """The picture file that the desktop will show at its next start."""
        return self.values("Control Panel\\Desktop")["Wallpaper"][1].rstrip(b"\0").decode("cp1252")
