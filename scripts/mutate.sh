#!/usr/bin/env bash
# Takes single behaviours out of one folder and tells which of them no test misses. See --help.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

case " $* " in
*" --help "*) ;;
*) ensure_packages build run test ;;
esac
export PYTHONDONTWRITEBYTECODE=1
exec /usr/bin/python3 "$repository/scripts/mutation/mutate.py" "$@"
