"""Makes the Debian package of the harbor: the service, its unit and its configuration."""

import gzip
import os
import pathlib
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
SOURCES = ROOT / "packaging" / "harbor"
LIBRARY = "usr/lib/quillory-harbor/harbor"
SCRIPTS = ("postinst", "prerm", "postrm")


def make_deb(out, staging, version, epoch):
    """Writes quillory-harbor_VERSION_all.deb into `out`, every time of it at `epoch`, and returns its path."""
    shutil.rmtree(staging, ignore_errors=True)
    package = staging / "package"

    def put(target, source, mode=0o644):
        path = package / target
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(source if isinstance(source, bytes) else source.read_bytes())
        path.chmod(mode)

    for source in sorted((ROOT / "harbor").rglob("*")):
        if source.suffix in (".py", ".html", ".css", ".js", ".svg"):
            put(f"{LIBRARY}/{source.relative_to(ROOT / 'harbor')}", source)
    put("usr/bin/harbor", SOURCES / "harbor", 0o755)
    put("lib/systemd/system/harbor.service", SOURCES / "harbor.service")
    put("etc/harbor.toml", SOURCES / "harbor.toml")
    docs = "usr/share/doc/quillory-harbor"
    put(f"{docs}/copyright", ROOT / "LICENSE")
    put(f"{docs}/at-home.md", ROOT / "docs" / "at-home.md")
    put(f"{docs}/changelog.gz", gzip.compress((ROOT / "CHANGELOG.md").read_bytes(), mtime=0))

    size = sum(path.stat().st_size for path in package.rglob("*") if path.is_file()) // 1024 + 1
    filled = (SOURCES / "control").read_text().replace("@VERSION@", version).replace("@SIZE@", str(size))
    put("DEBIAN/control", filled.encode())
    put("DEBIAN/conffiles", b"/etc/harbor.toml\n")
    for script in SCRIPTS:
        put(f"DEBIAN/{script}", SOURCES / script, 0o755)
    for path in (package, *package.rglob("*")):
        if path.is_dir():
            path.chmod(0o755)  # whatever the umask of who builds it
        os.utime(path, (epoch, epoch))

    made = out / f"quillory-harbor_{version}_all.deb"
    subprocess.run(["dpkg-deb", "--root-owner-group", "-Zxz", "--build", package, made], stdout=sys.stderr, check=True,
                   env={**os.environ, "SOURCE_DATE_EPOCH": str(epoch)})
    return made
