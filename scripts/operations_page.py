"""Writes docs/operations.md: every operation on a running camera, by command line, by HTTP and from Python."""

import os
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PAGE = os.path.join(ROOT, "docs", "operations.md")
sys.path.insert(0, os.path.join(ROOT, "camera"))

from zvcamera import operations  # noqa: E402
from zvcamera.control import PREFIX, routes  # noqa: E402
from zvcamera.zvcam import local  # noqa: E402

_HEAD = f"""# All operations

What can be shown and changed of a running camera, in three ways: by the words of `zvcam`, by HTTP, and from Python as a
method of `camera.control`. All three take the same parameters and give the same result. `zvcam WORDS --help` and
`GET {PREFIX}` list the parameters; the pages on [zvcam](simulated-camera.md#state-zvcam), [HTTP](control.md) and
[Python](ci.md#pytest) say how each way passes them. `scripts/operations_page.py` writes this page.

| `zvcam` | HTTP | Python | what it does |
|---|---|---|---|
"""
_TAIL = """
On the command line alone, and without a camera:

| `zvcam` | what it does |
|---|---|
"""


def _words(operation):
    """The words of the command line; an option that stands for the last word, instead of it."""
    words = (*operation.command[:-1], operation.options[0]) if operation.options else operation.command
    return " ".join(words)


def _row(operation):
    cells = (f"`{_words(operation)}`", f"`{operation.method} {PREFIX}{routes.path(operation)}`",
             f"`{operation.name}`", operation.help)
    return f"| {' | '.join(cells)} |\n"


def text():
    """The whole page."""
    return "".join((_HEAD, *map(_row, operations.all()), _TAIL,
                    *(f"| `{_words(each)}` | {each.help} |\n" for each in local.OPERATIONS)))


if __name__ == "__main__":
    with open(PAGE, "w", encoding="utf-8") as page:
        page.write(text())
