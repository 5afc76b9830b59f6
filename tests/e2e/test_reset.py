"""Back to the scenario, and on to another one, while the camera runs."""

import json
import os
import statistics

import house
import pytest
from zvcamera.admin import AdminError, InvalidRequest

BLE = "/command/ble"
DEVICE = "a1b2c3d4e5f6"


@pytest.fixture(scope="module")
def lively(make_module_camera):
    return make_module_camera(scenario=os.path.join(house.ROOT, "camera", "scenarios", "default.json"))


def _reset(camera):
    return camera.admin("supervisor", "reset")["ms"]


def _snapshot(camera):
    """All that a camera is, without what time changes."""
    radio = camera.admin("zvBleD", "ble")
    del radio["now_ms"]
    for device in radio["devices"]:
        del device["rssi_now"], device["in_range"]
    for slot in radio["whitelist"]["slots"]:
        slot.pop("connected")
    state = camera.admin("zvControlD", "show")
    state["analytics"].pop("size")
    return {"radio": radio, "state": state,
            "faults": [camera.admin(program, "fault_list") for program in ("zvNetD", "zvBleD", "supervisor")],
            "trace": [camera.admin(program, "trace") for program in ("zvNetD", "zvBleD")],
            "requests": camera.admin("supervisor", "requests")["requests"],
            "streaming": camera.admin("supervisor", "stream"),
            "programs": [child["state"] for child in camera.admin("supervisor", "status").values()]}


def _change_everything(camera):
    camera.get(f"{BLE}/scan?p=1")
    camera.get(f"{BLE}/configure?auto_connect=0")
    camera.get(f"{BLE}/whitelist/configure?device=58a1b2c3d4e5&remove=1")
    camera.get("/execute?p1=zvStream&c1=start&a1=-x")
    camera.admin("zvBleD", "device_remove", address=DEVICE)
    camera.admin("zvControlD", "set", item="recording", value=1)
    camera.admin("zvControlD", "fail", item="model_name", code=-1)
    camera.admin("zvControlD", "analytics", action="on_clear", what="keep")
    camera.admin("zvControlD", "analytics", action="append", records=5)
    camera.spoil("scan", "missing")
    camera.spoil("PD", "missing", daemon="zvNetD")
    camera.admin("supervisor", "fault_add", command="/*", fault="status")


@pytest.mark.quick
def test_everything_is_as_it_was_at_first(lively):
    _reset(lively)
    first = _snapshot(lively)
    assert first["radio"]["devices"] != [] and first["radio"]["whitelist"]["slots"] != []
    _change_everything(lively)
    for program, op in (("zvNetD", "term"), ("zvBleD", "stop"), ("lighttpd", "kill")):
        lively.program(program, op)
    _reset(lively)
    assert _snapshot(lively) == first
    assert lively.reply_queues() == []
    assert lively.get(f"{BLE}/pairing_available").status == 200


def test_the_storage_is_as_if_it_had_never_been_used(make_camera, open_path):
    camera = make_camera(storage=open_path, scenario=os.path.join(house.ROOT, "camera/scenarios/default.json"))
    (open_path / "mine").write_text("stays")
    _change_everything(camera)
    camera.wait_for((open_path / "zvStream.log").exists)
    assert (open_path / "MISC/ble_whitelist.json").exists()
    _reset(camera)
    assert not (open_path / "MISC/ble_whitelist.json").exists()
    assert not (open_path / "zvStream.log").exists()
    assert (open_path / "mine").read_text() == "stays"


def test_it_is_quick(lively, sanitized):
    times = []
    for _ in range(7):
        lively.get(f"{BLE}/scan?p=1")
        times.append(_reset(lively))
    assert statistics.median(times) < (5000 if sanitized else 200), times


def test_requests_under_way_end_and_leave_nothing(lively):
    lively.spoil("pair_status", "missing")

    def ask(number):
        if number == 0:
            lively.wait_for(lambda: len(lively.reply_queues()) == 4)
            _reset(lively)
            return None
        return lively.get(f"{BLE}/pair/status").status

    assert house.at_once(5, ask)[1:] == [500] * 4
    assert lively.reply_queues() == []
    lively.wait_for(lambda: lively.get(f"{BLE}/pair/status").status == 200)
    assert {request["status"] for request in lively.admin("supervisor", "requests")["requests"]} == {200}


