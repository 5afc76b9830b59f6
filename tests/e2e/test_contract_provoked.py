"""Everything that the contract documents is seen to happen, and nothing else has a place in it."""

import os
import re

import contract
import house
import jsonschema
import provoked
import pytest

pytestmark = pytest.mark.contract

MEANINGS = {"wrong-request", "try-again", "camera-busy", "give-up"}


def _sources(folder):
    for name in sorted(os.listdir(os.path.join(house.ROOT, folder))):
        with open(os.path.join(house.ROOT, folder, name), encoding="utf-8") as file:
            yield file.read()


def test_everything_is_provoked(make_camera):
    done = provoked.Provoked(make_camera())
    done.all_examples()
    done.all_statuses()
    done.all_parameters()
    os.makedirs(os.path.join(house.ROOT, "build", "results"), exist_ok=True)
    with open(os.path.join(house.ROOT, "build", "results", "contract-coverage.txt"), "w", encoding="utf-8") as file:
        file.write(done.table())
    print(done.table())
    assert done.wrong == []
    assert done.left_out() == []


def test_patterns_take_what_the_gateway_takes():
    for path, name, fitting, wrong in provoked.grammars():
        parameter = next(each for each in map(contract.resolved, dict(contract.operations())[path]["parameters"])
                         if each["name"] == name)
        pattern = contract.resolved(parameter["schema"])["pattern"]
        assert [value for value in fitting if not re.search(pattern, value)] == [], (path, name)
        assert [value for value in wrong if re.search(pattern, value)] == [], (path, name)


def test_paths_are_those_of_the_handler_table():
    with open(os.path.join(house.ROOT, "src", "zvControl", "handlerTable.cpp"), encoding="utf-8") as table:
        uris = re.findall(r'^    \{"([a-z_/]+)", ', table.read(), re.MULTILINE)
    assert [path for path, _ in contract.operations()] == ["/control", *(f"/control/{uri}" for uri in uris)]


def test_parameters_are_those_that_the_sources_read():
    read = {name for text in _sources("src/command_ble") for name in re.findall(r'"(\w+)="', text)}
    told = {name for path, name in provoked.parameters() if "/ble/" in path}
    assert told == read


def test_result_codes_are_those_of_the_library():
    with open(os.path.join(house.ROOT, "libzvCommon", "include", "zvErrno.h"), encoding="utf-8") as header:
        codes = re.findall(r"#define (ZV_ERR\w*) \((-\d+)\)", header.read())
    told = contract.document()["components"]["schemas"]["ResultCode"]["x-names"]
    assert [(name, number) for number, name in told.items()] == codes


def test_examples_fit_their_schemas():
    schemas = 0
    for path, operation in contract.operations():
        for response in map(contract.resolved, operation["responses"].values()):
            for media in response.get("content", {}).values():
                validator = jsonschema.Draft202012Validator(
                    {**media["schema"], "components": contract.document()["components"]})
                for name, example in media.get("examples", {}).items():
                    assert list(validator.iter_errors(example["value"])) == [], (path, name)
                    schemas += 1
    assert schemas > 50


def test_every_failure_says_what_a_client_can_make_of_it():
    for example in contract.examples():
        failed = example.status != "200" or example.kind == ""
        assert (example.told.get("x-meaning") in MEANINGS) == failed, str(example)
