"""Tags, commands and status bytes: the tables of camera/messages/bleProtocol.h, commandNames.h and tlv.h."""

import dataclasses

TAG_COMMAND = 65
TAG_DATA = 66
TAG_DESTINATION = 67
TAG_REPLY_QUEUE = 68
TAG_RESPONSE = 69
TAG_TAIL = 238
CATEGORY_REQUEST = 2
CATEGORY_REPLY = 3

BLE_TAG = b"BL"
PAIRING_STATE_COMMANDS = ("PD", "PX")  # those that zvNetD carries out itself
ANY_COMMAND = "*"  # in a fault rule
QUEUE_DAEMONS = ("zvNetD", "zvBleD")  # the programs that serve a queue, in the order in which a request passes them

SCAN_ENTRY_SIZE = 82
WHITELIST_ENTRY_SIZE = 41
PAGE_HEADER_SIZE = 4  # list id, total, index, count


@dataclasses.dataclass(frozen=True)
class Command:
    """data_size: of the request's data, the code included. entry_size: of a page's entries; 0 when there are none."""

    code: int
    name: str
    data_size: int
    entry_size: int


COMMANDS = (
    Command(1, "scan", 2, 0),
    Command(2, "pair_start", 8, 0),
    Command(3, "pair_cancel", 8, 0),
    Command(4, "scan_list", 3, SCAN_ENTRY_SIZE),
    Command(6, "whitelist_list", 3, WHITELIST_ENTRY_SIZE),
    Command(7, "whitelist_configure", 9, 0),
    Command(8, "config_set", 3, 0),
    Command(9, "pair_status", 1, 0),
    Command(10, "config_get", 1, 0),
)
_BY_CODE = {command.code: command for command in COMMANDS}
_BY_NAME = {name: command for command in COMMANDS for name in (command.name, str(command.code))}

_STATUSES = ("ok", "unknown command", "bad parameters", "busy", "not found", "no room", "unreachable")
_PAIRING_STATUSES = ("idle", "pairing", "paired", "failed", "cancelled", "timed out")


def by_code(code):
    """The command of a code, or None."""
    return _BY_CODE.get(code)


def by_name(name_or_code):
    """The command of a name, or of a code as a decimal text, or None."""
    return _BY_NAME.get(name_or_code)


def canonical(text):
    """A command as rules and traces name it: of a BLE command its name, "PD", "PX" or "*"; "" for anything else."""
    if text == ANY_COMMAND or text in PAIRING_STATE_COMMANDS:
        return text
    command = by_name(text)
    return command.name if command else ""


def command_of(tag, data):
    """The canonical command of a request with this tag and data element (bytes); "" when there is none."""
    if tag in (b"PD", b"PX"):
        return tag.decode()
    command = by_code(data[0]) if tag == BLE_TAG and data else None
    return command.name if command else ""


def _numbered(status, names):
    return f"{status} ({names[status] if status < len(names) else 'unknown status'})"


def status_text(status):
    return _numbered(status, _STATUSES)


def pairing_status_text(status):
    return _numbered(status, _PAIRING_STATUSES)
