"""Programs that run beside ours: started, listened to, and ended again."""

import os
import pathlib
import subprocess
import threading
import time

DEADLINE = float(os.environ.get("SONGLATCH_DEADLINE", "60"))
"""Seconds until something that must happen counts as not happening."""


def binary(name):
    """The path of a program of ours; SONGLATCH_BIN names the folder."""
    root = pathlib.Path(__file__).resolve().parents[2]
    folder = os.environ.get("SONGLATCH_BIN", str(root / "build" / "release" / "bin"))
    return str(pathlib.Path(folder) / name)


class Timeout(AssertionError):
    """What was waited for did not come within the deadline."""


class Lines:
    """A growing list of what one program prints, with somebody waiting for what comes."""

    def __init__(self, stream, parse):
        self._items = []
        self._ended = False
        self._changed = threading.Condition()
        self._thread = threading.Thread(target=self._read, args=(stream, parse), daemon=True)
        self._thread.start()

    def _read(self, stream, parse):
        with stream:
            for line in stream:
                item = parse(line)
                if item is not None:
                    self._add(item)
        with self._changed:
            self._ended = True
            self._changed.notify_all()

    def _add(self, item):
        with self._changed:
            self._items.append(item)
            self._changed.notify_all()

    def __len__(self):
        with self._changed:
            return len(self._items)

    def since(self, position):
        """A copy of what came from the position on."""
        with self._changed:
            return self._items[position:]

    def wait(self, accept, position=0, what="a line", deadline=DEADLINE):
        """The place behind the first item from the position on that is accepted, and the item."""
        end = time.monotonic() + deadline
        with self._changed:
            while True:
                while position < len(self._items):
                    position += 1
                    if accept(self._items[position - 1]):
                        return position, self._items[position - 1]
                left = end - time.monotonic()
                if self._ended or left <= 0:
                    raise Timeout(f"{what} did not come; the last were {self._items[-5:]}")
                self._changed.wait(left)

    def finish(self):
        """Waits until the program has closed its end, and gives everything."""
        self._thread.join(DEADLINE)
        return self.since(0)


class Program:
    """One process with its output in reach.

    It dies with the process that started it, however that ends, unless `keep` names the file that
    takes its output: then it lives on, and the file goes on growing.
    """

    def __init__(self, arguments, environment=None, folder=None, keep=None, parse=None,
                 stdin=subprocess.DEVNULL, pass_fds=(), errors=None):
        tied = [] if keep else ["setpriv", "--pdeathsig", "KILL"]
        self.process = subprocess.Popen(
            [*tied, *arguments], env={**os.environ, "LC_ALL": "C.UTF-8", **(environment or {})},
            cwd=folder, stdin=stdin, stdout=subprocess.PIPE, stderr=errors or subprocess.DEVNULL,
            pass_fds=pass_fds, start_new_session=bool(keep))
        output = self._kept(keep) if keep else self.process.stdout
        self.output = Lines(output, parse or (lambda line: line.decode(errors="replace")))

    def _kept(self, keep):
        # A kept program must not lose its reader when we end: "tee -p" outlives its own output.
        recorder = subprocess.Popen(["tee", "-p", str(keep)], stdin=self.process.stdout,
                                    stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                    start_new_session=True)
        self.process.stdout.close()
        return recorder.stdout

    @property
    def pid(self):
        return self.process.pid

    @property
    def running(self):
        return self.process.poll() is None

    def say(self, line):
        """Gives the program a line of input."""
        self.process.stdin.write(f"{line}\n".encode())
        self.process.stdin.flush()

    def kill(self):
        """Ends it at once, as a power cut would."""
        self.process.kill()
        self._ended()

    def _ended(self, deadline=None):
        status = self.process.wait(deadline)
        if self.process.stdin:
            self.process.stdin.close()
        return status

    def wait(self, deadline=DEADLINE):
        """The exit status, once it has ended by itself."""
        try:
            return self._ended(deadline)
        except subprocess.TimeoutExpired as expired:
            raise Timeout(f"{self.process.args} has not ended") from expired

    def expect_running_for(self, seconds):
        """Lets this time pass, and fails if the program ends in it."""
        try:
            status = self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            return
        raise AssertionError(f"{self.process.args} has ended with {status}")
