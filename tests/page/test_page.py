"""The rig's page in a real browser: what it shows, what can be done on it, who may."""

import http.client
import json
import pathlib
import socket
import subprocess
import unittest
import urllib.parse

from browser import PageTest, Window
from harness import main, song
from car.programs import DEADLINE, Program, binary

MARKUP = "<img src=x onerror=document.title='taken'><b>Not bold</b>"


class Road(PageTest):
    """A tag from the request to the iPod, as the page shows it."""

    def test_a_tag_waits_until_an_ipod_takes_it(self):
        self.window.picture("01-nothing-yet")
        self.car.tag(song(1, Album="Low Water", StationCallLetters="WXYZ-FM"))
        self.window.wait_for("#waiting", "Song 1")
        self.assertIn("WXYZ-FM", self.window.text("#waiting"))
        self.window.wait_for("#local-status", "1 of 10")
        self.window.wait_for("#road-caption", "“Song 1”: Waits in the unit (STORED_LOCAL).")
        self.window.picture("02-a-tag-waits")

        self.attach(7)
        self.window.wait_for("[data-ipod='7'] .taken", "Song 1 by Artist 1, heard on WXYZ-FM")
        self.window.wait_for("#waiting", "Nothing waits.")
        self.window.wait_for("#transfer-status", "Handed over (TRANSFER_SUCCEEDED)")
        self.window.wait_for("#connection-status", "iPod 7")
        self.window.wait_for("#record", "Song 1")
        self.window.wait_for("#record", "iPod 7")
        self.assertIn("<key>MarkedTracks</key>", self.window.run(
            "return document.querySelector('[data-ipod] pre').textContent"))
        self.window.picture("03-on-the-ipod")
        self.window.glimpse("page")
        self.assertEqual(self.window.complaints(), [])

    def test_every_call_is_shown_with_its_reply_and_its_time(self):
        self.car.tag(song(1))
        self.window.wait_for("#bus", "tagRequest")
        self.window.wait_for("#bus", "STORED_LOCAL")
        self.assertRegex(self.window.text("#bus"), r"tagRequest .* → Songlatch\s+\d+\.\d\d ms")
        self.assertNotIn("NameOwnerChanged", self.window.text("#bus"))
        self.window.click("#bus-own")
        self.window.wait_for("#bus", "NameOwnerChanged")

    def test_the_lines_of_one_request_stand_together(self):
        self.car.tag(song(1))
        self.window.wait_for("#log", "Request: tagRequest")
        lines = self.window.run("return [...document.querySelectorAll('#log .request')].find("
                                "(group) => group.innerText.includes('tagRequest'))"
                                ".querySelector('.lines').innerText").splitlines()
        self.assertIn("-----< START >-----", lines[0])
        self.assertIn("-----< END >-----", lines[-1])

    def test_a_title_that_is_markup_stays_text(self):
        self.car.tag(song(1, Name=MARKUP, Artist=MARKUP))
        self.window.wait_for("#waiting", MARKUP)
        self.window.wait_for("#road-caption", MARKUP)
        self.attach(7, name="<b>iPod</b>")
        self.window.wait_for("[data-ipod='7'] h3", "<b>iPod</b>")
        self.window.wait_for("[data-ipod='7'] .taken", MARKUP)
        self.assertEqual(self.window.run("return document.title"), "Songlatch workbench")
        self.assertEqual(self.window.run("return document.querySelectorAll('main img').length"), 0)
        self.window.picture("04-markup-stays-text")

    def test_a_file_that_cannot_be_read_is_told(self):
        self.folder.tags.write_text("<MarkedTracks><Tag Name=")
        self.window.wait_for("#files-unreadable", "Tags.xml or AmbigTag.xml cannot be read")
        self.folder.tags.write_text("<MarkedTracks/>")
        self.window.wait(lambda: not self.window.text("#files-unreadable"), "readable files")

    def test_clear_removes_what_waits(self):
        self.car.tag(song(1))
        self.window.wait_for("#waiting-count", "1")
        self.window.click("#clear")
        self.window.driver.switch_to.alert.accept()
        self.window.wait_for("#waiting-count", "0")
        self.assertEqual(self.stored(), [])


