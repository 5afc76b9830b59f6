"""What each web server does with a program that is slow or dies, and what such a program gets.

A script takes the control program's place.
"""

import http.client
import os
import socket
import time

import house
import pytest

pytestmark = [pytest.mark.thorough, pytest.mark.off_contract("a script answers in the gateway's place")]

SNIPPETS = "/opt/zvcamera/web/snippets"
PROGRAM = r"""#!/bin/sh
trap 'echo "$PATH_INFO ends by SIGTERM" >>/tmp/fuse_d/seen; exit' TERM
header='Content-Type: text/plain\r\n\r\n'
case $PATH_INFO in
/environment) printf "$header"; env ;;
/slow) sleep "$QUERY_STRING" & wait $!; printf "$header"; echo slow ;;
/dies) printf "$header"; printf half; sleep 0.2; kill -9 $$ ;;
/dies/announced) printf "Content-Length: 10\r\n$header"; printf half; sleep 0.2; kill -9 $$ ;;
/complains) echo 'something is wrong' >&2; printf "$header" ;;
esac
echo "$PATH_INFO ends" >>/tmp/fuse_d/seen
"""


@pytest.fixture(scope="module")
def make(make_module_camera, tmp_path_factory):
    def make(server, **options):
        storage = tmp_path_factory.mktemp("storage")
        storage.chmod(0o755)
        (storage / "program").write_text(PROGRAM)
        (storage / "program").chmod(0o755)
        return make_module_camera(web_server=server, storage=storage, control_program="/tmp/fuse_d/program", **options)
    return make


@pytest.fixture(scope="module", params=("lighttpd", "nginx", "busybox"))
def served(request, make):
    return make(request.param)


def seen(camera):
    path = os.path.join(camera.storage, "seen")
    if not os.path.exists(path):
        return []
    with open(path, encoding="utf-8") as lines:
        return lines.read().splitlines()


def ask(camera, path, header=""):
    connection = socket.create_connection(("127.0.0.1", camera.port), 30)
    space = camera.url.partition(str(camera.port))[2]
    connection.sendall(f"GET {space}{path} HTTP/1.1\r\nHost: camera\r\n{header}\r\n".encode())
    return connection


def whole(camera, path, header="Connection: close\r\n"):
    with ask(camera, path, header) as connection, connection.makefile("rb") as answer:
        return answer.read()


def test_environment(served):
    text = whole(served, "/environment?a=+%41", "Connection: close\r\nProxy: x\r\nCookie: c\r\n").decode()
    variables = dict(line.split("=", 1) for line in text.splitlines() if "=" in line)
    assert (variables["PATH_INFO"], variables["QUERY_STRING"]) == ("/environment", "a=+%41")
    if served.web_server == "nginx":
        assert not [name for name in variables if name.startswith("HTTP_")]
    assert "HTTP_PROXY" not in variables
    assert ("HTTP_COOKIE" in variables) == (served.web_server != "nginx")
    assert ("PATH" in variables) == (served.web_server != "lighttpd")


@pytest.mark.parametrize("length", (7900, 9000))
def test_longest_query(served, length):
    status = served.get("/slow?" + "0" * (length - 1) + "0").status
    if length < 8000:
        assert status == 200
    else:
        assert status == {"lighttpd": 431, "nginx": 414, "busybox": 400}[served.web_server]


def test_program_that_dies_in_the_middle_of_its_answer(served):
    """The client takes the answer for a whole one, unless its length was announced."""
    answer = served.get("/dies")
    assert (answer.status, answer.body) == (200, b"half")
    with pytest.raises(http.client.IncompleteRead) as failure:
        served.get("/dies/announced")
    assert failure.value.partial == b"half"


def test_standard_error_goes_to_the_servers_log(served):
    start = served.log()[1]
    assert served.get("/complains").status == 200
    source = {"busybox": "httpd"}.get(served.web_server, served.web_server)
    served.wait_for(lambda: [record for record in served.log(start)[0]
                             if record["source"] == source and "something is wrong" in record["text"]])


def test_program_runs_to_its_end_though_the_client_hangs_up(served):
    before = seen(served).count("/slow ends")
    with ask(served, "/slow?1"):
        time.sleep(0.3)
    served.wait_for(lambda: seen(served).count("/slow ends") > before)
    assert "/slow ends by SIGTERM" not in seen(served)


def test_fcgiwrap_sends_no_signal_for_a_client_that_hangs_up(make_camera):
    """The signal's number would be the process number of the control program. No signal has a number above 64."""
    camera = make_camera(web_server="nginx")
    assert int(camera.run(["/bin/sh", "-c", "echo $$"]).stdout) > 64


def test_client_that_closes_its_direction_only(served):
    """nginx takes the client for one that hangs up. The other servers answer it."""
    with ask(served, "/slow?1", "Connection: close\r\n") as connection:
        connection.shutdown(socket.SHUT_WR)
        answer = connection.makefile("rb").read()
    assert (b"slow" in answer) == (served.web_server != "nginx")


def test_requests_at_once(served):
    """fcgiwrap has 16 processes. Further requests wait."""
    start = time.monotonic()
    answers = house.at_once(20, lambda _: served.get("/slow?3"))
    passed = time.monotonic() - start
    assert [answer.status for answer in answers] == [200] * 20
    if served.web_server == "nginx":
        assert passed >= 6
    else:
        assert passed < 5.5


def shorter(tmp_path_factory, server, limit, short):
    """Writes the server's snippet with a shorter time limit, and returns it with its place in the camera."""
    with open(os.path.join(house.ROOT, "camera", "web", "snippets", f"{server}.conf"), encoding="utf-8") as snippet:
        text = snippet.read()
    assert text.count(limit) == 1
    path = tmp_path_factory.mktemp("snippets") / f"{server}.conf"
    path.write_text(text.replace(limit, short))
    return [(str(path), f"{SNIPPETS}/{server}.conf")]


@pytest.mark.parametrize(("server", "limit", "short", "ended"), [
    ("lighttpd", '"read-timeout" => 120', '"read-timeout" => 1', True),
    ("nginx", "fastcgi_read_timeout 120s", "fastcgi_read_timeout 1s", False)])
def test_program_that_takes_longer_than_the_limit(make, tmp_path_factory, server, limit, short, ended):
    camera = make(server, more=shorter(tmp_path_factory, server, limit, short))
    start = time.monotonic()
    assert camera.get("/slow?6").status == 504
    assert time.monotonic() - start < 5
    # lighttpd ends the program, nginx leaves it alone.
    camera.wait_for(lambda: seen(camera))
    assert seen(camera) == ["/slow ends by SIGTERM" if ended else "/slow ends"]
