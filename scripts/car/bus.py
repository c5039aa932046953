"""A message bus of one's own, and a recorder of everything that goes over it."""

import itertools
import json
import os
import shlex
import pathlib
import tempfile
import time
import urllib.parse
import xml.sax.saxutils

from .programs import DEADLINE, START_DEADLINE, Program, Timeout, run

BUS = "org.freedesktop.DBus"
SERVICE = "com.veldan.service.Songlatch"
MEDIA = "com.veldan.service.Media"


def object_path(name):
    """The path of the one object behind a bus name."""
    return "/" + name.replace(".", "/")


SERVICE_PATH = object_path(SERVICE)

_CONFIGURATION = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <listen>{address}</listen>
  <servicedir>{services}</servicedir>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow receive_sender="*" eavesdrop="true"/>
  </policy>
  <limit name="max_incoming_bytes">1000000000</limit>
  <limit name="max_outgoing_bytes">1000000000</limit>
  <limit name="max_message_size">134217728</limit>
  <limit name="max_replies_per_connection">100000</limit>
  <limit name="reply_timeout">600000</limit>
</busconfig>
"""


def new_folder():
    """
    A new folder in which a bus can live: where the system wants temporary files, unless that path
    is so long that the 107 bytes of a socket's address would not hold it.
    """
    usual = tempfile.gettempdir()
    return pathlib.Path(tempfile.mkdtemp(
        prefix="songlatch-", dir=usual if len(os.fsencode(usual)) <= 80 else "/tmp"))


def socket_address(path):
    """The address of a socket as D-Bus writes it, whatever letters the path has."""
    return f"unix:path={urllib.parse.quote(os.fsencode(path), safe='/-_.')}"


class PrivateBus:
    """A dbus-daemon that nobody else knows of."""

    def __init__(self, folder, keep=False):
        address = xml.sax.saxutils.escape(socket_address(folder / "bus"))
        self._configuration = folder / "bus.conf"
        self._services = folder / "services"
        self._services.mkdir()
        self._configuration.write_text(_CONFIGURATION.format(
            address=address, services=xml.sax.saxutils.escape(str(self._services))))
        self._keep = folder / "bus.out" if keep else None
        self.start()

    def start(self):
        """
        Starts the daemon; it listens when this returns. A stopped one comes back at its place, but
        its address names the run of the bus too, and strict clients want that of this run.
        """
        self._program = Program(
            ["dbus-daemon", f"--config-file={self._configuration}", "--nofork", "--nopidfile",
             "--print-address"], keep=self._keep)
        _, line = self._program.output.wait(lambda line: True, what="the address of the bus",
                                            deadline=START_DEADLINE)
        self.address = line.strip()

    def activate(self, name, command):
        """From now on the daemon runs the command when the name is called and has no owner."""
        (self._services / f"{name}.service").write_text(
            f"[D-BUS Service]\nName={name}\nExec={shlex.join(map(str, command))}\n")

    @property
    def environment(self):
        """What a program needs to find this bus as the system bus."""
        return {"DBUS_SYSTEM_BUS_ADDRESS": self.address}

    @property
    def pid(self):
        return self._program.pid

    def stop(self):
        """Ends the daemon at once, as a crash would."""
        self._program.kill()


class Message:
    """One message as the monitor saw it."""

    def __init__(self, raw):
        self.type = raw["type"]
        self.sender = raw.get("sender")
        self.destination = raw.get("destination")
        self.path = raw.get("path")
        self.interface = raw.get("interface")
        self.member = raw.get("member")
        self.cookie = raw.get("cookie")
        self.reply_cookie = raw.get("reply_cookie")
        self.error_name = raw.get("error_name")
        self.data = raw.get("payload", {}).get("data", [])

    @property
    def text(self):
        """The one string argument."""
        return self.data[0]

    def is_signal(self, *members):
        return self.type == "signal" and self.member in members

    def is_reply_to(self, call):
        return (self.type in ("method_return", "error") and self.destination == call.sender
                and self.reply_cookie == call.cookie)

    def __repr__(self):
        return f"{self.type} {self.member} {self.data}"


def _parse(line):
    try:
        return Message(json.loads(line))
    except ValueError:
        return None


class Monitor:
    """Everything that goes over the bus, in the order of the bus, seen by busctl."""

    SIGNALS = ("localStatus", "connectionStatus", "transferStatus")

    def __init__(self, bus):
        self._program = Program(["busctl", "--json=short", "monitor"], bus.environment,
                                parse=_parse)
        self._messages = self._program.output
        self._wait_until_it_listens(bus)

    def _wait_until_it_listens(self, bus):
        """
        Sends signals until one of them is seen. What busctl says about its start is meant for
        people, and differs from one version to the next.
        """
        end = time.monotonic() + START_DEADLINE
        for attempt in itertools.count():
            left = end - time.monotonic()
            if left <= 0 or not self._program.running:
                raise Timeout("the monitor did not see a signal sent to it within "
                              f"{START_DEADLINE:g} s\n{self._program.last_words()}")
            run(["busctl", "--system", "emit", "/", "com.veldan.rig.Monitor", "Listening"],
                env={**os.environ, **bus.environment})
            pause = min(left, 0.05 * 2 ** attempt)
            if self._messages.find(lambda seen: seen.is_signal("Listening"), deadline=pause):
                return

    @property
    def position(self):
        """How many messages there have been."""
        return len(self._messages)

    def wait(self, accept, position=0, what="a message", deadline=DEADLINE):
        return self._messages.wait(accept, position, what, deadline)

    def since(self, position):
        return self._messages.since(position)

    def wait_for_owner(self, name, position=0, program=None):
        """Waits until a name has been taken, by that program if there is one to be blamed."""
        try:
            return self.wait(lambda message: message.is_signal("NameOwnerChanged")
                             and message.data[0] == name and message.data[2],
                             position, f"an owner of {name}", START_DEADLINE)
        except Timeout as late:
            blamed = f"\n{program.last_words()}" if program else ""
            raise Timeout(f"{late}{blamed}") from late

    def wait_for_signal(self, member, position=0, count=1):
        """Waits for the n-th signal of that name from the position on."""
        for _ in range(count):
            position, message = self.wait(lambda seen: seen.is_signal(member), position, member)
        return position, message

    def wait_for_reply(self, method, position=0):
        """Waits for the answer to the first call of that method from the position on."""
        position, call = self.wait(
            lambda message: message.type == "method_call" and message.member == method,
            position, f"a call of {method}")
        return self.wait(lambda message: message.is_reply_to(call), position,
                         f"the reply to {method}")

    def signals(self, position=0, end=None):
        """The service's signals in order, each as its name and its body."""
        seen = self.since(position)[:None if end is None else end - position]
        return [(message.member, json.loads(message.text)) for message in seen
                if message.interface == SERVICE and message.is_signal(*self.SIGNALS)]

    def stop(self):
        self._program.kill()
