"""Messages, as bytes and taken apart."""

import pytest
from zvcamera.messages import message
from zvcamera.messages.message import Element

REQUEST = bytes([0x00, 0x15, 0x00, 0x02, 0x00, 0x00, 0x02, 0x41, 0x42, 0x4c, 0x00, 0x00, 0x03, 0x42, 0x06, 0x1e, 0x14,
                 0x00, 0x00, 0x00, 0xee])


def test_a_message_is_taken_apart():
    decoded = message.decode(REQUEST)
    assert decoded.problem == ""
    assert decoded.category == 2
    assert decoded.elements == [Element(65, b"BL"), Element(66, b"\x06\x1e\x14"), Element(238)]
    assert decoded.find(66) == Element(66, b"\x06\x1e\x14")
    assert decoded.find(69) is None


def test_a_message_is_put_together():
    assert message.encode(2, [Element(65, b"BL"), Element(66, b"\x06\x1e\x14"), Element(238)]) == REQUEST
    assert message.reply(0, b"\x01") == bytes([0, 14, 0, 3, 0, 0, 2, 0x45, 0, 1, 0, 0, 0, 0xee])


@pytest.mark.parametrize("data, problem", [
    (b"", "shorter than a message header"),
    (b"\0\4\0", "shorter than a message header"),
    (b"\0\4\0\2", "no tail at the end"),
    (b"\0\6\0\2\0\0", "element cut short"),
    (REQUEST[:-1], "element cut short"),
    (b"\0\x16" + REQUEST[2:], "header says 22 bytes, got 21"),
    (message.encode(2, [Element(238), Element(65)]), "no tail at the end"),
    (message.encode(2, [Element(238), Element(238)]), "tail before the end"),
    (message.encode(2, [Element(238, b"x")]), "tail with data"),
])
def test_the_first_fault_is_said(data, problem):
    assert message.decode(data).problem == problem
