"""The server of control over HTTP as one of the programs that the supervisor starts and watches.

It is started when somebody asks for the first time: most cameras are never asked, and a start of Python with its HTTP
library takes longer than that of all daemons.
"""

import contextlib
import os
import select
import socket
import sys
import threading

from ..inside.children import RUN_DIR, Child
from . import SOCKET

NAME = "control"
_SNIPPETS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "web", "control")
_INCLUDED = "/tmp/web/{}.d"  # what the configuration of each web server includes


class OnDemandChild(Child):
    """Listens on a Unix socket at path, and starts the program when a client connects.

    The program is given the number of the socket's descriptor as its first argument behind argv. Clients that connect
    while it starts wait in the socket. When it was ended by hand, or has ended by itself, clients are refused until it
    is started by hand.
    """

    def __init__(self, name, argv, arguments, log, path):
        super().__init__(name, argv, log, ready=lambda _: True)
        self._command = argv
        self._arguments = list(arguments)
        self._path = path
        self._listener = None
        self._lock = threading.RLock()

    def start(self, patience=30.0):
        """Listens; the program itself starts with the first client."""
        with self._lock:
            if self._listener is not None:
                super().start(patience)  # says that it runs, unless it waits
                return
            with contextlib.suppress(FileNotFoundError):
                os.unlink(self._path)
            self._listener = socket.socket(socket.AF_UNIX)
            self._listener.bind(self._path)
            self._listener.listen(128)
            self._argv = [*self._command, str(self._listener.fileno()), *self._arguments]
            self._pass_fds = (self._listener.fileno(),)
            threading.Thread(target=self._wait_for_clients, args=(self._listener,), daemon=True).start()

    def _wait_for_clients(self, listener):
        """Starts the program for each client that comes while it does not run, until the listener is another one."""
        poll = select.poll()
        poll.register(listener, select.POLLIN)
        while True:
            poll.poll()
            with self._lock:
                if self._listener is not listener:
                    return
                if not self.running():
                    super().start()
                process = self._process
            process.wait()
            if process not in self._expected:
                self.stop_and_wait()  # it would end again and again

    def stop_and_wait(self, *arguments, **options):
        with self._lock:
            super().stop_and_wait(*arguments, **options)
            listener, self._listener = self._listener, None
        if listener is not None:
            with contextlib.suppress(OSError):
                listener.shutdown(socket.SHUT_RDWR)  # wakes the thread, and refuses who waits
            listener.close()
            with contextlib.suppress(FileNotFoundError):
                os.unlink(self._path)

    def state(self):
        """As of any program; "idle" while nobody has asked yet."""
        return "idle" if self._listener is not None and not self.running() else super().state()


def programs(arguments, log):
    """The program, in a list, and its snippet for the web server; nothing where control is left out or cannot be.

    arguments: those of the supervisor.
    """
    snippet = os.path.join(_SNIPPETS, f"{arguments.web_server}.conf")
    if arguments.no_control or not os.path.exists(snippet):
        return []
    folder = _INCLUDED.format(arguments.web_server)
    os.makedirs(folder, exist_ok=True)
    os.symlink(snippet, os.path.join(folder, "control.conf"))
    return [OnDemandChild(NAME, [sys.executable, "-m", "zvcamera.control.server", RUN_DIR], arguments.allow_host, log,
                          os.path.join(RUN_DIR, SOCKET))]
