"""Messages in words."""

import random

import pytest
from zvcamera.messages import message
from zvcamera.messages.explain import explain, summarize
from zvcamera.messages.message import Element

PAGE_REQUEST = bytes([0x00, 0x2d, 0x00, 0x02, 0x00, 0x00, 0x02, 0x41]) + b"BL" + bytes([
    0x00, 0x00, 0x03, 0x42, 0x06, 0x1e, 0x14, 0x00, 0x00, 0x09, 0x44]) + b"/to_ZVCC7" + bytes([
        0x00, 0x00, 0x07, 0x43]) + b"/to_ble" + bytes([0x00, 0x00, 0x00, 0xee])
WHITELIST_ENTRY = bytes([1, 2, 3, 4, 5, 6, 0x5a, 0, 10, 2]) + b"Hi".ljust(31, b"\0")
SCAN_ENTRY = bytes([1, 2, 3, 4, 5, 6, 1, 0xc4, 14, 2, 0, 0, 16, 2]) + b"Hi\x0d\x18".ljust(68, b"\0")


def test_names_every_field_of_a_request():
    assert explain(PAGE_REQUEST) == [
        (0, 0, "total length", "45"), (3, 0, "category", "2 (request)"), (4, 0, "command tag", '65, 2 bytes: "BL"'),
        (10, 0, "data", "66, 3 bytes"), (14, 1, "command", "6 (whitelist_list)"), (15, 1, "start index", "30"),
        (16, 1, "maximum", "20"), (17, 0, "reply queue", '68, 9 bytes: "/to_ZVCC7"'),
        (30, 0, "destination", '67, 7 bytes: "/to_ble"'), (41, 0, "tail", "238, 0 bytes")]


def test_names_the_page_and_the_entries_of_a_reply():
    assert explain(message.reply(0, bytes([3, 1, 0, 1]) + WHITELIST_ENTRY), "whitelist_list") == [
        (0, 0, "total length", "58"), (3, 0, "category", "3 (reply)"), (4, 0, "response", "69, 46 bytes"),
        (8, 1, "status", "0 (ok)"), (9, 1, "list id", "3"), (10, 1, "total", "1"), (11, 1, "index", "0"),
        (12, 1, "count", "1"), (13, 1, "entry", "0"), (13, 2, "address", "060504030201"),
        (19, 2, "flags", "0x005a in-use connected mitm auto-connect"), (21, 2, "name", '"Hi"'),
        (54, 0, "tail", "238, 0 bytes")]


def test_names_a_scan_entry():
    assert explain(message.reply(0, bytes([3, 1, 0, 1]) + SCAN_ENTRY), "scan_list")[9:15] == [
        (13, 2, "address", "060504030201"), (19, 2, "address type", "1"), (20, 2, "rssi", "-60"),
        (21, 2, "name", '"Hi"'), (23, 2, "uuid128", ""), (25, 2, "uuid16", "180d")]


def test_entries_are_numbered_from_the_index():
    fields = explain(message.reply(0, bytes([3, 9, 7, 2]) + 2 * WHITELIST_ENTRY), "6")
    assert [field.value for field in fields if field.name == "entry"] == ["7", "8"]


def test_says_when_a_count_and_its_entries_differ():
    assert explain(message.reply(0, bytes([3, 9, 0, 2, 1])), "scan_list")[8] == (
        13, 1, "malformed", "the count says 2 entries, there are 0, 1 bytes left")


