"""The contract for HTTP clients: served by the camera, and held against its answers."""

import functools
import json
import os
import sys

import contract
import house
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
