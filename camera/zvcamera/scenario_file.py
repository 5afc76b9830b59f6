"""A scenario file before a camera takes it: what is wrong with it is told under the name that the user has given."""

import json
import os
import subprocess

from . import namespace
from .camera import SOURCE_DIR, CameraError

_MOST = 4 << 20
_READERS = ("zvControlD", "zvNetD", "zvBleD")
_SOURCES = ("base", "camera", "libzvCommon", "platform")
_REFUSED = 1  # exit status of a daemon's --check


def check_text(path):
    """Raises CameraError when the file is no JSON object."""
    try:
        with open(path, encoding="utf-8-sig") as text:
            document = json.loads(text.read(_MOST + 1))
    except FileNotFoundError as error:
        raise CameraError(f"{path} does not exist") from error
    except OSError as error:
        raise CameraError(f"{path} cannot be read: {error.strerror}") from error
    except (ValueError, RecursionError) as error:
        raise CameraError(f"{path} is no JSON document: {error}") from error
    if not isinstance(document, dict):
        raise CameraError(f"{path} is a JSON document, but no object")


def check_meaning(path, build_dir):
    """Raises CameraError when one of the daemons refuses the file. One that is not there, or does not run, does not."""
    for name in _READERS:
        try:
            done = subprocess.run([namespace.find(build_dir, name), "--check", path], stdin=subprocess.DEVNULL,
                                  capture_output=True, text=True, errors="backslashreplace", timeout=30, check=False)
        except (OSError, subprocess.TimeoutExpired):
            continue
        if done.returncode == _REFUSED and done.stderr.startswith(f"{path}: "):
            raise CameraError(done.stderr.splitlines()[0])


def _changes():
    """Times of the last changes of what the daemons are made of."""
    for room in _SOURCES:
        for folder, _, names in os.walk(os.path.join(SOURCE_DIR, room)):
            for name in names:
                if name.endswith((".cpp", ".h")):
                    yield os.stat(os.path.join(folder, name)).st_mtime


def is_built(build_dir):
    """Whether the folder's daemons are as new as their sources: then they know what a scenario may hold."""
    try:
        built = min(os.stat(namespace.find(build_dir, name)).st_mtime for name in _READERS)
    except OSError:
        return False
    return all(change <= built for change in _changes())
