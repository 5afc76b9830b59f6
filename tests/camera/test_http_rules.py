"""Rules for answers that go wrong."""

import pytest
from zvcamera.admin import AdminError, InvalidRequest
from zvcamera.http_rules import KINDS, Rules, read_rule, read_rules


def _rules(*given, seed=1):
    rules = Rules(seed)
    for number, rule in enumerate(given, 1):
        rules.add(number, read_rule({"command": "/*", "fault": "status", **rule}))
    return rules


def _hits(rules, path, times=1):
    return [[rule["fault"] for rule, _ in rules.plan(path)] for _ in range(times)]


@pytest.mark.parametrize(("rule", "error"), [
    ({}, "command: must be a path that begins with /"),
    ({"command": "scan"}, "command: must be a path that begins with /"),
    ({"command": 1}, "command: must be a path that begins with /"),
    ({"command": "/x"}, "fault: missing"),
    ({"command": "/x", "fault": "missing"},
     "fault: no such fault of HTTP: missing; known: refused, silent, crashed, timeout, cut, slow, late, status"),
    ({"command": "/x", "fault": "silent", "ms": 1}, "ms: unknown key"),
    ({"command": "/x", "fault": "late", "ms": "1"}, "ms: must be a whole number from 0 to 600000"),
    ({"command": "/x", "fault": "late", "ms": True}, "ms: must be a whole number from 0 to 600000"),
    ({"command": "/x", "fault": "late", "ms": 10, "max_ms": 9}, "max_ms: must be a whole number from 10 to 600000"),
    ({"command": "/x", "fault": "status", "status": 199}, "status: must be a whole number from 200 to 599"),
    ({"command": "/x", "fault": "status", "body": 1}, "body: must be a text of at most 60000 bytes"),
    ({"command": "/x", "fault": "status", "body": "ä" * 30001}, "body: must be a text of at most 60000 bytes"),
    ({"command": "/x", "fault": "status", "type": "a\r\nX: y"},
     "type: must be a text of at most 200 characters that print"),
    ({"command": "/x", "fault": "cut", "bytes": -1}, f"bytes: must be a whole number from 0 to {1 << 40}"),
    ({"command": "/x", "fault": "slow", "bytes_per_second": 0},
     f"bytes_per_second: must be a whole number from 1 to {1 << 30}"),
    ({"command": "/x", "fault": "silent", "probability": 1.5}, "probability: must be a number from 0 to 1"),
    ({"command": "/x", "fault": "silent", "count": -1}, "count: must be a whole number from 0 to 1000000"),
    ({"command": "/x", "fault": "refused"}, "command: refused is for /* alone: a connection has no path yet"),
    ({"command": "/*", "fault": "refused", "count": 1},
     "count: refused takes none: nobody can count refused connections"),
])
def test_a_wrong_rule_is_named(rule, error):
    with pytest.raises(InvalidRequest) as caught:
        read_rule(rule)
    assert str(caught.value) == error


def test_a_scenarios_rule_is_named_by_its_place():
    rules = [{"command": "scan", "fault": "late"}, {"command": "/x", "fault": "status", "status": 1}]
    with pytest.raises(InvalidRequest, match=r"^faults\[1\]\.status: must be"):
        read_rules(rules)
    assert read_rules(rules[:1]) == []


def test_values_that_are_not_given():
    assert read_rule({"command": "/x", "fault": "status"}) == {
        "command": "/x", "fault": "status", "status": 503, "body": "", "type": "text/plain", "count": 0, "skip": 0,
        "probability": 1}
    assert {fault: sorted(keys) for fault, keys in KINDS.items()} == {
        "refused": [], "silent": [], "crashed": [], "timeout": [], "cut": ["bytes"], "slow": ["bytes_per_second"],
        "late": ["max_ms", "ms"], "status": ["body", "status", "type"]}


@pytest.mark.parametrize(("command", "right", "wrong"), [
    ("/command/ble/scan", ["/command/ble/scan", "/command/ble/sc%61n"], ["/command/ble/scan/list", "", "/command"]),
    ("/command/*", ["/command/ble/scan", "/command/", "/command"], ["/commands", "/", ""]),
    ("/*", ["", "/", "/x"], []),
    ("/", ["", "/"], ["/x"]),
    ("/a*", ["/a", "/abc/d"], ["/b", ""]),
])
def test_paths_that_a_rule_is_for(command, right, wrong):
    rules = _rules({"command": command})
    assert [_hits(rules, path) for path in right] == [[["status"]]] * len(right)
    assert [_hits(rules, path) for path in wrong] == [[[]]] * len(wrong)


def test_a_rule_lets_pass_hits_and_is_gone():
    rules = _rules({"skip": 2, "count": 2})
    assert _hits(rules, "/x", 3) == [[], [], ["status"]]
    assert rules.tell() == [{"id": 1, "command": "/*", "fault": "status", "hits": 1, "skip": 0, "left": 1,
                             "status": 503, "body": "", "type": "text/plain"}]
    assert _hits(rules, "/x", 2) == [["status"], []]
    assert not rules


def test_several_rules_hit_one_answer_in_their_order():
    assert _hits(_rules({"fault": "late"}, {"fault": "cut"}, {"command": "/y"}), "/x") == [["late", "cut"]]


def test_the_same_seed_draws_the_same():
    def drawn(seed, probability):
        return [bool(hit) for hit in _hits(_rules({"probability": probability}, seed=seed), "/x", 400)]

    assert drawn(1, 0.5) == drawn(1, 0.5) != drawn(2, 0.5)
    assert 150 < sum(drawn(1, 0.5)) < 250
    assert sum(drawn(1, 0)) == 0
    assert sum(drawn(1, 1)) == 400


def test_late_between_two_times():
    rules = _rules({"fault": "late", "ms": 10, "max_ms": 12})
    assert {rules.plan("/x")[0][1] for _ in range(100)} == {0.010, 0.011, 0.012}
    assert rules.tell()[0]["max_ms"] == 12
    assert "max_ms" not in _rules({"fault": "late"}).tell()[0]


def test_the_number_of_rules_is_bounded():
    rules = _rules(*[{}] * 256)
    with pytest.raises(AdminError, match="^too many fault rules$"):
        rules.add(257, read_rule({"command": "/x", "fault": "silent"}))
    assert rules.remove(3) and not rules.remove(3)
    rules.clear()
    assert rules.tell() == []
