"""Messages of the camera's queues.

Bytes: header {total length, 2 bytes big-endian, the header included; 0; category}, then elements {0; data length, 2
bytes big-endian; tag; data}, the last of them the tail (tag 238, no data).
"""

import dataclasses

from . import protocol
from .cursor import Cursor

HEADER_SIZE = 4


@dataclasses.dataclass(frozen=True)
class Element:
    tag: int
    data: bytes = b""


@dataclasses.dataclass
class Message:
    """All that can be read before the first fault. problem: that fault in words, "" for a well-formed message."""

    category: int = 0
    elements: list = dataclasses.field(default_factory=list)
    problem: str = ""

    def find(self, tag):
        """The first element with the tag, or None."""
        return next((element for element in self.elements if element.tag == tag), None)


def _tail_problem(elements):
    tails = [place for place, element in enumerate(elements) if element.tag == protocol.TAG_TAIL]
    if not tails or elements[-1].tag != protocol.TAG_TAIL:
        return "no tail at the end"
    if tails[0] != len(elements) - 1:
        return "tail before the end"
    return "tail with data" if elements[-1].data else ""


def decode(data):
    """Reads a message from any bytes; never raises."""
    message = Message()
    cursor = Cursor(data)
    total = cursor.big16()
    cursor.byte()
    message.category = cursor.byte()
    if cursor.overrun:
        message.problem = "shorter than a message header"
        return message
    while cursor.left > 0:
        cursor.byte()
        length = cursor.big16()
        tag = cursor.byte()
        content = cursor.take(length)
        if cursor.overrun:
            message.problem = "element cut short"
            return message
        message.elements.append(Element(tag, content))
    if total != len(data):
        message.problem = f"header says {total} bytes, got {len(data)}"
    else:
        message.problem = _tail_problem(message.elements)
    return message


def encode(category, elements):
    """The bytes of a message. A header holds the low 16 bits of a length; the bytes themselves are never cut."""
    body = b"".join(b"\0" + (len(each.data) & 0xffff).to_bytes(2, "big") + bytes([each.tag]) + each.data
                    for each in elements)
    return ((HEADER_SIZE + len(body)) & 0xffff).to_bytes(2, "big") + bytes([0, category]) + body


def reply(status, data=b""):
    """The bytes of a reply: category 3, the response element {status, data...}, the tail."""
    response = Element(protocol.TAG_RESPONSE, bytes([status]) + bytes(data))
    return encode(protocol.CATEGORY_REPLY, [response, Element(protocol.TAG_TAIL)])
