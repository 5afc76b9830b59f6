"""One connection of a client through the front: a request, and the answer as the rules let it go out."""

import asyncio
import contextlib
import email.utils
import http
import time

from .. import control
from .http_message import Body, Request, head_length

_HEAD = 64 << 10  # a longer head goes on as it is: the web server refuses it
_HEAD_TIME = 60.0
_SILENCE = 600.0
_BLOCK = 64 << 10
_COLLECTED = 1 << 20  # of a body whose length is not known, to cut it in half
_CONNECT_TIME = 10.0
_WRITE_TIME = 360.0


class Connection:
    """front: tells upstream, space, secret, plan() and tell().

    controls: the request is for control of the camera over HTTP, not for the camera.
    """

    def __init__(self, front, connection, port, own_port):
        self._front = front
        self._socket = connection
        self._port = port
        self._own_port = own_port
        self._client = None
        self._server = None
        self._answers = None
        self._planned = []
        self._told = None  # what the history is told of the request
        self._begin = 0
        self.idle = True
        self.controls = False

    async def serve(self):
        try:
            self._reader, self._client = await asyncio.open_connection(sock=self._socket, limit=_HEAD)
            head, rest = await self._read_head(self._reader, _HEAD_TIME)
            if head or rest:
                await self._answer(head, rest)
        except (OSError, asyncio.IncompleteReadError, TimeoutError):
            pass  # the client or the web server is gone
        finally:
            self._tell()
            if self._server:
                self._server.transport.abort()
            await self._close()

    async def _close(self):
        if not self._client:
            self._socket.close()
            return
        try:
            self._client.close()
            async with asyncio.timeout(_WRITE_TIME):
                await self._client.wait_closed()
        except (OSError, asyncio.CancelledError):
            self._client.transport.abort()

    @staticmethod
    async def _read_head(reader, limit, data=b""):
        """The head and what has come behind it. Without a head, everything that has come.

        data: what has been read already. limit: in seconds, or None.
        """
        async with asyncio.timeout(limit):
            while not (length := head_length(data)) and len(data) < _HEAD:
                more = await reader.read(_BLOCK)
                if not more:
                    break
                data += more
        return data[:length], data[length:]

    def _rule(self, *faults):
        """The last planned rule with one of these faults."""
        return next((rule for rule, _ in reversed(self._planned) if rule["fault"] in faults), None)

    async def _answer(self, head, rest):
        self._begin = time.time()
        request = Request.read(head) if head else None
        if request:
            self._told = {"method": request.method, "uri": request.uri, "query": request.query, "status": 0, "bytes": 0}
            self._plan(request.path)
        decisive = self._rule("silent", "status", "crashed", "timeout")
        delay = sum(delay for _, delay in self._planned)
        if decisive and decisive["fault"] == "silent":
            await self._keep_silent()
        elif decisive and decisive["fault"] == "status":
            await asyncio.sleep(delay)
            await self._send_status(decisive, request.method)
        else:
            self.idle = False
            target = f"{self._front.secret}/{decisive['fault']}" if decisive else None
            await self._pass_on(request.for_one_answer(target) if request else head, rest)
            await self._send_answer(request.method if request else "", delay)

    def _plan(self, path):
        self.controls = path == control.PREFIX or path.startswith(f"{control.PREFIX}/")
        space = self._front.space
        if path == space or path.startswith(f"{space}/"):
            self._planned = self._front.plan(path[len(space):])

    def _tell(self):
        """Tells the history of the request, once, before its client can know that it has all of the answer."""
        if self._told:
            fault = " ".join(f"http:{rule.number}" for rule, _ in self._planned) or None
            self._front.tell(request={**self._told, "begin": int(self._begin * 1e6), "port": self._port, "fault": fault,
                                      "micros": int((time.time() - self._begin) * 1e6)})
            self._told = None

    async def _keep_silent(self):
        self._tell()
        with contextlib.suppress(TimeoutError):
            async with asyncio.timeout(_SILENCE):
                while await self._reader.read(_BLOCK):
                    pass

    async def _send_status(self, rule, method):
        status = rule["status"]
        bodiless = status in (204, 304)
        body = b"" if bodiless else rule["body"].encode()
        reason = http.HTTPStatus(status).phrase if status in http.HTTPStatus.__members__.values() else "Status"
        fields = [] if bodiless else [f"Content-Type: {rule['type']}", f"Content-Length: {len(body)}"]
        date = f"Date: {email.utils.formatdate(usegmt=True)}"
        head = "\r\n".join([f"HTTP/1.1 {status} {reason}", *fields, "Connection: close", date, "", ""]).encode()
        await self._send_body(head, b"" if method == "HEAD" else body, Body(head, method))

    # The web server's answers

    async def _pass_on(self, head, rest):
        async with asyncio.timeout(_CONNECT_TIME):
            self._answers, self._server = await asyncio.open_unix_connection(self._front.upstream, limit=_BLOCK)
        # So the web server, and the gateway, see the client's own address and port.
        self._server.write(b"PROXY TCP4 127.0.0.1 127.0.0.1 %d %d\r\n" % (self._port, self._own_port) + head + rest)
        await self._server.drain()
        self._pump = asyncio.create_task(self._pass_body_on())

    async def _pass_body_on(self):
        with contextlib.suppress(OSError):
            while data := await self._reader.read(_BLOCK):
                self._server.write(data)
                await self._server.drain()
            self._server.write_eof()

    async def _send_answer(self, method, delay):
        try:
            head, rest = await self._read_head(self._answers, None)
            while head.startswith(b"HTTP/1.1 1"):  # only announces the answer
                self._client.write(head)
                head, rest = await self._read_head(self._answers, None, rest)
            await asyncio.sleep(delay)
            if head:
                await self._send_body(head, rest, Body(head, method))
            elif rest:
                self._client.write(rest)
                await self._client.drain()
        finally:
            self._pump.cancel()

    async def _send_body(self, head, rest, body):
        if self._told:
            self._told["status"] = body.status
        most, rest = await self._where_to_cut(rest, head, body)
        if body.complete or most == 0:
            self._tell()
        self._client.write(head)
        while most != 0:
            going = rest[:body.take(rest, most)]
            last = body.complete or (most is not None and body.bytes >= most)
            await self._write(going, last)
            if last or not (rest := await self._read_more()):
                return

    async def _read_more(self):
        return await self._answers.read(_BLOCK) if self._answers else b""

    async def _where_to_cut(self, rest, head, body):
        """After how many bytes of the body the answer is cut; None: not at all. And what has come of the body."""
        cut = self._rule("cut")
        if not cut or cut["bytes"] is not None:
            return cut and cut["bytes"], rest
        if body.length is not None:
            return body.length // 2, rest
        whole = Body(head, "")
        whole.take(rest)
        while not whole.complete and len(rest) < _COLLECTED and (more := await self._read_more()):
            whole.take(more)
            rest += more
        return whole.bytes // 2, rest

    async def _write(self, data, last):
        """Writes bytes of the body, as slowly as a rule wants it; before the last ones go, the history is told."""
        slow = self._rule("slow")
        size = max(1, slow["bytes_per_second"] // 10) if slow else len(data) or 1
        for at in range(0, len(data) or 1, size):
            if slow and data:
                await asyncio.sleep(min(size, len(data) - at) / slow["bytes_per_second"])
            if self._told:
                self._told["bytes"] += len(data[at:at + size])
            if last and at + size >= len(data):
                self._tell()
            self._client.write(data[at:at + size])
            async with asyncio.timeout(_WRITE_TIME):
                await self._client.drain()
