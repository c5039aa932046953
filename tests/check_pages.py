"""Reads every manual page with the two readers that people have, and fails on what they complain of."""

import os
import pathlib
import subprocess
import sys

PAGES = pathlib.Path(sys.argv[1])
READERS = (["man", "--warnings", "--encoding=UTF-8", "--troff-device=utf8", "--ditroff",
            "--local-file"],
           ["mandoc", "-T", "lint", "-W", "warning"])


def complaints(page):
    """What the readers say of a page, besides its text."""
    for reader in READERS:
        done = subprocess.run([*reader, page], capture_output=True, text=True, check=False,
                              env={**os.environ, "LC_ALL": "C.UTF-8", "MANROFFSEQ": ""})
        # mandoc tells what it finds on standard output, man has the page there.
        words = done.stdout if reader[0] == "mandoc" else done.stderr
        if done.returncode != 0 or words:
            yield f"{reader[0]}: {words.strip() or done.stderr}"


def main():
    pages = sorted(PAGES.iterdir())
    if not pages:
        sys.exit(f"no page in {PAGES}")
    found = [f"{page.name}: {words}" for page in pages for words in complaints(page)]
    print("\n".join(found) or f"{len(pages)} pages read")
    sys.exit(bool(found))


main()
