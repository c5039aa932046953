"""songlatch-radio, with and without a bus, beside the running service."""

import json
import os
import pathlib
import pty
import signal
import subprocess
import sys
import tempfile
import unittest

from harness import STATUS, CarTest, main
from car import calls, tagfiles
from car.programs import DEADLINE, Program, binary

RADIO = "com.veldan.service.Radio"
PACKAGING = pathlib.Path(__file__).resolve().parents[2] / "packaging"
PAGE = PACKAGING.parent / "docs" / "radio.md"
FIXTURES = pathlib.Path(__file__).resolve().parents[1] / "fixtures" / "radio"
LOG = FIXTURES / "quarter-hour.log"
CHANGES = (FIXTURES / "quarter-hour.jsonl").read_text(encoding="utf-8")
SINGLE = "000101000000000000000000000000005859"
"""A tag stream: "X" by "Y"."""


def event(title, artist="Ilsen", time="17:00:01"):
    """The lines of one event."""
    return f"{time} Title: {title}\n{time} Artist: {artist}\n"


BREAK = "17:00:02 Artist: Tidewater Motors\n17:00:03 Artist: Tidewater Motors\n"


def titles(output):
    """What is printed, as the names of the songs."""
    songs = [json.loads(line)["song"] for line in output.splitlines()]
    return [song and song["Name"] for song in songs]


