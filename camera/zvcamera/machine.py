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
    ("user.max_net_namespaces", "0", "10000"),
)
_CONTAINER_MARKS = ("/.dockerenv", "/run/.containerenv")
_ROOT = "--cap-add SYS_ADMIN --cap-add NET_ADMIN "
_DOCKER = "--security-opt seccomp=unconfined --security-opt apparmor=unconfined"
_PODMAN = "--security-opt seccomp=unconfined --security-opt unmask=ALL"


def container_advice(kind):
    """What a container has to be started with for the "root" or a "user" in it.

    Root makes its namespaces by its rights, an ordinary user in a user namespace. There, a /proc of its own is only to
    be had where nothing of the container's is hidden.
    """
    if kind == "root":
        return f"    docker run {_ROOT}{_DOCKER}\n    podman run {_ROOT}{_PODMAN}"
    return f"    docker run {_DOCKER} --security-opt systempaths=unconfined\n    podman run {_PODMAN}"


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
        kind = "user" if os.getuid() else "root"
        told.append(f"in a container, {kind} needs these options at its start:\n{container_advice(kind)}")
    return told


def check():
    """Raises CameraError, with what to do, when a camera's namespaces cannot be made here."""
    try:
        done = subprocess.run(["bwrap", *namespace.probe()], stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              errors="backslashreplace", timeout=30, check=False)
    except FileNotFoundError as error:
        raise CameraError("bwrap is missing: scripts/setup installs it") from error
    except (OSError, subprocess.TimeoutExpired) as error:
        raise CameraError(f"bwrap does not run: {error}") from error
    if done.returncode != 0:
        said = done.stderr.strip() or f"bwrap: status {done.returncode}"
        raise CameraError("\n".join([f"the camera's namespaces cannot be made: {said}", *_advice()]))
