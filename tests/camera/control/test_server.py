"""The server of control: statuses, bodies, limits and events."""

import contextlib
import http.client
import json
import threading
import time

import pytest
from zvcamera.admin import AdminError, InvalidRequest, Unreachable
from zvcamera.control import events, follower, listing, server


def test_the_result_is_the_body(calls, served):
    calls.result = [1, {"a": "\u00e4"}]
    status, document, fields = served.ask("POST", "/simulator/kinds", {"count": 3, "text": "x"})
    assert (status, document) == (200, [1, {"a": "\u00e4"}])
    assert (fields["Content-Type"], fields["Cache-Control"]) == ("application/json; charset=utf-8", "no-store")
    assert not [name for name in fields if name.lower().startswith("access-control")]
    assert calls.made == [{"count": 3, "share": 1, "whole": False, "words": (), "keys": None, "text": "x"}]


def test_no_result_is_an_empty_object(calls, served):
    calls.result = None
    assert served.ask("POST", "/simulator/kinds", {})[:2] == (200, {})


def test_head_is_get_without_body(calls, served):
    status, document, fields = served.ask("HEAD", "/simulator/item/a")
    assert (status, document, fields["Content-Length"]) == (200, None, str(len('{"done": true}\n')))


@pytest.mark.parametrize(("error", "status"), [
    (InvalidRequest("x: wrong"), 400), (AdminError("x: wrong"), 409), (Unreachable("x: wrong"), 503)])
def test_refusals_have_their_status(calls, served, error, status):
    calls.result = error
    assert served.ask("GET", "/simulator/kinds")[:2] == (status, {"error": "x: wrong"})


def test_an_operation_that_fails_by_mistake_is_told_without_its_inside(calls, served, capfd):
    calls.result = lambda: {}["secret"]
    assert served.ask("GET", "/simulator/kinds")[:2] == \
        (500, {"error": "control over HTTP has failed; the camera's log says more"})
    assert "KeyError: 'secret'" in capfd.readouterr().err


def test_wrong_values_never_reach_the_operation(calls, served):
    assert served.ask("GET", "/simulator/kinds?count=256")[:2] == \
        (400, {"error": "count: must be a whole number from 0 to 255, not 256"})
    assert served.ask("PUT", "/simulator/item/a", {"value": "maybe"})[:2] == \
        (400, {"error": "unknown value maybe: must be one of on, off"})
    assert served.ask("PUT", "/simulator/item/a", {})[:2] == (400, {"error": "value: missing"})
    assert served.ask("POST", "/simulator/kinds", {"colour": 1})[0] == 400
    assert calls.made == []


def test_what_is_not_there(calls, served):
    assert served.ask("GET", "/simulator/nothing")[:2] == \
        (404, {"error": "there is no /nothing; GET /simulator lists what there is"})
    status, document, fields = served.ask("PATCH", "/simulator/kinds")
    assert (status, document, fields["Allow"]) == (405, {"error": "this path takes GET, HEAD, POST"}, "GET, HEAD, POST")
    assert served.ask("POST", "/simulator", {})[0] == 405


@pytest.mark.parametrize("kind", ["text/plain", "application/x-www-form-urlencoded", "application/json+x", ""])
def test_a_body_has_to_be_called_json(calls, served, kind):
    assert served.ask("POST", "/simulator/kinds", b"{}", Content_Type=kind)[0] == 415
    assert calls.made == []


def test_json_may_name_its_characters_but_not_be_packed(calls, served):
    assert served.ask("POST", "/simulator/kinds", b"{}", Content_Type="application/json; charset=utf-8")[0] == 200
    assert served.ask("POST", "/simulator/kinds", b"{}", Content_Encoding="gzip")[0] == 415


def test_a_body_has_at_most_a_mebibyte(calls, served):
    filling = server.MOST_BODY - len('{"text": ""}')
    assert served.ask("POST", "/simulator/kinds", {"text": "x" * filling})[0] == 200
    assert served.ask("POST", "/simulator/kinds", {"text": "x" * (filling + 1)})[:2] == \
        (413, {"error": "the body has more than 1048576 bytes"})


def test_an_error_is_short_however_long_the_mistake(calls, served):
    calls.result = InvalidRequest("x" * 100_000)
    assert served.ask("GET", "/simulator/kinds")[:2] == (400, {"error": "x" * 4000})


def test_an_answer_has_a_limit(calls, served, monkeypatch):
    monkeypatch.setattr(server, "MOST_ANSWER", 20)
    calls.result = "x" * 100
    assert served.ask("GET", "/simulator/kinds")[:2] == \
        (500, {"error": "the answer would have 102 bytes, 20 at most: ask for less of it"})


def test_pages_from_elsewhere_are_refused(calls, served):
    for name, value in (("Host", "camera.example"), ("Origin", "http://camera.example"), ("Sec-Fetch-Site", "cross-site"),
                        ("X-Forwarded-For", "10.0.0.1")):
        status, document, _ = served.ask("GET", "/simulator", **{name: value})
        assert status == 403 and document["error"].startswith(f"{name}: ")


def test_names_of_the_command_line(calls, serve):
    assert serve("camera.example").ask("GET", "/simulator", Host="camera.example")[0] == 200


