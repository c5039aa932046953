"""Moving stored tags to an iPod: every way it can end, and what is signalled when."""

import errno
import os

from expected import candidate_file, property_list, tag_file, tagged_file
from harness import (NO_DEVICE, STATUS, CarTest, connected, local, main, song, transfer)

SOURCE = "CTaggingImpl_ProcessStoredTags"
OLD, OTHER = song(1), song(2)

FOUND = ["Fired", "Ambig Tag Count: 0", "Total Tags: 2", "Storing tags"]
ON_IPOD = "Storing on iPod"
WALK = "Backing up tags"
DONE = "Finished"


class TransferTest(CarTest):
    """Two stored songs, and iPods that arrive."""

    def prepare(self):
        super().prepare()
        self.fill([OLD, OTHER])
        # The same tags in another dress: a rewrite leaves the service's own form.
        self.folder.tags.write_bytes(tag_file([OLD, OTHER]).replace(b"MarkedTracks", b"Any"))

    def arrive(self, device, fault="none", silent=False, **options):
        """An iPod arrives: keeps the signals, the log and what the drivers got."""
        log, reports = self.mark(), len(self.car.rig.reports)
        if fault != "none":
            self.car.attach(device, silent=True, **options)
            self.car.rig.command(f"fault {device} {fault}", "changed")
            path = self.car.mount_point(device)
            self.signals = self.car.signal(
                f'{{"available":true,"device":{{"type":"ipod","id":{device},'
                f'"mountPoint":"{path}"}}}}')
        else:
            self.signals = self.car.attach(device, silent=silent, **options)
        self.log = self.log_of(SOURCE, log)
        self.texts = self.received(reports)
        self.exchanges = self.driver(reports)

    def assert_untouched(self):
        """Neither tag file has been written."""
        self.assertEqual(self.folder.tags.read_bytes(),
                         tag_file([OLD, OTHER]).replace(b"MarkedTracks", b"Any"))


