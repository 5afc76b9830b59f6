"""Control over HTTP, through the camera's web server."""

import contextlib
import http.client
import json
import signal
import socket
import time

import house
import pytest
from test_run import Terminal, _get

STATE = "/simulator/state"


def ask(camera, method, path, body=None, **fields):
    """(status, document) of an answer; a text when it is no JSON, as those of the web server itself."""
    if body is not None:
        fields = {"Content-Type": "application/json", **fields}
        body = body if isinstance(body, bytes) else json.dumps(body).encode()
    with contextlib.closing(http.client.HTTPConnection("127.0.0.1", camera.port, timeout=30)) as connection:
        connection.request(method, path, body, {name.replace("_", "-"): value for name, value in fields.items()})
        answer = connection.getresponse()
        text = answer.read()
        is_json = (answer.headers["Content-Type"] or "").startswith("application/json")
        return answer.status, json.loads(text) if is_json else text.decode()


def send(camera, *lines):
    """The first line of the answer to a request of these lines, sent as they are."""
    with socket.create_connection(("127.0.0.1", camera.port), timeout=30) as connection:
        connection.sendall(b"\r\n".join([*lines, b"", b""]))
        return connection.recv(1 << 16).partition(b"\r\n")[0]


@pytest.fixture(scope="module", params=["lighttpd", pytest.param("nginx", marks=pytest.mark.thorough)])
def served(request, make_module_camera):
    return make_module_camera(web_server=request.param, allow_hosts=["box.example"])


@pytest.mark.quick
def test_an_item_is_shown_and_set(served):
    assert ask(served, "GET", f"{STATE}?item=recording") == (200, 0)
    assert ask(served, "PUT", f"{STATE}/recording", {"value": "1"}) == (200, {"recording": 1})
    assert served.get("/command/ble/pairing_available").status == 500
    assert ask(served, "PUT", f"{STATE}/recording", {"value": "0"}) == (200, {"recording": 0})
    assert served.get("/command/ble/pairing_available").status == 200


def test_the_listing_names_operations_that_answer(served):
    status, document = ask(served, "GET", "/simulator")
    assert status == 200
    for operation in document["operations"]:
        needs = any(parameter["required"] for parameter in operation["parameters"])
        if operation["method"] == "GET" and not operation["events"] and not needs:
            assert ask(served, "GET", operation["path"])[0] == 200, operation


def test_what_is_wrong_has_its_status(served):
    assert ask(served, "GET", "/simulator/nothing")[0] == 404
    assert ask(served, "DELETE", STATE)[0] == 405
    assert ask(served, "GET", f"{STATE}?item=colour")[0] == 400
    assert ask(served, "PUT", f"{STATE}/recording", b"{")[0] == 400
    assert ask(served, "PUT", f"{STATE}/recording", b"value=1", Content_Type="text/plain")[0] == 415
    assert ask(served, "PUT", f"{STATE}/recording", b" " * (1 << 20) + b"x")[0] == 413
    assert ask(served, "PUT", f"{STATE}/recording", b" " * (3 << 20))[0] == 413
    assert ask(served, "GET", "/simulator/%ff%fe")[0] in (400, 404)


@pytest.mark.parametrize(("name", "value"), [
    ("Host", "camera.example"), ("Host", "127.0.0.2"), ("Origin", "http://camera.example"), ("Origin", "null"),
    ("Sec-Fetch-Site", "cross-site"), ("Sec-Fetch-Site", "same-site")])
def test_pages_from_elsewhere_are_refused(served, name, value):
    """By the web server, or by the program behind it; either names the field."""
    status, told = ask(served, "GET", STATE, **{name: value})
    assert status == 403 and name in (told if isinstance(told, str) else told["error"])


def test_the_camera_has_several_names(served):
    for host in ("localhost", f"localhost:{served.port}", "[::1]:80", "box.example:8080", "camera"):
        assert ask(served, "GET", f"{STATE}?item=recording", Host=host) == (200, 0)
    own = f"127.0.0.1:{served.port}"
    assert ask(served, "GET", f"{STATE}?item=recording", Host=own, Origin=f"http://{own}") == (200, 0)


def test_pages_of_an_allowed_origin_may_use_the_gateway_alone(make_camera):
    camera = make_camera(cors_origins=["http://localhost:3000"])
    origin = {"Origin": "http://localhost:3000"}
    assert ask(camera, "GET", "/control/command/ble/pairing_available", **origin)[0] == 200
    assert ask(camera, "GET", STATE, **origin)[0] == 403


def test_no_page_gets_leave(served):
    """A browser asks before it sends what a page may not send by itself; it gets none of the fields that allow it."""
    with contextlib.closing(http.client.HTTPConnection("127.0.0.1", served.port, timeout=30)) as connection:
        for origin in ("http://camera.example", f"http://127.0.0.1:{served.port}"):
            connection.request("OPTIONS", f"{STATE}/recording", headers={
                "Origin": origin, "Access-Control-Request-Method": "PUT"})
            answer = connection.getresponse()
            answer.read()
            assert answer.status in (403, 405)
            assert not [name for name in answer.headers if name.lower().startswith("access-control")]


