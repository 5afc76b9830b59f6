"""Holds every answer that the tests get from a camera against the contract for HTTP clients.

Three ways lead here: answers that http.client has read to their end; what the gateway has written, where a test runs it
by itself; and the web server's log line of each request, whoever has sent it, for its status alone.
"""

import http.client
import re

import contract

_LOGGED = re.compile(r"(\S+) (/\S*?)(?:\?.*)? (\d+) [\d.]+ ms(?P<fault> \(.*\))?", re.DOTALL)
_MOST = 1 << 20  # of a body that is kept to be looked at
_FIELD = re.compile(rb"([\w-]+): *(.*)\r?")
_ANALYTICS = re.compile(rb"Content-Length:  \d+ Content-Type:  application/octet-stream\r\n\r\n")

servers = {}  # port: the web server of the camera there
findings = []  # what the running test has got and the contract does not have


def _hold(what, place, *answer, **more):
    try:
        contract.check(place, *answer, **more)
    except contract.Undocumented as error:
        findings.append(f"{what}: {error}")


def _hold_control(what, *answer):
    try:
        contract.check_control(*answer)
    except contract.Undocumented as error:
        findings.append(f"{what}: {error}")


class _Response(http.client.HTTPResponse):
    """Is looked at when its body has been read to the end."""

    asked = None  # port, method and path of the request
    seen = b""

    def read(self, amt=None):
        data = super().read(amt)
        if self.asked and len(self.seen) + len(data) > _MOST:
            self.asked = None
        if self.asked:
            self.seen += data
        if self.asked and self.isclosed():
            port, method, path = self.asked
            self.asked = None
            plain = path.partition("?")[0]
            place = contract.place(plain)
            if contract.is_of_control(plain):
                _hold_control(f"{method} {path}", method, plain, self.status, self.getheader("Content-Type", ""),
                              self.seen, servers[port])
            elif place is not None:
                _hold(f"{method} {path}", place, self.status, self.getheader("Content-Type", ""), self.seen,
                      method=method, server=servers[port])
        return data


class _Connection:
    """What http.client.HTTPConnection does besides, while tests run."""

    def __init__(self):
        self._putrequest = http.client.HTTPConnection.putrequest
        self._getresponse = http.client.HTTPConnection.getresponse

    def install(self):
        def putrequest(connection, method, url, *arguments, **options):
            connection.held_request = (connection.port, method, url)
            return self._putrequest(connection, method, url, *arguments, **options)

        def getresponse(connection):
            response = self._getresponse(connection)
            if connection.port in servers:
                response.asked = connection.held_request
            return response

        http.client.HTTPConnection.putrequest = putrequest
        http.client.HTTPConnection.getresponse = getresponse
        http.client.HTTPConnection.response_class = _Response


def install():
    _Connection().install()


def undocumented(path, written):
    """What of a whole answer that the gateway has written the contract does not have: a list of texts."""
    before = len(findings)
    output(path, written)
    wrong = findings[before:]
    del findings[before:]
    return wrong


def output(path, written):
    """Looks at what the gateway has written to its standard output. Nothing at all is an answer, too."""
    place = contract.operation(contract.SPACE + path)
    if not written:
        return
    if _ANALYTICS.match(written):
        _hold(f"output for {path}", place, 200, "application/octet-stream", b"", server=None)
        return
    head, body = re.split(rb"\r?\n\r?\n", written, maxsplit=1)
    fields = {name.lower(): value for name, value in _FIELD.findall(head)}
    status = fields.get(b"status", b"200").split()[0].decode()
    _hold(f"output for {path}", place, status, fields[b"content-type"].decode(), body, server=None)


def lines(records):
    """The web server's lines among log records that tell of a status without a place in the contract.

    Those of answers that a rule has hit are left out: a rule answers whatever it is told to.
    """
    wrong = []
    for record in records:
        told = record["source"] == "lighttpd" and _LOGGED.fullmatch(record["text"].rstrip("\n"))
        if not told or told["fault"]:
            continue
        method, path, status = told.groups()[:3]
        place = contract.place(path)
        if place is not None and status != "0" and not contract.is_documented(place, status, method):
            wrong.append(f"{record['text']}: status {status}")
    return wrong
