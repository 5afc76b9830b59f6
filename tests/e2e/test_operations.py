"""docs/operations.md, row by row: each operation by command line, by HTTP and from Python, with the same result."""

import concurrent.futures
import contextlib
import http.client
import json
import os
import re
import subprocess
import sys
import urllib.parse

import house
import pytest
from zvcamera import operations
from zvcamera.control import PREFIX
from zvcamera.link import Link

sys.path.insert(0, os.path.join(house.ROOT, "scripts"))
import operations_page  # noqa: E402

NEAR, PAIRED, OTHER = "a1b2c3d4e5f6", "58a1b2c3d4e5", "112233445566"
# Nothing in it depends on time or chance.
SCENARIO = {
    "analytics": {"collect": False},
    "ble": {"pairing_ms": 600_000, "connect_ms": 600_000,
            "devices": [{"address": NEAR, "rssi_variation": 0, "found_after_ms": 0}],
            "whitelist": [{"address": PAIRED, "name": "Wheel"}, None]},
}
ASK = "/command/ble/pair/status"


def asked(camera, _link):
    assert camera.get(ASK).status == 200


def logged(camera, link):
    """A line of the log takes its time to arrive."""
    link.set(item="model_name", value="logged")
    camera.wait_for(lambda: any("logged" in each["text"] for each in
                                link.log(program="zvControlD", lines=1)["records"]))


def first(name, /, **given):
    """Something that has to be done before."""
    return lambda _camera, link: getattr(link, name)(**given)


def both(*steps):
    def act(camera, link):
        for step in steps:
            step(camera, link)
    return act


def newest(link):
    """Numbers of requests never begin anew."""
    return {"number": link.requests()["requests"][-1]["number"]}


# Name in Python: parameters (or a function that tells them), what is done before, and the operation that shows what has
# changed.
EXAMPLES = {
    "show": ({"item": "model_number"}, first("set", item="model_number", value="7"), "show"),
    "set": ({"item": "recording", "value": "1"}, None, "show"),
    "fail": ({"item": "ap_mac", "code": "ZV_ERR_NAK"}, None, "show"),
    "unfail": ({"item": "all"}, first("fail", item="ap_mac", code=-1), "show"),
    "analytics_status": ({}, first("analytics_append", records=2), "show"),
    "analytics_on": ({"interval_ms": 3_600_000}, None, "show"),
    "analytics_off": ({}, first("analytics_on", interval_ms=3_600_000), "show"),
    "analytics_size": ({"bytes": 100}, None, "show"),
    "analytics_limit": ({"bytes": 1000}, None, "show"),
    "analytics_append": ({"hex": "00ff"}, None, "show"),
    "analytics_clear": ({}, first("analytics_append", records=2), "show"),
    "analytics_on_clear": ({"what": "keep"}, None, "show"),
    "analytics_path": ({"path": "/nowhere"}, None, "show"),
    "ble": ({}, first("ble_scan_start"), "ble"),
    "ble_set": ({"settings": {"auto_connect": 0, "seed": 7}}, None, "ble"),
    "ble_device": ({}, None, "ble"),
    "ble_device_set": ({"address": OTHER, "device": {"name": "New", "uuid16": ["180d"], "mitm": True,
                                                     "rssi_variation": 0}}, None, "ble"),
    "ble_device_remove": ({"address": NEAR}, None, "ble"),
    "ble_whitelist": ({}, None, "ble"),
    "ble_whitelist_set": ({"address": "11:22:33:44:55:66", "slot": {"name": "7", "mitm": True}}, None, "ble"),
    "ble_whitelist_remove": ({"address": PAIRED}, None, "ble"),
    "ble_whitelist_clear": ({}, None, "ble"),
    "ble_whitelist_reset": ({}, first("ble_whitelist_clear"), "ble"),
    "ble_rebuild": ({"list": "whitelist", "id": 200}, None, "ble"),
    "ble_connect": ({"address": PAIRED}, None, "ble"),
    "ble_disconnect": ({"address": PAIRED}, first("ble_connect", address=PAIRED), "ble"),
    "ble_scan": ({}, first("ble_scan_start"), "ble"),
    "ble_scan_start": ({"mode": 3}, None, "ble"),
    "ble_scan_stop": ({}, first("ble_scan_start"), "ble"),
    "ble_pairing": ({}, first("ble_pairing_start", address=NEAR), "ble"),
    "ble_pairing_start": ({"address": NEAR, "type": 1}, None, "ble"),
    "ble_pairing_end": ({"outcome": "failure"}, first("ble_pairing_start", address=NEAR), "ble"),
    "ble_pairing_status": ({"status": 77}, None, "ble"),
    "fault_add": ({"command": "scan", "fault": "late", "value": 500, "count": 2, "skip": 1, "probability": 0.5}, None,
                  "fault_list"),
    "fault_list": ({}, first("fault_add", command="/*", fault="status", body="{}", type="application/json"),
                   "fault_list"),
    "fault_kinds": ({}, None, None),
    "fault_remove": ({"id": "ble:1"}, first("fault_add", command="*", fault="refused"), "fault_list"),
    "fault_clear": ({}, first("fault_add", command="*", fault="refused"), "fault_list"),
    "trace": ({"command": "pair_status", "daemon": "zvBleD"}, asked, "trace"),
    "trace_follow": ({"command": "9", "daemon": "zvBleD"}, None, None),
    "trace_clear": ({}, asked, "trace"),
    "requests": ({"since": 0, "lines": 1, "messages": True}, both(asked, asked), "requests"),
    "request": (newest, asked, None),
    "requests_follow": ({}, None, None),
    "requests_clear": ({}, asked, "requests"),
    "message": ({"hex": "000e0003000002450000000000ee", "command": "pair_status"}, None, None),
    "queue": ({}, asked, "queue"),
    "daemon_status": ({}, first("daemon_term", name="zvNetD"), "daemon_status"),
    "daemon_stop": ({"name": "zvNetD"}, None, "daemon_status"),
    "daemon_cont": ({"name": "zvNetD"}, first("daemon_stop", name="zvNetD"), "daemon_status"),
    "daemon_kill": ({"name": "zvNetD"}, None, "daemon_status"),
    "daemon_term": ({"name": "zvNetD"}, None, "daemon_status"),
    "daemon_start": ({"name": "zvNetD"}, first("daemon_term", name="zvNetD"), "daemon_status"),
    "log": ({"program": "zvControlD", "lines": 1}, logged, None),
    "log_follow": ({"program": "zvControlD", "lines": 1}, logged, None),
    "stream": ({}, first("stream_start", arguments=["-x", "a b"]), "stream"),
    "stream_start": ({"arguments": ["-x", "--port", "a b"]}, None, "stream"),
    "stream_stop": ({}, first("stream_start"), "stream"),
    "scenario": ({}, None, "scenario"),
    "scenario_list": ({}, None, None),
    "reset": ({}, first("set", item="recording", value="1"), "show"),
    "load": ({"scenario": {"state": {"recording": 1}}, "name": "other"}, None, "scenario"),
}
# What is another one each time: times, process numbers, and the bytes that hold one.
CHANGING = {"micros", "ms", "time", "seen_ms", "now_ms", "next", "pid", "hex", "queue", "number", "request", "opened"}
# Lines that arrive in their own time.
LINES = {"request": "log"}
# On the command line these print their records alone, one a line.
BY_LINE = {"trace", "requests", "log"}


