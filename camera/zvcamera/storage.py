"""The folder that a user gives the camera as its storage.

A client of `execute` may write whatever it likes there. So nobody but the camera and its owner may reach it. And when
root starts the camera, the folder and root's files in it are given to the camera's user: so it must be the folder that
root has meant, whatever other users, or another camera with the same storage, do to it meanwhile.
"""

import collections
import contextlib
import errno
import os
import stat

from . import sandbox

_MOST_LINKS = 40
# The machine's own: these folders, and those with all that is below.
_SYSTEM = ("/", "/home", "/media", "/mnt", "/opt", "/root", "/run", "/srv", "/tmp", "/var", "/var/cache", "/var/lib",
           "/var/log", "/var/spool", "/var/tmp")
_SYSTEM_BELOW = ("/bin", "/boot", "/dev", "/etc", "/lib", "/lib32", "/lib64", "/libx32", "/proc", "/sbin", "/sys", "/usr")


def _refuse(reason):
    raise OSError(errno.EPERM, reason)


def _target(link, found):
    """Where a symbolic link leads: one of another user may lead anywhere."""
    if found.st_uid not in (0, os.getuid()):
        _refuse(f"{link} is a symbolic link of another user")
    return os.readlink(link)


def make(path):
    """Makes the folder, and those above it, when it is not there. Returns its path without symbolic links."""
    real = "/"
    left = collections.deque(os.path.abspath(path).split("/"))
    links = 0
    while left:
        name = left.popleft()
        step = os.path.normpath(os.path.join(real, name))  # "real" holds no links, so ".." means what it says
        try:
            found = os.lstat(step)
        except FileNotFoundError:
            os.mkdir(step, 0o777 if left else 0o700)
            found = os.lstat(step)
        if not stat.S_ISLNK(found.st_mode):
            real = step
            continue
        links += 1
        if links > _MOST_LINKS:
            raise OSError(errno.ELOOP, os.strerror(errno.ELOOP))
        target = _target(step, found)
        real = "/" if os.path.isabs(target) else real
        left.extendleft(reversed(target.split("/")))
    return real


def _is_the_systems(path):
    return path in _SYSTEM or any(f"{path}/".startswith(f"{folder}/") for folder in _SYSTEM_BELOW)


def _refuse_shared(path, found):
    """Raises OSError for a folder that is more than a storage: closing it would shut others out of their own files."""
    shared = found.st_mode & (stat.S_ISVTX | stat.S_IWOTH) or path == os.path.expanduser("~") or _is_the_systems(path)
    if shared or found.st_uid not in (os.getuid(), sandbox.user()):
        _refuse("it is not a private folder of this user; name a folder of its own for the camera")


def _give(name, folder):
    """Gives a file or folder to the camera's user. folder: the descriptor of the one that it is in.

    A file with a second name may be one of the machine's, to which somebody has given a name here.
    """
    with contextlib.suppress(FileNotFoundError):
        found = os.stat(name, dir_fd=folder, follow_symlinks=False)
        if found.st_uid == os.getuid() and (stat.S_ISDIR(found.st_mode) or found.st_nlink == 1):
            sandbox.give(name, folder)


def _give_all(folder):
    """Goes down by descriptors alone: a folder that becomes a link meanwhile leads nowhere."""
    try:
        for _, folders, files, descriptor in os.fwalk(".", dir_fd=folder):
            for name in folders + files:
                _give(name, descriptor)
    except RecursionError:
        raise OSError(errno.ELOOP, "its folders are nested too deep") from None


def make_private(path):
    """Closes the folder (a path without symbolic links) to all other users (mode 0700) and gives it, and root's files in
    it, to the camera's user."""
    folder = os.open(path, os.O_RDONLY | os.O_DIRECTORY | os.O_NOFOLLOW | os.O_CLOEXEC)
    try:
        if os.readlink(f"/proc/self/fd/{folder}") != path:
            _refuse("something on the way to it has changed meanwhile")
        found = os.fstat(folder)
        _refuse_shared(path, found)
        os.fchmod(folder, 0o700)
        if found.st_uid == os.getuid():
            sandbox.give(".", folder)
        _give_all(folder)
    finally:
        os.close(folder)
