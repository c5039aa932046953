"""The whole of it: a bus, a monitor, the rig and the service, in one folder."""

import json
import os
import pathlib
import shutil
import subprocess
import time

from . import calls, tagfiles
from .bus import MEDIA, SERVICE, Monitor, PrivateBus, new_folder, object_path
from .programs import DEADLINE, START_DEADLINE, Program, binary, run


class Folder:
    """The service's folder: its configuration, its tag files and its log."""

    CONFIGURATION = ('<?xml version="1.0" encoding="UTF-8"?>\n<configuration>\n'
                     '  <taggerConfiguration debugVerbosity="0"/>\n'
                     '  <multiples enabled="{enabled}" choose="{choose}"/>\n'
                     '  <maxTagCount value="{limit}"/>\n'
                     '  <localStorage folder="{folder}"/>\n{more}</configuration>\n')

    def __init__(self, path):
        self.path = pathlib.Path(path)
        self.configuration = self.path / "Songlatch.conf"
        self.store = self.path / "store"
        self.log_path = self.path / "Songlatching.log"
        self.store.mkdir()

    @property
    def tags(self):
        return self.store / "Tags.xml"

    @property
    def candidates(self):
        return self.store / "AmbigTag.xml"

    @property
    def tagged_info(self):
        return self.store / "TaggedInfo.xml"

    def configure(self, limit=10, enabled="false", choose="all", more=""):
        """Writes the configuration; the service reads it anew for each piece of work."""
        self.configuration.write_text(self.CONFIGURATION.format(
            enabled=enabled, choose=choose, limit=limit, folder=self.store, more=more))

    def prepare(self, **configuration):
        """What must lie there before the first start."""
        self.configure(**configuration)
        self.candidates.write_bytes(tagfiles.EMPTY)

    def log(self, position=0):
        """The lines of the log from the position on."""
        if not self.log_path.exists():
            return []
        return self.log_path.read_text(encoding="utf-8", errors="replace").split("\n")[position:-1]


class Service:
    """The service process, under another program's command where one is given."""

    def __init__(self, bus, folder, program="Songlatch-undertest", arguments=None, keep=False,
                 under=()):
        if arguments is None:
            arguments = [f"-config={folder.configuration}"]
        self.errors = folder.path / "service.err"
        self.program = Program(
            [*under, binary(program), *arguments],
            {**bus.environment, "SONGLATCH_TEST_LOG": str(folder.log_path)},
            folder=folder.path, errors=self.errors,
            keep=folder.path / "service.out" if keep else None)

    @property
    def pid(self):
        return self.program.pid

    def kill(self):
        self.program.kill()

    def finish(self):
        """Waits until it ends by itself: the exit status and what it printed."""
        return self.program.wait(), "".join(self.program.output.finish())


class Rig:
    """The rig, commanded through its standard input."""

    def __init__(self, bus, folder, keep=False, options=(), environment=None):
        self.program = Program(
            [binary("songlatch-rig"), *options], {**bus.environment, **(environment or {})},
            parse=json.loads,
            errors=folder.path / "rig.err",
            stdin=self._fifo(folder.path / "rig.in") if keep else subprocess.PIPE,
            keep=folder.path / "rig.out" if keep else None)
        self.reports = self.program.output

    def _fifo(self, path):
        # Opened for both directions it never ends, whoever writes commands into it later.
        os.mkfifo(path)
        self._commands = os.open(path, os.O_RDWR)
        return self._commands

    def _say(self, line):
        if self.program.process.stdin:
            self.program.say(line)
        else:
            os.write(self._commands, f"{line}\n".encode())

    @property
    def pid(self):
        return self.program.pid

    def wait(self, event, position=0, deadline=DEADLINE, **fields):
        """The place behind the first such report from the position on, and the report."""
        def fits(report):
            return report["event"] == event and all(
                report.get(key) == value for key, value in fields.items())
        return self.reports.wait(fits, position, f"the rig's {event} {fields}", deadline)

    def command(self, line, answer):
        """Gives one command and waits for its report."""
        position = len(self.reports)
        self._say(line)
        return self.reports.wait(lambda report: report["event"] in (answer, "error"), position,
                                 f"the rig's {answer}")[1]

    def seen(self, *events, position=0):
        """All reports of these kinds so far, in order."""
        self.command("list", "list")
        return [report for report in self.reports.since(position) if report["event"] in events]

    def stop(self):
        """Ends it through its standard input, and gives its exit status."""
        self.program.process.stdin.close()
        return self.program.wait()


