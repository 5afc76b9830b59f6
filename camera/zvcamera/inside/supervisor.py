"""Runs inside the camera's namespaces. Starts and watches the camera's programs, collects their log, serves commands.

    python3 -m zvcamera.inside.supervisor --listen-fd N [--scenario FILE] [--control-program FILE]
                                          [--web-server NAME] [--report-log] [--no-control] [--allow-host NAME]...
                                          [--cors ORIGIN]...

It ends when its standard input ends. It writes JSON lines to standard output: {"ready": true}, {"failed": text} and, at
the end, {"ended": [misdeeds]}; with --report-log also {"log": record}.

It takes these commands on /run/zarvo/supervisor.admin:

    status                               the state of each program
    stop, cont, kill, term, start        act on a program, given by its name
    run                                  runs a command, with the given environment and nothing else in it
    log                                  the log records from a number on
    stream, stream_start, stream_stop    for the streaming program, which the supervisor does not start itself
"""

import argparse
import base64
import json
import os
import queue
import shutil
import signal
import socket
import socketserver
import subprocess
import sys
import threading

from ..control import child as control
from . import children, guard, stream, web
from .collector import Collector

_SIGNALS = {"stop": signal.SIGSTOP, "cont": signal.SIGCONT}
_ADMIN = f"{children.RUN_DIR}/supervisor.admin"


class Reports:
    """Writes the JSON lines in a thread of its own, so that a reader that hangs does not block the camera."""

    def __init__(self):
        self._lines = queue.Queue(maxsize=100_000)
        self._thread = threading.Thread(target=self._write, daemon=True)
        self._thread.start()

    def send(self, **fields):
        try:
            self._lines.put_nowait(json.dumps(fields))
        except queue.Full:
            pass  # the record stays in the collector

    def finish(self, **fields):
        """Writes the last line. When the queue is full because nobody reads, it drops the oldest waiting lines."""
        for line in (json.dumps(fields), None):
            self._put(line)
        self._thread.join(5)

    def _put(self, line):
        while True:
            try:
                self._lines.put_nowait(line)
                return
            except queue.Full:
                pass
            try:
                self._lines.get_nowait()
            except queue.Empty:
                pass  # the writing thread was faster

    def _write(self):
        while (line := self._lines.get()) is not None:
            try:
                os.write(1, line.encode() + b"\n")
            except OSError:
                return


class Supervisor:
    """Carries out the commands."""

    def __init__(self, log, programs):
        self._log = log
        self._programs = programs

    def answer(self, request):
        op = request.pop("op", None)
        if op in ("stop", "cont", "kill", "term", "start"):
            return self._on_program(op, request)
        if op == "status":
            return {name: {"state": child.state(), "pid": child.pid, "misdeeds": child.misdeeds}
                    for name, child in self._programs.items()}
        if op == "run":
            return self._run(**request)
        if op == "log":
            records, following = self._log.since(int(request.get("since", 0)))
            return {"records": records, "next": following}
        if op == "stream":
            return stream.status()
        if op == "stream_start":
            return stream.start(request.get("arguments", []))
        if op == "stream_stop":
            return stream.stop()
        raise ValueError(f"unknown op {op!r}")

    def _on_program(self, op, request):
        name = request.get("daemon")
        if name not in self._programs:
            raise ValueError(f"unknown daemon {name!r}: one of {', '.join(self._programs)}")
        child = self._programs[name]
        if op == "start":
            child.start()
        elif op in _SIGNALS:
            child.send(_SIGNALS[op])
        else:
            child.stop_and_wait(signal.SIGKILL if op == "kill" else signal.SIGTERM)
        return child.state()

    @staticmethod
    def _run(argv, env=None, stdin="", limit=60.0):
        """stdin, stdout and stderr are base64; status is negative for a signal, as subprocess has it."""
        done = subprocess.run(argv, input=base64.b64decode(stdin), capture_output=True, env=env or {},
                              timeout=limit, check=False, start_new_session=True)
        return {"status": done.returncode, "stdout": base64.b64encode(done.stdout).decode(),
                "stderr": base64.b64encode(done.stderr).decode()}


def _serve(supervisor):
    class Handler(socketserver.StreamRequestHandler):
        def handle(self):
            for line in self.rfile:
                try:
                    answer = {"ok": True, "result": supervisor.answer(json.loads(line))}
                except Exception as error:  # noqa: B902 - the client gets whatever went wrong as its answer
                    answer = {"ok": False, "error": f"{type(error).__name__}: {error}"}
                self.wfile.write(json.dumps(answer).encode() + b"\n")

    class Server(socketserver.ThreadingUnixStreamServer):
        daemon_threads = True
        request_queue_size = 64

    server = Server(_ADMIN, Handler)
    threading.Thread(target=server.serve_forever, daemon=True).start()


def _listener(descriptor):
    """Moves the listening socket to descriptor 3, where the web server expects it."""
    if descriptor != 3:
        try:
            os.dup(3)  # keep it open, whatever it is: it may be the folder's life line
        except OSError:
            pass
        os.dup2(descriptor, 3)
        os.close(descriptor)
    return socket.socket(fileno=3)


def _copy_settings():
    """Copies the models' settings documents to a place where a test may change them."""
    house = os.path.join(os.path.dirname(__file__), "..", "..", "settings")
    for model in os.listdir(house):
        document = os.path.join(house, model, "settings.json")
        if os.path.exists(document):
            folder = f"/usr/local/zarvo/etc/{model}"
            os.makedirs(folder)
            shutil.copyfile(document, f"{folder}/settings.json")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--listen-fd", type=int, required=True)
    parser.add_argument("--scenario")
    parser.add_argument("--control-program", default="/usr/local/zarvo/bin/zvControl-cgi-bin")
    parser.add_argument("--web-server", choices=web.URL_SPACES, default="lighttpd")
    parser.add_argument("--allow-host", action="append", default=[])
    parser.add_argument("--cors", action="append", default=[])
    parser.add_argument("--report-log", action="store_true")
    parser.add_argument("--no-control", action="store_true")
    arguments = parser.parse_args()
    listener = _listener(arguments.listen_fd)

    reports = Reports()
    log = Collector((lambda record: reports.send(log=record)) if arguments.report_log else None)
    programs = {name: children.daemon(name, log, arguments.scenario) for name in children.DAEMONS}
    allowed = guard.Allowed(tuple(arguments.allow_host), tuple(arguments.cors))
    for child in (*web.servers(arguments.web_server, listener, arguments.control_program, log, allowed),
                  *control.programs(arguments, log)):
        programs[child.name] = child
    try:
        _copy_settings()
        for child in programs.values():
            child.start()
        _serve(Supervisor(log, programs))
        reports.send(ready=True)
        while os.read(0, 4096):
            pass
    except (children.ChildError, OSError) as error:
        reports.send(failed=str(error))
    for child in reversed(programs.values()):
        child.stop_and_wait()
    log.since(0)
    reports.finish(ended=[misdeed for child in programs.values() for misdeed in child.misdeeds])
    return 0


if __name__ == "__main__":
    sys.exit(main())
