"""The camera's log: the lines that its programs send to /dev/log or write to standard error, in order of arrival.

A record is a dict: time (seconds since the epoch), source (identifier of the program), pid (or None), priority
(syslog's severity, or None for standard error) and text.
"""

import bisect
import itertools
import operator
import os
import re
import secrets
import socket
import threading
import time
import traceback

from ..sandbox import LOG_SOCKET

_KEPT = 200_000
# Anybody in the camera may send anything, so the pattern limits the digits of a number.
_SYSLOG = re.compile(r"<(\d{1,3})>(?:\w{3} [ \d]\d \d\d:\d\d:\d\d )?(?:([^\s\[:]+)(?:\[(\d{1,10})\])?: ?)?(.*)",
                     re.ASCII | re.DOTALL)

_time_of = operator.itemgetter("time")


class Collector:
    """Keeps the records, and calls each function in sinks with each."""

    def __init__(self, sinks=(), path=LOG_SOCKET):
        self.sinks = list(sinks)
        self._path = path
        self._takers = {}
        self._records = []
        self._dropped = 0
        self._changed = threading.Condition()
        self._mark = b"\0mark %s " % secrets.token_hex(16).encode()  # a random word, so that nobody else can send it
        self._marks = itertools.count()
        self._seen_mark = -1
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 20)
        self._socket.bind(path)
        os.chmod(path, 0o666)
        threading.Thread(target=self._receive, daemon=True).start()

    def add(self, source, text, pid=None, priority=None):
        with self._changed:
            record = {"time": time.time(), "source": source, "pid": pid, "priority": priority, "text": text}
            self._records.append(record)
            if len(self._records) > _KEPT:
                cut = _KEPT // 10
                del self._records[:cut]
                self._dropped += cut
            for sink in self.sinks:
                sink(record)

    def add_stream(self, source, stream):
        """Starts a thread that records each line of a binary stream, until the stream ends."""
        def read():
            with stream:
                for line in stream:
                    self.add(source, line.decode(errors="backslashreplace").rstrip("\n"))
        threading.Thread(target=read, daemon=True).start()

    def take_marked(self, mark, take):
        """Lines that hold a mark are no records: take(source, pid, text) gets the text behind it."""
        self._takers[mark] = take

    def since(self, start, then=None):
        """Returns the records from number start on, and the number of the next one.

        The records include every line that was sent before the call. then: a function that is called with both before
        the next record is made.
        """
        self.synchronise()
        with self._changed:
            found = self._records[max(0, start - self._dropped):], self._dropped + len(self._records)
            if then:
                then(*found)
            return found

    def between(self, first, last):
        """The records from one time to another, in seconds since the epoch, ends included."""
        self.synchronise()
        with self._changed:
            return self._records[bisect.bisect_left(self._records, first, key=_time_of):
                                 bisect.bisect_right(self._records, last, key=_time_of)]

    def synchronise(self):
        """Returns when every line that was sent before has been taken."""
        # A datagram is queued before its send returns. So when the mark arrives, all earlier lines have arrived.
        mark = next(self._marks)
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as out:
            out.sendto(b"%s%d" % (self._mark, mark), self._path)
        with self._changed:
            self._changed.wait_for(lambda: self._seen_mark >= mark, timeout=10)

    def _receive(self):
        while True:
            self._take_guarded(self._socket.recv(1 << 16))

    def _take_guarded(self, packet):
        try:
            self._take(packet)
        except Exception:  # noqa: B902 - without this thread, every writer to the log would wait for ever
            traceback.print_exc()

    def _take(self, packet):
        if packet.startswith(self._mark):
            with self._changed:
                self._seen_mark = max(self._seen_mark, int(packet[len(self._mark):]))
                self._changed.notify_all()
            return
        text = packet.rstrip(b"\0\n").decode(errors="backslashreplace")
        match = _SYSLOG.fullmatch(text)
        if match:
            code, source, pid, text = match.groups()
            pid = int(pid) if pid else None
            for mark, take in self._takers.items():
                if text.startswith(mark):
                    take(source, pid, text.removeprefix(mark))
                    return
            self.add(source or "?", text, pid, int(code) & 7)
        else:
            self.add("?", text)
