"""The scenario in use: which it is, back to it, on to another one."""

from ..messages.quote import printable
from .operation import Parameter, operation

_SUPERVISOR = "supervisor"
_PATIENCE = 30.0  # seconds; it takes some 20 milliseconds


def _done_text(result):
    return f"done in {result['ms']:.0f} ms\n"


@operation("scenario", "GET /scenario", "Show the scenario in use: its name and its text",
           text=lambda result: f"{printable(result['name'] or 'none: all defaults')}\n{result['text'].rstrip()}\n")
def scenario(link):
    return link.call(_SUPERVISOR, "scenario")


@operation("reset", "POST /reset",
           "Back to the scenario: daemons start anew; faults, trace, requests, whitelist, analytics are forgotten",
           text=_done_text)
def reset(link):
    return link.call(_SUPERVISOR, "reset", timeout=_PATIENCE)


@operation("load", "PUT /scenario", "On to another scenario; a wrong one changes nothing",
           Parameter("scenario", "document",
                     "the scenario; on the command line a file, or the name of one that comes with the camera"),
           Parameter("name", help="what errors and `scenario` call it", default="scenario", option="--name"),
           text=_done_text)
def load(link, scenario, name):  # noqa: A002 - the parameter's name is the interface
    return link.call(_SUPERVISOR, "load", timeout=_PATIENCE, scenario=scenario, name=name)
