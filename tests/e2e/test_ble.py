"""The eleven BLE commands against the simulated radio."""

import json
import time

import house
import pytest

pytestmark = pytest.mark.gateway

BLE = "/command/ble"
QUIET = {"rssi_variation": 0, "found_after_ms": 0}
DEVICES = [
    {"address": "a1b2c3d4e5f6", "address_type": 1, "name": "Remote One", "rssi": -48,
     "uuid16": ["1812", "180f"], **QUIET},
    {"address": "00000000000f", "rssi": -100, **QUIET},
    {"address": "d4e5f6a7b8c9", "address_type": 1, "name": "Wind Mic", "rssi": 4,
     "uuid128": ["7d1f0001-52a0-4c1e-9b1b-2f6a3c5d7e90"], **QUIET},
]
SEEN = [
    b'{"address":"a1b2c3d4e5f6","address_type":1,"rssi":-48,"name":"Remote One","profile_uuid16":["1218","0f18"]}',
    b'{"address":"00000000000f","address_type":0,"rssi":-100,"name":""}',
    b'{"address":"d4e5f6a7b8c9","address_type":1,"rssi":4,"name":"Wind Mic",'
    b'"profile_uuid128":["907e5d3c6a2f1b9b1e4ca05201001f7d"]}',
]
WHITELIST = [{"address": "58a1b2c3d4e5", "name": "Wheel Sensor", "auto_connect": True}, None,
             {"address": "20304050607f", "name": "Old \"Remote\"", "mitm": True}]
KNOWN = [b'{"address":"58a1b2c3d4e5","name":"Wheel Sensor","mitm_paired":0,"auto_connect":1,"connected":0}',
         b'{"address":"20304050607f","name":"Old "Remote"","mitm_paired":1,"auto_connect":0,"connected":0}']


@pytest.fixture
def radio(make_camera, open_path):
    """A function that starts a camera whose radio has these settings."""
    def make(**ble):
        scenario = open_path / "scenario.json"
        scenario.write_text(json.dumps({"ble": ble}))
        return make_camera(scenario=scenario)
    return make


@pytest.fixture
def scenario(make_camera):
    """A function that starts a camera with one of its own scenarios."""
    return lambda name: make_camera(scenario=f"{house.ROOT}/camera/scenarios/{name}.json")


def _list(uri, camera, query=""):
    return camera.get(f"{BLE}/{uri}/list{query}")


def _document(list_id, total, index, count, devices):
    return b'\n{"list_id":%d,"total":%d,"index":%d,"index_count":%d,"device_array":[%s]\n}\n' % \
        (list_id, total, index, count, b",".join(devices))


def _pairing(camera):
    return camera.get(f"{BLE}/pair/status").json()["pairing_status"]


def _wait_for_pairing(camera, status):
    camera.wait_for(lambda: _pairing(camera) == status)


# Configuration and scan


@pytest.mark.every_build
def test_configuration_is_read_and_set(radio):
    camera = radio(auto_connect=1)
    assert camera.get(f"{BLE}/configure").body == b'\n{"auto_connect":1}\n'
    for value, shown in (("0", 0), ("257", 1), ("-1", 255), ("7x", 7)):
        house.assert_empty(camera.get(f"{BLE}/configure?auto_connect={value}"))
        assert camera.get(f"{BLE}/configure").body == b'\n{"auto_connect":%d}\n' % shown
    done = camera.request(f"{BLE}/configure")  # without a query
    assert done.stdout.endswith(b'\r\n\r\n\n{"auto_connect":7}\n')


@pytest.mark.parametrize(("query", "error"), [
    ("foo=1", "Failed to parse parameters in foo=1"),
    ("auto_connect=x", "Error parsing auto_connect parameter [x]"),
    ("auto_connect=", "Error parsing auto_connect parameter []"),
])
def test_configuration_refused(shared_camera, query, error):
    with shared_camera.new_errors() as errors:
        house.assert_refused(shared_camera.get(f"{BLE}/configure?{query}"), f"{BLE}/configure", query, -3)
    assert errors == [error]
    assert shared_camera.asked("config_set") == []


