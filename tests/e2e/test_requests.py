"""The history of the HTTP requests that the camera has got, and which gateway served each."""

import http.client
import json
import socket
import subprocess
import sys
import time

import house
import pytest
from zvcamera import admin, terminal

BLE = "/command/ble"
# Tells which process served which query, in its own way.
WRAPPER = """#!/bin/sh
echo "$QUERY_STRING $$" >>/tmp/fuse_d/served
exec /usr/local/zarvo/bin/zvControl-cgi-bin
"""


def _requests(camera, since=0):
    return camera.admin("supervisor", "requests", since=since)["requests"]


@pytest.fixture(autouse=True)
def forget(request):
    if "shared_camera" in request.fixturenames:
        request.getfixturevalue("shared_camera").admin("supervisor", "requests_clear")


@pytest.mark.quick
def test_what_is_told_of_a_request(shared_camera):
    before = time.time()
    answer = shared_camera.get(f"{BLE}/scan/list?p=1")
    shared_camera.get("/nothing%20here?a=%22\"'")
    first, second = _requests(shared_camera)
    assert second["number"] == first["number"] + 1
    assert before - 0.01 <= first["time"] <= time.time()
    assert 0 < first["ms"] < 10_000
    assert first["bytes"] >= len(answer.body)  # with the framing of chunks, if there are any
    assert {key: first[key] for key in ("method", "uri", "query", "status", "fault")} == {
        "method": "GET", "uri": f"/control{BLE}/scan/list", "query": "p=1", "status": 200, "fault": None}
    assert {key: second[key] for key in ("method", "uri", "query", "status", "fault")} == {
        "method": "GET", "uri": "/control/nothing%20here", "query": "a=%22\"'", "status": 400, "fault": None}


@pytest.mark.quick
def test_a_message_belongs_to_the_request_with_its_process(shared_camera):
    shared_camera.admin("zvBleD", "trace_clear")
    shared_camera.get(f"{BLE}/pair/status")
    shared_camera.get(f"{BLE}/configure")
    status, configuration = _requests(shared_camera)
    records = shared_camera.admin("zvBleD", "trace")
    assert [(record["pid"], record["direction"], record["command"]) for record in records] == [
        (status["pid"], "in", "pair_status"), (status["pid"], "out", "pair_status"),
        (configuration["pid"], "in", "config_get"), (configuration["pid"], "out", "config_get")]
    assert status["pid"] != configuration["pid"]
    for record, request in zip(records, (status, status, configuration, configuration), strict=True):
        assert request["time"] <= record["micros"] / 1e6 <= request["time"] + request["ms"] / 1000


def test_requests_at_once_to_the_same_path(make_camera, open_path):
    wrapper = open_path / "wrapper"
    wrapper.write_text(WRAPPER)
    wrapper.chmod(0o755)
    camera = make_camera(storage=open_path, control_program="/tmp/fuse_d/wrapper")
    for fault in ("late", None):  # all of them overlap, then as it comes
        if fault:
            camera.spoil("pair_status", fault, ms=200)
        for _ in range(5):
            assert {answer.status for answer in house.at_once(
                8, lambda number: camera.get(f"{BLE}/pair/status?{time.monotonic_ns()}-{number}"))} == {200}
        camera.admin("zvBleD", "fault_clear")
    served = dict(line.split() for line in (open_path / "served").read_text().splitlines())
    told = {request["query"]: str(request["pid"]) for request in _requests(camera)}
    assert len(told) == 80
    assert told == served


def test_requests_on_one_connection(shared_camera):
    connection = http.client.HTTPConnection("127.0.0.1", shared_camera.port, timeout=30)
    for _ in range(4):
        connection.request("GET", f"/control{BLE}/pair/status")
        connection.getresponse().read()
    connection.close()
    assert len({request["pid"] for request in _requests(shared_camera)} - {None}) == 4


def test_without_a_gateway_there_is_no_process(shared_camera):
    with socket.create_connection(("127.0.0.1", shared_camera.port), 30) as connection:
        connection.sendall(b"GET /elsewhere HTTP/1.0\r\n\r\n")
        while connection.recv(4096):
            pass
    request, = _requests(shared_camera)
    assert (request["uri"], request["status"], request["pid"]) == ("/elsewhere", 404, None)


def test_processes_are_known_after_the_control_daemon_has_ended(camera):
    camera.get(f"{BLE}/pair/status")
    for op in ("term", "start"):
        camera.program("zvControlD", op)
    assert _requests(camera)[0]["pid"] is not None
    camera.get(f"{BLE}/pair/status")
    camera.program("zvControlD", "stop")
    assert len(_requests(camera)) == 2  # nobody waits for a daemon that is stopped
    camera.program("zvControlD", "cont")
    assert _requests(camera)[1]["pid"] is not None


def test_nobody_else_writes_the_history(shared_camera):
    forged = ("import socket; s = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM);"
              "s.sendto(b'<30>lighttpd[1]: request-0 GET\\t/forged\\t\\t200\\t1\\t1\\t1\\t1', '/dev/log')")
    assert shared_camera.run(["/usr/bin/python3", "-c", forged]).status == 0
    shared_camera.get("/a?%0a<30>lighttpd:")
    assert [request["uri"] for request in _requests(shared_camera)] == ["/control/a"]


def test_any_bytes_in_a_path(shared_camera):
    with socket.create_connection(("127.0.0.1", shared_camera.port), 30) as connection:
        connection.sendall(b"GET /control/\xe4\"\\x%20y?\t'\"\\\xff%0a HTTP/1.0\r\n\r\n")
        while connection.recv(4096):
            pass
    request, = _requests(shared_camera)
    assert (request["uri"], request["query"]) == ("/control/\\xe4\"\\x%20y", "\t'\"\\\\xff%0a")


