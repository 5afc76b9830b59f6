"""What zvcam does beside a camera."""

import json
import os

import pytest
from zvcamera import find
from zvcamera.zvcam import local, main


@pytest.fixture
def zvcam(capsys):
    def run(*words):
        status = main.run(list(words))
        out, err = capsys.readouterr()
        return status, out, err
    return run


def test_lists_the_cameras_that_run(zvcam, programs):
    assert zvcam("list") == (0, "no camera runs\n", "")
    assert zvcam("list", "--json") == (0, "[]\n", "")
    programs.serve("supervisor", scenario={"name": "moving", "scenario": {}})
    os.utime(find.leave_record(8080, programs.run_dir), (1795230000, 1795230000))
    pid = str(os.getpid())
    assert zvcam("list") == (0, f"PORT  SCENARIO  SINCE                 {'PID':<{len(pid)}}  ADDRESS\n"
                             f"8080  moving    2026-11-21T03:00:00Z  {pid}  http://127.0.0.1:8080/control\n", "")
    assert json.loads(zvcam("--json", "list")[1]) == [
        {"address": "http://127.0.0.1:8080/control", "pid": os.getpid(), "port": 8080, "run_dir": programs.run_dir,
         "scenario": "moving", "since": 1795230000.0}]


def test_a_scenario_that_comes_with_the_camera_is_listed_by_its_name():
    listed = {"port": 1, "since": None, "pid": None, "address": "a"}
    paths = (os.path.join(local.values.SCENARIOS, "moving.json"), "/else/where\n.json", None)
    lines = local._list_text([{**listed, "scenario": path} for path in paths]).splitlines()
    assert [line.split()[1] for line in lines[1:]] == ["moving", "/else/where\\n.json", "-"]


def test_a_camera_that_tells_nonsense_hides_no_other(zvcam, programs):
    programs.serve("supervisor", scenario={"name": {"no": "text"}})
    find.leave_record(8080, programs.run_dir)
    status, out, _ = zvcam("list")
    assert (status, out.splitlines()[1].split()[:2]) == (0, ["8080", "-"])


def test_a_camera_that_tells_no_scenario_is_listed(zvcam, programs):
    programs.serve("supervisor")
    os.makedirs(os.path.join(find.base(), "8080"), mode=0o700)
    os.symlink(programs.run_dir, os.path.join(find.base(), "8080", "run"))
    assert zvcam("list")[1].splitlines()[1].split() == ["8080", "-", "-", "-", "http://127.0.0.1:8080/control"]


def test_lists_the_scenarios_that_come_with_the_camera(zvcam):
    status, out, err = zvcam("scenarios")
    assert (status, err) == (0, "")
    assert out.splitlines()[1].startswith("default             A lively camera: ")
    found = json.loads(zvcam("scenarios", "--json")[1])
    assert [each["name"] for each in found] == sorted(each["name"] for each in found)
    assert all(each["description"] and os.path.exists(each["path"]) for each in found)


@pytest.fixture
def daemons(tmp_path, monkeypatch):
    """Programs that check scenarios: all but zvNetD are content."""
    monkeypatch.setattr(local, "PROGRAMS", str(tmp_path))
    for name in ("zvControlD", "zvBleD"):
        _program(tmp_path / name, "exit 0")
    _program(tmp_path / "zvNetD", '''grep -q rssi "$2" || exit 0
echo "zvNetD: $2: ble.devices[2].rssi: must be a whole number from -127 to 20" >&2; exit 1''')
    return tmp_path


def _program(path, script):
    path.write_text(f"#!/bin/sh\n[ $1 = --check ] || exit 9\n{script}\n")
    path.chmod(0o755)


def test_checks_a_scenario_by_the_daemons_own_eyes(zvcam, daemons, monkeypatch):
    monkeypatch.chdir(daemons)
    (daemons / "good.json").write_text("{}")
    (daemons / "wrong.json").write_text('{"rssi": 500}')
    assert zvcam("check", "good.json") == (0, "good.json: right\n", "")
    assert zvcam("check", "--json", "good.json") == (0, '{"file":"good.json","right":true}\n', "")
    assert zvcam("check", "wrong.json") == (
        2, "", "zvcam: wrong.json: ble.devices[2].rssi: must be a whole number from -127 to 20\n")
    assert zvcam("check", "missing.json") == (2, "", "zvcam: missing.json: No such file or directory\n")
    assert zvcam("check", "mving") == (
        2, "", "zvcam: mving: No such file or directory, and no scenario of this name: did you mean moving?\n")
    assert zvcam("check", "empty") == (0, "empty: right\n", "")
    os.remove(daemons / "zvBleD")
    assert zvcam("check", "good.json") == (1, "", f"zvcam: {daemons}/zvBleD: No such file or directory\n")


@pytest.mark.parametrize("shell", ["bash", "zsh", "fish"])
def test_prints_what_a_shell_needs(zvcam, shell):
    status, out, err = zvcam("completion", shell)
    assert (status, err) == (0, "")
    assert "_ZVCAM_COMPLETE" in out and "zvcam" in out


def test_checks_the_rules_for_paths_itself(zvcam, daemons, monkeypatch):
    monkeypatch.chdir(daemons)
    (daemons / "wrong.json").write_text('{"faults": [{"command": "/x", "fault": "status", "status": 1}]}')
    assert zvcam("check", "wrong.json") == (
        2, "", "zvcam: wrong.json: faults[0].status: must be a whole number from 200 to 599\n")
