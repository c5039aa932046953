"""What an installation puts where, and that it is enough to run."""

import pathlib
import subprocess

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


if __name__ == "__main__":
    main()
