"""What each operation asks of which program: its requests, with fake programs."""

import itertools
import os

import pytest
from zvcamera.admin import AdminError, InvalidRequest, Unreachable

ADDRESS = "112233445566"
RADIO = {"devices": [{"address": ADDRESS}], "scan": {"running": False}, "pairing": {"status": 0},
         "whitelist": {"slots": [{"address": ADDRESS, "in_use": True}]}}

# Operation, its parameters, the program, and the request that it gets.
ASKS = [
    ("show", {}, "zvControlD", {"op": "show"}),
    ("show", {"item": "recording"}, "zvControlD", {"op": "show", "item": "recording"}),
    ("set", {"item": "recording", "value": "1"}, "zvControlD", {"op": "set", "item": "recording", "value": "1"}),
    ("fail", {"item": "ap_mac", "code": -7}, "zvControlD", {"op": "fail", "item": "ap_mac", "code": -7}),
    ("fail", {"item": "analytics_get", "code": "-7"}, "zvControlD",
     {"op": "fail", "item": "analytics_get", "code": -7}),
    ("fail", {"item": "ap_mac", "code": "ZV_ERR_NAK"}, "zvControlD", {"op": "fail", "item": "ap_mac", "code": -17}),
    ("unfail", {"item": "all"}, "zvControlD", {"op": "unfail", "item": "all"}),
    ("analytics_on", {}, "zvControlD", {"op": "analytics", "action": "on"}),
    ("analytics_on", {"interval_ms": 10}, "zvControlD", {"op": "analytics", "action": "on", "interval_ms": 10}),
    ("analytics_off", {}, "zvControlD", {"op": "analytics", "action": "off"}),
    ("analytics_size", {"bytes": 5}, "zvControlD", {"op": "analytics", "action": "size", "size": 5}),
    ("analytics_limit", {"bytes": 5}, "zvControlD", {"op": "analytics", "action": "limit", "limit": 5}),
    ("analytics_append", {}, "zvControlD", {"op": "analytics", "action": "append", "records": 1}),
    ("analytics_append", {"records": 3}, "zvControlD", {"op": "analytics", "action": "append", "records": 3}),
    ("analytics_append", {"hex": "00ff"}, "zvControlD", {"op": "analytics", "action": "append", "hex": "00ff"}),
    ("analytics_clear", {}, "zvControlD", {"op": "analytics", "action": "clear"}),
    ("analytics_on_clear", {"what": "keep"}, "zvControlD", {"op": "analytics", "action": "on_clear", "what": "keep"}),
    ("analytics_path", {}, "zvControlD", {"op": "analytics", "action": "status"}),
    ("analytics_path", {"path": "/x"}, "zvControlD", {"op": "analytics", "action": "path", "path": "/x"}),
    ("analytics_path", {"own": True}, "zvControlD", {"op": "analytics", "action": "path", "path": ""}),
    ("ble", {}, "zvBleD", {"op": "ble"}),
    ("ble_set", {"settings": {"seed": 2}}, "zvBleD", {"op": "ble_set", "settings": {"seed": 2}}),
    ("ble_device_set", {"address": ADDRESS, "device": {"rssi": -40}}, "zvBleD",
     {"op": "device_set", "device": {"rssi": -40, "address": ADDRESS}}),
    ("ble_device_set", {"address": ADDRESS}, "zvBleD", {"op": "device_set", "device": {"address": ADDRESS}}),
    ("ble_device_remove", {"address": ADDRESS}, "zvBleD", {"op": "device_remove", "address": ADDRESS}),
    ("ble_whitelist_set", {"address": ADDRESS, "slot": {"mitm": True}}, "zvBleD",
     {"op": "whitelist_set", "slot": {"mitm": True, "address": ADDRESS}}),
    ("ble_whitelist_remove", {"address": ADDRESS}, "zvBleD", {"op": "whitelist_remove", "address": ADDRESS}),
    ("ble_whitelist_clear", {}, "zvBleD", {"op": "whitelist_clear"}),
    ("ble_whitelist_reset", {}, "zvBleD", {"op": "whitelist_reset"}),
    ("ble_rebuild", {"list": "scan"}, "zvBleD", {"op": "rebuild", "list": "scan"}),
    ("ble_rebuild", {"list": "whitelist", "id": 0}, "zvBleD", {"op": "rebuild", "list": "whitelist", "id": 0}),
    ("ble_connect", {"address": ADDRESS}, "zvBleD", {"op": "connection", "address": ADDRESS, "connected": True}),
    ("ble_disconnect", {"address": ADDRESS}, "zvBleD", {"op": "connection", "address": ADDRESS, "connected": False}),
    ("ble_scan_start", {}, "zvBleD", {"op": "scan", "mode": 1}),
    ("ble_scan_start", {"mode": 255}, "zvBleD", {"op": "scan", "mode": 255}),
    ("ble_scan_stop", {}, "zvBleD", {"op": "scan", "mode": 0}),
    ("ble_pairing_start", {"address": ADDRESS}, "zvBleD",
     {"op": "pairing_start", "address": ADDRESS, "address_type": 0}),
    ("ble_pairing_start", {"address": ADDRESS, "type": 1}, "zvBleD",
     {"op": "pairing_start", "address": ADDRESS, "address_type": 1}),
    ("ble_pairing_end", {"outcome": "timeout"}, "zvBleD", {"op": "pairing_end", "outcome": "timeout"}),
    ("ble_pairing_status", {"status": 77}, "zvBleD", {"op": "pairing_status", "status": 77}),
    ("ble_pairing_status", {"own": True}, "zvBleD", {"op": "pairing_status", "status": None}),
    ("daemon_status", {}, "supervisor", {"op": "status"}),
    *((f"daemon_{op}", {"name": "zvNetD"}, "supervisor", {"op": op, "daemon": "zvNetD"})
      for op in ("stop", "cont", "kill", "term", "start")),
    ("stream", {}, "supervisor", {"op": "stream"}),
    ("stream_start", {"arguments": ["-x", ""]}, "supervisor", {"op": "stream_start", "arguments": ["-x", ""]}),
    ("stream_stop", {}, "supervisor", {"op": "stream_stop"}),
]


