"""The rig as a tool of its own: commands, reports, and what others see of it."""

import errno
import json
import shutil
import signal
import socket
import struct
import subprocess

from expected import property_list
from harness import CarTest, main, song
from car import calls
from car.bus import MEDIA
from car.car import Rig
from car.programs import DEADLINE, Program as Process, binary, run

CAPABILITIES = struct.pack("<HHHH16x", 0x0113, 8, 0x0013, 0x0032)


class Node:
    """A client of a control node, written from the description of the link."""

    def __init__(self, mount_point):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.socket.settimeout(DEADLINE)
        try:
            self.socket.connect(str(mount_point / ".FS_info." / "control"))
        except OSError:
            self.socket.close()
            raise

    def exchange(self, kind, command, data, room=0):
        """Status, info and data of the reply; None if the driver goes away."""
        self.socket.sendall(struct.pack("<IIII", kind, command, len(data), room) + data)
        head = self._take(12)
        if head is None:
            return None
        status, info, count = struct.unpack("<iiI", head)
        return status, info, self._take(count)

    def _take(self, count):
        data = b""
        while len(data) < count:
            piece = self.socket.recv(count - len(data))
            if not piece:
                return None
            data += piece
        return data

    def capabilities(self, room=22):
        return self.exchange(1, 0, CAPABILITIES, room)

    def tags(self, text):
        return self.exchange(2, 0x80010E84, text)

    def close(self):
        self.socket.close()


