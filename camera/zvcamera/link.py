"""The way to the programs of one camera."""

import errno
import os

from . import admin, operations
from .admin import Unreachable

# What connecting to a program's socket ends with when nobody serves it.
_ABSENT = (errno.ENOENT, errno.ENOTDIR, errno.ECONNREFUSED, errno.EACCES)


class Link:
    """Talks to the programs whose admin sockets are in a run folder.

    Each operation is a method, too: link.fault_add(command="scan", fault="late", value=100) is
    `zvcam fault add scan late 100`. It returns the result as JSON has it; it raises InvalidRequest, Unreachable, or
    AdminError when the camera refuses.

    missing: what callers of call_each() were not told, one text for each program that was not there.
    """

    def __init__(self, run_dir):
        self.run_dir = run_dir
        self.missing = []

    def _socket(self, program):
        return os.path.join(self.run_dir, f"{program}.admin")

    def call(self, program, op, /, timeout=5.0, **fields):
        """One operation of one program; raises Unreachable when it does not run or does not answer in time."""
        path = self._socket(program)
        try:
            return admin.ask(path, op, timeout=timeout, **fields)
        except Unreachable as error:
            raise Unreachable(self._why(program, error.__cause__)) from error

    def _why(self, program, reason):
        """What is wrong with a program that could not be asked."""
        if isinstance(reason, OSError) and reason.errno in _ABSENT:
            return f"{program} does not run in {self.run_dir}: {os.strerror(reason.errno)}"
        return f"{program} does not answer"

    def call_each(self, programs, op, /, **fields):
        """The same of several programs: results by program. One that is not there goes to `missing`; raises Unreachable
        when none is."""
        results = {}
        missing = []
        for program in programs:
            try:
                results[program] = self.call(program, op, **fields)
            except Unreachable as error:
                missing.append(str(error))
        if not results:
            raise Unreachable("; ".join(missing))
        self.missing += missing
        return results

    def subscribe(self, program, op, **fields):
        """A Subscription to what a program publishes under an operation."""
        path = self._socket(program)
        try:
            return admin.Subscription(path, op, **fields)
        except Unreachable as error:
            raise Unreachable(self._why(program, error.__cause__)) from error

    def perform(self, operation, given):
        """Carries out an operation with the parameters in an object."""
        return operation.act(self, **operation.check(given))

    def __getattr__(self, name):
        operation = operations.find(name)
        if operation is None:
            raise AttributeError(f"a camera has no operation {name!r}")
        return lambda **given: self.perform(operation, given)
