"""
A small Debian of its own, booted with a real systemd as its first process.

It is made of namespaces and an overlay over a bare tree, so that nothing it does is seen outside and
every box begins like every other. Root alone can make one.
"""

import os
import pathlib
import select
import shutil
import socket
import subprocess
import tempfile

DEADLINE = float(os.environ.get("SONGLATCH_DEADLINE", "120"))
BUILD = pathlib.Path(os.environ.get("SONGLATCH_BUILD", "build/release")).resolve()
TREE = pathlib.Path(os.environ.get("SONGLATCH_BOX_TREE", "build/box/tree")).resolve()

_START = pathlib.Path(__file__).with_name("start_box.sh")
_NAMESPACES = ["--pid", "--mount", "--uts", "--ipc", "--cgroup", "--net"]


class BoxFailed(AssertionError):
    """What was asked of a box has failed; the text is what it said."""


def why_not():
    """Why there can be no box here, nothing if there can."""
    if os.geteuid() != 0:
        return "a box needs root"
    tried = subprocess.run(["unshare", *_NAMESPACES, "--fork", "true"], capture_output=True,
                           text=True, check=False)
    if tried.returncode != 0:
        return f"no namespaces can be made here: {tried.stderr.strip()}"
    if not TREE.is_dir():
        return f"there is no bare tree at {TREE}"
    return ""


def _own_control_group(name):
    """A control group that the box takes for the root of all, so that it leaves the others alone."""
    for hierarchy in ("/sys/fs/cgroup/unified", "/sys/fs/cgroup"):
        if pathlib.Path(hierarchy, "cgroup.procs").exists():
            group = pathlib.Path(hierarchy, name)
            group.mkdir()
            return group
    raise BoxFailed("this machine has no control groups of version 2")


class Box:
    """One box: its files outlive a reboot and end with the object."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="songlatch-box-", dir=TREE.parent))
        for name in ("upper", "work", "root", "run"):
            (self.folder / name).mkdir()
        self._group = _own_control_group(self.folder.name)
        self._process = None
        self.first = None

    def path(self, inside):
        """A file of a box that has not booted."""
        return self.folder / "upper" / str(inside).lstrip("/")

    def boot(self):
        """Boots it; systemd has reached its default target when this returns."""
        place = self.folder / "run" / "notify"
        place.unlink(missing_ok=True)
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as ready:
            ready.bind(str(place))
            ready.settimeout(DEADLINE)
            with open(self.folder / "console", "ab") as console:
                self._process = subprocess.Popen(
                    # A box must not outlive the test that made it, however that ends.
                    ["setpriv", "--pdeathsig", "KILL", "unshare", "--fork", "--kill-child",
                     *_NAMESPACES, "sh", _START, TREE, self.folder],
                    stdin=subprocess.DEVNULL, stdout=console, stderr=console,
                    preexec_fn=self._join_control_group)
            self._wait_until_ready(ready)
        children = pathlib.Path(f"/proc/{self._process.pid}/task/{self._process.pid}/children")
        self.first, = children.read_text().split()

    def _join_control_group(self):
        (self._group / "cgroup.procs").write_text(str(os.getpid()))

    def _wait_until_ready(self, ready):
        words = b""
        while b"READY=1" not in words:
            try:
                words = ready.recv(4096)
            except TimeoutError:
                raise BoxFailed(f"systemd has not come up: {self.console()[-2000:]}") from None

    def console(self):
        return (self.folder / "console").read_text(errors="replace")

    def command(self, *words):
        """The words of a program in the box."""
        return ["nsenter", f"--target={self.first}", "--pid", "--mount", "--uts", "--ipc", "--cgroup",
                "--net", "--root", "--wd=/", "env", "-i", "PATH=/usr/sbin:/usr/bin:/sbin:/bin",
                "LC_ALL=C.UTF-8", "SYSTEMD_IGNORE_CHROOT=1", "DEBIAN_FRONTEND=noninteractive",
                *map(str, words)]

    def attempt(self, *words, text=None, deadline=DEADLINE):
        """Runs a program in the box to its end."""
        return subprocess.run(self.command(*words), input=text, capture_output=True, text=True,
                              timeout=deadline, check=False,
                              **({} if text is not None else {"stdin": subprocess.DEVNULL}))

    def run(self, *words, **options):
        """What a program prints that has to do its work."""
        done = self.attempt(*words, **options)
        if done.returncode != 0:
            raise BoxFailed(f"{words}: {done.stdout}{done.stderr}")
        return done.stdout

    def start(self, *words, **options):
        """A program that lives on beside the test."""
        return subprocess.Popen(self.command(*words), text=True, stdout=subprocess.PIPE, **options)

    def write(self, path, text):
        self.run("tee", path, text=text)

    def read(self, path):
        return self.run("cat", path)

    def reboot(self):
        """As the unit's power switch would: all is stopped in order, and it boots again."""
        self.attempt("systemctl", "reboot")
        self._process.wait(DEADLINE)
        self.boot()

    def close(self):
        """Ends every process in it and takes its files away."""
        if self._process and self._process.poll() is None:
            self._process.kill()
            self._process.wait(DEADLINE)
        _remove_group(self._group)
        shutil.rmtree(self.folder)


def _remove_group(group):
    """Control groups go from the inside out, once the last process in them has been reaped."""
    events = group / "cgroup.events"
    with open(events, encoding="ascii") as changes:
        poll = select.poll()
        poll.register(changes, select.POLLPRI)
        while "populated 1" in changes.read():
            if not poll.poll(DEADLINE * 1000):
                raise BoxFailed(f"processes are left in {group}")
            changes.seek(0)
    for folder, _, _ in os.walk(group, topdown=False):
        os.rmdir(folder)
