# Sourced by the other scripts: what a machine needs, and how a preset is built.
#
#   ensure_packages GROUP...        installs what scripts/packages.txt lists and the machine lacks
#   build_preset PRESET [TARGET...] configures if need be, and builds

repository=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        echo "scripts/setup.sh: '$*' needs root: run this script as root or install sudo" >&2
        return 1
    fi
}

installed() {
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# Waits, with a line that says so, until no other package manager holds one of its locks. Asks the
# locks themselves by way of perl, which every Debian system has: a zeroed struct flock of the type
# F_WRLCK stands for the whole file on every architecture.
wait_for_package_manager() {
    local minutes=15
    as_root timeout "${minutes}m" perl -MFcntl -e '
        my $whole = pack("s x62", F_WRLCK);
        for my $path (@ARGV) {
            open(my $file, "+<", $path) or next;
            next if fcntl($file, F_SETLK, $whole);
            print STDERR "Waiting until another package manager is done (lock $path)\n";
            fcntl($file, F_SETLKW, $whole) or die "$path: $!\n";
        }' /var/lib/dpkg/lock-frontend /var/lib/dpkg/lock /var/lib/apt/lists/lock \
        /var/cache/apt/archives/lock || {
        echo "scripts/setup.sh: another package manager is still at work after $minutes minutes" >&2
        return 1
    }
}

# apt-get once nobody else is at it; once more if somebody came in between.
apt_get() {
    local attempt
    for attempt in first last; do
        wait_for_package_manager
        as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq "$@" && return 0
        [ "$attempt" = last ] || echo "apt-get $1 failed, trying once more" >&2
    done
    return 1
}

ensure_packages() {
    local group package missing=()
    for group in "$@"; do
        while read -r package; do
            installed "$package" || missing+=("$package")
        done < <(awk -v group="$group" '$1 == group { print $2 }' "$repository/scripts/packages.txt")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing: ${missing[*]}"
    apt_get update
    apt_get install -y --no-install-recommends "${missing[@]}" >/dev/null
}

build_preset() {
    local preset=$1
    shift
    [ "${CMAKE_CXX_COMPILER_LAUNCHER:-}" != ccache ] || ensure_packages ccache
    if [ ! -f "$repository/build/$preset/build.ninja" ]; then
        (cd "$repository" && cmake --preset "$preset" --log-level=NOTICE)
    fi
    cmake --build "$repository/build/$preset" ${1:+--target "$@"}
}
