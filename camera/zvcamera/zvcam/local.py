"""What zvcam does beside a camera: list those that run, check scenarios, decode traces, complete command lines.

Described as the operations on a camera are, but known to the command line alone.
"""

import contextlib
import os
import sys
import time

from .. import find
from ..admin import AdminError, InvalidRequest
from ..link import Link
from ..messages import record
from ..messages.quote import printable
from ..operations.operation import Operation, Parameter
from . import values

# The folder of the camera's programs; main() sets it.
PROGRAMS = None
_DAEMONS = ("zvControlD", "zvNetD", "zvBleD")


def _scenario_name(run_dir):
    with contextlib.suppress(AdminError, TypeError, KeyError):
        name = Link(run_dir).call("supervisor", "scenario", timeout=2.0)["name"]
        return name if isinstance(name, str) else None
    return None


def _list(_link):
    return [{"port": found.port, "scenario": _scenario_name(found.run_dir), "since": found.since, "pid": found.pid,
             "address": found.address, "run_dir": found.run_dir} for found in find.running().values()]


def table(rows):
    """Rows of texts in columns, each as wide as its widest text."""
    widths = [max(map(len, column)) for column in zip(*rows)]
    return "".join("  ".join(map(str.ljust, row, widths)).rstrip() + "\n" for row in rows)


def _list_text(cameras):
    if not cameras:
        return "no camera runs\n"
    shown = [(str(each["port"]), _scenario_text(each["scenario"]), _clock(each["since"]), str(each["pid"] or "-"),
              each["address"]) for each in cameras]
    return table([("PORT", "SCENARIO", "SINCE", "PID", "ADDRESS"), *shown])


def _scenario_text(name):
    """What comes with the camera goes by its name."""
    folder, file = os.path.split(name or "-")
    return file.removesuffix(".json") if folder == values.SCENARIOS else printable(name or "-")


def _clock(seconds):
    return "-" if seconds is None else time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(seconds))


def _program(name):
    """A daemon's program, or where it is for another processor, the script that starts it in the emulator."""
    script = os.path.join(PROGRAMS, "runnable", name)
    return script if os.path.exists(script) else os.path.join(PROGRAMS, name)


def _check(_link, file):
    document = values.read_document(file)  # what the daemons say of a file that is no JSON is less
    path = values.path_of(file)
    import subprocess  # takes its time, and is needed here only

    for daemon in _DAEMONS:
        try:
            done = subprocess.run([_program(daemon), "--check", path], capture_output=True, text=True,
                                  errors="replace", check=False)
        except OSError as error:
            raise AdminError(f"{_program(daemon)}: {error.strerror}") from error
        if done.returncode != 0:
            lines = (done.stderr or done.stdout).strip().splitlines() or [f"{daemon} refuses it"]
            told = lines[-1].removeprefix(f"{daemon}: ").removeprefix(f"{path}: ")
            raise InvalidRequest(f"{file}: {told}")
    _check_rules_for_paths(document.get("faults", []), file)
    return {"file": file, "right": True}


def _check_rules_for_paths(rules, file):
    """The supervisor's part of a scenario; the daemons have found it right in all else."""
    from ..http_rules import read_rules
    try:
        read_rules(rules)
    except InvalidRequest as error:
        raise InvalidRequest(f"{file}: {error}") from error


def _scenarios(_link):
    found = []
    for name in values.scenarios():
        path = os.path.join(values.SCENARIOS, f"{name}.json")
        found.append({"name": name, "path": path, "description": values.read_document(path).get("description", "")})
    return found


def _scenarios_text(found):
    return table([(each["name"], each["description"]) for each in found])


def _decode(_link, file):
    if file == "-":
        yield from record.read_lines(sys.stdin.buffer, file)
        return
    try:
        with open(file, "rb") as lines:
            yield from record.read_lines(lines, file)
    except OSError as error:
        raise InvalidRequest(f"{file}: cannot be opened") from error


def _completion(_link, shell):
    from . import completion
    return completion.script(shell)


_FILE = Parameter("file", help="a scenario file, or the name of one that comes with the camera",
                  candidates=lambda _: values.scenarios())
OPERATIONS = (
    Operation(("decode",), "", "", "Show the messages of a file that trace has written", _decode,
              (Parameter("file", help="the file, or - for standard input"),), record.full, True, record.brief),
    Operation(("list",), "", "", "List the cameras that run", _list, text=_list_text),
    Operation(("check",), "", "", "Check a scenario file without a camera", _check, (_FILE,),
              lambda result: f"{result['file']}: right\n"),
    Operation(("scenarios",), "", "", "List the scenarios that come with the camera", _scenarios, text=_scenarios_text),
    Operation(("completion",), "", "", "Print what a shell needs to complete the words of zvcam", _completion,
              (Parameter("shell", choices=("bash", "zsh", "fish")),), lambda text: text),
)
