"""The start: the command line, the configuration, the files, the bus."""

import datetime
import email.utils
import os
import pathlib
import re
import shutil

from expected import VERSION, candidate_file, tag_file
from harness import CarTest, connected, local, main, song
from car.programs import binary, run

STARTING = f"Warning: -----> Starting version {VERSION} <-----"
EXITING = "Warning: Exiting"
DESTROYED = "Destroyed CTellbusEventRouter."
INSTALLED_LOG = "/tmp/Songlatching.log"


class StartTest(CarTest):
    """The rig runs; the test starts the service."""

    def prepare(self):
        self.car.start_rig()

    def run_to_its_end(self, **options):
        """Starts a service that must end by itself: its exit status and what it printed."""
        self.car.spawn_service(**options)
        return self.car.service.finish()

    def assert_ends(self, printed, *last_lines, **options):
        """It ends with status 0, having printed these lines, with these at the end of the log."""
        log = self.mark()
        status, output = self.run_to_its_end(**options)
        self.assertEqual((status, output.splitlines()), (0, printed))
        lines = self.folder.log(log)
        self.assertEqual(lines[len(lines) - len(last_lines):], list(last_lines))


class FirstStart(StartTest):
    """The files of a unit that has never run."""

    NO_TAGS = "Error: Songlatching: XMLTools_LoadTags: Failed to parse document."
    NO_RECORD = "Error: Songlatching: XMLTools_LoadTagIdMgr: Failed to parse document."

    def test_the_first_signals_and_the_whole_log(self):
        self.assertEqual(self.car.start_service(), [local(0), connected()])
        lines = self.folder.log()
        self.assertEqual(lines[:8], [
            f"Warning: Main: -----> Starting version {VERSION} <-----",
            "Warning: Main: File Logging is: true",
            f"Message: Main: Log file: {self.folder.log_path}",
            f"Message: Main: Config File:{self.folder.configuration}",
            "Message: CTaggingImpl_Constructor: Item created",
            "Message: CTaggingImpl_Constructor: Subscribing",
            "Message: CTaggingImpl_Constructor: Loading Configuration",
            f"Message: XMLTools_LoadConfig: Attempting Parse of {self.folder.configuration}"])
        self.assertEqual(self.log_of("CTaggingImpl_Constructor")[-1], "Getting Devices")
        self.assertEqual(self.log_of("CTaggingImpl_getDevices"), ["fired"])
        self.assertEqual(self.log_of("CTaggingImpl_SonglatchingReady"), ["fired"])

    def test_only_the_missing_files_are_complained_of_and_none_is_made(self):
        self.car.start_service()
        self.assertEqual(self.files(), {"AmbigTag.xml": candidate_file([])})
        self.car.service.kill()
        # Twice: at the start, and by the transfer that the answer to getDevices tries.
        self.assertEqual("".join(self.car.service.program.output.finish()).splitlines(),
                         [self.NO_TAGS, self.NO_RECORD] * 2)

    def test_candidates_count_whole_in_the_first_status_and_half_later(self):
        self.fill([song(number) for number in range(5)],
                  [song(number) for number in range(10, 14)])
        self.assertEqual(self.car.start_service(), [local(9), connected()])
        self.assertEqual(self.car.properties("localStatus"), {"localStatus": local(9)[1]})
        self.assertEqual(self.car.tag(song(20))[1], [local(8)])

    def test_a_missing_tags_file_is_no_harm(self):
        self.assertFalse(self.folder.tags.exists())
        self.assertEqual(self.car.start_service()[0], local(0))

    def test_a_missing_or_damaged_candidates_file_ends_the_process(self):
        for damage in (None, "", "<MarkedTracks>", "<MarkedTracks><AmbigTag></MarkedTracks>"):
            with self.subTest(damage):
                self.folder.candidates.unlink(missing_ok=True)
                if damage is not None:
                    self.folder.candidates.write_text(damage)
                status, printed = self.run_to_its_end()
                self.assertEqual(status, 0)
                self.assertIn("Error: Songlatching: Main: Error code: 2 - Message: "
                              "Failed to parse document\n", printed)
                self.assertEqual(self.log_of("Main")[-2:], [
                    "Error: Error code: 2 - Message: Failed to parse document", EXITING])

    def test_a_bad_number_in_the_candidates_file_ends_the_process(self):
        self.folder.candidates.write_text('<M><AmbigTag ButtonPressed="x"/></M>')
        self.assert_ends(
            [self.NO_TAGS, DESTROYED, "Error: Songlatching: Main: "
             'Error code: 3 - Message: Error casting "x" to integer'],
            'Error: Main: Error code: 3 - Message: Error casting "x" to integer',
            "Warning: Main: Exiting")

    def test_a_damaged_tags_file_counts_as_empty_and_is_not_touched_at_the_start(self):
        half = tag_file([song(1), song(2)])[:-30]
        self.folder.tags.write_bytes(half)
        self.car.launch_service()
        self.assertEqual(self.car.settle()[0], local(0))
        self.assertIn("Error: Failed to parse document.", self.log_of("XMLTools_LoadTags"))


