"""The camera's programs, and what they say. By way of the supervisor."""

import time

from ..admin import AdminError, InvalidRequest, Unreachable
from ..messages.quote import printable
from .operation import Parameter, operation, unknown

_PATIENCE = 40.0  # seconds: a program may take its time to start or to end
_DOES = (
    ("stop", "Stop a program where it stands (SIGSTOP)"),
    ("cont", "Let a stopped program go on (SIGCONT)"),
    ("kill", "Kill a program (SIGKILL)"),
    ("term", "End a program (SIGTERM)"),
    ("start", "Start a program that has ended"),
)


@operation("daemon status", "GET /daemons", "Show which programs run", alone=True)
def status(link):
    return link.call("supervisor", "status")


def _act(link, op, name):
    try:
        return {name: link.call("supervisor", op, timeout=_PATIENCE, daemon=name)}
    except Unreachable:
        raise
    except AdminError as error:
        known = tuple(status(link))
        if name in known:
            raise
        raise InvalidRequest(unknown("daemon", name, known)) from error


def _register(op, help):  # noqa: A002
    @operation(f"daemon {op}", f"POST /daemons/{{name}}/{op}", help,
               Parameter("name", help="zvControlD, zvNetD, zvBleD or lighttpd", candidates=status))
    def act(link, name):
        return _act(link, op, name)


for _op, _help in _DOES:
    _register(_op, _help)


def record_text(record):
    """A log record in a line."""
    clock = ""
    if "time" in record:
        millis = int(record["time"] * 1000)
        clock = time.strftime("%Y-%m-%dT%H:%M:%S", time.gmtime(millis // 1000)) + f".{millis % 1000:03d}Z  "
    return f"{clock}{printable(record['source'])}: {printable(record['text'].rstrip(chr(10)))}\n"


def _programs(link):
    return sorted({record["source"] for record in link.call("supervisor", "log", since=0)["records"]})


_SINCE = Parameter("since", "number", "leave out this many lines", 0, "--since", low=0)
_LINES = Parameter("lines", "number", "the last ones alone of those that are there", None, "--lines", "-n", low=0)
_PROGRAM = Parameter("program", help="of this program alone", default=None, option="--program", candidates=_programs)


def _chosen(records, lines, program):
    kept = [record for record in records if program in (None, record["source"])]
    return kept if lines is None else kept[max(0, len(kept) - lines):]


@operation("log", "GET /log", "Print the log of the camera's programs", _SINCE, _LINES, _PROGRAM,
           text=lambda answer: "".join(map(record_text, answer["records"])))
def log(link, since, lines, program):
    answer = link.call("supervisor", "log", since=since)
    return {**answer, "records": _chosen(answer["records"], lines, program)}


@operation("log follow", "GET /log/events", "Go on with the lines to come", _SINCE, _LINES, _PROGRAM,
           text=record_text, follows=True, options=("--follow", "-f"))
def follow_log(link, since, lines, program):
    with link.subscribe("supervisor", "log_follow", since=since) as subscription:
        yield from _chosen(subscription.kept["records"], lines, program)
        while True:
            subscription.wait()
            yield from _chosen(subscription.events(), None, program)
