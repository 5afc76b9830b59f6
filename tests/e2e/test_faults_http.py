"""Answers that go wrong on demand, as clients see them, and the program that stands before the web server for it."""

import http.client
import os
import re
import socket
import threading
import time

import house
import pytest
from zvcamera.admin import AdminError, InvalidRequest
from zvcamera.http_rules import Rules, read_rule

BLE = "/command/ble"
FREE = f"{BLE}/pairing_available"

ruled = pytest.mark.off_contract("a rule answers whatever it is told to")


def _add(camera, fault, command="/*", **more):
    return camera.admin("supervisor", "fault_add", command=command, fault=fault, **more)["id"]


def _rules(camera):
    return camera.admin("supervisor", "fault_list")


def _raw(camera, request, timeout=30):
    """Sends bytes as they are; returns all that comes until the connection ends."""
    with socket.create_connection(("127.0.0.1", camera.port), timeout) as connection:
        connection.sendall(request)
        answer = b""
        while block := connection.recv(65536):
            answer += block
        return answer


def _get_raw(camera, path=FREE, timeout=30):
    request = f"GET /control{path} HTTP/1.1\r\nHost: camera\r\nConnection: close\r\n\r\n"
    return _raw(camera, request.encode(), timeout)


def _payload(answer):
    """The body of an answer, however it is framed, as far as it has come."""
    head, _, body = answer.partition(b"\r\n\r\n")
    if b"chunked" not in head:
        return body
    found = b""
    while body:
        size, _, body = body.partition(b"\r\n")
        found += body[:int(size, 16)]
        body = body[int(size, 16) + 2:]
    return found


def _without_date(answer):
    return re.sub(rb"Date: [^\r]*", b"Date: then", answer)


def _faults(camera):
    return [(request["status"], request["fault"]) for request in camera.admin("supervisor", "requests")["requests"]]


@pytest.fixture(scope="module")
def served(make_module_camera):
    return make_module_camera()


@pytest.fixture(autouse=True)
def fresh(request):
    if "served" in request.fixturenames:
        request.getfixturevalue("served").admin("supervisor", "load", scenario={})


@ruled
@pytest.mark.quick
def test_a_status_of_ones_own(served):
    number = _add(served, "status", status=418, body="{\"tea\": 1}", type="application/json", count=2)
    answer = served.get(FREE)
    assert (answer.status, answer.headers["content-type"], answer.body) == (418, "application/json", b'{"tea": 1}')
    head = served.get(FREE, method="HEAD")
    assert (head.status, head.body, head.headers["content-length"]) == (418, b"", "10")
    assert _rules(served) == []
    house.assert_empty(served.get(FREE))
    assert _faults(served) == [(418, f"http:{number}"), (418, f"http:{number}"), (200, None)]
    assert served.asked("pair_status") == []


@pytest.mark.quick
def test_connections_are_refused_and_taken_again_at_the_same_port(served):
    number = _add(served, "refused")
    for _ in range(3):
        with pytest.raises(ConnectionRefusedError):
            served.get(FREE)
    assert _rules(served) == [{"id": number, "command": "/*", "fault": "refused", "hits": 0, "skip": 0, "left": "all"}]
    served.admin("supervisor", "fault_remove", id=number)
    house.assert_empty(served.get(FREE))


def test_nothing_is_said(served):
    number = _add(served, "silent", command=f"{BLE}/*")
    with pytest.raises(TimeoutError):
        _get_raw(served, timeout=0.5)
    assert served.get("/nothing").status == 400
    assert _faults(served) == [(0, f"http:{number}"), (400, None)]


def test_the_gateway_crashes(served, make_camera, open_path):
    """The answer is the one to a gateway that really does."""
    wrapper = open_path / "wrapper"
    wrapper.write_text("#!/bin/sh\nkill -ABRT $$\n")
    wrapper.chmod(0o755)
    really = _get_raw(make_camera(storage=open_path, control_program="/tmp/fuse_d/wrapper"))
    assert really.startswith(b"HTTP/1.1 500 ")
    number = _add(served, "crashed", count=1)
    assert _without_date(_get_raw(served)) == _without_date(really)
    assert _faults(served) == [(500, f"http:{number}")]


