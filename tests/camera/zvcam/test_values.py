"""From words to values."""

import pytest
from zvcamera.admin import InvalidRequest
from zvcamera.operations.operation import Parameter
from zvcamera.zvcam import values


@pytest.mark.parametrize("word, value", [
    ("seed=12", 12), ("seed=-3", -3), ("mitm=true", True), ("mitm=false", False), ("seed=1.5", "1.5"),
    ("seed=012", "012"), ("seed=", ""), ("seed=a=b", "a=b"), ("name=12", "12"), ("name=true", "true"),
    ("presence=1", "1"), ("pairing=0", "0"), ("uuid16=180d,180f", ["180d", "180f"]), ("uuid16=", []),
    ("uuid128=a", ["a"]), ("uuid16=a,", ["a"]), ("seed=True", "True"), ("seed=99999999999999999999", "9" * 20)])
def test_pairs_become_members(word, value):
    assert values.read_pairs([word]) == {word.partition("=")[0]: value}


@pytest.mark.parametrize("word", ["foo", "=1", ""])
def test_a_pair_has_a_key_and_an_equals_sign(word):
    with pytest.raises(InvalidRequest) as caught:
        values.read_pairs([word])
    assert str(caught.value) == f"must be key=value: {word}"


def test_negative_numbers_are_no_options():
    marked = values.mark_negatives(["set", "-1", "-x", "--json", "-1x", "--", "-2"])
    assert [values.unmarked(word) for word in marked] == ["set", "-1", "-x", "--json", "-1x", "--", "-2"]
    assert [word.startswith("-") for word in marked] == [False, False, True, True, False, True, True]


@pytest.mark.parametrize("kind, word, value", [
    ("number", "5", 5), ("number", "-5", -5), ("number", "+5", 5), ("number", "x", "x"), ("number", "1.5", "1.5"),
    ("number", "٣", "٣"), ("number", "9" * 5000, "9" * 5000), ("fraction", "0.5", 0.5), ("fraction", ".5", 0.5),
    ("fraction", "1", 1.0), ("fraction", "nan", "nan"), ("fraction", "1e9", "1e9"), ("text", "5", "5"),
    ("value", "5", "5"), ("hex", "00", "00")])
def test_words_of_each_kind(kind, word, value):
    assert values.value_of(Parameter("it", kind), word) == value


def test_a_document_is_read_from_its_file(tmp_path):
    path = tmp_path / "scenario.json"
    path.write_bytes(b"\xef\xbb\xbf" + b'{"ble": {}}')
    assert values.read_document(str(path)) == {"ble": {}}
    assert values.read_document("default")["description"].startswith("A lively camera")


@pytest.mark.parametrize("content, problem", [
    (None, "No such file or directory"), (b"{", "is no JSON document: Expecting property name enclosed in double "
                                                "quotes: line 1 column 2 (char 1)"),
    (b"[" * 100000, "is no JSON document"), (b"\xff\xff", "is no JSON document"),
    (b" " * ((4 << 20) + 1), "larger than a scenario may be")])
def test_what_is_wrong_with_a_document_names_it_once(tmp_path, content, problem):
    path = tmp_path / "scenario.json"
    if content is not None:
        path.write_bytes(content)
    with pytest.raises(InvalidRequest) as caught:
        values.read_document(str(path))
    assert str(caught.value) == f"{path}: {problem}"
