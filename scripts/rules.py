"""Holds those rules of CONTRIBUTING.md that a look at the text can hold, and clang-format and clang-tidy cannot.

    rules.py [FILE...]      default: every file that git knows

Prints a line for each finding ("FILE:LINE: what is wrong, and what would be right"); status 1 when there is one. Rules
about the whole tree (shared header names, tests that mirror the sources) are checked whatever files are named.
"""

import ast
import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
COLUMNS = 120

# Which rooms' headers a room may include, besides its own. The table in docs/architecture.md says the same in words.
MAY_USE = {
    "base": (),
    "libzvCommon": ("base",),
    "platform/include": (),
    "platform/libcsi": ("platform", "libzvCommon", "base"),
    "platform/libzvCtrlD": ("platform", "libzvCommon", "base"),
    "platform/protocol": ("libzvCommon", "base"),
    "src/ble_link": ("libzvCommon", "platform/include", "base"),
    "src/command_analytics": ("src/response", "libzvCommon", "platform/include", "base"),
    "src/command_ble": ("src/ble_link", "libzvCommon", "platform/include", "base"),
    "src/command_execute": ("src/response", "libzvCommon", "platform/include", "base"),
    "src/response": ("base",),
    "src/scgi": ("src/zvControl", "src/response", "libzvCommon", "base"),
    "src/zvControl": ("src", "libzvCommon", "platform/include", "base"),
    "camera/messages": ("libzvCommon", "base"),
    "camera/daemon": ("camera/messages", "libzvCommon", "base"),
    "camera/zvBleD": ("camera/daemon", "camera/messages", "platform", "libzvCommon", "base"),
    "camera/zvControlD": ("camera/daemon", "camera/messages", "platform", "libzvCommon", "base"),
    "camera/zvNetD": ("camera/daemon", "camera/messages", "platform", "libzvCommon", "base"),
    "camera/zvStream": ("base",),
}

# Which modules of camera/zvcamera a room of it may import, besides its own modules. What lies in no room brings a
# camera up, or leads to its programs, and may import all but the faces.
PYTHON_ROOM = "camera/zvcamera"
PYTHON_MAY_USE = {
    "messages": ("admin",),
    "operations": ("admin", "messages"),
    "zvcam": ("admin", "find", "http_rules", "link", "messages", "operations", "version"),
    "control": ("admin", "inside", "link", "operations"),
    "inside": ("admin", "control", "http_rules", "messages", "operations", "sandbox"),
}
FACES = ("zvcam", "control")

# The page that the simulated camera serves.
PAGE = "camera/page"

# Sources whose test has another name, and why a test of their own name would be empty.
TESTED_ELSEWHERE = {
    # The programs as a whole.
    "camera/zvBleD/main.cpp": "tests/unit/camera/zvBleD/bleDaemon.cpp",
    "camera/zvControlD/main.cpp": "tests/unit/camera/zvControlD/controlDaemon.cpp",
    "camera/zvNetD/main.cpp": "tests/unit/camera/zvNetD/netDaemon.cpp",
    "camera/zvStream/main.cpp": "tests/unit/camera/zvStream/streamLog.cpp",
    "camera/daemon/daemon.cpp": "tests/unit/camera/zvControlD/controlDaemon.cpp",
    # Through the daemon, or the file, that they are made for.
    "camera/daemon/log.cpp": "tests/unit/camera/zvBleD/bleDaemon.cpp",
    "camera/daemon/queueService.cpp": "tests/unit/camera/zvNetD/netDaemon.cpp",
    "camera/daemon/unixSocket.cpp": "tests/unit/camera/daemon/adminServer.cpp",
    "camera/messages/commandNames.cpp": "tests/unit/camera/messages/faultRule.cpp",
    "camera/zvBleD/radioAdmin.cpp": "tests/unit/camera/zvBleD/bleDaemon.cpp",
    "camera/zvBleD/whitelist.cpp": "tests/unit/camera/zvBleD/radioCommands.cpp",
    "camera/zvNetD/controlLink.cpp": "tests/unit/camera/zvNetD/netDaemon.cpp",
}

