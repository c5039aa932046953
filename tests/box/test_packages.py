"""The Debian packages as files: what Debian's own checks say, and what is in them."""

import re
import subprocess
import tempfile
import unittest

import packages


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


class Packages(unittest.TestCase):
    """What cpack has made."""

    def test_lintian_has_nothing_to_say(self):
        done = subprocess.run(["lintian", "--allow-root", "--tag-display-limit", "0",
                               *map(packages.package, packages.ALL)],
                              capture_output=True, text=True, check=False)
        self.assertEqual(re.findall(r"^[EW]: .*", done.stdout, re.MULTILINE), [])
        self.assertEqual(done.returncode, 0, done.stderr)

    def test_the_library_exports_what_its_symbols_file_says(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(["dpkg-deb", "--raw-extract", packages.package("libtellbus1"), folder],
                           check=True)
            library, = re.findall(r"\S*/libtellbus\.so\.1\.0\.0", output("find", folder))
            exported = {line.split()[2].replace("@@", "@") for line in
                        output("nm", "-D", "--defined-only", library).splitlines()}
            with open(f"{folder}/DEBIAN/symbols", encoding="ascii") as symbols:
                head, *lines = symbols.read().splitlines()
            self.assertEqual(head, "libtellbus.so.1 libtellbus1 #MINVER#")
            # The version's own name stands without one in the list of symbols.
            known = {line.split()[0].replace("TELLBUS_1@TELLBUS_1", "TELLBUS_1") for line in lines}
            self.assertEqual({name.replace("TELLBUS_1@TELLBUS_1", "TELLBUS_1") for name in exported},
                             known)

    def test_programs_are_stripped_and_have_debug_packages(self):
        for name, program in (("songlatch", "usr/bin/Songlatch"),
                              ("songlatch-tools", "usr/bin/songlatchctl"),
                              ("songlatch-radio", "usr/bin/songlatch-radio")):
            with tempfile.TemporaryDirectory() as folder:
                subprocess.run(["dpkg-deb", "--extract", packages.package(name), folder], check=True)
                self.assertNotIn(".debug_info", output("readelf", "-SW", f"{folder}/{program}"))
                debug, = packages.PLACE.glob(f"{name}-dbgsym_*.ddeb")
                self.assertIn("/usr/lib/debug/.build-id/", output("dpkg-deb", "--contents", debug))

    def test_the_copyright_file_says_what_has_not_been_decided(self):
        for name in packages.ALL:
            with tempfile.TemporaryDirectory() as folder:
                subprocess.run(["dpkg-deb", "--extract", packages.package(name), folder], check=True)
                with open(f"{folder}/usr/share/doc/{name}/copyright", encoding="utf-8") as text:
                    self.assertIn("has not been decided", text.read())

    def test_the_configuration_is_the_administrators(self):
        listed = output("dpkg-deb", "--info", packages.package("songlatch"), "conffiles").split()
        self.assertEqual(listed, ["/etc/Songlatch.conf", "/etc/logrotate.d/songlatch"])

    def test_every_package_has_its_own_first_line(self):
        lines = [output("dpkg-deb", "--field", packages.package(name), "Description").splitlines()[0]
                 for name in packages.ALL]
        self.assertEqual(len(set(lines)), len(lines), lines)


if __name__ == "__main__":
    unittest.main(verbosity=2)