class Configuration(StartTest):
    """The configuration file, and the option that names it."""

    RUNNING_PARSER = ("Error: XMLTools_LoadConfig: Error running Parser",
                      "Error: Main: Error code: 2 - Message: Error running Parser",
                      "Warning: Main: Exiting")
    COMPLAINTS = ("Error: Songlatching: XMLTools_LoadConfig: Failed to parse document.",
                  "Error: Songlatching: XMLTools_LoadConfig: Error running Parser",
                  "Error: Songlatching: Main: Error code: 2 - Message: Error running Parser")

    def assert_refused(self, **options):
        status, printed = self.run_to_its_end(**options)
        self.assertEqual(status, 0)
        # What else is printed is the parser's own text.
        ours = [line for line in printed.splitlines() if line in (*self.COMPLAINTS, DESTROYED)]
        self.assertEqual(ours, [*self.COMPLAINTS[:2], DESTROYED, self.COMPLAINTS[2]])
        lines = self.folder.log()
        self.assertEqual(tuple(lines[-3:]), self.RUNNING_PARSER)
        self.assertEqual(lines[-4], "Error: XMLTools_LoadConfig: Failed to parse document.")

    def test_a_missing_file_ends_the_process(self):
        self.folder.configuration.unlink()
        self.assert_refused()

    def test_a_damaged_file_ends_the_process(self):
        for text in ("", "<configuration>", "no XML", "<a></b>"):
            with self.subTest(text):
                self.folder.configuration.write_text(text)
                self.assert_refused()

    def test_a_limit_that_is_no_number_logs_only_the_running_parser(self):
        self.folder.configure(limit="many")
        self.assert_ends([self.COMPLAINTS[1], DESTROYED, self.COMPLAINTS[2]], *self.RUNNING_PARSER)
        self.assertNotIn("Error: Failed to parse document.", self.log_of("XMLTools_LoadConfig"))

    def test_an_empty_path_is_taken_and_cannot_be_read(self):
        self.assert_refused(arguments=["-config="])
        self.assertIn("Config File:", self.log_of("Main"))

    def test_a_later_option_wins(self):
        self.assert_path(str(self.folder.configuration),
                         ["-config=/nowhere/a", f"-config={self.folder.configuration}"])

    def test_the_character_after_config_is_not_looked_at(self):
        shutil.copy(self.folder.configuration, self.car.root / "path")
        self.assert_path("path", ["-configXpath"])

    def test_config_alone_takes_what_stands_after_it_in_memory(self):
        path = str(self.folder.configuration)
        self.assert_path(path, ["-config", path])

    def test_other_arguments_are_skipped_without_a_word(self):
        path = str(self.folder.configuration)
        self.assert_path(path, [f"-config={path}", "DEBUG", "FILELOGGING", "CONFIGFILE",
                                "/nowhere", "-confi", "--config=/nowhere", "-Config=/nowhere", ""])

    def assert_path(self, path, arguments):
        self.car.start_service(arguments=arguments)
        self.assertEqual(self.log_of("Main"), [
            STARTING, "Warning: File Logging is: true", f"Log file: {self.folder.log_path}",
            f"Config File:{path}"])

    def test_an_empty_folder_is_the_working_directory(self):
        self.folder.configuration.write_text(
            '<c><localStorage folder=""/><maxTagCount value="3"/></c>')
        (self.car.root / "AmbigTag.xml").write_bytes(candidate_file([]))
        self.assertEqual(self.car.start_service()[0], local(0, 3))
        self.car.tag(song(1))
        self.assertEqual((self.car.root / "Tags.xml").read_bytes(), tag_file([song(1)]))

    def test_what_the_file_leaves_out_is_0_and_false(self):
        self.folder.configuration.write_text(
            f'<any><deep><localStorage folder="{self.folder.store}/"/></deep></any>')
        self.assertEqual(self.car.start_service()[0], local(0, 0))
        self.assertEqual(self.car.tag(song(1))[0]["Name"], "LOCAL_STORAGE_FULL")

    def test_a_limit_of_minus_one_leaves_max_at_0(self):
        self.folder.configure(limit=-1)
        self.assertEqual(self.car.start_service()[0], local(0, 0))

    def test_a_change_takes_effect_at_the_next_piece_of_work(self):
        self.car.start_service()
        self.folder.configure(limit=1)
        self.assertEqual(self.car.tag(song(1))[0]["Name"], "STORED_LOCAL")
        self.assertEqual(self.car.tag(song(2))[0]["Name"], "LOCAL_STORAGE_FULL")
        self.folder.configure(limit=2)
        self.assertEqual(self.car.tag(song(2))[0]["Name"], "STORED_LOCAL")


