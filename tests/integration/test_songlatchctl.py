"""songlatchctl against the running service."""

import json
import os
import pty
import re
import signal
import subprocess
import time

from harness import STATUS, CarTest, main, song
from car import calls
from car.programs import DEADLINE, Program, binary, run

SINGLE = ("00 0E 05 00 00 01 09 06 07 00 01 00 0E 00 04 01 "
          "4D 69 64 6E 69 67 68 74 20 46 65 72 72 79 49 6C 73 65 6E 31 "
          "34 31 38 32 37 33 39 35 36 31 34 33 34 31 31 51 42 41 59 2D 46 4D 30 "
          "41 46 46 2D 30 30 30 30 34 38 32 2D 51 4C 39 39 2E 31 31")
AMBIGUOUS = ("01 03 01 00 00 00 00 00 00 00 00 00 00 00 00 01 "
             "03 01 00 00 00 00 00 00 00 00 00 00 00 00 01 "
             "4F 6E 65 41 31 54 77 6F 42 30")


class ClientTest(CarTest):
    """A car, and the client beside it."""

    def run_client(self, *words, text="", status=0):
        """What the client printed: on standard output if it did its work, else its complaint."""
        done = run([binary("songlatchctl"), *words], input=text, text=True,
                   env=calls.environment(self.car.bus), capture_output=True, check=False)
        self.assertEqual(done.returncode, status, done.stderr)
        if status == 0:
            return done.stdout
        self.assertEqual(done.stderr.count("\n"), 1, done.stderr)
        return done.stderr

    def reply(self, *words, **options):
        """The one JSON document that a command prints."""
        return json.loads(self.run_client(*words, "--json", **options))

    def on_terminal(self, *words, answer=b"", environment=()):
        """The exit status and everything that a terminal shows of a command."""
        pid, terminal = pty.fork()
        if pid == 0:
            os.execvpe(binary("songlatchctl"), ["songlatchctl", *words],
                       {**calls.environment(self.car.bus), "TERM": "xterm", **dict(environment)})
        os.write(terminal, answer)
        shown = b""
        while True:
            try:
                piece = os.read(terminal, 4096)
            except OSError:  # the program has ended, and its terminal with it
                piece = b""
            if not piece:
                break
            shown += piece
        os.close(terminal)
        return os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]), shown.decode()


