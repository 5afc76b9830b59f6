"""The camera's folder on the host: ${TMPDIR:-/tmp}/zvcam-<uid>/<port>/.

In it are run/ (sockets), fuse_d/ (storage) and stage/ (copies of files that the camera's user could not read). Whoever
looks for the camera finds it by the record that find.py leaves.

The life line is a pipe. The folder belongs to the camera until the last process that holds the pipe's write end is
gone. Then a janitor removes the folder. The janitor is a process of its own: it survives Ctrl-C and the death of the
launcher.
"""

import contextlib
import fcntl
import os
import signal
import subprocess
import tempfile
import time

from . import find, sandbox


# Commands in the camera may have closed folders to their own user.
_REMOVE = 'rm -rf -- "$1" 2>/dev/null || { chmod -R u+rwx -- "$1"; rm -rf -- "$1"; } 2>/dev/null'


class FolderError(Exception):
    """The camera cannot have the folder."""


def _make_private(path):
    try:
        os.mkdir(path, 0o700)
    except FileExistsError:
        if not find.is_private(path):
            raise FolderError(f"{path} exists and is not a private folder of this user") from None


def _own_base():
    """find.base(), or where another user has taken that, a folder of another name: TMPDIR is everybody's."""
    path = find.base()
    if not os.path.lexists(path) or find.is_private(path):
        return path
    return tempfile.mkdtemp(prefix=f"{os.path.basename(path)}-", dir=os.path.dirname(path))


def _try_claim(path):
    """Returns the descriptor that locks the new folder, or None while somebody else has the folder."""
    _make_private(os.path.dirname(path))
    try:
        os.mkdir(path, 0o700)
        fresh = True
    except FileExistsError:
        fresh = False
    except FileNotFoundError:
        return None  # a janitor has just removed the base folder
    try:
        lock = os.open(path, os.O_RDONLY | os.O_DIRECTORY | os.O_CLOEXEC)
    except FileNotFoundError:
        return None
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        if not fresh:
            # Nobody holds the lock: a camera left the folder behind when its janitor was killed too.
            subprocess.run(["/bin/sh", "-c", _REMOVE, "zvcam-janitor", path], check=False)
            raise BlockingIOError
    except BlockingIOError:
        os.close(lock)
        return None
    return lock


@contextlib.contextmanager
def _undisturbed():
    """Blocks the signals that end the launcher: until the janitor runs, nobody would remove the new folder."""
    before = signal.pthread_sigmask(signal.SIG_BLOCK, (signal.SIGINT, signal.SIGTERM, signal.SIGHUP))
    try:
        yield
    finally:
        signal.pthread_sigmask(signal.SIG_SETMASK, before)


class CameraFolder:
    """A claimed folder. life_line: the descriptor that every process that uses the folder has to inherit."""

    def __init__(self, port, patience=5.0):
        self._port = port
        self.path = os.path.join(_own_base(), str(port))
        self.run = os.path.join(self.path, "run")
        self.fuse_d = os.path.join(self.path, "fuse_d")
        self.stage = os.path.join(self.path, "stage")
        deadline = time.monotonic() + patience
        while not self._make():
            if time.monotonic() > deadline:
                raise FolderError(f"{self.path} is in use by another camera")
            time.sleep(0.02)

    def _make(self):
        """Returns False while somebody else has the folder."""
        with _undisturbed():
            lock = _try_claim(self.path)
            if lock is not None:
                self._furnish(lock)
        return lock is not None

    def _furnish(self, lock):
        for folder in (self.run, self.fuse_d, self.stage):
            os.mkdir(folder, 0o700)
            sandbox.give(folder)
        end, self.life_line = os.pipe()
        os.set_inheritable(self.life_line, False)
        # The janitor inherits the lock, so nobody can claim the folder before it is removed. It also inherits the
        # blocked signals, so it does its work even when everything else is told to end.
        script = f'cat >/dev/null; rm -f -- "$3"; {_REMOVE}; rmdir -- "$2" "${{3%/*}}" 2>/dev/null; :'
        record = find.leave_record(self._port, self.run) or "/nonexistent/record"
        self._janitor = subprocess.Popen(
            ["/bin/sh", "-c", script, "zvcam-janitor", self.path, os.path.dirname(self.path), record],
            stdin=end, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, pass_fds=(lock,),
            start_new_session=True, cwd="/")
        os.close(end)
        os.close(lock)

    def release(self):
        """Lets go of the folder and waits until it is removed. By then, all that inherited the life line have ended."""
        if self.life_line >= 0:
            os.close(self.life_line)
            self.life_line = -1
        self._janitor.wait()
