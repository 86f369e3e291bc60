#!/usr/bin/python3
"""The key that releases are signed with: makes it where it is not there yet, and prints its public half.

usage: scripts/signing.py FILE.pem

What it prints is for QUILLORY_UPDATE_KEY in cmake/Endpoints.cmake. Whoever has the file can make updates that every
copy of Quillory with this public half installs: keep it off the network, and keep a copy.
"""

import contextlib
import hashlib
import os
import pathlib
import sys

import ecdsa


def opened(path):
    """A signing key; the file is made first if there is none."""
    path = pathlib.Path(path)
    if not path.exists():
        path.parent.mkdir(parents=True, exist_ok=True)
        fresh = path.with_name(f"{path.name}.{os.getpid()}")
        fresh.touch(mode=0o600)
        fresh.write_bytes(ecdsa.SigningKey.generate(ecdsa.NIST256p).to_pem(format="pkcs8"))
        with contextlib.suppress(FileExistsError):
            os.link(fresh, path)  # of two that make one at once, the first wins
        fresh.unlink()
    key = ecdsa.SigningKey.from_pem(path.read_text())
    if key.curve != ecdsa.NIST256p:
        raise ValueError(f"{path} is no key on the curve P-256")
    return key


def public(key):
    return key.get_verifying_key().to_string().hex()


def signature(key, data):
    """The same for the same key and data (RFC 6979), so that a release can be made again byte for byte."""
    return key.sign_deterministic(data, hashfunc=hashlib.sha256)


def record(version, files):
    """What a release says of itself: its version and all its files, to be signed."""
    lines = [f"{hashlib.sha256(data).hexdigest()} {len(data)} {name}\n" for name, data in files.items()]
    return f"Quillory {version}\n{''.join(lines)}".encode("ascii")


def signed(version, files, key):
    """The files of a release with its record and the record's signature."""
    told = record(version, files)
    return {**files, "Updater/release.txt": told, "Updater/release.sig": signature(key, told)}


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    print(public(opened(sys.argv[1])))
