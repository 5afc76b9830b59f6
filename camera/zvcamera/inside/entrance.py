"""The camera's way in: the public socket, lighttpd behind it, and between them the front while there are rules for
paths.

There are three ways. "direct": lighttpd accepts from the public socket. "front": the front does, and asks a lighttpd
that listens on an inner socket. "closed": connections are refused. The socket itself stays bound all the time. What
waits in it while the way changes is taken afterwards.
"""

import contextlib
import itertools
import os
import secrets
import signal
import socket
import threading
import time

from ..admin import AdminError
from . import gateways
from .arguments import take
from .children import Child
from .front_link import FrontLink
from .history import FIELDS, MARK
from ..http_rules import read_rule

# What the camera itself asks for. Nobody else knows the path, so that the requests of others are told from its own.
PROBE = f"/{secrets.token_hex(16)}"
_SOCKETS = "/run/zvcamera/web{}.sock"
_INNER = _SOCKETS.format("")
_PROXY = b"PROXY TCP4 127.0.0.1 127.0.0.1 1 1\r\n"
_SHELL = 'if [ -n "$LISTEN_FDS" ]; then export LISTEN_PID=$$; fi; exec /usr/sbin/lighttpd -D -f "$1"'
_BACKLOG = 1024
_PATIENCE = 5.0


def _answers(path, before=b""):
    """Whether lighttpd answers at a Unix socket. before: what it wants to be told in front of a request."""
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as connection:
        connection.settimeout(2)
        try:
            connection.connect(path)
            connection.sendall(before + f"GET {PROBE} HTTP/1.0\r\n\r\n".encode())
            return connection.recv(1) != b""
        except OSError:
            return False


