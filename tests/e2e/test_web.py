"""What the web server hands to the program, and what it makes of the program's answers."""

import socket
import time

import house
import pytest

pytestmark = pytest.mark.gateway

BLE = "/command/ble"
WRAPPER = """#!/bin/sh
/usr/local/zarvo/bin/zvControl-cgi-bin
status=$?
echo "$PATH_INFO $status" >>/tmp/fuse_d/statuses
exit $status
"""


def _raw(camera, request):
    """Sends bytes as they are, and returns the whole answer."""
    with socket.create_connection(("127.0.0.1", camera.port), 30) as connection:
        connection.sendall(request)
        answer = b""
        while block := connection.recv(65536):
            answer += block
        return answer


def test_exit_status_that_the_web_server_sees(make_camera, open_path):
    wrapper = open_path / "wrapper"
    wrapper.write_text(WRAPPER)
    wrapper.chmod(0o755)
    camera = make_camera(storage=open_path, control_program="/tmp/fuse_d/wrapper")
    # Without a file, the answer is a 204 with a body, and lighttpd does not wait for the end of such a program.
    camera.tool("analytics", "append", "1")
    expected = []
    for uri, path, status in (("", "", 0),
                              ("/execute?p1=zvStream&c1=stop", "/execute", 238), ("/execute", "/execute", 238),
                              ("/analytics/get", "/analytics/get", 238), ("/analytics/clear", "/analytics/clear", 0),
                              (f"{BLE}/pairing_available", f"{BLE}/pairing_available", 0), ("/x", "/x", 236),
                              (f"{BLE}/scan", f"{BLE}/scan", 253)):
        camera.get(uri)
        expected.append(f"{path} {status}")
    camera.tool("set", "recording", "1")
    camera.get("/analytics/get")
    expected.append("/analytics/get 238")
    camera.wait_for(lambda: len((open_path / "statuses").read_text().splitlines()) == len(expected))
    assert sorted((open_path / "statuses").read_text().splitlines()) == sorted(expected)


@pytest.mark.quick
def test_query_arrives_as_it_was_sent(shared_camera):
    for query in ("a=%20+%41%2f%2F", "%", "%zz", "a=1&&b==2&", "p=%31", "a?b?c", "x" * 6000, "\\'~`{}^"):
        answer = shared_camera.get(f"/nothing?{query}")
        assert answer.json()["query"] == query


def test_bytes_beyond_ascii_in_the_query(shared_camera):
    answer = _raw(shared_camera, b"GET /control/nothing?a=\xe4\xff HTTP/1.0\r\n\r\n")
    assert answer.startswith(b"HTTP/1.0 400 ")
    assert b'"query":"a=' in answer


def test_path_is_decoded(shared_camera):
    assert shared_camera.get("/no%74hing%20here").json()["path"] == "/nothing here"
    house.assert_empty(shared_camera.get(f"{BLE}/pairing%5favailable"))


def test_nothing_but_the_control_space_and_the_page_is_served(shared_camera):
    for path in (b"/index.html", b"/page", b"/page/", b"/page/index.html", b"/page/modules", b"/page/modules/",
                 b"/page/../scenarios/default.json", b"/page/modules/../../web/nginx.conf", b"/page/modules/none.js",
                 b"/control2", b"/controlx/execute", b"/usr/bin/id", b"/control/../etc/localtime"):
        assert _raw(shared_camera, b"GET %s HTTP/1.0\r\n\r\n" % path).startswith((b"HTTP/1.0 404", b"HTTP/1.0 403"))


def test_a_client_that_goes_away_leaves_no_queue(camera):
    camera.spoil("pair_status", "late", count=1, ms=1500)
    with socket.create_connection(("127.0.0.1", camera.port), 30) as connection:
        connection.sendall(b"GET /control/command/ble/pair/status HTTP/1.1\r\nHost: camera\r\n\r\n")
        camera.wait_for(camera.reply_queues)
    camera.wait_for(lambda: not camera.reply_queues())
    assert camera.get(f"{BLE}/pair/status").json() == {"pairing_status": 0}


def test_slow_clients_hold_nobody_up(camera):
    """Clients ask for a file that fills every buffer on the way, and do not read it."""
    camera.tool("analytics", "size", str(64 << 20))
    idle = [socket.create_connection(("127.0.0.1", camera.port), 30) for _ in range(8)]
    for connection in idle:
        connection.sendall(b"GET /control/analytics/get HTTP/1.0\r\n\r\n")
    camera.wait_for(lambda: len(camera.gateways()) == len(idle))
    start = time.monotonic()
    house.assert_empty(camera.get(f"{BLE}/pairing_available"))
    assert len(camera.get("/analytics/get").body) == 64 << 20
    assert time.monotonic() - start < 20
    for connection in idle:
        connection.close()
    camera.wait_for(lambda: not camera.gateways(), patience=30)


def test_without_control_daemon_the_web_server_answers_for_itself(camera):
    with camera.without("zvControlD"):
        assert camera.get(f"{BLE}/pairing_available").status == 500
    house.assert_empty(camera.get(f"{BLE}/pairing_available"))
