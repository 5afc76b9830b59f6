"""Provokes everything that the contract for HTTP clients documents, and counts it."""

import http.client
import json
import re

import contract
from zvcamera.camera import Answer
from zvcamera.check import source_revision

_ELSEWHERE = {"Origin": "http://elsewhere.test"}
_BLE = "/control/command/ble"
_DEVICE = "58a1b2c3d4e5"

# By grammar: values that pass, values that do not, and values whose number is too large. As they stand in a query.
_NUMBERS = (("0", "5x", "%207", "%09%0A8", "+3", "-1", "007", "2147483647", "-2147483648"),
            ("", "x", "-", "+-5", "%2B"), ("2147483648", "-2147483649", "99999999999999999999"))
_ONE = (("1", "1x", "%201", "+01"), ("0", "2", "11", "x", "", "-1"), ())
_ADDRESSES = ((_DEVICE, _DEVICE.upper(), "f", f"x:y-{_DEVICE}", "%35" + _DEVICE[1:]),
              ("", "58:a1:b2:c3:d4:e5", "58a1b2c3d4eg", "g", "+f"), ())
# Path, parameter: what else the query needs, and the grammar.
_PARAMETERS = {
    (f"{_BLE}/pairing_phase", "p"): ("", _NUMBERS),
    (f"{_BLE}/configure", "auto_connect"): ("", _NUMBERS),
    (f"{_BLE}/scan", "p"): ("", _NUMBERS),
    (f"{_BLE}/scan/list", "p"): ("", _NUMBERS),
    (f"{_BLE}/pair/start", "device"): ("", _ADDRESSES),
    (f"{_BLE}/pair/start", "address_type"): (f"&device={_DEVICE}", _NUMBERS),
    (f"{_BLE}/pair/cancel", "device"): ("", _ADDRESSES),
    (f"{_BLE}/pair/cancel", "address_type"): (f"&device={_DEVICE}", _NUMBERS),
    (f"{_BLE}/whitelist/list", "p"): ("", _NUMBERS),
    (f"{_BLE}/whitelist/configure", "device"): ("&auto_connect=1", _ADDRESSES),
    (f"{_BLE}/whitelist/configure", "remove"): (f"&device={_DEVICE}", _ONE),
    (f"{_BLE}/whitelist/configure", "auto_connect"): (f"&device={_DEVICE}", _NUMBERS),
    (f"{_BLE}/whitelist/device", "address"): ("", _ADDRESSES),
}
# Of the last of several commands: what stands there, and what the answer says when it was read.
_COMMANDS = {"p": ("p{}=..", "invalid program .."), "c": ("p{0}=zvStream&c{0}=Start", "invalid command Start"),
             "a": ("p{0}=a%3Bb&c{0}=start&a{0}=xx", "invalid program a;b")}


def ask(camera, method, path, body=None, fields=None):
    """A request to any path of the camera's port. body: what is sent as JSON."""
    connection = http.client.HTTPConnection("127.0.0.1", camera.port, timeout=60)
    fields = {**({"Content-Type": "application/json"} if body is not None else {}), **(fields or {})}
    try:
        connection.request(method, path, None if body is None else json.dumps(body), fields)
        return Answer(connection.getresponse())
    finally:
        connection.close()


def _control(camera, method, path, body=None):
    answer = ask(camera, method, path, body)
    assert answer.status == 200, (method, path, answer.body)


def begin(camera):
    """Brings the camera to where the examples hold."""
    _control(camera, "PUT", "/simulator/scenario", {"scenario": contract.document()["x-examples-scenario"]})


def parameters():
    """Pairs of a path and a parameter's name."""
    return [(path, contract.resolved(parameter)["name"]) for path, operation in contract.operations()
            for parameter in operation.get("parameters", ())]


def parameter_examples():
    """The path of an operation, a parameter's name, the example's name and its value."""
    return [(path, parameter["name"], name, told["value"]) for path, operation in contract.operations()
            for parameter in map(contract.resolved, operation.get("parameters", ()))
            for name, told in parameter.get("examples", {}).items()]


def examples():
    """Pairs of a path and an example, as text: an answer, or a parameter's value."""
    return [*((example.path, str(example)) for example in contract.examples()),
            *((path, f"{path}?{name}= {example}") for path, name, example, _ in parameter_examples())]


def statuses():
    """Pairs of a path and a status; the path of what belongs to no operation is ""."""
    told = [*contract.operations(), ("", contract.document()["x-other-paths"])]
    return [(path, status) for path, operation in told for status in operation["responses"]]


def _at(document, place):
    """The value at a place such as info.git_sha1."""
    for name in place.split("."):
        document = document[name]
    return document


