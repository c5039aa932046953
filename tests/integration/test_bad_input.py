"""Input that nobody should send: the service lives."""

import json
import subprocess

from expected import tag_file
from harness import CarTest, connected, local, main, song

MEGABYTES = 4 * 1024 * 1024


class BadInput(CarTest):
    """JSON too deep, texts too long, and what is no JSON at all."""

    def send(self, method, text):
        """A call with a text of any length: the reply."""
        return json.loads(self.car.load_client_call(method, text))

    def assert_alive(self):
        self.assertEqual(self.car.tag(song(1))[0]["Name"], "STORED_LOCAL")
        self.assertEqual(self.folder.tags.read_bytes(), tag_file([song(1)]))

    def test_json_too_deep_is_a_parse_that_failed(self):
        for opening in ("[", '{"tags":', '{"tags":[{"a":[', '{"props":['):
            for depth in (1100, 100000):
                with self.subTest(opening=opening, depth=depth):
                    self.assertEqual(self.send("tagRequest", opening * depth),
                                     {"Name": "ERROR", "Value": "2"})
                    self.assertEqual(self.send("getProperties", opening * depth), {"props": {}})
        self.assert_alive()

    def test_well_formed_json_too_deep_is_the_same(self):
        text = '{"tags":' + "[" * 50000 + "]" * 50000 + "}"
        self.assertEqual(self.send("tagRequest", text), {"Name": "ERROR", "Value": "2"})
        self.assert_alive()

    def test_megabytes_of_nothing(self):
        for text in (" " * MEGABYTES, "x" * MEGABYTES, '"' + "a" * MEGABYTES,
                     '{"tags":[' + "{}," * (MEGABYTES // 3)):
            with self.subTest(text[:10]):
                self.assertEqual(self.send("tagRequest", text), {"Name": "ERROR", "Value": "2"})
        self.assert_alive()

    def test_a_very_long_title_is_stored_and_delivered_whole(self):
        tag = song(1, Name="x" * 1000000)
        self.assertEqual(self.send("tagRequest", json.dumps({"tags": [tag]}))["Name"],
                         "STORED_LOCAL")
        self.assert_stored([tag])
        self.car.attach(1)
        [(_, status, text)] = self.received()
        self.assertEqual(status, 0)
        self.assertIn(tag["Name"].encode(), text)

    def test_a_reply_that_is_too_long_is_an_error_that_says_so(self):
        # A letter of two bytes comes back as an escape of six.
        text = json.dumps({"tagInfo": [{"Name": "\u00e9" * 6000000}]}, ensure_ascii=False)
        position, log = self.car.monitor.position, self.mark()
        with self.assertRaises(subprocess.CalledProcessError):
            self.send("checkTag", text)
        _, error = self.car.monitor.wait(lambda message: message.type == "error", position)
        self.assertEqual((error.error_name, error.text), (
            "org.freedesktop.DBus.Error.LimitsExceeded",
            "The answer is longer than 33488896 bytes"))
        self.assertIn("Method: checkTag", self.log_of("CTaggingImpl_processTellbusRequest", log))
        self.assert_alive()

    def test_a_device_report_too_deep_or_too_long(self):
        for text in ("[" * 100000, '{"available":' * 100000, "x" * MEGABYTES,
                     '{"available":true,"device":' + "[" * 5000 + "]" * 5000 + "}"):
            with self.subTest(text[:14]):
                self.assertEqual(self.car.signal(text), [])
        self.assert_alive()

    def test_an_answer_too_deep_empties_the_list(self):
        self.car.rig.command('answer {"devices":' + "[" * 100000, "answering")
        self.assertEqual(self.car.restart_service(), [local(0), connected()])

    def test_an_unknown_method_with_a_huge_name(self):
        self.assertEqual(self.send("m" * 200, "{}"), {"errCode": "eFail"})


if __name__ == "__main__":
    main()