# The same for modules of camera/zvcamera.
PYTHON_TESTED_ELSEWHERE = {
    "admin.py": "tests/camera/test_link.py",
    "camera.py": "tests/e2e/test_launcher.py",
    "check.py": "tests/e2e/test_run.py",
    "command.py": "tests/e2e/test_exec.py",
    "namespace.py": "tests/e2e/test_launcher.py",
    "options.py": "tests/e2e/test_first_run.py",
    "machine.py": "tests/e2e/test_first_run.py",
    "ready_file.py": "tests/e2e/test_exec.py",
    "sandbox.py": "tests/e2e/test_wall.py",
    "serving.py": "tests/e2e/test_exec.py",
    "testing.py": "tests/e2e/test_ci_page.py",
    "terminal.py": "tests/e2e/test_run.py",
    "version.py": "tests/camera/zvcam/test_main.py",
    **{f"control/{name}.py": "tests/camera/control/test_server.py" for name in (
        "child", "events", "follower", "listing")},
    # Through the operations that are made of them, and their command lines.
    **{f"operations/{name}.py": "tests/camera/operations/test_operations.py" for name in (
        "analytics", "ble", "daemons", "queues", "scanning", "state", "stream")},
    **{f"zvcam/{name}.py": "tests/camera/zvcam/test_main.py" for name in ("command", "explain", "settings", "tree")},
    "operations/ble_text.py": "tests/e2e/test_zvcam.py",
    # Inside the camera.
    "inside/children.py": "tests/e2e/test_launcher.py",
    "inside/confine.py": "tests/e2e/test_wall.py",
    "inside/collector.py": "tests/e2e/test_launcher.py",
    "inside/guard.py": "tests/e2e/test_wall.py",
    "inside/gateways.py": "tests/e2e/test_reset.py",
    "inside/reports.py": "tests/e2e/test_launcher.py",
    "inside/scenario.py": "tests/e2e/test_reset.py",
    **{f"inside/{name}.py": "tests/e2e/test_requests.py" for name in ("admin_server", "arguments", "commands")},
    **{f"inside/{name}.py": "tests/e2e/test_faults_http.py" for name in (
        "entrance", "front", "front_connection", "front_link")},
    "inside/stream.py": "tests/e2e/test_execute.py",
    "inside/supervisor.py": "tests/e2e/test_launcher.py",
    "inside/web.py": "tests/e2e/test_web.py",
}

_LOWER_CAMEL = re.compile(r"[a-z][A-Za-z0-9]*$")
_SNAKE = re.compile(r"(__)?[a-z][a-z0-9_]*$")
_MODULES = ("command_ble", "command_execute", "command_analytics")  # names of log lines
_TEST = re.compile(r"\bTEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)")
_UPPER_CAMEL = re.compile(r"[A-Z][A-Za-z0-9]*$")
_LITERAL = r"""(?:-?\d[\w'.]*|"(?:[^"\\]|\\.)*"|true|false|nullptr|std::nullopt|'(?:[^'\\]|\\.)+')"""
# A call or a name first, a literal last.
_LATE_LITERAL = re.compile(rf"\b(?:EXPECT|ASSERT)_(?:EQ|NE|STREQ|STRNE)\((?!\s*{_LITERAL}\s*,)"
                           rf"[^,()]*(?:\([^()]*\)[^,()]*)*,\s*{_LITERAL}\)")
_BARE_INTEGER = re.compile(r"(?<![\w:.>])u?int(?:8|16|32|64)_t\b")
# What makes markup or code of a text, and addresses beyond the camera (but for the name of SVG).
_MARKUP = re.compile(r"\b(?:innerHTML|outerHTML|insertAdjacentHTML|document\.write|eval|Function|DOMParser)\b"
                     r"|javascript:|https?://(?!www\.w3\.org/2000/svg\b)|[ \"]on[a-z]+=|style=")
_INCLUDE = re.compile(r'^#include "([^"]+)"', re.MULTILINE)


def _git_files():
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=ROOT,
                            capture_output=True, check=True).stdout.decode()
    return sorted(name for name in set(listed.split("\0")) if name and os.path.exists(os.path.join(ROOT, name)))


def _text(name):
    with open(os.path.join(ROOT, name), encoding="utf-8") as file:
        return file.read()


def _line(text, position):
    return text.count("\n", 0, position) + 1


def _without_comments(text):
    """Comments become blanks, so that places stay."""
    return re.sub(r'//[^\n]*|/\*.*?\*/|("(?:[^"\\\n]|\\.)*")',
                  lambda match: match[1] or re.sub(r"[^\n]", " ", match[0]), text, flags=re.DOTALL)