def test_a_client_cannot_claim_to_be_here(served):
    """The web server's own word stands last."""
    assert ask(served, "GET", STATE, X_Forwarded_For="10.0.0.1")[0] == 200


def test_an_old_client_without_a_host_is_refused(served):
    assert send(served, b"GET /simulator HTTP/1.0").split()[1] in (b"403", b"400")


def test_long_lines_are_refused(served):
    for lines in ((b"GET /simulator/" + b"x" * 100_000 + b" HTTP/1.1", b"Host: localhost"),
                  (b"GET /simulator HTTP/1.1", b"Host: localhost", b"X: " + b"x" * 100_000)):
        assert send(served, *lines).split()[1] in (b"400", b"414", b"431")


def test_the_gateway_keeps_its_paths(served):
    assert served.get("/simulator").json()["status"] == "unknown request"
    assert ask(served, "GET", "/simulatorx")[0] == 404


def test_a_program_that_is_not_there_is_503(served):
    with served.without("zvControlD"):
        status, document = ask(served, "GET", STATE)
    assert status == 503 and document["error"].startswith("zvControlD does not run")


def test_the_server_ends_and_starts_like_any_program(make_camera):
    camera = make_camera()
    assert camera.admin("supervisor", "status")["control"]["state"] == "idle"
    assert ask(camera, "GET", STATE)[0] == 200
    assert camera.admin("supervisor", "status")["control"]["state"] == "running"
    assert camera.program("control", "term") == "ended"
    assert ask(camera, "GET", STATE)[0] in (500, 503)
    assert camera.program("control", "start") == "idle"
    camera.wait_for(lambda: ask(camera, "GET", STATE)[0] == 200)  # the web server tries again after a second
    assert camera.program("control", "kill") == "ended"
    assert camera.program("control", "start") == "idle"
    camera.wait_for(lambda: ask(camera, "GET", STATE)[0] == 200)


def test_a_camera_without_control_has_nothing_there(open_path, build_dir):
    terminal = Terminal(open_path, build_dir, "--port", "0", "--no-control")
    port = terminal.port()
    assert _get(port, "/simulator")[0] == 404
    assert _get(port, "/control/command/ble/pairing_available") == (200, b"{}")
    assert terminal.end(signal.SIGINT) == 0


def test_options_name_further_hosts(open_path, build_dir):
    terminal = Terminal(open_path, build_dir, "--port", "0", "--allow-host", "box.example")
    port = terminal.port()
    with contextlib.closing(http.client.HTTPConnection("127.0.0.1", port, timeout=30)) as connection:
        for host, status in (("box.example", 200), ("other.example", 403)):
            connection.request("GET", "/simulator", headers={"Host": host})
            answer = connection.getresponse()
            answer.read()
            assert answer.status == status
    assert terminal.end(signal.SIGINT) == 0


@pytest.mark.thorough
def test_busybox_has_no_control(make_camera):
    camera = make_camera(web_server="busybox")
    assert ask(camera, "GET", "/simulator")[0] == 404
    assert "control" not in camera.admin("supervisor", "status")


def test_camera_ends_fast_beside_its_control(build_dir):
    with house.TestCamera(build_dir) as camera:
        assert ask(camera, "GET", STATE)[0] == 200
        start = time.monotonic()
    assert time.monotonic() - start < 3
    assert camera.misdeeds == []


@contextlib.contextmanager
def following(camera, path):
    """The lines of the events at a path, as they come."""
    with contextlib.closing(http.client.HTTPConnection("127.0.0.1", camera.port, timeout=30)) as connection:
        connection.request("GET", path)
        answer = connection.getresponse()
        assert (answer.status, answer.headers["Content-Type"]) == (200, "text/event-stream")
        assert answer.readline() == b": events follow\n"
        yield answer


def next_event(answer):
    return next(line.decode().rstrip("\n") for line in answer if not line.startswith(b":") and line != b"\n")


def test_events_follow_the_messages(served):
    ask(served, "DELETE", "/simulator/trace")
    with following(served, "/simulator/trace/events?daemon=zvBleD") as answer:
        assert served.get("/command/ble/pair/status").status == 200
        records = [json.loads(next_event(answer).removeprefix("data: ")) for _ in range(2)]
    assert [(record["daemon"], record["command"], record["direction"]) for record in records] == \
        [("zvBleD", "pair_status", "in"), ("zvBleD", "pair_status", "out")]


def test_clients_that_leave_make_room(served):
    for _ in range(40):
        with following(served, "/simulator/log/events"):
            pass
        time.sleep(0.05)


def test_events_end_with_the_camera(build_dir):
    with house.TestCamera(build_dir) as camera, following(camera, "/simulator/trace/events") as answer:
        camera.stop()
        assert next_event(answer) == "event: end"
    assert camera.misdeeds == []
