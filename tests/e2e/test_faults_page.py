"""The faults of docs/simulated-camera.md, row by row: a client gets what the table says."""

import http.client
import json
import os
import re

import house
import pytest
from zvcamera.link import Link
from zvcamera.operations import fault_kinds

LIST, STATUS, SCAN = ("/command/ble/whitelist/list", "/command/ble/pair/status", "/command/ble/scan?p=1")
PATHS = {"whitelist_list": LIST, "pair_status": STATUS, "scan": SCAN}
# A list of two pages.
SCENARIO = {"ble": {"whitelist_page": 1, "whitelist": [{"address": f"5a000000000{number}"} for number in range(2)]}}
DOCUMENT, NO_DOCUMENT = True, False

# Fault of messages: (command, value, how often, status, whether the body is a JSON document); a row has each status.
MESSAGES = {
    "late": [("pair_status", 200, 1, 200, DOCUMENT), ("pair_status", "100-200", 1, 200, DOCUMENT)],
    "missing": [("scan", None, 1, 500, DOCUMENT)],
    "refused": [("scan", None, 1, 500, DOCUMENT), ("pair_status", 3, 1, 500, DOCUMENT)],
    "category": [("scan", None, 1, 500, DOCUMENT), ("pair_status", 20, 1, 500, DOCUMENT)],
    "no_response": [("scan", None, 1, 500, DOCUMENT)],
    "truncated": [("pair_status", None, 1, 500, DOCUMENT), ("pair_status", 13, 1, 500, DOCUMENT),
                  ("pair_status", 14, 1, 200, DOCUMENT)],
    "short": [("pair_status", None, 1, 500, DOCUMENT), ("whitelist_list", 1, 1, 500, DOCUMENT),
              ("scan", None, 1, 200, DOCUMENT)],
    "index": [("whitelist_list", None, 1, 500, DOCUMENT)],
    "too_many": [("whitelist_list", None, 1, 500, DOCUMENT)],
    "list_id": [("whitelist_list", None, 1, 200, NO_DOCUMENT), ("whitelist_list", None, 2, 500, DOCUMENT)],
    "extra": [("pair_status", None, 1, 200, DOCUMENT), ("whitelist_list", 100, 1, 200, DOCUMENT)],
    "garbage": [("pair_status", None, 1, 500, DOCUMENT)],
    "reply": [("pair_status", "000e000300000245004d000000ee", 1, 200, DOCUMENT), ("pair_status", "", 1, 500, DOCUMENT)],
}
# Fault of HTTP: (value, status, whether the gateway runs, what comes: all of the body, a part, or an end without it).
HTTP = {
    "refused": [(None, ConnectionRefusedError, False)],
    "silent": [(None, TimeoutError, False)],
    "crashed": [(None, 500, False)],
    "timeout": [(None, 504, False)],
    "status": [(None, 503, False), (599, 599, False)],
    "late": [(100, 200, True), ("100-200", 200, True)],
    "slow": [(1000, 200, True)],
    "cut": [(None, http.client.IncompleteRead, True), (5, http.client.IncompleteRead, True)],
}


def _rows(heading):
    """Fault and last cell of each row of the table below a heading."""
    with open(os.path.join(house.ROOT, "docs", "simulated-camera.md"), encoding="utf-8") as page:
        text = page.read().partition(f"\n### {heading}\n")[2].partition("\n### ")[0]
    table = re.search(r"\n\| fault .*?\n\n", text, re.DOTALL)[0]
    return re.findall(r"^\| `(\w+)` \| .* \| ([^|]+) \|$", table, re.MULTILINE)


def _is_document(body):
    try:
        json.loads(body)
    except ValueError:
        return NO_DOCUMENT
    return DOCUMENT


@pytest.fixture(scope="module")
def running(make_module_camera):
    camera = make_module_camera()
    return camera, Link(camera.run_dir)


def test_the_page_has_all_faults():
    assert sorted(name for name, _ in _rows("Of messages")) == sorted(kind.name for kind in fault_kinds.MESSAGES)
    assert sorted(name for name, _ in _rows("Of HTTP")) == sorted(kind.name for kind in fault_kinds.HTTP)


@pytest.mark.parametrize(("fault", "told"), [
    pytest.param(*row, marks=pytest.mark.slow if row[0] == "missing" else ()) for row in _rows("Of messages")])
def test_of_messages(running, fault, told):
    camera, link = running
    for command, value, count, status, document in MESSAGES[fault]:
        link.load(scenario=SCENARIO)
        link.fault_add(command=command, fault=fault, value=value, count=count)
        answer = camera.get(PATHS[command])
        assert (answer.status, _is_document(answer.body)) == (status, document), (command, value)
        assert link.fault_list() == []
        assert camera.get(PATHS[command]).status == 200
        assert str(status) in told or fault in ("late", "short", "truncated", "reply"), told


@pytest.mark.off_contract("a rule answers whatever it is told to")
@pytest.mark.parametrize(("fault", "told"), _rows("Of HTTP"))
def test_of_http(running, fault, told):
    camera, link = running
    for value, came, runs in HTTP[fault]:
        link.load(scenario=SCENARIO)
        # Nobody can count refused connections.
        link.fault_add(command="/*", fault=fault, value=value, count=0 if fault == "refused" else 1)
        if isinstance(came, int):
            answer = camera.get(STATUS)
            assert answer.status == came
            assert _is_document(answer.body) == runs
        else:
            with pytest.raises(came):
                camera.get(STATUS, timeout=2.0)
        assert bool(link.trace(daemon="zvBleD")) == runs
        assert told.startswith("runs") == runs, told