def file_name(name):
    stem, ending = os.path.splitext(os.path.basename(name))
    if ending in (".h", ".c", ".cpp") and not _LOWER_CAMEL.match(stem) and stem not in _MODULES:
        yield f"{name}:1: a C++ file is named in lowerCamelCase, after what it holds"
    if ending == ".py" and not _SNAKE.match(stem):
        yield f"{name}:1: a Python file is named in snake_case"
    if ending in (".js", ".css", ".html") and name.startswith(f"{PAGE}/") and not _LOWER_CAMEL.match(stem):
        yield f"{name}:1: a file of the page is named in lowerCamelCase, after what it holds"
    if ending == ".cmake" and name.startswith("cmake/Zv") and not _UPPER_CAMEL.match(stem):
        yield f"{name}:1: a CMake module is named in UpperCamelCase"


def test_names(name, text):
    for match in _TEST.finditer(text):
        for word in match.groups():
            if not _UPPER_CAMEL.match(word):
                place = f"{name}:{_line(text, match.start())}"
                yield f"{place}: test suites and tests are named in UpperCamelCase, not {word}"


def expected_first(name, text):
    for match in _LATE_LITERAL.finditer(text):
        yield f"{name}:{_line(text, match.start())}: the expected value comes first"


def integers(name, text):
    text = re.sub(r'"(?:[^"\\\n]|\\.)*"', lambda match: " " * len(match[0]), text)
    if name.endswith(".c") or os.path.dirname(name) in ("libzvCommon/include", "platform/include"):
        return
    for match in _BARE_INTEGER.finditer(text):
        yield f"{name}:{_line(text, match.start())}: write std::{match[0]}"


def oddities(name, text):
    for match in re.finditer(r"\b[Dd]eliberate(ly)?\b", text):
        yield f'{name}:{_line(text, match.start())}: mark what the interface fixes by "Fixed:" and who depends on it'


def columns(name, text):
    fenced = False
    for number, line in enumerate(text.split("\n"), 1):
        fenced ^= line.startswith("```")
        prose = not (fenced or line.startswith(("|", "    ", "<"))) if name.endswith(".md") else "://" not in line
        if len(line) > COLUMNS and prose:
            yield f"{name}:{number}: {len(line)} columns, {COLUMNS} at most"


def page_texts(name, text):
    """The camera's texts are never markup, and the page loads nothing from elsewhere."""
    for match in _MARKUP.finditer(text):
        yield f"{name}:{_line(text, match.start())}: no {match[0].strip()} in the page; modules/dom.js makes its nodes"


def _room(name):
    """The longest room of MAY_USE that a file lies in; None for files that may use everything."""
    rooms = [room for room in MAY_USE if name.startswith(room + "/")]
    return max(rooms, key=len) if rooms else None


def has_room(name):
    sources = name.endswith((".h", ".c", ".cpp")) and not name.startswith(
        ("tests/", "bench/", "cmake/", "docs/", "fuzz/"))
    if sources and _room(name) is None:
        yield f"{name}:1: lies in no room of MAY_USE in scripts/rules.py"


def uses(name, text, headers):
    room = _room(name)
    if room is None:
        return
    for match in _INCLUDE.finditer(text):
        header = headers.get(os.path.basename(match[1]))
        if header and not any(header.startswith(allowed + "/") for allowed in (room, *MAY_USE[room])):
            yield f"{name}:{_line(text, match.start())}: {room} may not use {header}"


def shared_headers(files):
    seen = {}
    for name in files:
        if name.endswith(".h"):
            other = seen.setdefault(os.path.basename(name).lower(), name)
            if other != name:
                yield f"{name}:1: {other} has the same name"


def mirrored(files):
    known = set(files)
    for name in files:
        room = _room(name)
        if room is None or not name.endswith(".cpp") and not (room == "base" and name.endswith(".h")):
            continue
        folder = os.path.dirname(name).removeprefix("src/").replace("libzvCommon/src", "libzvCommon")
        folder = "platform" if folder.startswith("platform/") else folder
        test = f"tests/unit/{folder}/{os.path.splitext(os.path.basename(name))[0]}.cpp"
        elsewhere = TESTED_ELSEWHERE.get(name)
        if test in known and elsewhere:
            yield f"{name}:1: has a test of its own name; strike it from the list of rules.py"
        elif test not in known and not elsewhere:
            yield f"{name}:1: no test {test}, and none named in the list of rules.py"
        elif elsewhere and elsewhere not in known:
            yield f"{name}:1: its test {elsewhere} does not exist"
    for name in TESTED_ELSEWHERE:
        if name not in known:
            yield f"scripts/rules.py:1: {name} does not exist any more"