class Commands(CarTest):
    """The rig without a service."""

    def prepare(self):
        self.car.start_rig()
        self.rig = self.car.rig

    def do(self, line, answer):
        report = self.rig.command(line, answer)
        self.assertEqual(report["event"], answer, report)
        return report

    def node(self, device):
        node = Node(self.car.mount_point(device))
        self.addCleanup(node.close)
        return node

    def attach(self, device, words=""):
        return self.do(f'attach {device} "{self.car.mount_point(device)}" {words}', "attached")

    def device_state(self, position):
        return json.loads(self.car.monitor.wait_for_signal("deviceState", position)[1].text)

    def test_attach_and_detach_are_told_on_the_bus(self):
        position = self.car.monitor.position
        self.attach(3, 'name="My iPod" content=audio storage=/dev/x')
        fields = {"type": "ipod", "id": 3, "mountPoint": str(self.car.mount_point(3)),
                  "name": "My iPod", "content": "audio", "storage": "/dev/x"}
        self.assertEqual(self.device_state(position), {"available": True, "device": fields})
        position = self.car.monitor.position
        self.do("detach 3", "detached")
        self.assertEqual(self.device_state(position), {"available": False, "device": fields})
        self.assertFalse((self.car.mount_point(3) / ".FS_info." / "control").exists())

    def test_a_silent_device_is_in_the_list_alone(self):
        position = self.car.monitor.position
        self.attach(3, "silent type=usb")
        answer = json.loads(calls.busctl_raw(self.car.bus, "getDevices", "s", "{}", to=MEDIA))
        devices = json.loads(answer["data"][0])["devices"]
        self.assertEqual([device["device"]["type"] for device in devices], ["usb"])
        self.car.monitor.wait_for_reply("getDevices", position)
        self.assertEqual([message for message in self.car.monitor.since(position)
                          if message.is_signal("deviceState")], [])

    def test_the_capability_request(self):
        self.attach(1, "caps=8,3,513")
        node = self.node(1)
        self.assertEqual(node.capabilities(), (0, 0, struct.pack("<iHHH", 3, 8, 3, 513)))
        self.assertEqual(node.capabilities(room=6), (0, 0, struct.pack("<iH", 3, 8)))
        self.do("caps 1 none", "changed")
        self.assertEqual(node.capabilities(), (0, 0, struct.pack("<i", 0)))
        self.assertEqual([report["replyRoom"] for report in self.rig.seen("capabilities")],
                         [22, 6, 22])

    def test_tags_land_below_the_mount_point(self):
        self.attach(1)
        text = property_list([song(1)])
        self.assertEqual(self.node(1).tags(text), (0, 0, b""))
        [(device, status, landed)] = self.received()
        self.assertEqual((device, status, landed), (1, 0, text))
        [report] = self.rig.seen("tags")
        self.assertEqual(report["file"], str(self.car.mount_point(1) / "Tagging" / "0001.plist"))

    def test_what_is_no_property_list_is_told(self):
        self.attach(1)
        for text in (b"", b"text", b"<plist><dict></plist>", b"<plist/>", b"<other><dict/></other>"):
            self.node(1).tags(text)
            report = self.rig.seen("tags")[-1]
            self.assertFalse(report["wellFormed"])
            self.assertTrue(report["fault"])
            self.assertEqual(report["bytes"], len(text))

    def test_unknown_requests_are_refused(self):
        self.attach(1)
        node = self.node(1)
        self.assertEqual(node.exchange(1, 0, CAPABILITIES[:6] + b"\x34" + CAPABILITIES[7:]),
                         (-errno.ENOSYS, 0, b""))
        self.assertEqual(node.exchange(1, 0, b"short"), (-errno.ENOSYS, 0, b""))
        self.assertEqual(node.exchange(2, 5, b"abc"), (errno.ENOTTY, 0, b""))
        self.assertEqual(self.rig.seen("refused"), [
            {"event": "refused", "device": 1, "errno": errno.ENOSYS, "bytes": 24, "code": 0x34},
            {"event": "refused", "device": 1, "errno": errno.ENOSYS, "bytes": 5, "dcmd": 0},
            {"event": "refused", "device": 1, "errno": errno.ENOTTY, "bytes": 3, "dcmd": 5}])

    def test_faults_to_order(self):
        self.attach(1)
        node = self.node(1)
        self.do("fault 1 caps=EACCES write=28:7", "changed")
        self.assertEqual(node.capabilities(), (-errno.EACCES, 0, b""))
        self.assertEqual(node.tags(b"x"), (errno.ENOSPC, 7, b""))
        self.assertTrue(self.rig.seen("tags")[0]["file"].endswith("0001.refused"))
        self.do("fault 1 none", "changed")
        self.assertEqual(node.tags(b"x"), (0, 0, b""))
        self.do("fault 1 vanish=write", "changed")
        self.assertEqual(node.capabilities()[0], 0)
        self.assertIsNone(node.tags(b"x"))
        self.do("fault 1 open", "changed")
        with self.assertRaises(OSError):
            self.node(1)
        self.do("fault 1 slow=50", "changed")
        self.assertEqual(self.node(1).tags(b"x"), (0, 0, b""))

    def test_two_clients_of_one_node_do_not_disturb_each_other(self):
        self.attach(1)
        first, second = self.node(1), self.node(1)
        first.socket.sendall(struct.pack("<IIII", 2, 0x80010E84, 5, 0) + b"ab")
        self.assertEqual(second.tags(b"y"), (0, 0, b""))
        first.socket.sendall(b"cde")
        self.assertEqual(first._take(12), bytes(12))

    def test_a_device_that_leaves_closes_on_its_clients(self):
        self.attach(1)
        node = self.node(1)
        node.capabilities()
        self.do("detach 1", "detached")
        self.assertEqual(node.socket.recv(1), b"")

    def test_list(self):
        self.attach(2, "caps=8 silent")
        self.attach(1, "type=usb silent")
        self.do("fault 2 slow=5 vanish", "changed")
        devices = self.do("list", "list")["devices"]
        self.assertEqual([(device["id"], device["type"], device["caps"], device["fault"])
                          for device in devices],
                         [(2, "ipod", [8], "slow=5 vanish"), (1, "usb", [8, 3], "none")])

    def devices(self):
        """What is attached, as the rig reports it and, which must be the same, as the bus does."""
        found = [(device["id"], device["mountPoint"], device["caps"])
                 for device in self.do("list", "list")["devices"]]
        answer = json.loads(calls.busctl_raw(self.car.bus, "getDevices", "s", "{}", to=MEDIA))
        told = [element["device"] for element in json.loads(answer["data"][0])["devices"]]
        self.assertEqual([(device["id"], device["mountPoint"]) for device in told],
                         [device[:2] for device in found])
        return found

    def test_an_attached_id_is_replaced_at_another_mount_point(self):
        self.attach(1, "silent")
        node = self.node(1)
        node.capabilities()
        self.do(f'attach 1 "{self.car.mount_point(2)}" caps=3 silent', "attached")
        self.assertEqual(self.devices(), [(1, str(self.car.mount_point(2)), [3])])
        self.assertEqual(node.socket.recv(1), b"")
        self.assertFalse((self.car.mount_point(1) / ".FS_info." / "control").exists())
        self.assertEqual(self.node(2).capabilities()[2], struct.pack("<iH", 1, 3))

    def test_an_attached_id_is_replaced_at_its_own_mount_point(self):
        for fault in ("none", "open"):
            self.attach(1, "silent")
            self.do(f"fault 1 {fault}", "changed")
            self.do(f'attach 1 "{self.car.mount_point(1)}/" caps=3 silent', "attached")
            self.assertEqual(self.devices(), [(1, f"{self.car.mount_point(1)}/", [3])])
            self.assertEqual(self.node(1).capabilities()[2], struct.pack("<iH", 1, 3))

    def test_an_attached_id_is_replaced_where_its_folder_has_been_removed(self):
        self.attach(1, "silent")
        shutil.rmtree(self.car.mount_point(1))
        self.attach(1, "silent caps=3")
        self.assertEqual(self.node(1).capabilities()[2], struct.pack("<iH", 1, 3))

    def test_a_failed_attach_leaves_the_attached_device_as_it_was(self):
        self.attach(1, "silent caps=8")
        node = self.node(1)
        node.capabilities()
        before = self.devices()
        self.do("attach 1 /proc/nowhere caps=3", "error")
        self.assertEqual(self.devices(), before)
        self.assertEqual(node.capabilities()[2], struct.pack("<iH", 1, 8))
        self.assertEqual(self.node(1).capabilities()[2], struct.pack("<iH", 1, 8))

    def test_a_failed_attach_at_the_same_mount_point_leaves_the_device_attached(self):
        self.attach(1, "silent caps=8")
        node = self.node(1)
        node.capabilities()
        before = self.devices()
        folder = self.car.mount_point(1) / ".FS_info."
        folder.rename(self.car.root / "aside")
        folder.write_text("no folder")
        self.do(f'attach 1 "{self.car.mount_point(1)}" caps=3', "error")
        self.assertEqual(self.devices(), before)
        self.assertEqual(node.capabilities()[2], struct.pack("<iH", 1, 8))
        folder.unlink()
        self.do("fault 1 none", "changed")
        self.assertEqual(self.node(1).capabilities()[2], struct.pack("<iH", 1, 8))

    def client_that_does_not_read(self, device):
        """One that has been sent more than its connection holds."""
        count = 300000
        self.do(f"caps {device} {','.join(['8'] * count)}", "changed")
        node = self.node(device)
        position = len(self.rig.reports)
        node.socket.sendall(struct.pack("<IIII", 1, 0, 24, 4 + 2 * count) + CAPABILITIES)
        self.rig.wait("capabilities", position)
        return node, struct.pack("<iiIi", 0, 0, 4 + 2 * count, count) + b"\x08\x00" * count

    def test_a_client_that_does_not_read_hinders_nobody(self):
        self.attach(1)
        node, answer = self.client_that_does_not_read(1)
        self.do("caps 1 3", "changed")
        self.do("fault 1 caps=EIO", "changed")
        self.assertEqual(self.node(1).capabilities(), (-errno.EIO, 0, b""))
        self.do("fault 1 none", "changed")
        self.assertTrue(node._take(len(answer)) == answer, "the whole answer, once it is read")
        self.assertEqual(node.capabilities()[2], struct.pack("<iH", 1, 3))

    def test_a_client_that_does_not_read_is_detached_from(self):
        self.attach(1)
        node, answer = self.client_that_does_not_read(1)
        self.do("detach 1", "detached")
        self.assertIsNone(node._take(len(answer)))

    def test_a_driver_vanishes_from_a_client_that_does_not_read(self):
        self.attach(1)
        self.do("fault 1 vanish", "changed")
        node, answer = self.client_that_does_not_read(1)
        self.do("fault 1 none", "changed")
        self.assertIsNone(node._take(len(answer)))

    def test_the_rig_ends_while_a_client_does_not_read(self):
        self.attach(1)
        self.client_that_does_not_read(1)
        self.assertEqual(self.rig.stop(), 0)

    def test_an_error_names_the_word_and_the_cure(self):
        self.attach(1)
        errno_cure = "give the name of an errno or a number above 0, as in"
        for line, message in (
                ("fault 1 slow=-1",
                 "slow=-1: -1 is below 0; give milliseconds from 0 on, as in slow=200"),
                ("fault 1 slow=soon",
                 'slow=soon: "soon" is not a number; give milliseconds from 0 on, as in slow=200'),
                ("fault 1 caps=-5", f"caps=-5: -5 is no errno; {errno_cure} caps=EIO"),
                ("fault 1 caps=0", f"caps=0: 0 is no errno; {errno_cure} caps=EIO"),
                ("fault 1 write=-5", f"write=-5: -5 is no errno; {errno_cure} write=ENOSPC, and "
                 "behind a colon the info word if it matters, as in write=ENOSPC:7"),
                ("fault 1 vanish=now", 'vanish=now: "now" is no exchange; give caps or write, or '
                 "vanish alone for every request"),
                ("fault 1 sulk", "fault does not know the word sulk; "
                 "behind its 1 fixed word it takes none, open, vanish"),
                ("fault 1 mood=bad", "fault does not know the option mood; "
                 "it takes caps=, slow=, vanish=, write="),
                ("attach 6 /x slient", "attach does not know the word slient; "
                 "behind its 2 fixed words it takes silent"),
                ("attach 6 /x colour=red", "attach does not know the option colour; "
                 "it takes caps=, content=, name=, storage=, type="),
                ("attach 6 /x caps=8,x", 'capability list "8,x": "x" is not a number; '
                 "give numbers from 0 to 65535 joined by commas, as in 8,3, or none"),
                ("caps 1 70000", 'capability list "70000": 70000 is not within 0 and 65535; '
                 "give numbers from 0 to 65535 joined by commas, as in 8,3, or none"),
                ("caps 1 8 3", "caps does not know the word 3; behind its 2 fixed words it takes "
                 "nothing"),
                ("detach 1 silnet", "detach does not know the word silnet; "
                 "behind its 1 fixed word it takes silent"),
                ("detach 1 silent=yes", "detach does not know the option silent; it takes none"),
                ("list all", "list does not know the word all; behind its 0 fixed words it takes "
                 "nothing"),
                ("help caps", "help does not know the word caps; behind its 0 fixed words it takes "
                 "nothing"),
                ("quit now", "quit does not know the word now; behind its 0 fixed words it takes "
                 "nothing"),
                ("detach 9", "no device 9; list shows what is attached"),
                ("atach 1", "unknown command atach; help shows what there is")):
            with self.subTest(line):
                self.assertEqual(self.do(line, "error")["message"], message)
        self.assertEqual(self.devices(), [(1, str(self.car.mount_point(1)), [8, 3])])
        self.assertEqual(self.do("list", "list")["devices"][0]["fault"], "none")

    def test_what_cannot_be_done_is_an_error_and_the_rig_goes_on(self):
        for line in ("nonsense", "attach", "attach one /tmp", "attach 1", "detach 9", "caps 9 8",
                     "fault 9 open", f'attach 1 "{self.car.mount_point(1)}" caps=x',
                     f'attach 1 "{self.car.mount_point(1)}" colour=red',
                     "attach 1 /proc/nowhere"):
            with self.subTest(line):
                self.do(line, "error")
        self.attach(1)
        for fault in ("fault 1 sulk", "fault 1 write=EWHAT", "fault 1 vanish=now",
                      "fault 1 slow=soon", "fault 1 mood=bad"):
            with self.subTest(fault):
                self.do(fault, "error")
        self.do("help", "help")

    def test_an_unknown_method_is_an_error_on_the_bus(self):
        with self.assertRaises(calls.CallFailed):
            calls.busctl_raw(self.car.bus, "setDevices", "s", "{}", to=MEDIA)
        self.rig.wait("error")


