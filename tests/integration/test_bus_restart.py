"""The bus is killed and started again, under programs that nobody starts again."""

import json
import time

from expected import property_list
from harness import SANITIZED, STATUS, CarTest, connected, local, main, song, transfer
from car import calls
from car.bus import BUS, MEDIA, SERVICE, Monitor
from car.programs import DEADLINE

RESTARTS = 10
AWAY = [0.2 * number for number in range(RESTARTS)]
"""For how many seconds the bus is away: not at all, and so long that the retries become rare."""

LIMIT = 10 if SANITIZED else 1
"""Seconds until the service answers on a new bus, beside what any answer takes."""


class BusRestart(CarTest):
    """The rig and the service as it is delivered, on a bus that dies."""

    def prepare(self):
        self.car.start_rig()
        self.car.start_service(program="Songlatch")

    def assert_errors(self, name, text):
        """Nothing but the library's line about the bus, which comes at most once a second."""
        lines = text.splitlines()
        gone = f"libtellbus: the bus is gone: unix:path={self.car.root}/bus"
        self.assertEqual(set(lines), {gone}, name)
        self.assertLessEqual(len(lines), RESTARTS, name)

    def restart_bus(self, away):
        """The moment the new bus listened; the service has to live without one until then."""
        self.car.kill_bus()
        self.car.service.program.expect_running_for(away)
        return self.car.start_bus()

    def until_answered(self, call, *arguments, **options):
        """Calls until the answer is no error."""
        end = time.monotonic() + DEADLINE
        while True:
            try:
                return call(self.car.bus, *arguments, **options)
            except calls.CallFailed:
                if time.monotonic() > end:
                    raise

    def process_of(self, name):
        """The process that the bus has for a name."""
        return json.loads(calls.busctl_raw(self.car.bus, "GetConnectionUnixProcessID", "s", name,
                                           to=BUS))["data"][0]

    def usual(self):
        """For how many seconds a monitor and an answer keep one waiting on a bus that stands."""
        begun = time.monotonic()
        Monitor(self.car.bus).stop()
        self.car.call("getProperties", {"props": ["localStatus"]})
        return time.monotonic() - begun

    def assert_back(self, listening):
        """
        The same processes answer under their names; the result is for how many seconds the service
        did not.
        """
        reply = self.until_answered(calls.call, "getProperties", {"props": ["localStatus"]})
        took = time.monotonic() - listening
        self.assertEqual(reply, {"props": {"localStatus": local(0)[1]}})
        self.until_answered(calls.busctl_raw, "getDevices", "s", "{}", to=MEDIA)
        self.assertEqual([self.process_of(name) for name in (SERVICE, MEDIA)],
                         [self.car.service.pid, self.car.rig.pid])
        return took

    def test_everything_comes_back_by_itself_ten_times(self):
        limit = LIMIT + 3 * self.usual()
        took = [self.assert_back(self.restart_bus(away)) for away in AWAY]
        # A loaded machine holds up some, a service whose retries are too rare all of the later ones.
        self.assertLess(min(took[RESTARTS // 2:]), limit, took)
        self.assertEqual(self.car.tag(song(1)), (STATUS["STORED_LOCAL"], [local(1)]))
        self.assertEqual(self.car.attach(1), [transfer("TRANSFER_SUCCEEDED"), local(0),
                                              connected(1)])
        self.assertEqual(self.received(), [(1, 0, property_list([song(1)]))])


if __name__ == "__main__":
    main()