def test_the_listing_tells_all_operations(calls, served):
    status, document, _ = served.ask("GET", "/simulator")
    assert status == 200
    listed = {(each["method"], each["path"]): each for each in document["operations"]}
    assert listed["PUT", "/simulator/item/{name}"] == {
        "name": "item_set", "method": "PUT", "path": "/simulator/item/{name}", "help": "Set an item", "events": False,
        "parameters": [
            {"name": "name", "in": "path", "kind": "text", "required": True, "help": ""},
            {"name": "value", "in": "body", "kind": "text", "required": True, "help": "", "choices": ["on", "off"]}]}
    assert listed["GET", "/simulator/kinds"]["parameters"][0] == {
        "name": "count", "in": "query", "kind": "number", "required": False, "help": "", "default": 0, "low": 0,
        "high": 255}
    assert listed["GET", "/simulator/kinds/events"]["events"]
    assert len(document["operations"]) == 7


def test_the_listing_names_the_keys_of_objects():
    settings = next(each for each in listing.listing()["operations"] if each["name"] == "ble_set")["parameters"][0]
    assert settings["kind"] == "pairs"
    assert settings["rows"][1] == {"word": "seed", "meaning": "decides whatever varies"}


def test_slow_operations_hold_nobody_up(calls, served):
    go_on = threading.Event()
    calls.result = lambda: go_on.wait(20)
    slow = [threading.Thread(target=served.ask, args=("GET", "/simulator/kinds"), daemon=True) for _ in range(8)]
    for each in slow:
        each.start()
    while len(calls.made) < 8:
        time.sleep(0.01)
    assert served.ask("GET", "/simulator")[0] == 200
    calls.result = 1
    assert served.ask("GET", "/simulator/kinds")[0] == 200
    go_on.set()
    for each in slow:
        each.join()


def test_requests_at_once_are_bounded(calls, served, monkeypatch):
    monkeypatch.setattr(server, "MOST_AT_ONCE", 1)
    go_on = threading.Event()
    calls.result = lambda: go_on.wait(20)
    slow = threading.Thread(target=served.ask, args=("GET", "/simulator/kinds"), daemon=True)
    slow.start()
    while not calls.made:
        time.sleep(0.01)
    assert served.ask("GET", "/simulator/kinds")[:2] == (503, {"error": "1 requests are under way already"})
    go_on.set()
    slow.join()


@contextlib.contextmanager
def following(served, path="/simulator/kinds/events"):
    with contextlib.closing(served.connection()) as connection:
        connection.request("GET", path)
        answer = connection.getresponse()
        assert (answer.status, answer.headers["Content-Type"]) == (200, "text/event-stream")
        yield answer


def data(answer):
    """The next line with data, or the next end."""
    for line in answer:
        if line.startswith((b"data: ", b"event: ")):
            return line.decode().rstrip()
    return None


def test_events_come_as_they_happen(calls, served):
    with following(served, "/simulator/kinds/events?count=2") as answer:
        for number in range(3):
            calls.events.put({"number": number, "text": "a\n\u00e4"})
            assert json.loads(data(answer).removeprefix("data: ")) == {"number": number, "text": "a\n\u00e4"}
        calls.events.put(None)
        assert [data(answer), data(answer), data(answer)] == ["event: end", "data: {}", None]
    assert calls.made == [{"count": 2}]


def test_what_ends_the_events_is_told(calls, served):
    with following(served) as answer:
        calls.events.put({})
        data(answer)
        calls.events.put(Unreachable("zvBleD: the program has ended"))
        assert [data(answer), data(answer)] == ["event: end", 'data: {"error": "zvBleD: the program has ended"}']


def test_events_that_cannot_begin_are_an_error(calls, served):
    calls.events.put(Unreachable("zvBleD does not run"))
    assert served.ask("GET", "/simulator/kinds/events")[:2] == (503, {"error": "zvBleD does not run"})
    assert served.ask("GET", "/simulator/kinds/events?count=x")[0] == 400


def test_events_end_with_the_server(calls, served):
    with following(served) as answer:
        calls.events.put({})
        data(answer)
        served.end()
        assert [data(answer), data(answer), data(answer)] == ["event: end", "data: {}", None]


def test_a_comment_keeps_the_connection_alive(calls, served, monkeypatch):
    monkeypatch.setattr(events, "KEEP_ALIVE", 0.05)
    with following(served) as answer:
        assert [answer.readline() for _ in range(4)] == [b": events follow\n", b"\n", b": nothing yet\n", b"\n"]


def test_followers_are_bounded(calls, served, monkeypatch):
    monkeypatch.setattr(events, "MOST_FOLLOWERS", 1)
    with following(served) as answer:
        assert served.ask("GET", "/simulator/kinds/events")[:2] == \
            (503, {"error": "1 clients follow events already"})
        calls.events.put(None)
        assert data(answer) == "event: end"


def test_a_client_that_does_not_read_is_dropped(calls, served, monkeypatch):
    monkeypatch.setattr(events, "PATIENCE", 0.5)
    monkeypatch.setattr(follower, "PATIENCE", 0.5)
    with following(served) as answer:
        for _ in range(100):
            calls.events.put("x" * 100_000)
        time.sleep(1.5)
        with pytest.raises((OSError, http.client.HTTPException)):
            while answer.read(1 << 16):
                pass
    assert calls.events.qsize() > 0  # the operation was not even asked for the rest
    assert served.ask("GET", "/simulator/kinds")[0] == 200
