"""The contract of control over HTTP, made from the descriptions of the operations."""

import json

import yaml
from zvcamera import operations
from zvcamera.control import contract


def _operation(method, path):
    return contract.contract()["paths"][path][method]


def _members(method, path):
    return _operation(method, path)["requestBody"]["content"]["application/json"]["schema"]["properties"]


def test_every_operation_is_in_it_once():
    told = [each["operationId"] for item in contract.contract()["paths"].values() for each in item.values()]
    own = ["list_operations", "contract_json", "contract_yaml"]
    assert sorted(told) == sorted([*own, *(operation.name for operation in operations.all())])


def test_what_an_operation_is_told_stands_in_path_query_or_body():
    assert _operation("put", "/simulator/state/{item}")["parameters"][0]["in"] == "path"
    assert _operation("put", "/simulator/state/{item}")["requestBody"] == {"required": True, "content": {
        "application/json": {"schema": {
            "type": "object", "additionalProperties": False, "required": ["value"],
            "properties": {"value": {"type": ["string", "integer", "boolean"],
                                     "description": "the new value, in words"}}}}}}
    assert _operation("get", "/simulator/requests")["parameters"][1:] == [
        {"name": "lines", "in": "query", "required": False,
         "schema": {"type": "integer", "minimum": 0, "description": "the last ones alone of those that are kept"}},
        {"name": "messages", "in": "query", "required": False,
         "schema": {"type": "boolean", "default": False, "description": "each with its messages on the queues"}}]


def test_kinds_of_parameters():
    members = _members("post", "/simulator/faults")
    assert members["count"] == {"type": "integer", "minimum": 0, "maximum": 1_000_000, "default": 0,
                                "description": "replies to hit; 0: all"}
    assert members["probability"]["type"] == ["number", "null"]
    assert members["value"]["type"] == ["string", "integer", "boolean", "null"]
    assert ({"value": "missing", "meaning": "no reply, although the command is carried out"}
            in members["fault"]["x-values"])
    device = _members("put", "/simulator/ble/devices/{address}")["device"]
    assert (device["properties"]["rssi"], device["additionalProperties"]) == ({"description": "dBm, -127 to 20"}, False)
    assert _members("post", "/simulator/stream/start")["arguments"]["default"] == []


def test_events_and_bodies_have_answers_of_their_own():
    assert list(_operation("get", "/simulator/log/events")["responses"]["200"]["content"]) == ["text/event-stream"]
    assert list(_operation("get", "/simulator/state")["responses"]) == [
        "200", "206", "400", "403", "405", "409", "500", "503"]
    assert list(_operation("post", "/simulator/reset")["responses"]) == [
        "200", "400", "403", "405", "408", "409", "411", "413", "415", "500", "503"]


def test_both_forms_are_the_same_document():
    assert json.loads(contract.text("/simulator/openapi.json")) == contract.contract()
    assert yaml.safe_load(contract.text("/simulator/openapi.yaml")) == contract.contract()
