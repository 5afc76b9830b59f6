"""What is wrong with a disturbed request is found, and what is allowed is not."""

import base64
import copy

import disturbances
import pytest

RIGHT = b"Status: 200 OK\r\nContent-Type: application/json\r\n\r\n{}"
FAILURE = b'Status: 500 Internal Server Error\r\n\r\n{"status":"/x","zverr":-1,"_function":"main","_line":150}'
ASKED = ["zvBleD", "in", "", "0102"]
NOTHING = {"processes": [], "queues": [], "files": []}


def _encoded(output):
    return base64.b64encode(output).decode()


REFERENCE = {"status": 0, "stdout": _encoded(RIGHT), "effect": None, "messages": [ASKED], "left": NOTHING}


def _wrongs(*, call="poll", signal=None, loading=False, following=None, **result):
    case = {"call": call, "loading": loading, **({"signal": signal} if signal else {})}
    if "output" in result:
        result["stdout"] = _encoded(result.pop("output"))
    answer = copy.deepcopy({**REFERENCE, "hung": False, "seconds": 0.1, **result})
    answer["next"] = {**REFERENCE, **(following or {})}
    return disturbances.wrongs(case, answer, REFERENCE)


@pytest.mark.parametrize("given", [
    {},
    {"output": FAILURE, "status": 255, "messages": []},
    {"call": "mmap", "output": b"", "status": 254, "messages": []},
    {"call": "write", "output": RIGHT[:20]},
    {"signal": 15, "output": b"", "status": -15, "messages": []},
    {"signal": 9, "output": b"", "status": -9, "left": {**NOTHING, "queues": ["to_ZVCC7"]}},
    {"call": "mmap", "loading": True, "output": b"", "status": -11},
])
def test_allowed(given):
    assert _wrongs(**given) == []


@pytest.mark.parametrize(("given", "wrong"), [
    ({"hung": True}, "did not end"),
    ({"output": b"", "call": "mmap", "status": -11}, "ended by signal 11"),
    ({"signal": 15, "status": -11}, "ended by signal 11"),
    ({"messages": []}, "the daemon was not asked"),
    ({"effect": False}, "it is not"),
    ({"output": b"", "call": "close"}, "no answer"),
    ({"output": RIGHT[:20]}, "not the right answer"),
    ({"output": RIGHT.replace(b"{}", b'{"pairing_status":2}')}, "not the right answer"),
    ({"output": RIGHT + FAILURE}, "not the right answer"),
    ({"call": "write", "output": RIGHT[20:]}, "not the right answer"),
    ({"signal": 15, "status": -15, "left": {**NOTHING, "queues": ["to_ZVCC7"]}}, "left queues"),
    ({"signal": 9, "status": -9, "left": {**NOTHING, "files": ["/tmp/x"]}}, "left files"),
    ({"left": {**NOTHING, "processes": ["sh"]}}, "left processes"),
    ({"following": {"status": 255}}, "the next request is wrong: status"),
    ({"following": {"left": {**NOTHING, "queues": ["to_ZVCC8"]}}}, "the next request left queues"),
])
def test_found(given, wrong):
    found = _wrongs(**given)
    assert len(found) == 1 and wrong in found[0], found


def test_a_call_that_nobody_has_listed_is_failed():
    calls = disturbances.Calls("execve(1) = 0\nbrand_new_call(3) = 0\nexit_group(0) = ?\n")
    rules = [case["rule"] for case in disturbances.failing_calls(calls, with_loader=False)]
    assert rules == [f"brand_new_call:error={error}:when=1{ever}" for error in ("ENOSYS", "EPERM", "ENOMEM")
                     for ever in ("", "+")]


@pytest.mark.parametrize("log", [
    'execve(1)\nopenat("/etc/ld.so.cache")\nmprotect(1)\nmunmap(1)\nmunmap(2)\npoll(3)\n',
    "execve(1)\nmunmap(1)\nbrk(2)\nmprotect(1)\nmunmap(2)\npoll(3)\n",
])
def test_where_the_loader_ends(log):
    assert disturbances.Calls(log).chosen(with_loader=False) == [("munmap", 2, False), ("poll", 1, False)]
