"""A file that tells others that the camera answers: it holds the URL, and is there exactly as long."""

import contextlib
import os

from .camera import CameraError


def _told(path, error):
    return CameraError(f"{path} cannot be the ready file: {error.strerror}")


class ReadyFile:
    """Raises CameraError at once when the file cannot be written. One of an earlier run is removed.

    As a context manager, it removes the file at the end, unless another camera has written it meanwhile. Without a path
    it does nothing.
    """

    def __init__(self, path):
        self._text = None
        self._path = path and os.path.abspath(path)
        if path:
            self._try()

    def _try(self):
        self._fresh = f"{self._path}.{os.getpid()}"
        try:
            with open(self._fresh, "x", encoding="utf-8"):
                pass
            os.unlink(self._fresh)
            with contextlib.suppress(FileNotFoundError):
                os.unlink(self._path)
        except OSError as error:
            raise _told(self._path, error) from error

    def __enter__(self):
        return self

    def write(self, url):
        """In one step: who sees the file sees all of it."""
        if not self._path:
            return
        self._text = url + "\n"
        try:
            with open(self._fresh, "x", encoding="utf-8") as file:
                file.write(self._text)
            os.replace(self._fresh, self._path)
        except OSError as error:
            raise _told(self._path, error) from error

    def __exit__(self, *_):
        if self._text is None:
            return
        with contextlib.suppress(OSError):
            os.unlink(self._fresh)
        with contextlib.suppress(OSError):
            with open(self._path, encoding="utf-8") as file:
                is_ours = file.read() == self._text
            if is_ours:
                os.unlink(self._path)
