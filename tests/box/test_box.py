"""The service as a system runs it: its packages installed, under a real systemd and its bus."""

import json
import re
import select
import sys
import tempfile
import time
import unittest

import box
import packages

NAME = "com.veldan.service.Songlatch"
PATH = "/com/veldan/service/Songlatch"
STORE = "/var/lib/songlatch"
LOG = "/var/log/songlatch/Songlatching.log"
ROUNDS = 100
WHY_NOT = box.why_not()

REQUESTS = {
    "tagRequest": '{"tags":[{"Name":"Song","Artist":"Artist","iTunesSongID":7}]}',
    "clearAllLocalTags": "{}",
    "getProperties": '{"props":["localStatus"]}',
    "checkTag": '{"tag":{"Name":"Song","Artist":"Artist","iTunesSongID":7}}',
}


def song(number):
    return {"Name": f"Song {number}", "Artist": "Artist", "iTunesSongID": 1000 + number}


@unittest.skipIf(WHY_NOT, WHY_NOT)
class BoxTest(unittest.TestCase):
    """A test in a booted box with the packages in it, shared by the tests of a class."""

    configure = staticmethod(lambda fresh: None)

    @classmethod
    def setUpClass(cls):
        cls.box = box.Box()
        cls.addClassCleanup(cls.box.close)
        cls.box.boot()
        cls.configure(cls.box)
        packages.install(cls.box)

    def setUp(self):
        self.box.attempt("systemctl", "reset-failed", "songlatch.service")

    def systemctl(self, *words):
        return self.box.run("systemctl", *words)

    def show(self, name):
        """One property of the unit."""
        return self.systemctl("show", "--value", "-p", name, "songlatch.service").strip()

    def call(self, member, text=None):
        """busctl's words and whether the call was answered."""
        return self.box.attempt("busctl", "--system", "--timeout=60", "call", NAME, PATH, NAME, member,
                                "s", REQUESTS[member] if text is None else text)

    def tag(self, *songs):
        done = self.call("tagRequest", json.dumps({"tags": list(songs)}))
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout

    def stored(self):
        return re.findall(r'Name="([^"]*)"', self.box.read(f"{STORE}/Tags.xml"))

    def wait_for(self, what, accept):
        """Waits for a state of the unit: looks again each time systemd tells of a change."""
        if accept():
            return
        monitor = self.box.start("busctl", "monitor", "--json=short", "org.freedesktop.systemd1")
        self.addCleanup(monitor.stdout.close)
        self.addCleanup(monitor.wait)
        self.addCleanup(monitor.kill)
        end = time.monotonic() + box.DEADLINE
        while not accept():
            left = end - time.monotonic()
            ready, _, _ = select.select([monitor.stdout], [], [], min(max(left, 0), 5))
            if ready:
                monitor.stdout.readline()
            if left <= 0:
                self.fail(f"{what} did not come; {self.systemctl('show', 'songlatch.service')}")

    def journal(self, *words):
        return self.box.run("journalctl", "--no-pager", "-u", "songlatch.service", *words)


