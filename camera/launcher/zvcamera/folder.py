"""The camera's folder on the host: ${TMPDIR:-/tmp}/zvcam-<uid>/<port>/, with run/ (sockets) and fuse_d/ (storage).

It belongs to the camera from its making until the last process that holds its write end of the life line is gone. Then
a janitor, a process of its own that survives Ctrl-C and the death of the launcher, removes it.
"""

import contextlib
import fcntl
import os
import shutil
import signal
import stat
import subprocess
import time


class FolderError(Exception):
    """The folder cannot be had."""


def base():
    return os.path.join(os.environ.get("TMPDIR") or "/tmp", f"zvcam-{os.getuid()}")


def _make_private(path):
    try:
        os.mkdir(path, 0o700)
    except FileExistsError:
        found = os.lstat(path)
        if not stat.S_ISDIR(found.st_mode) or found.st_uid != os.getuid() or found.st_mode & 0o022:
            raise FolderError(f"{path} exists and is not a private folder of this user") from None


def _try_claim(path):
    """The descriptor that locks the new folder; None when somebody else has it (yet)."""
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
            # Nobody holds the lock: left behind by a camera whose janitor was killed too.
            shutil.rmtree(path)
            raise BlockingIOError
    except BlockingIOError:
        os.close(lock)
        return None
    return lock


@contextlib.contextmanager
def _undisturbed():
    """Puts off the signals that end the launcher: between a folder's making and its janitor's start nobody would remove it."""
    before = signal.pthread_sigmask(signal.SIG_BLOCK, (signal.SIGINT, signal.SIGTERM, signal.SIGHUP))
    try:
        yield
    finally:
        signal.pthread_sigmask(signal.SIG_SETMASK, before)


class CameraFolder:
    """A claimed folder. life_line: descriptor to be inherited by all that use the folder."""

    def __init__(self, port, patience=5.0):
        self.path = os.path.join(base(), str(port))
        self.run = os.path.join(self.path, "run")
        self.fuse_d = os.path.join(self.path, "fuse_d")
        deadline = time.monotonic() + patience
        while not self._make():
            if time.monotonic() > deadline:
                raise FolderError(f"{self.path} is in use by another camera")
            time.sleep(0.02)

    def _make(self):
        """False when somebody else has it (yet)."""
        with _undisturbed():
            lock = _try_claim(self.path)
            if lock is not None:
                self._furnish(lock)
        return lock is not None

    def _furnish(self, lock):
        os.mkdir(self.run, 0o700)
        os.mkdir(self.fuse_d, 0o755)
        end, self.life_line = os.pipe()
        os.set_inheritable(self.life_line, False)
        # The janitor inherits the lock: nobody can claim the folder before it is removed. It keeps the signals blocked, and
        # so does its work whatever else is told to end.
        script = 'cat >/dev/null; rm -rf -- "$1"; rmdir -- "$2" 2>/dev/null; :'
        self._janitor = subprocess.Popen(
            ["/bin/sh", "-c", script, "zvcam-janitor", self.path, os.path.dirname(self.path)],
            stdin=end, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, pass_fds=(lock,),
            start_new_session=True, cwd="/")
        os.close(end)
        os.close(lock)

    def release(self):
        """Lets go of the folder and waits until it is gone; all who inherited the life line have ended by then."""
        if self.life_line >= 0:
            os.close(self.life_line)
            self.life_line = -1
        self._janitor.wait()
