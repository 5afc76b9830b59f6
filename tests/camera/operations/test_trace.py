"""The messages of both daemons in one order, with their requests."""

import itertools

import pytest
from zvcamera import operations
from zvcamera.admin import InvalidRequest, Unreachable


def record(micros, command="scan", **more):
    return {"micros": micros, "command": command, "hex": "", "direction": "in", **more}


def test_both_traces_are_in_the_order_of_time(programs, link):
    programs.serve("zvNetD", trace=[record(1, daemon="zvNetD"), record(4, "PD", daemon="zvNetD")])
    programs.serve("zvBleD", trace=[record(2, daemon="zvBleD"), record(3, daemon="zvBleD")])
    assert [each["micros"] for each in link.trace()] == [1, 2, 3, 4]
    assert [each["micros"] for each in link.trace(daemon="zvBleD")] == [2, 3]
    assert [each["micros"] for each in link.trace(command="PD")] == [4]
    assert [each["micros"] for each in link.trace(command="1", daemon="zvNetD")] == [1]
    with pytest.raises(InvalidRequest, match="^unknown command scann: did you mean scan?"):
        link.trace(command="scann")
    with pytest.raises(InvalidRequest, match="^unknown command \\*: must be one of scan, "):
        link.trace(command="*")


def test_a_message_belongs_to_the_request_of_its_process_at_its_time(programs, link):
    second = 1_000_000
    seen = [(10, 52), (20, 52), (30, 52), (10, 53), (10, None)]
    programs.serve("zvNetD", trace=[record(moment * second, pid=pid) for moment, pid in seen])
    programs.serve("zvBleD", trace=[])
    programs.serve("supervisor", requests=lambda since: {"next": 3, "requests": [
        {"number": 1, "pid": 52, "time": 9.99, "ms": 20}, {"number": 2, "pid": 52, "time": 19, "ms": 2000},
        {"number": 3, "pid": None, "time": 0, "ms": 90000}]})
    assert [each.get("request") for each in link.trace()] == [1, None, None, 2, None]
    assert [each["micros"] for each in link.trace(request=2)] == [20 * second]


def test_without_a_history_of_requests_no_message_has_one(programs, link):
    for name in ("zvNetD", "zvBleD"):
        programs.serve(name, trace=[record(1, pid=52)])
    assert ["request" in each for each in link.trace()] == [False, False]


def test_one_daemon_is_enough(programs, link):
    programs.serve("zvNetD", trace=[record(1)], trace_clear=None)
    assert len(link.trace()) == 1
    link.trace_clear()
    assert [text.split()[0] for text in link.missing] == ["zvBleD", "zvBleD"]


def test_a_trace_is_followed(programs, link):
    programs.serve("zvNetD", trace_follow=[record(2)], events=[record(5), record(6, "PD")])
    programs.serve("zvBleD", trace_follow=[record(1)], events=[])
    assert [each["micros"] for each in itertools.islice(link.trace_follow(), 4)] == [1, 2, 5, 6]
    assert [each["micros"] for each in itertools.islice(link.trace_follow(command="PD"), 1)] == [6]
    assert [each["micros"] for each in itertools.islice(link.trace_follow(daemon="zvBleD"), 1)] == [1]


def test_nobody_to_follow_is_said(link):
    with pytest.raises(Unreachable, match="^no daemon to follow$"):
        next(link.trace_follow())


def test_the_bytes_of_a_message_in_words(link):
    told = link.message(hex="000e0003000002450002000000ee", command="9")
    assert (told["bytes"], told["summary"]) == (14, "reply to pair_status, status 0 (ok)")
    assert told["fields"][4] == {"offset": 9, "depth": 1, "name": "pairing status", "value": "2 (paired)"}
    assert operations.find("message").text(told).splitlines()[:2] == [
        "reply to pair_status, status 0 (ok)", "    0000  total length: 14"]
    assert link.message(hex="")["summary"].startswith("malformed: ")
    with pytest.raises(InvalidRequest, match="^unknown command scann: did you mean scan?"):
        link.message(hex="00", command="scann")