class Running(BoxTest):
    """From the installation on."""

    def test_a_the_package_starts_it_as_its_own_user(self):
        self.assertEqual(self.systemctl("is-active", "songlatch"), "active\n")
        self.assertEqual(self.systemctl("is-enabled", "songlatch"), "enabled\n")
        owner = self.box.run("stat", "-c", "%U", f"/proc/{self.show('MainPID')}")
        self.assertEqual(owner, "songlatch\n")

    def test_b_a_healthy_first_start_logs_no_error(self):
        log = self.box.read(LOG)
        self.assertIn("Config File:/etc/Songlatch.conf", log)
        self.assertNotIn("Failed to parse document", log)

    def test_c_it_takes_a_tag(self):
        self.assertIn("STORED_LOCAL", self.tag(song(1)))
        self.assertIn("Song 1", self.stored())

    def test_killed_it_comes_back_with_its_tags(self):
        self.tag(song(2))
        before = self.show("MainPID")
        self.systemctl("kill", "-s", "KILL", "songlatch.service")
        self.wait_for("the restart", lambda: self.show("ActiveState") == "active"
                      and self.show("MainPID") not in (before, "0"))
        self.assertIn("Song 2", self.stored())

    def test_stop_stops_it(self):
        self.systemctl("stop", "songlatch")
        self.assertEqual(self.show("ActiveState"), "inactive")
        self.systemctl("start", "songlatch")

    def test_a_second_start_leaves_the_first_alone(self):
        before = self.show("MainPID")
        self.systemctl("start", "songlatch")
        self.assertEqual(self.show("MainPID"), before)

    def test_a_guest_is_refused(self):
        guest = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
        done = self.box.attempt(*guest, "busctl", "call", NAME, PATH, NAME, "clearAllLocalTags", "s", "")
        self.assertIn("ccess denied", done.stderr)

    def test_the_log_is_rotated_without_a_restart(self):
        before = self.show("MainPID")
        self.box.run("logrotate", "--force", "/etc/logrotate.d/songlatch")
        self.assertEqual(self.call("getProperties").returncode, 0)
        self.tag(song(3))
        self.assertIn("Target file", self.box.read(LOG))
        self.assertNotIn("Starting version", self.box.read(LOG))
        self.assertIn("Songlatching.log.1.gz", self.box.run("ls", "/var/log/songlatch"))
        self.assertEqual(self.show("MainPID"), before)

    def test_a_file_laid_in_tmp_does_not_silence_it(self):
        self.box.run("touch", "/tmp/Songlatching.log")
        self.box.run("chmod", "000", "/tmp/Songlatching.log")
        size = len(self.box.read(LOG))
        self.tag(song(4))
        self.assertGreater(len(self.box.read(LOG)), size)
        self.assertEqual(self.box.read("/tmp/Songlatching.log"), "")

    def test_the_workbench_delivers_to_an_ipod_stand_in(self):
        self.tag(song(5))
        rig = self.box.start("songlatch-rig", stdin=-1)
        self.addCleanup(rig.stdout.close)
        self.addCleanup(rig.wait)
        self.addCleanup(rig.stdin.close)
        rig.stdin.write("attach 7 /run/ipod7 caps=8\n")
        rig.stdin.flush()
        for line in rig.stdout:
            if json.loads(line)["event"] == "tags":
                break
        plist = self.box.run("sh", "-c", "cat /run/ipod7/Tagging/*.plist")
        self.assertIn("<string>Song 5</string>", plist)


class Sandbox(BoxTest):
    """What the service cannot do, asked for in its own place."""

    def inside(self, script):
        """What a shell with the unit's own restrictions says."""
        unit = self.systemctl("cat", "songlatch.service")
        taken = [line for line in unit.splitlines() if re.match(
            r"(User|Private|Protect|Restrict|Bind|Logs|State|NoNew|Cap|SystemCall|Device|MemoryDeny"
            r"|Lock|Working)\w*=", line)]
        self.assertGreater(len(taken), 20)
        self.box.write("/run/systemd/system/probe.service", "[Service]\nType=oneshot\n" + "\n".join(taken)
                       + "\nExecStart=/bin/sh /etc/probe.sh\n")
        self.box.write("/etc/probe.sh", f"exec >{STORE}/said 2>&1\n{script}\n")
        self.systemctl("daemon-reload")
        self.box.attempt("systemctl", "start", "probe.service")
        return self.box.read(f"{STORE}/said")

    def test_its_own_folder_alone_can_be_written(self):
        said = self.inside("for folder in /etc /usr /var/lib /root /home /run /var/log/songlatch /tmp "
                           f"{STORE}; do touch $folder/probe 2>/dev/null && echo $folder; done; true")
        self.assertEqual(said.split(), ["/var/log/songlatch", "/tmp", STORE])

    def test_the_running_service_sees_a_read_only_system(self):
        mounts = self.box.read(f"/proc/{self.show('MainPID')}/mountinfo").splitlines()
        options = {line.split()[4]: line.split()[5] for line in mounts}
        self.assertTrue(options["/"].startswith("ro"), options["/"])
        self.assertTrue(options[STORE].startswith("rw"), options[STORE])
        roots = {line.split()[4]: line.split()[3] for line in mounts}
        self.assertTrue(roots["/tmp"].endswith("/var/log/songlatch"), roots["/tmp"])

    def test_it_has_no_capability_and_a_filter(self):
        status = self.box.read(f"/proc/{self.show('MainPID')}/status")
        for line in ("CapPrm:\t0000000000000000", "CapBnd:\t0000000000000000", "NoNewPrivs:\t1",
                     "Seccomp:\t2"):
            self.assertIn(line, status)

    def test_it_sees_no_network(self):
        pid = self.show("MainPID")
        devices = self.box.read(f"/proc/{pid}/net/dev").splitlines()[2:]
        self.assertEqual([line.split(":")[0].strip() for line in devices], ["lo"])
        self.assertNotEqual(self.box.run("readlink", f"/proc/{pid}/ns/net"),
                            self.box.run("readlink", "/proc/1/ns/net"))

    def test_its_exposure_is_low(self):
        said = self.box.attempt("systemd-analyze", "security", "--no-pager", "songlatch.service").stdout
        exposure, = re.findall(r"Overall exposure level for songlatch.service: ([\d.]+)", said)
        self.assertLessEqual(float(exposure), 2.0)