@pytest.mark.every_build
@pytest.mark.quick
def test_scan(radio):
    camera = radio(devices=DEVICES)
    assert _list("scan", camera).body == _document(0, 0, 0, 0, [])
    house.assert_empty(camera.get(f"{BLE}/scan?p=1"))
    assert _list("scan", camera).body == _document(1, 3, 0, 3, SEEN)
    assert _list("scan", camera, "?p=1").body == _document(1, 3, 1, 2, SEEN[1:])
    assert _list("scan", camera, "?p=3").body == _document(1, 3, 3, 0, [])
    house.assert_empty(camera.get(f"{BLE}/scan?p=0"))
    assert _list("scan", camera).body == _document(1, 3, 0, 3, SEEN)  # the list stays after its scan
    house.assert_empty(camera.get(f"{BLE}/scan?p=1"))
    assert _list("scan", camera).json()["list_id"] == 2
    assert camera.asked("scan") == [b"\1\1", b"\1\0", b"\1\1"]


@pytest.mark.parametrize(("query", "error"), [
    ("", "Failed to parse parameters in "), ("q=1", "Failed to parse parameters in q=1"),
    ("p=abc", "Error parsing p parameter [abc]")])
def test_scan_refused(shared_camera, query, error):
    with shared_camera.new_errors() as errors:
        house.assert_refused(shared_camera.get(f"{BLE}/scan?{query}"), f"{BLE}/scan", query, -3)
    assert errors == [error]


@pytest.mark.parametrize("uri", ["scan", "whitelist"])
def test_list_start_that_is_no_number(shared_camera, uri):
    with shared_camera.new_errors() as errors:
        house.assert_refused(_list(uri, shared_camera, "?p=x"), f"{BLE}/{uri}/list", "p=x", -3)
    assert errors == ["Error parsing p parameter [x]"]
    assert shared_camera.asked(f"{uri}_list") == []


@pytest.mark.every_build
def test_list_start_is_one_byte(radio):
    camera = radio(devices=DEVICES, whitelist=WHITELIST)
    camera.get(f"{BLE}/scan?p=1")
    assert _list("scan", camera, "?p=257").body == _document(1, 3, 1, 2, SEEN[1:])
    assert _list("scan", camera, "?p=300").status == 200
    assert camera.asked("scan_list") == [b"\x04\x01\x0f", b"\x04\x2c\x0f"]


def test_scan_list_over_several_pages(radio):
    devices = [{"address": f"{number:012x}", **QUIET} for number in range(1, 41)]
    camera = radio(devices=devices, scan_page=6)
    camera.get(f"{BLE}/scan?p=1")
    document = _list("scan", camera).json()
    assert (document["total"], document["index"], document["index_count"]) == (40, 0, 40)
    assert [device["address"] for device in document["device_array"]] == [device["address"] for device in devices]
    # The program asks for fifteen first, then for as many as are still missing.
    asked = [(request[1], request[2]) for request in camera.asked("scan_list")]
    assert asked == [(0, 15)] + [(start, 40 - start) for start in range(6, 40, 6)]
    page = _list("scan", camera, "?p=12").json()
    assert (page["index"], page["index_count"], len(page["device_array"])) == (12, 6, 6)


def test_results_arrive_over_time(radio):
    camera = radio(devices=[{**DEVICES[0]}, {**DEVICES[1], "found_after_ms": 1500}])
    camera.get(f"{BLE}/scan?p=1")
    assert _list("scan", camera).json()["total"] == 1
    camera.wait_for(lambda: _list("scan", camera).json()["total"] == 2)


def test_scan_list_of_the_default_scenario_is_json(scenario):
    camera = scenario("default")
    camera.get(f"{BLE}/scan?p=1")
    camera.wait_for(lambda: len(_list("scan", camera).json()["device_array"]) >= 6)
    devices = {device["address"]: device for device in _list("scan", camera).json()["device_array"]}
    assert devices["a1b2c3d4e5f6"]["name"] == "Remote One"
    assert devices["a1b2c3d4e5f6"]["profile_uuid16"] == ["1218", "0f18"]
    assert len(devices["7c8d9eaf0b1c"]["profile_uuid128"][0]) == 32


def test_scan_list_that_does_not_fit(scenario):
    camera = scenario("crowded")
    camera.get(f"{BLE}/scan?p=1")
    camera.wait_for(lambda: camera.admin("zvBleD", "ble")["scan"]["found"][39:])
    with camera.new_errors() as errors:
        house.assert_refused(_list("scan", camera), f"{BLE}/scan/list", "", -1)
    assert errors == ["Not enough room in buffer for response\n"]
    assert len(_list("scan", camera, "?p=30").json()["device_array"]) == 10


# Pairing


