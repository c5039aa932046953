#!/usr/bin/env bash
# Builds and installs the service below /usr, and lays down what a first start needs: the sample
# configuration and the three empty files, each only where nothing is there yet.
#
# DESTDIR is honoured: the files are then the caller's, and nothing asks for root but a package that
# the build lacks. --uninstall takes away what was installed; configuration and tags stay.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

tree=$repository/build/install
destination=${DESTDIR:-}

# What goes into the system itself is root's; what goes elsewhere is whoever's that place is.
placing() {
    if [ -n "$destination" ]; then
        "$@"
    else
        as_root "$@"
    fi
}

lay_down() {
    local to=$destination/var/lib/songlatch/$1
    [ -e "$to" ] || placing install -D -m 0644 "$destination/usr/share/songlatch/$1" "$to"
}

uninstall() {
    if [ ! -f "$tree/install_manifest.txt" ]; then
        echo "scripts/install.sh: nothing was installed from $tree" >&2
        exit 1
    fi
    local file
    while read -r file; do
        [ "$file" = /etc/Songlatch.conf ] || placing rm -f "$destination$file"
    done <"$tree/install_manifest.txt"
    for folder in share/songlatch libexec/songlatch include/tellbus; do
        placing rmdir --ignore-fail-on-non-empty "$destination/usr/$folder" 2>/dev/null || true
    done
    echo "Uninstalled. /etc/Songlatch.conf, /var/lib/songlatch and /var/log/songlatch are yours."
}

case ${1:-} in
"") ;;
--uninstall)
    uninstall
    exit 0
    ;;
*)
    echo "Usage: [DESTDIR=FOLDER] scripts/install.sh [--uninstall]" >&2
    exit 2
    ;;
esac

ensure_packages build
[ -n "$destination" ] || ensure_packages run
if [ ! -f "$tree/build.ninja" ]; then
    (cd "$repository" && cmake --preset release -B build/install -DBUILD_TESTING=OFF \
        -DSONGLATCH_BENCHMARKS=OFF --log-level=NOTICE)
fi
cmake --build "$tree"
placing env DESTDIR="$destination" cmake --install "$tree"
for name in Tags.xml AmbigTag.xml TaggedInfo.xml; do
    lay_down "$name"
done
if [ -n "$destination" ]; then
    exit 0
fi

as_root ldconfig
as_root systemd-sysusers songlatch.conf
as_root chown -R songlatch:songlatch /var/lib/songlatch
if [ -d /run/systemd/system ]; then
    as_root systemctl daemon-reload
    as_root systemctl reload dbus.service
fi
echo "Installed. Start it with: systemctl enable --now songlatch"
