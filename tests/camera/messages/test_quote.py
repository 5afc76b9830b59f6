"""Texts of others for a terminal."""

import pytest
from zvcamera.messages.quote import printable, printable_lines, quote


@pytest.mark.parametrize("text", ["", " a\\n\"~", "ä \u00a0 € 📷", "\udcc2"])
def test_text_stays_as_it_is(text):
    assert printable(text) == text


@pytest.mark.parametrize("text, shown", [
    ("\x1b]0;title\x07", r"\x1b]0;title\x07"),
    ("\0\x1f\x7f", r"\x00\x1f\x7f"),
    ("a\nb\r\t", r"a\nb\x0d\x09"),
    ("\x80 \x9b31m \x9f", r"\x80 \x9b31m \x9f"),
    ("\udcc2\x1b", "\udcc2\\x1b"),
])
def test_control_characters_become_numbers(text, shown):
    assert printable(text) == shown


def test_lines_stay_lines():
    assert printable_lines("ä\ta\r\n\x1b[2J\x9b\n") == "ä\ta\\x0d\n\\x1b[2J\\x9b\n"


@pytest.mark.parametrize("text, shown", [
    (b"", '""'), ("plain", '"plain"'), (b'a"b\\', r'"a\"b\\"'), (b"\0\n\x7f\xff", r'"\x00\x0a\x7f\xff"'),
    ("ä", r'"\xc3\xa4"')])
def test_quoted_is_what_prints(text, shown):
    assert quote(text) == shown
