"""The control program behind each web server, with that server's configuration: what arrives at the client."""

import hashlib
import http.client
import json
import os
import re
import socket

import house
import pytest
from zvcamera.namespace import CONTROL_PROGRAM, find

pytestmark = pytest.mark.thorough

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


def raw(camera, path, method="GET"):
    """Returns header and body as they were sent, up to the end of the connection."""
    with socket.create_connection(("127.0.0.1", camera.port), 60) as connection:
        space = camera.url.partition(str(camera.port))[2]
        connection.sendall(f"{method} {space}{path} HTTP/1.0\r\nHost: camera\r\n\r\n".encode())
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


@pytest.mark.parametrize(("path", "seen", "by"), [
    ("/a%2fb", "/a/b", ("lighttpd", "nginx")), ("/", "/", ("lighttpd", "nginx")), ("/a/", "/a/", ("lighttpd", "nginx")),
    ("/a%00b", "/a_b", ("lighttpd",)), ("/a%zz", "/a%zz", ("lighttpd",)),
    ("/execute%0a", "/execute_", ("lighttpd",)), ("/execute%0a", "/execute\n", ("nginx", "busybox")),
    ("/a%0a%0a", "/a\n\n", ("nginx", "busybox")),
    ("//a", "/a", SERVERS), ("/x/../a", "/a", SERVERS), ("/./a", "/a", SERVERS),
    ("/a+b%2B%25%3f;c", "/a+b+%?;c", SERVERS), ("/a%e4", "/a\ufffd", SERVERS)])
def test_path(served, path, seen, by):
    """seen: the path as the program gets it. by: the servers that pass it on in this form."""
    answer = served.get(path)
    if served.web_server in by:
        assert (answer.status, answer.json()["status"], answer.json()["path"]) == (400, "unknown request", seen)
    elif "%0a" not in path:
        assert answer.status in (400, 404)
        assert b"zverr" not in answer.body


@pytest.mark.parametrize("query", ("", "a=%00", "a=%2B%26", "a=+", "?x?", "%", "a=\"'<>|", "%e4"))
def test_query(served, query):
    assert served.get(f"/nothing?{query}").json()["query"] == query


def ask(camera, method, path, body=b"", **fields):
    """Asks by any method and returns the answer. The fields replace the client's own."""
    connection = http.client.HTTPConnection("127.0.0.1", camera.port, timeout=60)
    space = camera.url.partition(str(camera.port))[2]
    connection.putrequest(method, space + path)
    for name, value in fields.items():
        connection.putheader(name.replace("_", "-"), value)
    connection.endheaders(body)
    response = connection.getresponse()
    answer = response.status, response.read()
    connection.close()
    return answer


@pytest.mark.parametrize("method", ("POST", "PUT", "DELETE", "OPTIONS"))
def test_method_and_body_make_no_difference(served, method):
    status, body = ask(served, method, "/nothing?a=1", b"a=2", Content_Length="3")
    if method == "OPTIONS" and served.web_server == "lighttpd":
        assert (status, b"answers no OPTIONS" in body) == (403, True)  # the camera's own rule, not the configuration's
        return
    assert (status, json.loads(body)["query"]) == (400, "a=1")


def test_post_without_a_length(served):
    status, body = ask(served, "POST", "/nothing")
    assert (status, b"unknown request" in body) == ((411, False) if served.web_server == "lighttpd" else (400, True))


@pytest.mark.parametrize(("path", "status"), [("/analytics/get", 200), ("/execute?p1=zvStream&c1=dance", 400),
                                              ("/command/ble/scan", 500), ("", 200)])
def test_head(served, path, status):
    put_analytics(served, b"x" * 2500)
    header, body = raw(served, path, "HEAD")
    assert (header[0].split()[1], body) == (str(status), b"")
    # lighttpd announces the length if it has the whole answer before it begins to send.
    lengths = fields(header, "content-length")
    assert all(length.isdigit() for length in lengths)
    if path == "/analytics/get":
        assert lengths in {"lighttpd": ([], ["2500"]), "nginx": ([],), "busybox": (["2500"],)}[served.web_server]


def test_next_request_of_a_client_that_keeps_its_connection(served):
    put_analytics(served, b"x" * 2500)
    connection = http.client.HTTPConnection("127.0.0.1", served.port, timeout=60)
    space = served.url.partition(str(served.port))[2]
    for path in ("/analytics/get", "/command/ble/pairing_available", "/execute?p1=zvStream&c1=stop", "/analytics/get"):
        connection.request("GET", space + path)
        response = connection.getresponse()
        assert response.status == 200
        response.read()
        assert response.will_close == (served.web_server == "busybox")
    connection.close()


