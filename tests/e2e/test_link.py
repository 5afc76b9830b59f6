"""A request on the message queues: its bytes, its replies, many requests at once, cameras side by side."""

import json
import os
import re
import shutil
import signal
import subprocess
import sys
import time

import house
import pytest

pytestmark = pytest.mark.gateway

PHASE = "/command/ble/pairing_phase"


def _split(request):
    """Returns (category, [(type, data)...]) of a message, and checks every length."""
    assert int.from_bytes(request[0:2], "big") == len(request)
    assert request[2] == 0
    elements = []
    at = 4
    while at < len(request):
        assert request[at] == 0
        length = int.from_bytes(request[at + 1:at + 3], "big")
        elements.append((request[at + 3], request[at + 4:at + 4 + length]))
        at += 4 + length
    assert at == len(request)
    return request[3], elements


@pytest.mark.every_build
def test_bytes_of_entering_the_pairing_phase(camera):
    with house.QueuePeer(camera, house.reply(0)) as peer:
        house.assert_empty(camera.get(PHASE + "?p=1"))
    request = peer.requests[0]
    name = _split(request)[1][2][1]
    assert re.fullmatch(rb"/to_ZVCC[1-9][0-9]*", name)
    assert request == (bytes([0, 0x25 + len(name), 0, 2,
                              0, 0, 2, 65]) + b"PD"
                       + bytes([0, 0, 2, 66, 1, 3, 0, 0, len(name), 68]) + name
                       + bytes([0, 0, 9, 67]) + b"/to_zvnet" + bytes([0, 0, 0, 238]))


@pytest.mark.every_build
def test_bytes_of_leaving_the_pairing_phase(camera):
    with house.QueuePeer(camera, house.reply(0)) as peer:
        house.assert_empty(camera.get(PHASE + "?p=0"))
    request = peer.requests[0]
    name = _split(request)[1][2][1]
    assert re.fullmatch(rb"/to_ZVCC[1-9][0-9]*", name)
    assert request == (bytes([0, 0x23 + len(name), 0, 2,
                              0, 0, 2, 65]) + b"PX"
                       + bytes([0, 0, 0, 66, 0, 0, len(name), 68]) + name
                       + bytes([0, 0, 9, 67]) + b"/to_zvnet" + bytes([0, 0, 0, 238]))


@pytest.mark.every_build
@pytest.mark.quick
def test_bytes_of_requests_to_the_ble_daemon(camera):
    page = bytes([7, 0, 0, 0])
    asked = [("configure", b"", [1], b"\x0a"), ("configure", b"auto_connect=257", [], b"\x08\x00\x01"),
             ("configure", b"auto_connect=-1", [], b"\x08\x00\xff"), ("scan", b"p=2", [], b"\x01\x02"),
             ("scan/list", b"", page, b"\x04\x00\x0f"),
             ("scan/list", b"p=300", page[:2] + b"\x2c\x00", b"\x04\x2c\x0f"),
             ("pair/start", b"device=A1B2C3D4E5F6&address_type=1", [], b"\x02\xf6\xe5\xd4\xc3\xb2\xa1\x01"),
             ("pair/start", b"device=A1B2C3D4E5F6", [], b"\x02\xf6\xe5\xd4\xc3\xb2\xa1\x00"),
             ("pair/start", b"address_type=258&device=1", [], b"\x02\x01\x00\x00\x00\x00\x00\x02"),
             ("pair/cancel", b"device=a1b2c3d4e5f6&address_type=1", [], b"\x03\xf6\xe5\xd4\xc3\xb2\xa1\x01"),
             ("pair/status", b"", [0], b"\x09"), ("whitelist/list", b"", page, b"\x06\x00\xff"),
             ("whitelist/device", b"address=a1b2c3d4e5f6", page, b"\x06\x00\xff"),
             ("whitelist/configure", b"device=a1b2c3d4e5f6&remove=1", [], b"\x07\x00\x00\xf6\xe5\xd4\xc3\xb2\xa1"),
             ("whitelist/configure", b"device=a1b2c3d4e5f6&auto_connect=1", [],
              b"\x07\x04\x01\xf6\xe5\xd4\xc3\xb2\xa1"),
             ("whitelist/configure", b"device=a1b2c3d4e5f6&remove=1&auto_connect=0", [],
              b"\x07\x04\x00\xf6\xe5\xd4\xc3\xb2\xa1")]
    with house.QueuePeer(camera, *(house.reply(0, bytes(data)) for _, _, data, _ in asked)) as peer:
        for uri, query, _, _ in asked:
            assert camera.get(f"/command/ble/{uri}?{query.decode()}").status == 200, (uri, query)
    for request, (uri, query, _, data) in zip(peer.requests, asked, strict=True):
        category, elements = _split(request)
        assert category == 2
        assert elements[0] == (65, b"BL")
        assert elements[1] == (66, data), (uri, query)
        assert elements[2][0] == 68
        assert elements[3:] == [(67, b"/to_ble"), (238, b"")]