@pytest.mark.every_build
@pytest.mark.quick
def test_pairing_to_its_end(radio):
    camera = radio(devices=DEVICES, pairing_ms=600)
    assert _pairing(camera) == 0
    house.assert_empty(camera.get(f"{BLE}/pair/start?device=A1B2C3D4E5F6&address_type=1"))
    assert camera.get(f"{BLE}/pair/status").body == b'\n{"pairing_status":1}\n'
    _wait_for_pairing(camera, 2)
    assert camera.asked("pair_start") == [bytes.fromhex("02f6e5d4c3b2a101")]
    device = camera.get(f"{BLE}/whitelist/device?address=a1b2c3d4e5f6").json()["device"]
    assert (device["address"], device["name"]) == ("a1b2c3d4e5f6", "Remote One")


@pytest.mark.every_build
def test_pairing_cancelled(radio):
    camera = radio(devices=DEVICES, pairing_ms=20000)
    camera.get(f"{BLE}/pair/start?device=a1b2c3d4e5f6&address_type=1")
    house.assert_empty(camera.get(f"{BLE}/pair/cancel?device=a1b2c3d4e5f6&address_type=1"))
    assert _pairing(camera) == 4
    with camera.new_errors() as errors:
        house.assert_refused(camera.get(f"{BLE}/pair/cancel?device=a1b2c3d4e5f6"), f"{BLE}/pair/cancel",
                             "device=a1b2c3d4e5f6", -1)
    assert errors == ["ble_pair_cancel device=a1b2c3d4e5f6 command failed"]


def test_pairings_that_fail(scenario):
    camera = scenario("pairing-fails")
    camera.get(f"{BLE}/pair/start?device=a10000000001")
    _wait_for_pairing(camera, 3)
    camera.get(f"{BLE}/pair/start?device=a10000000002")
    with camera.new_errors() as errors:
        query = "device=a10000000004"
        house.assert_refused(camera.get(f"{BLE}/pair/start?{query}"), f"{BLE}/pair/start", query, -1)
    assert errors == ["ble_pair_start device=a10000000004 command failed"]
    _wait_for_pairing(camera, 5)


@pytest.mark.parametrize("verb", ["start", "cancel"])
@pytest.mark.parametrize(("query", "errors"), [
    ("", ["Failed to parse required param device=", "Failed to parse parameters in "]),
    ("address_type=1", ["Failed to parse required param device=", "Failed to parse parameters in address_type=1"]),
    ("device=A1:B2:C3:D4:E5:F6", ["Failed to parse device address from device=A1:B2:C3:D4:E5:F6"]),
    ("device=A1-B2-C3-D4-E5-F6", ["Failed to parse device address from device=A1-B2-C3-D4-E5-F6"]),
    ("device=", ["Failed to parse device address from device="]),
    ("address_type=x&device=A1B2C3D4E5F6", ["Error parsing address_type parameter [x]"]),
])
def test_pairing_refused(shared_camera, verb, query, errors):
    expected = [error for error in errors if verb == "start" or "required param" not in error]
    with shared_camera.new_errors() as said:
        house.assert_refused(shared_camera.get(f"{BLE}/pair/{verb}?{query}"), f"{BLE}/pair/{verb}", query, -3)
    assert said == expected
    assert shared_camera.asked(f"pair_{verb}") == []


# Whitelist


@pytest.mark.every_build
@pytest.mark.quick
def test_whitelist(radio):
    camera = radio(whitelist=WHITELIST)
    assert _list("whitelist", camera).body == _document(2, 2, 0, 2, KNOWN)
    assert _list("whitelist", camera, "?p=0").body == _document(2, 2, 0, 2, KNOWN)
    assert _list("whitelist", camera, "?p=1").body == _document(2, 2, 1, 1, KNOWN[1:])
    assert _list("whitelist", camera, "?p=3").body == _document(2, 3, 3, 0, [])


def test_empty_whitelist(scenario):
    camera = scenario("empty")
    assert _list("whitelist", camera).body == _document(2, 0, 0, 0, [])
    assert camera.asked("whitelist_list") == [b"\x06\x00\xff"]


@pytest.mark.every_build
def test_whitelist_device(radio):
    camera = radio(whitelist=WHITELIST)
    assert camera.get(f"{BLE}/whitelist/device?address=58A1B2C3D4E5").body == b'\n{"device":%s}\n' % KNOWN[0]
    assert camera.get(f"{BLE}/whitelist/device?address=58a1b2c3d4e6").body == b"\n{}\n"
    house.assert_empty(camera.get(f"{BLE}/whitelist/configure?device=58a1b2c3d4e5&remove=1"))
    # The slot still holds the device, but is free.
    assert camera.get(f"{BLE}/whitelist/device?address=58a1b2c3d4e5").body == b"\n{}\n"


