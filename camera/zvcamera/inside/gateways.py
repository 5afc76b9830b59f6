"""The gateway's processes, which the web server starts, one for each request."""

import os
import signal

_NAME = b"zvControl-cgi-b"  # as much of it as the kernel keeps
_QUEUES = "/dev/mqueue"
_REPLY_QUEUE = "to_ZVCC"


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