class Radio(PageTest):
    """The button of the page, with the radio's program on the bus."""

    PROGRAMME = ("Title: Harbor Lights", "Artist: The Paper Boats", "Album: Low Water")

    def prepare(self):
        if not pathlib.Path(binary("songlatch-radio")).exists():
            self.skipTest("there is no songlatch-radio in this build")
        super().prepare()
        self.radio = Program([binary("songlatch-radio"), "--frequency", "95.5"],
                             self.car.bus.environment, stdin=subprocess.PIPE,
                             errors=self.car.root / "radio.err")
        self.addCleanup(self.radio.kill)

    def hear(self, *lines):
        for line in lines:
            self.radio.say(f"17:34:12 {line}")

    def test_the_button_marks_what_is_playing(self):
        self.window.wait_for("#song-name", "Nothing that can be tagged")
        self.window.click("#mark")
        self.window.wait_for("#mark-reply", "Nothing is playing")
        self.hear("Synchronized", *self.PROGRAMME, "Audio bit rate: 40.7 kbps")
        self.window.wait_for("#song-name", "Harbor Lights")
        self.window.wait_for("#song-artist", "The Paper Boats")
        self.window.click("#mark")
        self.window.wait_for("#mark-reply", "Waits in the unit (STORED_LOCAL)")
        self.window.wait_for("#waiting", "Harbor Lights")
        self.assertIn("95.5", self.window.text("#waiting"))
        self.window.picture("00-on-the-air")
        self.radio.kill()
        self.window.wait_for("#song-name", "No radio on the bus")
        self.assertFalse(self.window.one("#mark").is_enabled())


class Faults(PageTest):
    """What the driver and the service are made to do wrong."""

    configuration = {"enabled": "true", "choose": "specify"}

    def test_a_full_ipod_shows_in_the_status(self):
        self.attach(7)
        self.order(7, write="ENOSPC", info="9", slow="10")
        self.window.wait_for("[data-ipod='7'] .chips", "fault: write=ENOSPC:9 slow=10")
        self.car.tag(song(1), device=7)
        self.window.wait_for("#road-caption", "The iPod refused it (TARGET_FULL)")
        self.window.wait_for("[data-ipod='7']", "0001.refused, was refused")
        self.window.picture("05-the-ipod-is-full")
        self.window.click("[data-ipod='7'] .faults button[type=button]")
        self.window.wait(lambda: "fault:" not in self.window.text("[data-ipod='7'] .chips"),
                         "an iPod without fault")

    def test_every_fault_can_be_ordered(self):
        self.attach(7)
        for fields, words in (({"caps": "EIO"}, "caps=EIO"), ({"write": "EIO"}, "write=EIO"),
                              ({"slow": "5"}, "slow=5"), ({"vanish": "vanish"}, "vanish"),
                              ({"vanish": "vanish=caps"}, "vanish=caps"),
                              ({"vanish": "vanish=write"}, "vanish=write")):
            with self.subTest(words):
                self.window.run("document.querySelector('.faults').reset()")
                self.order(7, **fields)
                self.window.wait_for("[data-ipod='7'] .chips", f"fault: {words}")
        self.window.run("document.querySelector('.faults').reset()")
        self.window.click("[data-ipod='7'] [name=open]")
        self.order(7)
        self.window.wait_for("[data-ipod='7'] .chips", "fault: open")
        self.assertEqual(self.car.rig.command("list", "list")["devices"][0]["fault"], "open")

    def test_capabilities_change_and_an_ipod_is_detached(self):
        self.attach(7)
        self.window.fill("[data-ipod='7'] [name=caps]", "3,5")
        self.window.click("[data-ipod='7'] form.row button")
        self.window.wait(lambda: "takes tags" not in self.window.text("[data-ipod='7'] .chips"),
                         "an iPod that takes no tags")
        self.window.click("[data-ipod='7'] h3 button")
        self.window.wait_for("#no-ipods", "None is attached.")

    def test_what_cannot_be_done_is_said(self):
        self.window.fill("#attach [name=name]", 'a "quoted" name')
        self.window.click("#attach button")
        self.window.wait_for("#ipods-reply", "a name cannot hold the double quote")

    def test_the_service_is_killed_and_started(self):
        self.car.tag(song(1), device=7)
        self.window.wait_for("#waiting", "Song 1")
        self.window.click("#service-kill")
        self.window.wait_for("#service-state", "It was killed by signal 9")
        self.window.wait(lambda: "bad" in self.window.one("#on-service").get_attribute("class"),
                         "a service that is away")
        self.window.picture("06-the-service-is-killed")
        position = self.car.monitor.position
        self.window.click("#service-start")
        self.window.wait_for("#service-state", "Runs as process")
        self.car.monitor.wait_for_signal("connectionStatus", position)
        self.window.wait_for("#local-status", "1 of 10")
        before = self.window.text("#service-state")
        self.window.click("#service-restart")
        self.window.wait(lambda: self.window.text("#service-state") != before and "Runs" in self.window.text("#service-state"), "another process")


