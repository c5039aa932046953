"""The files are the state: what a restart finds, whenever it comes."""

import json
import os
import subprocess

from expected import candidate_file, property_list, tag_file, tagged_file
from harness import NO_DEVICE, STATUS, CarTest, connected, local, main, song, transfer
from car import calls
from car.bus import SERVICE
from car.programs import DEADLINE, binary


class Restart(CarTest):
    """The service is killed and started again."""

    def test_tags_and_candidates_are_still_there(self):
        self.car.tag(song(1))
        self.car.tag(song(2), song(3))
        before = self.files()
        # The start counts candidates whole, the requests before it counted half of them.
        self.assertEqual(self.car.restart_service(), [local(3), connected()])
        self.assertEqual(self.files(), before)
        self.assertEqual(self.car.tag(song(4)), (STATUS["STORED_LOCAL"], [local(3)]))
        self.assert_stored([song(1), song(4)], [song(2), song(3)])

    def test_the_published_status_starts_anew(self):
        self.car.tag(song(1))
        self.car.restart_service()
        self.assertEqual(self.car.properties("transferStatus"), {"transferStatus": STATUS["OK"]})

    def test_a_delivered_song_is_known_after_a_restart(self):
        self.car.attach(1)
        self.car.tag(song(1), device=1)
        self.car.restart_service()
        asked = [{"Name": "Song 1", "Artist": "Artist 1", "iTunesSongID": "1001"}]
        self.assertTrue(self.car.call("checkTag", {"tagInfo": asked, "deviceID": 1})["tagged"])
        self.car.tag(song(1), device=1)
        self.assertEqual([text for _, _, text in self.received()],
                         [property_list([song(1)]), property_list([])])

    def test_stored_tags_go_to_the_ipod_that_the_restart_finds(self):
        self.car.tag(song(1))
        self.car.service.kill()
        self.car.attach(1, silent=True)
        self.assertEqual(self.car.start_service(), [
            local(1), connected(1), connected(1), transfer("TRANSFER_SUCCEEDED"), local(0)])
        self.assert_stored()

    def test_a_kill_while_the_driver_takes_the_tags_loses_none(self):
        self.car.tag(song(1))
        self.car.attach(1, silent=True)
        self.car.rig.command("fault 1 slow=60000", "changed")
        path = self.car.mount_point(1)
        self.car.rig.command(
            'signal {"available":true,"device":{"type":"ipod","id":1,'
            f'"mountPoint":"{path}"}}}}', "signalled")
        self.car.rig.wait("delayed", what="capabilities")
        self.car.rig.command("fault 1 slow=60001", "changed")  # ends the first delay
        self.car.rig.wait("delayed", what="tags")
        self.car.service.kill()
        self.car.rig.command("fault 1 none", "changed")
        self.assert_stored([song(1)])
        self.assertEqual(self.car.start_service()[-2:], [transfer("TRANSFER_SUCCEEDED"), local(0)])

    def test_the_service_ends_only_when_killed(self):
        self.car.tag(song(1))
        self.assertTrue(self.car.service.program.running)
        self.car.service.kill()
        self.assertEqual(self.car.service.program.wait(), -9)


class Peers(CarTest):
    """Clients and the media service that go away."""

    def test_a_client_that_vanishes_in_mid_exchange_harms_nobody(self):
        self.car.attach(1)
        self.car.rig.command("fault 1 slow=60000", "changed")
        position = self.car.monitor.position
        client = subprocess.Popen(
            calls.busctl_command("tagRequest", "s", json.dumps({"tags": [song(1)]})),
            env=calls.environment(self.car.bus), stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        self.car.rig.wait("delayed")
        client.kill()
        client.wait(DEADLINE)
        self.car.rig.command("fault 1 none", "changed")
        self.assertEqual(self.car.settle(position), [local(0)])
        self.assertEqual(self.received(), [(1, 0, property_list([song(1)]))])

    def test_a_reader_of_its_output_that_goes_away_costs_no_tag(self):
        self.car.service.kill()
        reader, writer = os.pipe()
        os.close(reader)
        position = self.car.monitor.position
        with subprocess.Popen(
                [binary("Songlatch-undertest"), f"-config={self.folder.configuration}"],
                env={**calls.environment(self.car.bus),
                     "SONGLATCH_TEST_LOG": str(self.folder.log_path)},
                stdout=writer) as service:
            os.close(writer)
            self.addCleanup(service.kill)
            self.car.monitor.wait_for_owner(SERVICE, position)
            # A record that is missing is an error, and errors are printed.
            self.assertFalse(self.folder.tagged_info.exists())
            self.assertEqual(self.car.tag(song(1))[0], STATUS["STORED_LOCAL"])
            self.assert_stored([song(1)])
            service.kill()

    def test_the_media_service_may_come_back(self):
        self.car.rig.stop()
        self.assertEqual(self.car.tag(song(1)), (STATUS["STORED_LOCAL"], [local(1)]))
        self.car.start_rig()
        self.assertEqual(self.car.attach(1), [transfer("TRANSFER_SUCCEEDED"), local(0),
                                              connected(1)])


class Record(CarTest):
    """TaggedInfo.xml over several runs."""

    def test_old_entries_fall_out_at_the_next_write_and_those_without_time_stay(self):
        entries = [(song(1), "2010/06/09/17", [1]), (song(2), "", [2, 3]),
                   (song(3), "9999/01/01/00", [4])]
        self.folder.tagged_info.write_bytes(tagged_file(entries))
        self.car.restart_service()
        asked = [{"Name": "Song 1", "Artist": "Artist 1", "iTunesSongID": "1001"}]
        self.assertTrue(self.car.call("checkTag", {"tagInfo": asked, "deviceID": 1})["tagged"])
        self.car.tag(song(4))
        self.assert_tagged((song(2), False, [2, 3]), (song(4), [NO_DEVICE]))

    def test_the_record_escapes_nothing_so_an_ampersand_costs_the_entry(self):
        self.car.tag({"Name": "A & B", "Artist": "x", "iTunesSongID": 1})
        self.assertIn(b'<TagId Name="A & B" ', self.folder.tagged_info.read_bytes())
        # The next write starts from what could be read, which is nothing behind the ampersand.
        self.car.tag({"Name": "0", "Artist": "x", "iTunesSongID": 2})
        for name, number, tagged in (("A & B", "1", False), ("0", "2", True)):
            reply = self.car.call("checkTag", {"tagInfo": [
                {"Name": name, "Artist": "x", "iTunesSongID": number}]})
            self.assertEqual(reply["tagged"], tagged)

    def test_the_write_is_in_place_and_makes_no_other_file(self):
        self.car.tag(song(1))
        inodes = {entry.name: entry.inode() for entry in os.scandir(self.folder.store)}
        self.car.tag(song(2))
        self.car.call("clearAllLocalTags")
        self.assertEqual({entry.name: entry.inode() for entry in os.scandir(self.folder.store)},
                         inodes)
        self.assertEqual(sorted(inodes), ["AmbigTag.xml", "TaggedInfo.xml", "Tags.xml"])
        self.assertEqual(self.folder.tags.read_bytes(), tag_file([]))
        self.assertEqual(self.folder.candidates.read_bytes(), candidate_file([]))


if __name__ == "__main__":
    main()
