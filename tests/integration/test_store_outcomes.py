"""Storing a tag: every way it can end, by policy and by what the iPods do."""

import errno
from expected import property_list
from harness import NO_DEVICE, STATUS, CarTest, connected, local, main, song

SOURCE = "CTaggingImpl_tagRequest"
OLD, OTHER, NEW = song(1), song(2), song(9)

LOADED = ["Ambig Tag Count: 0", "Total Tags: 1", "Found Single", "Initial tag count: 2",
          "Storing tags"]
ON_IPOD = "Storing on iPod"
REFUSED = ["Error: Failure writing to iPod. Storing Internally", "re-storing Tags",
           "re-storing Ambiguous Tags"]
LOCALLY = "Storing locally"
WALK = "Backing up tags"


class StoreTest(CarTest):
    """One stored song, one request for a new one, and some iPods."""

    def plug(self, *devices):
        """Attaches these, each an id and the fault of its driver, and forgets all songs."""
        self.fill()
        self.folder.tagged_info.unlink(missing_ok=True)
        for device, fault in devices:
            self.car.attach(device, caps="8,3")
            self.car.rig.command(f"fault {device} {fault}", "changed")
        self.fill([OLD])

    def request(self, *tags, device=None):
        """Sends the request, and keeps what it leaves behind."""
        log, reports = self.mark(), len(self.car.rig.reports)
        self.reply, self.signals = self.car.tag(*(tags or [NEW]), device=device)
        self.log = self.log_of(SOURCE, log)
        self.texts = self.received(reports)
        self.exchanges = self.driver(reports)
        self.assertEqual(self.car.properties("transferStatus"), {"transferStatus": self.reply})

    def assert_outcome(self, status, *currents, log, texts=()):
        self.assertEqual(self.reply, STATUS[status])
        self.assertEqual(self.signals, [local(current) for current in currents])
        self.assertEqual(self.log, log)
        self.assertEqual(self.texts, list(texts))


