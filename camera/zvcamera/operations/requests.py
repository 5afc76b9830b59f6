"""The HTTP requests that the camera has got, as the supervisor has kept them."""

import contextlib
import time

from ..admin import AdminError
from ..messages import record
from ..messages.quote import printable
from . import daemons, trace
from .operation import Parameter, operation

_SUPERVISOR = "supervisor"
_LOG_SLACK = 1.0  # seconds that a line may take to the log
_HEAD = "NUMBER  TIME             PID  STATUS     BYTES        MS  REQUEST\n"


def _clock(seconds):
    millis = int(seconds * 1000)
    return time.strftime("%H:%M:%S", time.localtime(millis // 1000)) + f".{millis % 1000:03d}"


def request_text(request):
    """One request in a line, and its messages, if it comes with them, in the lines behind."""
    query = f"?{request['query']}" if request["query"] else ""
    fault = f"  [{request['fault']}]" if request["fault"] else ""
    pid = "-" if request["pid"] is None else request["pid"]
    line = (f"{request['number']:>6}  {_clock(request['time'])}  {pid:>6}  {request['status'] or '-':>6}  "
            f"{request['bytes']:>8}  {request['ms']:>8.1f}  {request['method'] or '-'} {request['uri']}{query}{fault}")
    return printable(line) + "\n" + "".join(f"        {record.brief(each)}" for each in request.get("messages", ()))


def _all_text(answer):
    return _HEAD + "".join(map(request_text, answer["requests"])) if answer["requests"] else ""


def _with_messages(link, requests):
    kept = trace.kept(link)
    return [{**request, "messages": [each for each in kept if each.get("request") == request["number"]]}
            for request in requests]


@operation("requests", "GET /requests", "Show the HTTP requests that the camera has got",
           Parameter("since", "number", "from the one with this number on", 0, "--since", low=0),
           Parameter("lines", "number", "the last ones alone of those that are kept", None, "--lines", "-n", low=0),
           Parameter("messages", "flag", "each with its messages on the queues", False, "--messages"), text=_all_text)
def show(link, since, lines, messages):
    answer = link.call(_SUPERVISOR, "requests", since=since)
    if lines is not None:
        answer["requests"] = answer["requests"][max(0, len(answer["requests"]) - lines):]
    return {**answer, "requests": _with_messages(link, answer["requests"])} if messages else answer


def _window(request):
    """When the request began and ended, in seconds, with what the clocks may differ by."""
    return request["time"] - trace.SLACK, request["time"] + request["ms"] / 1000 + trace.SLACK


def _opened(link, request):
    """When its gateway opened the interface of zvControlD, in microseconds; None when nobody knows."""
    first, last = _window(request)
    with contextlib.suppress(AdminError):
        return next((each["micros"] for each in link.call("zvControlD", "openings")
                     if each["pid"] == request["pid"] and first <= each["micros"] / 1e6 <= last), None)
    return None


def _logged(link, request):
    """What the programs logged meanwhile: lines of other requests, when several are under way at once, too.

    Lines may take their time to the log, but they keep their order, and the web server's is the request's last.
    """
    end = request["time"] + request["ms"] / 1000
    lines = link.call(_SUPERVISOR, "log_between", first=request["time"], last=end + _LOG_SLACK)
    query = f"?{request['query']}" if request["query"] else ""
    own = f"{request['method'] or '-'} {request['uri']}{query} {request['status']} {request['ms']:.1f} ms"
    for place, each in enumerate(lines):
        if each["source"] == "lighttpd" and each["text"].startswith(own):
            return lines[:place + 1]
    return [each for each in lines if each["time"] <= end]


def _whole_text(request):
    own = {**request, "messages": ()}
    return (f"{_HEAD}{request_text(own)}\n{''.join(map(record.full, request['messages']))}\n"
            f"{''.join(map(daemons.record_text, request['log']))}")


@operation("request", "GET /requests/{number}", "Show one request: its messages, and what was logged meanwhile",
           Parameter("number", "number", "as `requests` counts them", low=1), text=_whole_text)
def one(link, number):
    kept = link.call(_SUPERVISOR, "requests", since=number)["requests"]
    found = next((each for each in kept if each["number"] == number), None)
    if found is None:
        raise AdminError(f"no request {number} is kept")
    return {**_with_messages(link, [found])[0], "opened": _opened(link, found), "log": _logged(link, found)}


@operation("requests follow", "GET /requests/events", "Go on with the requests to come, until interrupted",
           text=request_text, follows=True, options=("--follow", "-f"))
def follow(link):
    with link.subscribe(_SUPERVISOR, "requests_follow") as subscription:
        while True:
            subscription.wait()
            yield from subscription.events()


@operation("requests clear", "DELETE /requests", "Forget the requests so far", options=("--clear",))
def clear(link):
    return link.call(_SUPERVISOR, "requests_clear")
