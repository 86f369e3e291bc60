"""The harbor as a house keeps it: installed as a package and started by the init system, on a machine of its own."""

import os
import subprocess
import sys
from pathlib import Path

import pytest

ROOT = Path(__file__).parents[2]
sys.path.insert(0, str(ROOT / "scripts"))

from deb import make_deb  # noqa: E402

MACHINE = ["unshare", "--mount", "--pid", "--fork", "--kill-child", "--net", "--uts", "--ipc",
           str(ROOT / "tests" / "harbor" / "machine.sh")]


@pytest.fixture
def machine(tmp_path):
    """Runs a story as root on the machine; what it said, line by line."""
    (tmp_path / "layers").mkdir()
    outside = tmp_path / "outside"
    outside.mkdir()

    def run(story: str) -> str:
        (outside / "story").write_text(story)
        with open(outside / "console", "wb") as console:
            try:
                subprocess.run([*MACHINE, str(tmp_path)], stdout=console, stderr=console, timeout=120, check=False)
            except subprocess.TimeoutExpired:
                console.write(b"\nno end after two minutes\n")
        told = (outside / "told").read_text() if (outside / "told").exists() else ""
        end = (outside / "end").read_text().strip() if (outside / "end").exists() else "none"
        assert end == "0", f"ended with {end}\n{told}\n{(outside / 'console').read_text(errors='replace')[-4000:]}"
        return told

    if os.geteuid() != 0:
        pytest.skip("a machine of its own takes root")
    run.outside = outside
    return run


STORY = r"""
login="/api.php?apikey=Rv8nTq2LxW5d&method=vh.auth.login&username=alice&md5password=$(printf velvet | md5sum | cut -c-32)"
ask() { curl -gsS --max-time 10 "http://127.0.0.1$1"; }
until_ready() { for _ in $(seq 100); do ! ask / >/dev/null 2>&1 || return 0; sleep 0.1; done; systemctl status harbor; return 1; }

dpkg -i /outside/quillory-harbor_1.0.112_all.deb
until_ready
systemctl is-enabled harbor
test "$(ps -o user= -p "$(systemctl show -P MainPID harbor)")" = harbor
test "$(systemctl show -P NRestarts harbor)" = 0

# The first pictures, the first member, both kinds of address.
mkdir -p /srv/pictures/sea && cp /outside/wave.png /srv/pictures/sea/
echo velvet | harbor member add alice
curl -gsS 'http://[::1]/' | grep '<title>Velvet Harbor'
ask "$login" | grep '<username>alice'
! ask "$login"0 | grep '<username>'
systemctl restart harbor && until_ready
ask "$login" | grep '<username>alice'
ask / | grep 'Wave'
harbor check
stat -c '%U %n' /var/lib/harbor/* | sort -u

# It reads the pictures and its state, and nothing lets it write elsewhere.
nsenter -t "$(systemctl show -P MainPID harbor)" -m sh -c 'touch /usr/here /srv/pictures/here' && exit 1
grep -E '^CapEff:.*0000000000000400$' "/proc/$(systemctl show -P MainPID harbor)/status"

# One clear line for what a person has to mend.
harbor serve --pictures /srv/pictures --state /tmp/other; test $? = 2
harbor serve --pictures /srv/nowhere; test $? = 2
harbor serve --colour; test $? = 2
sed -i 's/^port = .*/prot = 80/' /etc/harbor.toml; harbor check; test $? = 2
systemctl restart harbor; sleep 1; systemctl show -P Result,NRestarts harbor

cp /outside/wave.png /var/lib/harbor/uploads/kept.png 2>/dev/null || install -D /outside/wave.png /var/lib/harbor/uploads/kept.png
dpkg --purge quillory-harbor
ls -A /var/lib/harbor /etc/harbor.toml /usr/lib/quillory-harbor; true
"""