def test_requests_one_behind_the_other(served):
    """Pipelining: all requests are answered, in their order. busybox answers only the first."""
    space = served.url.partition(str(served.port))[2]
    request = "".join(f"GET {space}/nothing?n={number} HTTP/1.1\r\nHost: camera\r\n"
                      f"{'Connection: close' if number == 2 else 'X: y'}\r\n\r\n" for number in range(3))
    with socket.create_connection(("127.0.0.1", served.port), 60) as connection:
        connection.sendall(request.encode())
        answer = connection.makefile("rb").read()
    expected = [b"n=0"] if served.web_server == "busybox" else [b"n=0", b"n=1", b"n=2"]
    assert re.findall(rb'"query":"(n=\d)"', answer) == expected


# Prints, for each process of the control program, its ancestors and the files that it has mapped under that name.
PROCESSES = """
import hashlib, json, os, re, sys
found = []
for pid in filter(str.isdigit, os.listdir("/proc")):
    try:
        if open(f"/proc/{pid}/comm").read().strip() != sys.argv[1][:15]:
            continue
        files = {line.split()[5] for line in open(f"/proc/{pid}/maps") if line.rstrip().endswith("/" + sys.argv[1])}
        ancestors = []
        while int(pid):
            ancestors.append(int(pid))
            pid = re.search(r"PPid:\\s*(\\d+)", open(f"/proc/{pid}/status").read())[1]
        found.append([ancestors, {path: hashlib.sha256(open(path, "rb").read()).hexdigest() for path in files}])
    except (FileNotFoundError, ProcessLookupError):
        pass
print(json.dumps(found))
"""


def processes(camera, name):
    done = camera.run(["/usr/bin/python3", "-c", PROCESSES, name])
    assert done.stderr == b""
    return json.loads(done.stdout)


def digest(path):
    with open(path, "rb") as file:
        return hashlib.sha256(file.read()).hexdigest()


# Word size in bits and machine number of programs.
MACHINES = {"amd64": (64, 62), "armhf": (32, 40), "arm64": (64, 183)}


def machine(path):
    """Returns the word size of an ELF file in bits, and its machine number."""
    with open(path, "rb") as file:
        header = file.read(20)
    assert header[:4] == b"\x7fELF"
    return 32 * header[4], int.from_bytes(header[18:20], "little")


@pytest.mark.every_build
def test_web_server_starts_the_program_under_test(served, gateway_dir, build_dir):
    """It starts the file of the build folder, for that file's processor. The same holds for the daemons."""
    served.spoil("pair_status", "late", count=1, ms=3000)
    with socket.create_connection(("127.0.0.1", served.port), 60) as connection:
        space = served.url.partition(str(served.port))[2]
        connection.sendall(f"GET {space}/command/ble/pair/status HTTP/1.0\r\nHost: camera\r\n\r\n".encode())
        served.wait_for(served.reply_queues)
        (ancestors, mapped), = processes(served, CONTROL_PROGRAM)
        assert b'"pairing_status"' in connection.makefile("rb").read()
    state = served.admin("supervisor", "status")
    starter = {"lighttpd": "lighttpd", "nginx": "fcgiwrap", "busybox": "httpd"}[served.web_server]
    assert state[starter]["pid"] in ancestors

    program = find(gateway_dir, CONTROL_PROGRAM)
    assert digest(program) in mapped.values()
    assert machine(program) == MACHINES[house.processor(gateway_dir).debian]
    for daemon in ("zvControlD", "zvNetD", "zvBleD"):
        program = find(build_dir, daemon)
        (ancestors, mapped), = processes(served, daemon)
        assert ancestors[0] == state[daemon]["pid"]
        assert digest(program) in mapped.values()
        assert machine(program) == MACHINES[house.processor(build_dir).debian]


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
    assert body == content
    assert fields(header, "content-type") == (["application/octet-stream"] if served.web_server == "busybox" else [])
    # lighttpd announces the length if it has the whole file before it begins to send.
    assert fields(header, "content-length") in {
        "lighttpd": ([], [str(size)]), "nginx": ([],), "busybox": ([str(size)],)}[served.web_server]
    answer = served.get("/analytics/get")
    assert answer.body == content
    assert ("content-length" in answer.headers) != (answer.headers.get("transfer-encoding") == "chunked")


