#!/usr/bin/env python3
"""
scripts/sizes.py ARCH=BUILD...: what the programs of these builds take, as tables, as in
scripts/sizes.py amd64=build/release

On disk a program counts stripped, as it is installed. In memory it counts with its text, its data and
what it has the system clear, all of which the system may load; the heap comes on top.
"""

import pathlib
import re
import subprocess
import sys
import tempfile

PROGRAMS = ("bin/Songlatch", "lib/libtellbus.so.1.0.0", "bin/songlatch-start-check", "bin/songlatchctl",
            "bin/songlatch-radio", "bin/songlatch-rig")
DEPENDENCIES = ("libxml2", "libjsoncpp", "libPocoFoundation", "libPocoNet", "libdbus-1", "libstdc++")
BASE = re.compile(r"ld-linux.*|lib(c|m|gcc_s|stdc\+\+|pthread|dl|rt)\.so.*")
"""Every C++ program has them: what else needs them does not add them."""


def said(*command):
    return subprocess.run(list(map(str, command)), check=True, capture_output=True, text=True).stdout


class Build:
    """One build for this machine, whose libraries are the system's."""

    def __init__(self, architecture, folder):
        self.architecture = architecture
        self.folder = pathlib.Path(folder)
        cache = (self.folder / "CMakeCache.txt").read_text()
        self._strip = re.search(r"^CMAKE_STRIP:\w+=(.*)$", cache, re.M)[1]
        self._places = list(pathlib.Path("/usr/lib").glob("*-linux-gnu*"))

    def on_disk(self, path):
        with tempfile.NamedTemporaryFile() as file:
            said(self._strip, "-o", file.name, self.folder / path)
            return pathlib.Path(file.name).stat().st_size

    def in_memory(self, path):
        """The sum of what its segments to load take, to the end of what is cleared."""
        return sum(int(segment[1], 16) for segment in re.finditer(
            r"^  LOAD +\S+ \S+ \S+ \S+ (0x[0-9a-f]+)", said("readelf", "-lW", self.folder / path), re.M))

    def find(self, name):
        for place in self._places:
            if (place / name).exists():
                return place / name
        raise FileNotFoundError(f"{name} for {self.architecture}")

    @staticmethod
    def needed(path):
        return re.findall(r"\(NEEDED\).*\[(.*)\]", said("readelf", "-dW", path))

    def along(self, path, found=None):
        """All shared objects that a file needs, directly or not, by their names."""
        found = {} if found is None else found
        for name in self.needed(path):
            if name not in found and not name.startswith("libtellbus"):
                found[name] = self.find(name)
                self.along(found[name], found)
        return found

    def objects(self):
        """What the programs need, of all systems' libraries."""
        found = {}
        for path in PROGRAMS:
            self.along(self.folder / path, found)
        return found


def kibibytes(size):
    return f"{size / 1024:,.0f}"


def table(head, rows):
    print("| " + " | ".join(head) + " |")
    print("|---" + "|---:" * (len(head) - 1) + "|")
    for row in rows:
        print("| " + " | ".join(row) + " |")
    print()


def programs(builds):
    head = ["KiB"] + [f"{build.architecture} {what}" for build in builds for what in ("disk", "memory")]
    table(head, ([f"`{pathlib.Path(path).name}`"] + [
        kibibytes(size) for build in builds for size in (build.on_disk(path), build.in_memory(path))]
        for path in PROGRAMS))


def share(objects, name, build):
    """What one dependency adds: itself, and what it needs beyond the base."""
    found = [soname for soname in objects if soname.startswith(name)]
    if not found:
        return "none"
    files = {soname: objects[soname] for soname in found}
    for soname in found:
        files.update({other: path for other, path in build.along(objects[soname]).items()
                      if not BASE.fullmatch(other)})
    own = sum(objects[soname].stat().st_size for soname in found)
    all_ = sum(path.stat().st_size for path in files.values())
    others = len(files) - len(found)
    return f"{kibibytes(own)}, with {others} others {kibibytes(all_)}" if others else kibibytes(own)


def dependencies(builds):
    objects = {build: build.objects() for build in builds}
    rows = [[f"`{name}`"] + [share(objects[build], name, build) for build in builds]
            for name in DEPENDENCIES]
    rows.append(["all of them and the C library, each once"] + [
        kibibytes(sum(path.stat().st_size for path in objects[build].values())) for build in builds])
    table(["KiB"] + [build.architecture for build in builds], rows)


def main():
    if len(sys.argv) < 2 or not all("=" in argument for argument in sys.argv[1:]):
        sys.exit(__doc__.strip())
    builds = [Build(*argument.split("=", 1)) for argument in sys.argv[1:]]
    programs(builds)
    dependencies(builds)


if __name__ == "__main__":
    main()