def test_the_gateway_is_past_its_time(served):
    _add(served, "timeout", count=1)
    start = time.monotonic()
    answer = _get_raw(served)
    assert time.monotonic() - start < 5
    assert answer.startswith(b"HTTP/1.1 504 Gateway Timeout\r\n")
    assert b"Server: camera\r\n" in answer and b"<h1>504 Gateway Timeout</h1>" in answer


@pytest.mark.slow
@pytest.mark.thorough
def test_a_gateway_that_is_really_past_its_time_is_answered_alike(served, make_camera, open_path):
    wrapper = open_path / "wrapper"
    wrapper.write_text("#!/bin/sh\nexec sleep 200\n")
    wrapper.chmod(0o755)
    really = _get_raw(make_camera(storage=open_path, control_program="/tmp/fuse_d/wrapper"), timeout=150)
    _add(served, "timeout", count=1)
    assert _without_date(_get_raw(served)) == _without_date(really)


@pytest.mark.parametrize(("size", "arrived"), [(None, 300), (0, 0), (1, 1), (599, 599), (600, 600), (10**6, 600)])
def test_an_answer_is_cut(served, size, arrived):
    served.admin("zvControlD", "analytics", action="size", size=600)
    whole = _payload(_get_raw(served, "/analytics/get"))
    _add(served, "cut", **({} if size is None else {"bytes": size}))
    answer = _get_raw(served, "/analytics/get")
    assert _payload(answer) == whole[:arrived]
    assert len(whole) == 600
    assert answer.endswith(b"0\r\n\r\n") or b"chunked" not in answer or arrived < 600 or size == 600


def test_a_client_notices_that_an_answer_is_cut(served):
    served.admin("zvControlD", "analytics", action="size", size=5 << 20)
    for options in ({}, {"bytes": 3 << 20}):
        _add(served, "cut", count=1, **options)
        with pytest.raises((http.client.IncompleteRead, ConnectionError)):
            served.get("/analytics/get")
    assert len(served.get("/analytics/get").body) == 5 << 20


def test_an_answer_comes_slowly(served):
    body = served.get("/nothing").body
    rate = len(body)  # so that it takes a second
    _add(served, "slow", bytes_per_second=rate)
    start = time.monotonic()
    assert served.get("/nothing").body == body
    assert time.monotonic() - start >= 0.9


def test_an_answer_comes_late_and_the_command_is_carried_out_at_once(served):
    _add(served, "late", ms=600)
    start = time.monotonic()
    late = threading.Thread(target=served.get, args=(f"{BLE}/pair/status",))
    late.start()
    served.wait_for(lambda: served.asked("pair_status"))
    assert time.monotonic() - start < 0.6
    late.join()
    assert time.monotonic() - start >= 0.6


def test_times_are_drawn_by_the_seed(served):
    for seed in (1, 2):
        rule = {"command": "/*", "fault": "late", "ms": 0, "max_ms": 100}
        served.admin("supervisor", "load", scenario={"ble": {"seed": seed}, "faults": [rule]})
        drawn = Rules(seed)
        drawn.add(1, read_rule(rule))
        for _ in range(8):
            served.get("/nothing")
        for request in served.admin("supervisor", "requests")["requests"]:
            assert request["ms"] >= drawn.plan("/nothing")[0][1] * 1000 - 1


@ruled
def test_which_answers_a_rule_hits(served):
    _add(served, "status", command=f"{BLE}/scan", skip=1, count=1)
    assert [served.get(path).status for path in (f"{BLE}/scan/list", f"{BLE}/scan?p=0", f"{BLE}/scan?p=0",
                                                 f"{BLE}/scan?p=0")] == [200, 200, 503, 200]
    _add(served, "status", command=f"{BLE}/scan*", status=502)
    assert [served.get(path).status for path in (f"{BLE}/scan/list", f"{BLE}/sc%61n", FREE, "")] == [502, 502, 200, 200]
    assert _raw(served, b"GET /elsewhere HTTP/1.0\r\n\r\n").startswith(b"HTTP/1.0 404")


@ruled
def test_a_rule_hits_with_its_probability(served):
    def statuses():
        _add(served, "status", probability=0.5)
        found = [served.get("/nothing").status for _ in range(20)]
        served.admin("supervisor", "reset")
        return found

    first = statuses()
    assert set(first) == {400, 503}
    assert statuses() == first


