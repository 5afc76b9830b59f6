"""Runs inside the camera's namespaces. Starts and watches the camera's programs, collects their log, serves commands.

    python3 -m zvcamera.inside.supervisor --listen-fd N [--scenario FILE [--scenario-name NAME]]
                                          [--control-program FILE] [--web-server NAME] [--gateway NAME]
                                          [--report-log] [--no-control]
                                          [--refuse-connections]
                                          [--allow-host NAME]... [--cors ORIGIN]...

It ends when its standard input ends. It writes JSON lines to standard output: {"ready": true}, {"failed": text} and, at
the end, {"ended": [misdeeds]}; with --report-log also {"log": record}. On /run/zarvo/supervisor.admin it takes the
commands of commands.py.
"""

import argparse
import os
import signal
import socket
import sys
import time

from .. import admin
from ..control import child as control
from . import children, confine, entrance, gateways, guard, scenario, web
from .admin_server import AdminServer
from .collector import Collector
from .commands import Commands
from .history import MARK, History
from .reports import Reports
from .scenario import Scenario

# Seconds in which the web server passes on what control over HTTP has said at its end.
_PASSING_ON = 0.1


class Supervisor:
    """Brings the camera's parts together."""

    def __init__(self, arguments, listener, reports):
        sinks = [lambda record: reports.send(log=record)] if arguments.report_log else []
        self._log = Collector(sinks)
        self._server = AdminServer(f"{children.RUN_DIR}/supervisor.admin")
        self.programs = {name: children.daemon(name, self._log, scenario.PATH) for name in children.DAEMONS}
        allowed = guard.Allowed(tuple(arguments.allow_host), tuple(arguments.cors))
        gateway = gateways.Gateway(arguments.gateway, arguments.control_program)
        for child in (*gateway.programs(self._log),
                      *web.servers(arguments.web_server, listener, gateway, self._log, allowed, self._add_request),
                      *control.programs(arguments, self._log)):  # ends first, and its followers hear of the end
            self.programs[child.name] = child
        self._entrance = self.programs.get("lighttpd")
        self._history = History(self._openings, lambda request: self._server.publish("requests_follow", request),
                          lambda: self._server.followed("requests_follow"), entrance.PROBE)
        self._log.take_marked(MARK, self._take_request)
        self._scenario = Scenario(arguments.scenario, arguments.scenario_name, self.programs, self._history,
                                  self._entrance)
        Commands(self._server, log=self._log, programs=self.programs, history=self._history, scenario=self._scenario,
                 entrance=self._entrance, settle=self._settle)

    def warn(self, text):
        self._log.add("supervisor", text, priority=4)

    def start(self):
        self._scenario.prepare()
        daemons = [self.programs[name] for name in children.DAEMONS]
        for child in daemons:
            child.begin()
        for child in daemons:
            child.wait_until_ready()
        for child in self.programs.values():
            if child not in daemons:
                child.start()
        self._scenario.set_rules()
        self._server.start()

    def stop(self):
        """Ends the programs and returns their misdeeds."""
        for child in reversed(self.programs.values()):
            was_followed = child.name == control.NAME and child.running()
            child.stop_and_wait()
            if was_followed:
                time.sleep(_PASSING_ON)
        if self._entrance:
            self._entrance.end()
        self._log.since(0)
        return [misdeed for child in self.programs.values() for misdeed in child.misdeeds]

    def _openings(self):
        if self.programs["zvControlD"].state() != "running":
            return []
        try:
            return admin.ask(f"{children.RUN_DIR}/zvControlD.admin", "openings", timeout=2)
        except admin.AdminError:
            return []

    def _take_request(self, source, pid, text):
        """Takes what the web server has logged of a request."""
        if line := self._history.take(text):
            self._log.add(source, line, pid=pid, priority=6)

    def _add_request(self, told):
        """Takes what the front tells of a request."""
        if line := self._history.add(**told):
            self._log.add(self._entrance.name, line, priority=6)

    def _settle(self):
        """Returns when every request whose client has its answer is in the history."""
        if self._entrance:
            self._entrance.settle()
        self._log.synchronise()


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


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--listen-fd", type=int, required=True)
    parser.add_argument("--scenario")
    parser.add_argument("--scenario-name")
    parser.add_argument("--control-program", default="/usr/local/zarvo/bin/zvControl-cgi-bin")
    parser.add_argument("--web-server", choices=web.URL_SPACES, default="lighttpd")
    parser.add_argument("--gateway", choices=gateways.KINDS, default="cgi")
    parser.add_argument("--allow-host", action="append", default=[])
    parser.add_argument("--cors", action="append", default=[])
    parser.add_argument("--report-log", action="store_true")
    parser.add_argument("--no-control", action="store_true")
    parser.add_argument("--refuse-connections", action="store_true")
    arguments = parser.parse_args()
    listener = _listener(arguments.listen_fd)
    for number in (signal.SIGINT, signal.SIGHUP):
        # A shell in the background and nohup start programs with these ignored. The camera's programs are to have them.
        signal.signal(number, signal.SIG_DFL)
    unconfined = arguments.refuse_connections and not confine.refuse_connections()

    reports = Reports()
    supervisor = Supervisor(arguments, listener, reports)
    try:
        if unconfined:
            supervisor.warn("this kernel has no means to keep the camera's programs from services on 127.0.0.1")
        supervisor.start()
        reports.send(ready=True)
        while os.read(0, 4096):
            pass
    except (admin.AdminError, OSError, ValueError) as error:
        reports.send(failed=str(error))
    reports.finish(ended=supervisor.stop())
    return 0


if __name__ == "__main__":
    sys.exit(main())
