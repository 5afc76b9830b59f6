"""The scenario in use: which it is, back to it, on to another one."""

import json
import os

from ..messages.quote import printable
from .operation import Parameter, operation

EXAMPLES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scenarios")
_SUPERVISOR = "supervisor"
_PATIENCE = 30.0  # seconds; it takes some 20 milliseconds


def _done_text(result):
    return f"done in {result['ms']:.0f} ms\n"


@operation("scenario", "GET /scenario", "Show the scenario in use: its name and its text",
           text=lambda result: f"{printable(result['name'] or 'none: all defaults')}\n{result['text'].rstrip()}\n")
def scenario(link):
    return link.call(_SUPERVISOR, "scenario")


def _example(name):
    with open(os.path.join(EXAMPLES, f"{name}.json"), encoding="utf-8") as file:
        document = json.load(file)
    return {"name": name, "description": document.get("description", ""), "scenario": document}


@operation("scenario list", "GET /scenarios", "List the scenarios that come with the camera, each with its document",
           options=("--list",),
           text=lambda found: "".join(f"{each['name']:<20}{each['description']}\n" for each in found))
def examples(link):
    return [_example(file.removesuffix(".json")) for file in sorted(os.listdir(EXAMPLES)) if file.endswith(".json")]


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
