"""Waits for programs that do not do what they are waited for."""

import os
import shutil
import time
import unittest
from unittest import mock

from harness import main
from car import bus, programs
from car.bus import Monitor, PrivateBus, new_folder
from car.programs import DEADLINE, Program, Timeout


class ClockThatWaits:
    """Stands still until a file is there; then every deadline has passed."""

    def __init__(self, path):
        self._path = path
        self._began = time.monotonic()

    def monotonic(self):
        now = time.monotonic()
        over = self._path.exists() or now > self._began + DEADLINE
        return now + DEADLINE if over else self._began


class Waiting(unittest.TestCase):
    """Each wait has an end, and says what was waited for and what the program said instead."""

    def setUp(self):
        self.folder = new_folder()
        self.addCleanup(shutil.rmtree, self.folder)
        self.said = self.folder / "said"

    def enter(self, context):
        """What a context manager gives; it ends with the test."""
        value = context.__enter__()
        self.addCleanup(context.__exit__, None, None, None)
        return value

    def replace(self, program, script):
        """A program of this name does from now on what the script says."""
        path = self.folder / program
        path.write_text(f"#!/bin/sh\n{script}\n")
        path.chmod(0o755)
        self.enter(mock.patch.dict(os.environ, PATH=f"{self.folder}:{os.environ['PATH']}"))

    def let_the_deadline_pass(self):
        """
        A start is given up in a moment, but not before a program has said what it has to say:
        how long that takes is the machine's affair.
        """
        clock = ClockThatWaits(self.said)
        self.enter(mock.patch.object(bus, "START_DEADLINE", 0.1))
        for module in (bus, programs):
            self.enter(mock.patch.object(module, "time", clock))

    def test_a_bus_that_does_not_start_is_named_with_its_complaint(self):
        self.replace("dbus-daemon", f"echo no room here >&2; : >{self.said}; exec sleep 600")
        self.let_the_deadline_pass()
        with self.assertRaisesRegex(Timeout, r"(?s)the address of the bus did not come.*"
                                             r"dbus-daemon.* is still running.*no room here"):
            PrivateBus(self.folder)

    def test_a_bus_that_ends_at_once_is_not_waited_for(self):
        self.replace("dbus-daemon", "exit 3")
        with self.assertRaisesRegex(Timeout, "dbus-daemon.* has ended with 3"):
            PrivateBus(self.folder)

    def test_a_program_that_has_closed_its_output_is_given_time_to_end(self):
        self.replace("dbus-daemon", "exec >&-; sleep 0.3; exit 3")
        with self.assertRaisesRegex(Timeout, "dbus-daemon.* has ended with 3"):
            PrivateBus(self.folder)

    def test_a_program_that_only_closes_its_output_is_still_running(self):
        self.enter(mock.patch.object(programs, "END_DEADLINE", 0.1))
        self.replace("dbus-daemon", "exec >&-; exec sleep 600")
        with self.assertRaisesRegex(Timeout, "dbus-daemon.* is still running"):
            PrivateBus(self.folder)

    def test_a_monitor_counts_by_what_it_sees_and_not_by_what_it_says(self):
        private = PrivateBus(self.folder)
        self.addCleanup(private.stop)
        self.replace("busctl", 'case "$*" in *monitor*) echo Monitoring >&2; '
                               f": >{self.said}; exec sleep 600; esac")
        self.let_the_deadline_pass()
        with self.assertRaisesRegex(Timeout, r"(?s)the monitor did not see a signal.*Monitoring"):
            Monitor(private)

    def test_a_program_that_does_not_end_is_named_with_its_last_lines(self):
        program = Program(["sh", "-c", "echo first; echo second; exec sleep 600"])
        self.addCleanup(program.kill)
        program.output.wait(lambda line: line == "second\n")
        with self.assertRaisesRegex(Timeout, "(?s)no end within 0.1 s.*sleep 600.*first.*second"):
            program.wait(0.1)


if __name__ == "__main__":
    main()
