"""Replies and answers that go wrong on demand: rules of zvBleD (ble:N), of zvNetD (net:N) and of HTTP (http:N)."""

import dataclasses

from ..admin import InvalidRequest
from ..messages import protocol
from ..messages.quote import printable
from . import fault_kinds
from .operation import Parameter, operation

# A rule's id is its keeper's own number; in front of it stands whose.
_KEEPERS = {"ble": "zvBleD", "net": "zvNetD", "http": "supervisor"}
_PREFIXES = {program: prefix for prefix, program in _KEEPERS.items()}
_ORDER = ("id", "command", "fault", "ms", "max_ms", "status", "category", "bytes", "by", "bytes_per_second", "hex",
          "body", "type", "probability")
_MOST = 1_000_000


def _keepers(command):
    """The programs that a command's rules go to."""
    if fault_kinds.is_path(command):
        return ("supervisor",)
    if command == protocol.ANY_COMMAND:
        return ("zvBleD", "zvNetD")
    return ("zvNetD",) if command in protocol.PAIRING_STATE_COMMANDS else ("zvBleD",)


def _names(program, number):
    return f"{_PREFIXES[program]}:{number}"


def _rule(command, fault, value, options):
    kind = fault_kinds.find(command, fault)
    rule = {"command": command, "fault": fault, **fault_kinds.value_fields(kind, value)}
    for name, given in options.items():
        if given is None:
            continue
        if name in ("body", "type") and not (fault == "status" and fault_kinds.is_path(command)):
            raise InvalidRequest(f"{name}: only the fault status of HTTP takes it")
        rule[name] = given
    return rule


@operation("fault add", "POST /faults", "Add a rule",
           Parameter("command", help="a BLE command by name or code, PD, PX, or * for all of them; or a path of HTTP "
                     "below the control space, such as /command/ble/scan or /*",
                     candidates=lambda link: (*fault_kinds.commands(), "/*")),
           Parameter("fault", rows=fault_kinds.rows(),
                     candidates=lambda link: dict.fromkeys(
                         kind.name for kind in (*fault_kinds.MESSAGES, *fault_kinds.HTTP))),
           Parameter("value", "value", "the fault's own; each has a default", None),
           Parameter("count", "number", "replies to hit; 0: all", 0, "--count", low=0, high=_MOST),
           Parameter("skip", "number", "replies to let pass first", 0, "--skip", low=0, high=_MOST),
           Parameter("probability", "fraction", "how likely a reply is hit, 0 to 1", None, "--probability"),
           Parameter("body", help="of status: the answer's body", default=None, option="--body"),
           Parameter("type", help="of status: the body's content type", default=None, option="--type"))
def add(link, command, fault, value, count, skip, **more):
    command = fault_kinds.canonical(command)
    rule = _rule(command, fault, value, {"count": count, "skip": skip, **more})
    added = link.call_each(_keepers(command), "fault_add", **rule)
    return {"added": [_names(program, result["id"]) for program, result in added.items()]}


def _text(rules):
    lines = []
    for rule in rules:
        words = [rule[key] if key in _ORDER[:3] else f"{key}={rule[key]}" for key in _ORDER if key in rule]
        lines.append(f"{'  '.join(words)}  skip {rule['skip']}, left {rule['left']}, hits {rule['hits']}")
    return "".join(f"{printable(line)}\n" for line in lines)


def _kind_line(row):
    return f"{row[0]:<22}{row[1]}".rstrip() + "\n"


@operation("fault list", "GET /faults", "List the rules, and how often each has hit", text=_text, alone=True)
def rules(link):
    kept = link.call_each(_KEEPERS.values(), "fault_list")
    return [{**rule, "id": _names(program, rule["id"])} for program, own in kept.items() for rule in own]


@operation("fault kinds", "GET /faults/kinds", "List the faults that rules can name, and for which commands",
           text=lambda kinds: "".join(map(_kind_line, fault_kinds.rows())))
def kinds(link):
    return {group: {"commands": list(commands), "faults": [dataclasses.asdict(kind) for kind in kinds]}
            for group, commands, kinds in (("messages", fault_kinds.commands(), fault_kinds.MESSAGES),
                                           ("http", fault_kinds.PATHS, fault_kinds.HTTP))}


@operation("fault remove", "DELETE /faults/{id}", "Remove a rule",
           Parameter("id", help="as listed, such as ble:1",
                     candidates=lambda link: [rule["id"] for rule in rules(link)]))
def remove(link, id):  # noqa: A002 - the parameter's name is that of the interface
    prefix, _, number = id.partition(":")
    if prefix not in _KEEPERS or not (number.isascii() and number.isdecimal() and len(number) < 19):
        raise InvalidRequest('a rule\'s id is that of "zvcam fault list", such as ble:1')
    link.call(_KEEPERS[prefix], "fault_remove", id=int(number))


@operation("fault clear", "DELETE /faults", "Remove all rules")
def clear(link):
    link.call_each(_KEEPERS.values(), "fault_clear")
