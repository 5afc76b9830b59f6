"""Reads what a request to the supervisor holds."""

from ..admin import InvalidRequest

_MEANINGS = {str: "a text", int: "a whole number", dict: "an object", list: "a list", float: "a number"}


def is_of(value, kind):
    if kind is float:
        return type(value) in (int, float)
    return type(value) is kind


def take(request, kinds, defaults=None):
    """Returns the request's values, in the order of kinds ({key: type}).

    A key without a default has to be there. A default of None stands for a value that may be null.
    """
    defaults = defaults or {}
    for key in request:
        if key not in kinds:
            raise InvalidRequest(f"{key}: unknown key")
    values = []
    for key, kind in kinds.items():
        if key not in request and key not in defaults:
            raise InvalidRequest(f"{key}: missing")
        value = request.get(key, defaults.get(key))
        if not is_of(value, kind) and not (value is None and defaults.get(key, "") is None):
            raise InvalidRequest(f"{key}: must be {_MEANINGS[kind]}")
        values.append(value)
    return values
