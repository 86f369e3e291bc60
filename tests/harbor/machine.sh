#!/bin/sh
# Boots a machine of its own around a story: a copy of this system that forgets everything, with an init system as its
# first process, and no network but its own. Runs inside fresh namespaces, as their first process, as root.
#
# usage: machine.sh FOLDER     an empty folder for the copy, which also holds `outside`: it shows up there as /outside,
#                              where `story` is run, and where what it says goes to `told` and its exit status to `end`
set -e
folder=$1
mount --make-rprivate /
mount -t tmpfs machine "$folder/layers"
mkdir "$folder/layers/upper" "$folder/layers/work" "$folder/layers/root"
root=$folder/layers/root
mount -t overlay machine -o "lowerdir=/,upperdir=$folder/layers/upper,workdir=$folder/layers/work" "$root"
mount -t proc proc "$root/proc"
mount -t tmpfs run "$root/run"
mount -t tmpfs tmp "$root/tmp"
mount -t sysfs sys "$root/sys"
mount -t cgroup2 cgroup "$root/sys/fs/cgroup"
mount --rbind /dev "$root/dev"
mkdir -p "$root/outside"
mount --bind "$folder/outside" "$root/outside"
: >"$root/etc/machine-id"
rm -f "$root/usr/sbin/policy-rc.d"
ip link set lo up
cat >"$root/etc/systemd/system/story.service" <<'UNIT'
[Service]
Type=oneshot
ExecStart=/bin/sh -c '/bin/bash -ex /outside/story >/outside/told 2>&1; echo $? >/outside/end'
ExecStopPost=systemctl --no-block --force poweroff
UNIT
cat >"$root/etc/systemd/system/story.target" <<'UNIT'
[Unit]
Wants=story.service
UNIT
# Not only another root but another tree of mounts: whoever enters a service's sees nothing of the outer machine.
mkdir "$root/outer"
cd "$root"
pivot_root . outer
umount -l /outer
exec env -i container=other PATH="$PATH" unshare --cgroup \
    /lib/systemd/systemd --system --unit=story.target --log-target=console --log-level=info