class Entrance:
    """Acts as a Child does: it is the program `lighttpd` of the camera.

    gateway: a gateways.Gateway. configuration: lighttpd's. add_request: takes what the front tells of a request.
    """

    name = "lighttpd"

    def __init__(self, listener, gateway, space, log, *, configuration, add_request):
        self._listener = listener
        self._address = listener.getsockname()
        self._space = space
        self._log = log
        self._configuration = configuration
        self._gateway = gateway
        self._add_request = add_request
        self._secret = f"/{secrets.token_hex(16)}"
        self._lock = threading.RLock()
        self._numbers = itertools.count(1)
        self._way = "direct"
        self._wanted = True  # that lighttpd runs
        self._public = self._make_public()
        self._inner = None
        self._leaving = []  # they end when their last request has ended
        self._front = None
        self._refusing = {}
        self._last_rule = 0
        self._seed = 1

    # As a child

    @property
    def _current(self):
        return self._public if self._way == "direct" else self._inner or self._public

    @property
    def pid(self):
        return self._current.pid

    @property
    def misdeeds(self):
        children = [self._public, self._inner, self._front and self._front.child, *self._leaving]
        return [misdeed for child in children if child for misdeed in child.misdeeds]

    def running(self):
        return self._current.running()

    def state(self):
        return self._current.state()

    def send(self, number):
        self._current.send(number)

    def start(self):
        with self._lock:
            if self.running():
                raise AdminError("lighttpd is running already")
            self._wanted = True
            self._go()

    def stop_and_wait(self, number=signal.SIGTERM):
        """Ends lighttpd; from then on connections are refused."""
        with self._lock:
            self._wanted = False
            if self._way == "front":
                self._tell_front("pause")
            for child in (self._public, self._inner, *self._leaving):
                if child:
                    child.stop_and_wait(number)
            self._close()

    def end(self):
        """The same at the camera's end, with the front."""
        self.stop_and_wait()
        if self._front:
            self._front.stop()

    # Ways

    def _make_public(self):
        # Each has a socket of its own: the one that leaves removes its own in its time.
        self._probed = _SOCKETS.format(next(self._numbers))
        environment = self._environment("direct.conf", self._address[0], LISTEN_FDS="1", ZV_SOCKET=self._probed,
                                        ZV_REQUEST=MARK + FIELDS)
        return self._child(environment, lambda _, path=self._probed: _answers(path), (self._listener.fileno(),))

    def _make_inner(self):
        return self._child(self._environment("inner.conf", _INNER, ZV_SECRET=self._secret),
                           lambda _: _answers(_INNER, _PROXY), ())

    def _environment(self, way, address, **more):
        return dict(os.environ, ZV_WAY=way, ZV_ADDRESS=address, ZV_PORT=str(self._address[1]),
                    ZV_CONTROL_PROGRAM=self._gateway.program, ZV_GATEWAY_SOCKET=gateways.SOCKET,
                    ZV_SNIPPET=self._gateway.snippet(self.name), **more)

    def _child(self, environment, ready, pass_fds):
        # On SIGTERM, lighttpd ends with 0 or 1, depending on where the signal meets its event loop.
        return Child(self.name, ["/bin/sh", "-c", _SHELL, self.name, self._configuration], self._log, ready=ready,
                     pass_fds=pass_fds, environment=environment, good_ends=(0, 1))

    def _go(self):
        """Changes to the way that is right now."""
        way = "closed" if not self._wanted or self._refusing else "front" if self._rules_at_work() else "direct"
        if self._wanted and (way != "direct" or self._front):
            self._start_inner()
        if way == self._way and (way != "direct" or self._public.running()):
            return
        before, self._way = self._way, way
        if before == "closed":
            self._open()
        if before == "front":
            self._tell_front("pause")
        if way == "front":
            self._front.ask("accept")
        if way == "direct":
            self._set_aside(self._public)
            self._public = self._make_public()
            self._public.start()
        elif before == "direct":
            self._leave(self._public)
        if way == "closed":
            self._close()

    def _start_inner(self):
        if self._inner is None:
            self._inner = self._make_inner()
        if not self._inner.running():
            self._inner.start()

    def _leave(self, child):
        """Lets lighttpd end with its last request. Returns when it accepts no more connections."""
        if not child.running():
            return
        listener = f"fd/{self._listener.fileno()}"
        accepts = f"/proc/{child.pid}/{listener}"
        deadline = time.monotonic() + _PATIENCE
        child.tell_to_end(signal.SIGINT)
        with contextlib.suppress(OSError):
            while os.readlink(accepts) == os.readlink(f"/proc/self/{listener}"):
                if time.monotonic() > deadline:
                    child.stop_and_wait(signal.SIGKILL)
                time.sleep(0.001)

    def _set_aside(self, child):
        """Remembers a program that runs on to its end, or has misbehaved; forgets those that have ended well before."""
        self._leaving = [one for one in self._leaving if one.running() or one.misdeeds] + [child]

    def _close(self):
        with contextlib.suppress(OSError):
            self._listener.shutdown(socket.SHUT_RDWR)
        with contextlib.suppress(OSError):
            self._listener.bind(self._address)  # a port that the kernel has chosen is free otherwise
        self._way = "closed"

    def _open(self):
        try:
            self._listener.listen(_BACKLOG)
        except OSError as error:
            raise AdminError(f"port {self._address[1]} cannot be had again: {error.strerror}") from error

    # Rules

    def _rules_at_work(self):
        return bool(self._tell_front("fault_list"))

    def _tell_front(self, op, **fields):
        if self._front is None:
            return None
        try:
            return self._front.ask(op, **fields)
        except AdminError:
            self._set_aside(self._front.child)  # it has ended, or hangs; with it go its rules
            if not self._front.ended:
                self._front.stop()
            self._front = None
            return None

    def _start_front(self):
        if self._front is None:
            self._front = FrontLink(self._listener, _INNER, self._space, self._secret, self._log,
                                    on_request=self._add_request, on_spent=self._on_spent)
            self._front.ask("reset", seed=self._seed)

    def _on_spent(self):
        with self._lock:
            if self._wanted:
                self._go()

    def _add(self, values):
        self._last_rule += 1
        if values["fault"] == "refused":
            self._refusing[self._last_rule] = values
        else:
            self._start_front()
            self._front.ask("fault_add", id=self._last_rule, rule=values)
        return self._last_rule

    def add_rule(self, request):
        values = read_rule(request)
        with self._lock:
            number = self._add(values)
            self._go()
            return {"id": number}

    def rules(self):
        with self._lock:
            refusing = [{"id": number, "command": values["command"], "fault": "refused", "hits": 0, "skip": 0,
                         "left": "all"} for number, values in self._refusing.items()]
            return sorted(refusing + (self._tell_front("fault_list") or []),
                          key=lambda rule: rule["id"])

    def remove_rule(self, request):
        number, = take(request, {"id": int})
        with self._lock:
            found = self._refusing.pop(number, None) is not None
            if not found and not self._tell_front("fault_remove", id=number):
                raise AdminError("no fault rule with this id")
            self._go()

    def clear_rules(self):
        with self._lock:
            self._refusing.clear()
            self._tell_front("fault_clear")
            self._go()

    def reset(self, rules, seed):
        """Begins anew with these rules, as read_rules() returns them: also ends what the front is busy with."""
        with self._lock:
            self._refusing.clear()
            self._seed = seed
            self._tell_front("reset", seed=seed)
            self._last_rule = 0
            for values in rules:
                self._add(values)
            if self._wanted:
                self._go()

    def settle(self):
        """Returns when every request whose client has its answer has been told of."""
        with self._lock:
            self._tell_front("fault_list")
            if self._way == "direct" and self._public.state() == "running":
                _answers(self._probed)  # lighttpd logs a request before it reads another one
