"""The tables of the protocol."""

import os
import re

import pytest
from zvcamera.messages import protocol

MESSAGES = os.path.join(os.path.dirname(__file__), "..", "..", "..", "camera", "messages")


def _header(name):
    with open(os.path.join(MESSAGES, name), encoding="utf-8") as file:
        return file.read()


def test_commands_are_those_of_the_daemons():
    header = _header("bleProtocol.h")
    codes = {name: int(code) for name, code in re.findall(r"^    (\w+) = (\d+), +// \{", header, re.MULTILINE)}
    sizes = {"0": 0, "scanEntrySize": protocol.SCAN_ENTRY_SIZE, "whitelistEntrySize": protocol.WHITELIST_ENTRY_SIZE}
    rows = re.findall(r'\{BleCode::(\w+), "(\w+)", (\d+), (\w+)\}', header)
    assert len(rows) == 9
    assert [(command.code, command.name, command.data_size, command.entry_size) for command in protocol.COMMANDS] == [
        (codes[code], name, int(size), sizes[entry]) for code, name, size, entry in rows]


@pytest.mark.parametrize("text, name", [
    ("scan", "scan"), ("1", "scan"), ("10", "config_get"), ("PD", "PD"), ("PX", "PX"), ("*", "*"),
    ("", ""), ("5", ""), ("01", ""), ("Scan", ""), ("pd", ""), ("scan ", "")])
def test_a_command_goes_by_name_or_code(text, name):
    assert protocol.canonical(text) == name


def test_requests_name_their_command():
    assert protocol.command_of(b"BL", bytes([6, 0, 1])) == "whitelist_list"
    assert protocol.command_of(b"PD", b"") == "PD"
    assert protocol.command_of(b"BL", b"") == ""
    assert protocol.command_of(b"BL", bytes([5])) == ""
    assert protocol.command_of(b"XX", bytes([6])) == ""


def test_status_bytes_have_names():
    assert [protocol.status_text(status) for status in (0, 1, 2, 3, 4, 5, 6, 7, 255)] == [
        "0 (ok)", "1 (unknown command)", "2 (bad parameters)", "3 (busy)", "4 (not found)", "5 (no room)",
        "6 (unreachable)", "7 (unknown status)", "255 (unknown status)"]
    assert [protocol.pairing_status_text(status) for status in range(7)] == [
        "0 (idle)", "1 (pairing)", "2 (paired)", "3 (failed)", "4 (cancelled)", "5 (timed out)", "6 (unknown status)"]