class Clients(PageTest):
    """Who looks at the page, and who may."""

    def request(self, method, path, body=None, **headers):
        place = urllib.parse.urlsplit(self.url)
        connection = http.client.HTTPConnection(place.hostname, place.port, timeout=DEADLINE)
        self.addCleanup(connection.close)
        connection.request(method, path, body, {name.replace("_", "-"): value
                                                for name, value in headers.items()})
        answer = connection.getresponse()
        return answer.status, answer.read().decode()

    def live(self):
        """A client of the news that is no browser: its socket, and the status of the answer."""
        place = urllib.parse.urlsplit(self.url)
        client = socket.create_connection((place.hostname, place.port), DEADLINE)
        self.addCleanup(client.close)
        client.sendall(f"GET /live HTTP/1.1\r\nHost: {place.netloc}\r\nUpgrade: websocket\r\n"
                       "Connection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
                       "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n".encode())
        return client, int(client.recv(12).split()[1])

    def test_two_windows_show_the_same(self):
        other = Window(700, 900)
        self.addCleanup(other.close)
        other.open(self.url)
        self.car.tag(song(1))
        for window in (self.window, other):
            window.wait_for("#waiting", "Song 1")
        other.click("#service-kill")
        self.window.wait_for("#service-state", "It was killed")

    def test_the_rig_is_killed_and_comes_back(self):
        self.car.rig.program.kill()
        self.window.wait_for("#on-page", "the rig is away")
        self.window.picture("07-the-rig-is-away")
        self.start(urllib.parse.urlsplit(self.url).port)
        self.window.wait_for("#on-page", "Page")
        self.car.tag(song(5))
        self.window.wait_for("#waiting", "Song 5")

    def test_a_foreign_host_or_origin_is_refused(self):
        foreign = ("evil.example", "evil.example:80", "127.0.0.1.evil.example", "127.0.0.1:1")
        for host in foreign:
            self.assertEqual(self.request("GET", "/", Host=host)[0], 403, host)
        for origin in (*map("http://{}".format, foreign), "null", "https://127.0.0.1"):
            status, _ = self.request("POST", "/do", '{"action":"kill"}', Origin=origin,
                                     Content_Type="application/json")
            self.assertEqual(status, 403, origin)
        self.assertEqual(self.request("GET", "/")[0], 200)

    def test_nothing_is_done_by_get_or_by_a_form(self):
        self.assertEqual(self.request("GET", "/do?action=kill")[0], 404)
        self.assertEqual(self.request("PUT", "/do", '{"action":"kill"}')[0], 405)
        for kind in ("text/plain", "application/x-www-form-urlencoded"):
            status, _ = self.request("POST", "/do", '{"action":"kill"}', Content_Type=kind)
            self.assertEqual(status, 415)
        self.assertIn("Runs", self.window.text("#service-state"))

    def test_what_is_no_action_is_refused(self):
        for body in ("", "[]", "{", '{"action":"quit"}', '{"action":5}', '{"action":"detach"}',
                     '{"action":"fault","id":7,"words":"none\\nquit"}'):
            status, answer = self.request("POST", "/do", body, Content_Type="application/json")
            self.assertEqual(status, 409, body)
            self.assertIn("error", json.loads(answer), body)

    def test_only_what_landed_can_be_fetched(self):
        self.attach(7)
        for name in ("../../Songlatch.conf", "..", "/etc/passwd"):
            path = f"/landed?device=7&name={urllib.parse.quote(name, safe='')}"
            self.assertEqual(self.request("GET", path), (200, "[]\n"), name)
        self.assertEqual(self.request("GET", "/../rig/main.cpp")[0], 404)

    def test_so_many_clients_and_no_more(self):
        places = [self.live() for _ in range(15)]
        self.assertEqual({status for _, status in places}, {101})
        self.assertEqual(self.live()[1], 503)
        places[0][0].close()
        self.window.wait(lambda: self.live()[1] == 101, "the place of a client that has left")

    def test_a_client_that_does_not_read_is_left(self):
        slow, _ = self.live()
        text = "x" * 3900

        def is_left_when_more_comes():
            for number in range(200):
                self.car.rig.program.say(f"signal {text}{number}")
            self.car.rig.wait("signalled")
            return not is_served(slow)
        self.window.wait(is_left_when_more_comes, "the end of a client that does not read")
        self.assertEqual(self.live()[1], 101)