class Provoked:
    """What has been seen of the contract, and what was wrong."""

    def __init__(self, camera):
        self._camera = camera
        self.examples, self.parameters, self.statuses, self.wrong = set(), set(), set(), []

    def _note(self, path, answer):
        self.statuses.add((path, str(answer.status)))

    def _expect(self, right, *told):
        if not right:
            self.wrong.append(told)

    def all_examples(self):
        for example in contract.examples():
            begin(self._camera)
            for step in example.steps:
                answer = ask(self._camera, *step)
                self._expect(answer.status == 200, str(example), step, answer.status, answer.body)
            answer = ask(self._camera, "GET", example.request)
            self._note(example.path, answer)
            right = str(answer.status) == example.status and self._is_as_told(example, answer)
            self._expect(right, str(example), answer.status, answer.body)
            if right:
                self.examples.add((example.path, str(example)))

    @staticmethod
    def _is_as_told(example, answer):
        told = example.told
        if "x-body" not in told and "value" not in told:
            return False
        if "x-body" in told and answer.body != told["x-body"].encode():
            return False
        if example.kind != "application/json":
            return True
        if answer.headers["content-type"] != example.kind:
            return False
        expected, found = json.dumps(told["value"]), json.dumps(answer.json())  # the order of members counts, too
        for place in told.get("x-varies", ()):
            expected = expected.replace(_at(told["value"], place), source_revision())
        return found == expected

    def all_statuses(self):
        """What the web server answers in the gateway's place, for each operation. The examples have the others."""
        begin(self._camera)
        for path in (*(path for path, _ in contract.operations()), ""):
            asked = path or "/control/nothing"
            self._note(path, ask(self._camera, "GET", asked, fields=_ELSEWHERE))
            self._note(path, ask(self._camera, "GET", f"{asked}?{'x' * 9000}"))
            for fault in ("crashed", "timeout"):
                _control(self._camera, "POST", "/simulator/faults", {"command": "/*", "fault": fault, "count": 1})
                self._note(path, ask(self._camera, "GET", asked))

    def all_parameters(self):
        for (path, name), (others, (fitting, wrong, too_large)) in _PARAMETERS.items():
            begin(self._camera)
            codes = {value: self._code(f"{path}?{name}={value}{others}") for value in (*fitting, *wrong, *too_large)}
            self._expect([value for value in fitting if codes[value] == -3] == [], path, name, codes)
            self._expect({codes[value] for value in (*wrong, *too_large)} == {-3}, path, name, codes)
            self.parameters.add((path, name))
            for example, value in [told[2:] for told in parameter_examples() if told[:2] == (path, name)]:
                code = self._code(f"{path}?{name}={value}{others}")
                self._expect(code != -3, path, name, example, code)
                self.examples.add((path, f"{path}?{name}= {example}"))
        for number in range(1, 17):
            before = "".join(f"p{each}=zvStream&c{each}=stop&" for each in range(1, number))
            for letter, (query, status) in _COMMANDS.items():
                answer = ask(self._camera, "GET", f"/control/execute?{before}{query.format(number)}&c{number}=stop")
                self._expect(answer.json()["status"] == status, f"{letter}{number}", answer.body)
                self.parameters.add(("/control/execute", f"{letter}{number}"))

    def _code(self, path):
        return ask(self._camera, "GET", path).json().get("zverr", 0)

    def table(self):
        """Lines of a table: for each operation, what is documented and what of it was provoked."""
        lines = [("operation", "parameters", "statuses", "examples")]
        kinds = ((parameters(), self.parameters), (statuses(), self.statuses), (examples(), self.examples))
        for path in (*(path for path, _ in contract.operations()), ""):
            counted = [(len(of), len(of & set(seen))) for of, seen in
                       (({pair for pair in told if pair[0] == path}, seen) for told, seen in kinds)]
            lines.append((path or "(other paths)", *(f"{seen} of {told}" for told, seen in counted)))
        lines.append((f"{len(contract.operations())} operations", *(
            f"{len(set(told) & set(seen))} of {len(set(told))}" for told, seen in kinds)))
        return "".join(f"{name:<46}{one:>12}{two:>12}{three:>12}\n" for name, one, two, three in lines)

    def left_out(self):
        documented = {*parameters(), *statuses(), *examples()}
        return sorted(map(str, documented - self.parameters - self.statuses - self.examples))


def grammars():
    """For each parameter with a grammar here: its path, name, values that pass and values that do not, decoded."""
    for (path, name), (_, (fitting, wrong, _)) in _PARAMETERS.items():
        yield path, name, [_decoded(value) for value in fitting], [_decoded(value) for value in wrong]


def _decoded(text):
    return re.sub("%([0-9A-F]{2})", lambda match: chr(int(match[1], 16)), text)
