"""Results for people, and as JSON."""

import pytest
from zvcamera.admin import AdminError
from zvcamera.operations.operation import Operation
from zvcamera.zvcam import output


@pytest.mark.parametrize("result, text", [
    ({"a": 1, "longer": "text", "nested": {"deep": True, "none": None}},
     "a       1\nlonger  text\nnested\n  deep  true\n  none  none\n"),
    ({"a": {}, "b": []}, "a  none\nb  none\n"),
    ([1, "x"], "1\nx\n"),
    ({"list": [1, "x"]}, "list\n  1\n  x\n"),
    ([{"a": 1}, {"b": 2}], "a  1\n\nb  2\n\n"),
    ("text", "text\n"),
    (-7, "-7\n"),
    (None, "none\n"),
    ({"b": 1, "a": False}, "a  false\nb  1\n"),
    ({"name": "a\x1b[m\n"}, "name  a\\x1b[m\\n\n"),
])
def test_for_people(result, text):
    assert output.to_text(result) == text


def test_as_one_line_of_json():
    assert output.to_line({"b": [1, None], "a": 'ä"'}) == '{"a":"ä\\"","b":[1,null]}'


def _operation(**more):
    return Operation(("it",), "GET", "/it", "It", lambda link: None, **more)


def _shown(capsys, operation, result, **how):
    output.show(operation, result, **{"as_json": False, **how})
    return capsys.readouterr().out


def test_a_result_is_shown_in_its_own_words(capsys):
    operation = _operation(text=lambda result: f"<{result}>\n", brief=lambda result: "<>\n")
    assert _shown(capsys, operation, 5) == "<5>\n"
    assert _shown(capsys, operation, 5, brief=True) == "<>\n"
    assert _shown(capsys, operation, 5, as_json=True) == "5\n"
    assert _shown(capsys, _operation(), {"a": 1}) == "a  1\n"
    assert _shown(capsys, _operation(), None) == ""
    assert _shown(capsys, _operation(), None, as_json=True) == "{}\n"


def test_nothing_that_is_shown_acts_on_the_terminal(capsys):
    evil = {"a": "\x1b]0;x\x07\x9b2J\x7f"}
    assert _shown(capsys, _operation(text=lambda result: f"{result['a']}\n"), evil) == "\\x1b]0;x\\x07\\x9b2J\\x7f\n"
    assert _shown(capsys, _operation(), evil, as_json=True) == '{"a":"\\u001b]0;x\\u0007\\u009b2J\\u007f"}\n'


def test_records_are_lines_of_json(capsys, tmp_path):
    records = [{"n": 1}, {"n": 2}]
    lines = '{"n":1}\n{"n":2}\n'
    assert _shown(capsys, _operation(), records, as_json=True, by_line=True) == lines
    assert _shown(capsys, _operation(), {"next": 3, "records": records}, as_json=True, by_line=True) == lines
    assert _shown(capsys, _operation(follows=True), iter(records), as_json=True) == lines
    assert _shown(capsys, _operation(), None, as_json=True, by_line=True) == "{}\n"
    assert _shown(capsys, _operation(), records, path=str(tmp_path / "file")) == ""
    assert (tmp_path / "file").read_text() == lines
    with pytest.raises(AdminError, match="^/nowhere/file: cannot be written$"):
        output.show(_operation(), records, as_json=False, path="/nowhere/file")


def test_what_is_wrong_is_one_line(capsys):
    assert output.fail("a\nb", 2, False) == 2
    assert capsys.readouterr() == ("", "zvcam: a\\nb\n")
    assert output.fail("a\nb", 2, True) == 2
    assert capsys.readouterr() == ('{"error":"a\\nb","status":2}\n', "")
