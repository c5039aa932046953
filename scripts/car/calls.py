"""Calls on the service by the command-line clients that everybody has."""

import ast
import itertools
import os
import json

from .bus import SERVICE, SERVICE_PATH, object_path
from .programs import DEADLINE, run


class CallFailed(Exception):
    """The bus answered with an error; the text is the client's."""


def environment(bus):
    """What a client needs in its environment to reach this bus, and any letter in any text."""
    return {**os.environ, "LC_ALL": "C.UTF-8", **bus.environment}


def _run(bus, command):
    done = run(command, env=environment(bus), capture_output=True, check=False)
    if done.returncode != 0:
        raise CallFailed(done.stderr.decode())
    return done.stdout.decode()


def as_variant(text):
    """The text as gdbus wants to read it."""
    escaped = text.replace("\\", "\\\\").replace("'", "\\'").replace("\n", "\\n")
    return f"'{escaped}'"


def gdbus_command(method, text=None, timeout=DEADLINE):
    """The words of a call by gdbus."""
    command = ["gdbus", "call", "--system", "--timeout", str(int(timeout)), "--dest", SERVICE,
               "--object-path", SERVICE_PATH, "--method", f"{SERVICE}.{method}"]
    return command if text is None else [*command, "--", as_variant(text)]


def busctl_command(method, *arguments, to=SERVICE, timeout=DEADLINE, options=()):
    """The words of a call by busctl; the arguments begin with their signature."""
    return ["busctl", "--system", "--json=short", f"--timeout={int(timeout)}", *options, "call",
            "--", to, object_path(to), to, method, *arguments]


def busctl_raw(bus, method, *arguments, **options):
    """What busctl prints for a call with any arguments."""
    return _run(bus, busctl_command(method, *arguments, **options))


def methods(bus):
    """The names of the service's methods, as busctl finds them by introspection."""
    rows = _run(bus, ["busctl", "--system", "introspect", SERVICE, SERVICE_PATH, SERVICE])
    return sorted(words[0][1:] for words in map(str.split, rows.splitlines())
                  if words[1:2] == ["method"])


def emit(bus, path, interface, name, text):
    """Emits a signal as somebody who owns no name."""
    _run(bus, ["busctl", "--system", "emit", "--", path, interface, name, "s", text])


def by_gdbus(bus, method, text=None):
    """The text of the reply to a call by gdbus."""
    return ast.literal_eval(_run(bus, gdbus_command(method, text)))[0]


def by_busctl(bus, method, text=None):
    """The text of the reply to a call by busctl."""
    arguments = [] if text is None else ["s", text]
    return json.loads(busctl_raw(bus, method, *arguments))["data"][0]


_CLIENTS = itertools.cycle([by_gdbus, by_busctl])


def call(bus, method, parameters=None):
    """The reply, parsed, to a call by one client and the next time by the other."""
    text = None if parameters is None else json.dumps(parameters, ensure_ascii=False)
    return json.loads(next(_CLIENTS)(bus, method, text))
