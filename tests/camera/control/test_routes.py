"""From method and path to the operation, and to what the path gives it."""

import pytest
from zvcamera.admin import InvalidRequest
from zvcamera.control import routes


def found(method, path):
    operation, given = routes.find(method, path)
    return operation.name, given


def test_an_operation_is_found_by_method_and_path(calls):
    assert found("GET", "/simulator/kinds") == ("kinds", {})
    assert found("HEAD", "/simulator/kinds") == ("kinds", {})
    assert found("POST", "/simulator/kinds") == ("kinds_set", {})
    assert found("DELETE", "/simulator/item/a") == ("item_remove", {"name": "a"})


def test_the_more_exact_path_comes_first(calls):
    assert found("GET", "/simulator/item/all") == ("item_all", {})
    assert found("GET", "/simulator/item/one") == ("item", {"name": "one"})


def test_parts_of_the_path_are_decoded_one_by_one(calls):
    assert found("GET", "/simulator/item/a%2Fb%20%C3%A4+") == ("item", {"name": "a/b \u00e4+"})


def test_an_operation_that_follows_has_a_path_of_its_own(calls):
    assert found("GET", "/simulator/kinds/events") == ("kinds_follow", {})


@pytest.mark.parametrize("path", ["/simulator/nothing", "/simulator/item", "/simulator/item/", "/simulator/item/a/b",
                                  "/simulator//kinds", "/simulator/kinds/", "/simulators", "/", "",
                                  "/simulator/../kinds"])
def test_other_paths_are_not_found(calls, path):
    with pytest.raises(routes.NotFound):
        routes.find("GET", path)


@pytest.mark.parametrize(("method", "path", "allowed"), [
    ("DELETE", "/simulator/kinds", ["GET", "HEAD", "POST"]),
    ("OPTIONS", "/simulator/item/a", ["DELETE", "GET", "HEAD", "PUT"]),
    ("HEAD", "/simulator/kinds/events", ["GET"]),
    ("get", "/simulator/kinds", ["GET", "HEAD", "POST"])])
def test_other_methods_are_told_what_the_path_takes(calls, method, path, allowed):
    with pytest.raises(routes.MethodNotAllowed) as error:
        routes.find(method, path)
    assert error.value.allowed == allowed


def test_a_path_that_is_no_text_is_wrong(calls):
    with pytest.raises(InvalidRequest):
        routes.find("GET", "/simulator/item/%ff")
