#!/usr/bin/env bash
# Installs what is missing, builds, and plays the road of a tag. See --help.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

usage() {
    cat <<'END'
Usage: scripts/demo.sh [--keep]
       scripts/demo.sh --page [[ADDRESS:]PORT] [--speed TIMES]

Plays the road of a tag from the radio to an iPod: a private bus, the rig in place of the car, and
the service, with calls by gdbus and busctl. Ends with a status other than 0 as soon as something
is not as expected.

  --keep   leaves everything running and says how to talk to it
  --page   starts the unit with a page in the browser instead and prints its address; a radio on
           a captured programme plays along, at 20 times its speed unless TIMES says otherwise,
           up to 60
  --help   this text
END
}

story=story.py
case $#:${1:-} in
0: | 1:--keep) ;;
[1-4]:--page)
    story=page.py
    shift
    ;;
1:--help | 1:-h)
    usage
    exit 0
    ;;
*)
    usage >&2
    exit 2
    ;;
esac

ensure_packages build run test
programs=(Songlatch songlatch-rig songlatchctl)
[ -d "$repository/radio" ] && programs+=(songlatch-radio)
build_preset release "${programs[@]}"

export SONGLATCH_BIN=$repository/build/release/bin
# Where the service finds what introspection shows of it.
export XDG_DATA_DIRS=$repository/build/release/share:${XDG_DATA_DIRS:-/usr/local/share:/usr/share}
export PYTHONDONTWRITEBYTECODE=1
exec /usr/bin/python3 "$repository/scripts/demo/$story" "$@"
