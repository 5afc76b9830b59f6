"""What web servers answer in the gateway's place: all statuses and media types of the contract, and no others."""

import contextlib
import socket

import contract
import pytest
from provoked import ask
from zvcamera.namespace import RESIDENT_PROGRAM

pytestmark = pytest.mark.contract

_FIELDS = b" HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n"
# {} is the control URL space.
_REQUESTS = (
    b"GET\r\n\r\n",
    b"GET {}/nothing HTTP/9.9\r\nHost: localhost\r\n\r\n",
    b"GET {}/nothing" + _FIELDS + b"Origin: http://elsewhere.test\r\n\r\n",
    b"GET {}/" + b"a" * 5000 + _FIELDS + b"\r\n",
    b"GET {}/a%00b" + _FIELDS + b"\r\n",
    b"GET {}/nothing?" + b"a" * 9000 + _FIELDS + b"\r\n",
    b"CONNECT {}/nothing" + _FIELDS + b"\r\n",
    b"POST {}/nothing" + _FIELDS + b"\r\n",
    b"POST {}/nothing" + _FIELDS + b"Content-Length: 1100000\r\n\r\n" + b"x" * 1_100_000,
    b"POST {}/nothing" + _FIELDS + b"Transfer-Encoding: gzip\r\n\r\n",
)
# By the limit of 120 seconds; tests/e2e/test_webservers_limits.py makes it shorter.
_ELSEWHERE = {"nginx": {("504", "text/html")}}


def _send(camera, request):
    """Status and media type of the answer to these bytes."""
    space = camera.url.partition(str(camera.port))[2].encode()
    with socket.create_connection(("127.0.0.1", camera.port), 30) as connection:
        with contextlib.suppress(ConnectionError):  # some do not read what they refuse
            connection.sendall(request.replace(b"{}", space, 1))
        head = connection.makefile("rb").read().partition(b"\r\n\r\n")[0].decode("latin-1").split("\r\n")
    kind, = [line for line in head if line.lower().startswith("content-type:")]
    return head[0].split()[1], kind.partition(":")[2].partition(";")[0].strip()


def _answers(camera):
    """What the camera answers to all of this."""
    found = [_send(camera, request) for request in _REQUESTS]
    if camera.web_server == "lighttpd":
        for fault in ("crashed", "timeout"):
            told = ask(camera, "POST", "/simulator/faults", {"command": "/*", "fault": fault, "count": 1})
            assert told.status == 200
            found.append(_send(camera, _REQUESTS[4]))
    camera.program(RESIDENT_PROGRAM if camera.gateway == "scgi" else "zvControlD", "term")
    return [*found, _send(camera, b"GET {}/nothing" + _FIELDS + b"\r\n")]


@pytest.mark.parametrize(("server", "gateways"), [
    ("lighttpd", ("cgi", "scgi")), ("nginx", ("cgi", "scgi")), ("busybox", ("cgi",))])
def test_web_servers_answer_what_the_contract_has(make_camera, server, gateways):
    found = set()
    for gateway in gateways:
        found.update(_answers(make_camera(web_server=server, gateway=gateway)))
    assert ("400", "application/json") in found  # the gateway's own
    told = contract.document()["x-web-servers"][server]
    assert found - {("400", "application/json")} | _ELSEWHERE.get(server, set()) == {
        (status, kind) for status, kinds in told.items() for kind in kinds}
