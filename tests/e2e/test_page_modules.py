"""The page's modules, each function by literal expectations, in the browser that runs them."""

import pytest
from page_fixtures import browser, link, page  # noqa: F401

pytestmark = pytest.mark.page


@pytest.fixture(scope="module")
def module(session_browser, shared_camera):
    session_browser.open(shared_camera)
    session_browser.one("#state li")
    yield session_browser.module
    session_browser.driver.get("about:blank")
    assert session_browser.console() == []


@pytest.mark.parametrize(("given", "shown"), [
    ("plain ä 中", "plain ä 中"), ("a\nb\tc", "a\nb\tc"), ("\x00\x1b[2J\x7f\x9f", "\\x00\\x1b[2J\\x7f\\x9f"),
    ("\u202eabc\u2069\ufffe", "\\u202eabc\\u2069\\ufffe"), (7, "7"), (None, "null")])
def test_what_acts_is_shown_instead(module, given, shown):
    assert module("dom", "printable(given)", given) == shown


@pytest.mark.parametrize(("given", "word"), [
    ("http://127.0.0.1:8080/control?p=1", "'http://127.0.0.1:8080/control?p=1'"),
    ("http://127.0.0.1/control", "http://127.0.0.1/control"), ("a'b", "'a'\\''b'"), ("$x", "'$x'"), ("", "''")])
def test_words_for_the_shell(module, given, word):
    assert module("texts", "quoted(given)", given) == word


def test_a_dump_of_bytes(module):
    assert module("texts", "dump(given)", "002d00ff41" + "20" * 12) == (
        "0000  00 2d 00 ff 41 20 20 20 20 20 20 20 20 20 20 20  .-..A           \n"
        "0010  20                                                ")
    assert module("texts", "dump(given)", "") == ""
    assert [module("texts", "statusKind(given)", status) for status in (0, 200, 204, 400, 500)] == [
        "bad", "good", "good", "warn", "bad"]


def test_the_line_of_a_graph(module):
    assert module("graph", "lineOf(given)", [[1, -100], [0, -30]]) == "M118.0 26.0h0L120.0 2.0"
    assert module("graph", "lineOf(given)", [[2, -65], [1, None], [0, -200]]) == "M116.0 14.0h0M120.0 26.0h0"
    assert module("graph", "lineOf(given)", [[20, -65], [4, -65], [0, -65]]) == "M80.0 14.0h0M112.0 14.0h0L120.0 14.0"
    assert module("graph", "lineOf(given)", []) == ""


def test_the_path_of_a_request(module):
    for pairs, more, path in (([["p", ""]], "", "/x"), ([["p", "1 &"], ["q", "é"]], "", "/x?p=1%20%26&q=%C3%A9"),
                              ([["p", "1"]], "a=%zz", "/x?p=1&a=%zz"), ([], "b", "/x?b"),
                              ([], "a b=\"'<>#ä[{&", "/x?a%20b=%22%27%3C%3E%23%C3%A4[{&")):
        assert module("ask", "pathWith('/x', ...given)", [pairs, more]) == path


@pytest.mark.parametrize(("url", "line"), [
    ("http://127.0.0.1/x?a=1", "curl -i 'http://127.0.0.1/x?a=1'"),
    ("http://127.0.0.1/x?a=[1-3]{b,c}", "curl -g -i 'http://127.0.0.1/x?a=[1-3]{b,c}'")])
def test_the_curl_line(module, url, line):
    assert module("texts", "curlLine(given)", url) == line


CONTRACT = {
    "paths": {
        "/control/a": {"parameters": [{"$ref": "#/components/parameters/P"}],
                       "get": {"summary": "A", "x-changes": True, "responses": {"200": {}, "default": {}},
                               "parameters": [{"name": "q", "required": True, "schema": {"enum": [1, 2]},
                                               "description": "of q"}]},
                       "post": {"responses": {}}},
    },
    "components": {"parameters": {"P": {"name": "p", "example": 5, "schema": {"$ref": "#/components/schemas/a~1b"}}},
                   "schemas": {"a/b": {"description": "of a/b", "default": 0, "examples": [5, 7]}}},
}


