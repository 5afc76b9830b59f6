"""scripts/build, with a project of a few steps, and what ./run does around it."""

import json
import os
import pty
import re
import shutil
import signal
import socket
import subprocess
import time

import house
import pytest

PRESETS = {"version": 6, "configurePresets": [
    {"name": "base", "hidden": True, "generator": "Ninja", "binaryDir": "${sourceDir}/build/${presetName}"},
    {"name": "release", "displayName": "What is tested", "inherits": "base"}]}
PROJECT = """
cmake_minimum_required(VERSION 3.25)
project(steps NONE)
foreach(step 1 2 3)
  add_custom_target(step_${step} ALL COMMAND echo told by step ${step} VERBATIM)
endforeach()
add_custom_target(broken COMMAND sh -c "echo this is wrong; exit 1" VERBATIM)
add_custom_target(late COMMAND touch ${CMAKE_SOURCE_DIR}/begun COMMAND sleep 60 VERBATIM)
add_custom_target(simulated_camera COMMAND sh -c "echo no camera; exit 1" VERBATIM)
add_dependencies(broken step_1 step_2 step_3)
"""


@pytest.fixture
def clone(open_path):
    """A folder, with a blank in its name, that has ./run and scripts/build and such a project."""
    folder = open_path / "a clone"
    folder.mkdir()
    for name in ("run", "scripts", "camera"):
        source = os.path.join(house.ROOT, name)
        (shutil.copytree if os.path.isdir(source) else shutil.copy)(source, folder / name)
    (folder / "CMakePresets.json").write_text(json.dumps(PRESETS))
    (folder / "CMakeLists.txt").write_text(PROJECT)
    return folder


def build(clone, *words):
    return subprocess.run([clone / "scripts" / "build", *words], cwd="/", capture_output=True, text=True, timeout=60,
                          check=False)


def test_beginning_and_end_are_told(clone):
    done = build(clone, "release")
    assert (done.returncode, done.stdout) == (0, "")
    assert re.fullmatch(r"building preset release \.\.\.\nbuilding preset release done after \d+ s\n", done.stderr)


def test_terminal_counts_the_steps(clone):
    ours, its = pty.openpty()
    with os.fdopen(ours, "rb", buffering=0) as terminal:
        process = subprocess.Popen([clone / "scripts" / "build", "release"], stdin=its, stdout=its, stderr=its)
        os.close(its)
        shown = b""
        try:
            while block := terminal.read(1024):
                shown += block
        except OSError:
            pass  # nobody has the other end any more
        assert process.wait(60) == 0
    assert shown.count(b"\n") == 1
    assert b"building preset release 2/3" in shown
    assert re.search(rb"done after \d+ s\r\n$", shown)


def test_failed_build_is_shown_from_the_failure_on(clone):
    done = build(clone, "release", "broken")
    assert done.returncode == 1
    assert "told by" not in done.stderr
    first, second, third = done.stderr.splitlines()[:3]
    assert first == "building preset release ..."
    assert re.fullmatch(r"building preset release failed after \d+ s", second)
    assert third.startswith("FAILED: ")
    assert "this is wrong" in done.stderr


def test_failed_configuration_is_shown_from_the_failure_on(clone):
    with open(clone / "CMakeLists.txt", "a", encoding="utf-8") as project:
        project.write('message(STATUS "all is well")\nmessage(FATAL_ERROR "this is wrong")\n')
    done = build(clone, "release")
    assert done.returncode == 1
    assert "\nCMake Error at CMakeLists.txt" in done.stderr and "this is wrong" in done.stderr
    assert "all is well" not in done.stderr


def test_help_and_wrong_words(clone):
    done = build(clone, "--help")
    assert (done.returncode, done.stderr) == (0, "")
    assert re.search(r"^ *release +What is tested$", done.stdout, re.MULTILINE) and "base" not in done.stdout
    for words in ((), ("debug",), ("base",), ("release", "--fast")):
        done = build(clone, *words)
        assert (done.returncode, done.stdout) == (2, "")
    assert not (clone / "build").exists()


