"""Safe keeping against kills and failing disks, at each call that touches the storage."""

import os
import pathlib
import unittest

from harness import SANITIZED, STATUS, main, song
from test_safe_keeping import SafeTest
from car import calls, tagfiles
from car.programs import binary

FAULTS = pathlib.Path(binary("Songlatch")).parent.parent / "lib" / "libdiskfaults.so"
OLD, NEW, PAIR = song(1), song(2), [song(3), song(4)]


@unittest.skipIf(SANITIZED, "a sanitizer wants to be the first library itself")
class StorageTest(SafeTest):
    """A service that is run again and again, each time with a fault at another call."""

    def prepare(self):
        self.car.start_rig()
        self.notes = self.car.root / "notes"

    def reset(self):
        """The folder as every run finds it: one waiting song."""
        for path in self.folder.store.iterdir():
            path.unlink()
        self.fill([OLD])

    def run_story(self, story, at="", fate=""):
        """Starts the service under a fault and tells the story. @return what was answered"""
        self.notes.unlink(missing_ok=True)
        faults = {"LD_PRELOAD": str(FAULTS), "FAULT_FOLDER": f"{self.folder.store}/",
                  "FAULT_NOTES": str(self.notes), "FAULT_AT": str(at), "FAULT_DO": fate}
        os.environ.update(faults)
        try:
            self.car.launch_service()
        finally:
            for name in faults:
                del os.environ[name]
        answers = []
        try:
            story(answers)
        except calls.CallFailed:
            pass  # nobody is there any more
        return answers

    def calls_made(self):
        return len(self.notes.read_text().splitlines())

    def there(self):
        """The songs that wait or were taken, read by another reader."""
        names = set(self.stored() + self.candidates())
        for report in self.car.rig.seen("tags"):
            if report["errno"] == 0:
                tracks = tagfiles.property_list(pathlib.Path(report["file"]))["MarkedTracks"]
                names |= {track["Name"] for track in tracks}
        return names

    def tag(self, *tags):
        return lambda answers: answers.append(self.car.call("tagRequest", {"tags": list(tags)}))


class Kill(StorageTest):
    """Killed before and in the middle of each call, it loses nothing that was answered."""

    def assert_kept(self, answers, new):
        for path in self.folder.store.glob("*.xml"):
            tagfiles.records(path, "any")
        self.car.start_service()
        there = self.there()
        self.assertIn(OLD["Name"], there)
        kept = len({tag["Name"] for tag in new} & there)
        self.assertIn(kept, (len(new),) if answers else (0, len(new)))
        self.car.service.kill()

    def run_everywhere(self, *new):
        story = self.tag(*new)
        self.reset()
        self.assertEqual(self.run_story(story), [STATUS["STORED_LOCAL"]])
        self.car.service.kill()
        total = self.calls_made()
        self.assertGreater(total, 20)
        for at in range(1, total + 1):
            for fate in ("before", "middle"):
                with self.subTest(at=at, fate=fate):
                    self.reset()
                    answers = self.run_story(story, at, fate)
                    self.car.service.kill()
                    self.assert_kept(answers, new)

    def test_a_single_tag(self):
        self.run_everywhere(NEW)

    def test_an_ambiguous_tag(self):
        self.run_everywhere(*PAIR)


class FailingDisk(StorageTest):
    """Whatever call fails, and from whichever on, the client hears the truth, and nothing is lost."""

    def test_a_single_tag(self):
        self.reset()
        self.run_story(self.tag(NEW))
        self.car.service.kill()
        total = self.calls_made()
        for at in range(1, total + 1):
            for fate in ("ENOSPC", "EIO", "EMFILE", "short"):
                with self.subTest(at=at, fate=fate):
                    self.reset()
                    answers = self.run_story(self.tag(NEW), at, fate)
                    self.assertIn(answers, ([STATUS["STORED_LOCAL"]], [STATUS["ERROR"]]))
                    self.assertIn(OLD["Name"], self.stored())
                    if answers == [STATUS["STORED_LOCAL"]]:
                        self.assertIn(NEW["Name"], self.stored())
                    # The disk works again, and so does the service.
                    self.assertEqual(self.car.call("tagRequest", {"tags": [song(9)]}),
                                     STATUS["STORED_LOCAL"])
                    self.assertLessEqual({OLD["Name"], "Song 9"}, set(self.stored()))
                    self.car.service.kill()


if __name__ == "__main__":
    main()