@pytest.mark.parametrize("data, shown", [
    ("0102", "command=1 (scan);mode=2;"),
    ("02f6e5d4c3b2a101", "command=2 (pair_start);address=a1b2c3d4e5f6;address type=1;"),
    ("03f6e5d4c3b2a100", "command=3 (pair_cancel);address=a1b2c3d4e5f6;address type=0;"),
    ("04010f", "command=4 (scan_list);start index=1;maximum=15;"),
    ("070401010203040506",
     "command=7 (whitelist_configure);operation=4 (auto connect);argument=1;address=060504030201;"),
    ("070000010203040506", "command=7 (whitelist_configure);operation=0 (remove);argument=0;address=060504030201;"),
    ("070100010203040506", "command=7 (whitelist_configure);operation=1 (unknown);argument=0;address=060504030201;"),
    ("0800ff", "command=8 (config_set);reserved=0;auto connect=255;"),
    ("09", "command=9 (pair_status);"),
    ("0a", "command=10 (config_get);"),
    ("0501", "bytes=0501;"),
    ("0901", "command=9 (pair_status), wrong size;bytes=0901;"),
    ("", ""),
])
def test_names_every_commands_parameters(data, shown):
    request = message.encode(2, [Element(65, b"BL"), Element(66, bytes.fromhex(data)), Element(238)])
    assert "".join(f"{name}={value};" for _, depth, name, value in explain(request) if depth == 1) == shown


@pytest.mark.parametrize("status, data, command, place, field", [
    (0, b"\2", "pair_status", 4, (9, 1, "pairing status", "2 (paired)")),
    (0, b"\1", "config_get", 4, (9, 1, "auto connect", "1")),
    (0, b"\1", "", 4, (9, 1, "bytes", "01")),
    (6, b"", "PD", 3, (8, 1, "status", "6 (unreachable)")),
])
def test_names_status_values(status, data, command, place, field):
    assert explain(message.reply(status, data), command)[place] == field


def test_a_response_may_be_empty_and_an_element_unknown():
    fields = explain(message.encode(3, [Element(69), Element(1, b"\xab"), Element(238)]), "scan")
    assert fields[2:5] == [(4, 0, "response", "69, 0 bytes"), (8, 1, "status", "missing"),
                           (8, 0, "unknown element", "1, 1 bytes: ab")]


def test_a_malformed_message_gives_what_can_be_read():
    assert explain(PAGE_REQUEST[:12]) == [
        (0, 0, "total length", "45"), (3, 0, "category", "2 (request)"), (4, 0, "command tag", '65, 2 bytes: "BL"'),
        (10, 0, "malformed", "element cut short"), (10, 0, "rest", "0000")]
    assert explain(b"") == [(0, 0, "malformed", "shorter than a message header")]


@pytest.mark.parametrize("data, command, shown", [
    (PAGE_REQUEST, "", 'request "BL" whitelist_list'),
    (message.reply(3), "scan", "reply to scan, status 3 (busy)"),
    (message.reply(3), "", "reply, status 3 (busy)"),
    (b"\1", "", "malformed: shorter than a message header"),
    (message.encode(2, [Element(65, b"X\n"), Element(238)]), "", 'request "X\\x0a" of no known command'),
    (message.encode(2, [Element(65, b"PD"), Element(238)]), "", 'request "PD" PD'),
    (message.encode(3, [Element(238)]), "", "category 3 (reply), no response element"),
    (message.encode(20, [Element(69, b"\0"), Element(238)]), "", "category 20 (unknown)"),
])
def test_summarizes_on_one_line(data, command, shown):
    assert summarize(data, command) == shown


def test_random_messages_are_explained_without_end():
    chance = random.Random(7)
    for _ in range(2000):
        data = chance.randbytes(chance.randrange(200))
        command = chance.choice(("scan_list", "whitelist_list", "pair_status", ""))
        assert explain(message.reply(0, data), command)
        assert explain(data, "scan_list")
        assert summarize(data, command)


def test_messages_that_are_changed_or_cut_anywhere_are_explained():
    whole = message.reply(0, bytes([3, 2, 0, 2]) + 2 * SCAN_ENTRY)
    for data in (whole, PAGE_REQUEST):
        for place in range(len(data)):
            for changed in (data[:place], data[:place] + b"\xff" + data[place + 1:], data[:place] + data[place + 1:]):
                assert explain(changed, "scan_list")
                assert summarize(changed, "scan_list")
