"""Calls on the service by the command-line clients that everybody has."""

import ast
import itertools
import os
import json
import subprocess

from .bus import SERVICE, SERVICE_PATH
from .programs import DEADLINE


class CallFailed(Exception):
    """The bus answered with an error; the text is the client's."""


def _run(command, environment):
    done = subprocess.run(command, env={**os.environ, **environment}, capture_output=True,
                          timeout=DEADLINE, check=False)
    if done.returncode != 0:
        raise CallFailed(done.stderr.decode())
    return done.stdout.decode()


def _as_variant(text):
    escaped = text.replace("\\", "\\\\").replace("'", "\\'").replace("\n", "\\n")
    return f"'{escaped}'"


def gdbus_command(method, text=None, timeout=DEADLINE):
    """The words of a call by gdbus."""
    command = ["gdbus", "call", "--system", "--timeout", str(int(timeout)), "--dest", SERVICE,
               "--object-path", SERVICE_PATH, "--method", f"{SERVICE}.{method}"]
    return command if text is None else [*command, "--", _as_variant(text)]


def busctl_command(method, text=None, timeout=DEADLINE):
    """The words of a call by busctl."""
    command = ["busctl", "--system", "--json=short", f"--timeout={int(timeout)}", "call", "--",
               SERVICE, SERVICE_PATH, SERVICE, method]
    return command if text is None else [*command, "s", text]


def by_gdbus(bus, method, text=None):
    """The text of the reply to a call by gdbus."""
    return ast.literal_eval(_run(gdbus_command(method, text), bus.environment))[0]


def by_busctl(bus, method, text=None):
    """The text of the reply to a call by busctl."""
    return json.loads(_run(busctl_command(method, text), bus.environment))["data"][0]


_CLIENTS = itertools.cycle([by_gdbus, by_busctl])


def call(bus, method, parameters=None):
    """The reply, parsed, to a call by one client and the next time by the other."""
    text = None if parameters is None else json.dumps(parameters, ensure_ascii=False)
    return json.loads(next(_CLIENTS)(bus, method, text))