@pytest.mark.parametrize(("spoilt", "error"), [
    (house.message(2, house.element(69, b"\0")), "Message from zvControlD was not CAT_CGI_BP_RSP, actual (2)\n"),
    (house.message(3, house.element(68, b"\0")), "Expected a typeRSP element from daemon but got none\n"),
    (house.message(3, house.element(69, b"")), "ERROR: typeRSP did not contain enough bytes for int8_t (got 0)\n"),
    (house.reply(1), None),
    (house.reply(0)[:-1], "Message from zvControlD was not CAT_CGI_BP_RSP, actual (20)\n"),
    (b"", "Message from zvControlD was not CAT_CGI_BP_RSP, actual (20)\n"),
    (b"\xff" * 1500, "Message from zvControlD was not CAT_CGI_BP_RSP, actual (20)\n"),
], ids=["category", "no-response", "empty-response", "status", "cut-short", "empty", "noise"])
@pytest.mark.every_build
def test_spoilt_replies(camera, spoilt, error):
    with camera.new_errors() as errors, house.QueuePeer(camera, spoilt):
        house.assert_refused(camera.get(PHASE + "?p=1"), PHASE, "p=1", -1)
    assert errors == ([error] if error else []) + ["ble_pairing_phase p=1 command failed"]


def test_other_elements_of_a_reply_are_ignored(camera):
    with house.QueuePeer(camera, house.message(3, house.element(65, b"XX"), house.element(69, b"\0"),
                                               house.element(69, b"\1"))):
        house.assert_empty(camera.get(PHASE + "?p=1"))


def _burst(camera):
    """Sends 64 requests at once, half of them through both daemons."""
    def one(number):
        if number % 2:
            return camera.get("/command/ble/configure")
        return camera.get(PHASE + "?p=0")
    answers = house.at_once(64, one)
    for number, answer in enumerate(answers):
        expected = b'\n{"auto_connect":1}\n' if number % 2 else house.EMPTY
        assert (answer.status, answer.body) == (200, expected)
    assert camera.reply_queues() == []


@pytest.mark.every_build
def test_sixty_four_requests_at_once(camera):
    _burst(camera)
    _burst(camera)


def _copy_programs(build_dir, target):
    os.makedirs(target)
    for name in (*house.PROGRAMS, *house.LIBRARIES, "zvcam", "CMakeCache.txt"):
        if os.path.exists(os.path.join(build_dir, name)):
            shutil.copy(os.path.join(build_dir, name), target)
    for name in ("etc", "emulated"):
        if os.path.exists(os.path.join(build_dir, name)):
            shutil.copytree(os.path.join(build_dir, name), target / name, symlinks=True)


def _copy_for_others(build_dir, gateway_dir, target):
    """Copies what a camera needs to a place where any user can read it."""
    _copy_programs(build_dir, target / "build")
    _copy_programs(gateway_dir, target / "gateway")
    shutil.copytree(os.path.join(house.ROOT, "camera"), target / "camera")
    shutil.copytree(os.path.join(house.ROOT, "tests", "e2e"), target / "tests" / "e2e")
    shutil.copytree(os.path.join(house.ROOT, "docs"), target / "docs")


@pytest.mark.slow
def test_sixty_four_requests_at_once_as_an_ordinary_user(build_dir, gateway_dir, open_path):
    _copy_for_others(build_dir, gateway_dir, open_path)
    own = open_path / "own"
    own.mkdir()
    command = [sys.executable, "-B", "-m", "pytest", "-q", "-p", "no:cacheprovider", f"--rootdir={open_path}",
               f"--build-dir={open_path}/build", f"--gateway-dir={open_path}/gateway",
               f"{open_path}/tests/e2e/test_link.py::test_sixty_four_requests_at_once"]
    if os.getuid() == 0:
        os.chown(own, house.ORDINARY_USER, house.ORDINARY_USER)
        command = ["setpriv", f"--reuid={house.ORDINARY_USER}", f"--regid={house.ORDINARY_USER}", "--clear-groups",
                   *command]
    done = subprocess.run(command, cwd=own, env={"PATH": os.environ["PATH"], "TMPDIR": str(own)}, capture_output=True,
                          text=True, check=False)
    assert done.returncode == 0, done.stdout + done.stderr
    assert "1 passed" in done.stdout
    assert os.listdir(own) == []


