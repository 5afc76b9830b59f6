"""From method and path of a request to the operation that they name, and back: where each operation is found."""

import urllib.parse

from .. import operations
from ..admin import InvalidRequest
from . import PREFIX

_EVENTS = "/events"


class NotFound(Exception):
    """No operation has this path."""


class MethodNotAllowed(Exception):
    """The path is right, but takes other methods: those in `allowed`."""

    def __init__(self, allowed):
        super().__init__(f"this path takes {', '.join(allowed)}")
        self.allowed = allowed


def path(operation):
    """Path of an operation, below the prefix. An operation that follows has one that ends with /events."""
    told = operation.path.rstrip("/")
    return told + _EVENTS if operation.follows and not told.endswith(_EVENTS) else told


def _placeholder(part):
    return part[1:-1] if part.startswith("{") and part.endswith("}") else None


def path_parameters(operation):
    return [name for name in map(_placeholder, path(operation).split("/")) if name]


def _match(operation, parts):
    """What the path gives the operation's parameters, or None when it is not the operation's path."""
    pattern = path(operation).split("/")
    if len(pattern) != len(parts):
        return None
    given = {}
    for expected, part in zip(pattern, parts, strict=True):
        name = _placeholder(expected)
        if name and part:
            given[name] = part
        elif expected != part:
            return None
    return given


def _decoded(raw_path):
    """The parts between the slashes. They are decoded one by one, so a part may hold %2F."""
    if raw_path != PREFIX and not raw_path.startswith(PREFIX + "/"):
        raise NotFound(f"nothing but {PREFIX} is here")
    try:
        return [urllib.parse.unquote(part, errors="strict") for part in raw_path[len(PREFIX):].split("/")]
    except UnicodeDecodeError as error:
        raise InvalidRequest("the path is no UTF-8") from error


def _methods(operation):
    return (operation.method, "HEAD") if operation.method == "GET" and not operation.follows else (operation.method,)


def find(method, raw_path):
    """(operation, what the path gives its parameters). Raises NotFound, MethodNotAllowed or InvalidRequest."""
    parts = _decoded(raw_path)
    found = [(operation, given) for operation in operations.all() if (given := _match(operation, parts)) is not None]
    if not found:
        raise NotFound(f"there is no {'/'.join(parts)}; GET {PREFIX} lists what there is")
    fitting = [(operation, given) for operation, given in found if method in _methods(operation)]
    if not fitting:
        raise MethodNotAllowed(sorted({name for operation, _ in found for name in _methods(operation)}))
    return min(fitting, key=lambda pair: len(pair[1]))  # /state/all is more exact than /state/{item}


def is_listing(raw_path):
    return raw_path.rstrip("/") == PREFIX
