"""Safe keeping, in the real program: what is kept, what is refused, and what stays untouched."""

import errno
import fcntl
import json
import os
import random
import signal
import subprocess
import threading

import expected
from harness import STATUS, CarTest, connected, local, main, song, transfer
from car import calls, tagfiles
from car.car import Car, Service
from car.programs import DEADLINE

SAFE = '  <safeKeeping enabled="true"/>\n'
REFUSED = STATUS["ERROR"]


class SafeTest(CarTest):
    """A car whose configuration has safe keeping enabled."""

    configuration = {"more": SAFE}

    def _end_service(self):
        """No request ends this service; nothing that it has lost can be told either."""

    def assert_recorded(self, **songs):
        """TaggedInfo.xml holds exactly these songs and the devices that took them."""
        self.assertEqual({name: devices for name, _, _, devices in
                          tagfiles.tagged(self.folder.tagged_info)}, songs)

    def names(self):
        """The names in the folder."""
        return sorted(path.name for path in self.folder.store.iterdir())

    def aside(self, name):
        return [found for found in self.names() if found.startswith(f"{name}.damaged-")]

    def errors(self):
        return [line for line in self.folder.log() if line.startswith("Error: ")]


class Store(SafeTest):
    """Where a tag goes."""

    def test_without_an_ipod_it_waits_in_the_bytes_of_the_default_way(self):
        self.assertEqual(self.car.tag(song(1)), (STATUS["STORED_LOCAL"], [local(1)]))
        self.assertEqual(self.folder.tags.read_bytes(), expected.tag_file([song(1)]))
        self.assertEqual(self.car.tag(song(2), song(3)), (STATUS["STORED_LOCAL"], [local(2)]))
        self.assert_stored([song(1)], [song(2), song(3)])

    def test_a_waiting_song_is_kept_once_also_at_the_limit(self):
        self.car.folder.configure(limit=1, more=SAFE)
        for _ in range(2):
            self.assertEqual(self.car.tag(song(1)), (STATUS["STORED_LOCAL"], [local(1)]))
        self.assertEqual(self.car.tag(song(2)), (STATUS["LOCAL_STORAGE_FULL"], []))
        self.assertEqual(self.stored(), ["Song 1"])

    def test_an_ipod_takes_it_and_is_recorded_by_its_own_id(self):
        self.car.attach(7)
        self.assertEqual(self.car.tag(song(1), device=99), (STATUS["STORED_ON_TARGET"], [local(0)]))
        self.assert_stored()
        self.assert_recorded(**{"Song 1": [7]})
        self.assertEqual(self.received(), [(7, 0, expected.property_list([song(1)]))])

    def test_what_an_ipod_has_is_not_sent_to_it_again(self):
        self.car.attach(7)
        self.car.tag(song(1))
        self.assertEqual(self.car.tag(song(1)), (STATUS["STORED_ON_TARGET"], [local(0)]))
        self.assertEqual(len(self.received()), 1)
        self.assert_stored()

    def test_a_refused_song_waits_and_goes_to_the_next_ipod_or_to_the_same_one(self):
        for name, enabled, choose, device in (("off", "false", "all", None),
                                              ("all", "true", "all", None),
                                              ("specify", "true", "specify", 1)):
            with self.subTest(name):
                self.car.folder.configure(enabled=enabled, choose=choose, more=SAFE)
                self.fill()
                self.folder.tagged_info.unlink(missing_ok=True)
                self.car.attach(1)
                self.car.rig.command("fault 1 write=EIO", "changed")
                self.assertEqual(self.car.tag(song(1), device=device),
                                 (STATUS["STORED_LOCAL"], [local(1)]))
                self.assert_stored([song(1)])
                self.car.rig.command("fault 1 none", "changed")
                self.car.detach(1)
                self.assertEqual(self.car.attach(1),
                                 [transfer("TRANSFER_SUCCEEDED"), local(0), connected(1)])
                self.assert_stored()
                self.assert_recorded(**{"Song 1": [1]})
                self.car.detach(1)

    def test_of_two_ipods_for_all_the_one_that_refused_gets_it_later(self):
        self.car.folder.configure(enabled="true", choose="all", more=SAFE)
        self.car.attach(1)
        self.car.attach(2)
        self.car.rig.command("fault 2 write=EIO", "changed")
        self.assertEqual(self.car.tag(song(1)), (STATUS["STORED_ON_TARGET"], [local(1)]))
        self.assert_recorded(**{"Song 1": [1]})
        self.car.rig.command("fault 2 none", "changed")
        self.car.detach(2)
        self.car.attach(2)
        self.assert_stored()
        self.assert_recorded(**{"Song 1": [1, 2]})
        self.assertEqual([device for device, error, _ in self.received() if error == 0], [1, 2])

    def test_check_tag_tells_of_waiting_songs_and_of_each_ipod(self):
        def tagged(number, **more):
            return self.car.call("checkTag", {"tagInfo": [
                {"Name": f"Song {number}", "Artist": f"Artist {number}",
                 "iTunesSongID": str(1000 + number)}], **more})["tagged"]
        self.car.tag(song(1))
        self.assertTrue(tagged(1))
        self.assertFalse(tagged(1, deviceID=7))
        self.assertFalse(tagged(2))
        self.car.attach(7)
        self.assertTrue(tagged(1, deviceID=7))
        self.assertTrue(tagged(1))
        self.assertFalse(tagged(1, deviceID=8))

    def test_clear_empties_the_files_and_leaves_the_record(self):
        self.car.attach(7)
        self.car.tag(song(1))
        self.car.detach(7)
        self.car.tag(song(2))
        self.assertEqual(self.car.exchange("clearAllLocalTags"), (STATUS["OK"], [local(0)]))
        self.assert_stored()
        self.assert_recorded(**{"Song 1": [7]})

    def test_only_the_files_and_names_with_a_full_stop_are_made(self):
        self.car.attach(7)
        self.car.tag(song(1))
        self.assertEqual([name for name in self.names() if not name.startswith(".")],
                         ["AmbigTag.xml", "TaggedInfo.xml", "Tags.xml"])


