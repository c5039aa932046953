"""Who may do what on a bus with the delivered policy."""

import json
import os
import pathlib
import shutil
import subprocess
import unittest

from harness import main, song
from policy_bus import USERS, PolicyBus
from car import tagfiles
from car.bus import MEDIA, SERVICE, Monitor
from car.car import Folder
from car.programs import binary

RADIO = "com.veldan.service.Radio"
TAG = ["s", json.dumps({"tags": [song()]})]
WRITING = {"tagRequest": TAG, "clearAllLocalTags": []}
PROPERTIES = "org.freedesktop.DBus.Properties"


@unittest.skipIf(os.geteuid() != 0, "callers of several users need root")
class PolicyTest(unittest.TestCase):
    """A test on such a bus."""

    def setUp(self):
        self.bus = PolicyBus()
        self.addCleanup(self.bus.stop)

    def assert_refused(self, words):
        self.assertRegex(words, "Access denied|AccessDenied|not allowed", "the bus let it pass")


class Names(PolicyTest):
    """Who gets which name."""

    def owners(self, name):
        """Everybody who gets the name."""
        owners = set()
        for user in USERS:
            words = self.bus.own_as(user, name)
            if words:
                self.assert_refused(words)
            else:
                owners.add(user)
        return owners

    def test_only_its_user_is_the_service(self):
        self.assertEqual(self.owners(SERVICE), {"songlatch"})

    def test_only_root_is_the_media_service(self):
        self.assertEqual(self.owners(MEDIA), {"root"})

    def test_only_its_user_or_root_is_the_radio(self):
        self.assertEqual(self.owners(RADIO), {"root", "songlatch-radio"})

    def test_the_workbench_of_root_is_the_media_service(self):
        rig = self.bus.run_as("root", binary("songlatch-rig"), parse=json.loads,
                              stdin=subprocess.PIPE)
        self.addCleanup(rig.kill)
        rig.output.wait(lambda report: report["event"] == "ready", what="the rig's ready")

    def test_the_workbench_of_anybody_else_names_the_policy(self):
        program = _reachable(self.bus.folder, "songlatch-rig")
        rig = self.bus.run_as("guest", *program, parse=json.loads)
        self.assertEqual(rig.wait(), 1)
        report, = rig.output.finish()
        self.assertIn("policy of the bus", report["message"])
        self.assertIn("system.d/com.veldan.service.Songlatch.conf", report["message"])


def _reachable(folder, name):
    """The command of a copy of a program where every user reaches it, with the library."""
    place = folder / "programs"
    place.mkdir(exist_ok=True)
    library = pathlib.Path(binary(name)).parents[1] / "lib" / "libtellbus.so.1"
    for file in (binary(name), library):
        shutil.copy(file, place)
    return ["env", f"LD_LIBRARY_PATH={place}", place / name]


class Calls(PolicyTest):
    """Whose calls arrive at the service, which runs as its own user."""

    def setUp(self):
        super().setUp()
        self.unit = Folder(self.bus.folder)
        self.unit.prepare(limit=100)
        for path in (self.unit.store, self.unit.candidates):
            shutil.chown(path, USERS["songlatch"])
        self.monitor = Monitor(self.bus)
        self.addCleanup(self.monitor.stop)
        rig = self.bus.run_as("root", binary("songlatch-rig"), stdin=subprocess.PIPE)
        self.addCleanup(rig.kill)
        self.monitor.wait_for_owner(MEDIA)
        log = self.bus.folder / "log"
        log.mkdir()
        shutil.chown(log, USERS["songlatch"])
        program = _reachable(self.bus.folder, "Songlatch-undertest")
        service = self.bus.run_as("songlatch", "env", f"SONGLATCH_TEST_LOG={log}/Songlatching.log",
                                  *program, f"-config={self.unit.configuration}")
        self.addCleanup(service.kill)
        # The answer of the media service, so that both ways through the policy are seen.
        self.monitor.wait_for_signal("connectionStatus")

    def served(self, member, *arguments, interface=None):
        """Everybody whose call is answered."""
        users = set()
        for user in USERS:
            words = self.bus.call_as(user, SERVICE, member, *arguments, interface=interface)
            if words:
                self.assert_refused(words)
            else:
                users.add(user)
        return users

    def titles(self):
        return [record["Name"] for record in tagfiles.records(self.unit.tags, "Tag")]

    def test_only_the_group_and_the_radio_tag(self):
        self.assertEqual(self.served("tagRequest", *TAG),
                         {"root", "songlatch", "songlatch-radio", "driver"})

    def test_only_the_group_clears(self):
        self.assertEqual(self.served("clearAllLocalTags"), {"root", "songlatch", "driver"})

    def test_everybody_reads(self):
        for member, arguments in (("getProperties", ["s", '{"props":["localStatus"]}']),
                                  ("checkTag", ["s", json.dumps({"tag": song()})])):
            self.assertEqual(self.served(member, *arguments), set(USERS), member)

    def test_everybody_introspects(self):
        self.assertEqual(self.served("Introspect",
                                     interface="org.freedesktop.DBus.Introspectable"), set(USERS))
        self.assertEqual(self.served("Ping", interface="org.freedesktop.DBus.Peer"), set(USERS))

    def test_everybody_reads_the_properties_of_the_bus(self):
        self.assertEqual(self.served("GetAll", "s", SERVICE, interface=PROPERTIES), set(USERS))

    def test_only_root_comes_as_far_as_setting_a_property(self):
        words = self.bus.call_as("driver", SERVICE, "Set", "ssv", SERVICE, "localStatus", "i", "1",
                                 interface=PROPERTIES)
        self.assert_refused(words)

    def test_the_interface_of_a_reading_call_does_not_carry_a_writing_one(self):
        for interface in (PROPERTIES, "org.freedesktop.DBus.Introspectable",
                          "org.freedesktop.DBus.Peer", "any.other"):
            for member, arguments in WRITING.items():
                self.assert_refused(self.bus.call_as("guest", SERVICE, member, *arguments,
                                                     interface=interface))

    def test_a_refused_call_changes_nothing(self):
        self.assertEqual(self.bus.call_as("driver", SERVICE, "tagRequest", *TAG), "")
        self.assert_refused(self.bus.call_as("guest", SERVICE, "clearAllLocalTags"))
        self.assertEqual(self.titles(), ["Song 1"])

    def test_a_guest_hears_the_signals(self):
        listener = self.bus.run_as("guest", "gdbus", "monitor", "--system", "--dest", SERVICE)
        self.addCleanup(listener.kill)
        listener.output.wait(lambda line: "is owned by" in line, what="gdbus's first line")
        self.assertEqual(self.bus.call_as("driver", SERVICE, "tagRequest", *TAG), "")
        listener.output.wait(lambda line: "localStatus" in line, what="the signal localStatus")


if __name__ == "__main__":
    main()
