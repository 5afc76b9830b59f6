"""The history of requests, from the web server's lines."""

import pytest
from zvcamera.inside.history import KEPT, History, line


class Openings(list):
    def __call__(self):
        return self


@pytest.fixture
def history():
    made = History(Openings(), lambda request: made.events.append(dict(request)), lambda: made.followed, "/probe")
    made.events, made.followed, made.openings = [], False, made._openings
    return made


def _line(uri="/control/x", query="", begin=1_000_000, port=40000):
    return "\t".join(map(str, ("GET", uri, query, 200, 2, 2500, begin, port)))


def test_a_request(history):
    assert history.take(_line(query="p=1")) == "GET /control/x?p=1 200 2.5 ms"
    assert history.since(0) == {"next": 2, "requests": [
        {"number": 1, "time": 1.0, "method": "GET", "uri": "/control/x", "query": "p=1", "status": 200, "bytes": 2,
         "ms": 2.5, "pid": None, "fault": None}]}
    assert history.since(2) == {"next": 2, "requests": []}


@pytest.mark.parametrize(("logged", "uri"), [
    (r"/a\"b\\c", '/a"b\\c'), (r"/a\tb\nc\x01", "/a\tb\nc\x01"), (r"/\xc3\xa4", "/ä"), (r"/\xe4", r"/\xe4"),
    ("/a b", "/a b"), ("\\", "\\")])
def test_what_a_path_may_hold(history, logged, uri):
    history.take(_line(logged))
    assert history.since(0)["requests"][0]["uri"] == uri


@pytest.mark.parametrize("text", ["", "x", "\t" * 6, "\t" * 8, "GET\t/x\t\t200"])
def test_other_lines_are_none(history, text):
    assert history.take(text) is None
    assert history.since(0)["requests"] == []


def test_numbers_that_are_none_are_zero(history):
    assert history.take("\t" * 7) == "-  0 0.0 ms"


@pytest.mark.parametrize("uri", ["/probe", "/simulator", "/simulator/faults", "/", "/page/modules/main.js",
                                 "/openapi.json", "/simulator/%0a"])
def test_requests_that_are_not_for_the_camera(history, uri):
    assert history.take(_line(uri)) is None
    assert history.since(0) == {"requests": [], "next": 1}


@pytest.mark.parametrize("uri", ["/control", "/control/", "/pages", "/page", "/openapi.jsonx", "/simulators"])
def test_requests_that_look_alike(history, uri):
    history.take(_line(uri))
    assert [each["uri"] for each in history.since(0)["requests"]] == [uri]


def test_the_process_is_that_of_port_and_time(history):
    history.openings += [{"pid": 1, "port": 40000, "micros": 999_999}, {"pid": 2, "port": 40001, "micros": 1_000_100},
                         {"pid": 3, "port": 40000, "micros": 1_000_100}, {"pid": 4, "port": 40000, "micros": 1_002_501}]
    for port in (40000, 40001, 40002):
        history.take(_line(port=port))
    assert [request["pid"] for request in history.since(0)["requests"]] == [3, 2, None]


def test_processes_are_remembered(history):
    history.openings.append({"pid": 3, "port": 40000, "micros": 1_000_100})
    history.take(_line())
    history.remember_processes()
    history.openings.clear()
    assert history.since(0)["requests"][0]["pid"] == 3


def test_followers_get_requests_with_their_process(history):
    history.openings.append({"pid": 3, "port": 40000, "micros": 1_000_100})
    history.followed = True
    history.take(_line())
    assert [(event["number"], event["pid"]) for event in history.events] == [(1, 3)]


def test_the_last_ones_are_kept(history):
    for number in range(KEPT + 5):
        history.take(_line(begin=number))
    found = history.since(0)
    assert (len(found["requests"]), found["requests"][0]["number"], found["next"]) == (KEPT, 6, KEPT + 6)


def test_what_began_before_is_forgotten(history):
    history.take(_line(begin=100))
    history.clear(begun_before=200)
    history.take(_line(begin=150))
    history.take(_line(begin=200))
    assert [request["time"] for request in history.since(0)["requests"]] == [0.0002]


def test_a_fault_stands_in_the_line(history):
    history.add(1, 1000, 1, fault="http:3", method="GET", uri="/x", query="", status=0, bytes=0)
    assert line(history.since(0)["requests"][0]) == "GET /x 0 1.0 ms (http:3)"