@pytest.fixture
def serving(programs):
    """All programs; each tells where it keeps nothing."""
    controls = ("show", "set", "fail", "unfail")
    programs.serve("zvControlD", **{op: lambda **_: {} for op in controls}, analytics=lambda **_: {"path": "/own"})
    changes = ("ble_set", "device_set", "device_remove", "whitelist_set", "whitelist_remove", "whitelist_clear",
               "whitelist_reset", "rebuild", "connection", "scan", "pairing_start", "pairing_end", "pairing_status")
    programs.serve("zvBleD", ble=RADIO, **{op: lambda **_: None for op in changes})
    ops = ("status", "stop", "cont", "kill", "term", "start", "stream", "stream_start", "stream_stop")
    programs.serve("supervisor", **{op: lambda **_: "done" for op in ops})
    return programs


@pytest.mark.parametrize("name, given, program, request_", ASKS)
def test_asks_its_program(serving, link, name, given, program, request_):
    getattr(link, name)(**given)
    assert serving.asked[program] == [request_]


def test_results_are_named(serving, link):
    assert link.set(item="recording", value="1") == {"recording": {}}
    assert link.fail(item="ap_mac", code=-1) == {"failures": {}}
    assert link.daemon_stop(name="zvNetD") == {"zvNetD": "done"}
    assert link.analytics_path() == "/own"
    assert link.ble_device() == RADIO["devices"]
    assert link.ble_scan() == RADIO["scan"]
    assert link.ble_pairing() == RADIO["pairing"]
    assert link.ble_whitelist() == RADIO["whitelist"]
    assert link.ble_scan_stop() is None


