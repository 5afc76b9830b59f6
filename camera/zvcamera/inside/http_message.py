"""Heads and bodies of HTTP/1 messages, as far as the front has to understand them."""

import re

_REQUEST_LINE = re.compile(rb"([!-~]+) ([^ \r\n]+) HTTP/1\.[01]\r?\n")
_STATUS_LINE = re.compile(rb"HTTP/1\.[01] (\d{3})[ \r\n]")
_LENGTH = re.compile(rb"\ncontent-length:[ \t]*(\d{1,18})[ \t]*\r?\n", re.IGNORECASE)
_CHUNKED = re.compile(rb"\ntransfer-encoding:[^\n]*chunked", re.IGNORECASE)
# About the connection alone; the lines that continue a field go with it.
_HOP = re.compile(rb"\n(?:connection|keep-alive|upgrade|http2-settings|proxy-connection):[^\n]*(?:\n[ \t][^\n]*)*",
                  re.IGNORECASE)
_END = re.compile(rb"\r?\n\r?\n")
_ABSOLUTE = re.compile(rb"http://[^/?#]*", re.IGNORECASE)


def head_length(data):
    """How many of the bytes are the head, with its empty line; 0 while it is not complete."""
    end = _END.search(data)
    return end.end() if end else 0


class Request:
    """The head of a request; None from read() for what the web server has to judge itself."""

    def __init__(self, head, method, target):
        self._head = head
        self._target = target
        self.method = method.decode()
        path, _, query = _ABSOLUTE.sub(b"", target, count=1).partition(b"?")
        self.uri = path.decode(errors="backslashreplace")
        self.query = query.decode(errors="backslashreplace")
        self.path = path.decode(errors="surrogateescape")

    @staticmethod
    def read(head):
        line = _REQUEST_LINE.match(head)
        return Request(head, line[1], line[2]) if line else None

    def for_one_answer(self, target=None):
        """The head, asking for an answer that ends with its connection; with another target if one is given."""
        head = _HOP.sub(b"", self._head)
        line, _, rest = head.partition(b"\n")
        if target:
            line = line.replace(self._target, target.encode(), 1)
        return line + b"\nConnection: close\r\n" + rest


class Body:
    """Follows the body of an answer: how many of its bytes have come (without the framing of chunks), and whether it is
    complete. length: None when only the end of the connection tells it."""

    def __init__(self, head, method):
        self.status = int(_STATUS_LINE.match(head)[1]) if _STATUS_LINE.match(head) else 0
        self.bytes = 0
        length = _LENGTH.search(head)
        self._chunked = bool(_CHUNKED.search(head))
        self.length = int(length[1]) if length and not self._chunked else None
        if method == "HEAD" or self.status in (204, 304):
            self._chunked, self.length = False, 0
        self._left = 0  # of the chunk
        self._line = b""  # of a chunk's size, or behind a chunk
        self._ended = False

    @property
    def complete(self):
        return self._ended or (self.length is not None and self.bytes >= self.length)

    def take(self, data, most=None):
        """Takes bytes; returns how many of them go out before `most` bytes of the body have gone (None: all)."""
        if not self._chunked:
            room = len(data) if most is None else max(0, min(len(data), most - self.bytes))
            self.bytes += room
            return room
        at = 0
        while at < len(data) and (most is None or self.bytes < most or self._left == 0):
            at = self._take_chunk(data, at, most)
            if most is not None and self.bytes >= most:
                break
        return at

    def _take_chunk(self, data, at, most):
        if self._left:
            size = min(self._left, len(data) - at)
            if most is not None:
                size = min(size, most - self.bytes)
            self._left -= size
            self.bytes += size
            return at + size
        end = data.find(b"\n", at)
        self._line += data[at:end + 1] if end >= 0 else data[at:]
        if end < 0:
            return len(data)
        word = self._line.split(b";")[0].strip()
        self._line = b""
        if word:  # an empty line stands behind each chunk
            self._left = int(word, 16) if re.fullmatch(rb"[0-9A-Fa-f]{1,15}", word) else 0
            self._ended = self._left == 0
        return end + 1
