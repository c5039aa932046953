"""songlatchctl on the service's files, with the service and without it."""

import csv
import datetime
import io
import json
import os
import plistlib
import subprocess

import expected
from harness import main, song, titles
from test_songlatchctl import ClientTest
from car import calls
from car.programs import Program, binary, run

FIELDS = ("Name", "Artist", "Album", "iTunesSongID", "StationFrequency", "StationCallLetters",
          "PodcastFeedURL", "StationURL", "Genre", "TimeStamp", "iTunesAffiliateID", "UnknownData")


class FilesTest(ClientTest):
    """The client with the configuration of the car."""

    def run_client(self, *words, **options):
        return super().run_client(*words, "--config", str(self.folder.configuration), **options)


class Reading(FilesTest):
    """The commands that read files and need no service."""

    def prepare(self):
        self.fill([song(1, Name='Say, "A & <B>', Album="東京"), song(2, ProgramNumber=3)],
                  [song(3, ButtonPressed=1), song(4, ButtonPressed=0)])

    def test_nothing_is_changed_or_logged(self):
        before = self.files()
        for words in (("list",), ("delivered",), ("plist",), ("export", "--format", "csv")):
            self.run_client(*words)
        self.assertEqual(self.files(), before)
        self.assertEqual(self.folder.log(), [])

    def test_what_waits_is_listed_for_people(self):
        lines = self.run_client("list").splitlines()
        self.assertRegex(lines[0], r"^No  Name +Artist +Album +Station  Heard$")
        self.assertRegex(lines[1], r'^1   Say, "A & <B>  Artist 1  東京')
        self.assertRegex(lines[3], r"^3a  Song 3 ")
        self.assertRegex(lines[4], r"^3b  Song 4 ")
        self.assertEqual(lines[5:], ["3 tags of at most 10"])

    def test_what_waits_is_listed_with_all_fields(self):
        said = self.run_client("list", "--all")
        self.assertIn("\nName           Song 2\n", said)
        self.assertIn("\nProgramNumber  3\n", said)
        self.assertRegex(said, r"\n3a\n(?:.+\n)*ButtonPressed  1\n")

    def test_what_waits_is_listed_for_programs(self):
        listed = self.reply("list")
        self.assertEqual((listed["stored"], listed["limit"]), (3, 10))
        self.assertEqual([(tag["number"], tag["Name"], tag["ambiguous"], tag.get("ButtonPressed"))
                          for tag in listed["tags"]],
                         [("1", 'Say, "A & <B>', False, None), ("2", "Song 2", False, None),
                          ("3a", "Song 3", True, 1), ("3b", "Song 4", True, 0)])

    def test_the_csv_is_read_by_others(self):
        # newline="" keeps the line ends of the format.
        done = subprocess.run([binary("songlatchctl"), "export", "--format", "csv", "--config",
                               self.folder.configuration], capture_output=True, check=True)
        rows = list(csv.DictReader(io.StringIO(done.stdout.decode(), newline="")))
        self.assertEqual([(row["number"], row["Name"], row["ambiguous"], row["ButtonPressed"])
                          for row in rows],
                         [("1", 'Say, "A & <B>', "no", ""), ("2", "Song 2", "no", ""),
                          ("3a", "Song 3", "yes", "1"), ("3b", "Song 4", "yes", "0")])
        listed = self.reply("export", "--format", "json")["tags"]
        for row, tag in zip(rows, listed):
            for field in FIELDS:
                self.assertEqual(row[field], tag[field])

    def test_the_property_list_is_what_an_ipod_gets(self):
        raw = subprocess.run([binary("songlatchctl"), "plist", "--config",
                              self.folder.configuration], capture_output=True, check=True).stdout
        tracks = plistlib.loads(raw)["MarkedTracks"]
        self.assertEqual([track["Name"] for track in tracks],
                         ['Say, "A & <B>', "Song 2", "Song 3", "Song 4"])
        self.assertEqual(self.reply("plist")["plist"].encode(), raw)
        self.assertEqual(self.run_client("export", "--format", "plist"), raw.decode().replace(
            "\r\n", "\n"))
        self.car.start_rig()
        self.car.start_service()
        self.car.attach(7)
        self.assertEqual([text for _, _, text in self.received()], [raw])

    def test_a_candidate_alone_goes_nowhere(self):
        self.fill([], [song(3, ButtonPressed=1)])
        said = run([binary("songlatchctl"), "plist", "--config", self.folder.configuration],
                   capture_output=True)
        self.assertEqual(plistlib.loads(said.stdout)["MarkedTracks"], [])
        self.assertIn(b"nothing waits", said.stderr)

    def test_what_was_delivered_is_listed_with_its_end(self):
        today = datetime.date.today()
        self.folder.tagged_info.write_bytes(expected.tagged_file([
            (song(1), f"{today:%Y/%m/%d}/12", [7, 4294967295]), (song(2), "", [7]),
            (song(3), "2001/01/31/00", []), (song(4), "2001", [])]))
        songs = {entry["Name"]: entry for entry in self.reply("delivered")["songs"]}
        self.assertEqual(songs["Song 1"]["devices"], [7, -1])
        self.assertEqual(songs["Song 1"]["agesOut"], self.first_day_too_old(today).isoformat())
        self.assertEqual((songs["Song 2"]["agesOut"], songs["Song 2"]["isOver"]), (None, False))
        self.assertEqual((songs["Song 3"]["agesOut"], songs["Song 3"]["isOver"]),
                         ("2001-03-01", True))
        lines = self.run_client("delivered").splitlines()
        self.assertRegex(lines[1], r"^Song 1  Artist 1  1001 +7, none named  [-0-9]{10}$")
        self.assertRegex(lines[2], r"  7 +never$")
        self.assertRegex(lines[3], r"at the next write$")
        self.assertRegex(lines[4], r"its time cannot be read$")
        self.assertEqual(lines[5], "4 songs")

    def first_day_too_old(self, then):
        """By the calendar of 30-day months and 360-day years."""
        day = then
        while (360 * (day.year - then.year) + 30 * (day.month - then.month)
               + day.day - then.day) <= 29:
            day += datetime.timedelta(days=1)
        return day

    def test_missing_files_hold_nothing(self):
        for path in (self.folder.tags, self.folder.candidates):
            path.unlink()
        self.assertEqual(self.reply("list")["tags"], [])
        self.assertEqual(self.run_client("list"), "0 tags of at most 10\n")
        self.assertEqual(self.reply("delivered"), {"songs": []})

    def test_a_damaged_file_is_named_with_its_place(self):
        self.folder.tags.write_text('<MarkedTracks>\n<Tag Name="x" ProgramNumber="one"/>\n')
        self.assertRegex(self.run_client("list", status=1),
                         rf'{self.folder.tags}, line 2, column \d+: Error casting "one"')
        self.folder.tags.write_text('<MarkedTracks>\n<Tag Name="x>\n')
        self.assertRegex(self.run_client("plist", status=1), r"Tags.xml, line \d, column \d+: ")
        self.folder.tags.write_text("")
        self.assertIn("the file is empty", self.run_client("list", status=1))

    def test_a_damaged_configuration_is_named_with_its_place(self):
        self.folder.configuration.write_text('<c>\n  <maxTagCount value="ten"/>\n</c>')
        self.assertIn(f"{self.folder.configuration}, line 2, column ",
                      self.run_client("list", status=1))
        self.folder.configuration.unlink()
        self.assertIn("No such file or directory", self.run_client("list", status=1))

    def test_export_needs_one_format(self):
        self.assertIn("export needs --format", self.run_client("export", status=2))
        self.assertIn("two formats",
                      self.run_client("export", "--json", "--format", "csv", status=2))
        self.assertIn("--format: xml not in",
                      self.run_client("export", "--format", "xml", status=2))