class Activation(BoxTest):
    """Calls that find no service: the bus has systemd start it and holds them back."""

    @staticmethod
    def configure(fresh):
        # Every round is a start, which the limit of starts would take for a crash loop.
        fresh.run("mkdir", "-p", "/etc/systemd/system/songlatch.service.d")
        fresh.write("/etc/systemd/system/songlatch.service.d/test.conf",
                    "[Unit]\nStartLimitIntervalSec=0\n[Service]\nRestartSec=0\n")

    def rounds(self, member, before):
        """What the calls of all rounds are answered with, by the program that everybody has."""
        script = (f"for round in $(seq {ROUNDS}); do {before}; "
                  f"busctl --timeout=60 call {NAME} {PATH} {NAME} {member} s '{REQUESTS[member]}' 2>&1; "
                  "done")
        return self.box.run("sh", "-c", script, deadline=5 * box.DEADLINE).splitlines()

    def assert_activates(self, member):
        answers = self.rounds(member, "systemctl stop songlatch")
        lost = [answer for answer in answers if not answer.startswith("s ")]
        self.assertEqual((len(answers), lost), (ROUNDS, []))

    def test_tag_request(self):
        self.assert_activates("tagRequest")

    def test_clear(self):
        self.assert_activates("clearAllLocalTags")

    def test_get_properties(self):
        self.assert_activates("getProperties")

    def test_check_tag(self):
        self.assert_activates("checkTag")

    def test_a_call_in_a_restart_is_answered_or_refused_by_the_bus(self):
        answers = self.rounds("getProperties", "systemctl kill -s KILL songlatch")
        strange = [answer for answer in answers if not re.match(
            r's "|Call failed: (Message recipient disconnected|Remote peer disconnected|.*[Aa]ctivat)',
            answer)]
        self.assertEqual((len(answers), strange), (ROUNDS, []))

    def test_a_tag_that_was_answered_in_a_restart_is_there(self):
        self.box.run("busctl", "call", NAME, PATH, NAME, "clearAllLocalTags", "s", "")
        kept = []
        for number in range(20):
            self.systemctl("kill", "-s", "KILL", "songlatch.service")
            done = self.call("tagRequest", json.dumps({"tags": [song(number)]}))
            if done.returncode == 0:
                self.assertIn("STORED_LOCAL", done.stdout)
                kept.append(f"Song {number}")
        self.assertGreater(len(kept), 0)
        self.assertLessEqual(set(kept), set(self.stored()))