class WithoutIpod(StoreTest):
    """No iPod attached, whatever the policy."""

    def test_the_tag_is_stored_in_the_local_files(self):
        for enabled, choose in (("false", "all"), ("true", "all"), ("true", "specify")):
            with self.subTest(enabled=enabled, choose=choose):
                self.folder.configure(enabled=enabled, choose=choose)
                self.folder.tagged_info.unlink(missing_ok=True)
                self.fill([OLD])
                self.request()
                self.assert_outcome("STORED_LOCAL", 2, log=[*LOADED, LOCALLY])
                self.assert_stored([OLD, NEW])
                self.assert_tagged((NEW, [NO_DEVICE]))

    def test_the_limit_drops_the_request_and_touches_no_file(self):
        stored = [song(number) for number in range(9)]
        self.fill(stored, [song(20), song(21)])
        before = self.files()
        self.request()
        self.assert_outcome("LOCAL_STORAGE_FULL", log=["Ambig Tag Count: 2", "Total Tags: 10"])
        self.assertEqual(self.files(), before)

    def test_a_count_beyond_the_limit_is_full_too(self):
        self.fill([song(number) for number in range(3)])
        for limit in (1, 2, 3):
            with self.subTest(limit):
                self.folder.configure(limit=limit)
                self.request()
                self.assertEqual(self.reply, STATUS["LOCAL_STORAGE_FULL"])
        self.folder.configure(limit=4)
        self.request()
        self.assertEqual(self.reply, STATUS["STORED_LOCAL"])

    def test_a_negative_limit_is_always_reached(self):
        self.folder.configure(limit=-1)
        self.request()
        self.assertEqual(self.reply, STATUS["LOCAL_STORAGE_FULL"])
        self.assertFalse(self.folder.tags.exists())

    def test_a_single_candidate_adds_nothing_to_the_count(self):
        stored = [song(number) for number in range(9)]
        self.fill(stored, [song(20)])
        self.request(song(30))
        self.assertEqual(self.reply, STATUS["STORED_LOCAL"])
        self.assertEqual(self.signals, [local(10)])
        self.assert_stored([*stored, song(30)], [song(20)])

    def test_two_tags_in_one_request_become_candidates(self):
        self.fill([OLD])
        self.request(NEW, song(10, ButtonPressed=True))
        self.assert_outcome("STORED_LOCAL", 2, log=["Ambig Tag Count: 0", "Total Tags: 1",
                                                    "Found Fuzzy", "Storing tags", LOCALLY])
        self.assert_stored([OLD], [NEW, song(10, ButtonPressed=True)])
        self.assert_tagged((NEW, [NO_DEVICE]), (song(10), [NO_DEVICE]))

    def test_three_new_candidates_count_as_one(self):
        self.request(song(1), song(2), song(3))
        self.assertEqual(self.signals, [local(1)])
        self.request(song(4), song(5), song(6), song(7))
        self.assertEqual(self.signals, [local(3)])

    def test_the_same_song_again_is_not_refused_but_left_out_of_the_file(self):
        self.request(NEW)
        self.request(NEW)
        self.assert_outcome("STORED_LOCAL", 1, log=["Ambig Tag Count: 0", "Total Tags: 1",
                                                    "Found Single", "Initial tag count: 2",
                                                    "Storing tags", LOCALLY])
        self.assert_stored([NEW])
        self.assert_tagged((NEW, [NO_DEVICE]))

    def test_the_same_song_alone_and_in_a_pair_is_recorded_once(self):
        self.request(NEW, song(10))
        self.assert_stored([], [NEW, song(10)])
        self.request(NEW)
        self.assertEqual(self.signals, [local(1)])
        self.assert_stored([], [NEW, song(10)])

    def test_the_request_records_the_device_it_names(self):
        self.request(device=4)
        self.assert_tagged((NEW, [4]))

    def test_unreadable_tag_files_count_as_empty_and_are_overwritten(self):
        self.folder.tags.write_text("<MarkedTracks><Tag Name='half'")
        self.folder.candidates.write_text("not xml")
        self.folder.tagged_info.write_text("<")
        self.request()
        self.assert_outcome("STORED_LOCAL", 1, log=["Ambig Tag Count: 0", "Total Tags: 0",
                                                    "Found Single", "Initial tag count: 1",
                                                    "Storing tags", LOCALLY])
        self.assert_stored([NEW])
        self.assert_tagged((NEW, [NO_DEVICE]))

    def test_the_signal_leaves_before_the_reply(self):
        position = self.car.monitor.position
        self.car.tag(NEW)
        signal, _ = self.car.monitor.wait_for_signal("localStatus", position)
        reply, _ = self.car.monitor.wait_for_reply("tagRequest", position)
        self.assertLess(signal, reply)


