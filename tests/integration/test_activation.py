"""Calls that start the service, and calls beside its end."""

import json
import os
import signal

from harness import STATUS, CarTest, main, song
from car import calls
from car.bus import BUS, SERVICE
from car.programs import binary

ASKED = {"Name": "Song 1", "Artist": "Artist 1", "iTunesSongID": "1001"}
CALLS = {
    "tagRequest": ({"tags": [song(1)]}, STATUS["STORED_LOCAL"]),
    "clearAllLocalTags": (None, STATUS["OK"]),
    "getProperties": ({"props": ["transferStatus"]}, {"props": {"transferStatus": STATUS["OK"]}}),
    "checkTag": ({"tagInfo": [ASKED]}, {**ASKED, "tagged": False}),
}


class ActivatedTest(CarTest):
    """Nobody starts the service but the bus, when somebody calls it."""

    def prepare(self):
        self.car.start_rig()
        self.car.bus.activate(SERVICE, [
            "/usr/bin/env", f"SONGLATCH_TEST_LOG={self.folder.log_path}",
            binary("Songlatch-undertest"), f"-config={self.folder.configuration}"])
        self.addCleanup(self.kill)

    def kill(self):
        """Kills the service as a crash would, if it runs."""
        try:
            text = calls.busctl_raw(self.car.bus, "GetConnectionUnixProcessID", "s", SERVICE, to=BUS)
        except calls.CallFailed:
            return
        os.kill(json.loads(text)["data"][0], signal.SIGKILL)

    def kill_and_wait(self):
        position = self.car.monitor.position
        self.kill()
        self.car.monitor.wait(lambda message: message.is_signal("NameOwnerChanged")
                              and message.data[0] == SERVICE and not message.data[2],
                              position, "the end of the service")

    def assert_started_by(self, method):
        parameters, reply = CALLS[method]
        self.assertEqual(self.car.call(method, parameters), reply)
        self.kill_and_wait()
        self.folder.prepare()
        for path in (self.folder.tags, self.folder.tagged_info):
            path.unlink(missing_ok=True)


class Activation(ActivatedTest):
    """Each method once, and the hard moments."""

    def test_the_call_that_starts_the_service_is_answered(self):
        for method in CALLS:
            with self.subTest(method):
                self.assert_started_by(method)

    def test_a_call_right_after_a_crash_is_answered_or_refused_by_the_bus(self):
        self.car.call("getProperties")
        for number in range(10):
            self.kill()
            try:
                reply = self.car.call("tagRequest", {"tags": [song(number)]})
            except calls.CallFailed as failure:
                # It reached the service that was killed, which the bus says in its place.
                self.assertRegex(str(failure), "NoReply|without replying|Remote peer disconnected")
            else:
                self.assertEqual(reply, STATUS["STORED_LOCAL"])
                self.car.settle()
                self.assertIn(f"Song {number}", self.stored())


class EachMethod(ActivatedTest):
    """Each method as often as chance needs to show itself."""

    def test_the_call_that_starts_the_service_is_answered_a_hundred_times(self):
        for method in CALLS:
            for number in range(100):
                with self.subTest(method, number=number):
                    self.assert_started_by(method)


if __name__ == "__main__":
    main()
