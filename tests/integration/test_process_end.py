"""What ends the process while it runs: what is logged and printed, and with which exit status."""

import json
import subprocess

from expected import property_list, tag_file
from harness import CarTest, connected, local, main, song, transfer
from car import calls
from car.car import Service
from car.programs import DEADLINE

EXITING = "Warning: Main: Exiting"
UNHANDLED = "Error: Main: Unhandled Error"

SHORT_TIME = '<M>\n<TagId Name="n" Artist="a" iTunesSongID="1" Time="2010/06"></TagId>\n</M>'
"""A record that is read, and that nobody can write again."""


class EndTest(CarTest):
    """A running service that is about to end."""

    def assert_ended(self, *last_lines, printed):
        """It has ended with status 0, these are its last lines, and this is what it printed."""
        status, output = self.car.service.finish()
        self.assertEqual(status, 0)
        self.assertEqual(self.folder.log()[-len(last_lines):], list(last_lines))
        for line in printed:
            self.assertIn(line, output)

    def assert_unhandled(self):
        self.assert_ended(UNHANDLED, EXITING, printed=["Error: Songlatching: Main: Unhandled Error\n"])

    def start_again(self):
        """What restarts the installed service: it must find the files as they were."""
        return self.car.start_service()


class ByRequest(EndTest):
    """A call that no layer can make sense of. Its client gets no answer."""

    def assert_fatal(self, method, parameters):
        position = self.car.monitor.position
        with self.assertRaises(calls.CallFailed):
            self.car.call(method, parameters)
        end, reply = self.car.monitor.wait_for_reply(method, position)
        self.assertEqual(reply.error_name, "org.freedesktop.DBus.Error.NoReply")
        self.assertEqual(self.car.monitor.signals(position, end), [])

    def test_requests_whose_json_is_of_the_wrong_kind(self):
        for method, parameters in (
                ("tagRequest", {"tags": [5]}),
                ("tagRequest", {"tags": ["text"]}),
                ("tagRequest", {"tags": [[song(1)]]}),
                ("tagRequest", {"tags": {"Name": "an object for an array"}}),
                ("tagRequest", {"tags": [{"Name": {"not": "text"}}]}),
                ("tagRequest", {"tags": [song(1, iTunesSongID="text")]}),
                ("tagRequest", {"tags": [song(1, iTunesSongID=2**40)]}),
                ("tagRequest", {"tags": [song(1, ButtonPressed="yes")]}),
                ("tagRequest", {"tags": [song(1)], "deviceID": "one"}),
                ("tagRequest", ["an array"]),
                ("getProperties", {"props": {"transferStatus": True}}),
                ("getProperties", {"props": [["localStatus"]]}),
                ("checkTag", {"tagInfo": [7]}),
                ("checkTag", {"tagInfo": {"Name": "an object for an array"}}),
                ("checkTag", {"tagInfo": [{"Name": "n"}], "deviceID": "one"})):
            with self.subTest(method=method, parameters=parameters):
                self.fill([song(1)])
                self.assert_fatal(method, parameters)
                self.assert_unhandled()
                self.assert_stored([song(1)])
                self.assertEqual(self.start_again(), [local(1), connected()])

    def test_a_configuration_that_went_bad(self):
        for method, parameters in (("tagRequest", {"tags": [song(2)]}),
                                   ("checkTag", {"tagInfo": [{"Name": "n"}]})):
            with self.subTest(method):
                self.fill([song(1)])
                self.folder.configuration.write_text("<half")
                self.assert_fatal(method, parameters)
                self.assert_ended(
                    "Error: XMLTools_LoadConfig: Failed to parse document.",
                    "Error: XMLTools_LoadConfig: Error running Parser",
                    "Error: Main: Error code: 2 - Message: Error running Parser", EXITING,
                    printed=["Error: Songlatching: Main: Error code: 2 - Message: "
                             "Error running Parser\n"])
                self.assert_stored([song(1)])
                self.folder.configure()
                self.start_again()

    def test_a_time_that_is_too_short_in_the_record(self):
        self.folder.tagged_info.write_text(SHORT_TIME)
        before = self.folder.tagged_info.read_bytes()
        self.assert_fatal("tagRequest", {"tags": [song(1)]})
        self.assert_unhandled()
        self.assertEqual(self.folder.tagged_info.read_bytes(), before)
        self.assertEqual(self.folder.tags.read_bytes(), tag_file([song(1)]))

    def test_a_time_that_is_too_short_is_met_when_the_ipod_has_the_tags(self):
        self.car.attach(1)
        self.folder.tagged_info.write_text(SHORT_TIME)
        self.assert_fatal("tagRequest", {"tags": [song(1)]})
        self.assert_unhandled()
        self.assertEqual(self.received(), [(1, 0, property_list([song(1)]))])
        self.assert_stored()
        self.assertEqual(self.folder.tagged_info.read_text(), SHORT_TIME)

    def test_a_reply_and_a_signal_sent_just_before_the_end_have_left(self):
        self.car.attach(1)
        self.car.rig.command("fault 1 slow=60000", "changed")
        position = self.car.monitor.position
        good = self.begin({"tags": [song(1)]})
        self.car.rig.wait("delayed")
        bad = self.begin({"tags": [5]})
        self.car.monitor.wait(lambda message: message.member == "tagRequest"
                              and "[5]" in message.text, position)
        self.car.rig.command("fault 1 none", "changed")
        self.assert_unhandled()
        self.assertIn(b"STORED_ON_TARGET", good.communicate(timeout=DEADLINE)[0])
        bad.communicate(timeout=DEADLINE)
        end, _ = self.car.monitor.wait_for_reply("tagRequest", position)
        self.assertEqual(self.car.monitor.signals(position, end), [local(0)])

    def begin(self, parameters):
        """A call whose reply is not waited for."""
        return subprocess.Popen(calls.busctl_command("tagRequest", "s", json.dumps(parameters)),
                                env=calls.environment(self.car.bus), stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE)