class Removing(FilesTest):
    """One tag less, while others write the same files."""

    def prepare(self):
        super().prepare()
        self.fill([song(1), song(2), song(2, Album="B")], [song(3), song(4), song(5), song(6)])

    def test_a_tag_goes_by_its_number_and_every_other_byte_stays(self):
        self.assertEqual(self.run_client("remove", "2"), "removed 2: Song 2, Artist 2\n")
        self.assert_stored([song(1), song(2, Album="B")],
                           [song(3), song(4), song(5), song(6)])

    def test_a_tag_goes_by_its_name(self):
        self.assertEqual(self.reply("remove", "Song 1")["removed"][0]["number"], "1")
        self.assertEqual(self.stored(), ["Song 2", "Song 2"])

    def test_a_name_that_is_a_number_is_said_by_its_option(self):
        self.fill([song(1), song(2, Name="1")])
        self.run_client("remove", "--name", "1")
        self.assertEqual(self.stored(), ["Song 1"])

    def test_both_candidates_go_with_their_tag(self):
        self.run_client("remove", "4")
        self.assertEqual(self.candidates(), ["Song 5", "Song 6"])
        self.run_client("remove", "Song 6")
        self.assertEqual(self.candidates(), [])

    def test_one_candidate_goes_by_its_letter(self):
        self.run_client("remove", "5a")
        self.assertEqual(self.candidates(), ["Song 3", "Song 4", "Song 6"])

    def test_what_is_not_one_tag_is_refused(self):
        before = self.files()
        self.assertIn('several waiting tags are called "Song 2": say which of 2, 3',
                      self.run_client("remove", "Song 2", status=1))
        self.assertIn('no waiting tag has the number or the name "9"',
                      self.run_client("remove", "9", status=1))
        self.assertIn("needs the number or the name", self.run_client("remove", status=2))
        self.assertIn("needs the number or the name",
                      self.run_client("remove", "1", "--name", "x", status=2))
        self.assertEqual(self.files(), before)

    def test_owner_and_access_stay_and_nothing_is_left_behind(self):
        os.chmod(self.folder.tags, 0o640)
        if os.getuid() == 0:
            os.chown(self.folder.tags, 1234, 1235)
        before = self.folder.tags.stat()
        self.run_client("remove", "1")
        after = self.folder.tags.stat()
        self.assertEqual((after.st_mode, after.st_uid, after.st_gid),
                         (before.st_mode, before.st_uid, before.st_gid))
        self.assertEqual(sorted(path.name for path in self.folder.store.iterdir()),
                         ["AmbigTag.xml", "Tags.xml"])

    def test_no_service_is_needed(self):
        self.car.service.kill()
        self.run_client("remove", "1")
        self.assertEqual(self.stored(), ["Song 2", "Song 2"])

    def test_records_that_share_a_line_are_told_apart(self):
        self.folder.tags.write_text('<M><Tag Name="A &quot;1&quot; &quot;2&quot;"/><Tag Name="B">'
                                    '<!-- <Tag/> --></Tag><Tag Name="C"/></M>')
        self.run_client("remove", "B")
        self.assertEqual(self.folder.tags.read_text(),
                         '<M><Tag Name="A &quot;1&quot; &quot;2&quot;"/><Tag Name="C"/></M>')

    def test_no_tag_is_lost_and_none_comes_back_beside_a_busy_service(self):
        self.remove_beside_a_busy_service()

    def test_nor_beside_one_that_keeps_safe(self):
        self.remove_beside_a_busy_service(more='  <safeKeeping enabled="true"/>\n')

    def remove_beside_a_busy_service(self, **configuration):
        """
        Takes songs out one by one while others come in, a few at a time. In between the service has
        questions to answer, so that its files rest for a while, however fast the machine is.
        """
        self.folder.configure(limit=1000, **configuration)
        self.fill([song(number) for number in range(1000, 1020)])
        lines = []
        for first in range(0, 200, 5):
            lines += [f"tagRequest {json.dumps({'tags': [song(number)]})}\n"
                      for number in range(first, first + 5)]
            lines += 40 * ['getProperties {"props":[]}\n']
        requests = self.folder.path / "requests"
        requests.write_text("".join(lines))
        load = Program([binary("load-client"), "run", str(requests)],
                       self.car.bus.environment, stdin=subprocess.PIPE)
        self.addCleanup(load.kill)
        load.say(len(lines))
        for number in range(1000, 1020):
            self.run_client("remove", f"Song {number}")
        load.output.wait(lambda line: True, what="the end of the requests")
        self.assertEqual(self.stored(), titles(*range(200)))


