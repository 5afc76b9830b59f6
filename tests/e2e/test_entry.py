"""The program's entry: by HTTP, and with a bare environment."""

import json
import time

import house
import pytest

pytestmark = pytest.mark.gateway

UNKNOWN = {"status": "unknown request", "zverr": -3, "_function": "main", "_line": 143}


def _split(output):
    """Splits the output of a CGI program into header lines and body."""
    header, _, body = output.partition(b"\r\n\r\n")
    return header.split(b"\r\n"), body


@pytest.mark.every_build
@pytest.mark.quick
def test_unknown_request(shared_camera):
    answer = shared_camera.get("/nothing_here?a=1")
    assert (answer.status, answer.headers["content-type"]) == (400, "application/json")
    assert answer.json() == {**UNKNOWN, "path": "/nothing_here", "query": "a=1"}


def test_paths_match_exactly(shared_camera):
    for path in ("/", "/execute/", "/Execute", "//execute", "/command/ble", "/command/ble/scan/lis",
                 "/command/ble/pairing_available/x"):
        # Without the web server, which might change the path.
        done = shared_camera.request(path)
        header, body = _split(done.stdout)
        assert header == [b"Status: 400 Bad Request", b"Content-Type: application/json"], path
        assert json.loads(body) == {**UNKNOWN, "path": path, "query": ""}
        assert done.status == 236  # -20


@pytest.mark.every_build
def test_texts_of_the_request_are_escaped(shared_camera):
    query = "".join(map(chr, range(1, 256)))
    done = shared_camera.request('/a"\\\n', query)
    answer = json.loads(_split(done.stdout)[1].decode("utf-8", errors="replace"))
    assert answer["path"] == '/a"\\\n'
    assert answer["query"][:0x7f] == query[:0x7f]


@pytest.mark.every_build
def test_success_with_nothing_to_tell(shared_camera):
    done = shared_camera.request("/command/ble/pairing_available")
    assert (done.status, done.stderr) == (0, b"")
    assert done.stdout == b"Status: 200 OK\r\nContent-Type: application/json\r\n\r\n{}"


@pytest.mark.every_build
def test_every_request_is_logged(shared_camera):
    with shared_camera.new_lines() as lines:
        shared_camera.request("/nothing", "a=1")
        shared_camera.request("/nothing")
        shared_camera.request()
    said = [(line.level, line.message, line.source, line.number, line.priority) for line in lines
            if line.number == "100"]
    assert said == [("DEBUG", f"Executing zvControl-cgi-bin path[{path}] params[{params}]\n", "zvControl", "100", 3)
                    for path, params in (("/nothing", "a=1"), ("/nothing", "(null)"), ("(null)", "(null)"))]


@pytest.mark.every_build
def test_control_daemon_absent(camera):
    with camera.without("zvControlD"), camera.new_lines() as lines:
        done = camera.request("/command/ble/pairing_available")
    assert (done.stdout, done.stderr) == (b"", b"")
    assert done.status == 255
    errors = [line for line in lines if line.level == "ERROR"]
    assert [(line.message, line.source, line.number) for line in errors] == \
        [("Error[-1] opening the daemon interface\n", "zvControl", "120")]


def test_control_daemon_refuses(camera):
    camera.tool("fail", "uri_interface_open", "ZV_ERR_NAK")
    with camera.new_errors("zvControl") as errors:
        done = camera.request("/command/ble/pairing_available")
    assert (done.status, done.stdout, done.stderr) == (256 - 17, b"", b"")
    assert errors == ["Error[-17] opening the daemon interface\n"]


def test_control_daemon_that_stands_still_is_given_up(camera):
    with camera.stopped("zvControlD"), camera.new_errors("zvControl") as errors:
        done = camera.request("/command/ble/pairing_available", timeout=30)
    assert (done.status, done.stdout) == (255, b"")
    assert errors == ["Error[-1] opening the daemon interface\n"]


@pytest.mark.parametrize(("server", "status", "text"), [
    ("lighttpd", 500, b"<h1>500 Internal Server Error</h1>"),
    pytest.param("nginx", 502, b"no response received", marks=pytest.mark.thorough),
    pytest.param("busybox", 500, b"no answer\n", marks=pytest.mark.thorough)])
def test_web_server_answers_for_a_control_daemon_that_stands_still(make_camera, server, status, text):
    camera = make_camera(web_server=server)
    if (server, camera.gateway) == ("nginx", "scgi"):
        text = b"<h1>502 Bad Gateway</h1>"  # nginx's own: nobody stands between it and the program
    with camera.stopped("zvControlD"):
        start = time.monotonic()
        answer = camera.get("/command/ble/pairing_available")
        passed = time.monotonic() - start
    assert (answer.status, text in answer.body) == (status, True)
    assert 4.9 < passed < 12


def test_failing_close_leaves_the_answer(camera):
    camera.tool("fail", "uri_interface_close", "-9")
    done = camera.request("/command/ble/pairing_available")
    assert done.stdout.endswith(b"\r\n\r\n{}")
    assert done.stderr == b"Error[0] closing the daemon interface\n"
    assert done.status == 0
    done = camera.request("/nothing")
    assert done.stderr == b"Error[-20] closing the daemon interface\n"


@pytest.mark.every_build
def test_exit_status(shared_camera):
    for path, query, status in (("/command/ble/pairing_available", None, 0), ("/execute", None, 238),
                                ("/analytics/get", None, 238), ("/analytics/clear", None, 0), (None, None, 0),
                                ("", None, 0), ("/command/ble/pairing_phase", None, 253), ("/nothing", None, 236)):
        assert shared_camera.request(path, query).status == status, path


def test_any_method_does(shared_camera):
    house.assert_empty(shared_camera.get("/command/ble/pairing_available", method="POST"))
