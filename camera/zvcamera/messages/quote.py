"""Texts of others, for a terminal."""

import re

_ACTING = re.compile(r"[\x00-\x08\x0b-\x1f\x7f-\x9f]")  # all control characters but line end and tab


def quote(text):
    """A text (bytes, or str for its UTF-8) between quotes, with everything that is not printing ASCII as \\xNN."""
    data = text.encode(errors="surrogatepass") if isinstance(text, str) else text
    return '"' + "".join(_quoted(byte) for byte in data) + '"'


def _quoted(byte):
    if byte in b'"\\':
        return "\\" + chr(byte)
    return chr(byte) if 0x20 <= byte < 0x7f else f"\\x{byte:02x}"


def printable(text):
    """A text with its control characters as \\xNN, a line end as \\n: nothing of it acts on the terminal."""
    return text if text.isprintable() else "".join(map(_shown, text))


def printable_lines(text):
    """The same of a text of several lines, whose line ends and tabs stay."""
    return "".join(each if each in "\n\t" else _shown(each) for each in text) if _ACTING.search(text) else text


def _shown(character):
    code = ord(character)
    if character == "\n":
        return "\\n"
    return f"\\x{code:02x}" if code < 0x20 or 0x7f <= code < 0xa0 else character
