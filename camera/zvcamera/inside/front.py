"""Stands before the web server while there are rules for paths, and lets answers go wrong by them.

    python3 -m zvcamera.inside.front LISTENER CONTROL UPSTREAM SPACE SECRET

LISTENER, CONTROL: descriptors of the camera's listening socket and of the supervisor's socket. UPSTREAM: the web
server's inner socket. SPACE: the control space, such as /control. SECRET: the inner path below which gateways crash and
time out on demand.

Each connection carries one request. Over the control socket come JSON lines: {"op": "accept"}, "pause", "fault_add"
{"id", "rule"}, "fault_list", "fault_remove" {"id"}, "fault_clear", "reset" {"seed"}. Each is answered with a line
{"result": ...} or {"error": TEXT}. Two events go back: {"request": ...} for each request, and {"spent": true} when the
last rule has done its work. The program ends with the control socket.
"""

import asyncio
import json
import resource
import socket
import sys

from ..admin import AdminError
from .front_connection import Connection
from ..http_rules import Rules

_CONNECTIONS = 400
_AT_ONCE = 64


class Front:
    def __init__(self, listener, upstream, space, secret):
        self.upstream = upstream
        self.space = space
        self.secret = secret
        self.rules = Rules()
        self._listener = listener
        self._port = listener.getsockname()[1]
        self._connections = {}
        self._control = None

    # Connections

    def _accept(self):
        for _ in range(_AT_ONCE):
            try:
                connection, address = self._listener.accept()
            except BlockingIOError:
                return
            except OSError:
                self._make_room()  # no descriptor is left
                return
            if len(self._connections) >= _CONNECTIONS:
                self._make_room()
            connection.setblocking(False)
            served = Connection(self, connection, address[1], self._port)
            task = asyncio.get_running_loop().create_task(served.serve())
            self._connections[task] = served
            task.add_done_callback(self._ended)

    def _ended(self, task):
        self._connections.pop(task, None)
        if not task.cancelled() and task.exception():
            print(f"a connection has ended: {task.exception()!r}", file=sys.stderr, flush=True)

    def _make_room(self):
        """Drops a connection: the oldest that nobody works for, else the oldest."""
        idle = (task for task, served in self._connections.items() if served.idle)
        task = next(idle, next(iter(self._connections), None))
        if task:
            self._connections.pop(task)
            task.cancel()

    def tell(self, **event):
        self._control.write(json.dumps(event).encode() + b"\n")

    def plan(self, path):
        planned = self.rules.plan(path)
        if planned and not self.rules:
            self.tell(spent=True)
        return planned

    # Control

    def _act(self, op, request):
        loop = asyncio.get_running_loop()
        if op == "accept":
            loop.add_reader(self._listener, self._accept)
        elif op == "pause":
            loop.remove_reader(self._listener)
        elif op == "fault_add":
            self.rules.add(request["id"], request["rule"])
        elif op == "fault_list":
            return self.rules.tell()
        elif op == "fault_remove":
            return self.rules.remove(request["id"])
        elif op == "fault_clear":
            self.rules.clear()
        elif op == "reset":
            self.rules.clear(request["seed"])
            for task, served in self._connections.items():
                if not served.controls:  # whoever has asked for the reset over HTTP waits for the answer
                    task.cancel()
        return None

    async def serve(self, control):
        lines, self._control = await asyncio.open_connection(sock=control, limit=1 << 20)
        while line := await lines.readline():
            request = json.loads(line)
            try:
                self.tell(result=self._act(request.pop("op"), request))
            except AdminError as error:
                self.tell(error=str(error))


def main():
    listener, control, upstream, space, secret = sys.argv[1:]
    listener = socket.socket(fileno=int(listener))
    listener.setblocking(False)
    most = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (min(most, 4096) if most > 0 else 4096, most))
    asyncio.run(Front(listener, upstream, space, secret).serve(socket.socket(fileno=int(control))))


if __name__ == "__main__":
    main()
