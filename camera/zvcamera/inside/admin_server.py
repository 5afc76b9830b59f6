"""Serves an admin socket in the camera as the daemons serve theirs: one JSON object a line, in both directions.

{"op": NAME, ...} is answered with {"ok": true, "result": ...} or {"ok": false, "error": TEXT}; "kind": "invalid" stands
beside the error when the request is wrong in itself. A follower then gets {"event": NAME, "data": ...} lines too.
"""

import json
import queue
import socket
import socketserver
import sys
import threading
import traceback

from ..admin import AdminError, InvalidRequest

_LINE_LIMIT = 16 << 20
_CLIENT_LIMIT = 64
_WAITING = 20_000  # events that a follower may leave unread


def _refusal(error):
    answer = {"ok": False, "error": str(error)}
    return {**answer, "kind": "invalid"} if isinstance(error, InvalidRequest) else answer


class _Client:
    """A connection. What a follower is sent goes through a queue of its own, so that it holds nobody up."""

    def __init__(self, connection):
        self._connection = connection
        self._waiting = None
        self.follows = set()

    def send(self, line):
        if self._waiting is None:
            self._connection.sendall(line)
        else:
            self.queue(line)

    def queue(self, line):
        try:
            self._waiting.put_nowait(line)
        except queue.Full:
            self.drop()

    def follow(self, op):
        self.follows.add(op)
        if self._waiting is None:
            self._waiting = queue.Queue(_WAITING)
            threading.Thread(target=self._write, daemon=True).start()

    def drop(self):
        try:
            self._connection.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass  # it is gone already

    def end(self):
        if self._waiting is not None:
            self.drop()
            try:
                self._waiting.put_nowait(None)
            except queue.Full:
                pass  # then the thread is not waiting for a line

    def _write(self):
        try:
            while (line := self._waiting.get()) is not None:
                self._connection.sendall(line)
        except OSError:
            pass  # dropped, or gone


class AdminServer:
    """Operations are added by on() and on_follow(); start() serves them, each connection in a thread."""

    def __init__(self, path):
        self._path = path
        self._operations = {}
        self._clients = set()
        self._followed = set()  # what anybody has followed so far
        self._lock = threading.Lock()

    def on(self, op, act):
        """act(request): gets the request without its "op" and returns the result."""
        self._operations[op] = lambda request, _: act(request)

    def on_follow(self, op, act):
        """act(request, begin): has to call begin(result) once. What is published afterwards follows that answer."""
        def follow(request, client):
            def begin(result):
                with self._lock:
                    client.follow(op)
                    self._followed.add(op)
                    client.queue(_line({"ok": True, "result": result}))
            act(request, begin)
            return _ANSWERED
        self._operations[op] = follow

    def followed(self, op):
        """Whether anybody follows the operation."""
        with self._lock:
            return op in self._followed and any(op in client.follows for client in self._clients)

    def publish(self, op, data):
        with self._lock:
            if op not in self._followed:
                return
            followers = [client for client in self._clients if op in client.follows]
            if followers:
                line = _line({"event": op, "data": data})
                for client in followers:
                    client.queue(line)

    def answer(self, line, client):
        try:
            request = json.loads(line)
            if not isinstance(request, dict) or not isinstance(op := request.pop("op", None), str):
                raise InvalidRequest('a request is an object with the text "op"')
            if op not in self._operations:
                raise InvalidRequest(f"unknown op {op}")
            result = self._operations[op](request, client)
            return b"" if result is _ANSWERED else _line({"ok": True, "result": result})
        except AdminError as error:
            return _line(_refusal(error))
        except (ValueError, RecursionError) as error:
            return _line(_refusal(InvalidRequest(f"not a request: {error}")))
        except OSError as error:
            return _line(_refusal(AdminError(error)))
        except Exception:  # noqa: B902 - the client has to get an answer whatever went wrong
            traceback.print_exc(file=sys.stderr)
            return _line(_refusal(AdminError("the supervisor is at fault; its log tells more")))

    def serve(self, connection, lines):
        client = _Client(connection)
        with self._lock:
            if len(self._clients) >= _CLIENT_LIMIT:
                return
            self._clients.add(client)
        try:
            while line := lines.readline(_LINE_LIMIT + 1):
                if len(line) > _LINE_LIMIT:
                    client.send(_line(_refusal(InvalidRequest("request line too long"))))
                    return
                if answer := self.answer(line, client):
                    client.send(answer)
        except OSError:
            pass  # the client is gone
        finally:
            with self._lock:
                self._clients.discard(client)
            client.end()

    def start(self):
        serve = self.serve

        class Handler(socketserver.StreamRequestHandler):
            def handle(self):
                serve(self.connection, self.rfile)

        class Server(socketserver.ThreadingUnixStreamServer):
            daemon_threads = True
            request_queue_size = 64

        threading.Thread(target=Server(self._path, Handler).serve_forever, daemon=True).start()


_ANSWERED = object()


def _line(answer):
    return json.dumps(answer).encode() + b"\n"