def test_second_build_of_a_preset_waits_for_the_first(clone):
    first = subprocess.Popen([clone / "scripts" / "build", "release", "late"], stderr=subprocess.DEVNULL)
    try:
        while not (clone / "begun").exists():
            assert first.poll() is None
            time.sleep(0.02)
        second = subprocess.Popen([clone / "scripts" / "build", "release"], stderr=subprocess.PIPE, text=True)
        with second:
            assert second.stderr.readline() == "waiting for another build of preset release\n"
            first.send_signal(signal.SIGTERM)
            assert first.wait(20) == 128 + signal.SIGTERM
            assert second.wait(60) == 0
    finally:
        first.kill()
        first.wait()


def run(clone, *options):
    """./run, which builds."""
    env = {"PATH": os.environ["PATH"], "TMPDIR": str(clone.parent)}
    return subprocess.run([clone / "run", *options], cwd=clone.parent, env=env, capture_output=True, text=True,
                          timeout=60, check=False)


def test_what_is_wrong_with_the_options_is_told_before_the_build(clone):
    (clone / "text").write_text("no JSON")
    (clone / "list").write_text("[1]")
    no_json = f"{clone}/text is no JSON document: Expecting value: line 1 column 1 (char 0)"
    scenario = ("--port", "0", "--scenario")
    with socket.create_server(("127.0.0.1", 0)) as taken:
        port = taken.getsockname()[1]
        for options, status, complaint in (
                (("--port", "abc"), 2, "--port: must be a whole number from 0 to 65535, not 'abc'"),
                (("--colour",), 2, "unrecognized arguments: --colour"),
                (("--allow-host", "a b"), 2, "--allow-host: must be a host name or address, not 'a b'"),
                (("--cors", "box"), 2, "--cors: must be an origin such as http://localhost:3000, not 'box'"),
                (("--port", str(port)), 1, f"port {port} of 127.0.0.1 cannot be used: Address already in use; "
                 "--port 0 takes a free one"),
                ((*scenario, "/nowhere"), 1, "/nowhere does not exist"),
                ((*scenario, "/etc"), 1, "/etc cannot be read: Is a directory"),
                ((*scenario, "a clone/text"), 1, no_json),
                ((*scenario, "a clone/list"), 1, f"{clone}/list is a JSON document, but no object"),
                (("--port", "0", "--ready-file", "/nowhere/ready"), 1,
                 "/nowhere/ready cannot be the ready file: No such file or directory")):
            done = run(clone, *options)
            assert (done.returncode, done.stdout, done.stderr) == (status, "", f"run: {complaint}\n")
    assert not (clone / "build").exists()


def test_clone_that_cannot_be_written(clone):
    """Tells the way out, and takes it."""
    folder = clone.parent / "elsewhere"
    command = ["bwrap", "--bind", "/", "/", "--ro-bind", clone, clone, "--dev-bind", "/dev", "/dev", "--",
               clone / "scripts" / "build", "release"]
    env = {"PATH": os.environ["PATH"]}
    done = subprocess.run(command, env=env, capture_output=True, text=True, timeout=60, check=False)
    assert (done.returncode, done.stdout) == (1, "")
    assert done.stderr == f"scripts/build: {clone}/build: Read-only file system\n" \
        "scripts/build: ZV_BUILD_ROOT=FOLDER builds in another folder\n"
    done = subprocess.run(command, env={**env, "ZV_BUILD_ROOT": folder}, capture_output=True, text=True, timeout=60,
                          check=False)
    assert done.returncode == 0, done.stderr
    assert (folder / "release" / "build.ninja").exists()


def test_failed_build_ends_the_run(clone):
    done = run(clone, "--port", "0")
    assert (done.returncode, done.stdout) == (1, "")
    assert done.stderr.startswith("building preset release ...\n") and "no camera" in done.stderr
    assert "Traceback" not in done.stderr


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_run_that_is_ended_ends_its_build(clone, number):
    with open(clone / "CMakeLists.txt", "a", encoding="utf-8") as project:
        project.write("add_dependencies(simulated_camera late)\n")
    env = {"PATH": os.environ["PATH"], "TMPDIR": str(clone.parent)}
    process = subprocess.Popen([clone / "run", "--port", "0"], env=env, stderr=subprocess.PIPE, text=True)
    with process:
        while not (clone / "begun").exists():
            assert process.poll() is None
            time.sleep(0.02)
        process.send_signal(number)
        assert process.wait(20) == 0
        assert "Traceback" not in process.stderr.read()
    assert build(clone, "release").stderr.startswith("building")  # "waiting" would mean that the ended build still runs