def _rows():
    """Words, method, path and name of each row of the page."""
    with open(operations_page.PAGE, encoding="utf-8") as page:
        return re.findall(r"^\| `([^`]+)` \| `([A-Z]+) ([^`]+)` \| `(\w+)` \| .* \|$", page.read(), re.MULTILINE)


def test_the_page_has_all_operations():
    with open(operations_page.PAGE, encoding="utf-8") as page:
        assert page.read() == operations_page.text(), "python3 scripts/operations_page.py writes it anew"
    assert [name for *_, name in _rows()] == [each.name for each in operations.all()]


def test_every_operation_has_an_example():
    assert sorted(EXAMPLES) == sorted(each.name for each in operations.all())


def _steady(value):
    """The result without what is another one each time."""
    if isinstance(value, dict):
        return {key: type(inner).__name__ if key in CHANGING and not isinstance(inner, (dict, list))
                else _steady(inner) for key, inner in value.items()}
    return [_steady(inner) for inner in value] if isinstance(value, list) else value


def _as_word(value):
    return {True: "true", False: "false"}[value] if isinstance(value, bool) else str(value)


def _pair(key, value):
    return f"{key}={','.join(value) if isinstance(value, list) else _as_word(value)}"


def _told(parameter, value, folder):
    """The words that tell a parameter."""
    if parameter.kind == "flag":
        return [parameter.option]
    if parameter.kind == "pairs":
        return [_pair(*each) for each in value.items()]
    if parameter.kind == "words":
        return value
    if parameter.kind == "document":
        (folder / "document.json").write_text(json.dumps(value))
        value = folder / "document.json"
    return [*([parameter.option] if parameter.option else []), _as_word(value)]


