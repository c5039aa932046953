"""The tutorial of the bus library: its program is built as the page says, and does what it says."""

import os
import pathlib
import re
import shutil
import unittest

from harness import main
from car.programs import run
from test_install import InstallTest

DOCS = pathlib.Path(__file__).parents[2] / "docs"
PAGE = (DOCS / "tutorial.md").read_text()
SOURCE = DOCS / "tutorial" / "counter.c"


def blocks(language):
    """The texts of that language on the page."""
    fenced = re.findall(r"^```(\w*)\n(.*?)^```$", PAGE, re.DOTALL | re.MULTILINE)
    return [text for name, text in fenced if name == language]


class Page(unittest.TestCase):
    """What is shown."""

    def test_what_it_shows_stands_in_the_program(self):
        source = SOURCE.read_text()
        shown = blocks("c")
        self.assertGreater(len(shown), 4)
        for block in shown:
            self.assertIn(block, source)


@unittest.skipIf(os.environ.get("SONGLATCH_SANITIZE"), "a plain program cannot load the library")
class Counter(InstallTest):
    """What is run."""

    def setUp(self):
        super().setUp()
        self.install("--prefix", self.prefix)
        libraries, = {path.parent for path in self.prefix.glob("lib/**/libtellbus.so.1")}
        self.environment = {**os.environ, "LC_ALL": "C.UTF-8",
                            "LD_LIBRARY_PATH": str(libraries),
                            "PKG_CONFIG_PATH": str(libraries / "pkgconfig")}
        shutil.copy(SOURCE, self.folder)

    def shell(self, *words):
        """What a command prints."""
        return run(words, cwd=self.folder, env=self.environment, capture_output=True,
                   text=True).stdout

    def test_it_does_what_the_page_says(self):
        build, session, serve, ask, call = blocks("sh")
        said, = blocks("")
        self.shell("bash", "-ec", build)
        # The same words, but for somebody who reads that it serves.
        heard = serve.replace("serve &", "serve > said &\nread line < said; echo $line")
        printed = self.shell(*session.split(), "-ec",
                             f"mkfifo said\n{heard}{ask}{call}kill $!\nwait")
        self.assertEqual(printed, f'serving\n{said}s "{{\\"count\\":2}}"\n')


if __name__ == "__main__":
    main()
