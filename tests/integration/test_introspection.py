"""What others see of the service without having read about it."""

import os
import pathlib
from unittest import mock

from harness import CarTest, main
from car import calls
from car.bus import SERVICE, SERVICE_PATH
from car.programs import run

DESCRIPTION = (pathlib.Path(__file__).resolve().parents[2] / "packaging" / "dbus"
               / f"{SERVICE}.xml")

METHODS = ("tagRequest", "clearAllLocalTags", "getProperties", "checkTag")
SIGNALS = ("localStatus", "connectionStatus", "transferStatus")


class Introspection(CarTest):
    """The delivered description, where the service looks for it."""

    def prepare(self):
        share = self.data_folder()
        self.set_environment(XDG_DATA_DIRS=share, XDG_DATA_HOME=self.folder.path / "nothing")
        self.start()

    def data_folder(self):
        """The folder with the data of programs, the delivered description among them."""
        interfaces = self.folder.path / "share" / "dbus-1" / "interfaces"
        interfaces.mkdir(parents=True)
        (interfaces / DESCRIPTION.name).symlink_to(DESCRIPTION)
        return self.folder.path / "share"

    def start(self):
        super().prepare()

    def set_environment(self, **variables):
        """Sets what the programs of this test find in their environment."""
        changed = mock.patch.dict(os.environ, {name: str(value)
                                               for name, value in variables.items()})
        changed.start()
        self.addCleanup(changed.stop)

    def seen_by(self, *command):
        return run([*command], env=calls.environment(self.car.bus), capture_output=True,
                   text=True).stdout

    def seen_by_gdbus(self):
        return self.seen_by("gdbus", "introspect", "--system", "--dest", SERVICE,
                            "--object-path", SERVICE_PATH)

    def test_busctl_lists_the_methods_and_the_signals(self):
        lines = [line.split()[:4] for line in
                 self.seen_by("busctl", "--system", "introspect", SERVICE, SERVICE_PATH,
                              SERVICE).splitlines()]
        for method in METHODS:
            self.assertIn([f".{method}", "method", "s", "s"], lines)
        for signal in SIGNALS:
            self.assertIn([f".{signal}", "signal", "s", "-"], lines)

    def test_gdbus_names_the_arguments(self):
        text = self.seen_by_gdbus()
        for method in METHODS:
            self.assertRegex(text, rf"{method}\(in  s parameters,\s+out s reply\);")
        for signal in SIGNALS:
            self.assertRegex(text, rf"{signal}\(s status\);")


if __name__ == "__main__":
    main()
