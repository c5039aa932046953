"""The rig as a tool of its own: commands, reports, and what others see of it."""

import errno
import json
import socket
import struct
import subprocess

from expected import property_list
from harness import CarTest, main, song
from workbench import calls
from workbench.bus import MEDIA
from workbench.programs import DEADLINE, binary

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
        return self.do(f"attach {device} {self.car.mount_point(device)} {words}", "attached")

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
        self.assertEqual(node.exchange(2, 5, b""), (errno.ENOTTY, 0, b""))
        self.assertEqual(len(self.rig.seen("refused")), 3)

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

    def test_what_cannot_be_done_is_an_error_and_the_rig_goes_on(self):
        for line in ("nonsense", "attach", "attach one /tmp", "attach 1", "detach 9", "caps 9 8",
                     "fault 9 open", f"attach 1 {self.car.mount_point(1)} caps=x",
                     f"attach 1 {self.car.mount_point(1)} colour=red",
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


class Program(CarTest):
    """How the rig starts and ends."""

    def prepare(self):
        pass

    def run_rig(self, *arguments, lines=""):
        done = subprocess.run([binary("songlatch-rig"), *arguments], input=lines, text=True,
                              env=calls.environment(self.car.bus), capture_output=True,
                              timeout=DEADLINE, check=False)
        return done.returncode, done.stdout, done.stderr

    def test_it_ends_with_its_input(self):
        status, output, errors = self.run_rig(lines="list\n# a comment\n\nlist")
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual([json.loads(line)["event"] for line in output.splitlines()],
                         ["ready", "list", "list", "ended"])

    def test_a_script_comes_before_the_input_and_may_quit(self):
        script = self.car.root / "script"
        script.write_text(f"attach 1 {self.car.mount_point(1)} silent\nlist\n")
        output = self.run_rig("--script", str(script), lines="quit\nlist\n")[1]
        self.assertEqual([json.loads(line)["event"] for line in output.splitlines()],
                         ["ready", "attached", "list", "ended"])

    def test_sigterm_ends_it_and_takes_the_nodes_away(self):
        self.car.start_rig()
        self.car.attach(1, silent=True)
        self.car.rig.program.process.terminate()
        self.assertEqual(self.car.rig.program.wait(), 0)
        self.assertFalse((self.car.mount_point(1) / ".FS_info." / "control").exists())

    def test_help_names_every_command(self):
        status, output, _ = self.run_rig("--help")
        self.assertEqual(status, 0)
        for command in ("attach", "detach", "list", "caps", "fault", "signal", "answer", "quit"):
            self.assertIn(f"  {command}", output)

    def test_an_unknown_option_and_a_missing_bus_are_failures(self):
        self.assertEqual(self.run_rig("--nonsense")[0], 2)
        self.assertEqual(self.run_rig("--script", "/nowhere/script")[0], 1)
        self.car.bus.address = "unix:path=/nowhere/bus"
        status, output, _ = self.run_rig()
        self.assertEqual(status, 1)
        self.assertEqual(json.loads(output)["event"], "error")


if __name__ == "__main__":
    main()
