"""Text as clients send it: in the code page of their Windows, without a word on which one that is."""

from collections.abc import Iterator

# The most common one first: where a text can be read in several ways, that is what it is taken for.
CODE_PAGES = ("cp1252", "cp1250", "cp1251", "cp1253", "cp1254", "cp1257", "cp1255", "cp1256", "cp1258", "cp874",
              "cp932", "cp936", "cp949", "cp950")


def readings(raw: bytes) -> Iterator[str]:
    """What bytes can mean, each text once."""
    seen = {raw.decode("cp1252", "replace")}
    yield from seen
    for page in CODE_PAGES:
        try:
            text = raw.decode(page)
        except UnicodeDecodeError:
            continue
        if text not in seen:
            seen.add(text)
            yield text


def spellings(text: str) -> list[bytes]:
    """The bytes that a text can come in, each once: at least one, be it in no code page of any Windows."""
    found: dict[bytes, None] = {}
    for page in CODE_PAGES:
        try:
            found[text.encode(page)] = None
        except UnicodeEncodeError:
            continue
    return list(found) or [text.encode("utf-8", "replace")]


def is_remnant(raw: bytes, text: str) -> bool:
    """Are these bytes what is left of a text in a code page that lacks some of its characters?"""
    return b"?" in raw and any(text.encode(page, "replace") == raw for page in CODE_PAGES)
