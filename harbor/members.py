"""The site's members: their logins, their keys, what they uploaded and what they like."""

import hashlib
import string


class Member:
    """`uploads` and `favorites` are sets of picture ids. They are replaced whole, never changed in place, so that an
    answer under way sees one state or the other."""

    def __init__(self, name: str, password: str, uploads=(), favorites=()):
        self.name = name  # in the spelling of the sign-up, which is the site's own
        self.uploads = frozenset(uploads)
        self.favorites = frozenset(favorites)
        self.set_password(password)
        # Made from the name, so that a client that is still logged in finds its key valid after a restart.
        digest = int.from_bytes(hashlib.sha256(name.casefold().encode()).digest(), "big")
        alphabet = string.ascii_letters + string.digits
        self.api_key = "".join(alphabet[digest // 62 ** place % 62] for place in range(12))

    def set_password(self, password: str):
        self.md5password = hashlib.md5(password.encode("cp1252", "replace")).hexdigest()


class Members:
    def __init__(self, picture_ids):
        self._picture_ids = list(picture_ids)
        self._members: dict[str, Member] = {}

    def __iter__(self):
        return iter(list(self._members.values()))

    def find(self, name: str) -> Member | None:
        return self._members.get(name.casefold())

    def add(self, name: str, password: str) -> Member:
        """A new member has uploaded every third picture and likes every other one: two lists that differ."""
        member = Member(name, password, self._picture_ids[::3], self._picture_ids[::2])
        self._members[name.casefold()] = member
        return member

    def remove(self, name: str):
        self._members.pop(name.casefold(), None)

    def knows_key(self, api_key: str) -> bool:
        return any(member.api_key == api_key for member in self)
