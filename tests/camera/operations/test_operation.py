"""How operations are described and checked."""

import pytest
from zvcamera import operations
from zvcamera.admin import InvalidRequest
from zvcamera.operations.operation import Parameter, checked, nearest, shown, unknown


def refused(parameter, value):
    """The error text for a value of a parameter; the value itself when it is right."""
    try:
        return checked(parameter, value)
    except InvalidRequest as error:
        return str(error)


@pytest.mark.parametrize("kind, right, wrong, text", [
    ("text", "x", 5, "must be a text, not 5"),
    ("number", -3, "3", 'must be a whole number, not "3"'),
    ("number", 3, True, "must be a whole number, not true"),
    ("number", 3, 1.5, "must be a whole number, not 1.5"),
    ("fraction", 0.5, "0.5", 'must be a number from 0 to 1, not "0.5"'),
    ("fraction", 1, 1.01, "must be a number from 0 to 1, not 1.01"),
    ("flag", False, 0, "must be true or false, not 0"),
    ("value", "x", 1.5, "must be a text, a whole number, true or false, not 1.5"),
    ("value", True, None, "must be a text, a whole number, true or false, not null"),
    ("hex", "00fF", "0", 'must be bytes, two hexadecimal digits each, not "0"'),
    ("hex", "", "0 0 ", 'must be bytes, two hexadecimal digits each, not "0 0 "'),
    ("pairs", {"a": 1}, [], "must be an object, not []"),
    ("words", ["a", ""], ["a", 1], 'must be a list of texts, not ["a", 1]'),
    ("document", [1], None, None),
])
def test_kinds(kind, right, wrong, text):
    parameter = Parameter("it", kind)
    assert refused(parameter, right) == right
    assert refused(parameter, wrong) == (f"it: {text}" if text else None)


@pytest.mark.parametrize("low, high, value, text", [
    (0, 255, -1, "from 0 to 255, not -1"), (0, 255, 256, "from 0 to 255, not 256"), (0, None, -1, "at least 0, not -1"),
    (None, 5, 6, "at most 5, not 6")])
def test_ranges(low, high, value, text):
    assert refused(Parameter("it", "number", low=low, high=high), value) == f"it: must be a whole number {text}"


def test_the_nearest_word_is_named():
    assert nearest("recrding", ("recording", "model_name")) == ": did you mean recording?"
    assert nearest("ZVNETD", ("zvNetD", "zvBleD")) == ": did you mean zvNetD?"
    assert nearest("colour", ("recording", "model_name")) == ": must be one of recording, model_name"
    assert unknown("id", "x" * 5000, ()) == f"unknown id {'x' * 60}: there is none"
    item = Parameter("item", choices=("recording",))
    assert refused(item, "recorded") == "unknown item recorded: did you mean recording?"
    keys = Parameter("settings", "pairs", rows=(("seed", ""), ("scan_page", "")))
    assert refused(keys, {"scn_page": 1}) == "settings.scn_page: unknown key: did you mean scan_page?"
    assert refused(keys, {"foo": 1}) == "settings.foo: unknown key: must be one of seed, scan_page"
    assert refused(keys, {"seed": 1}) == {"seed": 1}


def test_wrong_values_are_shown_short_and_as_json():
    assert shown('a"\n') == r'"a\"\n"'
    assert shown(None) == "null"
    assert len(shown("x" * 5000)) < 70


def test_names_and_paths_are_unique():
    every = operations.all()
    assert len({each.name for each in every}) == len(every)
    assert len({(each.method, each.path) for each in every}) == len(every)
    assert len({each.command for each in every}) == len(every)


@pytest.mark.parametrize("operation", operations.all(), ids=lambda each: each.name)
def test_each_is_described_whole(operation):
    assert operation.method in ("GET", "PUT", "POST", "PATCH", "DELETE")
    assert operation.path.startswith("/")
    assert operation.help and not operation.help.endswith(".")
    names = [parameter.name for parameter in operation.parameters]
    assert len(set(names)) == len(names)
    positional = [parameter for parameter in operation.parameters if not parameter.option]
    required = [parameter.required for parameter in positional]
    assert required == sorted(required, reverse=True)  # behind a word that may be left out, all others may
    assert {word[1:-1] for word in operation.path.split("/") if word.startswith("{")} <= set(names)
    if len(operation.command) > 1:
        assert " ".join(operation.command[:-1]) in operations.GROUPS or operation.options


def test_every_group_does_something_alone():
    does = {" ".join(each.command) for each in operations.all()}
    alone = {" ".join(each.command[:-1]) for each in operations.all() if each.alone}
    assert set(operations.GROUPS) <= does | alone


def test_operations_are_found_by_name():
    assert operations.find("ble_device_set").command == ("ble", "device", "set")
    assert operations.find("analytics_on_clear").path == "/analytics/on-clear"
    assert operations.find("nothing") is None