class Requests(SafeTest):
    """Whatever the text of a call holds, it is answered, and the service lives."""

    def test_a_request_that_cannot_be_taken_is_an_error_and_leaves_everything(self):
        self.fill([song(1)])
        before = self.files()
        for method, parameters in (
                ("tagRequest", {"tags": [5]}), ("tagRequest", {"tags": [[song(1)]]}),
                ("tagRequest", {"tags": {"Name": "an object"}}),
                ("tagRequest", {"tags": [song(2), {"Name": {"not": "text"}}]}),
                ("tagRequest", {"tags": [song(2, iTunesSongID="text")]}),
                ("tagRequest", {"tags": [song(2, iTunesSongID=2**64)]}),
                ("tagRequest", {"tags": [song(2, iTunesSongID=1e300)]}),
                ("tagRequest", {"tags": [song(2, ButtonPressed="yes")]}),
                ("tagRequest", {"tags": [song(2, ProgramNumber=2**40)]}),
                ("tagRequest", {"tags": [song(2)], "deviceID": "one"}),
                ("tagRequest", ["an array"]), ("tagRequest", 5),
                ("getProperties", {"props": {"transferStatus": True}}),
                ("getProperties", {"props": [["localStatus"]]}),
                ("getProperties", ["an array"]),
                ("checkTag", {"tagInfo": [7]}), ("checkTag", {"tagInfo": {"Name": "an object"}}),
                ("checkTag", {"tagInfo": [{"Name": []}]}),
                ("checkTag", {"tagInfo": [{"Name": "n"}], "deviceID": "one"})):
            with self.subTest(method=method, parameters=parameters):
                self.assertEqual(self.car.exchange(method, parameters), (REFUSED, []))
        self.assertEqual({name: data for name, data in self.files().items() if name in before},
                         before)
        self.assertIn('Error: SafeKeeping_replyTo: The request cannot be taken: '
                      '"iTunesSongID" is of the wrong kind or out of range', self.folder.log())

    def test_texts_that_are_too_long_or_hold_too_many_values_are_refused(self):
        long_name = json.dumps({"tags": [song(1, Name="x" * (1 << 20))]})
        values = '{"tags":[' + "[]," * 300000 + "[]]}"
        for text in (long_name, values):
            self.assertEqual(json.loads(self.car.load_client_call("tagRequest", text)), REFUSED)

    def test_text_that_is_no_json_is_answered_like_no_tags(self):
        for text in ("{half", "[" * 5000, ""):
            self.assertEqual(json.loads(self.car.load_client_call("tagRequest", text)),
                             {"Name": "ERROR", "Value": "2"})

    def test_ten_thousand_candidates_are_one_request(self):
        self.car.folder.configure(limit=10000, more=SAFE)
        tags = [{"Name": f"n{number}"} for number in range(10000)]
        answer = json.loads(self.car.load_client_call("tagRequest", json.dumps({"tags": tags})))
        self.assertEqual(answer, STATUS["STORED_LOCAL"])
        self.assertEqual(len(self.candidates()), 10000)

    def test_ids_of_64_bits_are_kept_as_number_or_digits(self):
        most = 2**64 - 1
        self.car.tag(song(1, iTunesSongID=most))
        self.car.tag(song(2, iTunesSongID=str(most), PodcastFeedURL=most))
        records = tagfiles.records(self.folder.tags, "Tag")
        self.assertEqual([record["iTunesSongID"] for record in records], [str(most)] * 2)
        self.assertEqual(records[1]["PodcastFeedURL"], str(most))

    def test_what_the_media_service_sends_is_judged_too(self):
        self.car.attach(1)
        for report in ('{"available":"yes","device":{"type":"ipod","id":2}}', "{half", "[]", "5",
                       '{"available":true,"device":{"type":"ipod","id":"two"}}',
                       '{"available":true,"device":["type"]}'):
            self.car.signal(report)
        self.assertEqual(self.car.properties("connectionStatus"),
                         {"connectionStatus": {"Devices": [1]}})


