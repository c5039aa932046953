"""Waits for programs that do not do what they are waited for."""

import os
import shutil
import unittest
from unittest import mock

from harness import main
from car import bus
from car.bus import Monitor, PrivateBus, new_folder
from car.programs import Program, Timeout


class Waiting(unittest.TestCase):
    """Each wait has an end, and says what was waited for and what the program said instead."""

    def setUp(self):
        self.folder = new_folder()
        self.addCleanup(shutil.rmtree, self.folder)
        self.enter(mock.patch.object(bus, "START_DEADLINE", 1))

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

    def test_a_bus_that_does_not_start_is_named_with_its_complaint(self):
        self.replace("dbus-daemon", "echo no room here >&2; exec sleep 60")
        with self.assertRaisesRegex(Timeout, r"(?s)the address of the bus did not come.*"
                                             r"dbus-daemon.* is still running.*no room here"):
            PrivateBus(self.folder)

    def test_a_bus_that_ends_at_once_is_not_waited_for(self):
        self.replace("dbus-daemon", "exit 3")
        with self.assertRaisesRegex(Timeout, "dbus-daemon.* has ended with 3"):
            PrivateBus(self.folder)

    def test_a_monitor_counts_by_what_it_sees_and_not_by_what_it_says(self):
        private = PrivateBus(self.folder)
        self.addCleanup(private.stop)
        self.replace("busctl", 'case "$*" in *monitor*) echo Monitoring >&2; exec sleep 60; esac')
        with self.assertRaisesRegex(Timeout, r"(?s)the monitor did not see a signal.*Monitoring"):
            Monitor(private)

    def test_a_program_that_does_not_end_is_named_with_its_last_lines(self):
        program = Program(["sh", "-c", "echo first; echo second; exec sleep 60"])
        self.addCleanup(program.kill)
        program.output.wait(lambda line: line == "second\n")
        with self.assertRaisesRegex(Timeout, "(?s)no end within 0.1 s.*sleep 60.*first.*second"):
            program.wait(0.1)


if __name__ == "__main__":
    main()
