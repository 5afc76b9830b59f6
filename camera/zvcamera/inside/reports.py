"""What the supervisor tells its launcher: JSON lines on standard output."""

import json
import os
import queue
import threading


class Reports:
    """Writes the JSON lines in a thread of its own, so that a reader that hangs does not block the camera."""

    def __init__(self):
        self._lines = queue.Queue(maxsize=100_000)
        self._thread = threading.Thread(target=self._write, daemon=True)
        self._thread.start()

    def send(self, **fields):
        try:
            self._lines.put_nowait(json.dumps(fields))
        except queue.Full:
            pass  # the record stays in the collector

    def finish(self, **fields):
        """Writes the last line. When the queue is full because nobody reads, it drops the oldest waiting lines."""
        for line in (json.dumps(fields), None):
            self._put(line)
        self._thread.join(5)

    def _put(self, line):
        while True:
            try:
                self._lines.put_nowait(line)
                return
            except queue.Full:
                pass
            try:
                self._lines.get_nowait()
            except queue.Empty:
                pass  # the writing thread was faster

    def _write(self):
        while (line := self._lines.get()) is not None:
            try:
                os.write(1, line.encode() + b"\n")
            except OSError:
                return
