"""The supervisor's end of the talk with the front (front.py)."""

import json
import os
import queue
import signal
import socket
import sys
import threading

from ..admin import AdminError
from .children import Child

_PATIENCE = 10.0


class FrontLink:
    """Starts the front and asks it. ended: whether it has gone.

    on_request, on_spent: functions, called with what it tells; by a thread.
    """

    def __init__(self, listener, upstream, space, secret, log, *, on_request, on_spent):
        self._on_request = on_request
        self._on_spent = on_spent
        self._answers = queue.Queue()
        self._lock = threading.Lock()
        self.ended = False
        self._control, theirs = socket.socketpair()
        words = [sys.executable, "-m", "zvcamera.inside.front", str(listener.fileno()), str(theirs.fileno()), upstream,
                 space, secret]
        self.child = Child("front", words, log, ready=lambda _: True, pass_fds=(listener.fileno(), theirs.fileno()),
                           environment=dict(os.environ), good_ends=(-signal.SIGTERM,))
        self.child.begin()
        theirs.close()
        threading.Thread(target=self._read, daemon=True).start()

    def ask(self, op, **fields):
        with self._lock:
            try:
                self._control.sendall(json.dumps({"op": op, **fields}).encode() + b"\n")
                answer = None if self.ended else self._answers.get(timeout=_PATIENCE)
            except (OSError, queue.Empty):
                answer = None
        if answer is None:
            raise AdminError("the program that lets answers go wrong does not answer")
        if "error" in answer:
            raise AdminError(answer["error"])
        return answer["result"]

    def _read(self):
        with self._control.makefile("rb") as lines:
            for line in lines:
                told = json.loads(line)
                if "request" in told:
                    self._on_request(told["request"])
                elif "spent" in told:
                    threading.Thread(target=self._on_spent, daemon=True).start()
                else:
                    self._answers.put(told)
        self.ended = True
        self._answers.put(None)
        self._on_spent()

    def stop(self):
        self.child.stop_and_wait()
