"""Messages in words: every field of the bytes, with its place, what it is called and what it says."""

import collections

from . import entries, message, protocol
from .quote import quote

# offset: in the message. depth: 0 of the message, 1 of an element, 2 of an entry.
Field = collections.namedtuple("Field", "offset depth name value")

_CATEGORIES = {protocol.CATEGORY_REQUEST: "request", protocol.CATEGORY_REPLY: "reply"}
_TAGS = {protocol.TAG_COMMAND: "command tag", protocol.TAG_DATA: "data", protocol.TAG_DESTINATION: "destination",
         protocol.TAG_REPLY_QUEUE: "reply queue", protocol.TAG_RESPONSE: "response", protocol.TAG_TAIL: "tail"}
_TEXTS = (protocol.TAG_COMMAND, protocol.TAG_DESTINATION, protocol.TAG_REPLY_QUEUE)
# What follows a command's code in a request: offset in the data, name.
_NUMBERS = {
    "scan": ((1, "mode"),),
    "pair_start": ((1, "address"), (7, "address type")),
    "pair_cancel": ((1, "address"), (7, "address type")),
    "scan_list": ((1, "start index"), (2, "maximum")),
    "whitelist_list": ((1, "start index"), (2, "maximum")),
    "whitelist_configure": ((1, "operation"), (2, "argument"), (3, "address")),
    "config_set": ((1, "reserved"), (2, "auto connect")),
}
_OPERATIONS = {0: "remove", 4: "auto connect"}


def _category_text(category):
    return f"{category} ({_CATEGORIES.get(category, 'unknown')})"


def _parameters(offset, command, data):
    for place, name in _NUMBERS.get(command.name, ()):
        if name == "address":
            value = entries.reversed_hex(data[place:place + 6])
        elif name == "operation":
            value = f"{data[place]} ({_OPERATIONS.get(data[place], 'unknown')})"
        else:
            value = str(data[place])
        yield Field(offset + place, 1, name, value)


def _request_data(offset, data, tag):
    command = protocol.by_code(data[0]) if tag == protocol.BLE_TAG and data else None
    if command and len(data) == command.data_size:
        yield Field(offset, 1, "command", f"{data[0]} ({command.name})")
        yield from _parameters(offset, command, data)
        return
    if command:
        yield Field(offset, 1, "command", f"{data[0]} ({command.name}), wrong size")
    if data:
        yield Field(offset, 1, "bytes", data.hex())


def _scan_entry(offset, data):
    entry = entries.read_scan_entry(data)
    yield Field(offset, 2, "address", entry.address)
    yield Field(offset + 6, 2, "address type", str(entry.address_type))
    yield Field(offset + 7, 2, "rssi", str(entry.rssi))
    yield Field(offset + 8, 2, "name", quote(entry.name))
    yield Field(offset + 10, 2, "uuid128", entries.uuids_text(entry.uuid128, entries.UUID128_SIZE))
    yield Field(offset + 12, 2, "uuid16", entries.uuids_text(entry.uuid16, entries.UUID16_SIZE))


def _whitelist_entry(offset, data):
    entry = entries.read_whitelist_entry(data)
    yield Field(offset, 2, "address", entry.address)
    yield Field(offset + 6, 2, "flags", entries.flags_text(entry.flags))
    yield Field(offset + 8, 2, "name", quote(entry.name))


def _page(offset, command, data):
    """data: at least a page's header."""
    for place, name in enumerate(("list id", "total", "index", "count")):
        yield Field(offset + place, 1, name, str(data[place]))
    index, count = data[2], data[3]
    content = len(data) - protocol.PAGE_HEADER_SIZE
    shown = min(count, content // command.entry_size)
    entry_fields = _scan_entry if command.name == "scan_list" else _whitelist_entry
    for number in range(shown):
        place = protocol.PAGE_HEADER_SIZE + number * command.entry_size
        yield Field(offset + place, 1, "entry", str(index + number))
        yield from entry_fields(offset + place, data[place:])
    left = content - shown * command.entry_size
    if left or count * command.entry_size != content:
        yield Field(offset + protocol.PAGE_HEADER_SIZE + shown * command.entry_size, 1, "malformed",
                    f"the count says {count} entries, there are {content // command.entry_size}, {left} bytes left")


def _response(offset, data, answered):
    """answered: the name of the command that the reply answers."""
    if not data:
        yield Field(offset, 1, "status", "missing")
        return
    yield Field(offset, 1, "status", protocol.status_text(data[0]))
    rest = data[1:]
    command = protocol.by_name(answered)
    name = command.name if command else ""
    if command and command.entry_size and len(rest) >= protocol.PAGE_HEADER_SIZE:
        yield from _page(offset + 1, command, rest)
    elif name == "pair_status" and len(rest) == 1:
        yield Field(offset + 1, 1, "pairing status", protocol.pairing_status_text(rest[0]))
    elif name == "config_get" and len(rest) == 1:
        yield Field(offset + 1, 1, "auto connect", str(rest[0]))
    elif rest:
        yield Field(offset + 1, 1, "bytes", rest.hex())


def _element(offset, element, tag, answered):
    name = _TAGS.get(element.tag, "unknown element")
    value = f"{element.tag}, {len(element.data)} bytes"
    inside = offset + message.HEADER_SIZE
    if element.tag in _TEXTS:
        yield Field(offset, 0, name, f"{value}: {quote(element.data)}")
    elif element.tag in _TAGS:
        yield Field(offset, 0, name, value)
    else:
        yield Field(offset, 0, name, f"{value}: {element.data.hex()}")
    if element.tag == protocol.TAG_DATA:
        yield from _request_data(inside, element.data, tag)
    elif element.tag == protocol.TAG_RESPONSE:
        yield from _response(inside, element.data, answered)


def _fields(data, answered):
    decoded = message.decode(data)
    offset = message.HEADER_SIZE
    if len(data) >= offset:
        yield Field(0, 0, "total length", str(int.from_bytes(data[:2], "big")))
        yield Field(3, 0, "category", _category_text(decoded.category))
    tagged = decoded.find(protocol.TAG_COMMAND)
    for element in decoded.elements:
        yield from _element(offset, element, tagged.data if tagged else b"", answered)
        offset += message.HEADER_SIZE + len(element.data)
    if decoded.problem:
        yield Field(min(offset, len(data)), 0, "malformed", decoded.problem)
        if offset < len(data):
            yield Field(offset, 0, "rest", data[offset:].hex())


def explain(data, answered=""):
    """The fields of a message, from any bytes; never raises. A malformed message gives those that can be read, and at
    the end "malformed".

    answered: for a reply, the canonical name of the command that it answers, since the reply itself does not say;
    without it its data stay hexadecimal.
    """
    return list(_fields(bytes(data), answered))


def summarize(data, answered=""):
    """A message on one line: `request "BL" scan_list`, `reply to scan_list, status 0 (ok)`."""
    decoded = message.decode(bytes(data))
    if decoded.problem:
        return f"malformed: {decoded.problem}"
    tagged, asked, response = map(decoded.find, (protocol.TAG_COMMAND, protocol.TAG_DATA, protocol.TAG_RESPONSE))
    if decoded.category == protocol.CATEGORY_REPLY and response and response.data:
        return f"reply{f' to {answered}' if answered else ''}, status {protocol.status_text(response.data[0])}"
    if decoded.category != protocol.CATEGORY_REQUEST or not tagged:
        return f"category {_category_text(decoded.category)}{'' if response else ', no response element'}"
    command = protocol.command_of(tagged.data, asked.data if asked else b"")
    return f"request {quote(tagged.data)} {command or 'of no known command'}"
