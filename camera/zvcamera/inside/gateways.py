"""The gateway: how the web server asks it, and its processes, one for each request."""

import os
import signal

from .children import BIN, Child

_NAME = b"zvControl-cgi-b"  # as much of it as the kernel keeps
_QUEUES = "/dev/mqueue"
_REPLY_QUEUE = "to_ZVCC"

KINDS = ("cgi", "scgi")
SOCKET = "/run/zvcamera/gateway.sock"  # of the resident program
_LISTENING = "00010000"  # the flags of such a socket in the kernel's list


def _listens(_name):
    """Whether the resident program takes connections. One that is made to see this would be a request."""
    with open("/proc/net/unix", encoding="ascii", errors="replace") as sockets:
        return any(line.split()[3] == _LISTENING and line.rstrip("\n").endswith(f" {SOCKET}") for line in sockets)


class Gateway:
    """kind: one of KINDS. program: what the web server starts for "cgi"."""

    def __init__(self, kind, program):
        self.program = program
        self._kind = kind

    def snippet(self, server):
        """The name of the web server's configuration of the control URL space."""
        return f"{server}.conf" if self._kind == "cgi" else f"{server}-{self._kind}.conf"

    def programs(self, log):
        """What runs beside the web server, in a list."""
        if self._kind == "cgi":
            return []
        # The loader looks the names of the libraries up at once, instead of in each process that is forked.
        return [Child("zvControl-scgi", [f"{BIN}/zvControl-scgi", "--socket", SOCKET], log, ready=_listens,
                      environment=dict(os.environ, LD_BIND_NOW="1"))]


def _is_gateway(pid):
    try:
        with open(f"/proc/{pid}/comm", "rb") as name:
            return name.read().rstrip(b"\n") == _NAME
    except OSError:
        return False  # the process has ended meanwhile


def end_all():
    """Kills those that run and removes the reply queues that they leave. Their clients get the web server's 500."""
    for pid in (int(name) for name in os.listdir("/proc") if name.isdigit()):
        if _is_gateway(pid):
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
    for name in os.listdir(_QUEUES):
        if name.startswith(_REPLY_QUEUE):
            try:
                os.unlink(f"{_QUEUES}/{name}")
            except FileNotFoundError:
                pass
