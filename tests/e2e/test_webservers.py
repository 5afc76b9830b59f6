"""The control program behind each web server, with the configuration of its own: what arrives at the client."""

import os
import re
import socket

import house
import pytest

SERVERS = ("lighttpd", "nginx", "busybox")


@pytest.fixture(scope="module", params=SERVERS)
def served(request, build_dir):
    camera = house.TestCamera(build_dir, web_server=request.param)
    camera.start()
    try:
        yield camera
    finally:
        camera.stop()
    assert camera.misdeeds == []


def raw(camera, path):
    """Header and body as they stand on the wire, to the end of the connection."""
    with socket.create_connection(("127.0.0.1", camera.port), 60) as connection:
        space = camera.url.partition(str(camera.port))[2]
        connection.sendall(f"GET {space}{path} HTTP/1.0\r\nHost: camera\r\n\r\n".encode())
        with connection.makefile("rb") as answer:
            header, _, body = answer.read().replace(b"\r\n", b"\n", 64).partition(b"\n\n")
    return header.decode().split("\n"), body


def fields(header, name):
    return [line.partition(":")[2].strip() for line in header if line.lower().startswith(name + ":")]


def test_description(served):
    answer = served.get("")
    assert (answer.status, answer.headers["content-type"]) == (200, "application/json")
    assert answer.json()["info"]["model_number"] == 13


def test_command_with_nothing_to_tell(served):
    house.assert_empty(served.get("/command/ble/pairing_available"))


def test_path_and_query_reach_the_program_as_they_were_sent(served):
    answer = served.get("/no%20thing%7e?a=1&b=%41+%zz")
    assert answer.status == 400
    document = answer.json()
    assert (document["status"], document["query"]) == ("unknown request", "a=1&b=%41+%zz")
    assert document["path"] == "/no thing~"


def test_failing_command(served):
    house.assert_refused(served.get("/command/ble/scan"), "/command/ble/scan", "", -3)


def test_execute_keeps_its_status(served):
    answer = served.get("/execute?p1=zvStream&c1=stop")
    assert (answer.status, answer.headers["content-type"], answer.body) == \
        (200, "application/json", b'{"status":"0"}\n\n')
    answer = served.get("/execute?p1=zvStream&c1=dance")
    assert (answer.status, answer.headers["content-type"]) == (400, "application/json")
    assert answer.json() == {"status": "invalid command dance", "zverr": -3, "_function": "handle_command_execute",
                             "_line": 162}
    assert "status" not in answer.headers


def test_execute_does_not_wait_for_what_it_starts(served):
    assert served.get("/execute?p1=zvStream&c1=start", timeout=10).status == 200
    assert served.get("/execute?p1=zvStream&c1=stop", timeout=10).status == 200


def put_analytics(camera, content):
    path = os.path.join(camera.storage, "analytics", "analytics.bin")
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(content)


@pytest.mark.parametrize("size", (0, 1, 1024, 2500, 1_000_000))
def test_analytics_arrive_byte_for_byte(served, size):
    content = bytes(range(256)) * (size // 256) + b"\n\0\r\xff"[: size % 256]
    content += b"x" * (size - len(content))
    put_analytics(served, content)
    header, body = raw(served, "/analytics/get")
    assert re.match(r"HTTP/1\.[01] 200", header[0])
    assert fields(header, "content-type") in (["application/octet-stream"], [])
    # Whatever length is announced must be a number, and the right one.
    assert fields(header, "content-length") in ([str(size)], [])
    assert body == content
    assert served.get("/analytics/get").body == content


def test_analytics_while_recording(served):
    served.tool("set", "recording", "1")
    try:
        answer = served.get("/analytics/get")
    finally:
        served.tool("set", "recording", "0")
    assert answer.status == 403
    assert answer.json()["status"] == "busy"


def test_no_analytics(served):
    assert served.get("/analytics/clear").status == 200
    path = os.path.join(served.storage, "analytics", "analytics.bin")
    if os.path.exists(path):
        os.remove(path)
    header, body = raw(served, "/analytics/get")
    assert re.match(r"HTTP/1\.[01] 204", header[0])
    assert body == b""


def test_program_that_answers_nothing_becomes_an_error_of_the_server(served):
    with served.without("zvControlD"):
        assert served.get("/command/ble/pairing_available").status in (500, 502)


def test_sixteen_clients_at_once(served):
    answers = house.at_once(16, lambda _: served.get("/command/ble/pair/status"))
    assert [answer.status for answer in answers] == [200] * 16
    assert served.reply_queues() == []