class OnArrival(TransferTest):
    """The transfer that a deviceState starts; connectionStatus follows it."""

    def test_a_capable_ipod_takes_the_tags(self):
        self.arrive(1)
        self.assertEqual(self.signals, [transfer("TRANSFER_SUCCEEDED"), local(0), connected(1)])
        self.assertEqual(self.log, [*FOUND, WALK, ON_IPOD, DONE])
        self.assertEqual(self.exchanges, [(1, "capabilities", 0), (1, "tags", 0)])
        self.assertEqual(self.texts, [(1, 0, property_list([OLD, OTHER]))])
        self.assert_stored()
        self.assert_tagged((OLD, False, [1]), (OTHER, False, [1]))
        self.assertEqual(self.car.properties("transferStatus", "localStatus"), {
            "transferStatus": STATUS["TRANSFER_SUCCEEDED"], "localStatus": local(0)[1]})

    def test_no_stored_tags_no_signal_and_no_last_line(self):
        self.fill()
        self.folder.tags.write_bytes(b"<Any/>")
        self.arrive(1)
        self.assertEqual(self.signals, [connected(1)])
        self.assertEqual(self.log, ["Fired", "Ambig Tag Count: 0", "No Tag to be processed"])
        self.assertEqual(self.exchanges, [])
        self.assertEqual(self.folder.tags.read_bytes(), b"<Any/>")

    def test_a_capable_ipod_that_refuses(self):
        for name in ("ENOSPC", "EIO"):
            with self.subTest(name):
                self.folder.tagged_info.unlink(missing_ok=True)
                self.arrive(1, fault=f"write={name}")
                self.assertEqual(self.signals, [transfer("TRANSFER_FAILED"), connected(1)])
                self.assertEqual(self.log, [*FOUND, WALK, ON_IPOD, "Storing locally", DONE])
                self.assertEqual(self.texts,
                                 [(1, getattr(errno, name), property_list([OLD, OTHER]))])
                self.assert_stored([OLD, OTHER])
                # Recorded all the same, as every attached iPod is.
                self.assert_tagged((OLD, False, [1]), (OTHER, False, [1]))

    def test_tags_and_candidates_that_stay_are_both_rewritten(self):
        pair = [song(20), song(21, ButtonPressed=True)]
        for words in ({"caps": "3"}, {"fault": "write=EIO"}):
            with self.subTest(words):
                self.folder.tags.write_bytes(tag_file([OLD]).replace(b"MarkedTracks", b"Any"))
                self.folder.candidates.write_bytes(
                    candidate_file(pair).replace(b"MarkedTracks", b"Any"))
                self.arrive(1, **words)
                self.assert_stored([OLD], pair)

    def test_the_failure_is_told_after_the_local_rewrite(self):
        self.arrive(1, fault="write=EIO")
        log = self.folder.log()
        writing = len(log) - 1 - log[::-1].index("Message: XMLTools_WriteTagXML: Finished")
        self.assertGreater(writing, log.index(f"Message: {SOURCE}: Storing locally"))
        self.assert_stored([OLD, OTHER])

    def test_what_fails_after_the_ipod_took_the_tags_does_not_count_as_a_failed_transfer(self):
        self.car.attach(1, silent=True)
        self.car.rig.command("fault 1 slow=60000", "changed")
        position = self.car.monitor.position
        self.car.rig.command(
            f'signal {{"available":true,"device":{{"type":"ipod","id":1,'
            f'"mountPoint":"{self.car.mount_point(1)}"}}}}', "signalled")
        self.car.rig.wait("delayed")
        # The transfer has its configuration; emptying the files will look for it once more.
        good = self.folder.configuration.read_bytes()
        self.folder.configuration.write_text("<half")
        log = self.mark()
        self.car.rig.command("fault 1 none", "changed")
        self.assertEqual(self.car.settle(position),
                         [transfer("TRANSFER_SUCCEEDED"), connected(1)])
        self.assertEqual(self.log_of(SOURCE, log), [DONE])
        self.assert_untouched()
        self.folder.configuration.write_bytes(good)

    def test_no_capability_request_leaves_a_descriptor_behind(self):
        def descriptors():
            return len(os.listdir(f"/proc/{self.car.service.pid}/fd"))
        self.arrive(1, caps="3")
        before = descriptors()
        for fault in ("none", "none", "caps=EIO", "caps=EIO", "vanish=caps"):
            self.arrive(1, fault=fault, caps="3")
        self.assertEqual(descriptors(), before)

    def test_an_incapable_ipod_below_the_limit(self):
        for caps in ("3", "none", "80,88", "1,2,3,4,5,6,7,9,10,8"):
            with self.subTest(caps):
                self.folder.tagged_info.unlink(missing_ok=True)
                self.arrive(1, caps=caps)
                self.assertEqual(self.signals,
                                 [transfer("STOREDLOCAL_IPOD_INCOMPATIBLE"), connected(1)])
                self.assertEqual(self.log, [*FOUND, WALK, ON_IPOD, "Storing locally", DONE])
                self.assertEqual(self.exchanges, [(1, "capabilities", 0)])
                self.assert_stored([OLD, OTHER])
                self.assert_tagged((OLD, False, [1]), (OTHER, False, [1]))

    def test_an_incapable_ipod_at_the_limit(self):
        for limit, status in ((2, "LOCALFULL_IPOD_INCOMPATIBLE"),
                              (1, "LOCALFULL_IPOD_INCOMPATIBLE"),
                              (3, "STOREDLOCAL_IPOD_INCOMPATIBLE")):
            with self.subTest(limit):
                self.folder.configure(limit=limit)
                self.arrive(1, caps="3")
                self.assertEqual(self.signals, [transfer(status), connected(1)])
                self.assert_stored([OLD, OTHER])

    def test_a_driver_that_does_not_tell_its_capabilities_counts_as_incapable(self):
        source = "CTaggingImpl_IsSupportTagging"
        for fault, line in (("open", "open </.FS_info./control> fail"),
                            ("caps=EIO", "ipod_get_capabilities fail"),
                            ("vanish=caps", "ipod_get_capabilities fail")):
            with self.subTest(fault):
                log = self.mark()
                self.arrive(1, fault=fault)
                self.assertEqual(self.signals,
                                 [transfer("STOREDLOCAL_IPOD_INCOMPATIBLE"), connected(1)])
                self.assertEqual(self.log_of(source, log), [line])
                self.assert_stored([OLD, OTHER])

    def test_an_ipod_that_vanishes_in_mid_exchange_is_a_failed_transfer(self):
        self.arrive(1, fault="vanish=write")
        self.assertEqual(self.signals, [transfer("TRANSFER_FAILED"), connected(1)])
        self.assert_stored([OLD, OTHER])

    def test_a_slow_driver_is_waited_for(self):
        self.arrive(1, fault="slow=300")
        self.assertEqual(self.signals, [transfer("TRANSFER_SUCCEEDED"), local(0), connected(1)])

    def test_the_second_of_two_takes_the_tags_if_the_first_is_incapable(self):
        self.arrive(1, caps="3")
        self.folder.tagged_info.unlink()
        self.arrive(2)
        self.assertEqual(self.signals,
                         [transfer("TRANSFER_SUCCEEDED"), local(0), connected(1, 2)])
        self.assertEqual(self.log, [*FOUND, WALK, ON_IPOD, ON_IPOD, DONE])
        self.assertEqual(self.exchanges,
                         [(1, "capabilities", 0), (2, "capabilities", 0), (2, "tags", 0)])
        self.assert_tagged((OLD, False, [1, 2]), (OTHER, False, [1, 2]))

    def test_the_second_of_two_takes_the_tags_if_the_first_refuses(self):
        self.arrive(1, fault="write=EIO")
        self.arrive(2)
        self.assertEqual(self.signals,
                         [transfer("TRANSFER_SUCCEEDED"), local(0), connected(1, 2)])
        self.assertEqual(self.texts, [(1, errno.EIO, property_list([OLD, OTHER])),
                                      (2, 0, property_list([OLD, OTHER]))])
        self.assert_stored()

    def test_of_two_capable_ipods_the_second_gets_nothing_but_is_recorded(self):
        self.fill()
        self.arrive(1)
        self.fill([OLD])
        self.arrive(2)
        self.assertEqual(self.exchanges, [(1, "capabilities", 0), (1, "tags", 0)])
        self.assert_tagged((OLD, False, [1, 2]))

    def test_the_multiples_policy_plays_no_part(self):
        self.folder.configure(enabled="true", choose="all")
        self.fill()
        self.arrive(1)
        self.fill([OLD])
        self.arrive(2)
        self.assertEqual(self.exchanges, [(1, "capabilities", 0), (1, "tags", 0)])

    def test_one_candidate_alone_stays_in_the_file(self):
        self.fill([], [song(20)])
        before = self.files()
        self.arrive(1)
        self.assertEqual(self.signals, [connected(1)])
        self.assertEqual(self.log, ["Fired", "Ambig Tag Count: 1", "No Tag to be processed"])
        self.assertEqual(self.files(), before)

    def test_two_candidates_count_as_one_and_go(self):
        pair = [song(20, ButtonPressed=True), song(21)]
        self.fill([], pair)
        self.arrive(1)
        self.assertEqual(self.log, ["Fired", "Ambig Tag Count: 2", "Total Tags: 1",
                                    "Storing tags", WALK, ON_IPOD, DONE])
        self.assertEqual(self.texts, [(1, 0, property_list([], pair))])
        self.assert_stored()

    def test_a_recorded_song_keeps_its_time_and_the_device_takes_the_place_of_no_device(self):
        self.fill()
        self.car.tag(OLD)
        self.assert_tagged((OLD, [NO_DEVICE]))
        self.arrive(1)
        self.assert_tagged((OLD, [1]))
        self.fill([OLD])
        self.arrive(2)
        self.assert_tagged((OLD, [1, 2]))

    def test_unreadable_tag_files_end_the_transfer_as_empty_ones(self):
        self.folder.tags.write_text("<broken")
        self.folder.candidates.write_text("")
        self.arrive(1)
        self.assertEqual(self.signals, [connected(1)])
        self.assertEqual(self.log, ["Fired", "Ambig Tag Count: 0", "No Tag to be processed"])
        self.assertEqual(self.folder.tags.read_text(), "<broken")

    def test_an_unreadable_record_counts_as_empty_and_is_written_anew(self):
        self.folder.tagged_info.write_text("<")
        self.arrive(1)
        self.assertEqual(self.signals, [transfer("TRANSFER_SUCCEEDED"), local(0), connected(1)])
        self.assert_tagged((OLD, False, [1]), (OTHER, False, [1]))

    def test_the_entries_in_front_of_a_break_in_the_record_are_kept(self):
        whole = tagged_file([(song(7), "", [3]), (song(8), "", [4])])
        self.folder.tagged_info.write_bytes(whole[:whole.index(b'<TagId Name="Song 8"')])
        self.arrive(1)
        self.assert_tagged((OLD, False, [1]), (OTHER, False, [1]), (song(7), False, [3]))

    def test_a_device_that_leaves_starts_no_transfer(self):
        self.fill()
        self.arrive(1)
        self.fill([OLD])
        log = self.mark()
        self.assertEqual(self.car.detach(1), [connected()])
        self.assertEqual(self.log_of(SOURCE, log), [])
        self.assert_stored([OLD])

    def test_a_request_starts_no_transfer(self):
        log = self.mark()
        self.car.tag(song(3))
        self.assertEqual(self.log_of(SOURCE, log), [])