class MultiplesOff(StoreTest):
    """The first iPod that takes the file is the only one."""

    def test_the_first_ipod_takes_everything_and_the_second_is_not_touched(self):
        self.plug((1, "none"), (2, "none"))
        self.request()
        self.assert_outcome("STORED_ON_TARGET", 0, log=[*LOADED, WALK, ON_IPOD],
                            texts=[(1, 0, property_list([OLD, NEW]))])
        self.assertEqual(self.exchanges, [(1, "tags", 0)])
        self.assert_stored()
        self.assert_tagged((NEW, [NO_DEVICE]))

    def test_the_capabilities_of_an_ipod_are_not_asked_for(self):
        self.car.attach(1, caps="3")
        self.request()
        self.assertEqual(self.reply, STATUS["STORED_ON_TARGET"])
        self.assertEqual(self.exchanges, [(1, "tags", 0)])

    def test_first_refuses_second_takes_so_files_are_left_over_and_the_last_current_is_0(self):
        self.plug((1, "write=ENOSPC"), (2, "none"))
        self.request()
        self.assert_outcome(
            "STORED_ON_TARGET", 2, 0, log=[*LOADED, WALK, ON_IPOD, *REFUSED, ON_IPOD],
            # The refusal has recorded the new song already, so the second list leaves it out.
            texts=[(1, errno.ENOSPC, property_list([OLD, NEW])), (2, 0, property_list([OLD]))])
        self.assert_stored([OLD, NEW])
        self.assert_tagged((NEW, [NO_DEVICE]))

    def test_every_write_fails_so_stored_local_even_for_a_full_ipod(self):
        for name in ("ENOSPC", "EINVAL", "EIO"):
            with self.subTest(name):
                self.plug((1, f"write={name}"), (2, f"write={name}"))
                self.request()
                number = getattr(errno, name)
                self.assert_outcome(
                    "STORED_LOCAL", 2, 2, 2,
                    log=[*LOADED, WALK, ON_IPOD, *REFUSED, ON_IPOD, *REFUSED, LOCALLY],
                    texts=[(1, number, property_list([OLD, NEW])),
                           (2, number, property_list([OLD]))])
                self.assert_stored([OLD])
                self.assert_tagged((NEW, [NO_DEVICE]))

    def test_an_ipod_that_cannot_be_opened_is_a_failed_write(self):
        self.plug((1, "open"))
        log = self.mark()
        self.request()
        self.assert_outcome("STORED_LOCAL", 2, 2, log=[*LOADED, WALK, ON_IPOD, *REFUSED, LOCALLY])
        self.assertEqual(self.log_of("XMLTools_WriteAppleXML", log),
                         ["Testing :false", f"Writing to iPod at :{self.car.mount_point(1)}",
                          "Error: Failed to access iPod"])

    def test_the_log_tells_the_errno_and_the_word_of_the_driver(self):
        self.plug((1, "write=EIO:77"))
        log = self.mark()
        self.request()
        self.assertEqual(self.log_of("XMLTools_WriteAppleXML", log)[-1],
                         "Error: Write of tag file to iPod failed err:"
                         "5 (Input/output error): ret:77")
        self.assertEqual(self.log_of("XMLTools_CraftAppleXML", log)[-1],
                         "Rethrowing planned exception")

    def test_a_song_that_went_to_the_device_before_is_left_out_of_the_list(self):
        self.plug((1, "none"))
        self.request(device=1)
        self.fill()
        self.request(device=1)
        self.assertEqual(self.reply, STATUS["STORED_ON_TARGET"])
        self.assertEqual(self.signals, [local(0)])
        self.assertEqual(self.texts, [(1, 0, property_list([]))])

    def test_candidates_stand_behind_the_tags_in_the_list(self):
        self.plug((1, "none"))
        self.fill([OLD], [song(20, ButtonPressed=True), song(21)])
        self.request()
        self.assertEqual(self.texts, [(1, 0, property_list(
            [OLD, NEW], [song(20, ButtonPressed=True), song(21)]))])
        self.assert_stored()


class MultiplesForAll(StoreTest):
    """Every attached iPod gets the file."""

    configuration = {"enabled": "true", "choose": "all"}

    def test_every_ipod_takes_the_file_and_the_second_list_lacks_the_new_song(self):
        self.plug((1, "none"), (2, "none"))
        self.request()
        self.assert_outcome("STORED_ON_TARGET", 0, 0, log=[*LOADED, WALK, ON_IPOD, ON_IPOD],
                            texts=[(1, 0, property_list([OLD, NEW])), (2, 0, property_list([OLD]))])
        self.assert_stored()
        self.assert_tagged((NEW, [NO_DEVICE]))

    def test_one_refusal_among_several_is_passed_over_in_silence(self):
        self.plug((1, "write=ENOSPC"), (2, "none"), (3, "write=EIO"))
        self.request()
        self.assert_outcome(
            "STORED_ON_TARGET", 0, log=[*LOADED, WALK, ON_IPOD, ON_IPOD, ON_IPOD],
            texts=[(1, errno.ENOSPC, property_list([OLD, NEW])),
                   (2, 0, property_list([OLD, NEW])), (3, errno.EIO, property_list([OLD]))])
        self.assert_stored()

    def test_every_write_fails(self):
        self.plug((1, "write=ENOSPC"), (2, "write=EINVAL"))
        self.request()
        self.assert_outcome(
            "STORED_LOCAL", 2, log=[*LOADED, WALK, ON_IPOD, ON_IPOD, LOCALLY],
            texts=[(1, errno.ENOSPC, property_list([OLD, NEW])),
                   (2, errno.EINVAL, property_list([OLD, NEW]))])
        self.assert_stored([OLD, NEW])
        self.assert_tagged((NEW, [NO_DEVICE]))

    def test_any_choice_but_specify_means_all(self):
        self.folder.configure(enabled="true", choose="Specify")
        self.plug((1, "none"), (2, "none"))
        self.request()
        self.assertEqual(self.exchanges, [(1, "tags", 0), (2, "tags", 0)])


