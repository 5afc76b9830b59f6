"""What the supervisor does when it is asked over its admin socket.

status                                the state of each program
stop, cont, kill, term, start         act on a program, given by its name
run                                   runs a command, with the given environment and nothing else in it
log, log_follow                       the log records from a number on
log_between                           those from one time to another
requests, requests_follow, _clear     the HTTP requests from a number on (history.py)
fault_add, _list, _remove, _clear      rules for answers of HTTP that go wrong (http_rules.py)
scenario, reset, load                 the scenario in use, back to it, on to another one (scenario.py)
stream, stream_start, stream_stop     for the streaming program, which the supervisor does not start itself
"""

import base64
import binascii
import signal
import subprocess

from ..admin import AdminError, InvalidRequest
from . import stream
from .arguments import take

_SIGNALS = {"stop": signal.SIGSTOP, "cont": signal.SIGCONT}


def _nothing(act):
    """An operation that takes nothing."""
    def checked(request):
        take(request, {})
        return act()
    return checked


def _decoded(key, text):
    try:
        return base64.b64decode(text, validate=True)
    except (binascii.Error, ValueError) as error:
        raise InvalidRequest(f"{key}: must be base64") from error


def _run(request):
    """stdin, stdout and stderr are base64; status is negative for a signal, as subprocess has it."""
    argv, env, stdin, limit = take(request, {"argv": list, "env": dict, "stdin": str, "limit": float},
                                   {"env": {}, "stdin": "", "limit": 60.0})
    if not argv or not all(isinstance(word, str) for word in (*argv, *env.values())):
        raise InvalidRequest("argv, env: must hold texts")
    try:
        done = subprocess.run(argv, input=_decoded("stdin", stdin), capture_output=True, env=env, timeout=limit,
                              check=False, start_new_session=True)
    except subprocess.TimeoutExpired as error:
        raise AdminError(f"{argv[0]} has not ended after {limit:g} seconds") from error
    return {"status": done.returncode, "stdout": base64.b64encode(done.stdout).decode(),
            "stderr": base64.b64encode(done.stderr).decode()}


class Commands:
    """Registers the operations with an AdminServer."""

    def __init__(self, server, *, log, programs, history, scenario, entrance, settle):
        self._server = server
        self._log = log
        self._programs = programs
        self._history = history
        self._scenario = scenario
        self._settle = settle
        self._entrance = entrance
        for op in ("stop", "cont", "kill", "term", "start"):
            server.on(op, lambda request, op=op: self._act_on_program(op, *take(request, {"daemon": str})))
        server.on("status", _nothing(self._status))
        server.on("run", _run)
        self._add_log()
        self._add_requests()
        self._add_scenario()
        self._add_faults()
        server.on("stream", _nothing(stream.status))
        server.on("stream_start", lambda request: stream.start(*take(request, {"arguments": list}, {"arguments": []})))
        server.on("stream_stop", _nothing(stream.stop))

    def _status(self):
        return {name: {"state": child.state(), "pid": child.pid, "misdeeds": child.misdeeds}
                for name, child in self._programs.items()}

    def _act_on_program(self, op, name):
        if name not in self._programs:
            raise InvalidRequest(f"unknown daemon {name}: one of {', '.join(self._programs)}")
        child = self._programs[name]
        if op == "start":
            child.start()
        elif op in _SIGNALS:
            child.send(_SIGNALS[op])
        else:
            if name == "zvControlD":
                self._settle()
                self._history.remember_processes()
            child.stop_and_wait(signal.SIGKILL if op == "kill" else signal.SIGTERM)
        return child.state()

    def _add_log(self):
        def since(request, then=None):
            def answer(records, following):
                then({"records": records, "next": following})
            records, following = self._log.since(*take(request, {"since": int}, {"since": 0}), then and answer)
            return {"records": records, "next": following}
        self._server.on("log", since)
        self._server.on("log_between", lambda request: self._log.between(
            *take(request, {"first": float, "last": float})))
        self._server.on_follow("log_follow", since)
        self._log.sinks.append(lambda record: self._server.publish("log_follow", record))

    def _add_requests(self):
        def since(request, then=None):
            number, = take(request, {"since": int}, {"since": 0})
            self._settle()
            return self._history.since(number, then)
        self._server.on("requests", since)
        self._server.on_follow("requests_follow", since)
        self._server.on("requests_clear", _nothing(self._clear_requests))

    def _clear_requests(self):
        self._settle()
        self._history.clear()

    def _add_faults(self):
        def with_entrance(act):
            def checked(request):
                if not self._entrance:
                    raise InvalidRequest("faults of HTTP are for a camera behind lighttpd")
                return act(request)
            return checked
        self._server.on("fault_add", with_entrance(lambda request: self._entrance.add_rule(request)))
        self._server.on("fault_remove", with_entrance(lambda request: self._entrance.remove_rule(request)))
        self._server.on("fault_list", _nothing(lambda: self._entrance.rules() if self._entrance else []))
        self._server.on("fault_clear", _nothing(lambda: self._entrance and self._entrance.clear_rules()))

    def _add_scenario(self):
        self._server.on("scenario", _nothing(self._scenario.tell))
        self._server.on("reset", _nothing(self._scenario.reset))
        self._server.on("load", lambda request: self._scenario.load(
            *take(request, {"scenario": dict, "name": str}, {"name": "scenario"})))
