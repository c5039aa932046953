"""What every integration test starts from: a car of its own, and the words to speak of it."""

import datetime
import os
import pathlib
import sys
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))

# pylint: disable=wrong-import-position
import expected  # noqa: E402
from car import calls, tagfiles  # noqa: E402
from car.car import Car  # noqa: E402

SANITIZED = bool(os.environ.get("SONGLATCH_SANITIZE"))
"""Whether the programs carry a sanitizer, which makes them slow and large."""

NO_DEVICE = 0xFFFFFFFF
"""The device of a request that names none, as TaggedInfo.xml stores it."""

STATUS = {name: {"Name": name, "Value": value} for value, name in enumerate((
    "OK", "ERROR", "TARGET_FULL", "LOCAL_STORAGE_FULL", "STORED_LOCAL", "STORED_ON_TARGET",
    "TRANSFER_SUCCEEDED", "TRANSFER_FAILED", "STOREDLOCAL_IPOD_INCOMPATIBLE",
    "LOCALFULL_IPOD_INCOMPATIBLE"), start=1)}


def local(current, limit=10):
    """A localStatus signal."""
    return "localStatus", {"Current": current, "Max": limit}


def connected(*devices):
    """A connectionStatus signal."""
    return "connectionStatus", {"Devices": list(devices)}


def transfer(name):
    """A transferStatus signal."""
    return "transferStatus", STATUS[name]


def song(number=1, **fields):
    """A tag as a client sends it."""
    return {"Name": f"Song {number}", "Artist": f"Artist {number}", "iTunesSongID": 1000 + number,
            **fields}


def titles(*numbers):
    return [f"Song {number}" for number in numbers]


class CarTest(unittest.TestCase):
    """A test with a car: bus, rig and service, all private to it."""

    configuration = {}
    """What the configuration says where it differs from a limit of 10 and one iPod a tag."""
    maxDiff = None

    def setUp(self):
        self.began = time.time()
        self.car = Car(**self.configuration)
        self.folder = self.car.folder
        self.addCleanup(self._close)
        self.prepare()

    def prepare(self):
        """Starts everything; a test of the start itself does this by hand."""
        self.car.start_rig()
        self.car.start_service()

    def _close(self):
        self.addCleanup(self.car.remove)
        if SANITIZED:
            self._end_service()
        self.car.stop()
        for name in ("service.err", "rig.err"):
            errors = self.car.root / name
            if errors.exists():
                self.assert_errors(name, errors.read_text(errors="replace"))
        if self.car.rig:
            self.assertEqual(self.car.rig.program.wait(), 0)

    def assert_errors(self, name, text):
        """What a program wrote to standard error: nothing, unless the test expects a complaint."""
        self.assertEqual(text, "", name)

    def _end_service(self):
        """Lets the service end by itself, as a killed one cannot report what it has lost."""
        service = self.car.service
        if not service or not service.program.running:
            return
        try:
            self.car.call("tagRequest", {"tags": [5]})
        except calls.CallFailed as failure:
            if "without replying" in str(failure):
                self.assertEqual(service.program.wait(), 0, "exit status of the service")

    # What lies in the folder

    def stored(self):
        """The names in Tags.xml."""
        return [record["Name"] for record in tagfiles.records(self.folder.tags, "Tag")]

    def candidates(self):
        """The names in AmbigTag.xml."""
        return [record["Name"] for record in tagfiles.records(self.folder.candidates, "AmbigTag")]

    def files(self):
        """The bytes of every file in the folder, none for one that is not there."""
        return {path.name: path.read_bytes() for path in sorted(self.folder.store.iterdir())}

    def fill(self, tags=(), candidates=()):
        """Puts stored tags into the files, as an earlier run would have left them."""
        self.folder.tags.write_bytes(expected.tag_file(tags))
        self.folder.candidates.write_bytes(expected.candidate_file(candidates))

    def assert_stored(self, tags=(), candidates=()):
        """Both tag files hold exactly the bytes for these tags, and expat reads them so."""
        self.assertEqual(self.folder.tags.read_bytes(), expected.tag_file(tags))
        self.assertEqual(self.folder.candidates.read_bytes(), expected.candidate_file(candidates))
        self.assertEqual((self.stored(), self.candidates()), (
            [tag["Name"] for tag in tags], [tag["Name"] for tag in candidates]))

    def assert_tagged(self, *entries):
        """
        TaggedInfo.xml holds exactly these entries: a tag and the devices that have it, or the tag,
        False and the devices where the entry has no time.
        """
        timed = [(tag, "NOW" if timed else "", devices)
                 for tag, timed, devices in (entry if len(entry) == 3 else
                                             (entry[0], True, entry[1]) for entry in entries)]
        text = self.folder.tagged_info.read_bytes()
        for hour in self.hours():
            text = text.replace(hour.encode(), b'Time="NOW"')
        self.assertEqual(text, expected.tagged_file(timed))
        self.assertEqual({tag["Name"]: devices for tag, _, devices in timed}, {
            name: devices for name, _, _, devices in tagfiles.tagged(self.folder.tagged_info)})

    def hours(self):
        """The hours that this test has seen, as TaggedInfo.xml writes them."""
        return [f'Time="{datetime.datetime.fromtimestamp(moment):%Y/%m/%d/%H}"'
                for moment in (self.began, time.time())]

    # What the iPods got

    def driver(self, position=0):
        """Every exchange with a driver, in order: (device, kind, errno)."""
        return [(report["device"], report["event"], report["errno"])
                for report in self.car.rig.seen("capabilities", "tags", position=position)]

    def received(self, position=0):
        """
        The texts that reached drivers, in order: (device, errno, bytes). Each has been read by
        readers of property lists that are not ours.
        """
        texts = []
        for report in self.car.rig.seen("tags", position=position):
            path = pathlib.Path(report["file"])
            tagfiles.property_list(path)
            self.assertTrue(report["wellFormed"], report)
            self.assertEqual(path.stat().st_size, report["bytes"])
            texts.append((report["device"], report["errno"], path.read_bytes()))
        return texts

    # The log

    def mark(self):
        """A place in the log to read on from."""
        return len(self.folder.log())

    def log_of(self, source, position=0):
        """The lines of one source, prefix and source cut off the messages."""
        lines = []
        for line in self.folder.log(position):
            level, _, rest = line.partition(": ")
            speaker, _, message = rest.partition(": ")
            if speaker == source:
                lines.append(message if level == "Message" else f"{level}: {message}")
        return lines


def main():
    unittest.main(verbosity=2)
