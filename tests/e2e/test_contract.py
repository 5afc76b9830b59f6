"""The contract for HTTP clients: served by the camera, and held against its answers."""

import functools
import json
import os
import sys

import contract
import held
import house
import jsonschema
import pytest
import yaml
from provoked import ask
from zvcamera.control import contract as of_control

sys.path.insert(0, os.path.join(house.ROOT, "scripts"))
import contract_page  # noqa: E402


@pytest.mark.parametrize("server", ["lighttpd", pytest.param("nginx", marks=pytest.mark.thorough)])
def test_the_camera_serves_both_contracts_in_both_forms(make_camera, server):
    camera = make_camera(web_server=server)
    for path, expected in (("/openapi", contract.document()), ("/simulator/openapi", of_control.contract())):
        for ending, read in (("yaml", functools.partial(yaml.load, Loader=yaml.CSafeLoader)), ("json", json.loads)):
            answer = ask(camera, "GET", f"{path}.{ending}")
            assert (answer.status, answer.headers["content-type"].partition(";")[0]) == (200, f"application/{ending}")
            assert read(answer.body) == expected
    assert ask(camera, "GET", "/openapi.yamlx").status == 404
    assert ask(camera, "POST", "/simulator/openapi.json", {}).status == 405


def test_pages_of_other_sites_get_no_contract(shared_camera):
    for path in ("/openapi.json", "/simulator/openapi.json"):
        answer = ask(shared_camera, "GET", path, fields={"Origin": "http://elsewhere.test"})
        assert answer.status == 403
        assert "access-control-allow-origin" not in answer.headers


def test_documents_are_as_the_contracts_make_them():
    """Otherwise scripts/contract_page.py writes them."""
    for path, make in ((contract_page.SIMULATOR, lambda _: contract_page.simulator()),
                       (contract_page.PAGE, contract_page.page)):
        with open(path, encoding="utf-8") as file:
            text = file.read()
        assert text == make(text)


def test_a_preflight_has_the_documented_fields(make_camera):
    camera = make_camera(cors_origins=["http://localhost:3000"])
    answer = ask(camera, "OPTIONS", "/control/execute", fields={"Origin": "http://localhost:3000"})
    (status, told), = contract.document()["x-preflight"]["responses"].items()
    assert str(answer.status) == status
    fields = {name.lower(): each["schema"] for name, each in told["headers"].items()}
    assert set(fields) == {name for name in answer.headers if name == "vary" or name.startswith("access-control-")}
    for name, schema in fields.items():
        jsonschema.validate(answer.headers[name], schema)


_STATUS = "/control/command/ble/pair/status"
_FAILED = {"status": "/command/ble/pair/status", "zverr": -1, "_function": "main", "_line": 150,
           "path": "/command/ble/pair/status", "query": ""}
_UNREAD = {"status": "zvc_state_get_ap_ssid", "zverr": -17, "_function": "camera_description_output_json", "_line": 290,
           "path": "", "query": ""}
_OFF = {**_FAILED, "status": "/analytics/get", "zverr": -6, "path": "/analytics/get"}


@pytest.mark.parametrize(("path", "right", "wrong"), [
    (_STATUS, _FAILED, {"more": 1}), (_STATUS, _FAILED, {"zverr": -3.5}), (_STATUS, _FAILED, {"zverr": -5}),
    (_STATUS, _FAILED, {"_line": 143}), (_STATUS, _FAILED, {"status": "failed"}), (_STATUS, _FAILED, {"query": None}),
    ("/control", _UNREAD, {"_line": 281}), ("/control", _UNREAD, {"status": "zvc_state_get_camera"}),
    ("/control/analytics/get", _OFF, {"zverr": -4}), ("/control/analytics/get", _OFF, {"zverr": -20})])
def test_a_member_that_is_not_documented_is_noticed(path, right, wrong):
    contract.check(path, 500, "application/json", json.dumps(right).encode())
    with pytest.raises(contract.Undocumented):
        contract.check(path, 500, "application/json", json.dumps({**right, **wrong}).encode())


@pytest.mark.parametrize(("status", "kind", "body"), [
    (200, "application/json", b'\n{"pairing_status": 0}\n'), (200, "application/json", b'\n{"pairing_status":256}\n'),
    (200, "text/html", b""), (418, "application/json", b"{}"), (200, "", b'\n{"pairing_status":0}\n')])
def test_an_answer_that_is_not_documented_is_noticed(status, kind, body):
    contract.check(_STATUS, 200, "application/json", b'\n{"pairing_status":0}\n')
    with pytest.raises(contract.Undocumented):
        contract.check(_STATUS, status, kind, body)


@pytest.mark.off_contract("a rule answers a status that nobody knows")
def test_every_answer_of_a_test_is_held_against_the_contract(make_camera):
    camera = make_camera()
    assert camera.get("/command/ble/pair/status").status == 200
    assert held.findings == []
    camera.tool("fault", "add", "/command/ble/pair/status", "status", "418")
    assert camera.get("/command/ble/pair/status").status == 418
    assert held.findings == ["GET /control/command/ble/pair/status: status 418"]


@pytest.mark.parametrize(("method", "path", "status", "kind", "body"), [
    ("GET", "/simulator/state", 409, "application/json", b'{"error": "x", "more": 1}'),
    ("GET", "/simulator/state", 409, "text/plain", b"x"), ("GET", "/simulator/state", 413, "application/json", b"{}"),
    ("GET", "/simulator/nothing", 200, "application/json", b"{}"),
    ("GET", "/simulator/scenario/x/y", 409, "application/json", b'{"error": "x"}')])
def test_an_answer_of_control_that_is_not_documented_is_noticed(method, path, status, kind, body):
    contract.check_control(method, "/simulator/state", 409, "application/json", b'{"error": "x"}', "lighttpd")
    contract.check_control(method, "/simulator/nothing", 404, "application/json", b'{"error": "x"}', "lighttpd")
    with pytest.raises(contract.Undocumented):
        contract.check_control(method, path, status, kind, body, "lighttpd")


def test_a_path_that_leads_out_of_control_is_not_its_own():
    assert contract.is_of_control("/simulator/state/..%2Fx")
    assert not contract.is_of_control("/simulator/requests/..%2F..")
    assert not contract.is_of_control("/simulators")
