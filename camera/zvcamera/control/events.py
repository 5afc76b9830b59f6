"""Events for a client as they come, as text/event-stream: each a JSON document in a line that begins with "data: "."""

import asyncio
import json

from aiohttp import web

from .follower import PATIENCE, Follower

MOST_FOLLOWERS = 16
KEEP_ALIVE = 10.0  # seconds: after so long without events comes a comment, so that both sides notice a dead connection
_LOOKS = 20  # so often meanwhile is looked whether the client is still there
_FIRST = 0.2  # seconds in which an operation has to fail, if it fails at once, to be answered with an error
_FIELDS = {"Content-Type": "text/event-stream", "X-Accel-Buffering": "no"}


class TooMany(Exception):
    """No more followers now."""


class _Slow(Exception):
    """The client does not read."""


async def _send(response, text):
    try:
        await asyncio.wait_for(response.write(text.encode()), PATIENCE)
    except asyncio.TimeoutError as error:
        raise _Slow from error


async def _wait(request, response, follower):
    """Waits for events, for one period of keeping the connection alive at most. Raises OSError when the client goes."""
    for _ in range(_LOOKS):
        if await follower.wait(KEEP_ALIVE / _LOOKS):
            return
        if request.transport is None or request.transport.is_closing():
            raise ConnectionError
    await _send(response, ": nothing yet\n\n")


class Events:
    """All followers of a server."""

    def __init__(self, run_dir):
        self._run_dir = run_dir
        self._followers = set()
        self._ending = False

    async def serve(self, request, operation, keywords, fields):
        """Answers with the operation's events until either side ends. Raises what the operation raises at its start."""
        if self._ending or len(self._followers) >= MOST_FOLLOWERS:
            raise TooMany(f"{len(self._followers)} clients follow events already")
        follower = Follower(self._run_dir, operation, keywords)
        self._followers.add(follower)
        try:
            if await follower.wait(_FIRST):
                follower.wake()
            if follower.error and follower.is_empty():
                raise follower.error
            response = web.StreamResponse(headers={**fields, **_FIELDS})
            await response.prepare(request)
            await self._send_all(request, response, follower)
            return response
        finally:
            self._followers.discard(follower)
            follower.close()

    async def _send_all(self, request, response, follower):
        try:
            await _send(response, ": events follow\n\n")
            while await self._send_waiting(response, follower):
                await _wait(request, response, follower)
        except _Slow:
            if request.transport:
                request.transport.abort()
        except OSError:
            pass  # the client has gone

    async def _send_waiting(self, response, follower):
        """Sends what has arrived. Returns whether more may follow."""
        ended = follower.ended or self._ending  # read first: what came before the end is sent before the end
        text = "".join(f"data: {text}\n\n" for text in follower.take())
        if follower.overflowed:
            raise _Slow
        if text:
            await _send(response, text)
        if ended:
            reason = {"error": str(follower.error)} if follower.error else {}
            await _send(response, f"event: end\ndata: {json.dumps(reason)}\n\n")
        return not ended

    def end(self):
        """Ends all of them, and takes no more."""
        self._ending = True
        for follower in self._followers:
            follower.wake()
