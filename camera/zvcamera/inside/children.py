"""The programs that the supervisor starts and watches: the three daemons, and those of the web server (web.py)."""

import contextlib
import os
import re
import signal
import subprocess
import threading
import time

from .. import admin
from ..admin import AdminError

RUN_DIR = "/run/zarvo"
BIN = "/usr/local/zarvo/bin"
_HOLDS = {signal.SIGSTOP: True, signal.SIGCONT: False}  # whether a program is stopped after the signal
_QUEUES = {"zvNetD": "/dev/mqueue/to_zvnet", "zvBleD": "/dev/mqueue/to_ble"}
DAEMONS = ("zvControlD", "zvNetD", "zvBleD")
_ENDING = (signal.SIGTERM, signal.SIGKILL, signal.SIGINT)


def _state(pid):
    """What the kernel says about what a process is doing."""
    told = []
    for name, pattern in (("status", r"^State:\s*(.*)"), ("wchan", r"(.*)"), ("syscall", r"(.*)")):
        with contextlib.suppress(OSError), open(f"/proc/{pid}/{name}", encoding="utf-8") as file:
            told += re.findall(pattern, file.read(), re.MULTILINE)[:1]
    return ", ".join(told)


class ChildError(AdminError):
    """A program does not start, or is not in the state that was asked for."""


def _answers(name):
    try:
        admin.connect(f"{RUN_DIR}/{name}.admin", 1.0).close()
    except OSError:
        return False
    return name not in _QUEUES or os.path.exists(_QUEUES[name])


class Child:
    """One program. Its standard output and error go to the log. good_ends: statuses that are right after SIGTERM."""

    def __init__(self, name, argv, log, *, ready, pass_fds=(), environment=None, good_ends=(0,)):
        self.name = name
        self._argv = argv
        self._log = log
        self._ready = ready
        self._pass_fds = pass_fds
        self._environment = environment
        self._good_ends = good_ends
        self._process = None
        self._expected = set()  # processes that were told to end
        self._ended = threading.Event()
        self.misdeeds = []  # what went wrong with it: for example that it crashed, or had to be killed

    @property
    def pid(self):
        return self._process.pid if self.running() else None

    def running(self):
        return self._process is not None and self._process.poll() is None

    def start(self, patience=30.0):
        self.begin()
        self.wait_until_ready(patience)

    def begin(self):
        """Starts the program and does not wait for it."""
        if self.running():
            raise ChildError(f"{self.name} is running already")
        self._ended = threading.Event()
        self._process = subprocess.Popen(
            self._argv, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            pass_fds=self._pass_fds, env=self._environment, start_new_session=True)
        self._log.add_stream(self.name, self._process.stdout)
        threading.Thread(target=self._watch, args=(self._process, self._ended), daemon=True).start()

    def wait_until_ready(self, patience=30.0):
        deadline = time.monotonic() + patience
        while not self._ready(self.name):
            if not self.running():
                raise ChildError(f"{self.name} ended with status {self._process.returncode} while starting")
            if time.monotonic() > deadline:
                raise ChildError(f"{self.name} is not ready after {patience:.0f} seconds")
            time.sleep(0.002)

    def _watch(self, process, ended):
        status = process.wait()
        if process not in self._expected:
            self.misdeeds.append(f"{self.name} ended by itself, status {status}")
            self._log.add("supervisor", self.misdeeds[-1], priority=3)
        ended.set()

    def send(self, number):
        if not self.running():
            raise ChildError(f"{self.name} is not running")
        if number in _ENDING:
            self._expected.add(self._process)
        self._process.send_signal(number)
        if number in _HOLDS:
            self._wait_until_held(_HOLDS[number])

    def _wait_until_held(self, held, patience=2.0):
        """Waits until the kernel says that the program is stopped, or is not: it acts on a signal in its own time."""
        deadline = time.monotonic() + patience
        while self.running() and (self.state() == "stopped") != held and time.monotonic() < deadline:
            time.sleep(0.001)

    def stop_and_wait(self, number=signal.SIGTERM, patience=10.0):
        """Ends the program. Continues it first, in case it is stopped, and kills it when it does not end."""
        if not self.running():
            return
        self.tell_to_end(number)
        self.wait_for_end(number, patience)

    def tell_to_end(self, number=signal.SIGTERM):
        # SIGCONT goes before the signal, not after it. A sanitizer checks for leaks while the program ends, and stops
        # the program by SIGSTOP for that. A SIGCONT then would undo the stop, and the check would wait for ever.
        if number != signal.SIGKILL:
            self.send(signal.SIGCONT)
        self.send(number)

    def wait_for_end(self, number=signal.SIGTERM, patience=10.0):
        if not self._ended.wait(patience):
            self.misdeeds.append(f"{self.name} did not end on signal {number} ({_state(self._process.pid)})")
            self.send(signal.SIGKILL)
            self._ended.wait()
            return
        status = self._process.returncode
        if number == signal.SIGTERM and status not in self._good_ends:
            self.misdeeds.append(f"{self.name} ended with status {status} on SIGTERM")

    def state(self):
        """Returns "running", "stopped" (by a signal) or "ended"."""
        if not self.running():
            return "ended"
        try:
            with open(f"/proc/{self._process.pid}/stat", encoding="latin-1") as stat:
                return "stopped" if stat.read().rpartition(")")[2].split()[0] in "Tt" else "running"
        except OSError:
            return "ended"


def daemon(name, log, scenario):
    return Child(name, [f"{BIN}/{name}", "--run-dir", RUN_DIR, "--scenario", scenario], log, ready=_answers)
