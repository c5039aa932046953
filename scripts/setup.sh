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

ensure_packages() {
    local group package missing=()
    for group in "$@"; do
        while read -r package; do
            installed "$package" || missing+=("$package")
        done < <(awk -v group="$group" '$1 == group { print $2 }' "$repository/scripts/packages.txt")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing: ${missing[*]}"
    as_root apt-get update -qq
    as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

build_preset() {
    local preset=$1
    shift
    if [ ! -f "$repository/build/$preset/build.ninja" ]; then
        (cd "$repository" && cmake --preset "$preset" --log-level=NOTICE)
    fi
    cmake --build "$repository/build/$preset" ${1:+--target "$@"}
}
