#!/usr/bin/env bash
# Runs a command in a bare Debian of a given suite. See --help.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

usage() {
    cat <<'END'
Usage: scripts/bare_tree.sh [--fresh] SUITE[/ARCH] COMMAND [ARGUMENT...]

Runs the command in a bare Debian of that suite (bookworm, trixie, sid) and of this machine's
architecture or the one given, as in: scripts/bare_tree.sh trixie/i386 scripts/demo.sh
The repository is the current folder there. Only its build/ can be written to, and is the tree's own.

The tree stays in build/on/ or the folder that SONGLATCH_TREES names, which clones may share one after the
other, so that a second run installs and rebuilds nothing. Where the build goes by way of ccache here
(CMAKE_CXX_COMPILER_LAUNCHER), so it does there, with a cache of the tree's own. All mounts and
processes live in namespaces of their own and are gone when the command has ended, however it did.
Needs root or sudo; debootstrap is installed where it is missing.

  --fresh   makes the tree anew, and with it everything built in it
  --help    this text

SONGLATCH_MIRROR names another mirror than http://deb.debian.org/debian.
END
}

fail() {
    echo "scripts/bare_tree.sh: $*" >&2
    exit 2
}

# What uname calls the machine of one of Debian's architectures.
machine_of() {
    case $1 in
    amd64) echo x86_64 ;;
    i386) echo i686 ;;
    *) uname -m ;;
    esac
}

# As root: lays the bare tree down, whole or not at all.
make_tree() {
    local home=$1 suite=$2 architecture=$3
    echo "Making a bare $suite/$architecture"
    umask 022
    rm -rf --one-file-system "$home"
    mkdir -p "$home/build"
    debootstrap --variant=minbase --arch="$architecture" "$suite" "$home/unfinished" \
        "${SONGLATCH_MIRROR:-http://deb.debian.org/debian}" >"$home/debootstrap.log" 2>&1 || {
        tail -5 "$home/debootstrap.log" >&2
        fail "no bare $suite/$architecture; $home/debootstrap.log has all of what debootstrap said"
    }
    mkdir "$home/unfinished/songlatch"
    mv "$home/unfinished" "$home/root"
}

# As root and the first process of the namespaces: mounts what programs expect, runs the command.
enter_tree() {
    # Anywhere else these mounts would stay, and whoever deletes the tree would empty this machine's /dev.
    [ $$ -eq 1 ] || fail "--enter is the script's own, for the first process of a namespace; see --help"
    local home=$1 architecture=$2 root=$1/root
    shift 2
    mount --bind "$repository" "$root/songlatch"
    mount -o remount,bind,ro "$root/songlatch"
    mount --bind "$home/build" "$root/songlatch/build"
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    mount -t tmpfs tmpfs "$root/dev/shm"
    mount -t tmpfs tmpfs "$root/tmp"
    cp -L /etc/resolv.conf "$root/etc/resolv.conf"
    local launcher=()
    if [ "${CMAKE_CXX_COMPILER_LAUNCHER:-}" = ccache ]; then
        mkdir -p "$home/ccache" "$root/ccache"
        mount --bind "$home/ccache" "$root/ccache"
        launcher=(CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_DIR=/ccache
            CCACHE_MAXSIZE=2G)
    fi
    # The shell stays, as the first process has to reap the orphans.
    local status=0
    setarch "$(machine_of "$architecture")" env -i HOME=/root TERM="${TERM:-dumb}" \
        PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        ${http_proxy:+http_proxy="$http_proxy"} "${launcher[@]}" \
        chroot "$root" sh -c 'cd /songlatch && exec "$@"' sh "$@" || status=$?
    return "$status"
}

# unshare itself takes no signal but KILL: it gets that when the script that waits for it has ended,
# and passes it on to the first process, with which all others end.
namespaces=(setpriv --pdeathsig KILL unshare --mount --pid --fork --kill-child)

run_in_tree() {
    local suite=${1%%/*} architecture fresh=$2
    architecture=$(dpkg --print-architecture)
    [[ $1 != */* ]] || architecture=${1#*/}
    shift 2
    local trees=${SONGLATCH_TREES:-$repository/build/on} home
    ensure_packages tree
    as_root "${namespaces[@]}" true || fail "needs a machine on which root may make namespaces"
    mkdir -p "$trees" "$repository/build"
    trees=$(cd "$trees" && pwd)
    home=$trees/$suite-$architecture
    exec 9>"$home.lock"
    flock -n 9 || {
        echo "Waiting for another run on $suite/$architecture"
        flock -w 3600 9 || fail "another run on $suite/$architecture has not ended within an hour"
    }
    if [ -n "$fresh" ] || [ ! -d "$home/root" ]; then
        as_root "$repository/scripts/bare_tree.sh" --make "$home" "$suite" "$architecture"
    fi
    as_root env ${CMAKE_CXX_COMPILER_LAUNCHER:+CMAKE_CXX_COMPILER_LAUNCHER="$CMAKE_CXX_COMPILER_LAUNCHER"} \
        "${namespaces[@]}" "$repository/scripts/bare_tree.sh" --enter "$home" "$architecture" "$@"
}

fresh=
[ "${1:-}" != --fresh ] || {
    fresh=yes
    shift
}
case ${1:-}:$# in
--help:* | -h:*) usage ;;
--make:4) make_tree "${@:2}" ;;
--enter:*) enter_tree "${@:2}" ;;
-*: | :* | *:1)
    usage >&2
    exit 2
    ;;
*) run_in_tree "$1" "$fresh" "${@:2}" ;;
esac
