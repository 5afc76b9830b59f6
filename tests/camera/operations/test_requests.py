"""The HTTP requests that the camera has got."""

import itertools

import pytest
from zvcamera import operations
from zvcamera.admin import AdminError
from zvcamera.operations import requests


def request(number, **more):
    return {"number": number, "time": 1000.25, "method": "GET", "uri": "/control/x", "query": "", "status": 200,
            "bytes": 2, "ms": 3.06, "pid": 52, "fault": None, **more}


def record(micros):
    return {"micros": micros, "command": "scan", "hex": "", "direction": "in", "pid": 52}


def test_what_people_read():
    assert requests.request_text(request(7)).endswith("      52     200         2       3.1  GET /control/x\n")
    assert requests.request_text(request(8, query="p=1", status=0, pid=None, fault="http:3")).endswith(
        "       -       -         2       3.1  GET /control/x?p=1  [http:3]\n")
    assert requests.request_text(request(9, uri="/\x1b[2J")).endswith("GET /\\x1b[2J\n")


def test_all_from_a_number_on(programs, link):
    programs.serve("supervisor", requests=lambda since: {"requests": [request(since)], "next": 9})
    assert link.requests(since=8) == {"requests": [request(8)], "next": 9}
    assert link.requests()["requests"][0]["number"] == 0


def test_each_with_its_messages(programs, link):
    programs.serve("supervisor", requests={"requests": [request(1, time=1.0), request(2, time=5.0)], "next": 3})
    programs.serve("zvNetD", trace=[record(1_000_000), record(5_000_000)])
    programs.serve("zvBleD", trace=[record(5_000_001)])
    found = link.requests(messages=True)["requests"]
    assert [[each["micros"] for each in one["messages"]] for one in found] == [[1_000_000], [5_000_000, 5_000_001]]


def test_one_with_all_that_is_known(programs, link):
    lines = [{"time": time, "source": source, "pid": None, "priority": 6, "text": text} for time, source, text in (
        (5.001, "zvBleD", "scan mode 1"), (5.2, "lighttpd", "GET /control/x?p=1 200 3.1 ms"),
        (5.3, "lighttpd", "GET /control/x 200 3.1 ms (http:1)"), (5.4, "zvBleD", "scan mode 0"))]
    programs.serve("supervisor", requests={"requests": [request(2, time=5.0), request(3, time=9.0)], "next": 4},
                   log_between=lines)
    programs.serve("zvControlD", openings=[{"pid": 52, "port": 1, "micros": 1_000_000},
                                           {"pid": 51, "port": 2, "micros": 5_000_100},
                                           {"pid": 52, "port": 3, "micros": 5_000_200}])
    programs.serve("zvNetD", trace=[record(5_000_300), record(9_000_000)])
    programs.serve("zvBleD", trace=[])
    found = link.request(number=2)
    assert (found["number"], found["opened"], found["log"]) == (2, 5_000_200, lines[:3])
    assert [each["micros"] for each in found["messages"]] == [5_000_300]
    assert programs.asked["supervisor"][-1] == {"op": "log_between", "first": 5.0, "last": 5.0 + 0.00306 + 1.0}
    text = operations.find("request").text(found)
    assert "GET /control/x\n" in text and "1970-01-01T00:00:05.001Z  zvBleD: scan mode 1\n" in text


def test_one_without_its_daemons_and_its_line(programs, link):
    lines = [{"time": 1000.251, "source": "a", "text": "1"}, {"time": 1000.3, "source": "a", "text": "2"}]
    programs.serve("supervisor", requests={"requests": [request(2)], "next": 3}, log_between=lines)
    programs.serve("zvNetD", trace=[])
    found = link.request(number=2)
    assert (found["opened"], found["messages"], found["log"]) == (None, [], lines[:1])


def test_one_that_is_not_kept(programs, link):
    programs.serve("supervisor", requests=lambda since: {"requests": [request(3)], "next": 4})
    with pytest.raises(AdminError, match="^no request 2 is kept$"):
        link.request(number=2)


def test_the_last_of_them(programs, link):
    programs.serve("supervisor", requests={"requests": [request(1), request(2), request(3)], "next": 4})
    assert [[each["number"] for each in link.requests(lines=lines)["requests"]] for lines in (0, 2, 9)] == [
        [], [2, 3], [1, 2, 3]]


def test_those_to_come(programs, link):
    programs.serve("supervisor", requests_follow={"requests": [], "next": 1}, events=[request(1), request(2)])
    assert [each["number"] for each in itertools.islice(link.requests_follow(), 2)] == [1, 2]


def test_forgetting_them(programs, link):
    programs.serve("supervisor", requests_clear=None)
    link.requests_clear()
    assert programs.asked == {"supervisor": [{"op": "requests_clear"}]}
