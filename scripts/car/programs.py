"""Programs that run beside ours: started, listened to, and ended again."""

import os
import pathlib
import shlex
import subprocess
import tempfile
import threading
import time

DEADLINE = float(os.environ.get("SONGLATCH_DEADLINE", "60"))
"""Seconds until something that must happen counts as not happening."""

START_DEADLINE = float(os.environ.get("SONGLATCH_START_DEADLINE", "30"))
"""Seconds until a program that does not say it is there counts as not starting."""

END_DEADLINE = 10
"""Seconds until a program that has closed its output counts as running on."""


def binary(name):
    """The path of a program of ours; SONGLATCH_BIN names the folder."""
    root = pathlib.Path(__file__).resolve().parents[2]
    folder = os.environ.get("SONGLATCH_BIN", str(root / "build" / "release" / "bin"))
    return str(pathlib.Path(folder) / name)


class Timeout(AssertionError):
    """What was waited for did not come within the deadline."""


def run(arguments, **options):
    """subprocess.run with an end, and the last words of a program that has not come to its own."""
    try:
        return subprocess.run(arguments, timeout=DEADLINE, check=options.pop("check", True),
                              **options)
    except subprocess.TimeoutExpired as expired:
        errors = expired.stderr or b""
        text = errors if isinstance(errors, str) else errors.decode(errors="replace")
        written = text.splitlines()[-5:]
        raise Timeout("\n    ".join([f"{shlex.join(map(str, arguments))} did not end within "
                                     f"{DEADLINE:g} s; its standard error:",
                                     *(written or ["nothing"])])) from expired


class Lines:
    """
    A growing list of what one program prints, with somebody waiting for what comes. A wait that
    nothing ends tells what else the program has to say for itself.
    """

    def __init__(self, stream, parse, last_words):
        self._items = []
        self._last_words = last_words
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

    @property
    def ended(self):
        """Whether the program has closed its end."""
        with self._changed:
            return self._ended

    def since(self, position):
        """A copy of what came from the position on."""
        with self._changed:
            return self._items[position:]

    def find(self, accept, position=0, deadline=DEADLINE):
        """
        The place behind the first item from the position on that is accepted, and the item;
        nothing if none comes within the deadline, or before the program has closed its end.
        """
        end = time.monotonic() + deadline
        with self._changed:
            while True:
                while position < len(self._items):
                    position += 1
                    if accept(self._items[position - 1]):
                        return position, self._items[position - 1]
                left = end - time.monotonic()
                if self._ended or left <= 0:
                    return None
                self._changed.wait(left)

    def wait(self, accept, position=0, what="a line", deadline=DEADLINE):
        """The same, and it must come."""
        found = self.find(accept, position, deadline)
        if found is None:
            raise Timeout(f"{what} did not come within {deadline:g} s\n{self._last_words()}")
        return found

    def finish(self):
        """Waits until the program has closed its end, and gives everything."""
        self._thread.join(DEADLINE)
        if self._thread.is_alive():
            raise Timeout(f"no end of the output within {DEADLINE:g} s\n{self._last_words()}")
        return self.since(0)


class Program:
    """One process with its output in reach.

    It dies with the process that started it, however that ends, unless `keep` names the file that
    takes its output: then it lives on, and the file goes on growing. `errors` names the file that
    takes its standard error; subprocess.STDOUT puts both into one.
    """

    def __init__(self, arguments, environment=None, folder=None, keep=None, parse=None,
                 stdin=subprocess.DEVNULL, errors=None):
        tied = [] if keep else ["setpriv", "--pdeathsig", "KILL"]
        self._errors = self._open(errors)
        self.process = subprocess.Popen(
            [*tied, *arguments], env={**os.environ, "LC_ALL": "C.UTF-8", **(environment or {})},
            cwd=folder, stdin=stdin, stdout=subprocess.PIPE, stderr=self._errors or errors,
            start_new_session=bool(keep))
        output = self._kept(keep) if keep else self.process.stdout
        self.output = Lines(output, parse or (lambda line: line.decode(errors="replace")),
                            self.last_words)

    @staticmethod
    def _open(errors):
        if errors == subprocess.STDOUT:
            return None
        return open(errors, "ab+") if errors else tempfile.TemporaryFile()

    def _complaints(self):
        """What it has written to standard error. The process goes on writing where it was."""
        if not self._errors:
            return []
        size = os.fstat(self._errors.fileno()).st_size
        text = os.pread(self._errors.fileno(), size, 0)
        return text.decode(errors="replace").splitlines()

    def _status(self):
        """The exit status if it has ended, or is about to: its output closes a little earlier."""
        try:
            return self.process.wait(END_DEADLINE if self.output.ended else 0)
        except subprocess.TimeoutExpired:
            return None

    def last_words(self):
        """Its state and the last lines of what it has written, for whoever waited in vain."""
        status = self._status()
        state = "is still running" if status is None else f"has ended with {status}"
        lines = [f"{shlex.join(map(str, self.process.args))} {state}"]
        for channel, written in (("standard output", self.output.since(-5)),
                                 ("standard error", self._complaints()[-5:])):
            lines.append(f"  {channel}:{'' if written else ' nothing'}")
            lines += [f"    {str(line).rstrip()}" for line in written]
        return "\n".join(lines)

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
        self.wait()

    def wait(self, deadline=DEADLINE):
        """The exit status, once it has ended by itself."""
        try:
            status = self.process.wait(deadline)
        except subprocess.TimeoutExpired as expired:
            raise Timeout(f"no end within {deadline:g} s\n{self.last_words()}") from expired
        if self.process.stdin:
            self.process.stdin.close()
        return status

    def expect_running_for(self, seconds):
        """Lets this time pass, and fails if the program ends in it."""
        try:
            status = self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            return
        raise AssertionError(self.last_words())
