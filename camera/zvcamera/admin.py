"""Client of the admin sockets of the camera's programs: one JSON object a line, over a Unix stream socket."""

import errno
import json
import os
import select
import socket
import stat

_LONGEST = 256 << 20  # bytes of an answer; a camera's whole log is less


class AdminError(Exception):
    """The program refuses: it could not do what it was asked."""


class InvalidRequest(AdminError):
    """What was asked is wrong in itself: an unknown name or key, a value of another type or outside its range."""


class Unreachable(AdminError):
    """There is no such program, or it does not answer."""


def _connected(descriptor, timeout):
    """A connection to the socket that an O_PATH descriptor stands for."""
    if not stat.S_ISSOCK(os.fstat(descriptor).st_mode):
        raise ConnectionRefusedError(errno.ECONNREFUSED, os.strerror(errno.ECONNREFUSED))
    connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    connection.settimeout(timeout)
    try:
        connection.connect(f"/proc/self/fd/{descriptor}")
    except BaseException:
        connection.close()
        raise
    return connection


def connect(path, timeout):
    """Connects to the socket at path, however long the path is (the kernel takes 107 bytes). A symbolic link is no
    socket: the camera's programs may put one there, that leads to another service of the machine."""
    descriptor = os.open(path, os.O_PATH | os.O_NOFOLLOW)
    try:
        return _connected(descriptor, timeout)
    finally:
        os.close(descriptor)


def _result(path, line):
    """The result in an answer line; raises what the answer tells otherwise."""
    try:
        answer = json.loads(line)
    except (ValueError, RecursionError) as error:
        raise Unreachable(f"{os.path.basename(path)}: what it says is no answer") from error
    if not isinstance(answer, dict):
        raise Unreachable(f"{os.path.basename(path)}: what it says is no answer")
    if answer.get("ok"):
        return answer.get("result")
    kind = InvalidRequest if answer.get("kind") == "invalid" else AdminError
    raise kind(answer.get("error", "no reason given"))


def ask(path, op, /, timeout=30.0, **fields):
    """Sends {"op": op, ...fields} and returns the result of the answer."""
    request = json.dumps({"op": op, **fields}).encode() + b"\n"
    try:
        with connect(path, timeout) as connection:
            connection.sendall(request)
            with connection.makefile("rb") as answers:
                line = answers.readline(_LONGEST)
    except OSError as error:
        raise Unreachable(f"{os.path.basename(path)}: {error}") from error
    return _result(path, line)


class Subscription:
    """A connection over which a program publishes events. Ends with close(); also a context manager.

    kept: what the answer to the subscribing operation holds, for example the records so far.
    """

    def __init__(self, path, op, /, timeout=30.0, **fields):
        self._path = path
        self._input = b""
        try:
            self._connection = connect(path, timeout)
        except OSError as error:
            raise Unreachable(f"{os.path.basename(path)}: {error}") from error
        try:
            self.kept = self._begin(op, fields)
        except BaseException:
            self.close()
            raise
        self._connection.setblocking(False)

    def _begin(self, op, fields):
        """What the answer holds; events may have come behind it already."""
        try:
            self._connection.sendall(json.dumps({"op": op, **fields}).encode() + b"\n")
            while b"\n" not in self._input:
                self._receive()
                if len(self._input) > _LONGEST:
                    raise Unreachable(f"{os.path.basename(self._path)}: what it says is no answer")
        except OSError as error:
            raise Unreachable(f"{os.path.basename(self._path)}: {error}") from error
        line, _, self._input = self._input.partition(b"\n")
        return _result(self._path, line)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def fileno(self):
        return self._connection.fileno()

    def close(self):
        self._connection.close()

    def _receive(self):
        more = self._connection.recv(1 << 16)
        if not more:
            raise Unreachable(f"{os.path.basename(self._path)}: the program has ended")
        self._input += more

    def wait(self):
        """Waits until events have arrived, or the program has ended. select() alone misses those that came at once."""
        if b"\n" not in self._input:
            select.select([self._connection], [], [])

    def events(self):
        """The data of the events that have arrived; does not wait. Raises Unreachable when the program has ended and
        all events have been returned."""
        try:
            self._receive()
        except BlockingIOError:
            pass
        except (OSError, Unreachable) as error:
            if b"\n" not in self._input:
                raise Unreachable(f"{os.path.basename(self._path)}: the program has ended") from error
        *lines, self._input = self._input.split(b"\n")
        return [event["data"] for event in map(json.loads, lines) if "event" in event]
