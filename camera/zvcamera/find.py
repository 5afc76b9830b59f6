"""Finds the cameras of this user that run.

Each camera leaves a record, whatever TMPDIR it was started with: a file of JSON in /tmp/zvcam-<uid>.running or, where
another user has taken that, in ~/.cache/zvcam-running; nobody but the user can write there. Whoever looks takes a
record for true only when somebody serves the camera's admin sockets: a record that was left behind is none.
"""

import contextlib
import dataclasses
import json
import os
import stat

from . import admin
from .admin import Unreachable

PROGRAMS = ("supervisor", "zvControlD", "zvNetD", "zvBleD")
_MOST = 4096  # bytes of a record
_DIGITS = 5


@dataclasses.dataclass(frozen=True)
class Found:
    """A camera that runs. pid, since (seconds since the epoch): of its launcher, None when it has left no record."""

    port: int
    run_dir: str
    pid: int | None = None
    since: float | None = None

    @property
    def address(self):
        return f"http://127.0.0.1:{self.port}/control"


def base():
    """The folder of the cameras that were started with this TMPDIR, each in one named after its port."""
    return os.path.join(os.environ.get("TMPDIR") or "/tmp", f"zvcam-{os.getuid()}")


def _record_folders():
    """The folders for records. The first is the same whatever the environment; another user may have taken it."""
    return (f"/tmp/zvcam-{os.getuid()}.running", os.path.expanduser("~/.cache/zvcam-running"))


def is_private(path):
    """Whether path is a folder that nobody but this user can write."""
    with contextlib.suppress(OSError):
        found = os.lstat(path)
        return stat.S_ISDIR(found.st_mode) and found.st_uid == os.getuid() and not found.st_mode & 0o022
    return False


def _write_record(folder, port, run_dir):
    # A name of its own: nothing that still ends the last camera of this port can remove it.
    path = os.path.join(folder, f"{port}.{os.urandom(8).hex()}")
    with open(path, "x", encoding="utf-8") as file:
        json.dump({"port": port, "run_dir": os.path.abspath(run_dir), "pid": os.getpid()}, file)
    return path


def leave_record(port, run_dir):
    """Leaves a record of a camera that this process starts. Returns its path, or None when none can be left."""
    for folder in _record_folders():
        with contextlib.suppress(OSError):
            os.makedirs(folder, mode=0o700, exist_ok=True)
            if is_private(folder):
                return _write_record(folder, port, run_dir)
    return None


def port_of(text):
    """The port that a text names, or None."""
    right = text.isascii() and text.isdecimal() and len(text) <= _DIGITS and int(text) <= 65535
    return int(text) if right else None


def _is_served(path):
    try:
        connection = admin.connect(path, 0)
    except BlockingIOError:
        return True  # somebody is there, with more connections waiting than there is room for
    except OSError:
        return False
    connection.close()
    return True


def is_running(run_dir):
    """Whether somebody serves one of the admin sockets of a run folder."""
    return any(_is_served(os.path.join(run_dir, f"{name}.admin")) for name in PROGRAMS)


def _read_record(path):
    """The camera that a record tells of, or None."""
    with contextlib.suppress(OSError, ValueError, RecursionError):
        descriptor = os.open(path, os.O_RDONLY | os.O_NOFOLLOW | os.O_NONBLOCK)
        with open(descriptor, "rb") as file:
            told = json.loads(file.read(_MOST).decode())
            since = os.fstat(file.fileno()).st_mtime
        if isinstance(told, dict) and type(told.get("port")) is int and isinstance(told.get("run_dir"), str) \
                and type(told.get("pid")) is int:
            return Found(told["port"], told["run_dir"], told["pid"], since)
    return None


def _listed(folder):
    with contextlib.suppress(OSError):
        return sorted(os.listdir(folder))
    return []


def _recorded():
    for folder in filter(is_private, _record_folders()):
        for name in _listed(folder):
            found = _read_record(os.path.join(folder, name))
            if found:
                yield found


def _below(folder):
    for name in _listed(folder) if is_private(folder) else ():
        port = port_of(name)
        run_dir = os.path.join(folder, name, "run")
        if port is not None and os.path.isdir(run_dir):
            yield Found(port, run_dir)


def _by_port(candidates):
    cameras = {}
    for found in candidates:
        if found.port not in cameras and is_running(found.run_dir):
            cameras[found.port] = found
    return dict(sorted(cameras.items()))


def running():
    """The cameras that run, by port."""
    return _by_port((*_recorded(), *_below(base())))


def _on(port):
    cameras = running()
    if port not in cameras:
        others = f"; running: {', '.join(map(str, cameras))}" if cameras else ""
        raise Unreachable(f"no camera runs on port {port}{others}")
    return cameras[port]


def choose(port=None):
    """The camera on a port; without one, the only camera that was started with this TMPDIR, or else the only one.
    Raises Unreachable when there is none, or more than one."""
    if port is not None:
        return _on(port)
    cameras = _by_port(_below(base())) or running()
    if not cameras:
        raise Unreachable(f"no camera is running (looked in {base()})")
    if len(cameras) > 1:
        raise Unreachable(f"more than one camera is running, choose with --port: {', '.join(map(str, cameras))}")
    return next(iter(cameras.values()))
