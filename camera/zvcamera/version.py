"""The version of the sources that the camera was made of. CMakeLists.txt alone tells it."""

import os
import re

_PACKAGE = os.path.dirname(os.path.abspath(__file__))
# Beside the installed package, and above the sources.
_PLACES = (os.path.join(_PACKAGE, "..", "version.txt"), os.path.join(_PACKAGE, "..", "..", "CMakeLists.txt"))
_VERSION = re.compile(r"^(?:project\(\w+ VERSION )?(\d+(?:\.\d+)+)\b", re.MULTILINE)


def version():
    """For example "1.0.0"."""
    for path in _PLACES:
        try:
            with open(path, encoding="utf-8") as file:
                found = _VERSION.search(file.read())
        except FileNotFoundError:
            continue
        if found:
            return found[1]
    return "unknown"
