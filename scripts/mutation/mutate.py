"""Takes single behaviours out of one folder, one at a time, and runs the tests on each."""

import argparse
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import time

import sites

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
WORK = ROOT / "build" / "mutation"
SOURCE, TREE = WORK / "source", WORK / "tree"
CHANGES_NOTHING = HERE / "changes-nothing.txt"

# Seconds. A behaviour whose absence hangs a test is noticed.
UNIT_DEADLINE = 120
ALL_DEADLINE = 900


def arguments():
    parser = argparse.ArgumentParser(
        prog="scripts/mutate.sh",
        description="Takes single behaviours (a statement, or what stands under an if) out of one folder, one at a "
                    "time, runs the short tests on each and prints those that no test misses, as diff lines. "
                    "Works on a copy under build/mutation.")
    parser.add_argument("folder", help="such as tagdata or platform")
    parser.add_argument("--sample", type=int, default=100, help="how many are drawn (100)")
    parser.add_argument("--seed", type=int, default=1, help="which ones are drawn (1)")
    parser.add_argument("--minutes", type=float, default=30, help="no further one is begun after that (30)")
    parser.add_argument("--list", action="store_true", help="only say which would be drawn")
    given = parser.parse_args()
    if not (ROOT / given.folder).is_dir():
        parser.error(f"there is no folder {given.folder} in {ROOT}")
    return given


def run(command, **options):
    return subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, errors="replace", check=False, **options)


def tracked():
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, capture_output=True, check=True).stdout
    return [pathlib.Path(os.fsdecode(name)) for name in listed.split(b"\0") if name]


def write_if_changed(path, data):
    """A file that stays the same keeps its time, so that it is not compiled again."""
    path.parent.mkdir(parents=True, exist_ok=True)
    if not path.exists() or path.read_bytes() != data:
        path.write_bytes(data)


def copy_tree():
    paths = [path for path in tracked() if (ROOT / path).is_file()]
    for path in paths:
        write_if_changed(SOURCE / path, (ROOT / path).read_bytes())
        shutil.copymode(ROOT / path, SOURCE / path)


def excused():
    """Behaviours that change nothing: a line each, its key, then lines that say why, indented."""
    if not CHANGES_NOTHING.exists():
        return set()
    lines = CHANGES_NOTHING.read_text(encoding="utf-8").splitlines()
    return {line for line in lines if line and not line.startswith((" ", "#"))}


def draw(folder, count, seed):
    found = []
    for path in sorted(tracked()):
        if path.parts[0] == folder and path.suffix in (".cpp", ".h"):
            found += sites.sites_of(path.as_posix(), (ROOT / path).read_text(encoding="utf-8"))
    names = excused()
    found = [site for site in found if site.key() not in names]
    drawn = random.Random(seed).sample(found, min(count, len(found)))
    print(f"{folder}: {len(drawn)} of {len(found)} behaviours drawn with seed {seed}")
    return dict(enumerate(sorted(drawn, key=lambda site: (site.path, site.first)), 1))


def build_in(drawn):
    for path in {site.path for site in drawn.values()}:
        numbered = [(number, site) for number, site in drawn.items() if site.path == path]
        text = sites.with_switches((ROOT / path).read_text(encoding="utf-8"), numbered)
        write_if_changed(SOURCE / path, text.encode())


def configure():
    done = run(["cmake", "-S", SOURCE, "-B", TREE, "-G", "Ninja", "--log-level=NOTICE", "-DCMAKE_BUILD_TYPE=None",
                f"-DCMAKE_CXX_FLAGS=-O1 -include {HERE / 'Switch.h'}"])
    if done.returncode != 0:
        sys.exit(f"scripts/mutate.sh: {TREE} could not be configured:\n{done.stdout[-3000:]}")


def without_what_does_not_compile(drawn):
    """Builds; a switch at a line that the compiler refuses is left out, until all others are built."""
    while True:
        build_in(drawn)
        done = run(["cmake", "--build", TREE, "--", "-k", "0"])
        if done.returncode == 0:
            return drawn
        refused = {(path, int(line)) for path, line in re.findall(r"^(\S+?):(\d+):\d+: error:", done.stdout, re.M)}
        kept = {number: site for number, site in drawn.items()
                if not any(path.endswith("/" + site.path) and site.first <= line <= site.last
                           for path, line in refused)}
        if len(kept) == len(drawn):
            sys.exit(f"scripts/mutate.sh: the copy does not build:\n{done.stdout[-3000:]}")
        for path in {site.path for site in drawn.values()} - {site.path for site in kept.values()}:
            write_if_changed(SOURCE / path, (ROOT / path).read_bytes())
        drawn = kept


def unit_programs(folder):
    """The short test programs that the folder's tests are built into."""
    text = (ROOT / "tests" / "unit" / folder / "CMakeLists.txt")
    calls = re.findall(r"songlatch_unit_tests\((\w+)(.*?)\)", text.read_text(encoding="utf-8"), re.S) \
        if text.exists() else []
    names = [name for name, rest in calls if not re.search(r"LABELS\s+[^)]*long", rest)]
    return [path for name in names for path in TREE.rglob(name) if path.is_file() and os.access(path, os.X_OK)]


def fails(command, number, seconds):
    environment = {**os.environ, "SONGLATCH_TAKEN_OUT": str(number)}
    process = subprocess.Popen([str(word) for word in command], cwd=TREE, env=environment, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
    try:
        return process.wait(timeout=seconds) != 0
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, 9)
        process.wait()
        return True


def noticed(number, programs):
    if any(fails([program, "--gtest_brief=1", "--gtest_fail_fast"], number, UNIT_DEADLINE) for program in programs):
        return True
    return fails(["ctest", "--test-dir", TREE, "-LE", "long|page|box|on-suite|mutation", "--stop-on-failure",
                  "-j", os.cpu_count()], number, ALL_DEADLINE)


def main():
    given = arguments()
    drawn = draw(given.folder, given.sample, given.seed)
    if given.list:
        print(*(f"{site.key()}" for site in drawn.values()), sep="\n")
        return 0
    copy_tree()
    configure()
    drawn = without_what_does_not_compile(drawn)
    programs = unit_programs(given.folder)
    if noticed(0, programs):
        sys.exit("scripts/mutate.sh: the tests fail with nothing taken out; run scripts/test.sh first")

    end, tried, survivors = time.monotonic() + given.minutes * 60, 0, []
    order = list(drawn)
    random.Random(given.seed).shuffle(order)
    for number in order:
        if time.monotonic() > end:
            print(f"{given.minutes:g} minutes are over")
            break
        tried += 1
        if not noticed(number, programs):
            survivors.append(drawn[number])
            print(drawn[number].shown(), flush=True)
    print(f"{given.folder}: {tried - len(survivors)} of {tried} noticed, {len(survivors)} not")
    return 1 if survivors else 0


if __name__ == "__main__":
    sys.exit(main())