class Doctor(FilesTest):
    """What keeps tags from arriving."""

    def findings(self, status=0):
        done = run([binary("songlatchctl"), "doctor", "--json", "--config",
                    str(self.folder.configuration)], env=calls.environment(self.car.bus),
                   capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, status, done.stderr)
        self.assertEqual("troubleshooting.md" in done.stderr, status != 0)
        return json.loads(done.stdout)["findings"]

    def bad(self, area, status=1):
        """The text and the cure of the one thing that is bad."""
        found, = [(finding["text"], finding["cure"]) for finding in self.findings(status)
                  if finding["state"] == "bad"]
        self.assertEqual([finding["area"] for finding in self.findings(status)
                          if finding["state"] == "bad"], [area])
        self.assertTrue(found[1])
        return found

    def test_everything_is_well_in_its_order(self):
        self.car.attach(7, name="Mine")
        findings = self.findings()
        self.assertEqual({finding["state"] for finding in findings}, {"ok"})
        areas = [finding["area"] for finding in findings]
        self.assertEqual(list(dict.fromkeys(areas)), [
            "bus", "policy", "service", "configuration", "files", "disk", "media service"])
        self.assertIn("iPod 7 (Mine)", findings[-1]["text"])
        self.assertIn("ok    bus            unix:", self.run_client("doctor"))

    def test_a_look_changes_nothing(self):
        self.car.tag(song(1))
        before = self.files()
        self.findings()
        self.assertEqual(self.files(), before)

    def test_a_service_that_is_not_there(self):
        self.car.service.kill()
        text, cure = self.bad("service", status=3)
        self.assertIn("is not on the bus", text)
        self.assertIn("systemctl start songlatch", cure)

    def test_a_bus_that_is_not_there(self):
        self.car.service.kill()
        self.car.rig.stop()
        self.car.kill_bus()
        self.assertIn("there is no service bus at unix:", self.bad("bus", status=3)[0])
        self.car.start_bus()
        self.car.start_rig()

    def test_a_configuration_that_does_not_parse(self):
        self.folder.configuration.write_text("<c>\n <localStorage folder=x/>\n</c>")
        self.assertIn(f"{self.folder.configuration}, line 2, column 23: AttValue",
                      self.bad("configuration")[0])

    def test_a_configuration_that_takes_no_tag(self):
        self.folder.configure(limit=0)
        self.assertIn("maxTagCount is not set", self.bad("configuration")[0])

    def test_a_file_that_is_missing_or_damaged(self):
        self.folder.candidates.unlink()
        self.assertIn("AmbigTag.xml is not there", self.bad("files")[0])
        self.folder.candidates.write_text("<MarkedTracks>\n<AmbigTag")
        self.assertRegex(self.bad("files")[0], r"AmbigTag.xml, line 2, column \d+: ")

    def test_a_folder_that_is_not_there(self):
        self.folder.store.rename(self.folder.path / "away")
        text = self.bad("files")[0]
        self.assertIn("there is no folder", text)

    def test_a_media_service_that_is_not_there(self):
        self.car.rig.stop()
        self.assertIn("com.veldan.service.Media is not on the bus", self.bad("media service")[0])
        self.car.start_rig()

    def test_a_service_that_reads_another_configuration(self):
        other = self.folder.path / "other.conf"
        other.write_text(self.folder.configuration.read_text())
        self.folder.configuration = other
        found = [finding["text"] for finding in self.findings() if finding["state"] == "look"]
        self.assertEqual(found, [f"the running service reads {self.folder.path}/Songlatch.conf"])


if __name__ == "__main__":
    main()
