"""A system bus under the delivered policy, on which callers have users of their own."""

import os
import pathlib
import shutil
import subprocess
import tempfile

from car.bus import object_path
from car.programs import DEADLINE, Program

POLICY = (pathlib.Path(__file__).resolve().parents[2] / "packaging" / "dbus"
          / "com.veldan.service.Songlatch.conf")

_SERVICE, _RADIO, _DRIVER, _GUEST = range(64101, 64105)

USERS = {"root": 0, "songlatch": _SERVICE, "songlatch-radio": _RADIO, "driver": _DRIVER,
         "guest": _GUEST}
"""Everybody who calls: the driver's radio application is in the group songlatch, a guest is not."""

# The bus is the machine's own dbus-daemon with the system's own configuration. Only the folder of
# the policies and the lists of users are others, and they are so for nobody but this process.
_START = """
set -e
mount --bind "$1/passwd" /etc/passwd
mount --bind "$1/group" /etc/group
mount --bind "$1/policies" /usr/share/dbus-1/system.d
exec dbus-daemon --config-file=/usr/share/dbus-1/system.conf --nofork --nopidfile --nosyslog \
    --address="unix:path=$1/bus" --print-address
"""


class PolicyBus:
    """A dbus-daemon that knows the delivered policy and the users that it names."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="songlatch-policy-"))
        self.folder.chmod(0o755)
        (self.folder / "policies").mkdir()
        shutil.copy(POLICY, self.folder / "policies")
        self._add_users("passwd", "{name}:x:{id}:{id}::/:/bin/false\n")
        self._add_users("group", "{name}:x:{id}:\n")
        self._start()

    def _add_users(self, file, line):
        known = pathlib.Path("/etc", file).read_text().splitlines(keepends=True)
        ours = [line.format(name=name, id=number) for name, number in USERS.items() if number]
        self.folder.joinpath(file).write_text("".join(
            [entry for entry in known if entry.partition(":")[0] not in USERS or
             entry.startswith("root:")] + ours))

    def _start(self):
        complaints = self.folder / "complaints"
        self._program = Program(
            ["unshare", "--mount", "--propagation", "private", "sh", "-c", _START, "sh",
             self.folder], errors=complaints)
        _, line = self._program.output.wait(lambda line: True, what="the address of the bus")
        self.address = line.strip()
        # A bus goes on without a policy that it does not understand.
        words = complaints.read_text()
        if POLICY.name in words or "Unknown" in words:
            raise AssertionError(f"the bus does not take the delivered policy: {words}")

    @property
    def environment(self):
        return {"DBUS_SYSTEM_BUS_ADDRESS": self.address}

    @staticmethod
    def _become(user):
        groups = {"root": [0], "driver": [_DRIVER, _SERVICE]}.get(user, [USERS[user]])
        return ["setpriv", f"--reuid={USERS[user]}", f"--regid={groups[0]}",
                f"--groups={','.join(map(str, groups))}"]

    def run_as(self, user, *command, **options):
        """A program of that user that lives on beside the test."""
        return Program([*self._become(user), *command], self.environment, **options)

    def try_as(self, user, *command):
        """The words on standard error of a program that fails, none if it does its work."""
        done = subprocess.run([*self._become(user), *command],
                              env={**os.environ, "LC_ALL": "C.UTF-8", **self.environment},
                              capture_output=True, text=True, timeout=DEADLINE, check=False)
        if done.returncode == 0:
            return ""
        return done.stderr or f"status {done.returncode}"

    def call_as(self, user, name, member, *arguments, interface=None):
        """What a call of that user fails with, nothing if it is answered."""
        return self.try_as(user, "busctl", "--system", f"--timeout={int(DEADLINE)}", "call", "--",
                           name, object_path(name), interface or name, member, *arguments)

    def own_as(self, user, name):
        """What asking for a name fails with, nothing if the user gets it."""
        return self.try_as(user, "busctl", "--system", "call", "--", "org.freedesktop.DBus",
                           "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName", "su",
                           name, "4")

    def stop(self):
        self._program.kill()
        shutil.rmtree(self.folder)
