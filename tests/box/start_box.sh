#!/bin/sh
# start_box.sh TREE FOLDER: the first process of the namespaces of a box becomes its systemd. The tree
# stays as it is; what the box writes goes to FOLDER/upper.
set -e
tree=$1 folder=$2 root=$2/root

mount --make-rprivate /
mount -t overlay overlay -o "lowerdir=$tree,upperdir=$folder/upper,workdir=$folder/work" "$root"
mount -t proc proc "$root/proc"
mount -t sysfs -o ro sysfs "$root/sys"
mount -t cgroup2 cgroup2 "$root/sys/fs/cgroup"
mount -t tmpfs -o mode=755 tmpfs "$root/run"
mount -t tmpfs -o mode=1777 tmpfs "$root/tmp"
mkdir "$root/run/outside"
mount --bind "$folder/run" "$root/run/outside"

mount -t tmpfs -o mode=755 tmpfs "$root/dev"
mkdir "$root/dev/pts" "$root/dev/shm"
mount -t devpts -o newinstance,ptmxmode=666 devpts "$root/dev/pts"
mount -t tmpfs -o mode=1777 tmpfs "$root/dev/shm"
ln -s pts/ptmx "$root/dev/ptmx"
ln -s /proc/self/fd "$root/dev/fd"
for device in null zero full random urandom tty; do
    touch "$root/dev/$device"
    mount --bind "/dev/$device" "$root/dev/$device"
done

# The kernel is the host's: its settings, modules and devices are not the box's to touch.
mount --bind "$root/proc/sys" "$root/proc/sys"
mount -o remount,bind,ro "$root/proc/sys"

hostname box
mkdir -p "$root/run/old"
cd "$root"
pivot_root . run/old
exec env -i container=songlatch-box NOTIFY_SOCKET=/run/outside/notify PATH=/usr/sbin:/usr/bin:/sbin:/bin \
    sh -c 'umount -l /run/old && rmdir /run/old && exec /lib/systemd/systemd' </dev/null