class Sample(StartTest):
    """The sample configuration and the tag file of a first start, as they are delivered."""

    def test_a_unit_starts_on_them(self):
        packaging = pathlib.Path(__file__).resolve().parents[2] / "packaging"
        sample = (packaging / "etc" / "Songlatch.conf").read_text()
        self.assertIn('<localStorage folder="/var/lib/songlatch"/>', sample)
        self.folder.configuration.write_text(
            sample.replace("/var/lib/songlatch", str(self.folder.store)))
        shutil.copy(packaging / "AmbigTag.xml", self.folder.candidates)
        self.assertEqual(self.car.start_service(), [local(0, 100), connected()])
        self.assertEqual(self.car.tag(song(1))[0]["Name"], "STORED_LOCAL")


class Bus(StartTest):
    """The bus at the start."""

    def test_no_bus_prints_one_line_and_ends_without_a_last_word(self):
        self.car.bus.address = "unix:path=/nowhere/bus"
        status, printed = self.run_to_its_end()
        self.assertEqual(status, 0)
        self.assertRegex(
            printed, r"\ACTellbusEventServerBase: TELLBUS_getConnection error 0x[89A-F][0-9A-F]+\n\Z")
        self.assertEqual(self.folder.log()[-1],
                         f"Message: Main: Config File:{self.folder.configuration}")

    def test_a_name_that_is_taken_is_told_and_the_first_owner_goes_on(self):
        self.car.start_service()
        first, self.car.service = self.car.service, None
        self.car.spawn_service()
        second, self.car.service = self.car.service, first
        self.addCleanup(second.kill)
        words = re.compile(
            r"CTellbusEventServerBase: TELLBUS_registerService error 0x[89A-F][0-9A-F]+\n")
        second.program.output.wait(words.fullmatch)
        self.assertEqual(self.car.tag(song(1))[0]["Name"], "STORED_LOCAL")


class Installed(StartTest):
    """The program as it is installed, which logs to its one place."""

    def test_without_arguments_it_reads_its_configuration_in_etc(self):
        # A damaged file would end it, a good one keeps it running: the line is all that counts.
        position = self.car.monitor.position
        self.car.spawn_service(arguments=[])
        self.car.monitor.wait(lambda message: message.member == "Hello", position)
        self.car.service.kill()
        self.assertIn("Message: Main: Config File:/etc/Songlatch.conf", self.folder.log())

    def test_it_carries_the_usage_and_information_records_word_for_word(self):
        self.assertEqual(self.record("QNX_usage"), [
            "service to handle HD Radio Tag for Purchase",
            "Read doc/SonglatchingJSONInterface.doc for further information",
            "",
            "Supports DEBUG , FILELOGGING, CONFIGFILE as arugments.",
            "- DEBUG outputs messages to the screen",
            "- FILELOGGING outputs the same messages to /tmp/Songlatching.log",
            "- CONFIGFILE takes the next argument as the full path to the config file.",
            "  ex: CONFIGFILE /etc/Songlatchingconfig.xml"])
        information = self.record("QNX_info")
        self.assertEqual(information[:4], [
            "NAME=Songlatch", "DESCRIPTION=Service to handle HD Radio Tag for Purchase",
            "STATE=Experimental", f"VERSION={VERSION}"])
        self.assertEqual(information[4], f"DATE={self.date_of_the_sources()}")

    @staticmethod
    def date_of_the_sources():
        """That of the newest entry in the changelog: two builds of it are the same on any day."""
        changelog = pathlib.Path(__file__).parents[2] / "packaging" / "debian" / "changelog"
        entry = re.search(r"^ -- .*  (.*)$", changelog.read_text(encoding="utf-8"), re.MULTILINE)
        moment = os.environ.get("SOURCE_DATE_EPOCH",
                                email.utils.parsedate_to_datetime(entry[1]).timestamp())
        date = datetime.datetime.fromtimestamp(float(moment), datetime.timezone.utc)
        return f"{date:%b} {date.day:2} {date:%Y}"

    def test_a_linker_that_drops_what_nothing_refers_to_keeps_the_records(self):
        for section in ("QNX_usage", "QNX_info"):
            self.assertEqual(self.record(section, "Songlatch-undertest"), self.record(section))

    def record(self, section, program="Songlatch"):
        """The lines of a section of the program."""
        path = self.folder.path / section
        run(["objcopy", "--dump-section", f"{section}={path}", binary(program), os.devnull])
        return path.read_text().rstrip("\0").removesuffix("\n").split("\n")

    def test_it_stores_a_tag_and_logs_to_tmp(self):
        self.assertTrue(os.access(binary("Songlatch"), os.X_OK))
        self.car.start_service(program="Songlatch")
        self.assertEqual(self.car.tag(song(1))[0]["Name"], "STORED_LOCAL")
        self.assert_stored([song(1)])
        if not os.access(INSTALLED_LOG, os.W_OK):
            self.skipTest(f"{INSTALLED_LOG} belongs to somebody else")
        with open(INSTALLED_LOG, encoding="utf-8", errors="replace") as log:
            lines = log.read().split("\n")
        self.assertIn(f"Message: XMLTools_WriteTagXML: Target file: {self.folder.tags}", lines)
        ours = lines.index(f"Message: Main: Config File:{self.folder.configuration}")
        self.assertIn("Message: Main: Log file: /tmp/Songlatching.log", lines[:ours])


if __name__ == "__main__":
    main()
