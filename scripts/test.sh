#!/usr/bin/env bash
# Installs what is missing, builds and runs the tests. See --help.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

usage() {
    cat <<'END'
Usage: scripts/test.sh [--on SUITE[/ARCH]] [--preset NAME] [--build-only]
                       [--long | --page | --box | --counted | --all] [--] [ctest options]
       scripts/test.sh --counted --record

  --on SUITE     in a bare Debian bookworm, trixie or sid that is kept in build/on/, also of another
                 architecture as in bookworm/i386; see scripts/bare_tree.sh --help
  --preset NAME  release (the default), debug, ndebug, clang, asan, tsan, coverage or fuzz
  --build-only   builds everything that the preset has, and runs nothing
  --page         only the tests of the rig's page, in a browser that this installs
  --long         only the tests that take longer than a few seconds
  --box          only those that make the packages and boot a box with them, as root
  --all          those and all others
  --counted      only those that count what a request takes, with valgrind, where the compiler and the
                 libraries are those of the record; with --record the counts become the record
  --help         this text

The preset fuzz builds and runs the fuzz targets alone, for a bounded time.
Without --long, --page, --box, --counted and --all the tests labelled "long", "page", "box" and "counted"
are left out. What follows is handed to ctest, as in: scripts/test.sh --preset asan -R CTag
END
}

if [ "${1:-}" = --on ]; then
    if [ $# -lt 2 ]; then
        echo "scripts/test.sh: --on needs the name of a suite; see --help" >&2
        exit 2
    fi
    exec "$repository/scripts/bare_tree.sh" "$2" scripts/test.sh "${@:3}"
fi

preset=release
groups=(build run test)
selection=(-LE 'long|page|box|counted')
record=
browser=
build_only=
while [ $# -gt 0 ]; do
    case $1 in
    --preset)
        if [ $# -lt 2 ]; then
            echo "scripts/test.sh: --preset needs the name of a preset; see --help" >&2
            exit 2
        fi
        preset=$2
        shift
        ;;
    --build-only) build_only=yes ;;
    --long) selection=(-L long) ;;
    --page)
        selection=(-L page)
        browser=yes
        ;;
    --box)
        selection=(-L box)
        groups+=(box tree)
        ;;
    --counted)
        selection=(-L counted)
        groups+=(counted)
        ;;
    --record) record=yes ;;
    --all)
        selection=(-LE counted)
        browser=yes
        groups+=(box tree)
        ;;
    --help)
        usage
        exit 0
        ;;
    --)
        shift
        break
        ;;
    *) break ;;
    esac
    shift
done

targets=()
if [ "$preset" = clang ]; then
    groups+=(clang)
elif [ "$preset" = fuzz ]; then
    groups+=(clang fuzz)
    targets=(fuzz_targets)
    selection=(-L fuzz)
fi
[ -z "$browser" ] || groups+=(page)
ensure_packages "${groups[@]}"
[ -z "$browser" ] || "$repository/scripts/axe.sh" "$repository/build/page"
build_preset "$preset" "${targets[@]}"
[ -z "$build_only" ] || exit 0
[ -z "$record" ] || exec env SONGLATCH_BIN="$repository/build/$preset/bin" SONGLATCH_START_DEADLINE=60 \
    SONGLATCH_DEADLINE=600 python3 -B "$repository/tests/counted/test_counts.py" --record

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}
export TSAN_OPTIONS=${TSAN_OPTIONS:-second_deadlock_stack=1}
exec ctest --test-dir "$repository/build/$preset" --output-on-failure --no-tests=error \
    -j "$(nproc)" "${selection[@]}" "$@"
