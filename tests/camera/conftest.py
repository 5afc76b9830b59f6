"""Fixtures of the tests of Python modules that need no camera."""

import json
import os
import socketserver
import sys
import tempfile
import threading

import pytest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "camera"))


def pytest_configure(config):
    config.addinivalue_line("markers", "root: what root alone can try; an ordinary user's run leaves it out")


def pytest_collection_modifyitems(config, items):
    left_out = [item for item in items if os.getuid() != 0 and item.get_closest_marker("root")]
    if left_out:
        config.hook.pytest_deselected(items=left_out)
        items[:] = [item for item in items if item not in left_out]


class Refusal(Exception):
    """Makes a fake program refuse: its answer tells the text and, if given, the kind."""

    def __init__(self, text, kind=None):
        super().__init__(text)
        self.kind = kind


def _answer(operations, request, asked):
    asked.append(request)
    given = dict(request)
    op = given.pop("op")
    try:
        if op not in operations:
            raise Refusal(f"unknown op {op}", "invalid")
        act = operations[op]
        return {"ok": True, "result": act(**given) if callable(act) else act}
    except Refusal as error:
        return {"ok": False, "error": str(error), **({"kind": error.kind} if error.kind else {})}


class FakePrograms:
    """Programs of a camera that are none. run_dir: where their sockets are; asked: program -> requests so far."""

    Refusal = Refusal

    def __init__(self, run_dir):
        self.run_dir = run_dir
        self.asked = {}
        self._servers = []

    def serve(self, program, **operations):
        """Serves a program. Each operation is what it answers, or a function that makes that from the request.
        `events`, a list, follow the answer to an operation whose name ends with _follow."""
        asked = self.asked.setdefault(program, [])
        events = operations.pop("events", [])

        class Handler(socketserver.StreamRequestHandler):
            def handle(self):
                for line in self.rfile:
                    request = json.loads(line)
                    self.wfile.write(json.dumps(_answer(operations, request, asked)).encode() + b"\n")
                    if request["op"].endswith("_follow"):
                        for event in events:
                            self.wfile.write(json.dumps({"event": request["op"], "data": event}).encode() + b"\n")

        class Server(socketserver.ThreadingUnixStreamServer):
            daemon_threads = True

        server = Server(os.path.join(self.run_dir, f"{program}.admin"), Handler)
        threading.Thread(target=server.serve_forever, args=(0.01,), daemon=True).start()
        self._servers.append(server)

    def close(self):
        while self._servers:
            server = self._servers.pop()
            server.shutdown()
            server.server_close()


@pytest.fixture
def short_path():
    """A folder whose path is short enough for a socket's."""
    with tempfile.TemporaryDirectory(prefix="zv-", dir="/tmp") as folder:
        yield folder


@pytest.fixture
def programs(short_path):
    """Fake programs of a camera; programs.serve() adds one."""
    fake = FakePrograms(short_path)
    yield fake
    fake.close()


@pytest.fixture
def link(programs):
    from zvcamera.link import Link
    return Link(programs.run_dir)


@pytest.fixture(autouse=True)
def alone(short_path, monkeypatch):
    """No test finds cameras that run on this machine."""
    from zvcamera import find
    monkeypatch.setenv("TMPDIR", short_path)
    monkeypatch.delenv("ZVCAM_PORT", raising=False)
    folders = [os.path.join(short_path, name) for name in ("one", "two")]
    monkeypatch.setattr(find, "_record_folders", lambda: folders)
