#!/bin/sh
# Boots a machine of its own around a story: a copy of this system that forgets everything, with an init system as its
# first process, and no network but its own. Runs inside fresh namespaces, as their first process, as root.
#
# usage: machine.sh FOLDER     an empty folder for the copy, which also holds `outside`: it shows up there as /outside,
#                              where `story` is run, and where what it says goes to `told` and its exit status to `end`
set -e
folder=$1
if [ "$2" != inside ]; then
    # What the init system does to control groups, it does below one of its own.
    mount --make-rprivate /
    mkdir "$folder/groups"
    mount -t cgroup2 groups "$folder/groups"
    mkdir -p "$folder/groups/quillory-machine"
    echo 0 >"$folder/groups/quillory-machine/cgroup.procs"
    exec unshare --cgroup "$0" "$folder" inside
fi

mount -t tmpfs machine "$folder/layers"
mkdir "$folder/layers/upper" "$folder/layers/work" "$folder/layers/root"
root=$folder/layers/root
mount -t overlay machine -o "lowerdir=/,upperdir=$folder/layers/upper,workdir=$folder/layers/work" "$root"
mount -t proc proc "$root/proc"
mount --bind -o ro "$root/proc/sys" "$root/proc/sys" # the outer machine's too
mount -t sysfs -o ro sys "$root/sys"
mount -t cgroup2 groups "$root/sys/fs/cgroup"
for each in run tmp dev; do mount -t tmpfs "$each" "$root/$each"; done
mkdir "$root/dev/pts" "$root/dev/shm" "$root/dev/mqueue"
mount -t devpts -o newinstance,ptmxmode=0666 pts "$root/dev/pts"
for each in null zero full random urandom tty; do
    touch "$root/dev/$each"
    mount --bind "/dev/$each" "$root/dev/$each"
done
ln -s pts/ptmx "$root/dev/ptmx"
ln -s /proc/self/fd "$root/dev/fd"
mkdir -p "$root/outside" "$root/outer"
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
cd "$root"
pivot_root . outer
umount -l /outer
exec env -i container=other PATH="$PATH" \
    /lib/systemd/systemd --system --unit=story.target --log-target=console --log-level=info
