"""What an installation puts where, and that it is enough to run."""

import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

import test_introspection
from harness import main
from car import tagfiles
from car.bus import SERVICE
from car.programs import binary, run

BUILD = pathlib.Path(binary("Songlatch")).parents[1]


class Install(test_introspection.Introspection):
    """The service as installed, which finds the installed description and the installed library."""

    def data_folder(self):
        self.prefix = self.folder.path / "installed"
        run(["cmake", "--install", BUILD, "--prefix", self.prefix], stdout=subprocess.DEVNULL)
        return self.prefix / "share"

    def start(self):
        self.set_environment(LD_LIBRARY_PATH=self.library().parent)
        self.car.start_rig()
        self.car.start_service(program=self.prefix / "bin" / "Songlatch")

    def library(self):
        """The library itself, without the links to it; its folder is the system's choice."""
        found, = self.prefix.glob("lib*/**/libtellbus.so.*.*.*")
        return found

    def bus_file(self, *path):
        """The text of a file for the bus."""
        return self.prefix.joinpath("share", "dbus-1", *path).read_text()

    def test_the_description_is_where_everybody_looks_for_it(self):
        self.assertEqual(self.bus_file("interfaces", f"{SERVICE}.xml"),
                         test_introspection.DESCRIPTION.read_text())

    def test_without_the_installed_description_no_method_is_shown(self):
        self.prefix.joinpath("share", "dbus-1", "interfaces", f"{SERVICE}.xml").unlink()
        self.assertNotRegex(self.seen_by_gdbus(), "|".join(test_introspection.METHODS))

    def test_the_bus_gets_its_policy_and_knows_what_to_start(self):
        self.assertIn(f'<allow own="{SERVICE}"/>', self.bus_file("system.d", f"{SERVICE}.conf"))
        self.assertRegex(self.bus_file("system-services", f"{SERVICE}.service"),
                         rf"Name={SERVICE}\nExec={self.prefix}/bin/Songlatch .*\nUser=songlatch\n")

    def test_the_library_comes_with_its_links_and_its_header(self):
        library = self.library()
        soname = library.with_name("libtellbus.so.1")
        for link in (soname, library.with_name("libtellbus.so")):
            self.assertTrue(link.is_symlink(), link)
            self.assertEqual(link.resolve(), library.resolve())
        dynamic = run(["objdump", "-p", library], capture_output=True, text=True).stdout
        self.assertRegex(dynamic, rf"SONAME +{soname.name}\n")
        headers = [str(path.relative_to(self.prefix)) for path in self.prefix.rglob("*.h")]
        self.assertEqual(headers, ["include/tellbus/tellbus.h"])

    def test_the_service_runs_with_the_installed_library(self):
        maps = pathlib.Path(f"/proc/{self.car.service.pid}/maps").read_text()
        self.assertIn(str(self.library().resolve()), maps)


