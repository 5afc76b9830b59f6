"""The streaming program, which the control program starts and stops.

Tells which processes of it run and what it has logged, and starts and stops it by hand.
"""

import io
import json
import os
import signal
import subprocess
import threading
import time

from ..admin import AdminError, InvalidRequest

_NAME = "zvStream"
_PROGRAM = f"/usr/local/zarvo/bin/{_NAME}"
# In a command line, the arguments begin behind one of these. The second one is the program behind an emulator.
_PLACES = (_PROGRAM, f"/usr/local/zarvo/target/bin/{_NAME}")
_LOG = f"/tmp/fuse_d/{_NAME}.log"
_SHOWN = 10
_READ = 1 << 16  # bytes from the end of the log


class StreamError(AdminError):
    """The program does not start, or does not end."""


def _words(line):
    words = [word.decode(errors="replace") for word in line.split(b"\0")[:-1]]
    program = next((number for number, word in enumerate(words) if word in _PLACES), 0)
    return words[program + 1:]


def _processes():
    """Process id -> arguments, of all processes under the program's name. killall goes by this name, too."""
    found = {}
    for pid in sorted(int(name) for name in os.listdir("/proc") if name.isdigit()):
        try:
            with open(f"/proc/{pid}/stat", "rb") as stat, open(f"/proc/{pid}/cmdline", "rb") as line:
                name, _, rest = stat.read().partition(b"(")[2].rpartition(b")")
                if name == _NAME.encode() and rest.split()[0] not in b"ZX":
                    found[pid] = _words(line.read())
        except OSError:
            continue  # the process has ended meanwhile
    return found


def _is_entry(entry):
    """Checks an entry: the log is in the camera's storage, so anything may be in it."""
    if not isinstance(entry, dict) or type(entry.get("pid")) is not int or not isinstance(entry.get("time"), str):
        return False
    if entry.get("event") == "end":
        return isinstance(entry.get("reason"), str)
    arguments = entry.get("arguments")
    return (entry.get("event") == "start" and isinstance(arguments, list)
            and all(isinstance(word, str) for word in arguments))


def _open_log():
    return open(_LOG, "rb", opener=lambda path, flags: os.open(path, flags | os.O_NONBLOCK))


def _log_size():
    try:
        return os.path.getsize(_LOG)
    except OSError:
        return 0


def _entries():
    try:
        with _open_log() as log:
            log.seek(max(0, log.seek(0, io.SEEK_END) - _READ))
            lines = log.read(_READ).splitlines()
    except OSError:
        return []  # missing, or not a file
    found = []
    for line in lines:
        try:
            entry = json.loads(line)
        except (ValueError, RecursionError):
            continue
        if _is_entry(entry):
            found.append(entry)
    return found[-_SHOWN:]


def _wait(condition, patience):
    deadline = time.monotonic() + patience
    while not condition() and time.monotonic() < deadline:
        time.sleep(0.01)


def status():
    """Returns whether it runs, its processes, and the last entries of its log, the oldest entry first."""
    found = _processes()
    return {"running": bool(found), "processes": [{"pid": pid, "arguments": words} for pid, words in found.items()],
            "log": _entries()}


def start(arguments):
    """Starts one more, as the control program does: its output is discarded. Returns the new status."""
    if not isinstance(arguments, list) or not all(isinstance(word, str) for word in arguments):
        raise InvalidRequest("arguments: must be a list of texts")
    size = _log_size()
    child = subprocess.Popen([_PROGRAM, *arguments], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                             stderr=subprocess.DEVNULL, start_new_session=True)
    threading.Thread(target=child.wait, daemon=True).start()
    # No new entry within 5 seconds is no failure: the program runs even when it cannot write its log.
    _wait(lambda: child.poll() is not None or _log_size() > size, 5)
    if child.poll() is not None:
        raise StreamError(f"{_NAME} ended with status {child.returncode} while starting")
    return status()


def kill_all():
    for pid in _processes():
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass


def stop():
    """Ends all that run, first by SIGINT, as the control program does. Returns the new status."""
    running = set(_processes())
    for number in (signal.SIGINT, signal.SIGKILL):
        for pid in running:
            try:
                os.kill(pid, number)
            except ProcessLookupError:
                pass
        _wait(lambda: not running & set(_processes()), 2)
        running &= set(_processes())
    if running:
        raise StreamError(f"{_NAME} does not end: {', '.join(map(str, sorted(running)))}")
    return status()
