"""Checks that every test which a comment of the sources names is there.

    check_named_tests.py ROOT

A comment names tests behind "Test:" or "Tests:", several joined by commas or "and": those of GoogleTest
as Suite.Name, where a * stands for anything, those of Python as test_name, Class.test_name,
test_module.Class.test_name or test_module.
"""

import ast
import fnmatch
import pathlib
import re
import sys

NAME = r"(?:[\w*]+(?:\.[\w*]+)+|test_\w+)"
NAMES = re.compile(rf"\s*({NAME}(?:(?:,| and|, and)\s+{NAME})*)")
SEPARATOR = re.compile(r"(?:,| and|, and)\s+")
ANNOUNCEMENT = re.compile(r"\bTests?:")
GOOGLE_TEST = re.compile(r"\b(?:TYPED_)?TEST(?:_F|_P)?\s*\(\s*(\w+)\s*,\s*(\w+)\s*\)")
COMMENT = re.compile(r"//+<?(.*)|^\s*/?\*+(.*)")


def sources(root):
    for path in sorted(root.rglob("*")):
        if path.suffix in (".h", ".cpp", ".c") and "build" not in path.relative_to(root).parts:
            yield path


def comments(text):
    """The comments of a source, lines that follow one another as one text, with their first line."""
    block, first = [], 0
    for number, line in enumerate(text.splitlines() + [""], 1):
        comment = COMMENT.search(line)
        if block and (comment is None or line[:comment.start()].strip()):
            yield first, " ".join(block)
            block = []
        if comment is not None:
            first = first if block else number
            block.append((comment.group(1) or comment.group(2) or "").strip())


def google_tests(tests):
    for path in tests.rglob("*.cpp"):
        for suite, name in GOOGLE_TEST.findall(path.read_text(encoding="utf-8")):
            yield f"{suite}.{name}"


def python_tests(tests):
    for path in tests.rglob("test_*.py"):
        module = path.stem
        yield module
        for node in ast.parse(path.read_text(encoding="utf-8")).body:
            if isinstance(node, ast.ClassDef):
                for method in node.body:
                    if isinstance(method, ast.FunctionDef) and method.name.startswith("test_"):
                        name = f"{node.name}.{method.name}"
                        yield from (method.name, name, f"{module}.{name}")


def named(comment):
    """The names in a comment; None where an announcement is not followed by one."""
    for announcement in ANNOUNCEMENT.finditer(comment):
        names = NAMES.match(comment, announcement.end())
        yield from SEPARATOR.split(names.group(1)) if names else [None]


def main(root):
    tests = root / "tests"
    present = {*google_tests(tests), *python_tests(tests)}
    count, faults = 0, []
    for path in sources(root):
        for line, comment in comments(path.read_text(encoding="utf-8")):
            for name in named(comment):
                count += 1
                if name is None:
                    faults.append(f"{path.relative_to(root)}:{line}: no test is named")
                elif not fnmatch.filter(present, name):
                    faults.append(f"{path.relative_to(root)}:{line}: there is no test {name}")
    print(*faults, f"{count} tests named in comments, {len(present)} present", sep="\n")
    return 1 if faults or count == 0 else 0


if __name__ == "__main__":
    sys.exit(main(pathlib.Path(sys.argv[1])))