def is_served(client):
    """Whether the other end of a connection of this machine is open, as the system knows it."""
    _, port = client.getsockname()
    ends = [line.split() for line in pathlib.Path("/proc/net/tcp").read_text().splitlines()[1:]]
    established = "01"
    return any(int(remote.split(":")[1], 16) == port and state == established
               for _, _, remote, state, *_ in ends)


class Looks(PageTest):
    """What it looks like, and to whom."""

    def setUp(self):
        super().setUp()
        self.attach(7)
        self.car.tag(song(1, Album="Low Water", StationCallLetters="WXYZ-FM"))
        self.car.detach(7)
        self.car.tag(song(2, Name="Harbor Lights", Artist="The Paper Boats"))
        self.attach(9, caps="3", name="An old one")
        self.window.wait_for("#waiting", "Harbor Lights")

    def test_it_keeps_the_rules_of_accessibility_in_light_dark_and_narrow(self):
        for scheme in ("light", "dark"):
            for width in (1280, 360):
                with self.subTest(scheme=scheme, width=width):
                    self.window.prefer(color_scheme=scheme, reduced_motion="reduce")
                    self.window.resize(width, 900)
                    self.assertEqual(self.window.violations(), [])
                    self.window.picture(f"08-{scheme}-{width}")

    def test_nothing_is_cut_off_from_360_pixels_up(self):
        for width in (360, 620, 800, 1000):
            self.window.resize(width, 900)
            self.assertLessEqual(
                self.window.run("return document.documentElement.scrollWidth"), width)

    def test_all_can_be_reached_with_the_keyboard(self):
        reached = self.window.run("return [...document.querySelectorAll("
                                  "'button:enabled, input, select, summary, .scroll')]"
                                  ".filter((found) => found.checkVisibility())"
                                  ".every((found) => (found.focus(), document.activeElement === found))")
        self.assertTrue(reached)


class Load(PageTest):
    """Much of everything."""

    configuration = {"limit": 20000}
    TAGS = 10000
    EVENTS = 5000

    def prepare(self):
        self.fill([song(number) for number in range(self.TAGS)])
        super().prepare()

    def test_ten_thousand_tags_and_a_thousand_events_a_second_leave_it_usable(self):
        self.window.wait_for("#waiting-count", str(self.TAGS))
        self.window.wait_for(".pager", f"1 to 50 of {self.TAGS}")
        # The browser measures how long it is busy at a stretch while the events come.
        self.window.run("window.longest = 0; let last = performance.now();"
                        "(function look() { const now = performance.now();"
                        " longest = Math.max(longest, now - last); last = now;"
                        " setTimeout(look, 10); })()")
        device = json.dumps({"available": True, "device": {"id": 1, "type": "usb"}})
        for _ in range(5):
            for _ in range(self.EVENTS // 5):
                self.car.rig.program.say(f"signal {device}")
            self.window.click(".pager button:last-child")
            self.window.wait(lambda: f"of {self.TAGS}" in self.window.text(".pager"), "a part")
        self.window.wait_for(".pager", f"251 to 300 of {self.TAGS}")
        self.window.wait_for("#bus", "deviceState")
        longest = self.window.run("return longest")
        print(f"the browser was busy for {longest:.0f} ms at most")
        self.assertLess(longest, 2000)
        self.window.picture("09-ten-thousand-tags")


if __name__ == "__main__":
    unittest.TestCase.maxDiff = None
    main()
