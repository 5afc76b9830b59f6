"""Records of a trace: a message of a queue as a daemon saw it, as JSON has it and in words."""

import json
import time

from ..admin import InvalidRequest
from .explain import explain, summarize
from .quote import printable

_TEXTS = ("time", "daemon", "direction", "queue", "command", "note", "hex")
_NUMBERS = ("number", "micros", "pid", "request")
_MOST = (1 << 63) - 1
_SHOWN = 40  # as much of a wrong text as an error text repeats


def time_text(micros):
    """Microseconds since 1970 as "2026-01-31T23:59:59.000001Z"."""
    return time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime(micros // 1_000_000)) + f".{micros % 1_000_000:06d}Z"


def _check_value(name, value):
    if name in _TEXTS and not isinstance(value, str):
        raise InvalidRequest(f"{name}: must be a text")
    if name in _NUMBERS and value is not None and not (type(value) is int and 0 <= value <= _MOST):
        raise InvalidRequest(f"{name}: must be a whole number from 0 to {_MOST}")


def _bytes_of(text):
    if len(text) % 2:
        raise InvalidRequest("hex: odd number of hexadecimal digits")
    if set(text) - set("0123456789abcdefABCDEF"):
        raise InvalidRequest(f"hex: not a hexadecimal text: {text[:_SHOWN]}")
    return bytes.fromhex(text)


def check(record):
    """Returns the record when it is one that a daemon writes; raises InvalidRequest, naming the wrong place."""
    if not isinstance(record, dict):
        raise InvalidRequest("the document: must be an object")
    for name in (*_NUMBERS, *_TEXTS):
        if name in record:
            _check_value(name, record[name])
    if "hex" not in record:
        raise InvalidRequest("hex: missing")
    if record.get("direction") not in ("in", "out"):
        raise InvalidRequest('direction: must be "in" or "out"')
    for name in sorted(record):
        if name not in _TEXTS and name not in _NUMBERS:
            raise InvalidRequest(f"{name}: unknown key")
    _bytes_of(record["hex"])
    return record


def _whose(record):
    """The request that the message belongs to, or the process that wrote or reads it."""
    if record.get("request") is not None:
        return f"  request {record['request']}"
    return f"  process {record['pid']}" if record.get("pid") is not None else ""


def brief(record):
    """A record on one line: time, daemon, direction, queue, summary, outcome, request."""
    data = _bytes_of(record["hex"])
    arrow = "<-" if record["direction"] == "in" else "->"
    note = record.get("note", "")
    way = f"{record.get('daemon', '')} {arrow} {record.get('queue', '')}"
    summary = summarize(data, record.get("command", ""))
    return printable(f"{time_text(record.get('micros', 0))}  {way}  {len(data)} bytes  {summary}"
                     f"{f'  [{note}]' if note else ''}{_whose(record)}") + "\n"


def full(record):
    """The same line, then one for every field of the message."""
    lines = [brief(record)]
    for field in explain(_bytes_of(record["hex"]), record.get("command", "")):
        lines.append(f"    {field.offset:04d}  {'  ' * field.depth}{field.name}: {field.value}\n")
    return "".join(lines)


def read_lines(lines, name):
    """Yields the records of a file's lines (bytes). Raises InvalidRequest with the file's name and the line."""
    for number, line in enumerate(lines, 1):
        try:
            yield check(json.loads(line.decode()))
        except InvalidRequest as error:
            raise InvalidRequest(f"{name}, line {number}: {error}") from error
        except (ValueError, RecursionError) as error:
            raise InvalidRequest(f"{name}, line {number}: is no JSON") from error
