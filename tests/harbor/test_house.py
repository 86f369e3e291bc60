"""The harbor as a house keeps it: installed as a package and started by the init system, on a machine of its own."""

import contextlib
import os
import re
import subprocess
import sys
from pathlib import Path

import pytest
from conftest import ROOT
from PIL import Image

sys.path.append(str(ROOT / "scripts"))

from deb import make_deb  # noqa: E402

from harbor.names import Names  # noqa: E402

UNSHARE = ["unshare", "--mount", "--pid", "--fork", "--kill-child", "--net", "--uts", "--ipc"]


@pytest.fixture
def machine(tmp_path):
    """Runs a story as root on the machine; what it said."""
    outside = tmp_path / "outside"
    for folder in (outside, tmp_path / "layers"):
        folder.mkdir()

    def run(story: str) -> str:
        (outside / "story").write_text(story)
        command = ["timeout", "--signal=KILL", "300", *UNSHARE, ROOT / "tests" / "harbor" / "machine.sh", tmp_path]
        with open(outside / "console", "wb") as console:
            subprocess.run(command, stdout=console, stderr=console, check=False)
        told, end, console = ((outside / name).read_text(errors="replace") if (outside / name).exists() else ""
                              for name in ("told", "end", "console"))
        assert end == "0\n", f"ended with {end}\n{told}\n{console[-4000:]}"
        return told

    may_mount = [*UNSHARE, "mount", "-t", "cgroup2", "groups", str(outside)]  # as little as what is needed
    if os.geteuid() != 0 or subprocess.run(may_mount, capture_output=True, check=False).returncode != 0:
        pytest.skip("a machine of its own takes root, and a system that lets it mount")
    run.outside = outside
    yield run
    for groups in Path("/sys/fs/cgroup").glob("**/quillory-machine"):
        for folder, _, _ in os.walk(groups, topdown=False):
            with contextlib.suppress(OSError):  # the last processes of a machine that was ended are still going
                os.rmdir(folder)


STORY = r"""
PS4='+ ${SECONDS}s '
ask() { curl -gsS --max-time 10 "http://127.0.0.1$1"; }
comes() { # the text comes to stand on the first page
    for _ in $(seq 300); do if ask / 2>&1 | grep "$1"; then return; fi; sleep 0.2; done
    systemctl status harbor; exit 1
} 2>/dev/null
never() { if "$@"; then exit 1; fi; }
refused() { status=0; "$@" || status=$?; test $status = 2; }
main() { systemctl show -P MainPID harbor; }
dpkg -i /outside/quillory-harbor_1.0.112_all.deb
comes '<title>Velvet Harbor'
systemctl is-enabled harbor
test "$(ps -o user= -p "$(main)")" = harbor

# The first member, the first picture, both kinds of address; and all of it again after a restart.
echo velvet | harbor member add alice
mkdir -p /srv/pictures/sea && cp /outside/First_Wave.png /srv/pictures/sea/
curl -gsS 'http://[::1]/' | grep '<title>Velvet Harbor'
systemctl restart harbor
comes 'First Wave'
login="/api.php?apikey=Rv8nTq2LxW5d&method=vh.auth.login&username=alice&md5password="
ask "$login$(printf velvet | md5sum | cut -c-32)" | grep '<username>alice'
harbor check

# It may listen at port 80 and write its state, and that is all it may.
grep -E '^Cap(Eff|Bnd):.*0000000000000400$' "/proc/$(main)/status" | wc -l | grep 2
nsenter -t "$(main)" -m touch /var/lib/harbor/here && rm /var/lib/harbor/here
for folder in /usr /srv/pictures /etc; do never nsenter -t "$(main)" -m touch $folder/here; done
test -z "$(find /var/lib/harbor ! -user harbor)"

# One clear line for what a person has to mend first, and no service that tries again for ever.
refused harbor serve --pictures /srv/pictures --state /tmp/other
refused harbor serve --pictures /srv/nowhere
refused harbor serve --colour
refused harbor member password bob
sed -i 's/^port = .*/prot = 80/' /etc/harbor.toml
refused harbor check
systemctl restart harbor || true
until systemctl is-failed harbor; do sleep 0.2; done
install -D /outside/First_Wave.png /var/lib/harbor/uploads/kept.png
dpkg --purge quillory-harbor
test ! -e /etc/harbor.toml; test ! -e /usr/lib/quillory-harbor; test "$(ls -A /var/lib/harbor)" = uploads
"""


def test_installed_from_its_package(machine):
    made, again = (make_deb(out, out / "staging", "1.0.112", 1_700_000_000).read_bytes()
                   for out in (machine.outside, machine.outside / "staging"))
    assert made == again
    Image.linear_gradient("L").resize((320, 200)).save(machine.outside / "First_Wave.png")
    told = machine(STORY)
    for line in ["alice is a member now, and the owner of this box",
                 "ok  /srv/pictures has 1 picture",
                 "ok  0.0.0.0:80 is answered by a harbor", "ok  [::]:80 is answered by a harbor",
                 "harbor: port 80 is taken by another program",
                 "harbor: the folder /srv/nowhere cannot be read: No such file or directory",
                 "harbor: unrecognized arguments: --colour; see harbor --help",
                 "harbor: no member bob",
                 "harbor: /etc/harbor.toml: no setting prot; there are bind, pictures, port, releases, signup, state, "
                 "upload_megabytes, uploads"]:
        assert told.count(line + "\n") == 1, (line, told)
    assert "Traceback" not in told


def test_the_unit_is_hardened():
    unit = ROOT / "packaging" / "harbor" / "harbor.service"
    subprocess.run(["systemd-analyze", "security", "--offline=true", "--threshold=20", unit], check=True)


@pytest.mark.parametrize("site", ["", "box.lan"])
def test_quillory_and_the_harbor_know_the_same_addresses(tmp_path, site):
    for room in ("src", "cmake", "scripts"):
        (tmp_path / room).symlink_to(ROOT / room)
    settings = [f"-DQUILLORY_SITE={site}", f"-DQUILLORY_UPDATE_KEY={'0' * 128}"]
    subprocess.run(["cmake", *settings, "-P", "cmake/Endpoints.cmake"], cwd=tmp_path, check=True)
    known = dict(re.findall(r'(\w+) = L"([^"]*)";', (tmp_path / "generated/core/Endpoints.h").read_text()))
    names = Names.of(known["ApiHost"])
    assert names == Names(*(known[name] for name in ("SiteHomeUrl", "MemberSiteUrl", "WallpaperInlineUrl",
                                                     "UpdateStaticUrl")))
    assert known["SiteDomain"] in names.wallpapers  # or the client takes the link for another site's
