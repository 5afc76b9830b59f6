"""Rules for answers that go wrong on demand: a path below the control space, a fault, and which answers it hits."""

import re
import urllib.parse

from .admin import AdminError, InvalidRequest

_COUNTS = 1_000_000
_DELAY = 600_000
_BODY = 60_000
_RULES = 256
_TYPE = re.compile(r"[\x20-\x7e]{0,200}")


def _whole(low, high):
    def read(place, value):
        if type(value) is not int or not low <= value <= high:
            raise InvalidRequest(f"{place}: must be a whole number from {low} to {high}")
        return value
    return read


def _fraction(place, value):
    if type(value) not in (int, float) or not 0 <= value <= 1:
        raise InvalidRequest(f"{place}: must be a number from 0 to 1")
    return value


def _text(place, value):
    if not isinstance(value, str) or len(value.encode(errors="replace")) > _BODY:
        raise InvalidRequest(f"{place}: must be a text of at most {_BODY} bytes")
    return value


def _media_type(place, value):
    if not isinstance(value, str) or not _TYPE.fullmatch(value):
        raise InvalidRequest(f"{place}: must be a text of at most 200 characters that print")
    return value


# Each fault's keys, how they are read, and the value without one; None: none at all.
KINDS = {
    "refused": {},
    "silent": {},
    "crashed": {},
    "timeout": {},
    "cut": {"bytes": (_whole(0, 1 << 40), None)},
    "slow": {"bytes_per_second": (_whole(1, 1 << 30), 100)},
    "late": {"ms": (_whole(0, _DELAY), 1000), "max_ms": (_whole(0, _DELAY), None)},
    "status": {"status": (_whole(200, 599), 503), "body": (_text, ""), "type": (_media_type, "text/plain")},
}
_EVERY = {"count": (_whole(0, _COUNTS), 0), "skip": (_whole(0, _COUNTS), 0), "probability": (_fraction, 1)}


def is_for_path(rule):
    """Whether a scenario's rule is one of these, and not one for messages."""
    return isinstance(rule, dict) and isinstance(rule.get("command"), str) and rule["command"].startswith("/")


def _check_refused(rule, place):
    if rule["command"] != "/*":
        raise InvalidRequest(f"{place('command')}: refused is for /* alone: a connection has no path yet")
    for key, (_, otherwise) in _EVERY.items():
        if rule.get(key, otherwise) != otherwise:
            raise InvalidRequest(f"{place(key)}: refused takes none: nobody can count refused connections")


def read_rule(rule, where=""):
    """Checks a rule and returns it with all its values. Raises InvalidRequest, naming the place below `where`."""
    def place(key):
        return f"{where}.{key}" if where else key

    if not is_for_path(rule):
        raise InvalidRequest(f"{place('command')}: must be a path that begins with /")
    fault = rule.get("fault")
    if fault is None:
        raise InvalidRequest(f"{place('fault')}: missing")
    if not isinstance(fault, str) or fault not in KINDS:
        raise InvalidRequest(f"{place('fault')}: no such fault of HTTP: {fault}; known: {', '.join(KINDS)}")
    if fault == "refused":
        _check_refused(rule, place)
    known = {**KINDS[fault], **_EVERY}
    for key in rule:
        if key not in known and key not in ("command", "fault"):
            raise InvalidRequest(f"{place(key)}: unknown key")
    read = {"command": rule["command"], "fault": fault}
    for key, (reader, otherwise) in known.items():
        read[key] = reader(place(key), rule[key]) if key in rule else otherwise
    if fault == "late" and read["max_ms"] is not None and read["max_ms"] < read["ms"]:
        raise InvalidRequest(f"{place('max_ms')}: must be a whole number from {read['ms']} to {_DELAY}")
    return read


def read_rules(rules):
    """Those of a scenario's rules that are for paths."""
    return [read_rule(rule, f"faults[{number}]") for number, rule in enumerate(rules) if is_for_path(rule)]


def _mixed(number):
    """A number that looks random, the same for the same input (splitmix64)."""
    number = (number + 0x9E3779B97F4A7C15) % (1 << 64)
    number = ((number ^ (number >> 30)) * 0xBF58476D1CE4E5B9) % (1 << 64)
    number = ((number ^ (number >> 27)) * 0x94D049BB133111EB) % (1 << 64)
    return number ^ (number >> 31)


class Rule:
    """A rule at work. values: as read_rule() returns them."""

    def __init__(self, number, values):
        self.number = number
        self.values = values
        self.hits = 0
        self._skip = values["skip"]
        self._left = values["count"]
        self._draws = 0

    def __getitem__(self, key):
        return self.values[key]

    def concerns(self, path):
        command = self["command"]
        if command.endswith("*"):
            return path.startswith(command[:-1]) or path == command[:-2]
        return path == command or (command == "/" and path == "")

    def draw(self, seed):
        self._draws += 1
        return _mixed((_mixed((_mixed(seed) + self.number) % (1 << 64)) + self._draws) % (1 << 64))

    def hit(self, seed):
        """Whether it hits the answer that comes now; counts down."""
        if self._skip:
            self._skip -= 1
            return False
        if self["probability"] < 1 and self.draw(seed) / 2**64 >= self["probability"]:
            return False
        self.hits += 1
        self._left -= 1 if self["count"] else 0
        return True

    @property
    def spent(self):
        return self["count"] > 0 and self._left == 0

    def tell(self):
        """As the daemons list theirs."""
        told = {"id": self.number, "command": self["command"], "fault": self["fault"], "hits": self.hits,
                "skip": self._skip, "left": self._left if self["count"] else "all"}
        told |= {key: self[key] for key in KINDS[self["fault"]] if self[key] is not None}
        return told | ({"probability": self["probability"]} if self["probability"] < 1 else {})


class Rules:
    """The rules in the order in which they were added."""

    def __init__(self, seed=1):
        self._seed = seed
        self._rules = {}

    def __len__(self):
        return len(self._rules)

    def add(self, number, values):
        if len(self._rules) >= _RULES:
            raise AdminError("too many fault rules")
        self._rules[number] = Rule(number, values)

    def remove(self, number):
        return self._rules.pop(number, None) is not None

    def clear(self, seed=None):
        self._rules.clear()
        self._seed = self._seed if seed is None else seed

    def tell(self):
        return [rule.tell() for rule in self._rules.values()]

    def plan(self, path):
        """The rules that hit the answer for a path below the control space, with what they have drawn for it.

        Returns pairs of the rule and its delay in seconds (0 when it is not late).
        """
        path = urllib.parse.unquote(path, errors="surrogateescape")
        hitting = [rule for rule in self._rules.values() if rule.concerns(path) and rule.hit(self._seed)]
        planned = [(rule, self._delay(rule)) for rule in hitting]
        self._rules = {number: rule for number, rule in self._rules.items() if not rule.spent}
        return planned

    def _delay(self, rule):
        if rule["fault"] != "late":
            return 0
        choices = (rule["max_ms"] or rule["ms"]) - rule["ms"] + 1
        return (rule["ms"] + (rule.draw(self._seed) % choices if choices > 1 else 0)) / 1000
