"""What a request gives to the parameters of its operation."""

import pytest
from zvcamera import operations
from zvcamera.admin import InvalidRequest
from zvcamera.control import given


def of(name, in_path=None, query="", body=b""):
    return given.of(operations.find(name), in_path or {}, query, body)


@pytest.mark.parametrize(("query", "values"), [
    ("", {}),
    ("count=5&text=5", {"count": 5, "text": "5"}),
    ("count=-1&share=.5", {"count": -1, "share": ".5"}),
    ("share=0.5", {"share": 0.5}),
    ("whole=true", {"whole": True}), ("whole=0", {"whole": False}), ("whole=yes", {"whole": "yes"}),
    ("words=a&words=b+c", {"words": ["a", "b c"]}),
    ("keys=%7B%22a%22%3A1%7D", {"keys": {"a": 1}}), ("keys=%7B", {"keys": "{"}),
    ("count=&text=", {"count": "", "text": ""}),
    ("count=" + "9" * 30, {"count": "9" * 30}), ("count=\u0661", {"count": "\u0661"}),
    ("unknown=1", {"unknown": "1"})])
def test_values_of_a_query_are_of_the_parameters_kind(calls, query, values):
    assert of("kinds", query=query) == values


@pytest.mark.parametrize("query", ["count=1&count=2", "text=%ff", "&".join(f"a{number}=" for number in range(101))],
                         ids=["twice", "no text", "many"])
def test_queries_that_are_wrong(calls, query):
    with pytest.raises(InvalidRequest):
        of("kinds", query=query)


def test_a_body_is_an_object(calls):
    assert of("kinds_set", body=b'{"count": 5, "words": ["a"]}') == {"count": 5, "words": ["a"]}
    assert of("kinds_set") == {}


@pytest.mark.parametrize("body", [b"[]", b"1", b"null", b"{", b'{"a": NaN}', b'{"a": -Infinity}', b'{"a": "\xff"}',
                                  b'{"a": "\\ud800"}', b"[" * 100_000, b'{"a": ' + b"9" * 5000 + b"}", b"\0",
                                  '{"a": 1}'.encode("utf-16")], ids=lambda body: body[:8].hex())
def test_bodies_that_are_wrong(calls, body):
    with pytest.raises(InvalidRequest) as error:
        of("kinds_set", body=body)
    assert str(error.value).startswith("the body is ")


def test_a_name_in_path_and_body_is_given_twice(calls):
    assert of("item_set", {"name": "a"}, body=b'{"value": "on"}') == {"name": "a", "value": "on"}
    with pytest.raises(InvalidRequest, match="name: is given twice"):
        of("item_set", {"name": "a"}, body=b'{"name": "b"}')


def test_what_is_told_stands_in_its_place(calls):
    with pytest.raises(InvalidRequest, match="POST takes no query"):
        of("kinds_set", query="count=1")
    with pytest.raises(InvalidRequest, match="GET takes no body"):
        of("kinds", body=b"{}")
