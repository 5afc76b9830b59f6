"""The scenario in use."""

import pytest
from zvcamera import operations
from zvcamera.admin import InvalidRequest


def test_what_is_asked(programs, link):
    programs.serve("supervisor", reset={"ms": 20.4}, scenario={"name": "a.json", "text": "{}\n"},
                   load=lambda scenario, name: {"ms": 20.4})
    assert link.reset() == {"ms": 20.4}
    link.load(scenario={"ble": {}}, name="a.json")
    link.load(scenario={})
    assert link.scenario()["name"] == "a.json"
    assert programs.asked["supervisor"] == [
        {"op": "reset"}, {"op": "load", "scenario": {"ble": {}}, "name": "a.json"},
        {"op": "load", "scenario": {}, "name": "scenario"}, {"op": "scenario"}]


def test_what_people_read():
    assert operations.find("reset").text({"ms": 20.4}) == "done in 20 ms\n"
    assert operations.find("scenario").text({"name": "a.json", "text": "{}\n"}) == "a.json\n{}\n"
    assert operations.find("scenario").text({"name": None, "text": "{}"}) == "none: all defaults\n{}\n"


def test_those_that_come_with_the_camera(link):
    found = {each["name"]: each for each in link.scenario_list()}
    assert sorted(found) == ["crowded", "default", "empty", "faulty", "moving", "pairing-fails", "whitelist50",
                             "whitelist50-sparse"]
    assert found["empty"]["description"] == "Nothing in the air, nothing in the whitelist."
    assert len(found["default"]["scenario"]["ble"]["devices"]) == 7
    assert operations.find("scenario_list").text([found["empty"]]).startswith("empty               Nothing in the air")


def test_a_wrong_scenario_is_invalid(programs, link):
    def refuse(**_):
        raise programs.Refusal("a.json: bel: unknown key", "invalid")

    programs.serve("supervisor", load=refuse)
    with pytest.raises(InvalidRequest, match="^a.json: bel: unknown key$"):
        link.load(scenario={"bel": 1}, name="a.json")