def peaks(camera):
    """Returns the peak memory of the web server's programs in KiB, the largest of each name."""
    script = 'for p in /proc/[0-9]*; do echo "$(cat $p/comm) $(grep VmHWM $p/status)"; done 2>/dev/null'
    found = {}
    for line in camera.run(["/bin/sh", "-c", script]).stdout.decode().splitlines():
        word = line.split()
        if len(word) == 4 and word[0] in ("lighttpd", "nginx", "fcgiwrap", "busybox", "httpd"):
            found[word[0]] = max(found.get(word[0], 0), int(word[2]))
    return found


def test_large_analytics_take_no_room_in_the_server(served):
    """Even when clients do not read, or go away in the middle."""
    size = 96 << 20
    put_analytics(served, b"")
    os.truncate(os.path.join(served.storage, "analytics", "analytics.bin"), size)
    space = served.url.partition(str(served.port))[2]
    idle = []
    for _ in range(3):
        idle.append(socket.create_connection(("127.0.0.1", served.port), 60))
        idle[-1].sendall(f"GET {space}/analytics/get HTTP/1.0\r\nHost: camera\r\n\r\n".encode())
    served.wait_for(lambda: len(served.run(["/bin/pidof", CONTROL_PROGRAM]).stdout.split()) == len(idle))
    assert len(served.get("/analytics/get").body) == size
    found = peaks(served)
    assert found
    assert max(found.values()) < 16 << 10, found
    left = served.run(["/usr/bin/find", "/tmp/web", "/tmp/fuse_d",
                       "-type", "f", "-size", "+1024k", "!", "-name", "analytics.bin"])
    assert left.stdout == b""
    for connection in idle:
        connection.close()
    served.wait_for(lambda: served.run(["/bin/pidof", CONTROL_PROGRAM]).stdout == b"", patience=30)
    house.assert_empty(served.get("/command/ble/pairing_available"))


def test_analytics_file_that_shrinks_while_it_is_sent(served):
    """A client notices only when the server has announced the length."""
    path = os.path.join(served.storage, "analytics", "analytics.bin")
    put_analytics(served, b"")
    os.truncate(path, 96 << 20)
    connection = http.client.HTTPConnection("127.0.0.1", served.port, timeout=60)
    connection.request("GET", served.url.partition(str(served.port))[2] + "/analytics/get")
    response = connection.getresponse()
    assert response.read(1000) == bytes(1000)
    os.truncate(path, 1000)
    if served.web_server == "busybox":
        with pytest.raises(http.client.IncompleteRead):
            response.read()
    else:
        assert 0 < len(response.read()) < 90 << 20
    connection.close()


@pytest.mark.every_build
def test_analytics_of_two_gibibytes(served):
    """The largest file is sent, with its length or chunked. For one byte more the answer is 204."""
    put_analytics(served, b"")
    path = os.path.join(served.storage, "analytics", "analytics.bin")
    os.truncate(path, (2 << 30) - 1)
    space = served.url.partition(str(served.port))[2]
    with socket.create_connection(("127.0.0.1", served.port), 60) as connection:
        connection.sendall(f"GET {space}/analytics/get HTTP/1.1\r\nHost: camera\r\n\r\n".encode())
        response = http.client.HTTPResponse(connection)
        response.begin()
        assert response.status == 200
        assert response.getheader("Content-Length") == ("2147483647" if served.web_server == "busybox" else None)
        assert response.read(1000) == bytes(1000)
    os.truncate(path, 2 << 30)
    assert served.get("/analytics/get").status == 204
    put_analytics(served, b"")


def test_client_that_hangs_up_leaves_no_queue(served):
    served.spoil("pair_status", "late", count=1, ms=1500)
    space = served.url.partition(str(served.port))[2]
    with socket.create_connection(("127.0.0.1", served.port), 30) as connection:
        connection.sendall(f"GET {space}/command/ble/pair/status HTTP/1.1\r\nHost: camera\r\n\r\n".encode())
        served.wait_for(served.reply_queues)
    served.wait_for(lambda: not served.reply_queues())
    assert served.get("/command/ble/pair/status").json() == {"pairing_status": 0}


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
        answer = served.get("/command/ble/pairing_available")
    status, text = {"lighttpd": (500, b"<h1>500 Internal Server Error</h1>"), "busybox": (500, b"no answer\n"),
                    "nginx": (502, b"no response received")}[served.web_server]
    assert answer.status == status
    assert text in answer.body


def test_sixteen_clients_at_once(served):
    answers = house.at_once(16, lambda _: served.get("/command/ble/pair/status"))
    assert [answer.status for answer in answers] == [200] * 16
    assert served.reply_queues() == []
