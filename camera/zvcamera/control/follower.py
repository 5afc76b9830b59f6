"""Runs an operation that follows in a thread of its own, and hands its events to the loop in bounded amounts."""

import asyncio
import contextlib
import json
import os
import socket
import threading

from ..link import Link

MOST_BYTES = 1 << 20  # of events that wait for the client
PATIENCE = 10.0  # seconds: a client that leaves so much unread for longer is dropped


class Gone(Exception):
    """The client has gone; ends the thread of its follower."""


class ClosableLink(Link):
    """A link whose subscriptions end when close() is called, from any thread."""

    def __init__(self, run_dir):
        super().__init__(run_dir)
        self._lock = threading.Lock()
        self._sockets = []
        self._closed = False

    def subscribe(self, program, op, **fields):
        subscription = super().subscribe(program, op, **fields)
        with self._lock:
            if self._closed:
                subscription.close()
                raise Gone
            # A descriptor of its own: the number of the subscription's may belong to something else by then.
            self._sockets.append(socket.socket(fileno=os.dup(subscription.fileno())))
        return subscription

    def close(self):
        with self._lock:
            self._closed = True
            for each in self._sockets:
                with contextlib.suppress(OSError):
                    each.shutdown(socket.SHUT_RDWR)  # wakes whoever waits for the subscription
                each.close()
            self._sockets.clear()


class Follower:
    """One client's events.

    overflowed: the client has left so many events unread for so long that it is to be dropped.
    ended, error: the operation has ended, by this error if there is one.
    """

    def __init__(self, run_dir, operation, keywords):
        self._link = ClosableLink(run_dir)
        self._events = operation.act(self._link, **keywords)
        self._loop = asyncio.get_running_loop()
        self._changed = asyncio.Event()
        self._taken = threading.Condition()
        self._waiting = []
        self._bytes = 0
        self._closed = False
        self.overflowed = False
        self.ended = False
        self.error = None
        threading.Thread(target=self._run, daemon=True).start()

    def _run(self):
        try:
            for event in self._events:
                self._put(json.dumps(event))
        except Gone:
            pass
        except Exception as error:  # noqa: B902 - the client is told whatever ended its events
            self.error = error
        finally:
            self._events.close()
        self.ended = True
        self._tell()

    def _tell(self):
        with contextlib.suppress(RuntimeError):  # the loop has ended
            self._loop.call_soon_threadsafe(self._changed.set)

    def _put(self, text):
        with self._taken:
            self.overflowed = not self._taken.wait_for(lambda: self._closed or self._bytes < MOST_BYTES, PATIENCE)
            if self._closed or self.overflowed:
                raise Gone
            self._waiting.append(text)
            self._bytes += len(text)
            first = len(self._waiting) == 1
        if first:
            self._tell()

    async def wait(self, seconds):
        """Waits until something has changed, at most so long. Returns whether it has."""
        try:
            await asyncio.wait_for(self._changed.wait(), seconds)
        except asyncio.TimeoutError:
            return False
        self._changed.clear()
        return True

    def wake(self):
        self._changed.set()

    def is_empty(self):
        return not self._waiting

    def take(self):
        """The events that have arrived, as texts of JSON."""
        with self._taken:
            texts, self._waiting, self._bytes = self._waiting, [], 0
            self._taken.notify()
        return texts

    def close(self):
        """Ends the thread, also when it waits for events of one of its subscriptions."""
        with self._taken:
            self._closed = True
            self._taken.notify()
        self._link.close()
