"""The faults that rules can name: those of messages (camera/messages/faultKinds.cpp has the same) and those of HTTP."""

import dataclasses
import re

from ..admin import InvalidRequest
from ..messages import protocol
from .operation import shown, unknown

# A value is one number, a range of numbers, bytes or nothing.
_NUMBER = re.compile(r"-?[0-9]{1,18}")
_RANGE = re.compile(r"([0-9]{1,18})-([0-9]{1,18})")


@dataclasses.dataclass(frozen=True)
class Kind:
    """A fault. key: of its value in a rule, None when it takes none. value: the same for people."""

    name: str
    key: str | None
    value: str
    meaning: str


MESSAGES = (
    Kind("late", "ms", "MS or MS-MS", "the reply after this time, or after one between these, 1000"),
    Kind("missing", None, "", "no reply, although the command is carried out"),
    Kind("refused", "status", "STATUS", "this status byte, 1; the command is not carried out"),
    Kind("category", "category", "CATEGORY", "a message of this category, 2"),
    Kind("no_response", None, "", "a reply without the response element"),
    Kind("truncated", "bytes", "BYTES", "the first bytes of the message only, 6"),
    Kind("short", "bytes", "BYTES", "a consistent message with this much data after the status, 0"),
    Kind("index", "by", "BY", "a page that says to begin elsewhere, by 1"),
    Kind("too_many", "by", "BY", "a page of more entries than were asked for, by 1"),
    Kind("list_id", "by", "BY", "a list that was rebuilt before this page, its id grown by 1"),
    Kind("extra", "bytes", "BYTES", "bytes behind the message, 8"),
    Kind("garbage", "bytes", "BYTES", "bytes without meaning, 40"),
    Kind("reply", "hex", "HEX", "this message, whatever its bytes are"),
)
HTTP = (
    Kind("refused", None, "", "connections are refused; for /* alone"),
    Kind("silent", None, "", "accepted, and nothing is said"),
    Kind("crashed", None, "", "the gateway ends by a signal"),
    Kind("timeout", None, "", "the gateway is killed at the server's time limit, at once"),
    Kind("cut", "bytes", "BYTES", "the first bytes of the body, half of it, then the connection is closed"),
    Kind("slow", "bytes_per_second", "BYTES", "as many bytes a second, 100"),
    Kind("late", "ms", "MS or MS-MS", "the answer after this time, or after one between these, 1000"),
    Kind("status", "status", "STATUS", "an answer of the server's with this status, 503"),
)

# Of HTTP, where a rule may stand: any path below the control space, or all that begin alike.
PATHS = ("/*", "/command/*", "/command/ble/scan")


def is_path(command):
    return command.startswith("/")


def commands():
    """The names of the commands that rules are for."""
    return (*(command.name for command in protocol.COMMANDS), *protocol.PAIRING_STATE_COMMANDS, protocol.ANY_COMMAND)


def canonical(command):
    """The command of a rule by its name, or a path; raises InvalidRequest for anything else."""
    name = command if is_path(command) else protocol.canonical(command)
    if not name:
        raise InvalidRequest(unknown("command", command, commands()))
    return name


def find(command, fault):
    """The kind of a fault for this command; raises InvalidRequest when there is none."""
    kinds = HTTP if is_path(command) else MESSAGES
    found = next((kind for kind in kinds if kind.name == fault), None)
    if not found:
        where = "of HTTP" if is_path(command) else "of messages"
        raise InvalidRequest(unknown(f"fault {where}", fault, tuple(kind.name for kind in kinds)))
    return found


def _range(kind, text):
    low, high = map(int, _RANGE.fullmatch(text).groups())
    if low > high:
        raise InvalidRequest(f"value: {text} ends before it begins")
    return {kind.key: low, f"max_{kind.key}": high}


def value_fields(kind, value):
    """The members of a rule that its value makes: {"ms": 1000}. value: a number or a text; None for the default."""
    if value is None:
        return {}
    if kind.key is None:
        raise InvalidRequest(f"the fault {kind.name} takes no value")
    if kind.key == "hex":
        return {"hex": str(value)}
    text = value if isinstance(value, str) else shown(value)
    if kind.key == "ms" and _RANGE.fullmatch(text):
        return _range(kind, text)
    if not _NUMBER.fullmatch(text):
        raise InvalidRequest(f"value: must be {kind.value}, not {text}")
    return {kind.key: int(text)}


def rows():
    """What help lists."""
    return (*((" ".join(filter(None, (kind.name, kind.value))), kind.meaning) for kind in MESSAGES),
            ("", ""), ("for a path of HTTP:", ""),
            *((" ".join(filter(None, (kind.name, kind.value))), kind.meaning) for kind in HTTP))