class Print(unittest.TestCase):
    """Without a bus: the input goes in, changes come out."""

    maxDiff = None

    def run_radio(self, *words, data=b"", status=0):
        done = subprocess.run([binary("songlatch-radio"), *words], input=data, timeout=DEADLINE,
                              capture_output=True, check=False, env=self.without_bus())
        self.assertEqual(done.returncode, status, done.stderr)
        return (done.stdout if status == 0 else done.stderr).decode()

    def without_bus(self):
        return {**os.environ, "DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/nonexistent/bus"}

    def printed(self, data, *words):
        return self.run_radio("--print", *words, data=data)

    def received(self, data, *words):
        return self.printed(data, "--frequency", "95.5", "--program", "0", *words)

    def test_a_quarter_of_an_hour(self):
        self.assertEqual(self.received(LOG.read_bytes()), CHANGES)

    def test_the_same_from_a_file(self):
        self.assertEqual(self.received(b"", "--input", str(LOG)), CHANGES)

    def test_the_same_with_the_format_named(self):
        self.assertEqual(self.received(LOG.read_bytes(), "--format", "nrsc5"), CHANGES)

    def test_the_same_with_windows_line_ends(self):
        self.assertEqual(self.received(LOG.read_bytes().replace(b"\n", b"\r\n")), CHANGES)

    def test_the_same_in_the_older_form_in_colours(self):
        older = "".join(f"{line[:8]} \x1b[32mINFO \x1b[0m \x1b[90mmain.c:{number}:\x1b[0m"
                        f"{line[8:]}\n"
                        for number, line in enumerate(LOG.read_text("utf-8").splitlines()))
        self.assertEqual(self.received(older.encode()), CHANGES)

    def test_the_worked_example_of_the_page(self):
        page = PAGE.read_text(encoding="utf-8")
        log, changes = (page.split(f"\n{fence}\n")[1].split("```")[0]
                        for fence in ("```", "```json"))
        self.assertEqual(self.received(log.encode()), changes)

    def test_the_log_is_what_its_maker_makes(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([sys.executable, FIXTURES / "make_log.py", folder], check=True)
            for name in (LOG.name, "quarter-hour.jsonl"):
                self.assertEqual((pathlib.Path(folder) / name).read_text("utf-8"),
                                 (FIXTURES / name).read_text("utf-8"))

    def test_what_is_printed_can_be_read_again(self):
        self.assertEqual(self.printed(CHANGES.encode()), CHANGES)
        self.assertEqual(self.printed(CHANGES.encode(), "--format", "json"), CHANGES)

    def test_tag_streams(self):
        self.assertEqual(titles(self.printed(f"{SINGLE}\n{SINGLE}\n".encode())), ["X"])

    def test_each_change_is_printed_at_once(self):
        radio = Program([binary("songlatch-radio"), "--print"], self.without_bus(),
                        stdin=subprocess.PIPE)
        self.addCleanup(radio.kill)
        radio.say(event("One") + "17:00:02 Artist: x")
        radio.output.wait(lambda line: '"One"' in line, what="the first song")
        radio.output.wait(lambda line: '"song":null' in line, what="the break")

    def test_the_last_event_is_printed_when_nothing_follows(self):
        radio = Program([binary("songlatch-radio"), "--print"], self.without_bus(),
                        stdin=subprocess.PIPE)
        self.addCleanup(radio.kill)
        radio.say(event("One"))
        radio.output.wait(lambda line: '"One"' in line, what="the song")

    def test_a_time_of_its_own_where_the_input_has_none(self):
        line = json.loads(self.printed(b"Title: One\nArtist: A\n"))
        self.assertRegex(line["time"], r"^\d\d:\d\d:\d\d$")

    def test_a_fifo_is_read_on_when_its_writer_has_gone(self):
        with tempfile.TemporaryDirectory() as folder:
            fifo = pathlib.Path(folder) / "fifo"
            os.mkfifo(fifo)
            radio = Program([binary("songlatch-radio"), "--print", "--input", str(fifo)],
                            self.without_bus())
            self.addCleanup(radio.kill)
            for title in ("One", "Two", "Three"):
                # Each line by a writer of its own, as by echo in a script.
                for line in (*event(title).splitlines(), "17:00:01 BER: 0"):
                    fifo.write_text(f"{line}\n", encoding="utf-8")
                radio.output.wait(lambda line, title=title: f'"{title}"' in line, what=title)

    def test_signals_end_it_in_order(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            radio = Program([binary("songlatch-radio"), "--print"], self.without_bus(),
                            stdin=subprocess.PIPE)
            radio.say(event("One") + event("Two") + "17:00:01 Title: Three")
            radio.output.wait(lambda line: '"One"' in line, what="the song")
            radio.process.send_signal(number)
            self.assertEqual(radio.wait(), 0)
            self.assertEqual(titles("".join(radio.output.finish())), ["One", "Two", None])

    def test_bytes_of_any_kind_and_lines_of_megabytes(self):
        noise = bytes(range(256)) * 50000
        data = (noise + b"\n17:00:01 Title: Caf\xe9 \xf0\x9f\n17:00:01 Artist: \xff\n"
                + b"17:00:02 Title: " + b"x" * 3000000 + b"\n17:00:02 Artist: A\n" + noise)
        output = [json.loads(line)["song"] for line in self.printed(data).splitlines()]
        self.assertEqual(output, [{"Name": "Caf\ufffd \ufffd", "Artist": "\ufffd"},
                                  {"Name": "x" * 4096, "Artist": "A"}])

    def test_no_output_is_a_failure(self):
        with open("/dev/full", "wb") as full:
            done = subprocess.run([binary("songlatch-radio"), "--print"], stdout=full,
                                  input=event("One").encode(), stderr=subprocess.PIPE, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"standard output", done.stderr)

    def test_a_damaged_line_is_said_once(self):
        done = subprocess.run([binary("songlatch-radio"), "--print", "--format", "json"],
                              input=b"no json\nno json\n{}\n", capture_output=True, check=False)
        self.assertEqual((done.returncode, done.stdout), (0, b""))
        self.assertEqual(done.stderr.count(b"\n"), 1)
        self.assertIn(b"--format", done.stderr)

    def test_wrong_usage_and_inputs_that_are_not_there(self):
        self.assertIn("--help", self.run_radio("--nonsense", status=2))
        self.assertIn("/nonexistent/log", self.run_radio("--print", "--input", "/nonexistent/log",
                                                         status=1))
        self.assertIn("songlatch-radio 1.", self.run_radio("--version"))
        self.assertIn("--overlap SECONDS", self.run_radio("--help"))

    def test_without_a_bus_only_print_works(self):
        self.assertIn("DBUS_SYSTEM_BUS_ADDRESS", self.run_radio(status=3))


class RadioTest(CarTest):
    """A car with the radio in it."""

    words = ()

    def prepare(self):
        super().prepare()
        self.start_radio(*self.words)

    def start_radio(self, *words, stdin=subprocess.PIPE, environment=None):
        position = self.car.monitor.position
        self.radio = Program([binary("songlatch-radio"), *words],
                             {**self.car.bus.environment, **(environment or {})},
                             stdin=stdin, errors=self.car.root / "radio.err")
        self.addCleanup(self._end_radio)
        self.car.monitor.wait_for_owner(RADIO, position)

    def _end_radio(self):
        if self.radio.running:
            self.radio.process.send_signal(signal.SIGTERM)
        self.assertEqual(self.radio.wait(), 0)
        self.assert_errors("radio.err", (self.car.root / "radio.err").read_text())

    def hear(self, text, title):
        """Has the radio hear this, and waits until it says that the song plays; None for none."""
        position = self.car.monitor.position
        self.radio.say(text.rstrip("\n"))
        self.wait_for_song(title, position)

    def wait_for_song(self, title, position=0):
        def fits(message):
            if not message.is_signal("nowPlaying"):
                return False
            song = json.loads(message.text)["song"]
            return (song and song["Name"]) == title
        self.car.monitor.wait(fits, position, f"the signal for {title}")

    def ask(self, method, text=None, options=()):
        arguments = [] if text is None else ["s", text]
        return json.loads(json.loads(calls.busctl_raw(
            self.car.bus, method, *arguments, to=RADIO, options=options))["data"][0])

    def press(self, parameters=None):
        return self.ask("tagNow", None if parameters is None else json.dumps(parameters))

    def wait_for_answer(self, name, position=0):
        """The place behind the line that tells the answer to a press."""
        return self.radio.output.wait(
            lambda line: line.startswith("press: ") and line.endswith(f"{name}\n"), position,
            f"a press answered {name}")[0]


class OnTheBus(RadioTest):
    """What the radio tells and takes."""

    words = ("--frequency", "95.5", "--program", "1", "--overlap", "3600")

    def test_nothing_plays_at_first(self):
        self.assertEqual(self.ask("nowPlaying"), {"song": None, "station": {}, "time": ""})
        self.assertEqual(self.press()["Name"], "NOTHING_PLAYING")

    def test_a_press_marks_what_plays(self):
        self.hear("17:00:00 Station name: QBAY-FM\n17:00:01 Title: Midnight Ferry\n"
                  "17:00:01 Artist: Ilsen\n17:00:01 Album: Low Water\n17:00:01 Genre: Rock\n"
                  "17:00:01 Unique file identifier: http://qbay.example 418273956\n",
                  "Midnight Ferry")
        self.assertEqual(self.press(), STATUS["STORED_LOCAL"])
        record, = tagfiles.records(self.folder.tags, "Tag")
        self.assertRegex(record.pop("TimeStamp"), r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
        self.assertEqual({name: value for name, value in record.items() if value not in ("", "0")}, {
            "Name": "Midnight Ferry", "Artist": "Ilsen", "Album": "Low Water", "Genre": "Rock",
            "iTunesSongID": "418273956", "StationURL": "http://qbay.example",
            "StationCallLetters": "QBAY-FM", "StationFrequency": "95.5", "ProgramNumber": "2"})

    def test_a_press_counts_for_what_has_just_come(self):
        self.hear(event("One"), "One")
        self.radio.say("17:00:02 Slogan: Best\n" + event("Two", time="17:00:03").rstrip("\n"))
        # The answer to a question asked behind the lines may come before they are read, but never
        # before a silence has passed; so ask until the second song is there.
        self.wait_for_song("Two")
        self.assertEqual(self.press(), STATUS["STORED_LOCAL"])
        self.assertEqual(self.candidates(), ["One", "Two"])

    def test_soon_after_a_change_both_songs_go(self):
        self.hear(event("One"), "One")
        self.hear(event("Two", time="17:00:03"), "Two")
        self.assertEqual(self.press(), STATUS["STORED_LOCAL"])
        records = tagfiles.records(self.folder.candidates, "AmbigTag")
        self.assertEqual([(record["Name"], record["ButtonPressed"]) for record in records],
                         [("One", "0"), ("Two", "1")])
        self.assertEqual(self.stored(), [])

    def test_in_a_break_nothing_is_marked(self):
        self.hear(event("One"), "One")
        self.hear(BREAK, None)
        answer = self.press()
        self.assertEqual((answer["Name"], answer["Value"]), ("NOTHING_PLAYING", 0))
        self.assertIn("nothing is playing", answer["Message"].lower())
        self.assertFalse(self.folder.tags.exists())
        self.assertEqual(self.candidates(), [])

    def test_what_plays_is_a_method_a_signal_and_a_property(self):
        self.hear("17:00:00 Station name: QBAY-FM\n17:00:00 Slogan: Best\n" + event("One"), "One")
        told = {"song": {"Name": "One", "Artist": "Ilsen", "StationCallLetters": "QBAY-FM",
                         "StationFrequency": "95.5", "ProgramNumber": 2},
                "station": {"name": "QBAY-FM", "slogan": "Best"}, "time": "17:00:01"}
        self.assertEqual(self.ask("nowPlaying"), told)
        _, message = self.car.monitor.wait_for_signal("nowPlaying", count=2)
        self.assertEqual(json.loads(message.text), told)
        self.assertEqual(message.path, "/com/veldan/service/Radio")
        self.assertEqual(self.ask("getProperties", '{"props":["nowPlaying","other"]}'),
                         {"props": {"nowPlaying": told}})

    def test_parameters_of_any_kind_do_no_harm(self):
        self.hear(event("One"), "One")
        for text in ("", "null", "[]", "5", '"x"', "{", "[" * 5000, '{"props":5}',
                     '{"props":{"a":1}}', '{"props":[5,null,[]]}'):
            self.assertEqual(self.ask("getProperties", text), {"props": {}}, text)
            self.assertEqual(self.ask("nowPlaying", text)["song"]["Name"], "One")
            self.assertEqual(self.ask("nonsense", text), {"errCode": "eFail"})
        for text in ("", "[]", "5", '{"deviceID":"7"}', '{"deviceID":7.5}',
                     '{"deviceID":9999999999}'):
            self.assertEqual(self.ask("tagNow", text), STATUS["STORED_LOCAL"], text)

    def test_a_device_goes_with_the_press(self):
        self.hear(event("One"), "One")
        self.press({"deviceID": 7})
        self.assertEqual(tagfiles.tagged(self.folder.tagged_info), [("One", "Ilsen", "", [7])])

    def test_a_press_that_wants_no_reply_marks_too(self):
        self.hear(event("One"), "One")
        calls.busctl_raw(self.car.bus, "tagNow", to=RADIO, options=("--expect-reply=no",))
        self.wait_for_answer("STORED_LOCAL")
        self.assertEqual(self.stored(), ["One"])

    def test_a_title_in_quotes_leaves_the_files_whole(self):
        self.hear(event('"Heroes" & "Villains" <Live>'), '"Heroes" & "Villains" <Live>')
        self.press()
        self.assertEqual(self.stored(), ["“Heroes” & “Villains” <Live>"])

    def test_ids_that_would_end_the_service_are_left_out(self):
        for number, identifier in enumerate(("2147483648", "-1", "text", "99999999999999999999")):
            self.hear(event(f"Song {number}") + f"17:00:01 Unique file identifier: Q {identifier}",
                      f"Song {number}")
            self.assertEqual(self.press(), STATUS["STORED_LOCAL"])
        self.assertTrue(self.car.service.program.running)

    def test_lost_synchronization_is_a_break(self):
        self.hear(event("One"), "One")
        self.hear("17:00:02 Lost synchronization", None)
        self.assertEqual(self.press()["Name"], "NOTHING_PLAYING")

    def test_when_the_receiver_ends_so_does_the_radio(self):
        self.hear(event("One"), "One")
        position = self.car.monitor.position
        self.radio.process.stdin.close()
        self.wait_for_song(None, position)
        self.assertEqual(self.radio.wait(), 0)


class Buttons(RadioTest):
    """The buttons that are not on the bus."""

    def prepare(self):
        super(RadioTest, self).prepare()

    def test_a_line_on_the_control_fifo(self):
        control = self.car.root / "control"
        self.start_radio("--control", str(control))
        self.hear(event("One"), "One")
        control.write_text("tag\n")
        self.wait_for_answer("STORED_LOCAL")
        self.assertEqual(self.stored(), ["One"])

    def test_the_signal(self):
        self.start_radio()
        self.radio.process.send_signal(signal.SIGUSR1)
        position = self.wait_for_answer("NOTHING_PLAYING")
        self.hear(event("One"), "One")
        self.radio.process.send_signal(signal.SIGUSR1)
        self.wait_for_answer("STORED_LOCAL", position)

    def on_a_terminal(self, *words, opening, stdin=subprocess.DEVNULL):
        """
        Starts the radio on a terminal of its own, opened as the shell is told, and gives our end of
        it. The first terminal that a new session opens is the one that controls it.
        """
        ours, theirs = pty.openpty()
        self.addCleanup(os.close, ours)
        self.radio = Program(
            ["setsid", "sh", "-c", f'exec {opening.format(os.ttyname(theirs))}; exec "$0" "$@"',
             binary("songlatch-radio"), *words], self.car.bus.environment, stdin=stdin)
        os.close(theirs)
        self.car.monitor.wait_for_owner(RADIO)
        return ours

    def end_on_terminal(self):
        self.radio.process.send_signal(signal.SIGTERM)
        self.assertEqual(self.radio.wait(), 0)

    def test_enter_on_the_terminal_beside_a_pipe(self):
        terminal = self.on_a_terminal(opening="2<>{}", stdin=subprocess.PIPE)
        self.hear(event("One"), "One")
        os.write(terminal, b"\n")
        self.wait_for_answer("STORED_LOCAL")
        self.end_on_terminal()

    def test_enter_on_a_terminal_that_is_standard_input_alone(self):
        log = self.car.root / "log"
        log.write_text(event("One"))
        terminal = self.on_a_terminal("--input", str(log), opening="<>{}")
        self.wait_for_song("One")
        os.write(terminal, b"\n")
        self.wait_for_answer("STORED_LOCAL")
        self.end_on_terminal()

    def test_enter_where_the_terminal_is_the_input(self):
        terminal = self.on_a_terminal(opening="<>{} 2>&0")
        os.write(terminal, event("One").encode())
        self.wait_for_song("One")
        os.write(terminal, b"\n")
        self.wait_for_answer("STORED_LOCAL")
        self.end_on_terminal()


class Service(RadioTest):
    """Presses when the service is not as it should be."""

    def test_without_service_the_answer_says_so(self):
        self.hear(event("One"), "One")
        self.car.service.kill()
        answer = self.press()
        self.assertEqual(answer["Name"], "NO_SERVICE")
        self.assertIn("not on the bus", answer["Message"])
        self.car.start_service()
        self.assertEqual(self.press(), STATUS["STORED_LOCAL"])

    def stopped_service(self):
        """A service that takes calls and does not answer."""
        self.car.service.program.process.send_signal(signal.SIGSTOP)
        self.addCleanup(self._go_on)

    def _go_on(self):
        if self.car.service.program.running:
            self.car.service.program.process.send_signal(signal.SIGCONT)

    def pressed(self):
        """A press whose answer is not waited for."""
        position = self.car.monitor.position
        press = Program(calls.busctl_command("tagNow", to=RADIO), self.car.bus.environment)
        self.addCleanup(press.wait)
        self.car.monitor.wait(lambda message: message.type == "method_call"
                              and message.member == "tagRequest", position, "the tagRequest")
        return press

    def answer_of(self, press):
        return json.loads(json.loads("".join(press.output.finish()))["data"][0])

    def test_a_service_that_dies_is_told_at_once(self):
        self.hear(event("One"), "One")
        self.stopped_service()
        press = self.pressed()
        self.car.service.kill()
        self.assertEqual(self.answer_of(press)["Name"], "NO_ANSWER")

    def test_a_service_that_does_not_answer_is_given_up(self):
        self.hear(event("One"), "One")
        self.stopped_service()
        first = self.pressed()
        second = self.pressed()
        # The radio goes on meanwhile.
        self.assertEqual(self.ask("nowPlaying")["song"]["Name"], "One")
        for press in (first, second):
            answer = self.answer_of(press)
            self.assertEqual(answer["Name"], "NO_ANSWER")
            self.assertIn("10 s", answer["Message"])

    def test_presses_that_wait_are_bounded(self):
        control = self.car.root / "control"
        self._end_radio()
        self.start_radio("--control", str(control))
        self.hear(event("One"), "One")
        self.stopped_service()
        # All at once, so that none is given up before the last has come.
        control.write_text("tag\n" * 33)
        self.wait_for_answer("TOO_MANY")
        self._go_on()
        self.wait_for_answer("STORED_LOCAL")

    def test_the_end_of_the_input_waits_for_the_answer(self):
        self.hear(event("One"), "One")
        self.stopped_service()
        press = self.pressed()
        position = self.car.monitor.position
        self.radio.process.stdin.close()
        self.wait_for_song(None, position)
        self.assertTrue(self.radio.running)
        self._go_on()
        self.assertEqual(self.answer_of(press), STATUS["STORED_LOCAL"])
        self.assertEqual(self.radio.wait(), 0)


class Record(RadioTest):
    """A file as input, and a second radio."""

    words = ("--input", str(LOG), "--overlap", "0")

    def prepare(self):
        super(RadioTest, self).prepare()
        self.start_radio(*self.words, stdin=subprocess.DEVNULL)

    def test_a_file_leaves_what_it_said_last(self):
        self.car.monitor.wait(lambda message: message.is_signal("nowPlaying") and json.loads(
            message.text)["time"] == json.loads(CHANGES.splitlines()[-1])["time"],
                              what="the last change")
        self.assertEqual(self.press(), STATUS["STORED_LOCAL"])
        self.assertEqual(self.stored(), ["Harbour Lights"])

    def test_the_description_shows_what_there_is(self):
        interfaces = self.car.root / "dbus-1" / "interfaces"
        interfaces.mkdir(parents=True)
        (interfaces / f"{RADIO}.xml").symlink_to(PACKAGING / "dbus" / f"{RADIO}.xml")
        self._end_radio()
        self.start_radio(*self.words, environment={"XDG_DATA_DIRS": str(self.car.root)})
        seen = subprocess.run(["busctl", "--system", "introspect", RADIO,
                               "/com/veldan/service/Radio"], capture_output=True, text=True,
                              env=calls.environment(self.car.bus), check=True).stdout
        for name in ("tagNow", "nowPlaying", "getProperties"):
            self.assertIn(f".{name} ", seen)

    def test_a_second_radio_says_that_the_name_is_taken(self):
        done = subprocess.run([binary("songlatch-radio"), *self.words], capture_output=True,
                              env=calls.environment(self.car.bus), check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn(b"another process owns it", done.stderr)


if __name__ == "__main__":
    main()
