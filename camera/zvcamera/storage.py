"""The folder that a user gives the camera as its storage.

A client of `execute` may write whatever it likes there. So nobody but the camera and its owner may reach it.
"""

import errno
import os
import stat

from . import sandbox


def _refuse_shared(path, found):
    """Raises OSError for a folder that is more than a storage: closing it would shut others out of their own files."""
    shared = found.st_mode & (stat.S_ISVTX | stat.S_IWOTH) or path in ("/", os.path.expanduser("~"))
    if shared or found.st_uid not in (os.getuid(), sandbox.user()):
        raise OSError(errno.EPERM, "it is not a private folder of this user; name a folder of its own for the camera")


def _entries(path):
    for folder, folders, files in os.walk(path):
        for name in folders + files:
            yield os.path.join(folder, name)


def make_private(path):
    """Closes the folder to all other users (mode 0700) and gives it, and root's files in it, to the camera's user."""
    path = os.path.realpath(path)
    _refuse_shared(path, os.lstat(path))
    os.chmod(path, 0o700)
    for entry in (path, *_entries(path)):
        if os.lstat(entry).st_uid == os.getuid():
            sandbox.give(entry)