class OnTheAnswer(TransferTest):
    """The transfer that the answer to getDevices starts; connectionStatus comes before it."""

    def answered(self, *devices, **options):
        """A start with these iPods attached: the signals behind the first localStatus."""
        for device in devices:
            self.car.attach(device, silent=True, **options)
        log = self.mark()
        first, *signals = self.car.restart_service()
        self.assertEqual(first, local(2))
        self.log = self.log_of(SOURCE, log)
        return signals

    def test_a_capable_ipod_takes_the_tags(self):
        self.assertEqual(self.answered(1), [connected(1), connected(1),
                                            transfer("TRANSFER_SUCCEEDED"), local(0)])
        self.assertEqual(self.log, [*FOUND, WALK, ON_IPOD, DONE])
        self.assertEqual(self.received(), [(1, 0, property_list([OLD, OTHER]))])
        self.assert_stored()

    def test_no_ipod_the_files_are_rewritten_with_the_same_tags_and_nothing_is_signalled(self):
        self.assertEqual(self.answered(), [connected()])
        self.assertEqual(self.log, [*FOUND, "Storing locally", DONE])
        self.assert_stored([OLD, OTHER])
        self.assertFalse(self.folder.tagged_info.exists())

    def test_an_incapable_ipod(self):
        self.assertEqual(self.answered(1, caps="3"), [
            connected(1), connected(1), transfer("STOREDLOCAL_IPOD_INCOMPATIBLE")])
        self.assert_stored([OLD, OTHER])

    def test_two_ipods(self):
        self.assertEqual(self.answered(1, 2), [
            connected(1), connected(1, 2), connected(1, 2), transfer("TRANSFER_SUCCEEDED"),
            local(0)])
        self.assertEqual(self.driver(), [(1, "capabilities", 0), (1, "tags", 0)])