@pytest.mark.off_contract("a rule answers whatever it is told to")
def test_another_scenario(lively):
    lively.spoil("scan", "missing")
    lively.admin("supervisor", "load", name="mine.json", scenario={
        "identity": {"ap_ssid": "other"}, "ble": {"seed": 3}, "faults": [
            {"command": "pair_status", "fault": "refused", "status": 3},
            {"command": f"{BLE}/configure", "fault": "status", "status": 503, "body": "busy"}]})
    assert json.loads(lively.admin("supervisor", "scenario")["text"])["identity"] == {"ap_ssid": "other"}
    assert lively.admin("supervisor", "scenario")["name"] == "mine.json"
    for _ in range(2):
        assert lively.admin("zvControlD", "show", item="ap_ssid") == "other"
        assert lively.admin("zvBleD", "ble")["devices"] == []
        assert [rule["fault"] for rule in lively.admin("zvBleD", "fault_list")] == ["refused"]
        assert [(rule["id"], rule["fault"]) for rule in lively.admin("supervisor", "fault_list")] == [(1, "status")]
        answer = lively.get(f"{BLE}/configure")
        assert (answer.status, answer.body) == (503, b"busy")
        _reset(lively)
    lively.admin("supervisor", "load", scenario={})
    assert lively.get(f"{BLE}/configure").status == 200
    assert lively.admin("supervisor", "scenario") == {"name": "scenario", "text": "{}"}


@pytest.mark.parametrize(("scenario", "error"), [
    ({"identity": {"model_number": 999}}, "identity.model_number: must be a whole number from 0 to 255"),
    ({"analytics": {"size": -1}}, "analytics.size: must be a whole number from 0 to 1099511627776"),
    ({"ble": {"devices": [{"address": "a1b2"}]}},
     "ble.devices[0].address: an address has twelve hexadecimal digits: a1b2"),
    ({"faults": [{"command": "scan", "fault": "late", "ms": -1}]},
     "faults[0].ms: must be a whole number from 0 to 600000"),
    ({"faults": [{"command": "PD", "fault": "late", "probability": 2}]},
     "faults[0].probability: must be a number from 0 to 1"),
    ({"faults": [{"command": "/x", "fault": "scan"}]}, "faults[0].fault: no such fault of HTTP: scan; "
     "known: refused, silent, crashed, timeout, cut, slow, late, status"),
    ({"bel": {}}, "bel: unknown key"),
])
def test_a_wrong_scenario_changes_nothing(lively, scenario, error):
    lively.admin("zvControlD", "set", item="recording", value=1)
    before = lively.admin("supervisor", "status"), lively.admin("supervisor", "scenario")
    with pytest.raises(InvalidRequest) as caught:
        lively.admin("supervisor", "load", scenario=scenario, name="mine.json")
    assert str(caught.value) == f"mine.json: {error}"
    assert (lively.admin("supervisor", "status"), lively.admin("supervisor", "scenario")) == before
    assert lively.admin("zvControlD", "show", item="recording") == 1


def test_the_scenario_of_the_start_is_kept_whatever_becomes_of_its_file(make_camera, open_path):
    path = open_path / "mine.json"
    path.write_text('{"identity": {"ap_ssid": "first"}}')
    camera = make_camera(scenario=str(path))
    path.write_text("{")
    _reset(camera)
    assert camera.admin("zvControlD", "show", item="ap_ssid") == "first"
    assert camera.admin("supervisor", "scenario") == {"name": str(path), "text": '{"identity": {"ap_ssid": "first"}}'}


def test_resets_at_once(lively):
    assert all(ms > 0 for ms in house.at_once(4, lambda _: _reset(lively)))
    assert lively.get(f"{BLE}/pairing_available").status == 200
    with pytest.raises(AdminError):
        lively.admin("supervisor", "reset", more=1)
