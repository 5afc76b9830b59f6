"""The fixtures for tests of clients, in a pytest of their own."""

import os
import re
import socket
import subprocess

import house
import pytest

pytestmark = pytest.mark.thorough


@pytest.fixture
def tests(open_path, build_dir):
    """Runs a text as a file of tests; returns what pytest has printed."""
    def run(text, *options, status=0):
        (open_path / "test_some.py").write_text(text)
        env = {"PATH": os.environ["PATH"], "TMPDIR": str(open_path), "PYTHONDONTWRITEBYTECODE": "1",
               "PYTHONPATH": os.path.join(house.ROOT, "camera")}
        done = subprocess.run(["/usr/bin/python3", "-m", "pytest", "-p", "zvcamera.pytest_plugin", "-p",
                               "no:cacheprovider", "--strict-markers", f"--camera-build-dir={build_dir}", *options],
                              cwd=open_path, env=env, capture_output=True, text=True, timeout=120, check=False)
        assert done.returncode == status, done.stdout + done.stderr
        return done.stdout
    return run


def outcome(output):
    return re.search(r"^=+ (.*) in [\d.]+s", output, re.MULTILINE)[1]


@pytest.mark.quick
def test_camera_is_reset_before_each_test(tests):
    """State, radio, whitelist, faults, trace: what the first test leaves, the second does not find."""
    assert outcome(tests("""
import pytest

@pytest.fixture(params=range(2))
def turn(request):
    return request.param

def test_some(turn, camera):
    assert camera.control.show(item="recording") == 0
    assert camera.get("/command/ble/whitelist/list").json()["total"] == 3
    assert camera.control.fault_list() == []
    assert {record["command"] for record in camera.trace()} == {"whitelist_list"}
    camera.control.set(item="recording", value="1")
    camera.control.fault_add(command="scan", fault="refused")
    camera.get("/command/ble/pair/status")
    assert camera.get("/command/ble/whitelist/configure", device="58a1b2c3d4e5", remove=1).status == 200
""")) == "2 passed"


def test_camera_serves_all_tests_with_its_scenario(tests):
    assert outcome(tests("""
import pytest
ports = set()

@pytest.mark.parametrize("turn", range(3))
def test_some(turn, camera):
    ports.add(camera.port)

@pytest.mark.camera(scenario="empty")
def test_other(camera):
    assert len(ports) == 1 and camera.port not in ports

def test_last(camera):
    assert ports == {camera.port}
""")) == "5 passed"


def test_scenarios_of_tests(tests, open_path):
    (open_path / "beside.json").write_text('{"identity": {"ap_ssid": "beside"}}')
    assert outcome(tests("""
import pytest

def name(camera):
    return camera.get("").json()["info"]["ap_ssid"]

@pytest.mark.camera(scenario="beside.json")
def test_file(camera):
    assert name(camera) == "beside"

@pytest.mark.camera(scenario={"identity": {"ap_ssid": "dict"}})
class TestClass:
    def test_dict(self, camera):
        assert name(camera) == "dict"

@pytest.mark.camera("beside.json")
@pytest.mark.parametrize("camera", ["default", {"scenario": "default"}, {"identity": {"ap_ssid": "SC00000001"}}],
                         indirect=True)
def test_parameter(camera):
    assert name(camera) == "SC00000001"
""")) == "5 passed"


def test_port_of_a_test(tests):
    with socket.create_server(("127.0.0.1", 0)) as free:
        port = free.getsockname()[1]
    assert outcome(tests(f"""
import pytest

@pytest.mark.parametrize("camera", [{{"port": {port}}}, {{"port": {port}, "scenario": "empty"}}, {{"port": {port}}}],
                         indirect=True)
def test_some(camera):
    assert camera.port == {port} and ":{port}/" in camera.url
    assert camera.get("/command/ble/pairing_available").status == 200
""")) == "3 passed"


def test_camera_of_the_session_is_not_reset(tests):
    assert outcome(tests("""
def test_first(camera_session):
    camera_session.control.set(item="recording", value="1")

def test_second(camera, camera_session):
    assert camera_session.control.show(item="recording") == 1
    assert camera.control.show(item="recording") == 0
""")) == "2 passed"


def test_camera_that_was_ended_is_there_for_the_next_test(tests):
    assert outcome(tests("""
def test_first(camera):
    camera.control.daemon_kill(name="zvBleD")
    camera.control.daemon_stop(name="zvNetD")

def test_second(camera):
    assert camera.get("/command/ble/pair/status").status == 200

def test_third(camera):
    camera._camera.stop()

def test_fourth(camera):
    assert camera.get("/command/ble/pair/status").status == 200
""")) == "4 passed"


def test_mistakes_are_told_in_one_line(tests):
    output = tests("""
import pytest

@pytest.mark.camera(scenario="colour")
def test_scenario(camera):
    pass

@pytest.mark.camera(colour=1)
def test_mark(camera):
    pass

@pytest.mark.camera(scenario="nowhere.json")
def test_file(camera):
    pass
""", status=1)
    assert "there is no scenario 'colour': one of crowded, default, " in output
    assert "the mark camera takes scenario and port, not colour" in output
    assert re.search(r"^/.*/nowhere\.json does not exist$", output, re.MULTILINE)
    assert "Traceback" not in output and "def _or_fail" not in output


def test_failed_test_shows_the_cameras_log(tests):
    output = tests("""
def test_before(camera):
    camera.get("/of_the_test_before")

def test_some(camera):
    camera.get("/of_this_test")
    assert False
""", status=1)
    assert "- camera log -" in output
    assert "/of_this_test" in output and "/of_the_test_before" not in output


def test_each_worker_has_its_camera(tests, open_path):
    assert outcome(tests("""
import pytest

@pytest.mark.parametrize("turn", range(8))
def test_some(turn, camera, worker_id):
    with open(f"port-{worker_id}", "a") as ports:
        print(camera.port, file=ports)
    assert camera.get("/command/ble/pairing_available").status == 200
""", "-n", "2")) == "8 passed"
    ports = [set(path.read_text().split()) for path in open_path.glob("port-*")]
    assert len(ports) == 2 and all(len(own) == 1 for own in ports) and ports[0] != ports[1]


def test_nothing_is_left(tests, open_path):
    tests("def test_some(camera, camera_session): pass\n")
    assert os.listdir(open_path) == ["test_some.py"]