class Malformed(EndTest):
    """A tag stream that does not decode, in a program whose service object reads one."""

    def prepare(self):
        self.car.service = Service(self.car.bus, self.folder, "Songlatch-malformed")

    def test_its_code_and_its_message_are_logged(self):
        self.assert_ended("Error: Main: Error code: 5 - Message: Malformed Tag Sequence", EXITING,
                          printed=["Error: Songlatching: Main: Error code: 5"
                                   " - Message: Malformed Tag Sequence\n"])


class ByDeviceReport(EndTest):
    """A deviceState, or an answer to getDevices, that cannot be read."""

    def emit(self, text):
        self.car.rig.command(f"signal {text}", "signalled")

    def test_availability_that_is_no_truth_value(self):
        for text in ('{"available":"yes","device":{}}', '{"available":{"a":1}}',
                     '{"available":[1]}', "[1]", '"text"', "5"):
            with self.subTest(text):
                self.emit(text)
                self.assert_ended(
                    "Error: CTaggingImpl_ProcessDeviceStateSignal: Unhandled Exception",
                    "Error: Main: Error code: 1 - Message: "
                    "Unhandled error in CTaggingImpl_ProcessIPCSignal",
                    EXITING,
                    printed=["Error: Songlatching: CTaggingImpl_ProcessDeviceStateSignal: "
                             "Unhandled Exception\n",
                             "Error: Songlatching: Main: Error code: 1 - Message: "
                             "Unhandled error in CTaggingImpl_ProcessIPCSignal\n"])
                self.assertEqual(self.start_again(), [local(0), connected()])

    def test_a_device_that_is_of_the_wrong_kind(self):
        for text in ('{"available":true,"device":5}', '{"available":true,"device":[5]}',
                     '{"available":true,"device":{"type":{"a":1}}}',
                     '{"available":true,"device":{"type":"ipod","id":"one"}}',
                     '{"available":true,"device":{"type":"ipod","id":1,"mountPoint":[1]}}'):
            with self.subTest(text):
                self.emit(text)
                self.assert_unhandled()
                self.assertEqual(self.start_again(), [local(0), connected()])

    def test_a_configuration_that_went_bad_ends_a_transfer(self):
        self.fill([song(1)])
        self.folder.configuration.write_text("<half")
        self.emit(json.dumps({"available": True, "device": {"type": "ipod", "id": 1}}))
        self.assert_ended(
            "Error: XMLTools_LoadConfig: Error running Parser",
            "Error: Main: Error code: 2 - Message: Error running Parser", EXITING,
            printed=["Error: Songlatching: Main: Error code: 2 - Message: Error running Parser\n"])
        self.assert_stored([song(1)])

    def test_a_time_that_is_too_short_ends_a_transfer_after_the_write(self):
        self.fill([song(1)])
        self.folder.tagged_info.write_text(SHORT_TIME)
        position = self.car.monitor.position
        self.car.attach(1, silent=True)
        self.emit(json.dumps({"available": True, "device": {
            "type": "ipod", "id": 1, "mountPoint": str(self.car.mount_point(1))}}))
        self.assert_unhandled()
        self.car.monitor.wait_for_signal("localStatus", position)
        self.assertEqual(self.car.monitor.signals(position),
                         [transfer("TRANSFER_SUCCEEDED"), local(0)])
        self.assertEqual(self.received(), [(1, 0, property_list([song(1)]))])
        self.assert_stored()

    def test_an_answer_that_is_of_the_wrong_kind(self):
        self.car.service.kill()
        for text in ("[1]", '"text"', '{"devices":{"a":1}}', '{"devices":[5]}',
                     '{"devices":[{"device":5}]}',
                     '{"devices":[{"device":{"type":"ipod","id":"one"}}]}'):
            with self.subTest(text):
                self.car.rig.command(f"answer {text}", "answering")
                self.car.spawn_service()
                self.assert_unhandled()


if __name__ == "__main__":
    main()
