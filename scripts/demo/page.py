"""The whole unit in the browser: a bus, the rig with its page, the service, and a radio on the air."""

import argparse
import json
import pathlib
import re
import signal
import subprocess
import sys
import threading

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))

# pylint: disable=wrong-import-position
from car.car import Car  # noqa: E402
from car.programs import Program, binary  # noqa: E402

PROGRAMME = (pathlib.Path(__file__).resolve().parents[2] / "tests" / "fixtures" / "radio"
             / "quarter-hour.log")
TIME = re.compile(rb"(\d\d):(\d\d):(\d\d) ")


def seconds_of(line):
    """The time that a line of the receiver's log begins with; none where it has none."""
    found = TIME.match(line)
    if not found:
        return None
    hours, minutes, seconds = map(int, found.groups())
    return 3600 * hours + 60 * minutes + seconds


class Air:
    """Plays a captured log of a receiver to the radio, over and over, at many times its speed."""

    def __init__(self, stream, speed, programme=PROGRAMME):
        self._stream = stream
        self._programme = programme
        self._speed = speed
        self._ended = threading.Event()
        self._thread = threading.Thread(target=self._play, daemon=True)
        self._thread.start()

    def _play(self):
        lines = self._programme.read_bytes().splitlines(keepends=True)
        try:
            while not self._ended.is_set():
                self._play_once(lines)
        except (BrokenPipeError, ValueError):
            pass  # the radio has gone

    def _play_once(self, lines):
        last = None
        for line in lines:
            now = seconds_of(line)
            if last is not None and now is not None and now > last:
                if self._ended.wait((now - last) / self._speed):
                    return
            last = now if now is not None else last
            self._stream.write(line)
            self._stream.flush()

    def stop(self):
        self._ended.set()
        self._thread.join()


class Unit:
    """Everything around the page, in one folder."""

    def __init__(self, place, speed):
        self.car = Car(limit=10)
        self.radio = self.air = None
        self.rig = self._start_rig(place)
        if pathlib.Path(binary("songlatch-radio")).exists():
            self._start_radio(speed)

    def _start_rig(self, place):
        folder = self.car.folder
        service = f"{binary('Songlatch')} -config={folder.configuration}"
        self.car.monitor.stop()
        return Program([binary("songlatch-rig"), "--page", place, "--service", service,
                        "--mounts", str(self.car.root)], self.car.bus.environment,
                       folder=self.car.root, parse=json.loads,
                       errors=self.car.root / "rig.err")

    def _start_radio(self, speed):
        self.radio = Program([binary("songlatch-radio"), "--frequency", "95.5", "--program", "0"],
                             self.car.bus.environment, stdin=subprocess.PIPE,
                             errors=self.car.root / "radio.err")
        self.air = Air(self.radio.process.stdin, speed)

    @property
    def url(self):
        return self.rig.output.wait(lambda report: report["event"] == "page",
                                    what="the address of the page")[1]["url"]

    def stop(self):
        if self.air:
            self.air.stop()
        if self.radio:
            self.radio.kill()
        self.rig.process.terminate()
        self.rig.wait()
        self.car.stop()
        self.car.remove()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("place", nargs="?", default="8095", metavar="[ADDRESS:]PORT")
    parser.add_argument("--speed", type=float, default=20)
    options = parser.parse_args()
    unit = Unit(options.place, min(60, max(1, options.speed)))
    try:
        print(f"\nThe unit is at {unit.url}\nCtrl+C ends it.", flush=True)
        signal.sigwait({signal.SIGINT, signal.SIGTERM})
    finally:
        unit.stop()
    return 0


if __name__ == "__main__":
    signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGINT, signal.SIGTERM})
    sys.exit(main())
