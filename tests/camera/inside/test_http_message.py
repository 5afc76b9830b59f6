"""Heads and bodies of HTTP messages."""

import random

import pytest
from zvcamera.inside.http_message import Body, Request, head_length

CHUNKED = b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
CHUNKS = b"5\r\nhello\r\n3;x=y\r\n, w\r\n04\r\norld\r\n0\r\n\r\n"


def _body(head, method="GET"):
    return Body(head, method)


def test_a_head_ends_with_an_empty_line():
    assert head_length(b"GET / HTTP/1.1\r\nHost: a\r\n") == 0
    assert head_length(b"GET / HTTP/1.1\r\nHost: a\r\n\r\nbody\r\n\r\n") == 27


@pytest.mark.parametrize(("target", "uri", "query", "path"), [
    (b"/control/a?b=c?d", "/control/a", "b=c?d", "/control/a"),
    (b"http://camera:80/control/a?b", "/control/a", "b", "/control/a"),
    (b"/a%20b", "/a%20b", "", "/a%20b"),
    (b"/\xe4\\", "/\\xe4\\", "", "/\udce4\\"),
    (b"*", "*", "", "*"),
])
def test_a_request(target, uri, query, path):
    request = Request.read(b"GET " + target + b" HTTP/1.1\r\nHost: a\r\n\r\n")
    assert (request.method, request.uri, request.query, request.path) == ("GET", uri, query, path)


@pytest.mark.parametrize("line", [b"", b"GET /", b"PRI * HTTP/2.0", b"GET  / HTTP/1.1", b"GET / HTTP/1.2",
                                  b"\0 / HTTP/1.1"])
def test_what_the_web_server_has_to_judge(line):
    assert Request.read(line + b"\r\n\r\n") is None


def test_a_request_for_one_answer():
    request = Request.read(b"GET /a?b HTTP/1.1\r\nHost: a\r\nConnection: Upgrade,\r\n HTTP2-Settings\r\n"
                           b"Upgrade: h2c\r\nX-Connection: stays\r\nkeep-alive: 5\r\n\r\n")
    assert request.for_one_answer() == \
        b"GET /a?b HTTP/1.1\r\nConnection: close\r\nHost: a\r\nX-Connection: stays\r\n\r\n"
    assert request.for_one_answer("/s/crashed").startswith(b"GET /s/crashed HTTP/1.1\r\nConnection: close\r\n")


def test_a_body_of_a_told_length():
    body = _body(b"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n")
    assert (body.status, body.length, body.complete) == (200, 10, False)
    assert body.take(b"12345") == 5 and not body.complete
    assert body.take(b"67890", 7) == 2 and body.bytes == 7
    assert body.take(b"890") == 3 and body.complete


@pytest.mark.parametrize(("status", "method"), [(204, "GET"), (304, "GET"), (200, "HEAD")])
def test_answers_without_a_body(status, method):
    assert _body(b"HTTP/1.1 %d X\r\nContent-Length: 10\r\n\r\n" % status, method).complete


def test_a_body_that_ends_with_the_connection():
    body = _body(b"HTTP/1.0 200 OK\r\n\r\n")
    assert body.take(b"x" * 100) == 100 and not body.complete


@pytest.mark.parametrize("size", [1, 2, 3, 7, 100])
def test_chunks_in_any_pieces(size):
    body = _body(CHUNKED)
    for at in range(0, len(CHUNKS), size):
        assert not body.complete or at >= len(CHUNKS) - 4
        body.take(CHUNKS[at:at + size])
    assert body.complete
    assert body.bytes == 12


@pytest.mark.parametrize(("most", "sent"), [(0, b""), (1, b"5\r\nh"), (5, b"5\r\nhello"),
                                            (6, b"5\r\nhello\r\n3;x=y\r\n,")])
def test_chunks_are_cut_after_bytes_of_the_body(most, sent):
    body = _body(CHUNKED)
    assert CHUNKS[:body.take(CHUNKS, most)] == sent or most == 0
    assert body.bytes == most


def test_any_bytes_are_taken():
    dice = random.Random(20261121)
    for _ in range(3000):
        body = _body(dice.choice((CHUNKED, b"HTTP/1.1 200 OK\r\nContent-Length: 40\r\n\r\n", b"x\r\n\r\n")))
        data = bytes(dice.choice(b"0123456789abcdefx;\r\n\n\0") for _ in range(dice.randrange(60)))
        most = dice.choice((None, 0, 3, 50))
        assert 0 <= body.take(data, most) <= len(data)
        assert most is None or body.bytes <= most
        Request.read(data)
        head_length(data)