def test_the_last_thousand_are_kept(shared_camera):
    first = shared_camera.admin("supervisor", "requests")["next"]
    connection = http.client.HTTPConnection("127.0.0.1", shared_camera.port, timeout=30)
    for _ in range(1005):
        connection.request("GET", "/elsewhere")
        connection.getresponse().read()
    connection.close()
    answer = shared_camera.admin("supervisor", "requests")
    assert (len(answer["requests"]), answer["next"]) == (1000, first + 1005)
    assert [request["number"] for request in _requests(shared_camera, since=first + 1004)] == [first + 1004]


def test_followers_of_requests_and_log(shared_camera):
    socket_path = f"{shared_camera.run_dir}/supervisor.admin"
    with admin.Subscription(socket_path, "requests_follow") as requests, \
            admin.Subscription(socket_path, "log_follow") as log:
        assert requests.kept["requests"] == []
        shared_camera.get(f"{BLE}/pair/status")
        events = []
        shared_camera.wait_for(lambda: events.extend(requests.events()) or events)
        assert (events[0]["uri"], events[0]["status"]) == (f"/control{BLE}/pair/status", 200)
        assert events[0]["pid"] is not None
        texts = []
        shared_camera.wait_for(lambda: texts.extend(record["text"] for record in log.events())
                               or any(f"GET /control{BLE}/pair/status 200 " in text for text in texts))


def test_a_follower_that_does_not_read_holds_nobody_up(camera):
    with socket.socket(socket.AF_UNIX) as deaf:
        deaf.connect(f"{camera.run_dir}/supervisor.admin")
        deaf.sendall(b'{"op":"log_follow"}\n')
        script = "import syslog\nfor n in range(40000): syslog.syslog('x' * 200)"
        assert camera.run(["/usr/bin/python3", "-c", script]).status == 0
        assert camera.get(f"{BLE}/pair/status").status == 200
        assert camera.admin("supervisor", "requests")["requests"][-1]["status"] == 200


@pytest.mark.parametrize(("line", "error"), [
    (b"[]", 'a request is an object with the text "op"'),
    (b"{", "not a request: Expecting property name enclosed in double quotes: line 2 column 1 (char 2)"),
    (b'{"op":"paint"}', "unknown op paint"),
    (b'{"op":"log","since":"x"}', "since: must be a whole number"),
    (b'{"op":"log","more":1}', "more: unknown key"),
    (b'{"op":"status","more":1}', "more: unknown key"),
    (b'{"op":"stop"}', "daemon: missing"),
    (b'{"op":"stop","daemon":"zvFooD"}',
     "unknown daemon zvFooD: one of zvControlD, zvNetD, zvBleD, lighttpd, control"),
    (b'{"op":"run","argv":[1]}', "argv, env: must hold texts"),
    (b'{"op":"run","argv":["/bin/true"],"stdin":"?"}', "stdin: must be base64"),
    (b'{"op":"load","scenario":[]}', "scenario: must be an object"),
])
def test_wrong_requests_to_the_supervisor(shared_camera, line, error):
    with socket.socket(socket.AF_UNIX) as connection:
        connection.connect(f"{shared_camera.run_dir}/supervisor.admin")
        connection.sendall(line + b"\n")
        assert json.loads(connection.makefile().readline()) == {"ok": False, "error": error, "kind": "invalid"}


def test_what_the_supervisor_refuses(shared_camera):
    for op, request, error in (("start", {"daemon": "zvBleD"}, "zvBleD is running already"),
                               ("run", {"argv": ["/bin/sleep", "9"], "limit": 0.1},
                                "/bin/sleep has not ended after 0.1 seconds"),
                               ("run", {"argv": ["/none"]}, "[Errno 2] No such file or directory: '/none'")):
        with pytest.raises(admin.AdminError) as caught:
            shared_camera.admin("supervisor", op, **request)
        assert (type(caught.value), str(caught.value)) == (admin.AdminError, error)


def test_a_terminal_shows_the_request_and_not_the_gateways_line_of_it(camera, capsys):
    camera.get(f"{BLE}/pair/status?x=1")
    shown = f"GET /control{BLE}/pair/status?x=1 200 "
    camera.wait_for(lambda: any(shown in record["text"] for record in camera.records))
    for record in camera.records:
        terminal._print_record(record, sys.stdout)
    output = capsys.readouterr().out
    assert f"lighttpd: {shown}" in output
    assert "Executing zvControl-cgi-bin" not in output
    logged = subprocess.run([f"{camera.build_dir}/zvcam", "--run-dir", camera.run_dir, "log"], capture_output=True,
                            text=True, check=True).stdout
    assert "Executing zvControl-cgi-bin" in logged


@pytest.mark.thorough
@pytest.mark.parametrize("web_server", ["nginx", "busybox"])
def test_behind_other_web_servers_there_is_no_history(make_camera, web_server):
    camera = make_camera(web_server=web_server)
    assert camera.get(f"{BLE}/pair/status").status == 200
    assert _requests(camera) == []
    with pytest.raises(admin.InvalidRequest, match="^faults of HTTP are for a camera behind lighttpd$"):
        camera.admin("supervisor", "fault_add", command="/*", fault="silent")
    assert camera.admin("supervisor", "fault_list") == []
    assert camera.admin("supervisor", "reset")["ms"] > 0
    assert camera.get(f"{BLE}/pair/status").status == 200