def test_several_rules_hit_one_answer(served):
    _add(served, "late", ms=200)
    _add(served, "status", status=500, body="0123456789")
    _add(served, "cut", bytes=3)
    start = time.monotonic()
    answer = _get_raw(served)
    assert time.monotonic() - start >= 0.2
    assert answer.startswith(b"HTTP/1.1 500 Internal Server Error\r\n")
    assert (b"Content-Length: 10\r\n" in answer, _payload(answer)) == (True, b"012")
    assert _faults(served) == [(500, "http:1 http:2 http:3")]


@ruled
def test_what_no_rule_is_for_passes_unchanged(served):
    served.admin("zvControlD", "analytics", action="size", size=3 << 20)
    queries = ("a=%20+%41%2f%2F", "%", "x" * 6000, "\\'~`{}^")
    def asked():
        return ([(answer.status, answer.body) for answer in (
            *(served.get(f"/nothing?{query}") for query in queries), served.get("/analytics/get"), served.get(""),
            served.get(FREE, method="HEAD"), served.get(FREE, method="POST"), served.get(FREE, method="BREW"),
            served.get(f"/nothing?{'x' * 10_000}"))],
            [_raw(served, text).partition(b"\r\n")[0] for text in (
                b"GET /control/nothing?\xe4\xff HTTP/1.0\r\n\r\n", b"GARBAGE\r\n\r\n", b"GET / HTTP/3.7\r\n\r\n",
                b"GET /control/nothing HTTP/1.1\r\n\r\n", b"\0" * 100_000,
                b"POST /control/nothing HTTP/1.0\r\nContent-Length: 5\r\n\r\nhello")])

    direct = asked()
    _add(served, "status", command="/other")
    assert asked() == direct
    assert served.get("/other").status == 503


def test_the_gateway_sees_the_clients_own_address(make_camera, open_path):
    wrapper = open_path / "wrapper"
    wrapper.write_text("#!/bin/sh\necho $REMOTE_ADDR:$REMOTE_PORT $REQUEST_URI >>/tmp/fuse_d/seen\n"
                       "exec /usr/local/zarvo/bin/zvControl-cgi-bin\n")
    wrapper.chmod(0o755)
    camera = make_camera(storage=open_path, control_program="/tmp/fuse_d/wrapper")
    _add(camera, "status", command="/other")
    with socket.create_connection(("127.0.0.1", camera.port), 30) as connection:
        connection.sendall(b"GET /control/x?y HTTP/1.0\r\n\r\n")
        while connection.recv(65536):
            pass
        port = connection.getsockname()[1]
    assert (open_path / "seen").read_text() == f"127.0.0.1:{port} /control/x?y\n"
    request, = camera.admin("supervisor", "requests")["requests"]
    assert request["pid"] is not None


def test_requests_at_once_have_their_processes(served):
    _add(served, "late", ms=100)
    house.at_once(8, lambda number: served.get(f"{BLE}/pair/status?{number}"))
    requests = served.admin("supervisor", "requests")["requests"]
    assert len({request["pid"] for request in requests} - {None}) == 8
    answered = {record["pid"] for record in served.admin("zvBleD", "trace")}
    assert {request["pid"] for request in requests} == answered


def test_no_request_is_lost_while_the_way_changes(served):
    ending = threading.Event()

    def ask(number):
        if number == 0:
            try:
                for _ in range(40):
                    _add(served, "status", command="/other")
                    served.admin("supervisor", "fault_clear")
            finally:
                ending.set()
            return []
        found = []
        while not ending.is_set():
            found.append(served.get(FREE).status)
        return found

    statuses = [status for found in house.at_once(4, ask) for status in found]
    assert len(statuses) > 50
    assert set(statuses) == {200}


def test_a_running_request_ends_in_peace(served):
    served.spoil("pair_status", "late", ms=1500)
    answers = []
    running = threading.Thread(target=lambda: answers.append(served.get(f"{BLE}/pair/status").status))
    running.start()
    served.wait_for(served.reply_queues)
    _add(served, "refused")
    with pytest.raises(ConnectionRefusedError):
        served.get(FREE)
    served.admin("supervisor", "fault_clear")
    _add(served, "status", command="/other")
    running.join()
    assert answers == [200]
    served.wait_for(lambda: served.admin("supervisor", "requests")["requests"])  # told behind the answer
    assert [(request["status"], request["pid"] is None)
            for request in served.admin("supervisor", "requests")["requests"]] == [(200, False)]