class Client(ClientTest):
    """Each command that speaks to the service."""

    def test_a_captured_stream_is_marked(self):
        self.assertEqual(self.reply("decode", "--send", "-", text=SINGLE), STATUS["STORED_LOCAL"])
        self.assertEqual(self.stored(), ["Midnight Ferry"])

    def test_both_candidates_of_an_ambiguous_stream_are_marked(self):
        self.assertEqual(self.reply("decode", "--send", AMBIGUOUS), STATUS["STORED_LOCAL"])
        self.assertEqual(self.candidates(), ["One", "Two"])

    def test_what_decode_prints_is_what_tag_takes(self):
        request = self.run_client("decode", "--json", SINGLE)
        self.assertEqual(self.reply("tag", "-", text=request), STATUS["STORED_LOCAL"])
        self.assertEqual(self.stored(), ["Midnight Ferry"])

    def test_fields_become_a_tag(self):
        said = self.run_client("tag", "--name", "Käse & <Brot>", "--artist", "A", "--album", "B",
                               "--genre", "G", "--affiliate", "X1", "--song-id", "2147483647",
                               "--storefront", "4294967295", "--feed", "3", "--program", "2",
                               "--call-letters", "QBAY-FM", "--frequency", "99.1", "--url", "u",
                               "--time", "2026-05-17T16:04:09Z", "--data", "QUJD")
        self.assertEqual(said, "STORED_LOCAL: it waits in the unit for an iPod\n")
        self.assert_stored([song(1, **{
            "Name": "Käse & <Brot>", "Artist": "A", "Album": "B", "Genre": "G",
            "iTunesAffiliateID": "X1", "iTunesSongID": 2147483647, "iTunesStorefrontID": 4294967295,
            "PodcastFeedURL": 3, "ProgramNumber": 2, "StationCallLetters": "QBAY-FM",
            "StationFrequency": "99.1", "StationURL": "u", "TimeStamp": "2026-05-17T16:04:09Z",
            "UnknownData": "QUJD"})])

    def test_fields_given_twice_become_an_ambiguous_tag(self):
        self.run_client("tag", "--name", "One", "--name", "Two", "--artist", "A", "--artist", "B",
                        "--album", "Both", "--pressed", "2")
        self.assert_stored([], [
            {"Name": "One", "Artist": "A", "Album": "Both", "ButtonPressed": False},
            {"Name": "Two", "Artist": "B", "Album": "Both", "ButtonPressed": True}])

    def test_a_file_with_json_is_sent_as_it_stands(self):
        path = self.folder.path / "request.json"
        path.write_text(json.dumps({"tags": [song(1)], "deviceID": 4}))
        self.run_client("tag", str(path))
        self.run_client("tag", str(path), "--device", "5")
        self.assert_tagged((song(1), [4, 5]))

    def test_a_service_that_says_no_gives_status_1(self):
        self.folder.configure(limit=0)
        self.assertIn("LOCAL_STORAGE_FULL: as many tags wait",
                      self.run_client("tag", "--name", "One", status=1))
        self.assertIn("ERROR: the service could not take it",
                      self.run_client("tag", "-", text='{"tags":[]}', status=1))

    def test_nothing_is_sent_that_would_end_the_service(self):
        for text in ('{"tags":[{"iTunesSongID":"text"}]}', '{"tags":[5]}', "[1]",
                     '{"tags":[{"ButtonPressed":"x"}]}', '{"tags":[{"Name":{}}]}',
                     '{"deviceID":4294967295,"tags":[{}]}', '{"tags":{"a":1}}'):
            self.assertIn("is expected", self.run_client("tag", "-", text=text, status=1))
        self.assertTrue(self.car.service.program.running)
        self.assertEqual(self.log_of("CTaggingImpl_processTellbusRequest").count(
            "Method: tagRequest"), 0)

    def test_a_device_goes_with_the_request(self):
        self.reply("decode", "--send", "--device", "4", SINGLE)
        words = ("check", "--name", "Midnight Ferry", "--artist", "Ilsen", "--song-id",
                 "418273956")
        self.assertTrue(self.reply(*words, "--device", "4")["tagged"])
        self.assertFalse(self.reply(*words, "--device", "5")["tagged"])
        self.assertEqual(self.run_client(*words, "--device", "4"),
                         "Midnight Ferry: is recorded for device 4\n")
        self.assertEqual(self.run_client(*words),
                         "Midnight Ferry: is not recorded for requests that name no device\n")

    def test_status_for_programs(self):
        self.car.tag(song(1))
        self.car.attach(7, name="Mine")
        status = self.reply("status")
        self.assertEqual(status["devices"], [{"id": 7, "name": "Mine"}])
        self.assertEqual((status["stored"], status["limit"]), (0, 10))
        self.assertEqual(status["lastTransfer"], STATUS["TRANSFER_SUCCEEDED"])
        self.assertEqual(status["pid"], self.car.service.pid)
        age = time.time() - time.mktime(time.strptime(status["since"] + "+0000",
                                                      "%Y-%m-%dT%H:%M:%SZ%z")) + time.timezone
        self.assertLess(abs(age), DEADLINE)
        self.assertEqual(status["props"], {
            "connectionStatus": {"Devices": [7]}, "localStatus": {"Current": 0, "Max": 10},
            "transferStatus": STATUS["TRANSFER_SUCCEEDED"]})

    def test_status_for_people(self):
        self.car.tag(song(1))
        self.assertRegex(self.run_client("status"),
                         r"^Service        running since [-0-9]{10} [:0-9]{8}, process "
                         rf"{self.car.service.pid}\nDevices        none\nStored         1 of 10\n"
                         r"Last transfer  STORED_LOCAL: it waits in the unit for an iPod\n$")

    def test_clear(self):
        self.car.tag(song(1))
        self.assertEqual(self.reply("clear"), STATUS["OK"])
        self.assertEqual(self.stored(), [])

    def test_clear_asks_on_a_terminal(self):
        self.car.tag(song(1))
        status, shown = self.on_terminal("clear", answer=b"n\n")
        self.assertEqual(status, 1)
        self.assertIn("Drop all tags that wait in the unit? [y/N]", shown)
        self.assertIn("nothing was dropped", shown)
        self.assertEqual(self.stored(), ["Song 1"])
        self.assertEqual(self.on_terminal("clear", answer=b"y\n")[0], 0)
        self.assertEqual(self.stored(), [])

    def test_clear_does_not_ask_who_said_yes(self):
        self.car.tag(song(1))
        status, shown = self.on_terminal("clear", "--yes")
        self.assertEqual((status, shown), (0, "OK: done\r\n"))
        self.assertEqual(self.stored(), [])

    def test_colours_are_for_terminals_that_want_them(self):
        marked = "\x1b["
        words = ("watch", "--until", "appeared")
        self.assertIn(marked, self.on_terminal(*words)[1])
        self.assertNotIn(marked, self.on_terminal(*words, environment={"NO_COLOR": "1"})[1])
        self.assertNotIn(marked, self.on_terminal(*words, environment={"TERM": "dumb"})[1])
        self.assertNotIn(marked, self.run_client(*words))

    def test_a_service_that_is_not_there_gives_status_3(self):
        self.car.service.kill()
        for words in (("status",), ("clear",), ("check", "--name", "x"), ("tag", "--name", "x"),
                      ("decode", "--send", SINGLE)):
            self.assertIn("is not on the bus. Start it", self.run_client(*words, status=3))
        for words in (("now",), ("press",)):
            self.assertIn("com.veldan.service.Radio) is not on the bus",
                          self.run_client(*words, status=3))

    def test_a_service_that_does_not_answer_gives_status_1(self):
        # It stands still and does not die, so that only the time-out ends the wait.
        self.car.service.program.process.send_signal(signal.SIGSTOP)
        try:
            self.assertIn("no answer within 1 s",
                          self.run_client("status", "--timeout", "1", status=1))
        finally:
            self.car.service.program.process.send_signal(signal.SIGCONT)

    def test_a_service_that_ends_meanwhile_gives_status_1(self):
        self.folder.configuration.write_text("<cut")
        self.assertIn("ended before it answered tagRequest",
                      self.run_client("tag", "--name", "One", status=1))


