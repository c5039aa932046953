"""songlatchctl against the running service."""

import json
import signal
import subprocess

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


class Client(CarTest):
    """Each command that speaks to the service."""

    def run_client(self, *words, text="", status=0):
        done = subprocess.run([binary("songlatchctl"), *words], input=text, text=True,
                              env=calls.environment(self.car.bus), capture_output=True,
                              check=False)
        self.assertEqual(done.returncode, status, done.stderr)
        return done.stdout if status == 0 else done.stderr

    def reply(self, *words, **options):
        return json.loads(self.run_client(*words, **options))

    def test_a_captured_stream_is_marked(self):
        self.assertEqual(self.reply("decode", "--send", "-", text=SINGLE), STATUS["STORED_LOCAL"])
        self.assertEqual(self.stored(), ["Midnight Ferry"])

    def test_both_candidates_of_an_ambiguous_stream_are_marked(self):
        self.assertEqual(self.reply("decode", "--send", AMBIGUOUS), STATUS["STORED_LOCAL"])
        self.assertEqual(self.candidates(), ["One", "Two"])

    def test_what_decode_prints_is_what_tag_takes(self):
        request = self.run_client("decode", SINGLE)
        self.assertEqual(self.reply("tag", "-", text=request), STATUS["STORED_LOCAL"])
        self.assertEqual(self.stored(), ["Midnight Ferry"])

    def test_a_device_goes_with_the_request(self):
        self.reply("decode", "--send", "--device", "4", SINGLE)
        words = ("check", "--name", "Midnight Ferry", "--artist", "Ilsen", "--song-id",
                 "418273956")
        self.assertTrue(self.reply(*words, "--device", "4")["tagged"])
        self.assertFalse(self.reply(*words, "--device", "5")["tagged"])

    def test_status_and_clear(self):
        self.car.tag(song(1))
        self.assertEqual(self.reply("status")["props"], {
            "connectionStatus": {"Devices": []}, "localStatus": {"Current": 1, "Max": 10},
            "transferStatus": STATUS["STORED_LOCAL"]})
        self.assertEqual(self.reply("clear"), STATUS["OK"])
        self.assertEqual(self.stored(), [])

    def test_watch_prints_signals_until_it_is_ended(self):
        watch = Program([binary("songlatchctl"), "watch"], calls.environment(self.car.bus),
                        errors=subprocess.STDOUT)
        def wait(start, position=0):
            position, line = watch.output.wait(lambda text: text.startswith(start), position,
                                               start)
            return position, line[len(start):]

        wait("the service is there\n")
        self.car.exchange("clearAllLocalTags")
        position, data = wait("localStatus ")
        self.assertEqual(json.loads(data), {"Current": 0, "Max": 10})
        self.car.attach(7)
        position, data = wait("connectionStatus ", position)
        self.assertEqual(json.loads(data), {"Devices": [7]})
        self.car.service.kill()
        wait("the service is not there\n", position)
        watch.process.send_signal(signal.SIGTERM)
        self.assertEqual(watch.wait(), 0)

    def test_a_service_that_is_not_there(self):
        self.car.service.kill()
        for words in (("status",), ("clear",), ("check", "--name", "x"),
                      ("decode", "--send", SINGLE)):
            self.assertIn("is not on the bus", self.run_client(*words, status=1))

    def test_a_service_that_does_not_answer(self):
        # It stands still and does not die, so that only the time-out ends the wait.
        self.car.service.program.process.send_signal(signal.SIGSTOP)
        try:
            self.assertIn("no answer within 1 s",
                          self.run_client("status", "--timeout", "1", status=1))
        finally:
            self.car.service.program.process.send_signal(signal.SIGCONT)

    def test_a_request_that_ends_the_service(self):
        message = self.run_client("tag", "-", text='{"tags":[{"iTunesSongID":"text"}]}', status=1)
        self.assertIn("the service ended before it answered", message)


if __name__ == "__main__":
    main()
