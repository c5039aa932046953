#!/usr/bin/env bash
# make_tree.sh FOLDER: the bare tree that boxes stand on, made once: this machine's own suite of Debian,
# as the programs are built here, with what the packages depend on.
set -euo pipefail
tree=$1
[ ! -d "$tree" ] || exit 0
if [ "$(id -u)" -ne 0 ]; then
    echo "make_tree.sh: a bare tree needs root; skipped"
    exit 77
fi

suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
mirror=${SONGLATCH_MIRROR:-http://deb.debian.org/debian}
packages=systemd,systemd-sysv,dbus,init-system-helpers,logrotate,libglib2.0-bin
# The libraries under the names that this suite has for them.
for name in libxml2-dev libjsoncpp-dev libpoco-dev; do
    packages=$packages$(dpkg-query -W -f '${Depends}' "$name" | tr ',' '\n' | sed 's/^ *//; s/[ (:].*//' |
        grep -E '^lib(xml2|jsoncpp|pocofoundation)[-0-9a-z]*$' | grep -v -e '-dev' | sed 's/^/,/' | tr -d '\n' || true)
done

rm -rf --one-file-system "$tree.unfinished"
mkdir -p "$(dirname "$tree")"
echo "Making a bare $suite at $tree"
debootstrap --variant=minbase --include="$packages" "$suite" "$tree.unfinished" "$mirror" \
    >"$tree.log" 2>&1 || {
    tail -5 "$tree.log" >&2
    exit 1
}
mv "$tree.unfinished" "$tree"
