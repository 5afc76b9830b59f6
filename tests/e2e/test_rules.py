"""scripts/rules.py: each rule finds what breaks it, and leaves the rest alone."""

import os
import sys

import house
import pytest

sys.path.insert(0, os.path.join(house.ROOT, "scripts"))
import rules  # noqa: E402


@pytest.mark.parametrize(("check", "wrong", "right"), [
    (rules.test_names, "TEST(Tlv, finds_the_first) {", "TEST_F(Tlv, FindsTheFirst) {"),
    (rules.test_names, "TEST(zvTlv, FindsTheFirst) {", "TEST(ZvTlv, FindsTheFirst) {"),
    (rules.expected_first, "EXPECT_EQ(open(), -1);", "EXPECT_EQ(-1, open());"),
    (rules.expected_first, 'ASSERT_STREQ(name(code, "x"), "y");', 'ASSERT_STREQ("y", name(code, "x"));'),
    (rules.expected_first, "EXPECT_EQ(list.size(), 3U);", "EXPECT_EQ(list.size(), other.size());"),
    (rules.integers, "uint8_t byte;", 'std::uint8_t byte; log("int8_t");'),
    (rules.oddities, "// Deliberately so.", "// Fixed: clients read it."),
    (rules.columns, "x" * 121, "x" * 120),
])
def test_rule(check, wrong, right):
    assert [line.split(": ")[0] for line in check("src/x/y.cpp", f"\n{wrong}\n")] == ["src/x/y.cpp:2"]
    assert list(check("src/x/y.cpp", f"\n{right}\n")) == []


@pytest.mark.parametrize(("wrong", "right"), [
    ("src/x/Queue.cpp", "src/x/queue.cpp"), ("src/x/ble_link.h", "src/command_ble/command_ble.h"),
    ("tests/e2e/testRun.py", "tests/e2e/test_run.py"), ("cmake/Zv-Test.cmake", "cmake/ZvTest.cmake")])
def test_file_name(wrong, right):
    assert len(list(rules.file_name(wrong))) == 1
    assert list(rules.file_name(right)) == []


@pytest.mark.parametrize("wrong", ['place.innerHTML = name;', '<a href="http://camera.example/">', '<p style="x">',
                                   '<p onclick="x">', "new Function(name)"])
def test_the_page_makes_no_markup_of_texts(wrong):
    found = list(rules.page_texts("camera/page/x.js", f"\n{wrong}\n"))
    assert [line.split(": ")[0] for line in found] == ["camera/page/x.js:2"]
    right = 'const SVG = "http://www.w3.org/2000/svg"; source.onopen = evaluate; node("p", {on: {click}}, html);'
    assert list(rules.page_texts("camera/page/x.js", right)) == []


def test_every_source_lies_in_a_room():
    assert list(rules.has_room("camera/zvNewD/newDaemon.cpp")) == [
        "camera/zvNewD/newDaemon.cpp:1: lies in no room of MAY_USE in scripts/rules.py"]
    assert list(rules.has_room("camera/zvNetD/netDaemon.cpp")) == list(rules.has_room("tests/unit/x.cpp")) == []


def test_rooms_use_only_what_they_may():
    headers = {"queue.h": "camera/daemon/queue.h", "zvLog.h": "libzvCommon/include/zvLog.h"}
    text = '#include "zvLog.h"\n#include "queue.h"\n'
    assert list(rules.uses("src/ble_link/bleLink.cpp", text, headers)) == [
        "src/ble_link/bleLink.cpp:2: src/ble_link may not use camera/daemon/queue.h"]
    assert list(rules.uses("camera/zvNetD/netDaemon.cpp", text, headers)) == []


def test_headers_share_no_name():
    assert list(rules.shared_headers(["camera/a/cameraState.h", "src/b/CameraState.h", "src/b/c.h"])) == [
        "src/b/CameraState.h:1: camera/a/cameraState.h has the same name"]


def test_sources_have_tests_of_their_name(monkeypatch):
    monkeypatch.setattr(rules, "TESTED_ELSEWHERE", {"src/ble_link/b.cpp": "tests/unit/ble_link/a.cpp",
                                                    "src/ble_link/gone.cpp": "tests/unit/ble_link/a.cpp"})
    files = ["src/ble_link/a.cpp", "src/ble_link/b.cpp", "src/ble_link/c.cpp", "tests/unit/ble_link/a.cpp"]
    assert [line.split(":")[0] for line in rules.mirrored(files)] == ["src/ble_link/c.cpp", "scripts/rules.py"]


def test_modules_of_the_camera_use_only_what_they_may():
    text = ("\nfrom ..admin import AdminError\nfrom .. import find, operations\nfrom . import text\n"
            "from ..zvcam.main import run\n")
    assert list(rules.python_uses("camera/zvcamera/messages/record.py", text)) == [
        "camera/zvcamera/messages/record.py:3: messages may not use find",
        "camera/zvcamera/messages/record.py:3: messages may not use operations",
        "camera/zvcamera/messages/record.py:5: messages may not use zvcam"]
    assert list(rules.python_uses("camera/zvcamera/link.py", "from . import admin\nfrom .zvcam import tree\n")) == [
        "camera/zvcamera/link.py:2: what is in no room may not use zvcam"]


def test_a_function_hides_no_other():
    text = "class A:\n    def ask(self): ...\n    def ask(self): ...\n    @property\n    def x(self): ...\n"
    assert list(rules.python_twice("a.py", text + "    @x.setter\n    def x(self, x): ...\ndef ask(): ...\n")) == [
        "a.py:3: hides the ask before it"]


def test_modules_of_the_camera_have_tests_of_their_name(monkeypatch):
    monkeypatch.setattr(rules, "PYTHON_TESTED_ELSEWHERE", {"zvcam/b.py": "tests/e2e/test_x.py",
                                                           "gone.py": "tests/e2e/test_x.py"})
    modules = ("__init__.py", "a.py", "zvcam/a.py", "zvcam/b.py", "zvcam/c.py", "w.py")
    files = [*(f"camera/zvcamera/{name}" for name in modules),
             "tests/camera/zvcam/test_a.py", "tests/e2e/test_w.py", "tests/e2e/test_x.py"]
    assert [line.split(":")[0] for line in rules.python_mirrored(files)] == [
        "camera/zvcamera/a.py", "camera/zvcamera/zvcam/c.py", "scripts/rules.py"]
