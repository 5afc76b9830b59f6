"""Pairing available and pairing phase."""

import time

import house
import pytest

pytestmark = pytest.mark.gateway

AVAILABLE = "/command/ble/pairing_available"
PHASE = "/command/ble/pairing_phase"


@pytest.mark.every_build
def test_available_while_idle(camera):
    house.assert_empty(camera.get(AVAILABLE))


@pytest.mark.every_build
def test_not_available_while_recording(camera):
    camera.tool("set", "recording", "1")
    with camera.new_lines() as lines:
        house.assert_refused(camera.get(AVAILABLE), AVAILABLE, "", -1)
    assert [line.message for line in lines if line.source == "command_ble"] == \
        ["Can't enter pairing phase because recording"]
    camera.tool("set", "recording", "0")
    house.assert_empty(camera.get(AVAILABLE))


def test_recording_state_that_cannot_be_read(camera):
    camera.tool("fail", "recording", "-1")
    with camera.new_errors() as errors:
        house.assert_refused(camera.get(AVAILABLE), AVAILABLE, "", -1)
    assert errors == ["csi_get(CSI_RECORDING) failed"]


def test_pairing_state_that_cannot_be_read(camera):
    camera.tool("fail", "ap_pairing_state", "-17")
    with camera.new_errors() as errors:
        house.assert_refused(camera.get(AVAILABLE), AVAILABLE, "", -1)
    assert errors == ["csi_get(CSI_AP_PAIRING_STATE) failed"]


@pytest.mark.every_build
@pytest.mark.quick
def test_pairing_under_way_and_over(camera):
    house.assert_empty(camera.get(PHASE + "?p=1"))
    with camera.new_lines() as lines:
        house.assert_refused(camera.get(AVAILABLE), AVAILABLE, "", -1)
    assert [(line.level, line.message) for line in lines if line.source == "command_ble"] == \
        [("DEBUG", "Can't enter pairing phase because apPairingState(1)==OP_STARTED")]
    house.assert_empty(camera.get(PHASE + "?p=0"))
    house.assert_empty(camera.get(AVAILABLE))


def test_any_number_but_zero_enters_the_phase(camera):
    for number in ("1", "7", "-1", "5x", "%20%207"):
        house.assert_empty(camera.get(PHASE + "?p=" + number))
        assert camera.get(AVAILABLE).status == 500, number
        house.assert_empty(camera.get(PHASE + "?p=0"))
        assert camera.get(AVAILABLE).status == 200


def test_other_pairing_states_allow_pairing(camera):
    for state in ("2", "3", "-1"):
        camera.tool("set", "ap_pairing_state", state)
        house.assert_empty(camera.get(AVAILABLE))


def test_phase_without_parameter(shared_camera):
    for query in ("", "q=1", "pp=1"):
        with shared_camera.new_errors() as errors:
            house.assert_refused(shared_camera.get(f"{PHASE}?{query}"), PHASE, query, -3)
        assert errors == [f"Failed to parse parameters in {query}"]


@pytest.mark.every_build
def test_phase_with_something_else_than_a_number(shared_camera):
    with shared_camera.new_errors() as errors:
        house.assert_refused(shared_camera.get(PHASE + "?p=x"), PHASE, "p=x", -3)
    assert errors == ["Error parsing parameter for pairing_phase command [x]"]


@pytest.mark.every_build
def test_an_absent_network_daemon_costs_no_time(camera):
    with camera.without("zvNetD"), camera.new_errors() as errors:
        start = time.monotonic()
        house.assert_refused(camera.get(PHASE + "?p=1"), PHASE, "p=1", -1)
        assert time.monotonic() - start < 3.0
        assert camera.reply_queues() == []
    assert errors == ["Failed to create tx queue"]
    house.assert_empty(camera.get(PHASE + "?p=0"))
