"""What the launcher takes from its camera: any program in it may write in the supervisor's place."""

import io
import json

import pytest

from zvcamera import told

RECORD = {"time": 1.5, "source": "x", "pid": None, "priority": 3, "text": "\x1b[2J"}


def _read(*documents):
    lines = (each if isinstance(each, bytes) else json.dumps(each).encode() for each in documents)
    return list(told.reports(io.BytesIO(b"".join(line + b"\n" for line in lines))))


def test_reports():
    assert _read({"ready": True}, {"log": RECORD}, {"ended": ["a misdeed"]}) == \
        [("ready", True), ("log", RECORD), ("ended", ["a misdeed"])]
    assert _read({"failed": "two\nlines"}) == [("failed", "two\nlines")]


@pytest.mark.parametrize("line", [
    b"", b"{", b"[]", b"null", b"\xff", b"[" * 100_000, {}, {"ready": 1}, {"failed": None}, {"failed": ["x"]}, {"ended": 5},
    {"ended": [1]}, {"ended": "x"}, {"log": []}, {"log": {}},
    *({"log": {**RECORD, name: value}} for name, value in (
        ("pid", "\x1b]0;x\x07"), ("pid", 1.5), ("pid", True), ("priority", []), ("time", "now"), ("time", -1),
        ("time", float("nan")), ("time", float("inf")), ("time", 1e300), ("source", None), ("text", 7)))])
def test_what_is_no_report_is_left_out(line):
    assert _read(line, {"ready": True}) == [("ready", True)]


def test_no_text_acts_on_the_terminal():
    assert _read({"failed": "a\x1b[2J\nb"}, {"ended": ["\x9b2J"]}) == \
        [("failed", "a\\x1b[2J\nb"), ("ended", ["\\x9b2J"])]


def test_complaints(capsys):
    told.pass_complaints_on(io.BytesIO(b"bwrap: no\n\x1b]0;x\x07\xff"))
    assert capsys.readouterr().err == "bwrap: no\n\\x1b]0;x\\x07\\xff\n"


def test_complaints_to_nobody(monkeypatch):
    monkeypatch.setattr("sys.stderr", None)
    told.pass_complaints_on(io.BytesIO(b"bwrap: no\n"))
