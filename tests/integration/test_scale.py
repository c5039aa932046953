"""Files of any size come back whole and in order."""

import json

from expected import candidate_file, property_list, tag_file, tagged_file
from harness import CarTest, connected, local, main, song, transfer

MANY = 10000
ENTRIES = 5000


class ManyTags(CarTest):
    """Ten thousand stored tags."""

    configuration = {"limit": 1000000}

    def test_single_tags_come_back_whole_and_in_order(self):
        tags = [song(number, Album=f"Album & {number}") for number in range(MANY)]
        self.fill(tags)
        self.assertEqual(self.car.restart_service()[0], local(MANY, 1000000))
        reply, signals = self.car.tag(song(MANY))
        self.assertEqual((reply["Name"], signals), ("STORED_LOCAL", [local(MANY + 1, 1000000)]))
        self.assert_stored([*tags, song(MANY)])
        self.assertEqual(self.car.attach(1)[:2],
                         [transfer("TRANSFER_SUCCEEDED"), local(0, 1000000)])
        self.assertEqual(self.received(), [(1, 0, property_list([*tags, song(MANY)]))])
        self.assert_stored()

    def test_candidates_of_one_request_survive_a_restart_and_reach_the_ipod(self):
        tags = [song(number, ButtonPressed=True) if number % 2 else song(number)
                for number in range(MANY)]
        position = self.car.monitor.position
        text = json.dumps({"tags": tags}, separators=(",", ":"))
        reply = self.car.load_client_call("tagRequest", text)
        self.assertEqual(json.loads(reply)["Name"], "STORED_LOCAL")
        self.assertEqual(self.car.settle(position), [local(MANY // 2, 1000000)])
        self.assertEqual(self.folder.candidates.read_bytes(), candidate_file(tags))
        self.assertEqual(self.folder.tags.read_bytes(), tag_file([]))
        self.assertEqual(self.car.restart_service(), [local(MANY, 1000000), connected()])
        self.car.attach(1)
        self.assertEqual(self.received(), [(1, 0, property_list([], tags))])
        self.assertEqual(len(self.entries()), MANY)

    def entries(self):
        text = self.folder.tagged_info.read_text()
        self.assertEqual(text.count("    <DeviceId>1</DeviceId>\n"), MANY)
        return [line for line in text.split("\n") if line.startswith("  <TagId ")]


class ManyEntries(CarTest):
    """A record of five thousand songs with three devices each."""

    configuration = {"limit": 1000000}

    def test_no_device_is_lost_wherever_the_buffer_of_the_parser_ends(self):
        # The first request writes them, the next ones read and write them back, each time moved by
        # one more byte in front of them.
        songs = [song(number) for number in range(ENTRIES)]
        for device in (7, 12345678, 2**31 - 1):
            self.car.load_client_call("tagRequest",
                                      json.dumps({"tags": songs, "deviceID": device}))
            self.car.call("clearAllLocalTags")
        devices = [7, 12345678, 2**31 - 1]
        front = []
        for step in range(8):
            entries = [(tag, True, devices) for tag in [*songs]]
            self.assert_tagged(*entries, *front)
            tag = {"Name": " " + "x" * step, "Artist": ""}
            self.car.tag(tag, device=1)
            front.append((tag, True, [1]))
        self.assert_tagged(*[(tag, True, devices) for tag in songs], *front)

    def test_the_devices_of_a_record_in_any_alignment_are_found_after_a_restart(self):
        songs = [song(number) for number in range(ENTRIES)]
        text = tagged_file([(tag, "", [1, 2, 3]) for tag in songs])
        for shift in (1, 17, 4095):
            self.folder.tagged_info.write_bytes(
                text.replace(b"<MarkedTracks>", b"<MarkedTracks>" + b" " * shift))
            self.car.restart_service()
            self.fill([song(1)])
            self.car.attach(4, caps="3")
            self.assertEqual(
                self.folder.tagged_info.read_bytes(),
                tagged_file([(tag, "", [1, 2, 3, 4] if tag == song(1) else [1, 2, 3])
                             for tag in songs]))
            self.car.detach(4)


if __name__ == "__main__":
    main()
