"""Checks that the version stands in project() of the root CMakeLists.txt and nowhere else.

    check_version.py ROOT

Debian's changelog needs it in its first line, which is compared. The list of the library's symbols
says since when each has been there, which stays as it is when the version grows.
"""

import pathlib
import re
import sys

OWN = ("CMakeLists.txt", "packaging/debian/changelog", "packaging/debian/libtellbus1/symbols")


def files(root):
    """Every file of the project, without what was built or fetched."""
    for path in sorted(root.iterdir()):
        if path.is_dir() and path.name != "build" and path.name != ".git":
            yield from (file for file in sorted(path.rglob("*")) if file.is_file())
        elif path.is_file():
            yield path


def copies(root, version):
    """The places that hold the version, less those that may."""
    literal = re.compile(rb"(?<![\w.])%s(?![\w.])" % re.escape(version.encode()))
    for path in files(root):
        name = path.relative_to(root).as_posix()
        if name not in OWN:
            for number, line in enumerate(path.read_bytes().splitlines(), 1):
                if literal.search(line):
                    yield f"{name}:{number}: a copy of the version"


def main(root):
    project = (root / "CMakeLists.txt").read_text(encoding="utf-8")
    version = re.search(r"^project\(Songlatch VERSION (\S+)", project, re.MULTILINE).group(1)
    faults = list(copies(root, version))
    changelog = (root / "packaging" / "debian" / "changelog").read_text(encoding="utf-8")
    newest = re.match(r"songlatch \((\S+)-\d+\)", changelog).group(1)
    if newest != version:
        faults.append(f"packaging/debian/changelog begins with {newest}, the version is {version}")
    print(*faults, f"version {version}", sep="\n")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
