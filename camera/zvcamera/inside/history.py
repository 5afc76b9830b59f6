"""The HTTP requests that the camera has got: what the web server logs of each, and which gateway served it.

A request is a dict: number (from 1), time (when it began, seconds since the epoch), method, uri (the path as it was
sent), query, status (0 when nothing was answered), bytes (of the answer's body), ms, pid (of the gateway; None when
none ran) and fault (ids of the rules that hit the answer, or None).
"""

import collections
import re
import secrets
import threading

KEPT = 1000
# The simulation's own: its page, and what that asks for, are no requests to the camera.
_SILENT = re.compile(r"/|/simulator(?:/.*)?|/page/.*|/openapi\.(?:json|yaml)", re.DOTALL)
_ESCAPE = re.compile(rb"\\(x[0-9A-Fa-f]{2}|.)", re.DOTALL)
_NAMED = {b"b": b"\b", b"n": b"\n", b"r": b"\r", b"t": b"\t", b"v": b"\v", b"f": b"\f"}

# What the web server writes of a request, behind a mark that nobody else knows. It escapes what could be a tab.
FIELDS = "\t".join(("%m", "%U", "%q", "%s", "%B", "%D", "%{begin:usec}t", "%{remote}p"))
MARK = f"request-{secrets.token_hex(16)} "


def _plain(match):
    word = match[1]
    return bytes([int(word[1:], 16)]) if word[:1] == b"x" and len(word) == 3 else _NAMED.get(word, word)


def _unescaped(text):
    if "\\" not in text:
        return text
    return _ESCAPE.sub(_plain, text.encode(errors="backslashreplace")).decode(errors="backslashreplace")


def _is_silent(uri):
    return _SILENT.fullmatch(uri) is not None


class History:
    """Keeps the last requests.

    openings: a function that returns what zvControlD knows of gateways: dicts of pid, port and micros.
    on_request: a function, called with each new request. anybody_follows: whether it matters to anybody, so that the
        request should come with its process at once.
    ignored: the path that the camera itself asks for.
    """

    def __init__(self, openings, on_request, anybody_follows, ignored):
        self._openings = openings
        self._on_request = on_request
        self._anybody_follows = anybody_follows
        self._ignored = ignored
        self._lock = threading.Lock()
        self._kept = collections.deque(maxlen=KEPT)  # pairs of the request and its window: port, first and last micros
        self._last = 0
        self._since = 0

    def take(self, text):
        """Takes a line of the web server. Returns the line for the log, or None when the request is not kept."""
        fields = text.split("\t")
        if len(fields) != 8:
            return None
        method, uri, query = map(_unescaped, fields[:3])
        status, size, micros, begin, port = (int(word) if word.isdecimal() else 0 for word in fields[3:])
        return self.add(begin, micros, port, method=method, uri=uri, query=query, status=status, bytes=size)

    def add(self, begin, micros, port, *, fault=None, **told):
        if told["uri"] == self._ignored or _is_silent(told["uri"]) or begin < self._since:
            return None
        window = (port, begin, begin + micros)
        openings = self._openings() if self._anybody_follows() else []
        with self._lock:
            self._last += 1
            request = {"number": self._last, "time": begin / 1e6, **told, "ms": round(micros / 1000, 3),
                       "pid": _process(openings, window), "fault": fault}
            self._kept.append((request, window))
            self._on_request(request)
        return line(request)

    def since(self, number, then=None):
        """The requests from a number on, and the number of the next one.

        then: a function that is called with both before the next request is kept.
        """
        self._join()
        with self._lock:
            found = {"requests": [dict(request) for request, _ in self._kept if request["number"] >= number],
                     "next": self._last + 1}
            if then:
                then(found)
            return found

    def clear(self, begun_before=0):
        """Forgets the requests, and those that have begun before this time (microseconds) but are not finished yet."""
        with self._lock:
            self._kept.clear()
            self._since = begun_before

    def remember_processes(self):
        """To be called before zvControlD ends: what it knows of gateways goes with it."""
        self._join()

    def _join(self):
        with self._lock:
            waiting = [(request, window) for request, window in self._kept if request["pid"] is None]
        if not waiting:
            return
        openings = self._openings()
        with self._lock:
            for request, window in waiting:
                request["pid"] = _process(openings, window)


def _process(openings, window):
    """The gateway that opened the interface for this client's port at this time; None without one."""
    port, first, last = window
    return next((opening["pid"] for opening in openings
                 if opening["port"] == port and first <= opening["micros"] <= last), None)


def line(request):
    """A request as one line of the log."""
    query = f"?{request['query']}" if request["query"] else ""
    fault = f" ({request['fault']})" if request["fault"] else ""
    return f"{request['method'] or '-'} {request['uri']}{query} {request['status']} {request['ms']:.1f} ms{fault}"
