"""Texts of many megabytes: read like any other, up to the largest that the bus carries."""

import json

from harness import SANITIZED, STATUS, CarTest, connected, local, main, song
from test_memory import resident_kb
from car.programs import Program, binary

MEGABYTES = 4 * 1024 * 1024
LONGEST = 33488896
"""TELLBUS_MAX_TEXT."""
SIZES = (MEGABYTES, LONGEST)

IPOD = {"type": "ipod", "id": 5, "mountPoint": "/nowhere/5"}

SLACK_KB = 2048


def padded(parameters, size):
    """The parameters as a text of so many bytes, by a member that nobody reads."""
    text = json.dumps({"filler": "", **parameters})
    return text.replace('""', f'"{"x" * (size - len(text))}"', 1)


class LongTexts(CarTest):
    """A request, an answer and a signal."""

    def test_a_request_is_answered(self):
        for number, size in enumerate(SIZES):
            with self.subTest(size=size):
                text = padded({"tags": [song(number)]}, size)
                self.assertEqual(json.loads(self.car.load_client_call("tagRequest", text)),
                                 STATUS["STORED_LOCAL"])
                self.assert_stored([song(number)])
                self.car.call("clearAllLocalTags")

    def test_an_answer_gives_the_devices(self):
        for size in SIZES:
            with self.subTest(size=size):
                answer = padded({"devices": [{"device": IPOD}]}, size)
                self.car.rig.command(f"answer {answer}", "answering")
                self.assertEqual(self.car.restart_service(),
                                 [local(0), connected(5), connected(5)])

    def test_a_signal_gives_the_device(self):
        for size in SIZES:
            for available, devices in ((True, [5]), (False, [])):
                with self.subTest(size=size, available=available):
                    report = padded({"available": available, "device": IPOD}, size)
                    self.assertEqual(self.car.signal(report), [connected(*devices)])


class Memory(CarTest):
    """What long requests take is given back when they are over."""

    def test_it_is_given_back_after_a_hundred_requests(self):
        numbers = json.dumps({"props": [], "numbers": [1] * (MEGABYTES // 3)})
        requests = self.car.root / "requests"
        requests.write_text(f"tagRequest {padded({'tags': []}, MEGABYTES)}\n"
                            f"getProperties {padded({'props': []}, MEGABYTES)}\n"
                            f"getProperties {numbers}\n"
                            f"tagRequest {'[' * MEGABYTES}\n")
        self.car.call("getProperties")
        before = resident_kb(self.car.service.pid)
        load = Program([binary("load-client"), "run", str(requests)], self.car.bus.environment,
                       stdin=-1)
        load.say(100)
        load.output.wait(lambda line: True, 0, "the end of the requests", deadline=800)
        load.process.stdin.close()
        self.assertEqual(load.wait(), 0)
        # The service handles one event after the other, so its answer says that it has done so.
        self.car.call("getProperties")
        after = resident_kb(self.car.service.pid)
        if not SANITIZED:
            self.assertLess(after - before, SLACK_KB, f"from {before} kB to {after} kB")


if __name__ == "__main__":
    main()