def test_cameras_side_by_side_do_not_see_each_other(make_camera):
    first, second = make_camera(), make_camera()
    first.tool("set", "recording", "1")
    first.tool("set", "serial_number", "FIRST")
    assert first.get("/command/ble/pairing_available").status == 500
    house.assert_empty(second.get("/command/ble/pairing_available"))
    second.get("/command/ble/configure?auto_connect=0")
    assert first.get("/command/ble/configure").json() == {"auto_connect": 1}
    assert second.get("/command/ble/configure").json() == {"auto_connect": 0}
    assert [camera.get("").json()["info"]["serial_number"] == "FIRST" for camera in (first, second)] == [True, False]
    with first.without("zvBleD"):
        assert first.get("/command/ble/pair/status").status == 500
        assert second.get("/command/ble/pair/status").status == 200


def test_an_absent_ble_daemon_is_told_at_once(camera):
    with camera.without("zvBleD"):
        start = time.monotonic()
        house.assert_refused(camera.get("/command/ble/scan?p=1"), "/command/ble/scan", "p=1", -1)
        assert time.monotonic() - start < 3


# Sends a signal to a request once its reply queue is there. Prints how the request ended.
END_BY = """
import os, subprocess, sys, time
running = subprocess.Popen([sys.argv[2]], env={"PATH_INFO": "/command/ble/pair/status"}, stdin=subprocess.DEVNULL,
                           stdout=subprocess.DEVNULL)
queue = f"/dev/mqueue/to_ZVCC{running.pid}"
end = time.monotonic() + 10
while not os.path.exists(queue) and time.monotonic() < end:
    time.sleep(0.01)
running.send_signal(int(sys.argv[1]))
print(running.wait())
"""


def _end_by(camera, number):
    done = camera.run(["/usr/bin/python3", "-c", END_BY, str(int(number)), "/usr/local/zarvo/bin/zvControl-cgi-bin"])
    return int(done.stdout)


@pytest.mark.every_build
def test_a_request_that_is_ended_takes_its_queue_along(camera):
    with camera.stopped("zvBleD"):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP, signal.SIGPIPE):
            assert _end_by(camera, number) == -number
            assert camera.reply_queues() == []
    assert json.loads(camera.get("/command/ble/pair/status").body) == {"pairing_status": 0}


# Makes queues, each of one message of one byte, until there is room for no more, and removes two.
_FILL = """
import ctypes, os
class Attributes(ctypes.Structure):
    _fields_ = [(name, ctypes.c_long) for name in ("flags", "most", "size", "now", "a", "b", "c", "d")]
rt = ctypes.CDLL("librt.so.1")
count = 0
while rt.mq_open(b"/other-%d" % count, os.O_CREAT | os.O_RDWR, 0o600, ctypes.byref(Attributes(0, 1, 1))) >= 0:
    count += 1
for number in (0, 1):
    os.unlink(f"/dev/mqueue/other-{number}")
print(count)
"""


def test_queues_of_killed_requests_make_room(camera):
    """The queue file system has room for two more: both go to requests that are killed. Queues of others stay."""
    kill = ["/usr/bin/timeout", "-s", "KILL", "1", "/usr/local/zarvo/bin/zvControl-cgi-bin"]
    others = int(camera.run(["/usr/bin/python3", "-c", _FILL]).stdout) - 2
    assert others > 200
    with camera.stopped("zvBleD"):
        for _ in range(2):
            camera.run(kill, {"PATH_INFO": "/command/ble/pair/status"})
    assert len(camera.reply_queues()) == 2
    with camera.new_lines() as lines:
        assert camera.get("/command/ble/pair/status").status == 200
    assert camera.reply_queues() == []
    assert len([name for name in camera.queues() if name.startswith("other-")]) == others
    camera.run(["/bin/sh", "-c", "rm /dev/mqueue/other-*"])
    assert [(line.level, line.message) for line in lines if line.level != "DEBUG"] == \
        [("WARN", "Removed reply queues of processes that are gone: 2")]


def test_a_request_that_is_killed_disturbs_no_other(camera):
    """The queue of a killed request stays until a request finds no room, or runs under the same process id. The daemons
    skip it.
    """
    with camera.stopped("zvBleD"):
        done = camera.run(["/usr/bin/timeout", "-s", "KILL", "1", "/usr/local/zarvo/bin/zvControl-cgi-bin"],
                          {"PATH_INFO": "/command/ble/pair/status"})
        assert done.status != 0
        left = camera.reply_queues()
        assert len(left) == 1
    assert json.loads(camera.get("/command/ble/pair/status").body) == {"pairing_status": 0}
    camera.run(["/bin/rm", *(f"/dev/mqueue/{name}" for name in left)])
