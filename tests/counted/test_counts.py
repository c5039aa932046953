"""A request does not do more than it did: instructions, system calls and allocations, counted."""

import datetime
import json
import pathlib
import sys
import unittest

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE.parents[1] / "scripts"), str(HERE.parent / "integration")]

# pylint: disable=wrong-import-position
import expected  # noqa: E402
from car.car import Car  # noqa: E402
from counting import Counter, surroundings  # noqa: E402

RECORD = HERE / "counts.json"
ALLOWED = 0.02
"""How far instructions may be from the record: what a compiler makes of a change elsewhere."""

SIZES = (0, 100, 1000)
NO_DEVICE = 0xFFFFFFFF


def song(number):
    return {"Name": f"Song {number:06}", "Artist": f"The Artists {number:06}",
            "Album": f"An album of the year {number:06}", "iTunesSongID": 1000000 + number,
            "iTunesStorefrontID": 143441, "StationFrequency": "95.5",
            "StationCallLetters": "ABCD-FM", "Genre": "Rock & Roll",
            "TimeStamp": "2010-03-01T17:05:09Z", "ProgramNumber": 1}


class CountingCar(Car):
    """Knows how many requests its service was sent."""

    requests = 0

    def call(self, method, parameters=None):
        self.requests += 1
        return super().call(method, parameters)

    def load_client_call(self, method, text):
        self.requests += 1
        return super().load_client_call(method, text)


class Figures:
    """The fixed script of calls, and what each of them took."""

    def __init__(self, car):
        self._car = car
        self._counter = Counter(car.root)
        self.counts = {}

    def take(self):
        self._car.start_rig()
        self._car.start_service(under=self._counter.command)
        self._take("getProperties", {"props": ["transferStatus", "connectionStatus", "localStatus"]})
        for size in SIZES:
            self._take("checkTag", {"tagInfo": [song(size)], "deviceID": 1}, size, recorded=size)
        for devices in (1000, 10000):
            self._take("checkTag", {"tagInfo": [song(0)], "deviceID": 1}, 0, recorded=1,
                       devices=range(2, devices + 2), name=f"checkTag, a song of {devices} devices")
        for size in SIZES:
            self._take("tagRequest", {"tags": [song(size)]}, size, stored=size, recorded=size)
        self._car.attach(1, caps="8")
        for size in SIZES:
            self._take("tagRequest", {"tags": [song(size)]}, size, stored=size, recorded=size,
                       name=f"tagRequest with an iPod, {size}")

    def _take(self, method, parameters, size=None, stored=0, recorded=0, devices=(NO_DEVICE,),
              name=None):
        name = name or (method if size is None else f"{method}, {size}")
        # The first call finds the heap as another kind has left it.
        for _ in range(2):
            self._write_files(stored, recorded, devices)
            self._car.settle(self._car.monitor.position)
            self.counts[name] = self._count(method, parameters)

    def _write_files(self, stored, recorded, devices):
        folder = self._car.folder
        folder.tags.write_bytes(expected.tag_file(song(number) for number in range(stored)))
        folder.candidates.write_bytes(expected.tag_file([]))
        now = f"{datetime.datetime.now():%Y/%m/%d/%H}"
        folder.tagged_info.write_bytes(expected.tagged_file(
            [(song(number), now, devices) for number in range(recorded)]))

    def _count(self, method, parameters):
        before = len(self._counter.system_calls())
        self._car.load_client_call(method, json.dumps(parameters))
        request = self._car.requests
        calls = self._counter.system_calls()[before:]
        # The profile of a request is written when the service answers the next one.
        self._car.settle(self._car.monitor.position)
        return {**self._counter.taken_by(request), "systemCalls": len(calls)}


def take():
    car = CountingCar(limit=1000000)
    try:
        figures = Figures(car)
        figures.take()
        return figures.counts
    finally:
        car.stop()
        car.remove()


def complaints(name, recorded, counted):
    """What is wrong with a figure, one line each."""
    said = []
    for kind, before in recorded.items():
        now = counted[kind]
        allowed = before * ALLOWED if kind == "instructions" else 0
        if abs(now - before) > allowed:
            more = "more" if now > before else "less: record the gain"
            said.append(f"{name}: {now} {kind}, recorded are {before}, {more}")
    return said


def table(recorded, counted):
    lines = [f"{'':36}{'instructions':>15}{'recorded':>15}{'allocations':>15}{'system calls':>15}"]
    for name, counts in counted.items():
        before = recorded.get(name, {}).get("instructions", "-")
        lines.append(f"{name:36}{counts['instructions']:15}{before:>15}{counts['allocations']:15}"
                     f"{counts['systemCalls']:15}")
    for kind in ("checkTag", "tagRequest", "tagRequest with an iPod"):
        few, many = (counted[f"{kind}, {size}"] for size in SIZES[1:])
        growth = {what: (many[what] - few[what]) / (SIZES[2] - SIZES[1]) for what in many}
        lines.append(f"{'  for each stored tag, ' + kind:36}{growth['instructions']:15.0f}{'':15}"
                     f"{growth['allocations']:15.1f}{growth['systemCalls']:15.2f}")
    return "\n".join(lines)


class Judgement(unittest.TestCase):
    """What counts as more."""

    BEFORE = {"instructions": 1000, "allocations": 10, "systemCalls": 5}

    def said(self, **counts):
        return complaints("call", self.BEFORE, {**self.BEFORE, **counts})

    def test_two_percent_of_the_instructions_either_way_are_let_pass(self):
        self.assertEqual(self.said(instructions=1020), [])
        self.assertEqual(self.said(instructions=980), [])

    def test_more_instructions_are_told(self):
        self.assertEqual(self.said(instructions=1021),
                         ["call: 1021 instructions, recorded are 1000, more"])

    def test_a_gain_has_to_be_recorded(self):
        self.assertEqual(self.said(instructions=979),
                         ["call: 979 instructions, recorded are 1000, less: record the gain"])

    def test_one_allocation_or_system_call_is_told(self):
        self.assertEqual(self.said(allocations=11, systemCalls=6),
                         ["call: 11 allocations, recorded are 10, more",
                          "call: 6 systemCalls, recorded are 5, more"])


class Counts(unittest.TestCase):
    """The service as it is built."""

    maxDiff = None

    def test_a_request_does_what_is_recorded_and_no_more(self):
        record = json.loads(RECORD.read_text(encoding="utf-8"))
        self.assertEqual(
            surroundings(), record["madeWith"],
            f"{RECORD.name} was made with other versions than these, so nothing can be compared.\n"
            "Take the state before your change, record it here (scripts/test.sh --counted --record),"
            "\nsee that your change passes, and hand in the record with your change.")
        counted = take()
        print(table(record["counts"], counted))
        said = [line for name, counts in record["counts"].items()
                for line in complaints(name, counts, counted[name])]
        self.assertEqual(said, [])
        self.assertEqual(counted.keys(), record["counts"].keys())


def record():
    counted = take()
    print(table({}, counted))
    RECORD.write_text(json.dumps({"madeWith": surroundings(), "counts": counted}, indent=2) + "\n",
                      encoding="utf-8")


if __name__ == "__main__":
    if sys.argv[1:] == ["--record"]:
        record()
    else:
        unittest.main(verbosity=2)
