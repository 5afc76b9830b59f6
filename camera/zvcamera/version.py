"""The version: CMakeLists.txt has it, and an installed camera a file beside its scenarios."""

import os
import re

_FOLDER = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def _text(*names):
    try:
        with open(os.path.join(_FOLDER, *names), encoding="utf-8") as file:
            return file.read()
    except OSError:
        return ""


def version():
    project = re.search(r"^project\(\w+ VERSION ([0-9.]+)", _text("..", "CMakeLists.txt"), re.MULTILINE)
    return project[1] if project else _text("version").strip() or "without a version"
