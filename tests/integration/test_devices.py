"""Which iPods there are: the answer to getDevices, and the deviceState signals."""

import json

from harness import CarTest, connected, local, main, song, transfer

RULE = "-" * 20
ANSWER = "CTaggingImpl_ProcessDeviceState(Json)"
SIGNAL = "CTaggingImpl_ProcessDeviceStateSignal"


def device(number, **fields):
    return {"type": "ipod", "id": number, "mountPoint": f"/nowhere/{number}", **fields}


def state(available, fields):
    return json.dumps({"available": available, "device": fields})


class Answer(CarTest):
    """The answer to getDevices."""

    def prepare(self):
        self.car.start_rig()

    def start(self, answer):
        """Starts the service with this answer: its signals behind the first localStatus."""
        self.car.rig.command(f"answer {answer}", "answering")
        first, *signals = self.car.start_service()
        self.assertEqual(first, local(0))
        return signals

    def devices(self):
        return self.car.properties("connectionStatus")["connectionStatus"]["Devices"]

    def test_two_ipods_and_a_stick_give_three_signals_and_two_records(self):
        answer = {"devices": [{"device": device(5)}, {"device": device(6, type="usb")},
                              {"device": device(2)}]}
        self.assertEqual(self.start(json.dumps(answer)),
                         [connected(5), connected(5, 2), connected(5, 2)])
        self.assertEqual(self.log_of(ANSWER), [
            "Starting", "List Size: 3", "iPod Found", "iPod Found", "For loop finished",
            "Exiting"])
        self.assertEqual(self.log_of("CTaggingImpl_processTellBUSResult"),
                         [RULE, "ResultName: getDevices", "Exiting", RULE])

    def test_the_rig_itself_answers_with_what_is_attached(self):
        self.car.attach(4, silent=True)
        self.car.attach(9, silent=True, type="usb")
        self.assertEqual(self.start("default"), [connected(4), connected(4)])
        self.assertEqual(len(self.car.rig.seen("getDevices")), 1)

    def test_a_type_in_other_letters_is_no_ipod(self):
        answer = {"devices": [{"device": device(number, type=kind)} for number, kind in
                              enumerate(("iPod", "IPOD", "ipod ", "", "usb"))] + [{}]}
        self.assertEqual(self.start(json.dumps(answer)), [connected()])

    def test_no_devices_key_empties_the_list_and_tries_a_transfer(self):
        for answer in ("{}", '{"devices":null}', "no JSON", '{"devices"', ""):
            with self.subTest(answer):
                if self.car.service:
                    self.car.service.kill()
                log = self.mark()
                self.assertEqual(self.start(answer or "error"), [connected()])
                self.assertEqual(self.log_of(ANSWER, log),
                                 ["Starting", "Warning: deviceList is empty!", "Exiting"])
                self.assertEqual(self.log_of("CTaggingImpl_ProcessStoredTags", log)[:1],
                                 ["Fired"])

    def test_an_empty_or_scalar_list_has_no_elements(self):
        for answer in ('{"devices":[]}', '{"devices":{}}', '{"devices":7}'):
            with self.subTest(answer):
                if self.car.service:
                    self.car.service.kill()
                log = self.mark()
                self.assertEqual(self.start(answer), [connected()])
                self.assertEqual(self.log_of(ANSWER, log),
                                 ["Starting", "List Size: 0", "For loop finished", "Exiting"])

    def test_a_null_answer_changes_nothing(self):
        self.car.rig.command("answer null", "answering")
        position = self.car.monitor.position
        self.car.launch_service()
        self.car.monitor.wait_for_reply("getDevices", position)
        self.assertEqual(self.car.settle(position), [local(0)])
        self.assertEqual(self.log_of(ANSWER), ["Starting", "Exiting"])

    def test_without_an_answer_the_signals_fill_the_list(self):
        self.car.rig.command("answer none", "answering")
        position = self.car.monitor.position
        self.car.launch_service()
        self.car.rig.wait("getDevices")
        self.assertEqual(self.car.settle(position), [local(0)])
        self.assertEqual(self.car.signal(state(True, device(3))), [connected(3)])

    def test_the_question_is_asked_once_with_an_empty_object(self):
        position = self.car.monitor.position
        self.start("default")
        calls = [message for message in self.car.monitor.since(position)
                 if message.type == "method_call" and message.member == "getDevices"]
        self.assertEqual([(call.path, call.interface, call.destination, call.data)
                          for call in calls],
                         [("/com/veldan/service/Media", "com.veldan.service.Media",
                           "com.veldan.service.Media", ["{}\n"])])

    def test_a_media_service_that_is_not_there_is_an_empty_answer(self):
        self.car.rig.stop()
        self.car.rig = None
        self.assertEqual(self.car.start_service(), [local(0), connected()])
        self.assertIn("Warning: deviceList is empty!", self.log_of(ANSWER))


