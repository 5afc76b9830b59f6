"""The contract for HTTP clients: served by the camera, and held against its answers."""

import functools
import http.client
import json

import contract
import pytest
import yaml
from zvcamera.camera import Answer
from zvcamera.control import contract as of_control


def _ask(camera, method, path, body=None, fields=None):
    """A request to any path of the camera's port. body: what goes there as JSON."""
    connection = http.client.HTTPConnection("127.0.0.1", camera.port, timeout=60)
    fields = {**({"Content-Type": "application/json"} if body is not None else {}), **(fields or {})}
    try:
        connection.request(method, path, None if body is None else json.dumps(body), fields)
        return Answer(connection.getresponse())
    finally:
        connection.close()


@pytest.mark.parametrize("server", ["lighttpd", pytest.param("nginx", marks=pytest.mark.thorough)])
def test_the_camera_serves_both_contracts_in_both_forms(make_camera, server):
    camera = make_camera(web_server=server)
    for path, expected in (("/openapi", contract.document()), ("/simulator/openapi", of_control.contract())):
        for ending, read in (("yaml", functools.partial(yaml.load, Loader=yaml.CSafeLoader)), ("json", json.loads)):
            answer = _ask(camera, "GET", f"{path}.{ending}")
            assert (answer.status, answer.headers["content-type"].partition(";")[0]) == (200, f"application/{ending}")
            assert read(answer.body) == expected
    assert _ask(camera, "GET", "/openapi.yamlx").status == 404
    assert _ask(camera, "POST", "/simulator/openapi.json", {}).status == 405


def test_pages_of_other_sites_get_no_contract(shared_camera):
    for path in ("/openapi.json", "/simulator/openapi.json"):
        answer = _ask(shared_camera, "GET", path, fields={"Origin": "http://elsewhere.test"})
        assert answer.status == 403
        assert "access-control-allow-origin" not in answer.headers