class Damage(BoxTest):
    """What a system's administrator sees when something is broken."""

    CONFIGURATION = "/etc/Songlatch.conf"

    def break_configuration(self, text):
        whole = self.box.read(self.CONFIGURATION)
        self.addCleanup(self.mend, whole)
        self.box.write(self.CONFIGURATION, text)

    def mend(self, whole):
        self.box.write(self.CONFIGURATION, whole)
        self.box.attempt("systemctl", "reset-failed", "songlatch.service")
        self.systemctl("restart", "songlatch.service")

    def test_a_damaged_configuration_ends_as_a_failed_unit_that_says_why(self):
        self.break_configuration("<a>\n<b>\n</a>\n")
        self.box.attempt("systemctl", "restart", "songlatch.service")
        self.wait_for("the failure", lambda: self.show("ActiveState") == "failed")
        self.assertIn("songlatch.service", self.systemctl("--failed", "--no-legend", "--plain"))
        status = self.box.attempt("systemctl", "status", "--no-pager", "songlatch.service").stdout
        self.assertIn("/etc/Songlatch.conf:3: ", self.journal("-p", "err"))
        self.assertIn("failed", status)

    def test_a_mended_configuration_needs_only_a_start(self):
        self.break_configuration("<a>")
        self.box.attempt("systemctl", "restart", "songlatch.service")
        self.wait_for("the failure", lambda: self.show("ActiveState") == "failed")
        self.doCleanups()
        self.assertEqual(self.systemctl("is-active", "songlatch"), "active\n")

    def test_a_program_that_ends_again_and_again_fails_too(self):
        self.box.run("mkdir", "-p", "/run/systemd/system/songlatch.service.d")
        self.box.write("/run/systemd/system/songlatch.service.d/crash.conf",
                       "[Service]\nType=exec\nExecStart=\nExecStart=/bin/true\nRestartSec=0\n")
        self.systemctl("daemon-reload")
        self.addCleanup(self.systemctl, "start", "songlatch.service")
        self.addCleanup(self.systemctl, "reset-failed", "songlatch.service")
        self.addCleanup(self.systemctl, "daemon-reload")
        self.addCleanup(self.box.run, "rm", "-r", "/run/systemd/system/songlatch.service.d")
        self.box.attempt("systemctl", "restart", "songlatch.service")
        self.wait_for("the failure", lambda: self.show("ActiveState") == "failed")
        self.assertEqual(self.show("Result"), "start-limit-hit")

    def test_cut_files_are_set_aside_and_the_service_runs(self):
        self.systemctl("stop", "songlatch.service")
        self.box.write(f"{STORE}/AmbigTag.xml", "<MarkedTracks><AmbigTag Na")
        self.systemctl("start", "songlatch.service")
        self.assertEqual(self.systemctl("is-active", "songlatch"), "active\n")
        self.assertIn("AmbigTag.xml.damaged-", self.box.run("ls", STORE))
        self.assertIn("was damaged", self.journal("-p", "err"))

    def test_empty_files_are_laid_anew(self):
        self.systemctl("stop", "songlatch.service")
        for name in ("Tags.xml", "AmbigTag.xml", "TaggedInfo.xml"):
            self.box.run("truncate", "-s", "0", f"{STORE}/{name}")
        self.systemctl("start", "songlatch.service")
        self.assertIn("STORED_LOCAL", self.tag(song(8)))


class Reboot(BoxTest):
    """What is there when the unit is switched on again."""

    def test_tags_are_kept_and_the_service_is_back(self):
        self.tag(song(1))
        self.tag(song(2))
        self.box.reboot()
        self.assertEqual(self.systemctl("is-active", "songlatch"), "active\n")
        self.assertEqual(self.stored(), ["Song 1", "Song 2"])


class Upgrade(BoxTest):
    """From one package to the next, and away."""

    def test_upgrade_removal_and_purge(self):
        self.tag(song(1))
        configuration = self.box.read("/etc/Songlatch.conf").replace('value="100"', 'value="55"')
        self.box.write("/etc/Songlatch.conf", configuration)
        before = self.show("MainPID")
        with tempfile.TemporaryDirectory() as folder:
            packages.install(self.box, files=packages.next_version(folder))
        self.assertIn("-2", self.box.run("dpkg-query", "-W", "-f", "${Version}", "songlatch"))
        self.assertEqual(self.box.read("/etc/Songlatch.conf"), configuration)
        self.assertNotEqual(self.show("MainPID"), before)
        self.assertIn('\\"Current\\":1,\\"Max\\":55', self.call("getProperties").stdout)

        self.box.run("dpkg", "--remove", "songlatch")
        self.assertEqual(self.box.attempt("pgrep", "-x", "Songlatch").stdout, "")
        self.assertEqual(self.stored(), ["Song 1"])

        self.box.run("dpkg", "--purge", "songlatch")
        for path in (STORE, "/var/log/songlatch", "/etc/Songlatch.conf"):
            self.assertNotEqual(self.box.attempt("test", "-e", path).returncode, 0, path)


if __name__ == "__main__":
    if WHY_NOT:
        print(f"Skipped: {WHY_NOT}")
        sys.exit(77)
    unittest.main(verbosity=2)
