"""Records of a trace."""

import pytest
from zvcamera.admin import InvalidRequest
from zvcamera.messages import message, record

REPLY = {"number": 1, "micros": 1795230000000001, "time": "", "daemon": "zvBleD", "direction": "out",
         "queue": "/to_ZVCC7", "command": "pair_status", "note": "sent", "hex": message.reply(0, b"\1").hex()}
LINE = "2026-11-21T03:00:00.000001Z  zvBleD -> /to_ZVCC7  14 bytes  reply to pair_status, status 0 (ok)  [sent]"


def test_is_readable_in_a_terminal():
    assert record.full(record.check(REPLY)) == (
        f"{LINE}\n"
        "    0000  total length: 14\n"
        "    0003  category: 3 (reply)\n"
        "    0004  response: 69, 2 bytes\n"
        "    0008    status: 0 (ok)\n"
        "    0009    pairing status: 1 (pairing)\n"
        "    0010  tail: 238, 0 bytes\n")
    assert record.brief(REPLY) == f"{LINE}\n"


def test_tells_the_request_or_the_process():
    assert record.brief({**REPLY, "pid": 52}) == f"{LINE}  process 52\n"
    assert record.brief({**REPLY, "pid": 52, "request": 7}) == f"{LINE}  request 7\n"
    assert record.brief({**REPLY, "pid": None, "request": None}) == f"{LINE}\n"


def test_control_characters_do_not_reach_the_terminal():
    shown = record.brief({**REPLY, "queue": "\x1b[2J", "note": "a\nb", "daemon": "\x9b"})
    assert r"\x9b -> \x1b[2J" in shown and r"[a\nb]" in shown


@pytest.mark.parametrize("changes, problem", [
    ({"hex": "0"}, "hex: odd number of hexadecimal digits"),
    ({"hex": "0x"}, "hex: not a hexadecimal text: 0x"),
    ({"hex": " 0"}, "hex: not a hexadecimal text:  0"),
    ({"hex": 5}, "hex: must be a text"),
    ({"direction": "up"}, 'direction: must be "in" or "out"'),
    ({"number": -1}, "number: must be a whole number from 0 to 9223372036854775807"),
    ({"micros": True}, "micros: must be a whole number from 0 to 9223372036854775807"),
    ({"micros": 1 << 63}, "micros: must be a whole number from 0 to 9223372036854775807"),
    ({"what": 1}, "what: unknown key"),
])
def test_anything_that_no_daemon_writes_is_refused(changes, problem):
    with pytest.raises(InvalidRequest) as caught:
        record.check({**REPLY, **changes})
    assert str(caught.value) == problem


def test_hex_and_direction_have_to_be_there():
    for document, problem in (({"direction": "in"}, "hex: missing"), ({"hex": "0"}, 'direction: must be "in" or "out"'),
                              ([], "the document: must be an object")):
        with pytest.raises(InvalidRequest) as caught:
            record.check(document)
        assert str(caught.value) == problem


@pytest.mark.parametrize("line, problem", [
    (b'{"hex":"0"}\n', 'direction: must be "in" or "out"'), (b"\n", "is no JSON"), (b"\xff\n", "is no JSON"),
    (b"[" * 100000 + b"\n", "is no JSON"), (b'"x"', "the document: must be an object")])
def test_a_wrong_line_of_a_file_is_named(line, problem):
    good = b'{"direction":"in","hex":""}\n'
    with pytest.raises(InvalidRequest) as caught:
        list(record.read_lines([good, line], "trace.jsonl"))
    assert str(caught.value) == f"trace.jsonl, line 2: {problem}"


@pytest.mark.parametrize("micros, text", [
    (0, "1970-01-01T00:00:00.000000Z"), (1795230000000001, "2026-11-21T03:00:00.000001Z"),
    ((1 << 63) - 1, "294247-01-10T04:00:54.775807Z")])
def test_any_time_has_a_text(micros, text):
    assert record.time_text(micros) == text
