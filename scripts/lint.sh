#!/usr/bin/env bash
# Checks formatting (.clang-format) and lint (.clang-tidy) of every source file git knows.
# --fix formats in place; --format-only leaves clang-tidy out.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"
cd "$repository"

ensure_packages build test lint
known=$(git ls-files '*.c' '*.cpp' '*.h') || known=
if [ -z "$known" ]; then
    echo "scripts/lint.sh: git knows no source file in $repository: check out the repository with git" >&2
    exit 1
fi
mapfile -t sources <<<"$known"
if [ "${1:-}" = --fix ]; then
    clang-format -i "${sources[@]}"
    exit 0
fi
clang-format --dry-run --Werror "${sources[@]}"
[ "${1:-}" = --format-only ] && exit 0

cmake --preset debug --log-level=NOTICE
# Each source once: the bus library's are compiled a second time, with a hook for tests.
mkdir -p build/lint
python3 - build/debug/compile_commands.json build/lint/compile_commands.json <<'END'
import json
import sys

with open(sys.argv[1], encoding="utf-8") as every, open(sys.argv[2], "w", encoding="utf-8") as one:
    json.dump(list({entry["file"]: entry for entry in reversed(json.load(every))}.values()), one)
END
# Tests are left to the compiler's warnings: the macros of the test framework are not ours to mend.
run-clang-tidy -quiet -p build/lint "^$repository/(service|tagdata|files|bus|ipod|platform|tellbus|rig|radio|tools)/"
