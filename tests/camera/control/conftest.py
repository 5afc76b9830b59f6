"""Operations of the tests, and the server of control over HTTP around them, without a camera."""

import asyncio
import contextlib
import http.client
import json
import os
import queue
import socket
import threading

import pytest

from zvcamera import operations
from zvcamera.control import server
from zvcamera.operations.operation import Operation, Parameter


class Calls:
    """The operations write down here how they were called, and do what they are told."""

    def __init__(self):
        self.made = []
        self.result = {"done": True}
        self.events = queue.Queue()

    def act(self, _link, **keywords):
        self.made.append(keywords)
        if isinstance(self.result, Exception):
            raise self.result
        return self.result() if callable(self.result) else self.result

    def follow(self, _link, **keywords):
        self.made.append(keywords)
        while (event := self.events.get()) is not None:
            if isinstance(event, Exception):
                raise event
            yield event


@pytest.fixture
def calls(monkeypatch):
    made = Calls()
    kinds = (Parameter("count", "number", default=0, low=0, high=255), Parameter("share", "fraction", default=1),
             Parameter("whole", "flag", default=False), Parameter("words", "words", default=()),
             Parameter("keys", "pairs", default=None), Parameter("text", default=""))
    described = (
        Operation(("kinds",), "GET", "/kinds", "Take all kinds", made.act, kinds),
        Operation(("kinds", "set"), "POST", "/kinds", "Take all kinds", made.act, kinds),
        Operation(("item",), "GET", "/item/{name}", "Show an item", made.act, (Parameter("name", help="which one"),)),
        Operation(("item", "set"), "PUT", "/item/{name}", "Set an item", made.act,
                  (Parameter("name"), Parameter("value", choices=("on", "off")))),
        Operation(("item", "all"), "GET", "/item/all", "Show all", made.act),
        Operation(("item", "remove"), "DELETE", "/item/{name}", "Remove an item", made.act, (Parameter("name"),)),
        Operation(("kinds", "follow"), "GET", "/kinds", "Follow", made.follow,
                  (Parameter("count", "number", default=0),), follows=True))
    monkeypatch.setattr(operations, "all", lambda: described)
    return made


class Served:
    """A server of control in a thread, and a way to ask it."""

    def __init__(self, folder, names=()):
        self.path = os.path.join(folder, "control.http")
        self._listener = socket.socket(socket.AF_UNIX)
        self._listener.bind(self.path)
        self._listener.listen()
        self._loop = asyncio.new_event_loop()
        self._ended = asyncio.Event()
        self._thread = threading.Thread(target=self._loop.run_until_complete, args=(
            server.serve(str(folder), self._listener, names, self._ended),), daemon=True)
        self._thread.start()

    def connection(self):
        connection = http.client.HTTPConnection("localhost", timeout=20)
        connection.sock = socket.socket(socket.AF_UNIX)
        connection.sock.settimeout(20)
        connection.sock.connect(self.path)
        return connection

    def ask(self, method, path, body=None, **fields):
        """(status, document, header fields) of an answer. body: bytes as they are, or what becomes JSON."""
        if body is not None:
            fields = {"Content-Type": "application/json", **fields}
            body = body if isinstance(body, bytes) else json.dumps(body).encode()
        with contextlib.closing(self.connection()) as connection:
            connection.request(method, path, body=body,
                               headers={name.replace("_", "-"): value for name, value in fields.items()})
            answer = connection.getresponse()
            text = answer.read()
            return answer.status, json.loads(text) if text else None, answer.headers

    def end(self):
        """Ends it, unless that has been done."""
        if not self._thread.is_alive():
            return
        self._loop.call_soon_threadsafe(self._ended.set)
        self._thread.join(10)
        assert not self._thread.is_alive()


@pytest.fixture
def serve(calls, tmp_path):
    """A function that starts a server, which is known by the given names, too."""
    running = []

    def start(*names):
        running.append(Served(tmp_path, names))
        return running[-1]

    yield start
    calls.events.put(None)
    for each in running:
        each.end()


@pytest.fixture
def served(serve):
    return serve()