@ruled
def test_a_camera_without_a_web_server_refuses(served):
    for rule in (None, "status"):
        if rule:
            _add(served, rule, command="/other")
        for op in ("term", "kill"):
            assert served.program("lighttpd", op) == "ended"
            for _ in range(2):
                with pytest.raises(ConnectionRefusedError):
                    served.get(FREE)
            with pytest.raises(AdminError, match="^lighttpd is not running$"):
                served.program("lighttpd", "stop")
            assert served.program("lighttpd", "start") == "running"
            house.assert_empty(served.get(FREE))
    assert served.get("/other").status == 503


@ruled
def test_rules_are_added_while_there_is_no_web_server(served):
    served.program("lighttpd", "term")
    _add(served, "status", command="/other")
    with pytest.raises(ConnectionRefusedError):
        served.get("/other")
    served.program("lighttpd", "start")
    assert served.get("/other").status == 503


@ruled
def test_a_stopped_web_server_behind_the_front(served):
    _add(served, "status", command="/other")
    served.program("lighttpd", "stop")
    with pytest.raises(TimeoutError):
        _get_raw(served, timeout=0.5)
    assert served.get("/other").status == 503
    served.program("lighttpd", "cont")
    house.assert_empty(served.get(FREE))


def test_a_wrong_rule_changes_nothing(served):
    with pytest.raises(InvalidRequest, match="^status: must be a whole number from 200 to 599$"):
        _add(served, "status", status=1)
    with pytest.raises(InvalidRequest, match="^command: must be a path that begins with /$"):
        _add(served, "status", command="scan")
    with pytest.raises(AdminError, match="^no fault rule with this id$"):
        served.admin("supervisor", "fault_remove", id=1)
    assert _rules(served) == []


@ruled
def test_clients_cannot_ask_for_the_inner_path(served):
    _add(served, "crashed", count=1)
    _get_raw(served)
    for path in ("/crashed", "/timeout", "/*/crashed", "//crashed"):
        assert _raw(served, f"GET {path} HTTP/1.0\r\n\r\n".encode()).startswith(b"HTTP/1.0 404")


def test_hostile_clients_do_not_stop_the_front(served):
    _add(served, "silent", command="/silent")
    held = []
    try:
        for number in range(500):  # more than it holds
            connection = socket.create_connection(("127.0.0.1", served.port), 30)
            connection.sendall((b"", b"GET /control/silent HTTP/1.1\r\n\r\n", b"GET /co", b"\0\xff" * 100)[number % 4])
            held.append(connection)
        house.assert_empty(served.get(FREE))
    finally:
        for connection in held:
            connection.close()
    with socket.create_connection(("127.0.0.1", served.port), 30) as endless:
        endless.settimeout(10)
        with pytest.raises(OSError):
            for _ in range(2000):
                endless.sendall(b"X" * 65536)
            raise ConnectionError
    dice = os.urandom
    for _ in range(100):
        with socket.create_connection(("127.0.0.1", served.port), 30) as connection:
            connection.sendall(dice(300))
    house.assert_empty(served.get(FREE))
    assert served.get("/silent2").status == 400


@ruled
def test_a_front_that_is_killed_gives_the_way_free(build_dir):
    with house.TestCamera(build_dir) as camera:
        _add(camera, "status", command="/other")
        assert camera.get("/other").status == 503
        camera.run(["/bin/sh", "-c", "kill -9 $(pgrep -f zvcamera.inside.front)"])
        camera.wait_for(lambda: camera.get("/other").status == 400)
        _add(camera, "status", command="/other")
        assert camera.get("/other").status == 503
        assert camera.admin("supervisor", "status")["lighttpd"]["misdeeds"] == ["front ended by itself, status -9"]
    assert camera.misdeeds == ["front ended by itself, status -9"]


@ruled
def test_rules_for_paths_in_a_scenario(make_camera, open_path):
    scenario = open_path / "mine.json"
    scenario.write_text('{"faults": [{"command": "/x", "fault": "status", "count": 1},'
                        '{"command": "scan", "fault": "late"}]}')
    camera = make_camera(scenario=str(scenario))
    assert [camera.get("/x").status for _ in range(2)] == [503, 400]
    camera.admin("supervisor", "reset")
    assert [camera.get("/x").status for _ in range(2)] == [503, 400]
    assert [rule["command"] for rule in camera.admin("zvBleD", "fault_list")] == ["scan"]