class CommandLine:
    """zvcam."""

    def __init__(self, camera, folder, words):
        self._start = [os.path.join(camera.build_dir, "zvcam"), "--run-dir", camera.run_dir, "--json", *words.split()]
        self._folder = folder

    def _line(self, operation, given):
        told = [_told(each, given[each.name], self._folder) for each in operation.parameters if each.name in given]
        return [*self._start, *(word for words in told for word in words)]

    def perform(self, operation, given):
        done = subprocess.run(self._line(operation, given), capture_output=True, text=True, check=False, timeout=60)
        assert (done.returncode, done.stderr) == (0, ""), done.stdout
        lines = [json.loads(line) for line in done.stdout.splitlines()]
        if operation.name in BY_LINE:
            return lines
        assert len(lines) == 1
        return lines[0]

    @contextlib.contextmanager
    def follow(self, operation, given):
        with subprocess.Popen(self._line(operation, given), stdout=subprocess.PIPE, text=True) as process:
            yield lambda: json.loads(process.stdout.readline())
            process.terminate()


class Http:
    """The page's method and path."""

    def __init__(self, camera, method, path):
        self._camera = camera
        self._method = method
        self._path = path

    def _request(self, connection, given):
        rest = dict(given)
        path = re.sub(r"\{(\w+)\}", lambda place: urllib.parse.quote(str(rest.pop(place[1])), safe=""), self._path)
        if self._method in ("GET", "DELETE"):
            query = urllib.parse.urlencode({key: _as_word(value) for key, value in rest.items()})
            connection.request(self._method, f"{path}?{query}" if query else path)
        else:
            connection.request(self._method, path, json.dumps(rest), {"Content-Type": "application/json"})
        answer = connection.getresponse()
        assert answer.status == 200, answer.read()
        return answer

    def _connected(self):
        return contextlib.closing(http.client.HTTPConnection("127.0.0.1", self._camera.port, timeout=60))

    def perform(self, operation, given):
        with self._connected() as connection:
            return _records(operation, json.loads(self._request(connection, given).read()))

    @contextlib.contextmanager
    def follow(self, _operation, given):
        with self._connected() as connection:
            answer = self._request(connection, given)
            yield lambda: json.loads(next(line for line in answer if line.startswith(b"data: "))[6:])


class Python:
    """The method of this name."""

    def __init__(self, link, name):
        self._method = getattr(link, name)

    def perform(self, operation, given):
        result = self._method(**given)
        return {} if result is None else _records(operation, result)

    @contextlib.contextmanager
    def follow(self, _operation, given):
        with contextlib.closing(self._method(**given)) as events:
            yield lambda: next(events)


def _records(operation, result):
    """What the command line prints of it."""
    if operation.name in BY_LINE and isinstance(result, dict):
        return next(value for value in result.values() if isinstance(value, list))
    return result


def _first_event(camera, way, operation, given):
    """The first event, while requests keep coming."""
    with concurrent.futures.ThreadPoolExecutor(1) as pool, way.follow(operation, given) as event:
        arrived = pool.submit(event)
        for _ in range(300):
            camera.get(ASK)
            if concurrent.futures.wait([arrived], 0.1).done:
                return arrived.result()
        raise AssertionError("nothing came")


def _performed(camera, link, way, operation):
    """The result by one of the ways, and what it has changed; each time from the same state."""
    given, before, shows = EXAMPLES[operation.name]
    link.load(scenario=SCENARIO, name="example")
    if before:
        before(camera, link)
    given = given(link) if callable(given) else given
    result = _first_event(camera, way, operation, given) if operation.follows else way.perform(operation, given)
    if name_of_lines := LINES.get(operation.name):
        assert {each["source"] for each in result.pop(name_of_lines)} <= {"zvControl-cgi-bin", "lighttpd", "zvBleD"}
    return _steady(result), _steady(getattr(link, shows)() if shows else None)


@pytest.fixture(scope="module")
def running(make_module_camera):
    camera = make_module_camera()
    link = Link(camera.run_dir)
    with contextlib.closing(http.client.HTTPConnection("127.0.0.1", camera.port, timeout=60)) as connection:
        connection.request("GET", PREFIX)  # from now on the server of all others runs
        assert connection.getresponse().status == 200
    return camera, link


@pytest.mark.parametrize(("words", "method", "path", "name"), _rows(), ids=[row[-1] for row in _rows()])
def test_all_ways_do_the_same(running, open_path, words, method, path, name):
    camera, link = running
    operation = operations.find(name)
    by_command_line, by_http, by_python = (
        _performed(camera, link, way, operation) for way in
        (CommandLine(camera, open_path, words), Http(camera, method, path), Python(link, name)))
    assert by_command_line == by_python
    assert by_http == by_python