class Car:
    """One unit in one car. Everything in it is private to its folder."""

    def __init__(self, prepare=True, keep=False, **configuration):
        self.keep = keep
        self.root = new_folder()
        self.folder = Folder(self.root)
        if prepare:
            self.folder.prepare(**configuration)
        self.bus = PrivateBus(self.root, keep)
        self.monitor = Monitor(self.bus)
        self.rig = None
        self.service = None
        self._options = {}

    # The surroundings

    def kill_bus(self):
        """Everybody loses the bus without a word; the monitor ends with it."""
        self.bus.stop()
        self.monitor.stop()

    def start_bus(self):
        """Starts a killed bus anew at its place, with a monitor: the moment it listened."""
        self.bus.start()
        listening = time.monotonic()
        self.monitor = Monitor(self.bus)
        return listening

    def start_rig(self):
        position = self.monitor.position
        self.rig = Rig(self.bus, self.folder, self.keep)
        self.rig.wait("ready", deadline=START_DEADLINE)
        self.monitor.wait_for_owner(MEDIA, position, self.rig.program)

    def mount_point(self, device):
        return self.root / f"ipod{device}"

    def attach(self, device, mount_point=None, silent=False, **options):
        """Plugs a device in; unless silent, returns once the service has dealt with it."""
        words = [f'{key}="{value}"' for key, value in options.items()]
        if silent:
            words.append("silent")
        position = self.monitor.position
        self.rig.command(
            f'attach {device} "{mount_point or self.mount_point(device)}" {" ".join(words)}',
            "attached")
        return None if silent else self.after_device_state(position)

    def detach(self, device):
        position = self.monitor.position
        self.rig.command(f"detach {device}", "detached")
        return self.after_device_state(position)

    def signal(self, text):
        """Emits a raw deviceState and returns the signals that follow from it."""
        position = self.monitor.position
        self.rig.command(f"signal {text}", "signalled")
        return self.after_device_state(position)

    def forge_device_state(self, text):
        """Emits a deviceState that does not come from the owner of the media service's name."""
        calls.emit(self.bus, object_path(MEDIA), MEDIA, "deviceState", text)

    def after_device_state(self, position):
        """The service's signals that a device report of the rig led to."""
        self.monitor.wait_for_signal("deviceState", position)
        return self.settle(position)

    # The service

    def start_service(self, **options):
        """Starts it and waits until it has dealt with the answer to its first question."""
        position = self.monitor.position
        self.launch_service(**options)
        self.monitor.wait_for_signal("connectionStatus", position)
        return self.settle(position)

    def launch_service(self, **options):
        """Starts it and waits until it has its name."""
        position = self.monitor.position
        self.spawn_service(**options)
        self.monitor.wait_for_owner(SERVICE, position, self.service.program)

    def spawn_service(self, **options):
        """Starts it and waits for nothing."""
        self._options = options
        self.service = Service(self.bus, self.folder, keep=self.keep, **options)

    def restart_service(self, **options):
        """Kills it and starts it as it was started before, unless told otherwise."""
        self.service.kill()
        return self.start_service(**{**self._options, **options})

    def call(self, method, parameters=None):
        """The reply, parsed."""
        return calls.call(self.bus, method, parameters)

    def load_client_call(self, method, text):
        """The text of the reply to a call with a text of any length."""
        done = run([binary("load-client"), "call", method], input=text.encode(),
                   env=calls.environment(self.bus), capture_output=True)
        return done.stdout.decode()

    def tag(self, *tags, device=None):
        """A tagRequest with these tags: the reply and the signals, in order."""
        parameters = {"tags": list(tags)}
        if device is not None:
            parameters["deviceID"] = device
        return self.exchange("tagRequest", parameters)

    def exchange(self, method, parameters=None):
        """A call: its reply, and the signals that left the service before it."""
        position = self.monitor.position
        reply = self.call(method, parameters)
        return reply, self.settle(position)

    def properties(self, *names):
        return self.call("getProperties", {"props": list(names)})["props"]

    def settle(self, position=0):
        """
        Waits until the service has dealt with all that came before, and gives its signals from
        the position on. It handles one event after the other, so its answer to a call says so.
        """
        before = self.monitor.position
        self.call("getProperties", {"props": []})
        end, _ = self.monitor.wait_for_reply("getProperties", before)
        return self.monitor.signals(position, end)

    def stop(self):
        """Ends everything; the rig in order, so that it can complain."""
        if self.service:
            self.service.kill()
        if self.rig and self.rig.program.running:
            self.rig.stop()
        self.monitor.stop()
        self.bus.stop()

    def pids(self):
        """What runs for as long as the car does."""
        return [program.pid for program in (self.service, self.rig, self.bus) if program]

    def remove(self):
        """Removes the folder."""
        shutil.rmtree(self.root)
