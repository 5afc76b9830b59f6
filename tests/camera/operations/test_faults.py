"""Rules for what goes wrong, with fake programs."""

import itertools

import pytest
from zvcamera import operations
from zvcamera.admin import InvalidRequest, Unreachable
from zvcamera.operations import faults


class Keeper:
    """Rules as a daemon keeps them."""

    def __init__(self, programs, name):
        self.rules = []
        self._numbers = itertools.count(1)
        programs.serve(name, fault_add=self.add, fault_list=lambda: self.rules, fault_remove=self.remove,
                       fault_clear=self.rules.clear)

    def add(self, command, fault, count, skip, **more):
        self.rules.append({"id": next(self._numbers), "command": command, "fault": fault, "hits": 0, "skip": skip,
                           "left": count or "all", **more})
        return {"id": self.rules[-1]["id"]}

    def remove(self, id):  # noqa: A002
        self.rules[:] = [rule for rule in self.rules if rule["id"] != id]


@pytest.fixture
def keepers(programs):
    return {name: Keeper(programs, name) for name in ("zvBleD", "zvNetD", "supervisor")}


def test_a_rule_goes_to_those_whom_its_command_concerns(link, keepers):
    assert link.fault_add(command="scan", fault="late", value=300, count=2, skip=1) == {"added": ["ble:1"]}
    assert link.fault_add(command="PD", fault="missing") == {"added": ["net:1"]}
    assert link.fault_add(command="*", fault="refused", value="9") == {"added": ["ble:2", "net:2"]}
    assert link.fault_add(command="/*", fault="status", body="x", probability=0.5) == {"added": ["http:1"]}
    assert keepers["zvBleD"].rules[0] == {"id": 1, "command": "scan", "fault": "late", "hits": 0, "skip": 1, "left": 2,
                                          "ms": 300}
    assert keepers["supervisor"].rules[0]["probability"] == 0.5
    assert "probability" not in keepers["zvNetD"].rules[0]


def test_all_rules_are_listed_with_whose_they_are(link, keepers):
    link.fault_add(command="scan_list", fault="late", value="300-400", count=2, skip=1)
    link.fault_add(command="*", fault="refused", value=9)
    link.fault_add(command="/*", fault="status", body="a\nb", probability=0.5)
    link.fault_add(command="scan", fault="reply", value="00ff")
    assert faults._text(link.fault_list()) == (
        "ble:1  scan_list  late  ms=300  max_ms=400  skip 1, left 2, hits 0\n"
        "ble:2  *  refused  status=9  skip 0, left all, hits 0\n"
        "ble:3  scan  reply  hex=00ff  skip 0, left all, hits 0\n"
        "net:1  *  refused  status=9  skip 0, left all, hits 0\n"
        "http:1  /*  status  body=a\\nb  probability=0.5  skip 0, left all, hits 0\n")
    assert [rule["id"] for rule in link.fault_list()] == ["ble:1", "ble:2", "ble:3", "net:1", "http:1"]


def test_rules_are_removed_one_by_one_and_all(link, keepers):
    link.fault_add(command="*", fault="missing")
    link.fault_add(command="/*", fault="silent")
    link.fault_remove(id="net:1")
    link.fault_remove(id="http:1")
    assert [len(keeper.rules) for keeper in keepers.values()] == [1, 0, 0]
    link.fault_clear()
    assert [len(keeper.rules) for keeper in keepers.values()] == [0, 0, 0]


@pytest.mark.parametrize("rule", ["9", "ble", "ble:", "ble:x", "ble:-1", "ble:٣", "zvBleD:1", "ble:" + "9" * 5000])
def test_a_rules_id_is_as_listed(link, rule):
    with pytest.raises(InvalidRequest, match='^a rule\'s id is that of "zvcam fault list", such as ble:1$'):
        link.fault_remove(id=rule)


def test_what_only_one_fault_takes_is_refused_elsewhere(link):
    for given in ({"command": "/*", "fault": "silent"}, {"command": "scan", "fault": "refused"}):
        with pytest.raises(InvalidRequest, match="^body: only the fault status of HTTP takes it$"):
            link.fault_add(**given, body="x")


def test_those_that_run_are_reached_and_others_named(programs, link):
    keeper = Keeper(programs, "zvBleD")
    assert link.fault_add(command="*", fault="late") == {"added": ["ble:1"]}
    assert [text.split()[0] for text in link.missing] == ["zvNetD"]
    link.missing.clear()
    assert [rule["id"] for rule in link.fault_list()] == ["ble:1"]
    assert [text.split()[0] for text in link.missing] == ["zvNetD", "supervisor"]
    link.fault_clear()
    assert keeper.rules == []
    with pytest.raises(Unreachable, match="^zvNetD does not run"):
        link.fault_add(command="PD", fault="late")  # its only keeper


def test_the_kinds_that_rules_can_name(link):
    kinds = link.fault_kinds()
    assert sorted(kinds) == ["http", "messages"]
    assert kinds["messages"]["commands"][0] == "scan" and kinds["http"]["commands"][0] == "/*"
    assert kinds["http"]["faults"][4] == {
        "name": "cut", "key": "bytes", "value": "BYTES",
        "meaning": "the first bytes of the body, half of it, then the connection is closed"}
    assert operations.find("fault_kinds").text(kinds).startswith("late MS or MS-MS      the reply after this time")
