"""The four methods, as clients that are not ours call them."""

import json
import xml.etree.ElementTree

import expected
from harness import NO_DEVICE, STATUS, CarTest, local, main, song
from car import calls

CLIENTS = (calls.by_gdbus, calls.by_busctl)


class Replies(CarTest):
    """The text of each reply, byte for byte, by each client."""

    def assert_reply(self, method, parameters, text):
        for client in CLIENTS:
            with self.subTest(client.__name__):
                self.assertEqual(client(self.car.bus, method, parameters), text)

    def test_tag_request(self):
        for client in CLIENTS:
            text = json.dumps({"tags": [song(1)]})
            self.assertEqual(client(self.car.bus, "tagRequest", text),
                             '{"Name":"STORED_LOCAL","Value":5}\n')

    def test_no_tags_give_the_value_as_text(self):
        for parameters in ('{"tags":[]}', "{}", '{"tags":null}', '{"tags":{}}', '{"tags":3}',
                           None, "no JSON", '{"tags":[{"Name":"half"'):
            with self.subTest(parameters):
                before = self.files()
                self.assert_reply("tagRequest", parameters, '{"Name":"ERROR","Value":"2"}\n')
                self.assertEqual(self.files(), before)
        self.assertEqual(self.car.properties("transferStatus"), {"transferStatus": STATUS["OK"]})

    def test_clear_all_local_tags(self):
        self.assert_reply("clearAllLocalTags", None, '{"Name":"OK","Value":1}\n')
        self.assert_reply("clearAllLocalTags", "anything", '{"Name":"OK","Value":1}\n')

    def test_get_properties(self):
        every = ('{"props":{"connectionStatus":{"Devices":[]},"localStatus":{"Current":0,"Max":10},'
                 '"transferStatus":{"Name":"OK","Value":1}}}\n')
        names = '{"props":["transferStatus","connectionStatus","localStatus"]}'
        self.assert_reply("getProperties", names, every)
        self.assert_reply("getProperties", '{"props":["localStatus","nonsense"]}',
                          '{"props":{"localStatus":{"Current":0,"Max":10}}}\n')

    def test_get_properties_gives_nothing_unless_asked_for(self):
        for parameters in (None, "{}", '{"props":[]}', '{"props":null}', '{"props":5}',
                           '{"props":["LocalStatus"]}', "no JSON", "[" * 1500):
            with self.subTest(parameters and parameters[:20]):
                self.assert_reply("getProperties", parameters, '{"props":{}}\n')

    def test_check_tag(self):
        self.car.tag(song(1), device=4)
        asked = {"Name": "Song 1", "Artist": "Artist 1", "iTunesSongID": "1001"}
        for device, tagged in ((4, "true"), (5, "false"), (None, "false")):
            parameters = {"tagInfo": [asked, {"Name": "ignored"}]}
            if device is not None:
                parameters["deviceID"] = device
            self.assert_reply(
                "checkTag", json.dumps(parameters),
                '{"Artist":"Artist 1","Name":"Song 1","iTunesSongID":"1001",'
                f'"tagged":{tagged}}}\n')

    def test_unknown_methods_are_ordinary_replies(self):
        for method in ("nonsense", "TagRequest", "tagrequest", "CheckTag"):
            log = self.mark()
            self.assert_reply(method, "{}", '{"errCode":"eFail"}\n')
            self.assertEqual(self.log_of("CTaggingImpl_processTellbusRequest", log)[2:4],
                             [f"Method: {method}", f"Unknown method:{method}"])

    def test_other_arguments_never_reach_the_service(self):
        log = self.mark()
        for arguments in (("i", "5"), ("ss", "{}", "{}"), ("as", "1", "{}")):
            with self.assertRaises(calls.CallFailed):
                calls.busctl_raw(self.car.bus, "getProperties", *arguments)
        self.assertEqual(self.log_of("CTaggingImpl_processTellbusRequest", log), [])
        self.car.settle()
        errors = [message for message in self.car.monitor.since(0) if message.type == "error"]
        self.assertEqual([error.error_name for error in errors[-3:]],
                         ["org.freedesktop.DBus.Error.InvalidArgs"] * 3)
        self.assertEqual(self.car.call("getProperties"), {"props": {}})

    def test_a_call_that_wants_no_reply_is_carried_out(self):
        position = self.car.monitor.position
        calls.busctl_raw(self.car.bus, "clearAllLocalTags", "s", "{}",
                         options=["--expect-reply=no"])
        self.car.monitor.wait_for_signal("localStatus", position)
        self.assertEqual(self.car.settle(position), [local(0)])

    def test_the_log_of_a_request(self):
        log = self.mark()
        self.car.tag(song(1), song(2))
        self.assertEqual(self.log_of("CTaggingImpl_processTellbusRequest", log)[:5], [
            "-----< START >-----", "in processTellbusRequest", "Method: tagRequest",
            "Tag Size: 2", "-----< END >-----"])


