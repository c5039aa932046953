"""Counts what the service does for a request, under valgrind: a count is the same in each run."""

import pathlib
import re
import subprocess

WORK = "CTaggingImpl::processTellbusRequest(CTellbusRequest*)"
"""What the main thread does between a request's arrival and its reply."""

LIBRARIES = ("libc6", "libstdc++6", "libdbus-1-3", "libjsoncpp*", "libxml2*")
"""The packages whose code is counted with ours, on any Debian."""

_ALLOCATING = re.compile(r"(malloc|calloc|realloc|memalign|posix_memalign|aligned_alloc)\b")

_SYSTEM_CALL = re.compile(r"^SYSCALL\[\d+,1\]\(\s*\d+\) *(?:sys_)?(\w+)(.*)", re.MULTILINE)
"""A line of valgrind's about a system call of the main thread."""

# Threads meet in these as it happens, and when the heap grows depends on where it begins.
_UNCOUNTED = {"futex", "epoll_wait", "poll", "ppoll", "brk", "mmap", "munmap", "mprotect", "madvise"}

# Eight bytes wake another thread, which may be awake.
_WAKING = re.compile(r"\(.*, 8 \)")


class Counter:
    """A service under callgrind, which writes what each request took into a file of its own."""

    def __init__(self, folder):
        self._profile = folder / "profile"
        self._trace = folder / "trace"
        self.command = ["valgrind", "--tool=callgrind", f"--callgrind-out-file={self._profile}",
                        f"--toggle-collect={WORK}", f"--dump-after={WORK}",
                        "--trace-syscalls=yes", f"--log-file={self._trace}"]

    def taken_by(self, request):
        """The instructions and allocations of the n-th request, the first being 1."""
        text = pathlib.Path(f"{self._profile}.{request}").read_text(encoding="utf-8")
        return {"instructions": instructions(text), "allocations": allocations(text)}

    def system_calls(self):
        """The names of the main thread's system calls so far."""
        text = self._trace.read_text(encoding="utf-8", errors="replace")
        return [name for name, arguments in _SYSTEM_CALL.findall(text)
                if name not in _UNCOUNTED
                and not (name == "write" and _WAKING.search(arguments))]


def instructions(profile):
    """The sum of a file of callgrind's."""
    return int(re.search(r"^(?:summary|totals): (\d+)", profile, re.MULTILINE).group(1))


def allocations(profile):
    """How often memory was asked for, by a file of callgrind's."""
    names = dict(re.findall(r"^c?fn=\((\d+)\) (.*)$", profile, re.MULTILINE))
    calls = re.findall(r"^cfn=\((\d+)\).*\ncalls=(\d+)", profile, re.MULTILINE)
    return sum(int(count) for number, count in calls if _ALLOCATING.match(names[number]))


def _output_of(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False).stdout.strip()


def surroundings():
    """Everything that the counts depend on and that is not in the repository."""
    packages = [line.split() for line in _output_of(
        "dpkg-query", "-W", "-f=${db:Status-Status} ${Package} ${Version}\n",
        *LIBRARIES).splitlines()]
    made_with = {name: version for status, name, *version in packages
                 if status == "installed" and not name.endswith(("-dev", "-utils", "-doc"))}
    processor = pathlib.Path("/proc/cpuinfo").read_text(encoding="ascii", errors="replace")
    return {"compiler": _output_of("c++", "--version").split("\n", maxsplit=1)[0],
            "valgrind": _output_of("valgrind", "--version"),
            "processor": _output_of("uname", "-m") + (" with avx2" if " avx2" in processor else ""),
            **{name: " ".join(version) for name, version in sorted(made_with.items())}}
