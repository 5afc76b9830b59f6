"""The table of faults."""

import os
import re

import pytest
from zvcamera.admin import InvalidRequest
from zvcamera.operations import fault_kinds

ROOT = os.path.join(os.path.dirname(__file__), "..", "..", "..")


def test_faults_of_messages_are_those_of_the_daemons():
    with open(os.path.join(ROOT, "camera", "messages", "faultKinds.cpp"), encoding="utf-8") as file:
        rows = re.findall(r'\{\.name = "(\w+)"(?:, \.parameter = \{(?:\.key = )?"(\w+)")?', file.read())
    assert len(rows) >= 12
    known = [(kind.name, kind.key or "") for kind in fault_kinds.MESSAGES]
    assert set(rows) <= set(known)


@pytest.mark.parametrize("command, name", [
    ("1", "scan"), ("scan_list", "scan_list"), ("*", "*"), ("PD", "PD"), ("/*", "/*"),
    ("/command/ble/scan", "/command/ble/scan"), ("scn", None), ("", None)])
def test_a_rule_is_for_a_command_or_a_path(command, name):
    if name is None:
        with pytest.raises(InvalidRequest, match="^unknown command "):
            fault_kinds.canonical(command)
    else:
        assert fault_kinds.canonical(command) == name


@pytest.mark.parametrize("command, fault, value, fields", [
    ("scan", "late", None, {}),
    ("scan", "late", 300, {"ms": 300}),
    ("scan", "late", "300", {"ms": 300}),
    ("scan", "late", "1000-3000", {"ms": 1000, "max_ms": 3000}),
    ("scan", "missing", None, {}),
    ("scan_list", "index", "-3", {"by": -3}),
    ("scan", "reply", "00ff", {"hex": "00ff"}),
    ("scan", "reply", "", {"hex": ""}),
    ("/*", "refused", None, {}),
    ("/*", "status", "503", {"status": 503}),
    ("/*", "slow", 10, {"bytes_per_second": 10}),
    ("/*", "cut", 10, {"bytes": 10}),
    ("/*", "late", "10-20", {"ms": 10, "max_ms": 20}),
])
def test_a_value_becomes_a_member_of_the_rule(command, fault, value, fields):
    assert fault_kinds.value_fields(fault_kinds.find(command, fault), value) == fields


@pytest.mark.parametrize("command, fault, value, text", [
    ("scan", "missing", 5, "the fault missing takes no value"),
    ("/*", "silent", 0, "the fault silent takes no value"),
    ("scan", "late", "x", "value: must be MS or MS-MS, not x"),
    ("scan", "late", "3-1", "value: 3-1 ends before it begins"),
    ("scan", "late", True, "value: must be MS or MS-MS, not true"),
    ("scan", "refused", "1-2", "value: must be STATUS, not 1-2"),
    ("scan", "lat", None, "unknown fault of messages lat: did you mean late?"),
    ("scan", "slow", None, "unknown fault of messages slow"),
    ("/*", "garbage", None, "unknown fault of HTTP garbage"),
])
def test_what_is_wrong_is_said(command, fault, value, text):
    with pytest.raises(InvalidRequest) as caught:
        fault_kinds.value_fields(fault_kinds.find(command, fault), value)
    assert str(caught.value).startswith(text)
