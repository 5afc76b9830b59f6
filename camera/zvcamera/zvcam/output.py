"""What zvcam prints: results for people or as JSON, and what is wrong."""

import json
import os
import re
import signal
import sys

from ..admin import AdminError
from ..messages.quote import printable, printable_lines

_CONTROLS = re.compile(r"[\x7f-\x9f]")
REFUSED, INVALID, UNREACHABLE, INTERRUPTED = 1, 2, 3, 130


def to_line(value):
    """A value as one line of JSON. JSON itself leaves some control characters as they are."""
    line = json.dumps(value, sort_keys=True, separators=(",", ":"), ensure_ascii=False)
    return _CONTROLS.sub(lambda match: f"\\u{ord(match[0]):04x}", line)


def _scalar(value):
    if isinstance(value, str):
        return printable(value)
    return "none" if value is None else to_line(value)


def _is_nested(value):
    return isinstance(value, (dict, list)) and bool(value)


def _members(members, indent):
    width = max((len(key) for key, value in members.items() if not _is_nested(value)), default=0)
    for key, value in sorted(members.items()):
        if _is_nested(value):
            yield f"{indent}{printable(key)}\n{to_text(value, indent + '  ')}"
        else:
            shown = "none" if isinstance(value, (dict, list)) else _scalar(value)
            yield f"{indent}{printable(key):<{width}}  {shown}\n"


def to_text(result, indent=""):
    """A result for people: members of objects aligned, one a line, nested ones indented below their name."""
    if isinstance(result, dict):
        return "".join(_members(result, indent))
    if not isinstance(result, list):
        return f"{indent}{_scalar(result)}\n"
    return "".join(f"{to_text(item, indent)}\n" if isinstance(item, (dict, list)) else f"{indent}{_scalar(item)}\n"
                   for item in result)


def write(text):
    """Writes to standard output. Ends the program, as the signal for it does, when nobody reads it any more."""
    if sys.stdout is None:
        return  # closed when the program was started
    try:
        sys.stdout.write(text)
        sys.stdout.flush()
    except BrokenPipeError:
        os.dup2(os.open(os.devnull, os.O_WRONLY), 1)  # what is left in the buffer has to go somewhere
        signal.signal(signal.SIGPIPE, signal.SIG_DFL)
        os.kill(os.getpid(), signal.SIGPIPE)
    except OSError as error:
        os.dup2(os.open(os.devnull, os.O_WRONLY), 1)
        raise AdminError(f"standard output: {error.strerror}") from error


def complain(text):
    """Writes one line to standard error."""
    try:
        print(f"zvcam: {printable(text)}", file=sys.stderr, flush=True)
    except OSError:
        pass  # nobody is there to hear it


def fail(text, status, as_json):
    """Tells what is wrong, and returns the exit status."""
    if as_json:
        write(to_line({"error": text, "status": status}) + "\n")
    else:
        complain(text)
    return status


def _items(result):
    """The records of a result that is a list, or an object with a list among its members."""
    if isinstance(result, list):
        return result
    return next((value for value in result.values() if isinstance(value, list)), [])


def _ended(text):
    """A text for people: what programs of the camera have said in it cannot act on the terminal."""
    text = printable_lines(text)
    return f"{text}\n" if text and not text.endswith("\n") else text


def _to_file(items, path):
    try:
        with open(path, "w", encoding="utf-8", errors="backslashreplace") as file:
            for item in items:
                file.write(to_line(item) + "\n")
                file.flush()
    except OSError as error:
        raise AdminError(f"{path}: cannot be written") from error


def show(operation, result, *, as_json, brief=False, by_line=False, path=None):
    """Prints a result, or the events of an operation that follows. by_line: as JSON, one record a line. path: a file
    that gets these lines instead."""
    text = operation.brief if brief and operation.brief else operation.text
    text = text or to_text
    if path is not None:
        _to_file(result if operation.follows else _items(result), path)
    elif operation.follows:
        for event in result:
            write(f"{to_line(event)}\n" if as_json else _ended(text(event)))
    elif as_json:
        items = _items(result) if by_line and result is not None else [{} if result is None else result]
        write("".join(f"{to_line(item)}\n" for item in items))
    elif result is not None:
        write(_ended(text(result)))
