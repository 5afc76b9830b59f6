"""Client of the admin sockets: one JSON object a line, over a Unix stream socket."""

import json
import os
import socket


class AdminError(Exception):
    """The daemon does not answer, or answers with an error."""


def connect(path, timeout):
    """Connects to the socket at path, however long the path is (the kernel takes 107 bytes)."""
    folder = os.open(os.path.dirname(path) or ".", os.O_PATH | os.O_DIRECTORY)
    try:
        connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        connection.settimeout(timeout)
        try:
            connection.connect(f"/proc/self/fd/{folder}/{os.path.basename(path)}")
        except BaseException:
            connection.close()
            raise
        return connection
    finally:
        os.close(folder)


def ask(path, op, timeout=30.0, **fields):
    """Sends {"op": op, ...fields} and returns the result of the answer."""
    request = json.dumps({"op": op, **fields}).encode() + b"\n"
    try:
        with connect(path, timeout) as connection:
            connection.sendall(request)
            with connection.makefile("rb") as answers:
                line = answers.readline()
    except OSError as error:
        raise AdminError(f"{os.path.basename(path)}: {error}") from error
    try:
        answer = json.loads(line)
    except ValueError as error:
        raise AdminError(f"{os.path.basename(path)}: not an answer: {line!r}") from error
    if not answer.get("ok"):
        raise AdminError(answer.get("error", "no reason given"))
    return answer.get("result")