@pytest.mark.parametrize(("query", "error"), [
    ("", "Failed to parse required param address="),
    ("device=58a1b2c3d4e5", "Failed to parse required param address="),
    ("address=58:a1", "Failed to parse device address from address=58:a1"),
    ("address=", "Failed to parse device address from address=")])
def test_whitelist_device_refused(shared_camera, query, error):
    uri = f"{BLE}/whitelist/device"
    with shared_camera.new_errors() as errors:
        house.assert_refused(shared_camera.get(f"{uri}?{query}"), uri, query, -3)
    assert errors == [error]


def test_fifty_devices_take_two_requests(scenario):
    camera = scenario("whitelist50")
    with camera.new_errors() as errors:
        house.assert_refused(_list("whitelist", camera), f"{BLE}/whitelist/list", "", -1)
    assert errors == ["Not enough room in buffer for response\n"]
    assert camera.asked("whitelist_list") == [b"\x06\x00\xff", b"\x06\x1e\x14"]


@pytest.mark.every_build
def test_fifty_slots_that_fit(scenario):
    camera = scenario("whitelist50-sparse")
    document = _list("whitelist", camera).json()
    in_use = [number for number in range(1, 51) if number % 3]
    assert [device["name"] for device in document["device_array"]] == [f"Device {number}" for number in in_use]
    assert (document["total"], document["index_count"]) == (len(in_use), len(in_use))
    assert camera.asked("whitelist_list") == [b"\x06\x00\xff", b"\x06\x1e\x14"]


@pytest.mark.every_build
def test_whitelist_configure(radio):
    camera = radio(whitelist=WHITELIST)
    uri = f"{BLE}/whitelist/configure"
    house.assert_empty(camera.get(f"{uri}?device=58a1b2c3d4e5&auto_connect=0"))
    assert camera.get(f"{BLE}/whitelist/device?address=58a1b2c3d4e5").json()["device"]["auto_connect"] == 0
    # auto_connect wins over the removal.
    house.assert_empty(camera.get(f"{uri}?remove=1&auto_connect=1&device=58a1b2c3d4e5"))
    assert camera.get(f"{BLE}/whitelist/device?address=58a1b2c3d4e5").json()["device"]["auto_connect"] == 1
    house.assert_empty(camera.get(f"{uri}?device=58a1b2c3d4e5&remove=1"))
    assert b"58a1b2c3d4e5" not in _list("whitelist", camera).body
    query = "device=58a1b2c3d4e5&remove=1"
    with camera.new_errors() as errors:
        house.assert_refused(camera.get(f"{uri}?{query}"), uri, query, -1)
    assert errors == [f"ble_whitelist_configure {query} command failed"]


@pytest.mark.parametrize(("query", "errors"), [
    ("remove=1", ["Failed to parse parameters in remove=1"]),
    ("device=x", ["Failed to parse device address from device=x"]),
    ("device=58a1b2c3d4e5", ["No parameters specified for command!"]),
    ("device=58a1b2c3d4e5&remove=0", []),
    ("device=58a1b2c3d4e5&remove=2", []),
    ("device=58a1b2c3d4e5&remove=x", ["Invalid parameter to remove= [x]"]),
    ("device=58a1b2c3d4e5&remove=2&auto_connect=1", []),
    ("device=58a1b2c3d4e5&auto_connect=y", ["Invalid parameter to auto_connect= [y]"]),
])
def test_whitelist_configure_refused(shared_camera, query, errors):
    uri = f"{BLE}/whitelist/configure"
    with shared_camera.new_errors() as said:
        house.assert_refused(shared_camera.get(f"{uri}?{query}"), uri, query, -3)
    assert said == errors
    assert shared_camera.asked("whitelist_configure") == []


def test_whitelist_survives_the_daemon(radio):
    camera = radio(whitelist=WHITELIST)
    camera.get(f"{BLE}/whitelist/configure?device=20304050607f&remove=1")
    with camera.without("zvBleD"):
        pass
    document = _list("whitelist", camera).json()
    assert [device["address"] for device in document["device_array"]] == ["58a1b2c3d4e5"]