class Clear(CarTest):
    """clearAllLocalTags."""

    def test_the_tags_go_and_the_record_of_tagged_songs_stays(self):
        self.car.tag(OLD)
        self.car.tag(song(3), song(4))
        tagged = self.folder.tagged_info.read_bytes()
        self.assertEqual(self.car.exchange("clearAllLocalTags"), (STATUS["OK"], [local(0)]))
        self.assert_stored()
        self.assertEqual(self.folder.tagged_info.read_bytes(), tagged)

    def test_the_transfer_status_is_not_touched(self):
        self.car.tag(OLD)
        self.car.call("clearAllLocalTags")
        self.assertEqual(self.car.properties("transferStatus"),
                         {"transferStatus": STATUS["STORED_LOCAL"]})

    def test_a_file_that_cannot_be_opened_is_ok_all_the_same(self):
        self.fill([OLD], [song(3), song(4)])
        self.folder.tags.unlink()
        self.folder.tags.mkdir()
        self.assertEqual(self.car.exchange("clearAllLocalTags"), (STATUS["OK"], [local(0)]))
        self.assertEqual(self.folder.candidates.read_bytes(), candidate_file([]))

    def test_a_configuration_that_does_not_parse_is_an_error_and_clears_nothing(self):
        self.fill([OLD])
        self.folder.configuration.write_text("<half")
        log = self.mark()
        self.assertEqual(self.car.exchange("clearAllLocalTags"), (STATUS["ERROR"], []))
        self.assert_stored([OLD])
        self.assertEqual(self.log_of("XMLTools_LoadConfig", log)[-2:],
                         ["Error: Failed to parse document.", "Error: Error running Parser"])


if __name__ == "__main__":
    main()