_IMPORT = re.compile(r"^ *from (\.\.?)([a-z_]*)(?:[.a-z_]*) import ([a-zA-Z_, ]+)", re.MULTILINE)


def python_uses(name, text):
    """Imports of a module of the camera's package that its room may not make."""
    inner = name.removeprefix(f"{PYTHON_ROOM}/").split("/")
    room = inner[0] if len(inner) > 1 else None
    for match in _IMPORT.finditer(text):
        dots, module, names = match.groups()
        if len(dots) != (2 if room else 1):
            continue  # of its own room
        for used in [module] if module else [each.split(" as ")[0].strip() for each in names.split(",")]:
            allowed = used in PYTHON_MAY_USE[room] if room in PYTHON_MAY_USE else used not in FACES
            if not allowed:
                yield f"{name}:{_line(text, match.start())}: {room or 'what is in no room'} may not use {used}"


def python_twice(name, text):
    """Functions and classes that a later one of the same name and place hides. Decorators may want the name again."""
    for block in ast.walk(ast.parse(text)):
        seen = set()
        for each in block.body if isinstance(block, (ast.Module, ast.ClassDef)) else ():
            if isinstance(each, (ast.FunctionDef, ast.AsyncFunctionDef, ast.ClassDef)) and not each.decorator_list:
                if each.name in seen:
                    yield f"{name}:{each.lineno}: hides the {each.name} before it"
                seen.add(each.name)


def python_mirrored(files):
    """Modules of the camera's package without a test: tests/camera/[ROOM/]test_[ROOM_]NAME.py, or for what lies in no
    room tests/e2e/test_NAME.py, too."""
    known = set(files)
    for name in files:
        if not name.startswith(f"{PYTHON_ROOM}/") or not name.endswith(".py") or name.endswith("__init__.py"):
            continue
        inner = name.removeprefix(f"{PYTHON_ROOM}/")
        folder, module = os.path.split(inner)
        tests = {os.path.join("tests/camera", place, f"test_{prefix}{module}")
                 for place in (folder, "") for prefix in ("", f"{folder}_" if folder else "")}
        tests.update([] if folder else [f"tests/e2e/test_{module}"])
        elsewhere = PYTHON_TESTED_ELSEWHERE.get(inner)
        if tests & known and elsewhere:
            yield f"{name}:1: has a test of its own name; strike it from the list of rules.py"
        elif not tests & known and not elsewhere:
            mirror = os.path.join("tests/camera", folder, f"test_{module}")
            yield f"{name}:1: no test {mirror}, and none named in the list of rules.py"
        elif elsewhere and elsewhere not in known:
            yield f"{name}:1: its test {elsewhere} does not exist"
    for name in PYTHON_TESTED_ELSEWHERE:
        if f"{PYTHON_ROOM}/{name}" not in known:
            yield f"scripts/rules.py:1: {PYTHON_ROOM}/{name} does not exist any more"


def findings(names, files):
    headers = {os.path.basename(name): name for name in files if name.endswith(".h") and not name.startswith("tests/")}
    for name in names:
        yield from file_name(name)
        yield from has_room(name)
        if name.endswith((".h", ".c", ".cpp")):
            text = _text(name)
            code = _without_comments(text)
            yield from test_names(name, code)
            yield from expected_first(name, code)
            yield from integers(name, code)
            yield from oddities(name, text)
            yield from uses(name, text, headers)
        elif name.endswith((".py", ".md", ".cmake", ".js", ".css")) or os.path.basename(name) == "CMakeLists.txt":
            yield from columns(name, _text(name))
        if name.startswith(f"{PAGE}/"):
            yield from page_texts(name, _text(name))
        if name.startswith(f"{PYTHON_ROOM}/") and name.endswith(".py"):
            yield from python_uses(name, _text(name))
        if name.endswith(".py"):
            yield from python_twice(name, _text(name))
    yield from shared_headers(files)
    yield from mirrored(files)
    yield from python_mirrored(files)


def main():
    files = _git_files()
    names = [os.path.relpath(os.path.abspath(name), ROOT) for name in sys.argv[1:]] or files
    wrong = list(findings(names, files))
    for line in wrong:
        print(line)
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