@pytest.mark.parametrize("name, given, problem", [
    ("fail", {"item": "ap_mac", "code": 0}, "code: must be a negative number or the name of a result code, not 0"),
    *(("fail", {"item": "ap_mac", "code": code},
       f"code: must be a negative number or the name of a result code, not {code}")
      for code in ("0", "1", "x", "99999999999", "-99999999999", "-1x")),
    ("fail", {"item": "ap_mac", "code": "ZV_ERR_NACK"},
     "code: must be a negative number or the name of a result code, not ZV_ERR_NACK: did you mean ZV_ERR_NAK?"),
    ("fail", {"item": "ap_mac", "code": "ZV_OK1"},
     "code: must be a negative number or the name of a result code, not ZV_OK1"),
    ("fail", {"item": "colour", "code": -1}, "unknown item colour: must be one of recording, "),
    ("unfail", {"item": "al"}, "unknown item al: did you mean all?"),
    ("set", {"item": "colour", "value": "red"}, "unknown item colour: must be one of recording, "),
    ("analytics_size", {"bytes": -1}, "bytes: must be a whole number from 0 to 1099511627776, not -1"),
    ("analytics_append", {"records": 2, "hex": "00"}, "records and hex exclude each other"),
    ("analytics_path", {"path": "/x", "own": True}, "path and own exclude each other"),
    ("analytics_on_clear", {"what": "burn"}, "unknown what burn: must be one of empty, remove, keep"),
    ("ble_rebuild", {"list": "other"}, "unknown list other: must be one of scan, whitelist"),
    ("ble_scan_start", {"mode": 0}, "mode: must be a whole number from 1 to 255, not 0"),
    ("ble_pairing_status", {}, "either a status is needed or own"),
    ("ble_pairing_status", {"status": 256}, "status: must be a whole number from 0 to 255, not 256"),
    ("ble_pairing_status", {"status": 7, "own": True}, "either a status is needed or own"),
    ("ble_set", {"settings": {"foo": 1}}, "settings.foo: unknown key: must be one of auto_connect, "),
    ("ble_device_set", {"address": ADDRESS, "device": {"rsi": 1}}, "device.rsi: unknown key: did you mean rssi?"),
    ("stream_start", {"arguments": "x"}, 'arguments: must be a list of texts, not "x"'),
])
def test_what_is_wrong_is_said_before_anybody_is_asked(serving, link, name, given, problem):
    with pytest.raises(InvalidRequest) as caught:
        getattr(link, name)(**given)
    assert str(caught.value).startswith(problem)
    assert all(requests == [] for requests in serving.asked.values())


def test_an_unknown_daemon_is_named_with_the_nearest(programs, link):
    def stop(daemon):
        raise programs.Refusal(f"{daemon}: not here" if daemon == "zvNet" else f"{daemon} is not running")
    programs.serve("supervisor", stop=stop, status={"zvNetD": {}, "zvBleD": {}})
    with pytest.raises(InvalidRequest, match="^unknown daemon zvNet: did you mean zvNetD?"):
        link.daemon_stop(name="zvNet")
    with pytest.raises(AdminError, match="^zvNetD is not running$"):
        link.daemon_stop(name="zvNetD")


def test_queues_are_counted(programs, link):
    programs.serve("zvNetD", queue={"answered": 1}, backlog=5)
    programs.serve("zvBleD", queue={"answered": 2})
    assert link.queue() == {"zvNetD": {"answered": 1, "backlog": 5}, "zvBleD": {"answered": 2}}


def test_the_log_is_followed(programs, link):
    kept, later = [{"source": name, "text": "1"} for name in "ab"], [{"source": name, "text": "2"} for name in "ab"]
    programs.serve("supervisor", log_follow=lambda since: {"records": kept[since:], "next": 2}, events=later)
    for given, texts in (({}, ["a1", "b1", "a2"]), ({"since": 1}, ["b1", "a2"]), ({"program": "b"}, ["b1", "b2"]),
                         ({"lines": 1}, ["b1", "a2", "b2"]), ({"lines": 0, "program": "a"}, ["a2"])):
        followed = link.log_follow(**given)
        assert [each["source"] + each["text"] for each in itertools.islice(followed, len(texts))] == texts
    with pytest.raises(Unreachable, match="^supervisor does not run"):
        programs.close()
        os.remove(os.path.join(programs.run_dir, "supervisor.admin"))
        next(link.log_follow())


def test_the_log_is_chosen_from(programs, link):
    records = [{"source": "a", "text": "1"}, {"source": "b", "text": "2"}, {"source": "a", "text": "3"}]
    programs.serve("supervisor", log=lambda since: {"records": records[since:], "next": 3})
    texts = [[each["text"] for each in link.log(**given)["records"]] for given in (
        {}, {"since": 1}, {"lines": 1}, {"lines": 0}, {"lines": 9}, {"program": "a"}, {"program": "a", "lines": 1})]
    assert texts == [["1", "2", "3"], ["2", "3"], ["3"], [], ["1", "2", "3"], ["1", "3"], ["3"]]
