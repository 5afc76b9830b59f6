"""The messages of the queues, as zvNetD and zvBleD have kept them."""

import contextlib
import select

from ..admin import AdminError, InvalidRequest, Unreachable
from ..messages import explain, protocol, record
from ..messages.protocol import QUEUE_DAEMONS
from .operation import Parameter, operation, unknown

_RECONNECT = 0.5  # seconds between two attempts to reach a daemon that has ended
SLACK = 0.05  # seconds that the clocks of web server and daemons may differ by

_COMMANDS = (*(command.name for command in protocol.COMMANDS), *protocol.PAIRING_STATE_COMMANDS)
_COMMAND = Parameter("command", help="messages of this command alone, by name or code", default=None,
                     option="--command", candidates=lambda link: _COMMANDS)
_DAEMON = Parameter("daemon", help="of this daemon alone", default=None, option="--daemon", choices=QUEUE_DAEMONS)
_REQUEST = Parameter("request", "number", "of this HTTP request alone, by its number", None, "--request", low=0)


def _by_time(records):
    return sorted(records, key=lambda each: each["micros"])


def _canonical(command):
    name = protocol.canonical(command) if command is not None else None
    if name in ("", protocol.ANY_COMMAND):
        raise InvalidRequest(unknown("command", command, _COMMANDS))
    return name


def _programs(daemon):
    return (daemon,) if daemon else QUEUE_DAEMONS


def requests_of(link):
    """The HTTP requests that the camera remembers; none when it cannot tell."""
    with contextlib.suppress(AdminError):
        return link.call("supervisor", "requests", since=0)["requests"]
    return []


def kept(link, programs=QUEUE_DAEMONS):
    """The records of these daemons in the order of time, each with the number of its request when that is known."""
    records = [each for own in link.call_each(programs, "trace").values() for each in own]
    by_process = {}
    if any(each.get("pid") is not None for each in records):
        for request in requests_of(link):
            by_process.setdefault(request["pid"], []).append(request)
    for each in records:
        moment = each["micros"] / 1e6
        for request in by_process.get(each.get("pid"), ()) if each.get("pid") is not None else ():
            if request["time"] - SLACK <= moment <= request["time"] + request["ms"] / 1000 + SLACK:
                each["request"] = request["number"]
    return _by_time(records)


def _all_full(records):
    return "".join(map(record.full, records))


def _all_brief(records):
    return "".join(map(record.brief, records))


@operation("trace", "GET /trace", "Show the messages of the queues, field by field", _COMMAND, _DAEMON, _REQUEST,
           text=_all_full, brief=_all_brief)
def show(link, command, daemon, request):
    name = _canonical(command)
    return [each for each in kept(link, _programs(daemon))
            if name in (None, each["command"]) and request in (None, each.get("request"))]


class _Followed:
    """The traces of some daemons as they grow. A daemon that ends is waited for."""

    def __init__(self, link, programs):
        self._link = link
        self._programs = programs
        self._subscriptions = {}

    def connect_missing(self):
        """Subscribes where that has not been done, and returns what those daemons have kept."""
        records = []
        for program in self._programs:
            if program not in self._subscriptions:
                with contextlib.suppress(Unreachable):  # not there, or just going: tried again
                    self._subscriptions[program] = self._link.subscribe(program, "trace_follow")
                    records += self._subscriptions[program].kept
        return _by_time(records)

    def reaches_any(self):
        return bool(self._subscriptions)

    def arrived(self):
        """Waits for a while for records, and returns those that have come."""
        select.select(list(self._subscriptions.values()), [], [], _RECONNECT)
        records = []
        for program, subscription in list(self._subscriptions.items()):
            try:
                records += subscription.events()
            except Unreachable:
                self._subscriptions.pop(program).close()
        return _by_time(records)

    def close(self):
        for subscription in self._subscriptions.values():
            subscription.close()


@operation("trace follow", "GET /trace/events", "Go on with the messages to come, until interrupted", _COMMAND, _DAEMON,
           text=record.full, brief=record.brief, follows=True, options=("--follow", "-f"))
def follow(link, command, daemon):
    name = _canonical(command)
    with contextlib.closing(_Followed(link, _programs(daemon))) as followed:
        records = followed.connect_missing()
        if not followed.reaches_any():
            raise Unreachable("no daemon to follow")
        while True:
            yield from (each for each in records if name in (None, each["command"]))
            records = followed.arrived() + followed.connect_missing()


@operation("trace clear", "DELETE /trace", "Forget the messages so far", options=("--clear",))
def clear(link):
    link.call_each(QUEUE_DAEMONS, "trace_clear")


def _message_text(told):
    return f"{told['summary']}\n" + "".join(
        f"    {each['offset']:04d}  {'  ' * each['depth']}{each['name']}: {each['value']}\n" for each in told["fields"])


@operation("message", "GET /message", "Show the bytes of a message, field by field",
           Parameter("hex", "hex", "the bytes, two digits each"),
           Parameter("command", help="of a reply: the command that it answers", default="", option="--command",
                     candidates=lambda link: _COMMANDS), text=_message_text)
def message(link, hex, command):  # noqa: A002 - the parameter's name is that of the trace
    data, name = bytes.fromhex(hex), _canonical(command) if command else ""
    return {"bytes": len(data), "summary": explain.summarize(data, name),
            "fields": [field._asdict() for field in explain.explain(data, name)]}