def test_the_operations_of_a_contract(module):
    first, second = module("contract", "operationsOf(given)", CONTRACT)
    assert first == {
        "method": "GET", "path": "/control/a", "title": "A", "help": "", "changes": True,
        "statuses": ["200", "default"],
        "parameters": [{"name": "p", "required": False, "values": ["5", "7", "0"], "help": "of a/b"},
                       {"name": "q", "required": True, "values": ["1", "2"], "help": "of q"}]}
    assert (second["method"], second["title"], second["statuses"]) == ("POST", "/control/a", [])


def record(daemon, direction, micros, queue, **more):
    return {"daemon": daemon, "direction": direction, "micros": micros, "queue": queue, "number": 1, "hex": "00ff",
            "command": "scan", "note": "sent" if direction == "out" else "", **more}


def test_a_request_is_laid_out_in_the_order_of_time(module):
    told = {"number": 3, "time": 1, "ms": 4, "method": "GET", "uri": "/control/x", "query": "p=1", "status": 0,
            "pid": 9, "opened": 1_001_000, "messages": [
                record("zvBleD", "in", 1_002_100, "/to_ble"), record("zvNetD", "in", 1_002_000, "/to_zvnet"),
                record("zvNetD", "out", 1_002_050, "/to_ble"),
                record("zvBleD", "out", 1_003_000, "/to_ZVCC9", note="queue full", hex="01")]}
    plan = module("layout", "layout(given)", told)
    assert [(each["from"], each["to"], each["time"]) for each in plan["events"]] == [
        ("client", "web server", "0 ms"), ("web server", "gateway", "0 ms"), ("gateway", "zvControlD", "+1.00 ms"),
        ("gateway", "zvNetD", "+2.00 ms"), ("zvNetD", "zvBleD", "+2.05 ms"), ("zvBleD", "gateway", "+3.00 ms"),
        ("gateway", "web server", "+4.00 ms"), ("web server", "client", "+4.00 ms")]
    assert [bool(each.get("lost")) for each in plan["events"]] == [False] * 5 + [True, False, True]
    assert plan["events"][0]["text"] == "GET /control/x?p=1" and plan["events"][-1]["text"] == "no answer"
    assert [each["name"] for each in plan["lanes"]] == ["web server", "gateway", "zvControlD", "zvNetD", "zvBleD"]


def test_a_request_without_a_gateway_has_no_lane_for_it(module):
    told = {"number": 3, "time": 1, "ms": 120, "method": "GET", "uri": "/x", "query": "", "status": 404, "pid": None,
            "opened": None, "messages": []}
    plan = module("layout", "layout(given)", told)
    assert [each["name"] for each in plan["lanes"]] == ["web server"]
    assert [each["time"] for each in plan["events"]] == ["0 ms", "+120 ms"]


def test_messages_are_in_the_order_of_time_however_they_come(module):
    added = "messages.clear(), given.forEach((each) => messages.add(each)), messages.newest(2)"
    records = [record("zvBleD", "in", 30, "/to_ble"), record("zvNetD", "out", 20, "/to_ble"),
               record("zvBleD", "in", 30, "/to_ble"), record("zvNetD", "in", 10, "/to_zvnet")]
    assert [each["micros"] for each in module("traffic", f"messages && ({added})", records)] == [30, 20]


def test_bodies(module):
    assert module("answer", "parse(given)", '{"a":[1]}') == {"parsed": '{\n  "a": [\n    1\n  ]\n}'}
    assert "problem" in module("answer", "parse(given)", '{"a":"b"c"}')
    assert module("answer", "bodyText(new Uint8Array(given))", [0xc3, 0xa9, 10]) == {"text": "é\n", "is": "text"}
    assert module("answer", "bodyText(new Uint8Array(given))", [0xff, 0x41])["is"] == "bytes"
    assert module("control", "pathOf('/a/{b}', given)", {"b": "x/y:1"}) == "/a/x%2Fy%3A1"
