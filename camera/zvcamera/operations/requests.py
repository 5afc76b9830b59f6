"""The HTTP requests that the camera has got: requests, requests follow, requests clear."""

import select
import time

from .operation import Parameter, operation

_SUPERVISOR = "supervisor"
_SINCE = Parameter("since", "number", "from the request with this number on", default=0, low=0, option="--since")


def _clock(seconds):
    return f"{time.strftime('%H:%M:%S', time.localtime(seconds))}.{int(seconds * 1000) % 1000:03d}"


def request_text(request):
    """One request in a line: number, time, process, method, path, status, bytes, ms, and the rule that hit it."""
    query = f"?{request['query']}" if request["query"] else ""
    process = "-" if request["pid"] is None else request["pid"]
    fault = f"  {request['fault']}" if request["fault"] else ""
    return (f"{request['number']:>5}  {_clock(request['time'])}  {process:>6}  {request['method']:<4} "
            f"{request['uri']}{query}  {request['status']}  {request['bytes']} bytes  {request['ms']:.1f} ms{fault}")


def _list_text(result):
    return "\n".join(map(request_text, result["requests"]))


@operation("requests", "GET /requests", "Show the HTTP requests that the camera has got", _SINCE, text=_list_text)
def requests(link, since):
    return link.call(_SUPERVISOR, "requests", since=since)


@operation("requests follow", "GET /requests/events", "Show each HTTP request when it has been answered",
           text=request_text, follows=True)
def follow(link):
    with link.subscribe(_SUPERVISOR, "requests_follow") as subscription:
        while True:
            select.select([subscription], [], [])
            yield from subscription.events()


@operation("requests clear", "DELETE /requests", "Forget the requests so far")
def clear(link):
    return link.call(_SUPERVISOR, "requests_clear")
