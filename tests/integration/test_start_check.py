"""What the unit asks before each start, and what it says to the one who has to mend."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from harness import main
from car import tagfiles
from car.car import Folder
from car.programs import DEADLINE, binary


class StartCheck(unittest.TestCase):
    """The check on a folder of its own."""

    def setUp(self):
        root = pathlib.Path(tempfile.mkdtemp(prefix="songlatch-check-"))
        self.addCleanup(shutil.rmtree, root)
        self.folder = Folder(root)
        self.folder.configure()

    def check(self, *arguments):
        """Exit status and words."""
        done = subprocess.run(
            [binary("songlatch-start-check"),
             *(arguments or [f"-config={self.folder.configuration}"])],
            capture_output=True, text=True, timeout=DEADLINE, check=False)
        return done.returncode, done.stderr

    def aside(self):
        return sorted(path for path in self.folder.store.iterdir() if ".damaged-" in path.name)

    def assert_fails_with(self, *words):
        status, said = self.check()
        self.assertEqual(status, 1, said)
        self.assertTrue(said.startswith("<3>songlatch-start-check: "), said)
        self.assertEqual(said.count("\n"), 1, said)
        for word in words:
            self.assertIn(str(word), said)

    def test_a_first_start_gets_its_three_empty_files(self):
        self.assertEqual(self.check(), (0, ""))
        self.assertEqual({path.name: path.read_bytes() for path in self.folder.store.iterdir()},
                         {name: tagfiles.EMPTY for name in
                          ("Tags.xml", "AmbigTag.xml", "TaggedInfo.xml")})

    def test_a_whole_file_stays_as_it_is(self):
        self.check()
        text = tagfiles.EMPTY.replace(b"<MarkedTracks>", b"<MarkedTracks><!-- mine -->")
        self.folder.candidates.write_bytes(text)
        self.assertEqual(self.check(), (0, ""))
        self.assertEqual(self.folder.candidates.read_bytes(), text)

    def test_a_cut_file_is_set_aside_and_the_start_goes_on(self):
        self.folder.candidates.write_bytes(b"<MarkedTracks><AmbigTag Na")
        status, said = self.check()
        self.assertEqual(status, 0, said)
        aside, = self.aside()
        self.assertIn(str(aside), said)
        self.assertEqual(aside.read_bytes(), b"<MarkedTracks><AmbigTag Na")
        self.assertEqual(self.folder.candidates.read_bytes(), tagfiles.EMPTY)

    def test_a_second_cut_file_does_not_replace_the_first(self):
        for _ in range(2):
            self.folder.candidates.write_bytes(b"<MarkedTracks>")
            self.assertEqual(self.check()[0], 0)
        self.assertEqual(len(self.aside()), 2)

    def test_what_keeps_safely_mends_its_files_itself(self):
        text = self.folder.configuration.read_text()
        self.folder.configuration.write_text(
            text.replace("</configuration>", '<safeKeeping enabled="true"/></configuration>'))
        self.folder.candidates.write_bytes(b"<MarkedTracks>")
        self.assertEqual(self.check()[0], 0)
        self.assertEqual(self.folder.candidates.read_bytes(), b"<MarkedTracks>")

    def test_a_missing_configuration_is_named(self):
        self.folder.configuration.unlink()
        self.assert_fails_with(self.folder.configuration, "No such file",
                               "/usr/share/songlatch/Songlatch.conf")

    def test_a_damaged_configuration_is_named_with_its_line(self):
        self.folder.configuration.write_text("<a>\n<b>\n</a>\n")
        self.assert_fails_with(f"{self.folder.configuration}:3: ")

    def test_a_limit_that_is_no_number_is_named(self):
        self.folder.configure(limit="many")
        self.assert_fails_with(self.folder.configuration, "maxTagCount")

    def test_a_missing_folder_is_named(self):
        self.folder.store.rmdir()
        self.assert_fails_with(self.folder.store, "No such file", "localStorage")

    @unittest.skipIf(os.geteuid() == 0, "root may write everywhere")
    def test_a_folder_that_cannot_be_written_is_named(self):
        self.folder.store.chmod(0o500)
        self.assert_fails_with(self.folder.store, "Permission denied", "writable")

    def test_another_argument_is_wrong_usage(self):
        self.assertEqual(self.check("--what")[0], 2)


if __name__ == "__main__":
    main()
