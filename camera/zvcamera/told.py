"""What comes out of the camera to its launcher: the supervisor's reports, and complaints for standard error.

Whatever runs in the camera may write there in the supervisor's place. So a line that is no report is left out, and
nothing reaches the terminal that could act on it.
"""

import contextlib
import json
import sys

from .messages.quote import printable

_LONGEST = 16 << 20  # bytes of a report
_LONGEST_COMPLAINT = 1 << 16
_LATEST = 1 << 40  # seconds since the epoch


def _is_number(value, low, high):
    return type(value) in (int, float) and low <= value <= high


def _is_record(record):
    return (isinstance(record, dict) and isinstance(record.get("source"), str) and isinstance(record.get("text"), str)
            and _is_number(record.get("time"), 0, _LATEST)
            and all(key in record and (record[key] is None or type(record[key]) is int) for key in ("pid", "priority")))


def _is_text(value):
    return isinstance(value, str)


def _is_list_of_texts(value):
    return isinstance(value, list) and all(map(_is_text, value))


# The kinds of reports: what each has to hold, and how it goes on.
_KINDS = {
    "log": (_is_record, lambda record: record),
    "ready": (lambda value: value is True, lambda value: value),
    "failed": (_is_text, lambda text: "\n".join(map(printable, text.split("\n")))),
    "ended": (_is_list_of_texts, lambda texts: list(map(printable, texts))),
}


def _report(line):
    """A pair of kind and value, or None for what is no report."""
    with contextlib.suppress(ValueError, RecursionError):
        told = json.loads(line)
        for kind, (is_right, read) in _KINDS.items():
            if isinstance(told, dict) and kind in told and is_right(told[kind]):
                return kind, read(told[kind])
    return None


def reports(stream):
    """Yields the reports in a binary stream, until it ends: pairs of "log", "ready", "failed" or "ended", and a value."""
    while line := stream.readline(_LONGEST):
        report = _report(line)
        if report:
            yield report


def _complain(text):
    if sys.stderr is not None:
        with contextlib.suppress(OSError, ValueError):  # nobody is there to hear it
            print(text, file=sys.stderr, flush=True)


def pass_complaints_on(stream):
    """Writes the lines of a binary stream to standard error, until it ends.

    The camera has no descriptor of the launcher's own standard error: behind it are a terminal, or a file of the
    machine, which the camera's programs could open anew and read.
    """
    while line := stream.readline(_LONGEST_COMPLAINT):
        _complain(printable(line.decode(errors="backslashreplace").rstrip("\n")))