class InstallTest(unittest.TestCase):
    """A test with a prefix of its own."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="songlatch-install-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.prefix = self.folder / "prefix"

    def install(self, *arguments, **environment):
        subprocess.run(["cmake", "--install", BUILD, *arguments], check=True,
                       stdout=subprocess.DEVNULL, env={**os.environ, **environment})


class Tree(InstallTest):
    """What lies where, and what it names."""

    def texts(self, root):
        """Every installed file that is a text, by its path; CMake's own package files aside."""
        for path in sorted(root.rglob("*")):
            if path.is_file() and "cmake" not in path.parts:
                content = path.read_bytes()
                if not content.startswith(b"\x7fELF"):
                    yield path, content.decode()

    def test_the_unit_and_the_activation_follow_the_prefix(self):
        self.install("--prefix", self.prefix)
        unit = (self.prefix / "lib/systemd/system/songlatch.service").read_text()
        self.assertNotIn("/usr", unit)
        for line in ("ExecStartPre", "ExecStart"):
            program = re.search(rf"^{line}=(\S+) -config=(\S+)$", unit, re.MULTILINE)
            for path in program.groups():
                self.assertTrue(pathlib.Path(path).is_file(), path)
                self.assertIn(self.prefix, pathlib.Path(path).parents)
        activation = (self.prefix / "share/dbus-1/system-services" / f"{SERVICE}.service").read_text()
        self.assertNotIn("/usr", activation)

    def test_the_page_that_doctor_points_to_is_there(self):
        self.install("--prefix", self.prefix)
        helped = subprocess.run([binary("songlatchctl"), "doctor", "--help"], check=True,
                                capture_output=True, text=True).stdout
        page = re.search(r"\S+/troubleshooting\.md", helped).group()
        self.assertTrue((self.prefix / page).is_file(), page)

    def test_no_placeholder_is_left(self):
        self.install("--prefix", self.prefix)
        for path, text in self.texts(self.prefix):
            self.assertNotRegex(text, "@[A-Z_]+@", path)

    def test_a_destination_folder_takes_all_and_keeps_the_paths(self):
        self.install(DESTDIR=str(self.folder / "root"))
        root = self.folder / "root"
        self.assertEqual(sorted(path.name for path in root.iterdir()), ["etc", "usr"])
        self.assertTrue((root / "etc/Songlatch.conf").is_file())
        self.assertIn("ExecStart=/usr/bin/Songlatch -config=/etc/Songlatch.conf\n",
                      (root / "usr/lib/systemd/system/songlatch.service").read_text())

    def test_a_configuration_that_is_there_stays(self):
        configuration = self.prefix / "etc" / "Songlatch.conf"
        configuration.parent.mkdir(parents=True)
        configuration.write_text("mine")
        self.install("--prefix", self.prefix)
        self.assertEqual(configuration.read_text(), "mine")

    def test_the_three_empty_files_come_along(self):
        self.install("--prefix", self.prefix)
        for name in ("Tags.xml", "AmbigTag.xml", "TaggedInfo.xml"):
            self.assertEqual((self.prefix / "share/songlatch" / name).read_bytes(), tagfiles.EMPTY)

    def test_no_program_looks_for_libraries_in_the_build(self):
        self.install(DESTDIR=str(self.folder / "root"))
        self.install("--prefix", self.prefix)
        for root in (self.folder / "root", self.prefix):
            for program in self.programs(root):
                dynamic = self.dynamic(program)
                self.assertNotIn(str(BUILD), dynamic, program)
                if root.name == "root":
                    self.assertNotIn("RUNPATH", dynamic, program)

    @unittest.skipIf(os.environ.get("SONGLATCH_SANITIZE"), "sanitizers take other flags")
    def test_every_program_is_hardened(self):
        self.install("--prefix", self.prefix)
        for program in self.programs(self.prefix):
            self.assertIn("NOW", self.dynamic(program), program)
            segments = subprocess.run(["readelf", "-lW", program], check=True, capture_output=True,
                                      text=True).stdout
            self.assertIn("GNU_RELRO", segments, program)
            self.assertRegex(segments, r"Elf file type is DYN", program)
            self.assertNotRegex(segments, r"GNU_STACK .* RWE ", program)
            symbols = subprocess.run(["readelf", "-W", "--dyn-syms", program], check=True,
                                     capture_output=True, text=True).stdout
            self.assertIn("__stack_chk_fail", symbols, program)

    def programs(self, root):
        """Everything that was linked."""
        found = [path for path in root.rglob("*") if path.is_file() and not path.is_symlink()
                 and path.read_bytes()[:4] == b"\x7fELF"]
        self.assertGreaterEqual(len(found), 5)
        return found

    def dynamic(self, program):
        return subprocess.run(["readelf", "-dW", program], check=True, capture_output=True,
                              text=True).stdout


OUTSIDE = """
#include <tellbus/tellbus.h>
#include <stdio.h>
int main(void) {
    TELLBUS_tStatus status = TELLBUS_initialize();
    printf("%s\\n", TELLBUS_FAILED(status) ? "failed" : "initialized");
    TELLBUS_shutdown();
    return TELLBUS_FAILED(status);
}
"""

OUTSIDE_PROJECT = """
cmake_minimum_required(VERSION 3.25)
project(outside C)
find_package(tellbus 1.0 REQUIRED)
add_executable(outside outside.c)
target_link_libraries(outside PRIVATE tellbus::tellbus)
"""


@unittest.skipIf(os.environ.get("SONGLATCH_SANITIZE"), "a plain program cannot load the library")
class Outside(InstallTest):
    """A program that knows the library only as it is installed."""

    def setUp(self):
        super().setUp()
        self.install("--prefix", self.prefix)
        (self.folder / "outside.c").write_text(OUTSIDE)
        self.library, = self.prefix.glob("lib/**/libtellbus.so.1")

    def assert_runs(self, program):
        done = subprocess.run([program], check=True, capture_output=True, text=True,
                              env={**os.environ, "LD_LIBRARY_PATH": str(self.library.parent)})
        self.assertEqual(done.stdout, "initialized\n")

    def test_pkg_config_knows_the_library(self):
        environment = {**os.environ, "PKG_CONFIG_PATH": str(self.library.parent / "pkgconfig")}
        flags = subprocess.run(["pkg-config", "--cflags", "--libs", "tellbus"], check=True,
                               capture_output=True, text=True, env=environment).stdout.split()
        program = self.folder / "by-pkg-config"
        subprocess.run(["cc", "-Wall", "-Werror", self.folder / "outside.c", "-o", program, *flags],
                       check=True)
        self.assert_runs(program)

    def test_cmake_finds_the_package(self):
        (self.folder / "CMakeLists.txt").write_text(OUTSIDE_PROJECT)
        build = self.folder / "build"
        subprocess.run(["cmake", "-S", self.folder, "-B", build,
                        f"-DCMAKE_PREFIX_PATH={self.prefix}"], check=True,
                       stdout=subprocess.DEVNULL)
        subprocess.run(["cmake", "--build", build], check=True, stdout=subprocess.DEVNULL)
        self.assert_runs(build / "outside")


if __name__ == "__main__":
    main()
