"""The file of analytics that zvControlD collects."""

from ..admin import InvalidRequest
from .operation import Parameter, operation

_MOST = 1 << 40  # bytes of the file


def _ask(link, action, **fields):
    return link.call("zvControlD", "analytics", action=action, **fields)


@operation("analytics status", "GET /analytics", "Show all about the file", alone=True)
def status(link):
    return _ask(link, "status")


@operation("analytics on", "POST /analytics/on", "Collect: append a record to the file again and again",
           Parameter("interval_ms", "number", "milliseconds between records, 10 to 3600000", None, "--interval-ms"))
def on(link, interval_ms):
    return _ask(link, "on", **({} if interval_ms is None else {"interval_ms": interval_ms}))


@operation("analytics off", "POST /analytics/off", "Collect no more")
def off(link):
    return _ask(link, "off")


@operation("analytics size", "PUT /analytics/size", "Make the file exactly this long, and collect no more",
           Parameter("bytes", "number", low=0, high=_MOST))
def size(link, bytes):  # noqa: A002 - the parameter's name is that of the interface
    return _ask(link, "size", size=bytes)


@operation("analytics limit", "PUT /analytics/limit", "Let collecting not grow the file beyond this",
           Parameter("bytes", "number", low=0, high=_MOST))
def limit(link, bytes):  # noqa: A002
    return _ask(link, "limit", limit=bytes)


@operation("analytics append", "POST /analytics/records", "Append records, or bytes, to the file",
           Parameter("records", "number", "how many; 1 when nothing is given", None, low=0),
           Parameter("hex", "hex", "these bytes instead, two digits each", None, "--hex"))
def append(link, records, hex):  # noqa: A002
    if hex is None:
        return _ask(link, "append", records=1 if records is None else records)
    if records is not None:
        raise InvalidRequest("records and hex exclude each other")
    return _ask(link, "append", hex=hex)


@operation("analytics clear", "POST /analytics/clear", "Clear the file, as a client's request does")
def clear(link):
    return _ask(link, "clear")


@operation("analytics on-clear", "PUT /analytics/on-clear",
           "What clearing does: empty the file, remove it or keep it as it is",
           Parameter("what", choices=("empty", "remove", "keep")))
def on_clear(link, what):
    return _ask(link, "on_clear", what=what)


@operation("analytics path", "PUT /analytics/path",
           "Show the path that is answered for the file, or answer another one",
           Parameter("path", help="answer this one", default=None),
           Parameter("own", "flag", "answer the file's own path again", False, "--own"))
def path(link, path, own):
    if own and path is not None:
        raise InvalidRequest("path and own exclude each other")
    if own or path:
        return _ask(link, "path", path="" if own else path)["path"]
    return status(link)["path"]
