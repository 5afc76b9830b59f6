"""The program that serves control over HTTP: python3 -m zvcamera.control.server RUN_DIR DESCRIPTOR [HOST_NAME...]

It serves clients of the listening socket that it has inherited as DESCRIPTOR. The camera's web server passes on what is
below /simulator.
"""

import asyncio
import concurrent.futures
import json
import os
import signal
import socket
import sys
import traceback

from aiohttp import web

from ..admin import AdminError, InvalidRequest, Unreachable
from ..link import Link
from . import contract, events, given, guard, listing, routes

MOST_BODY = 1 << 20
MOST_ANSWER = 8 << 20
MOST_AT_ONCE = 64
_THREADS = 32  # an operation waits rather than works, some for many seconds
_BODY_PATIENCE = 10.0
_MOST_ERROR = 4000  # characters
_FIELDS = {"Server": "camera", "Cache-Control": "no-store", "X-Content-Type-Options": "nosniff"}


class _Answer(Exception):
    """An error as the client gets it."""

    def __init__(self, status, text, fields=None):
        super().__init__(text)
        self.status = status
        self.fields = fields or {}


# The first that fits.
_STATUSES = ((InvalidRequest, 400), (Unreachable, 503), (AdminError, 409), (guard.Refused, 403),
             (routes.NotFound, 404), (events.TooMany, 503))


def _as_answer(error):
    """What the client gets for an exception."""
    if isinstance(error, _Answer):
        return error
    if isinstance(error, routes.MethodNotAllowed):
        return _Answer(405, str(error), {"Allow": ", ".join(error.allowed)})
    for kind, status in _STATUSES:
        if isinstance(error, kind):
            return _Answer(status, str(error))
    traceback.print_exception(error)  # goes to the camera's log
    return _Answer(500, "control over HTTP has failed; the camera's log says more")


def _response(status, text, fields=None, kind="application/json"):
    return web.Response(status=status, text=text + "\n", content_type=kind,
                        headers={**_FIELDS, **(fields or {})})


def _error(error):
    answer = _as_answer(error)
    return _response(answer.status, json.dumps({"error": str(answer)[:_MOST_ERROR]}), answer.fields)


async def _body(request):
    """The body's bytes. Raises _Answer for one that is too large, too slow or not said to be JSON."""
    if not request.can_read_body:
        return b""
    if request.content_type != "application/json":
        raise _Answer(415, f"Content-Type: a body must be application/json, not {request.content_type}")
    if request.headers.get("Content-Encoding", "identity").lower() != "identity":
        raise _Answer(415, "Content-Encoding: a body must be as it is")
    try:
        return await asyncio.wait_for(request.read(), _BODY_PATIENCE)
    except web.HTTPRequestEntityTooLarge as error:
        raise _Answer(413, f"the body has more than {MOST_BODY} bytes") from error
    except asyncio.TimeoutError as error:
        raise _Answer(408, f"the body took more than {_BODY_PATIENCE:.0f} seconds") from error


class Control:
    """Answers requests. run_dir: the camera's; names: host names that are allowed besides those of this machine."""

    def __init__(self, run_dir, names):
        self._run_dir = run_dir
        self._names = names
        self._pool = concurrent.futures.ThreadPoolExecutor(_THREADS)
        self._under_way = 0
        self.events = events.Events(run_dir)

    async def answer(self, request):
        """Answers any request; nothing that a client sends makes it raise."""
        try:
            guard.check(request.headers, self._names)
            return await self._find_and_act(request)
        except Exception as error:  # noqa: B902 - every client gets an answer
            return _error(error)

    async def _find_and_act(self, request):
        path, _, query = request.raw_path.partition("?")
        if routes.is_listing(path) or path in contract.PATHS:
            if request.method not in ("GET", "HEAD"):
                raise routes.MethodNotAllowed(["GET", "HEAD"])
            if path in contract.PATHS:
                return _response(200, contract.text(path), kind=contract.PATHS[path])
            return _response(200, json.dumps(listing.listing(), indent=1))
        operation, in_path = routes.find(request.method, path)
        keywords = operation.check(given.of(operation, in_path, query, await _body(request)))
        if operation.follows:
            return await self.events.serve(request, operation, keywords, _FIELDS)
        return await self._act(operation, keywords)

    async def _act(self, operation, keywords):
        if self._under_way >= MOST_AT_ONCE:
            raise _Answer(503, f"{MOST_AT_ONCE} requests are under way already")
        self._under_way += 1
        try:
            loop = asyncio.get_running_loop()
            text, missing = await loop.run_in_executor(self._pool, self._do, operation, keywords)
        finally:
            self._under_way -= 1
        return _response(200, text, {"X-Simulator-Missing": "; ".join(missing)} if missing else None)

    def _do(self, operation, keywords):
        """In a thread: the result as a text of JSON, and the programs that were not there to take part."""
        link = Link(self._run_dir)
        result = operation.act(link, **keywords)
        text = json.dumps({} if result is None else result)
        if len(text) > MOST_ANSWER:
            raise _Answer(500, f"the answer would have {len(text)} bytes, {MOST_ANSWER} at most: ask for less of it")
        return text, [line.replace("\n", " ") for line in link.missing]


def _request(*arguments):
    # What reaches client_max_size is refused.
    return web.BaseRequest(*arguments, asyncio.get_running_loop(), client_max_size=MOST_BODY + 1)


async def serve(run_dir, listener, names, ended):
    """Serves the clients of a listening socket until the event `ended` is set."""
    control = Control(run_dir, names)
    server = web.Server(control.answer, request_factory=_request, auto_decompress=False, access_log=None)
    runner = web.ServerRunner(server, shutdown_timeout=0.5)
    await runner.setup()
    await web.SockSite(runner, listener).start()
    await ended.wait()
    control.events.end()
    await runner.cleanup()


def main():
    async def serve_and_leave():
        ended = asyncio.Event()
        for number in (signal.SIGTERM, signal.SIGINT):
            asyncio.get_running_loop().add_signal_handler(number, ended.set)
        await serve(sys.argv[1], socket.socket(fileno=int(sys.argv[2])), sys.argv[3:], ended)
        sys.stderr.flush()
        os._exit(0)  # the threads of operations that still wait are not waited for
    asyncio.run(serve_and_leave())


if __name__ == "__main__":
    main()
