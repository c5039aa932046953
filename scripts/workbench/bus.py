"""A message bus of one's own, and a recorder of everything that goes over it."""

import json
import os
import subprocess

from .programs import Program, Timeout

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
  <listen>unix:path={socket}</listen>
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


class PrivateBus:
    """A dbus-daemon that nobody else knows of."""

    def __init__(self, folder, keep=False):
        self._configuration = folder / "bus.conf"
        self._configuration.write_text(_CONFIGURATION.format(socket=folder / "bus"))
        self._keep = folder / "bus.out" if keep else None
        self.start()

    def start(self):
        """
        Starts the daemon; it listens when this returns. A stopped one comes back at its place, but
        its address names the run of the bus too, and strict clients want that of this run.
        """
        reader, writer = os.pipe()
        self._program = Program(
            ["dbus-daemon", f"--config-file={self._configuration}", "--nofork", "--nopidfile",
             f"--print-address={writer}"], pass_fds=[writer], keep=self._keep)
        os.close(writer)
        with os.fdopen(reader) as stream:
            self.address = stream.readline().strip()
        if not self.address:
            raise Timeout("the bus has not started")

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
                                parse=_parse, errors=subprocess.PIPE)
        self._messages = self._program.output
        with self._program.process.stderr as words:
            for line in words:
                if b"Monitoring" in line:
                    return
        raise Timeout("busctl monitor has not started")

    @property
    def position(self):
        """How many messages there have been."""
        return len(self._messages)

    def wait(self, accept, position=0, what="a message"):
        return self._messages.wait(accept, position, what)

    def since(self, position):
        return self._messages.since(position)

    def wait_for_owner(self, name, position=0):
        """Waits until a name has been taken."""
        return self.wait(lambda message: message.is_signal("NameOwnerChanged")
                         and message.data[0] == name and message.data[2],
                         position, f"an owner of {name}")

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