class Files(SafeTest):
    """Whatever lies in the folder, the service starts and serves."""

    def prepare(self):
        self.car.start_rig()

    def start(self):
        return self.car.start_service()

    def test_all_three_missing(self):
        self.folder.candidates.unlink()
        self.assertEqual(self.start(), [local(0), connected()])
        self.car.tag(song(1))
        self.assertEqual(self.stored(), ["Song 1"])
        self.assertEqual(self.errors(), [])

    def test_a_file_that_breaks_off_keeps_what_stands_before(self):
        whole = expected.tag_file([song(1), song(2)])
        for length in (0, 30, len(whole) // 2, len(whole) - 5):
            with self.subTest(length):
                self.folder.tags.write_bytes(whole[:length])
                position = self.mark()
                self.start()
                kept = whole[:length].count(b"/>")
                self.assertEqual(self.stored(), [f"Song {n + 1}" for n in range(kept)])
                self.assertEqual(len([line for line in self.folder.log(position)
                                      if line.startswith("Error: ")]), 1)
                self.car.service.kill()
        self.assertEqual(len(self.aside("Tags.xml")), 4)

    def test_at_most_five_are_set_aside(self):
        for round_ in range(7):
            self.folder.tags.write_bytes(b"<damaged %d" % round_)
            self.start()
            self.car.service.kill()
        self.assertEqual(len(self.aside("Tags.xml")), 5)
        left = {(self.folder.store / name).read_bytes() for name in self.aside("Tags.xml")}
        self.assertEqual(left, {b"<damaged %d" % round_ for round_ in range(2, 7)})

    def test_a_bad_number_costs_itself_only(self):
        self.folder.tags.write_bytes(expected.tag_file([song(1), song(2)]).replace(
            b'ProgramNumber="0"', b'ProgramNumber="none"', 1))
        self.start()
        self.assertEqual(self.stored(), ["Song 1", "Song 2"])
        self.assertEqual(len(self.aside("Tags.xml")), 1)

    def test_what_is_no_file_is_set_aside(self):
        self.folder.tags.mkdir()
        self.folder.candidates.unlink()
        os.mkfifo(self.folder.candidates)
        self.start()
        self.car.tag(song(1))
        self.assertEqual(self.stored(), ["Song 1"])
        self.assertEqual((len(self.aside("Tags.xml")), len(self.aside("AmbigTag.xml"))), (1, 1))

    def test_who_holds_a_file_with_a_lease_is_waited_for(self):
        self.start()
        self.assertEqual(self.car.tag(song(1))[0], STATUS["STORED_LOCAL"])
        waited = threading.Event()
        before = signal.signal(signal.SIGIO, lambda *_: waited.set())
        self.addCleanup(signal.signal, signal.SIGIO, before)
        with open(self.folder.tags, "r+b") as held:
            fcntl.fcntl(held, fcntl.F_SETLEASE, fcntl.F_WRLCK)
            request = subprocess.Popen(
                calls.busctl_command("tagRequest", "s", json.dumps({"tags": [song(2)]})),
                env=calls.environment(self.car.bus), stdout=subprocess.PIPE)
            self.assertTrue(waited.wait(DEADLINE))
            held.write(expected.tag_file([song(3)]))
            held.truncate()
        self.assertIn(b"STORED_LOCAL", request.communicate(timeout=DEADLINE)[0])
        self.assert_stored([song(3), song(2)])

    def test_200_mib_of_nothing(self):
        with open(self.folder.tags, "wb") as file:
            file.truncate(200 << 20)
        self.start()
        self.assertEqual(self.car.tag(song(1))[0], STATUS["STORED_LOCAL"])
        self.assertEqual(len(self.aside("Tags.xml")), 1)

    def test_what_the_default_way_wrote_is_read_and_no_device_forgotten(self):
        self.folder.tagged_info.write_bytes(expected.tagged_file(
            [(song(1), "2010/06/09/17", [0xFFFFFFFF]), (song(2), "2010/06", [3])]))
        self.fill([song(1)])
        self.assertEqual(self.start(), [local(1), connected()])
        self.car.attach(4)
        self.assert_recorded(**{"Song 1": [4], "Song 2": [3]})

    def test_an_unreadable_configuration_leaves_the_last_one_in_force(self):
        self.start()
        self.folder.configuration.write_text("<half")
        for number in (1, 2):
            self.assertEqual(self.car.tag(song(number))[0], STATUS["STORED_LOCAL"])
        self.assertEqual(self.errors(), [
            "Error: SafeKeeping_keepLastConfig: The configuration cannot be read; "
            "the last one stays in force"])

    def test_an_unreadable_configuration_ends_the_first_start(self):
        self.folder.configuration.write_text("<half")
        self.car.spawn_service()
        self.assertEqual(self.car.service.finish()[0], 0)

    def test_a_second_process_says_so_in_one_line_and_ends(self):
        self.start()
        other = Car()
        self.addCleanup(other.remove)
        self.addCleanup(other.stop)
        status, output = Service(other.bus, self.folder).finish()
        self.assertEqual(status, 0)
        self.assertEqual([line for line in output.splitlines() if "Error" in line], [
            "Error: Songlatching: Main: Error code: 1 - Message: Another process keeps the tags in "
            f'"{self.folder.store}/"'])

    def test_one_may_be_switched_to_the_other_between_two_requests(self):
        self.start()
        for number, more in enumerate(("", SAFE, "", SAFE), start=1):
            self.car.folder.configure(more=more)
            self.assertEqual(self.car.tag(song(number))[0], STATUS["STORED_LOCAL"])
        self.assertEqual(self.stored(), [f"Song {number}" for number in range(1, 5)])


class Devices(SafeTest):
    """The list of iPods is true, and no driver holds anything up for long."""

    configuration = {"more": '  <safeKeeping enabled="true" driverDeadline="1"/>\n'}

    def test_the_ipods_go_with_the_media_service_and_come_back_with_it(self):
        self.car.attach(1)
        position = self.car.monitor.position
        os.kill(self.car.rig.pid, signal.SIGKILL)
        self.car.monitor.wait_for_signal("connectionStatus", position)
        self.assertEqual(self.car.settle(position), [connected()])
        self.assertEqual(self.car.tag(song(1)), (STATUS["STORED_LOCAL"], [local(1)]))
        self.car.rig.program.wait()
        position = self.car.monitor.position
        self.car.start_rig()
        self.car.monitor.wait_for_signal("connectionStatus", position)

    def test_a_driver_that_hangs_is_a_refusal(self):
        self.car.attach(1)
        self.car.rig.command("fault 1 slow=600000", "changed")
        self.assertEqual(self.car.tag(song(1))[0], STATUS["STORED_LOCAL"])
        self.assertEqual(self.car.tag(song(2))[0], STATUS["STORED_LOCAL"])
        self.assertEqual(self.stored(), ["Song 1", "Song 2"])
        self.assertIn("Error: SafeKeeping_offer: iPod 1 takes no tags: " + os.strerror(errno.ETIMEDOUT),
                      self.folder.log())


class Texts(SafeTest):
    """Any text in any field survives storing, a restart and the hand-over."""

    configuration = {"limit": 1000000, "more": SAFE}
    REQUESTS = 20
    TAGS = 100
    FIELDS = ("Name", "Artist", "Album", "Genre", "iTunesAffiliateID", "StationCallLetters",
              "StationFrequency", "StationURL", "TimeStamp", "UnknownData")
    ALPHABETS = ("\"'&<>]]>&amp;&#38;<!--<![CDATA[", "".join(map(chr, range(0x20))) + "\x7f\x85",
                 "\U0001F3B5\U0010FFFD\U00010000", "\uFFFE\uFFFF\uFFFD\uE000\uD7FF", "abc dé ü ж 音楽")

    def text(self, chance):
        if chance.random() < 0.001:
            return "&\"x" * 21845
        return "".join(chance.choice(chance.choice(self.ALPHABETS))
                       for _ in range(chance.randrange(12)))

    @staticmethod
    def held(text):
        """The text less what XML 1.0 cannot hold."""
        return "".join(letter for letter in text
                       if letter in "\t\n\r" or (letter >= " " and letter not in "\uFFFE\uFFFF"))

    def test_read_back_by_other_readers(self):
        chance = random.Random(5)
        tags = [{field: self.text(chance) for field in self.FIELDS}
                for _ in range(self.REQUESTS * self.TAGS)]
        for at in range(0, len(tags), self.TAGS):
            request = json.dumps({"tags": tags[at:at + self.TAGS]})
            answer = self.car.load_client_call("tagRequest", request)
            self.assertEqual(json.loads(answer), STATUS["STORED_LOCAL"])
        self.car.restart_service()
        wanted = [{field: self.held(tag[field]) for field in self.FIELDS} for tag in tags]
        records = tagfiles.records(self.folder.candidates, "AmbigTag")
        self.assertEqual([{field: record[field] for field in self.FIELDS} for record in records],
                         wanted)
        self.assertTrue(self.car.call("checkTag", {"tagInfo": [
            {"Name": tags[7]["Name"], "Artist": tags[7]["Artist"]}]})["tagged"])
        self.car.attach(1)
        report = self.car.rig.seen("tags")[0]
        tracks = tagfiles.property_list(report["file"])["MarkedTracks"]
        for track, tag in zip(tracks, wanted, strict=True):
            for field in self.FIELDS:
                if isinstance(track.get(field, ""), str):
                    self.assertEqual(track.get(field, ""), tag[field])
        self.assertEqual({(name, artist) for name, artist, _, _ in
                          tagfiles.tagged(self.folder.tagged_info)},
                         {(tag["Name"], tag["Artist"]) for tag in wanted})


if __name__ == "__main__":
    main()
