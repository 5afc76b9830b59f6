"""Whether this machine lets the user make the camera's namespaces, and what to do when it does not."""

import os
import subprocess

from . import namespace
from .camera import CameraError

# Setting, the value that forbids namespaces, a value that allows them.
_SETTINGS = (
    ("kernel.unprivileged_userns_clone", "0", "1"),
    ("kernel.apparmor_restrict_unprivileged_userns", "1", "0"),
    ("user.max_user_namespaces", "0", "10000"),
    ("user.max_mnt_namespaces", "0", "10000"),
    ("user.max_pid_namespaces", "0", "10000"),
    ("user.max_ipc_namespaces", "0", "10000"),
)
_CONTAINER_MARKS = ("/.dockerenv", "/run/.containerenv")
_CONTAINER_ADVICE = (
    "in a container, it takes these options of its start:\n"
    "    docker run --security-opt seccomp=unconfined --security-opt apparmor=unconfined "
    "--security-opt systempaths=unconfined\n"
    "    podman run --security-opt seccomp=unconfined --security-opt unmask=ALL")


def _value(setting):
    try:
        with open(f"/proc/sys/{setting.replace('.', '/')}", encoding="ascii") as file:
            return file.read().strip()
    except OSError:
        return None


def _advice():
    """What may help, a text for each way."""
    told = [f"this setting of the machine forbids them; as root: sysctl -w {name}={right}"
            for name, wrong, right in _SETTINGS if _value(name) == wrong]
    if not told or any(map(os.path.exists, _CONTAINER_MARKS)):
        told.append(_CONTAINER_ADVICE)
    return told


def check():
    """Raises CameraError, with what to do, when a camera's namespaces cannot be made here."""
    try:
        done = subprocess.run(["bwrap", *namespace.probe()], stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              errors="backslashreplace", timeout=30, check=False)
    except FileNotFoundError as error:
        raise CameraError("bwrap is missing; the package bubblewrap has it") from error
    except (OSError, subprocess.TimeoutExpired) as error:
        raise CameraError(f"bwrap does not run: {error}") from error
    if done.returncode != 0:
        said = done.stderr.strip() or f"bwrap: status {done.returncode}"
        raise CameraError("\n".join([f"the camera's namespaces cannot be made: {said}", *_advice()]))