class StayingRig(Rig):
    """A rig that outlives its input."""

    def __init__(self, bus, folder):
        # pylint: disable=super-init-not-called
        self.program = Process([binary("songlatch-rig"), "--stay"], bus.environment,
                               parse=json.loads, errors=folder.path / "rig.err",
                               stdin=subprocess.PIPE)
        self.reports = self.program.output


class Program(CarTest):
    """How the rig starts and ends."""

    def prepare(self):
        pass

    def run_rig(self, *arguments, lines=""):
        done = run([binary("songlatch-rig"), *arguments], input=lines, text=True,
                   env=calls.environment(self.car.bus), capture_output=True, check=False)
        return done.returncode, done.stdout, done.stderr

    def test_it_ends_with_its_input(self):
        status, output, errors = self.run_rig(lines="list\n# a comment\n\nlist")
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual([json.loads(line)["event"] for line in output.splitlines()],
                         ["ready", "list", "list", "ended"])

    def test_a_script_comes_before_the_input_and_may_quit(self):
        script = self.car.root / "script"
        script.write_text(f'attach 1 "{self.car.mount_point(1)}" silent\nlist\n')
        output = self.run_rig("--script", str(script), lines="quit\nlist\n")[1]
        self.assertEqual([json.loads(line)["event"] for line in output.splitlines()],
                         ["ready", "attached", "list", "ended"])

    def assert_ended_in_order(self):
        rig = self.car.rig
        self.assertEqual(rig.program.wait(), 0)
        self.assertEqual(rig.reports.finish()[-1]["event"], "ended")
        self.assertFalse((self.car.mount_point(1) / ".FS_info." / "control").exists())

    def test_sigterm_and_sigint_end_it_and_take_the_nodes_away(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(number):
                self.car.start_rig()
                self.car.attach(1, silent=True)
                self.car.rig.program.process.send_signal(number)
                self.assert_ended_in_order()

    def test_with_stay_it_outlives_its_input_until_a_signal(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(number):
                self.car.rig = StayingRig(self.car.bus, self.car.folder)
                self.car.attach(1, silent=True)
                program = self.car.rig.program
                program.process.stdin.close()
                program.expect_running_for(1)
                answer = calls.busctl_raw(self.car.bus, "getDevices", "s", "{}", to=MEDIA)
                [attached] = json.loads(json.loads(answer)["data"][0])["devices"]
                self.assertEqual(attached["device"]["mountPoint"], str(self.car.mount_point(1)))
                program.process.send_signal(number)
                self.assert_ended_in_order()

    def test_a_second_rig_is_refused_and_the_first_goes_on(self):
        self.car.start_rig()
        status, output, _ = self.run_rig(lines="list\n")
        self.assertEqual(status, 1)
        [report] = map(json.loads, output.splitlines())
        self.assertEqual(report["event"], "error")
        self.assertIn("com.veldan.service.Media", report["message"])
        self.assertEqual(self.car.rig.command("list", "list")["event"], "list")

    def test_help_names_every_command(self):
        status, output, _ = self.run_rig("--help")
        self.assertEqual(status, 0)
        for command in ("attach", "detach", "list", "caps", "fault", "signal", "answer", "quit"):
            self.assertIn(f"  {command}", output)

    def test_an_unknown_option_and_a_missing_bus_are_failures(self):
        self.assertEqual(self.run_rig("--nonsense")[0], 2)
        status, _, words = self.run_rig("--script")
        self.assertEqual(status, 2)
        self.assertIn("--script needs a file", words)
        for unreadable in ("/nowhere/script", str(self.car.root)):
            self.assertEqual(self.run_rig("--script", unreadable)[0], 1)
        self.car.bus.address = "unix:path=/nowhere/bus"
        status, output, _ = self.run_rig()
        self.assertEqual(status, 1)
        self.assertEqual(json.loads(output)["event"], "error")


if __name__ == "__main__":
    main()
