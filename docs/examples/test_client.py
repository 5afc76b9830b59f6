"""What the client does when all is well, and when it is not. ../ci.md says how to run these tests."""

import time

import pytest
from client import Client, Refused, Unreachable

REMOTE = "a1b2c3d4e5f6"  # of the camera's default scenario: in range, accepts pairings
SCENARIO = {
    "identity": {"ap_ssid": "bench"},
    "ble": {"pairing_ms": 100,
            "devices": [{"address": REMOTE, "address_type": 1, "found_after_ms": 0},
                        {"address": "0c1d2e3f4a5b", "pairing": "failure", "found_after_ms": 0},
                        {"address": "0c1d2e3f4a5c", "pairing": "silent", "found_after_ms": 0}],
            "whitelist": [{"address": "58a1b2c3d4e5", "name": "Wheel Sensor"}, None]}}
pytestmark = pytest.mark.camera(scenario=SCENARIO)


@pytest.fixture
def client(camera):
    return Client(camera.url)


def fault(camera, command, kind, value=None, **more):
    """Spoils replies to a BLE command ("scan"), or answers to a path of HTTP ("/command/ble/scan")."""
    camera.control.fault_add(command=command, fault=kind, **({} if value is None else {"value": value}), **more)


def asked(camera, path):
    """The statuses of the requests for a path, in their order."""
    return [request["status"] for request in camera.requests() if request["uri"].endswith(path)]


# All is well.

def test_knows_the_name(client):
    assert client.name() == "bench"


def test_sees_who_is_paired(client):
    assert client.paired() == ["58a1b2c3d4e5"]


def test_finds_devices(client):
    assert REMOTE in client.around(0.2)


def test_pairs(client):
    assert client.pair(REMOTE, 1)
    assert client.paired() == ["58a1b2c3d4e5", REMOTE]


def test_finds_the_camera_as_it_was(client):
    """The test before this one has paired a device; this one begins anew."""
    assert client.paired() == ["58a1b2c3d4e5"]


def test_forgets(client, camera):
    client.forget("58a1b2c3d4e5")
    assert client.paired() == []
    assert not any(slot["in_use"] for slot in camera.control.ble()["whitelist"]["slots"])


# The camera or the device does not want to.

def test_sees_that_the_camera_records(client, camera):
    assert client.may_pair()
    camera.control.set(item="recording", value="1")
    assert not client.may_pair()


def test_sees_that_the_device_refuses(client):
    assert not client.pair("0c1d2e3f4a5b", 0)


def test_gives_up_a_device_that_is_silent(client, camera):
    assert not client.pair("0c1d2e3f4a5c", 0, patience=0.2)
    assert asked(camera, "/pair/cancel") == [200]


def test_tells_a_wrong_request_from_a_refusal(client):
    with pytest.raises(Refused) as refused:
        client.ask("/command/ble/scan", p="x")
    assert (refused.value.status, refused.value.code) == (500, -3)


# The messages go wrong.

def test_waits_for_a_late_reply(client, camera):
    fault(camera, "pair_status", "late", 300, count=1)
    start = time.monotonic()
    assert client.pair(REMOTE, 1)
    assert time.monotonic() - start >= 0.3


def test_does_not_repeat_what_was_refused(client, camera):
    fault(camera, "whitelist_list", "refused", 3)
    with pytest.raises(Refused) as refused:
        client.paired()
    assert refused.value.code == -1
    assert asked(camera, "/whitelist/list") == [500]


def test_bears_a_refusal_between_two_answers(client, camera):
    fault(camera, "whitelist_list", "garbage", count=1)
    with pytest.raises(Refused):
        client.paired()
    assert client.paired() == ["58a1b2c3d4e5"]


def test_asks_the_radio_once_for_a_pairing(client, camera):
    client.pair(REMOTE, 1)
    requests = [record for record in camera.trace() if record["command"] == "pair_start"
                and (record["daemon"], record["direction"]) == ("zvBleD", "in")]
    assert len(requests) == 1


# The network or the camera's web server goes wrong.

def test_repeats_what_was_cut(client, camera):
    fault(camera, "/command/ble/whitelist/list", "cut", 5, count=1)
    assert client.paired() == ["58a1b2c3d4e5"]
    assert len(asked(camera, "/whitelist/list")) == 2


def test_gives_up_after_three_times(client, camera):
    fault(camera, "/command/ble/whitelist/list", "cut", 5)
    with pytest.raises(Unreachable):
        client.paired()
    assert len(asked(camera, "/whitelist/list")) == 3


def test_sends_a_start_once_only(client, camera):
    fault(camera, "/command/ble/pair/start", "cut", 0)
    with pytest.raises(Unreachable):
        client.pair(REMOTE, 1)
    assert len(asked(camera, "/pair/start")) == 1


def test_bears_a_server_that_says_nothing(client, camera):
    fault(camera, "/command/ble/pair/status", "silent", count=1)
    impatient = Client(camera.url, timeout=0.3)
    assert impatient.ask("/command/ble/pair/status") == {"pairing_status": 0}


def test_bears_a_gateway_that_crashes(client, camera):
    fault(camera, "/command/ble/scan", "crashed", count=1)
    assert client.ask("/command/ble/scan", p=1) == {}
    assert asked(camera, "/command/ble/scan") == [500, 200]


def test_bears_an_overloaded_camera(client, camera):
    fault(camera, "/*", "status", 503, body="<h1>busy</h1>", type="text/html", count=2)
    assert client.may_pair()
