"""The control program behind each web server, without the lines of the configuration that mend its answers."""

import http.client
import os
import time

import house
import pytest
from test_webservers import fields, put_analytics, raw

pytestmark = pytest.mark.thorough

SNIPPETS = "/opt/zvcamera/web/snippets"
CONTENT = b"x" * 2500


def _cut(name, *parts):
    """Returns a snippet without some parts, each given by a pair of texts.

    A part begins with the first text and ends just before the second, or with the snippet when the second is empty.
    """
    with open(os.path.join(house.ROOT, "camera", "web", "snippets", name), encoding="utf-8") as snippet:
        text = snippet.read()
    for first, last in parts:
        before, found, rest = text.partition(first)
        assert found
        text = before + (last + rest.partition(last)[2] if last else "")
    return text


BARE = {
    "lighttpd": ("lighttpd.conf", lambda: _cut("lighttpd.conf", ("    # The program's own", "}\n"),
                                               ("# Answers pass", "# A fetched"), ("# A fetched", ""))),
    "nginx": ("nginx.conf", lambda: _cut("nginx.conf", ("    # The program reads", "    fastcgi_pass $"))),
    "busybox": ("busybox-control", lambda: "#!/bin/sh\nexec /usr/local/zarvo/bin/zvControl-cgi-bin\n"),
}


@pytest.fixture(scope="module", params=BARE)
def bare(request, make_module_camera, tmp_path_factory):
    snippet, text = BARE[request.param]
    path = tmp_path_factory.mktemp("snippets") / snippet
    path.write_text(text())
    path.chmod(0o755)
    camera = make_module_camera(web_server=request.param, more=[(str(path), f"{SNIPPETS}/{snippet}")])
    put_analytics(camera, CONTENT)
    return camera


def test_one_line_header_of_analytics(bare):
    header, body = raw(bare, "/analytics/get")
    assert body == CONTENT
    assert fields(header, "content-type") == []
    assert fields(header, "content-length") == (
        [] if bare.web_server == "nginx" else ["2500 Content-Type:  application/octet-stream"])


def test_client_that_drops_such_a_length_waits_for_the_end_of_the_connection(bare):
    connection = http.client.HTTPConnection("127.0.0.1", bare.port, timeout=60)
    connection.request("GET", bare.url.partition(str(bare.port))[2] + "/analytics/get")
    start = time.monotonic()
    response = connection.getresponse()
    assert response.read() == CONTENT
    connection.close()
    waited = time.monotonic() - start
    if bare.web_server == "lighttpd":
        assert waited > 4  # server.max-keep-alive-idle
    else:
        assert waited < 4


def test_status_of_execute(bare):
    header, body = raw(bare, "/execute?p1=zvStream&c1=dance")
    assert b'"invalid command dance"' in body
    if bare.web_server == "busybox":
        assert " 200 " in header[0]
        assert fields(header, "status") == ["400"]
    else:
        assert header[0].split(" ", 1)[1].rstrip() == {"lighttpd": "400 Bad Request", "nginx": "400"}[bare.web_server]


def test_no_output(bare):
    with bare.without("zvControlD"):
        header, body = raw(bare, "/command/ble/pairing_available")
    if bare.web_server == "busybox":
        assert (header, body) == ([""], b"")
    else:
        assert {"lighttpd": " 500 ", "nginx": " 502 "}[bare.web_server] in header[0]


def test_status_204(bare):
    os.remove(os.path.join(bare.storage, "analytics", "analytics.bin"))
    try:
        header, body = raw(bare, "/analytics/get")
    finally:
        put_analytics(bare, CONTENT)
    assert " 204 " in header[0]
    assert (b"no content" in body) == (bare.web_server == "busybox")


def test_head(bare):
    header, body = raw(bare, "/analytics/get", "HEAD")
    assert " 200 " in header[0]
    assert body == (CONTENT if bare.web_server == "busybox" else b"")
