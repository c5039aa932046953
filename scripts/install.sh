#!/usr/bin/env bash
# Builds and installs the service, and lays down what a first start needs: the sample configuration and
# the empty AmbigTag.xml, each only where nothing is there yet. DESTDIR is honoured.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

ensure_packages build run
if [ ! -f "$repository/build/install/build.ninja" ]; then
    (cd "$repository" && cmake --preset release -B build/install -DBUILD_TESTING=OFF \
        -DSONGLATCH_BENCHMARKS=OFF --log-level=NOTICE)
fi
cmake --build "$repository/build/install"
as_root env DESTDIR="${DESTDIR:-}" cmake --install "$repository/build/install"
[ -n "${DESTDIR:-}" ] || as_root ldconfig

lay_down() {
    local from="${DESTDIR:-}/usr/share/songlatch/$1" to="${DESTDIR:-}$2"
    [ -e "$to" ] || as_root install -D -m 0644 "$from" "$to"
}
lay_down Songlatch.conf /etc/Songlatch.conf
lay_down AmbigTag.xml /var/lib/songlatch/AmbigTag.xml
echo "Installed. Start it with: systemctl enable --now songlatch"
