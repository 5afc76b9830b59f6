"""What a request gives to the parameters of its operation: in the path, in the query, or in the body."""

import json
import re
import urllib.parse

from ..admin import InvalidRequest

WITH_BODY = ("POST", "PUT", "PATCH")
_NUMBER = re.compile(r"[+-]?[0-9]{1,18}")
_FRACTION = re.compile(r"[+-]?[0-9]{1,18}(\.[0-9]{1,18})?")
_FLAGS = {"true": True, "1": True, "false": False, "0": False}
_MOST_PAIRS = 100


def _no_constant(name):
    raise ValueError(f"{name} is no number of JSON")


def parse(text):
    """The JSON document in a text. Raises ValueError for anything that a strict reader would refuse."""
    try:
        document = json.loads(text, parse_constant=_no_constant)
        json.dumps(document, ensure_ascii=False).encode()  # half a character, as "\ud800", goes no further
    except RecursionError as error:
        raise ValueError("it is nested too deep") from error
    return document


def _document(text):
    try:
        return parse(text)
    except ValueError:
        return text


def _read(parameter, text):
    """The value that a text of path or query stands for; the text itself when it is none of that kind.

    Whether a value is right says the operation's check, in the words that all faces share.
    """
    if parameter.kind == "number" and _NUMBER.fullmatch(text):
        return int(text)
    if parameter.kind == "fraction" and _FRACTION.fullmatch(text):
        return float(text)
    if parameter.kind == "flag":
        return _FLAGS.get(text, text)
    if parameter.kind in ("pairs", "document"):
        return _document(text)
    return text


def from_texts(operation, pairs):
    """Values by name, from pairs of a name and a text. Of a list of words, each word is a pair of its own."""
    known = {parameter.name: parameter for parameter in operation.parameters}
    given = {}
    for name, text in pairs:
        parameter = known.get(name)
        if parameter and parameter.kind == "words":
            given.setdefault(name, []).append(text)
        elif name in given:
            raise InvalidRequest(f"{name}: is given twice")
        else:
            given[name] = _read(parameter, text) if parameter else text
    return given


def query_pairs(query):
    """Names and values of a query. Raises InvalidRequest when it holds too many, or no UTF-8."""
    try:
        return urllib.parse.parse_qsl(query, keep_blank_values=True, errors="strict", max_num_fields=_MOST_PAIRS)
    except UnicodeDecodeError as error:
        raise InvalidRequest("the query is no UTF-8") from error
    except ValueError as error:
        raise InvalidRequest(f"the query has more than {_MOST_PAIRS} members") from error


def from_body(body):
    """Values by name, from the bytes of a body; an empty body gives none."""
    if not body:
        return {}
    try:
        document = parse(body.decode())
    except ValueError as error:
        raise InvalidRequest(f"the body is no JSON: {error}") from error
    if not isinstance(document, dict):
        raise InvalidRequest("the body is JSON, but no object")
    return document


def merged(*sources):
    """All values by name. Raises InvalidRequest when two sources give the same name."""
    together = {}
    for source in sources:
        for name, value in source.items():
            if name in together:
                raise InvalidRequest(f"{name}: is given twice")
            together[name] = value
    return together


def of(operation, in_path, query, body):
    """The values that a request gives, from what its path gave, its query and the bytes of its body."""
    pairs = query_pairs(query)
    if operation.method in WITH_BODY:
        if pairs:
            raise InvalidRequest(f"{operation.method} takes no query: what it is told stands in the body")
        return merged(from_texts(operation, in_path.items()), from_body(body))
    if body:
        raise InvalidRequest(f"{operation.method} takes no body: what it is told stands in the query")
    return merged(from_texts(operation, in_path.items()), from_texts(operation, pairs))
