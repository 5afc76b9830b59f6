"""What an operation on a running camera is: described once, and from that the command line, HTTP and Python are made.

A group of operations is one module here that calls operation() for each. A face never knows a single operation: it
walks all().
"""

import dataclasses
import json
from collections.abc import Callable
from typing import Any

from ..admin import InvalidRequest

REQUIRED = object()  # as a default: the parameter has to be given
_SHOWN = 60  # as much of a wrong value as an error text repeats


@dataclasses.dataclass(frozen=True)
class Parameter:
    """One thing that an operation is told.

    name: of the keyword in Python, the member of the JSON body and the place in the path of the URI. On the command
        line it is a positional word, or with `option` ("--count") an option.
    kind: "text", "number" (whole), "fraction" (0 to 1), "flag", "value" (a text, a whole number, true or false; on the
        command line always a text), "hex" (bytes, two digits each), "pairs" (an object; on the command line the words
        key=value), "words" (a list of texts; all words that are left, options included) or "document" (any JSON; on
        the command line the path of a file with it, checked as the user wrote it).
    choices: the texts that are allowed; when another is given, the nearest one is named.
    low, high: the range of a number, or None where the camera alone knows it.
    rows: what help lists about it: pairs (word, meaning). Of "pairs" these are the keys, and no others are allowed.
    candidates: called with the link; returns texts that the command line proposes for completion.
    """

    name: str
    kind: str = "text"
    help: str = ""
    default: Any = REQUIRED
    option: str | None = None
    short: str | None = None
    choices: tuple[str, ...] = ()
    low: int | None = None
    high: int | None = None
    rows: tuple[tuple[str, str], ...] = ()
    candidates: Callable[[Any], Any] | None = None

    @property
    def required(self):
        return self.default is REQUIRED


@dataclasses.dataclass(frozen=True)
class Operation:
    """One operation.

    command: the words of the command line behind "zvcam".
    method, path: of HTTP, below /simulator; "{name}" in the path is a parameter, all others of POST, PUT and PATCH are
        members of the JSON body, and of GET and DELETE are in the query.
    act: called with the link and the parameters as keywords; returns what can be written as JSON, or, of an operation
        that follows, yields such events for ever. Raises AdminError, InvalidRequest or Unreachable.
    text: makes of the result, or of an event, what people read; None: members aligned, one a line.
    brief: the same in fewer lines, for those who ask for it on the command line.
    alone: on the command line, the words without the last one do this, too ("fault" is "fault list").
    options: on the command line, these do it, given to the words without the last one ("trace -f" is "trace follow").
    """

    command: tuple[str, ...]
    method: str
    path: str
    help: str
    act: Callable[..., Any]
    parameters: tuple[Parameter, ...] = ()
    text: Callable[[Any], str] | None = None
    follows: bool = False
    brief: Callable[[Any], str] | None = None
    alone: bool = False
    options: tuple[str, ...] = ()

    @property
    def name(self):
        """The name in Python: "fault add" is fault_add."""
        return "_".join(self.command).replace("-", "_")

    def check(self, given):
        """The keywords for act, from an object of the caller's. Raises InvalidRequest, naming what is wrong."""
        known = {parameter.name: parameter for parameter in self.parameters}
        for name in given:
            if name not in known:
                raise InvalidRequest(unknown("parameter", name, tuple(known)))
        keywords = {}
        for parameter in self.parameters:
            if parameter.name in given:
                keywords[parameter.name] = checked(parameter, given[parameter.name])
            elif parameter.required:
                raise InvalidRequest(f"{parameter.name}: missing")
            else:
                keywords[parameter.name] = parameter.default
        return keywords


def _is_number(value):
    return type(value) is int


_KINDS = {
    "text": (lambda value: isinstance(value, str), "a text"),
    "number": (_is_number, "a whole number"),
    "fraction": (lambda value: type(value) in (int, float), "a number from 0 to 1"),
    "flag": (lambda value: isinstance(value, bool), "true or false"),
    "value": (lambda value: isinstance(value, (str, bool)) or _is_number(value),
              "a text, a whole number, true or false"),
    "hex": (lambda value: isinstance(value, str), "bytes, two hexadecimal digits each"),
    "pairs": (lambda value: isinstance(value, dict), "an object"),
    "words": (lambda value: isinstance(value, list) and all(isinstance(word, str) for word in value),
              "a list of texts"),
    "document": (lambda value: True, "a document"),
}


def shown(value):
    """A value in an error text, as JSON has it."""
    text = json.dumps(value, ensure_ascii=False)
    return text if len(text) <= _SHOWN else text[:_SHOWN] + "..."


def nearest(word, known):
    """The end of an error text about a word that is none of the known ones: the nearest, or all when none is near."""
    import difflib  # takes its time, and is needed for mistakes only

    near = difflib.get_close_matches(str(word).lower(), [each.lower() for each in known], 1, 0.6)
    if near:
        return f": did you mean {next(each for each in known if each.lower() == near[0])}?"
    return f": must be one of {', '.join(known)}" if known else ": there is none"


def unknown(what, word, known):
    """The whole of such an error text."""
    return f"unknown {what} {str(word)[:_SHOWN]}{nearest(word, known)}"


def _range(parameter):
    if parameter.low is None:
        return f"at most {parameter.high}"
    return f"at least {parameter.low}" if parameter.high is None else f"from {parameter.low} to {parameter.high}"


def _within(parameter, value):
    return (parameter.low is None or value >= parameter.low) and (parameter.high is None or value <= parameter.high)


def _is_hex(text):
    return len(text) % 2 == 0 and not set(text) - set("0123456789abcdefABCDEF")


def _check_keys(parameter, pairs):
    known = [row[0] for row in parameter.rows]
    for key in pairs:
        if key not in known:
            raise InvalidRequest(f"{parameter.name}.{key[:_SHOWN]}: unknown key{nearest(key, known)}")


def checked(parameter, value):
    """The value of a parameter; raises InvalidRequest when it is of another kind or outside its range."""
    if value is None and not parameter.required and parameter.default is None:
        return None
    is_right, meaning = _KINDS[parameter.kind]
    if not is_right(value):
        raise InvalidRequest(f"{parameter.name}: must be {meaning}, not {shown(value)}")
    if parameter.choices and value not in parameter.choices:
        raise InvalidRequest(unknown(parameter.name, value, parameter.choices))
    if parameter.kind == "fraction" and not 0 <= value <= 1:
        raise InvalidRequest(f"{parameter.name}: must be a number from 0 to 1, not {value}")
    if parameter.kind == "number" and not _within(parameter, value):
        raise InvalidRequest(f"{parameter.name}: must be a whole number {_range(parameter)}, not {value}")
    if parameter.kind == "pairs" and parameter.rows:
        _check_keys(parameter, value)
    if parameter.kind == "hex" and not _is_hex(value):
        raise InvalidRequest(f"{parameter.name}: must be bytes, two hexadecimal digits each, not {shown(value)}")
    return value


_REGISTERED = []


def operation(command, http, help, *parameters, **more):  # noqa: A002
    """Registers the decorated function as an operation: operation("fault add", "POST /faults", "Add a rule", ...).

    more: text, brief, follows, alone, options.
    """
    method, _, path = http.partition(" ")

    def register(act):
        _REGISTERED.append(Operation(tuple(command.split()), method, path, help, act, parameters, **more))
        return act
    return register


def registered():
    return tuple(_REGISTERED)