class Tags(CarTest):
    """What becomes of the keys of a tag."""

    FULL = {"Album": "Album & more", "Genre": "Rock'n", "iTunesAffiliateID": "affiliate",
            "iTunesStorefrontID": 143441, "PodcastFeedURL": 12, "ProgramNumber": 2,
            "StationCallLetters": "ABCD-FM", "StationFrequency": "95.5",
            "StationURL": "http://station.example/?a=1&b=<2>", "TimeStamp": "2010-03-01T17:05:09Z",
            "UnknownData": "AAEC", "iTunesStationID": "dropped", "surplus": [1, 2]}

    def test_every_key_of_a_single_tag(self):
        tag = song(1, **self.FULL, ButtonPressed=True)
        self.car.tag(tag)
        self.assert_stored([tag])

    def test_every_key_of_candidates(self):
        pair = [song(1, **self.FULL, ButtonPressed=True), song(2, **self.FULL)]
        self.car.tag(*pair)
        self.assert_stored([], pair)

    def test_missing_keys_and_their_defaults(self):
        self.car.tag({})
        self.assert_stored([{"Name": "", "Artist": ""}])
        self.assert_tagged(({"Name": "", "Artist": ""}, [NO_DEVICE]))

    def test_song_id_minus_one_and_podcast_feed_0_leave_the_text_empty(self):
        self.car.tag({"Name": "n", "Artist": "a", "iTunesSongID": -1, "PodcastFeedURL": 0})
        self.car.tag({"Name": "m", "Artist": "a", "iTunesSongID": 0, "PodcastFeedURL": -3})
        self.assert_stored([{"Name": "n", "Artist": "a"},
                            {"Name": "m", "Artist": "a", "iTunesSongID": 0, "PodcastFeedURL": -3}])

    def test_a_negative_storefront_becomes_its_32_bit_value(self):
        self.car.tag(song(1, iTunesStorefrontID=-1))
        self.assert_stored([song(1, iTunesStorefrontID=2**32 - 1)])

    def test_any_script_comes_through(self):
        self.car.tag(song(1, Name="Größe 日本語 🎵 \\ / \u0301"))
        self.assert_stored([song(1, Name="Größe 日本語 🎵 \\ / \u0301")])
        names = [record["Name"] for record in self.records()]
        self.assertEqual(names, ["Größe 日本語 🎵 \\ / \u0301"])

    def test_only_the_first_quote_of_a_kind_is_encoded(self):
        self.car.tag(song(1, Name="rock 'n' roll"))
        self.assertIn(b'Name="rock &apos;n\' roll"', self.folder.tags.read_bytes())

    def records(self):
        return [dict(element.attrib) for element in
                xml.etree.ElementTree.parse(self.folder.tags).getroot()]

    def test_the_property_list_has_every_key(self):
        self.car.attach(1)
        tag = song(1, **self.FULL)
        self.car.tag(tag)
        self.assertEqual(self.received(), [(1, 0, expected.property_list([tag]))])


class CheckTag(CarTest):
    """checkTag beyond the plain case."""

    def check(self, **parameters):
        return self.car.call("checkTag", parameters)

    def test_without_tag_info_the_registry_is_asked_for_the_missing_id(self):
        nothing = {"Artist": "", "Name": "", "iTunesSongID": ""}
        for tag_info in ({}, {"tagInfo": []}, {"tagInfo": None}):
            self.assertEqual(self.check(**tag_info), {**nothing, "tagged": False})
        self.folder.tagged_info.write_bytes(expected.tagged_file(
            [({"Name": "", "Artist": "", "iTunesSongID": "0xFFFFFFFF"}, "", [3])]))
        self.assertEqual(self.check(deviceID=3), {**nothing, "tagged": True})

    def test_without_a_song_id_the_missing_id_is_asked_for(self):
        self.assertEqual(self.check(tagInfo=[{"Name": "n", "Artist": "a"}]), {
            "Artist": "a", "Name": "n", "iTunesSongID": "0xFFFFFFFF", "tagged": False})

    def test_a_song_stored_for_no_device_is_found_without_a_device(self):
        self.car.tag(song(1))
        asked = [{"Name": "Song 1", "Artist": "Artist 1", "iTunesSongID": "1001"}]
        self.assertTrue(self.check(tagInfo=asked)["tagged"])
        self.assertTrue(self.check(tagInfo=asked, deviceID=-1)["tagged"])
        self.assertFalse(self.check(tagInfo=asked, deviceID=1)["tagged"])

    def test_a_registry_that_cannot_be_read_leaves_it_untagged(self):
        self.folder.tagged_info.write_text("<")
        self.assertFalse(self.check(tagInfo=[{"Name": "n"}])["tagged"])

    def test_asking_changes_no_file(self):
        self.car.tag(song(1))
        before = self.files()
        self.check(tagInfo=[{"Name": "unknown"}])
        self.assertEqual(self.files(), before)

    def test_the_log(self):
        log = self.mark()
        self.check(tagInfo=[{"Name": "n"}])
        self.assertEqual(self.log_of("CTaggingImpl_checkTag", log), [
            "Enter checkTag", "Get Tag info data", "LoadConfig success!", "LoadTagIdMgr success!",
            "isTagIdExist success!"])


if __name__ == "__main__":
    main()