class Watch(ClientTest):
    """The events that the client prints as they come."""

    def watch(self, *words):
        return Program([binary("songlatchctl"), "watch", *words],
                       calls.environment(self.car.bus), errors=subprocess.STDOUT)

    def wait(self, watch, pattern, position=0):
        """The place behind the first such line, and what its groups hold."""
        position, line = watch.output.wait(lambda text: re.search(pattern, text), position,
                                           pattern)
        return position, re.search(pattern, line).groups()

    def test_events_come_with_their_time_until_it_is_ended(self):
        stamp = r"^[-0-9]{10} [:0-9]{8}  "
        watch = self.watch()
        position, _ = self.wait(watch, stamp + "appeared          the service is there")
        self.car.exchange("clearAllLocalTags")
        position, _ = self.wait(watch, stamp + "localStatus       0 of 10 stored", position)
        self.car.attach(7)
        position, _ = self.wait(watch, stamp + "connectionStatus  devices: 7", position)
        self.car.service.kill()
        self.wait(watch, stamp + "vanished          the service is not there", position)
        watch.process.send_signal(signal.SIGTERM)
        self.assertEqual(watch.wait(), 0)

    def test_events_are_one_line_of_json_each(self):
        watch = self.watch("--json", "--until", "connectionStatus")
        self.wait(watch, '"event":"appeared"')
        self.car.exchange("clearAllLocalTags")
        self.car.attach(7)
        self.assertEqual(watch.wait(), 0)
        events = [json.loads(line) for line in watch.output.finish()]
        self.assertEqual([(event["event"], event["value"]) for event in events], [
            ("appeared", None), ("localStatus", {"Current": 0, "Max": 10}),
            ("connectionStatus", {"Devices": [7]})])
        for event in events:
            self.assertRegex(event["time"], r"^[-0-9]{10}T[:0-9]{8}Z$")

    def test_it_ends_with_the_status_that_is_awaited(self):
        self.car.tag(song(1))
        watch = self.watch("--until", "TRANSFER_SUCCEEDED")
        self.wait(watch, "appeared")
        self.car.attach(7)
        self.assertEqual(watch.wait(), 0)
        self.assertIn("TRANSFER_SUCCEEDED: what waited went to an iPod",
                      list(watch.output.finish())[-1])

    def test_what_does_not_come_in_time_gives_status_1(self):
        self.assertIn("vanished did not come within 1 s",
                      self.run_client("watch", "--until", "vanished", "--timeout", "1", status=1))


if __name__ == "__main__":
    main()