class MultiplesSpecified(StoreTest):
    """Only the iPod that the request names."""

    configuration = {"enabled": "true", "choose": "specify"}

    def test_device_0_is_stored_locally(self):
        self.plug((0, "none"), (1, "none"))
        self.request(device=0)
        self.assert_outcome("STORED_LOCAL", 2, log=[*LOADED, WALK, LOCALLY])
        self.assertEqual(self.exchanges, [])
        self.assert_stored([OLD, NEW])
        self.assert_tagged((NEW, [0]))

    def test_no_ipod_has_the_id(self):
        self.plug((1, "none"), (2, "none"))
        for device, recorded in ((7, 7), (-1, NO_DEVICE), (None, NO_DEVICE)):
            with self.subTest(device):
                self.folder.tagged_info.unlink(missing_ok=True)
                self.fill([OLD])
                self.request(device=device)
                self.assert_outcome("STORED_LOCAL", 2, log=[*LOADED, WALK, LOCALLY])
                self.assertEqual(self.exchanges, [])
                self.assert_stored([OLD, NEW])
                self.assert_tagged((NEW, [recorded]))

    def test_the_named_ipod_lacks_the_capability(self):
        self.plug((1, "none"), (2, "none"))
        self.car.rig.command("caps 2 3,7,9", "changed")
        self.request(device=2)
        self.assert_outcome("STOREDLOCAL_IPOD_INCOMPATIBLE", 2, log=[*LOADED, WALK, LOCALLY])
        self.assertEqual(self.exchanges, [(2, "capabilities", 0)])
        self.assert_stored([OLD, NEW])
        self.assert_tagged((NEW, [2]))

    def test_the_named_ipod_takes_the_file(self):
        self.plug((1, "none"), (2, "none"))
        self.request(device=2)
        self.assert_outcome("STORED_ON_TARGET", 0, log=[*LOADED, WALK, ON_IPOD],
                            texts=[(2, 0, property_list([OLD, NEW]))])
        self.assertEqual(self.exchanges, [(2, "capabilities", 0), (2, "tags", 0)])
        self.assert_stored()
        self.assert_tagged((NEW, [2]))

    def test_a_full_named_ipod_is_the_only_way_to_target_full(self):
        for name in ("ENOSPC", "EINVAL"):
            with self.subTest(name):
                self.assert_refusal(name, "TARGET_FULL")

    def test_the_named_ipod_fails_otherwise(self):
        for name in ("EIO", "ENODEV", "EROFS"):
            with self.subTest(name):
                self.assert_refusal(name, "STORED_LOCAL")

    def assert_refusal(self, name, status):
        self.plug((1, "none"), (2, f"write={name}"))
        self.request(device=2)
        self.assert_outcome(status, 2, log=[*LOADED, WALK, ON_IPOD, *REFUSED],
                            texts=[(2, getattr(errno, name), property_list([OLD, NEW]))])
        self.assert_stored([OLD, NEW])
        self.assert_tagged((NEW, [2]))

    def test_an_ipod_that_does_not_answer_for_its_capabilities_counts_as_incapable(self):
        for fault in ("open", "caps=EIO", "vanish"):
            with self.subTest(fault):
                self.plug((2, fault))
                self.request(device=2)
                self.assert_outcome("STOREDLOCAL_IPOD_INCOMPATIBLE", 2,
                                    log=[*LOADED, WALK, LOCALLY])
                self.assert_stored([OLD, NEW])

    def test_an_ipod_that_vanishes_in_mid_exchange_is_a_failed_write(self):
        self.plug((2, "vanish=write"))
        self.request(device=2)
        self.assert_outcome("STORED_LOCAL", 2, log=[*LOADED, WALK, ON_IPOD, *REFUSED],
                            texts=[(2, errno.EIO, property_list([OLD, NEW]))])
        self.assert_stored([OLD, NEW])
        self.assertEqual(self.car.detach(2), [connected()])


if __name__ == "__main__":
    main()