class NoAnswer(CarTest):
    """A media service that is asked and never answers."""

    def prepare(self):
        self.car.start_rig()
        self.car.rig.command("answer none", "answering")

    def start_unanswered(self):
        position = self.car.monitor.position
        self.car.launch_service()
        self.car.rig.wait("getDevices")
        self.assertEqual(self.car.settle(position), [local(0)])

    def test_nothing_happens_when_the_media_service_goes_without_an_answer(self):
        self.start_unanswered()
        self.assertEqual(self.car.attach(5), [connected(5)])
        position = self.car.monitor.position
        self.car.rig.stop()
        self.car.monitor.wait(lambda message: message.type == "error", position, "the bus's error")
        self.assertEqual(self.car.settle(position), [])
        self.assertEqual(self.log_of(ANSWER), [])
        self.assertEqual(self.car.properties("connectionStatus"),
                         {"connectionStatus": {"Devices": [5]}})


class Signals(CarTest):
    """deviceState."""

    def say(self, available, fields):
        return self.car.signal(state(available, fields))

    def test_an_ipod_comes_and_goes(self):
        self.assertEqual(self.say(True, device(5)), [connected(5)])
        self.assertEqual(self.say(True, device(2)), [connected(5, 2)])
        self.assertEqual(self.say(False, device(5)), [connected(2)])
        self.assertEqual(self.car.properties("connectionStatus"),
                         {"connectionStatus": {"Devices": [2]}})

    def test_the_log_of_a_signal(self):
        log = self.mark()
        self.say(True, device(5))
        self.assertEqual(self.log_of("CTaggingImpl_processTellbusSignal", log), [RULE, RULE])
        self.assertEqual(self.log_of(SIGNAL, log), [
            "Parsing Available...", "Parsing device...", "Processing iPod"])

    def test_a_known_id_replaces_its_record_and_moves_it_to_the_end(self):
        self.say(True, device(5))
        self.say(True, device(2))
        self.car.attach(5)
        self.assertEqual(self.car.properties("connectionStatus"),
                         {"connectionStatus": {"Devices": [2, 5]}})
        # The new record's mount point counts: the store finds the iPod behind it.
        self.say(False, device(2))
        self.assertEqual(self.car.tag(song(1))[0]["Name"], "STORED_ON_TARGET")

    def test_of_two_records_with_one_id_only_the_first_goes(self):
        answer = {"devices": [{"device": device(number)} for number in (7, 8, 7)]}
        self.car.rig.command(f"answer {json.dumps(answer)}", "answering")
        self.car.restart_service()
        self.assertEqual(self.say(False, device(7)), [connected(8, 7)])
        self.assertEqual(self.say(True, device(7)), [connected(8, 7)])

    def test_an_unknown_ipod_that_leaves_is_still_told(self):
        self.assertEqual(self.say(False, device(5)), [connected()])

    def test_what_is_no_ipod_changes_nothing_and_is_not_told(self):
        for kind in ("usb", "iPod", ""):
            with self.subTest(kind):
                log = self.mark()
                self.assertEqual(self.say(True, device(5, type=kind)), [])
                self.assertEqual(self.log_of(SIGNAL, log),
                                 ["Parsing Available...", "Parsing device..."])

    def test_text_that_does_not_parse_does_nothing(self):
        for text in ("nonsense", "{", '{"available":', "{}", "[" * 5000, '"text'):
            with self.subTest(text[:20]):
                self.assertEqual(self.car.signal(text), [])

    def test_missing_availability_means_gone(self):
        self.say(True, device(5))
        self.assertEqual(self.car.signal(json.dumps({"device": device(5)})), [connected()])

    def test_a_record_without_an_id_has_the_id_0(self):
        fields = device(5)
        del fields["id"]
        self.assertEqual(self.say(True, fields), [connected(0)])

    def test_connection_status_follows_the_transfer(self):
        self.fill([song(1)])
        self.assertEqual(self.car.attach(1),
                         [transfer("TRANSFER_SUCCEEDED"), local(0), connected(1)])

    def test_an_empty_mount_point_opens_the_root_and_is_incapable(self):
        self.fill([song(1)])
        log = self.mark()
        self.assertEqual(self.say(True, device(5, mountPoint="")),
                         [transfer("STOREDLOCAL_IPOD_INCOMPATIBLE"), connected(5)])
        self.assertEqual(self.log_of("CTaggingImpl_IsSupportTagging", log),
                         ["open </.FS_info./control> fail"])

    def test_a_signal_of_somebody_else_is_not_heard(self):
        position = self.car.monitor.position
        self.car.forge_device_state(state(True, device(5)))
        self.car.monitor.wait_for_signal("deviceState", position)
        self.assertEqual(self.car.settle(position), [])
        self.assertEqual(self.car.properties("connectionStatus"),
                         {"connectionStatus": {"Devices": []}})

    def test_a_very_long_mount_point_is_reached(self):
        path = self.car.root / "/".join("folder" * 8 for _ in range(5))
        self.fill([song(1)])
        self.assertEqual(self.car.attach(1, mount_point=path),
                         [transfer("TRANSFER_SUCCEEDED"), local(0), connected(1)])


if __name__ == "__main__":
    main()