def test_known_device_connects_by_itself(radio):
    camera = radio(devices=[{**DEVICES[0], "presence": "away"}], connect_ms=100,
                   whitelist=[{"address": "a1b2c3d4e5f6", "name": "Remote One", "auto_connect": True}])

    def connected():
        return camera.get(f"{BLE}/whitelist/device?address=a1b2c3d4e5f6").json()["device"]["connected"]
    assert connected() == 0
    camera.admin("zvBleD", "device_set", device={"address": "a1b2c3d4e5f6", "presence": "present"})
    camera.wait_for(connected)
    camera.admin("zvBleD", "device_set", device={"address": "a1b2c3d4e5f6", "presence": "away"})
    camera.wait_for(lambda: not connected())


def test_thirty_two_whitelist_lists_at_once(scenario):
    camera = scenario("whitelist50-sparse")
    expected = _list("whitelist", camera).body
    answers = house.at_once(32, lambda _: _list("whitelist", camera))
    assert [(answer.status, answer.body) for answer in answers] == [(200, expected)] * 32
    assert camera.reply_queues() == []


# The response buffer has 4096 bytes. One is for the zero behind the text.
@pytest.mark.parametrize("length", [4095, 4096])
@pytest.mark.parametrize(("uri", "setting", "list_id", "form"), [
    ("scan", "devices", 1, b'{"address":"%012x","address_type":0,"rssi":-50,"name":"%s"}'),
    ("whitelist", "whitelist", 2, b'{"address":"%012x","name":"%s","mitm_paired":0,"auto_connect":0,"connected":0}'),
], ids=["scan", "whitelist"])
@pytest.mark.every_build
def test_document_of_4095_characters_is_the_longest(radio, uri, setting, list_id, form, length):
    nameless = _document(list_id, 40, 0, 40, [form % (number, b"") for number in range(40)])
    missing = length - len(nameless)
    names = ["n" * (missing // 40 + (number < missing % 40)) for number in range(40)]
    document = _document(list_id, 40, 0, 40, [form % (number, name.encode()) for number, name in enumerate(names)])
    assert len(document) == length
    entries = [{"address": f"{number:012x}", "name": name} for number, name in enumerate(names)]
    camera = radio(**{setting: [{**entry, "rssi": -50, **QUIET} for entry in entries] if uri == "scan" else entries})
    camera.get(f"{BLE}/scan?p=1")
    with camera.new_errors() as errors:
        answer = _list(uri, camera)
    if length == 4095:
        assert (answer.status, answer.body, errors) == (200, document, [])
    else:
        house.assert_refused(answer, f"{BLE}/{uri}/list", "", -1)
        assert errors == ["Not enough room in buffer for response\n"]


# Faults


@pytest.mark.every_build
def test_list_rebuilt_once_between_its_pages(radio):
    slots = [{"address": f"{number:012x}", "name": "n"} for number in range(1, 6)]
    camera = radio(whitelist=[slots[0], None, *slots[2:]], whitelist_page=3)
    camera.spoil("whitelist_list", "list_id", count=1)
    with camera.new_lines() as lines:
        answer = _list("whitelist", camera)
    assert [line.message for line in lines if line.level == "WARN"] == \
        ["list_id changed on attempt:0 from 2 to 3 while acquiring list. Reacquiring!"]
    # The devices of the first attempt stay. Those of the second follow them without a separator.
    one, three, four, five = (b'{"address":"%012x","name":"n","mitm_paired":0,"auto_connect":0,"connected":0}' % number
                              for number in (1, 3, 4, 5))
    assert answer.body == _document(3, 4, 0, 4, [one, three + one, three, four, five])
    # The second attempt first asks for only as many as were missing, so it needs one page more.
    assert [(request[1], request[2]) for request in camera.asked("whitelist_list")] == \
        [(0, 255), (3, 2), (0, 2), (2, 3)]


def test_list_rebuilt_twice(scenario):
    camera = scenario("whitelist50-sparse")
    camera.spoil("whitelist_list", "list_id", count=2)
    with camera.new_errors() as errors:
        house.assert_refused(_list("whitelist", camera), f"{BLE}/whitelist/list", "", -1)
    assert errors == ["Failed to get continuous list results after 2 attempts."]


def test_scan_list_rebuilt_once_is_whole(radio):
    camera = radio(devices=DEVICES, scan_page=2)
    camera.get(f"{BLE}/scan?p=1")
    camera.spoil("scan_list", "list_id", count=1)
    with camera.new_lines() as lines:
        document = _list("scan", camera).json()
    assert [device["address"] for device in document["device_array"]] == [device["address"] for device in DEVICES]
    assert [line.message for line in lines if line.level == "WARN"] == \
        ["scan_id changed on attempt:0 from 1 to 2 while acquiring list. Reacquiring!"]
    assert [(request[1], request[2]) for request in camera.asked("scan_list")] == [(0, 15), (2, 1), (0, 1), (1, 2)]


@pytest.mark.parametrize(("fault", "parameters", "error"), [
    ("refused", {"status": 9}, None),
    ("category", {"category": 7}, "Message from zvControlD was not CAT_CGI_BP_RSP, actual (7)\n"),
    ("no_response", {}, "Expected a typeRSP element from daemon but got none\n"),
    ("truncated", {"bytes": 9}, "Message from zvControlD was not CAT_CGI_BP_RSP, actual (20)\n"),
    ("garbage", {"bytes": 1500}, "Message from zvControlD was not CAT_CGI_BP_RSP, actual (20)\n"),
])
@pytest.mark.every_build
def test_replies_that_go_wrong(shared_camera, fault, parameters, error):
    shared_camera.spoil("pair_status", fault, count=1, **parameters)
    with shared_camera.new_errors() as errors:
        house.assert_refused(shared_camera.get(f"{BLE}/pair/status"), f"{BLE}/pair/status", "", -1)
    assert errors == ([error] if error else []) + ["ble_pair_status command failed"]
    assert shared_camera.get(f"{BLE}/pair/status").status == 200


@pytest.mark.parametrize(("fault", "parameters", "error"), [
    ("index", {"by": 1}, "Requested data from index:0 got data from :1"),
    ("too_many", {"by": 1}, "Requested 15 entries got 16"),
    ("refused", {}, "Failed to get proper response for scan results: -1"),
])
def test_pages_that_go_wrong(radio, fault, parameters, error):
    camera = radio(devices=DEVICES)
    camera.get(f"{BLE}/scan?p=1")
    camera.spoil("scan_list", fault, count=1, **parameters)
    with camera.new_errors() as errors:
        house.assert_refused(_list("scan", camera), f"{BLE}/scan/list", "", -1)
    assert errors == [error]
    assert _list("scan", camera).status == 200


def test_page_shorter_than_it_says(radio):
    camera = radio(devices=DEVICES)
    camera.get(f"{BLE}/scan?p=1")
    for size, error in ((0, "List response of 0 bytes is shorter than its header"),
                        (3, "List response of 3 bytes is shorter than its header"),
                        (4, "List response of 4 bytes is too short for 3 entries"),
                        (85, "List response of 85 bytes is too short for 3 entries"),
                        (249, "List response of 249 bytes is too short for 3 entries")):
        camera.spoil("scan_list", "short", count=1, bytes=size)
        with camera.new_errors() as errors:
            house.assert_refused(_list("scan", camera), f"{BLE}/scan/list", "", -1)
        assert errors == [error]
    assert _list("scan", camera).body == _document(1, 3, 0, 3, SEEN)


def test_configuration_reply_of_the_wrong_size(shared_camera):
    shared_camera.spoil("config_get", "short", count=1, bytes=0)
    with shared_camera.new_errors() as errors:
        house.assert_refused(shared_camera.get(f"{BLE}/configure"), f"{BLE}/configure", "", -1)
    assert errors == ["Expected 1 bytes of response to command, got 0", "Failed to parse parameters in "]


@pytest.mark.every_build
def test_late_reply_is_waited_for(shared_camera):
    shared_camera.spoil("pair_status", "late", count=1, ms=1500)
    start = time.monotonic()
    assert shared_camera.get(f"{BLE}/pair/status").json() == {"pairing_status": 0}
    assert time.monotonic() - start >= 1.5


@pytest.mark.slow
def test_missing_reply_costs_fifteen_seconds(shared_camera):
    shared_camera.spoil("pair_status", "missing", count=1)
    start = time.monotonic()
    with shared_camera.new_errors() as errors:
        house.assert_refused(shared_camera.get(f"{BLE}/pair/status"), f"{BLE}/pair/status", "", -1)
    assert 15 <= time.monotonic() - start < 25
    assert errors == ["Failed error:Connection timed out, timeout\n",
                      "Message from zvControlD was not CAT_CGI_BP_RSP, actual (20)\n",
                      "ble_pair_status command failed"]
    assert shared_camera.reply_queues() == []
