"""What the service costs over a long time: memory, and rest."""

import json
import pathlib
import time
import unittest

from harness import SANITIZED, CarTest, main, song
from car.programs import DEADLINE, Program, binary

TOTAL = 4000 if SANITIZED else 100000
SETTLED = 1000 if SANITIZED else 20000
SLACK_KB = 1024
"""What the allocator may still take behind the point where everything has been seen once."""

IDLE_SECONDS = 10


def resident_kb(pid):
    with open(f"/proc/{pid}/status", encoding="ascii") as status:
        [line] = [line for line in status if line.startswith("VmRSS:")]
    return int(line.split()[1])


class Memory(CarTest):
    """A hundred thousand requests of all kinds, iPods coming and going meanwhile."""

    configuration = {"limit": 8}

    def requests(self):
        """One round of requests; it ends as it began."""
        known = {"Name": "Song 1", "Artist": "Artist 1", "iTunesSongID": "1001"}
        return [
            ("tagRequest", {"tags": [song(1)]}),
            ("tagRequest", {"tags": [song(2), song(3)]}),
            ("tagRequest", {"tags": [song(4)], "deviceID": 1}),
            ("tagRequest", {"tags": []}),
            ("checkTag", {"tagInfo": [known], "deviceID": 1}),
            ("checkTag", {}),
            ("getProperties", {"props": ["transferStatus", "connectionStatus", "localStatus"]}),
            ("getProperties", {}),
            ("unknown", {}),
            ("clearAllLocalTags", {}),
        ]

    def test_it_does_not_grow(self):
        rounds = self.car.root / "requests"
        rounds.write_text("".join(f"{method} {json.dumps(parameters)}\n"
                                  for method, parameters in self.requests())
                          + "tagRequest {no JSON\n")
        load = Program([binary("load-client"), "run", str(rounds)], self.car.bus.environment,
                       stdin=-1)
        self.send(load, SETTLED)
        before = resident_kb(self.car.service.pid)
        self.send(load, TOTAL - SETTLED)
        after = resident_kb(self.car.service.pid)
        load.process.stdin.close()
        self.assertEqual(load.wait(), 0)
        if not SANITIZED:
            self.assertLess(after - before, SLACK_KB, f"from {before} kB to {after} kB")

    def send(self, load, count):
        """So many requests in four portions, with an iPod that comes and goes between them."""
        for caps in ("8", "3", "8", "3"):
            position = len(load.output)
            load.say(count // 4)
            load.output.wait(lambda line: True, position, "the end of the requests",
                             deadline=800)
            self.folder.log_path.write_text("")
            self.car.attach(1, caps=caps)
            self.car.detach(1)


class Idle(CarTest):
    """A service that nobody asks for anything."""

    def of_threads(self, name):
        """What the system says of each of its threads."""
        tasks = pathlib.Path(f"/proc/{self.car.service.pid}/task")
        return [(task / name).read_text(encoding="ascii") for task in tasks.iterdir()]

    def wait_until_all_sleep(self):
        """The place in the kernel where a thread sleeps is told once it has left the processor."""
        end = time.monotonic() + DEADLINE
        while "0" in self.of_threads("wchan"):
            self.assertLess(time.monotonic(), end, "a thread runs on")
            time.sleep(0.01)

    def switches(self):
        """How often any of its threads has run."""
        return sum(int(line.split()[1]) for status in self.of_threads("status")
                   for line in status.splitlines() if "ctxt_switches" in line)

    @unittest.skipIf(SANITIZED, "a sanitizer has a thread of its own that wakes")
    def test_it_never_wakes(self):
        self.car.tag(song(1))
        self.wait_until_all_sleep()
        before = self.switches()
        # Not a wait for anything to happen, but the time in which nothing may.
        self.car.service.program.expect_running_for(IDLE_SECONDS)
        self.assertEqual(self.switches(), before)


if __name__ == "__main__":
    main()
