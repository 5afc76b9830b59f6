"""What ./run does while its camera runs: shows the log, tells that it answers, runs a command."""

import os
import select
import sys
import time

from . import command, namespace
from .camera import CameraError
from .options import NAME


class OutputGone(Exception):
    """Nobody reads standard output any more."""


class Log:
    """Prints the camera's log records by a function; a quiet one only those of a camera that does not start."""

    def __init__(self, print_record, quiet):
        self._print = print_record
        self._quiet = quiet
        self._kept = []
        self._started = False
        self.failure = None  # what has gone wrong with printing

    def take(self, record):
        if self._quiet:
            if not self._started:
                self._kept.append(record)
        elif self.failure is None:
            try:
                self._print(record)
            except OSError as error:
                self.failure = error

    def started(self):
        self._started = True
        self._kept.clear()

    def tell_kept(self):
        for record in self._kept:
            self._print(record)


def _greet(camera, quiet):
    lines = "" if quiet else "Log lines follow. "
    page = f"Look at it in a browser: {camera.page}\n" if camera.page else ""
    tool = os.path.relpath(namespace.find(camera.build_dir, "zvcam"))
    print(f"""
The camera answers at {camera.url}

    curl -i {camera.url}/command/ble/pairing_available
    curl -i {camera.url}/command/ble/whitelist/list
    curl -i {camera.url}/nothing_here
    curl {camera.url}

{page}State and faults: {tool} --port {camera.port} --help
{lines}Ctrl-C ends the camera.
""", flush=True)


def _watch(camera, log):
    """Returns when the camera has ended; raises OutputGone when the reader of standard output has."""
    output = select.poll()
    output.register(1, 0)  # an error is reported without being asked for
    while camera.running():
        if isinstance(log.failure, BrokenPipeError) or output.poll(0):
            raise OutputGone
        if log.failure:
            raise CameraError(f"standard output: {log.failure.strerror}")
        time.sleep(0.2)


def _act(camera, log, arguments, ready):
    """What is done while the camera runs. Returns the status."""
    ready.write(camera.url)
    if arguments.exec is not None:
        return command.run(arguments.exec, camera)
    try:
        _greet(camera, arguments.quiet)
    except OSError as error:
        log.failure = error
    _watch(camera, log)
    return 0


def serve(camera, log, ready, arguments):
    """Brings the camera up, does what the arguments say beside it, and ends it. Returns the exit status."""
    with ready:
        try:
            camera.start()
            log.started()
            status = _act(camera, log, arguments, ready)
        except CameraError:
            log.tell_kept()
            raise
        finally:
            camera.stop()
    for misdeed in camera.misdeeds:
        print(f"{NAME}: {misdeed}", file=sys.stderr)
    return status or (1 if camera.misdeeds else 0)
