"""Texts of others, for a terminal."""


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


def _shown(character):
    code = ord(character)
    if character == "\n":
        return "\\n"
    return f"\\x{code:02x}" if code < 0x20 or 0x7f <= code < 0xa0 else character
