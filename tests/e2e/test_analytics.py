"""Fetching and clearing the analytics file."""

import hashlib
import http.client
import json
import os
import re

import house
import pytest

pytestmark = pytest.mark.gateway

GIGABYTE = 1 << 30


def _path(camera):
    return os.path.join(camera.storage, "analytics", "analytics.bin")


def _write(camera, content):
    os.makedirs(os.path.dirname(_path(camera)), exist_ok=True)
    with open(_path(camera), "wb") as file:
        file.write(content)


def _fetch(camera):
    """Returns status, size and digest of the answer, without keeping its body."""
    connection = http.client.HTTPConnection("127.0.0.1", camera.port, timeout=120)
    connection.request("GET", "/control/analytics/get")
    response = connection.getresponse()
    digest = hashlib.sha256()
    size = 0
    while block := response.read(1 << 20):
        digest.update(block)
        size += len(block)
    connection.close()
    return response.status, size, digest.hexdigest()


@pytest.mark.parametrize("size", [0, 1, 1023, 1024, 1025, 2500])
@pytest.mark.every_build
@pytest.mark.quick
def test_file_arrives_byte_for_byte(shared_camera, size):
    content = os.urandom(size)
    _write(shared_camera, content)
    answer = shared_camera.get("/analytics/get")
    assert (answer.status, answer.body) == (200, content)
    done = shared_camera.request("/analytics/get")
    header = b"Content-Length:  %d Content-Type:  application/octet-stream\r\n\r\n" % size
    assert (done.status, done.stdout, done.stderr) == (238, header + content, b"")


# Reads the program's peak memory while the program waits to write the last block of its output. Arguments: the length
# of the whole output, and that of the last block. The program writes to a pipe of one page. A short output would fit,
# so the script fills the pipe beforehand. Of a longer output, the script takes out the earlier blocks. When the program
# has ended, it is too late: the kernel then reports a peak that also covers the process before its exec.
PEAK = """
import array, fcntl, os, re, subprocess, sys, termios, time
total, last = map(int, sys.argv[1:])
ahead = max(0, 4096 - total + 1)
out, into = os.pipe()
assert fcntl.fcntl(into, fcntl.F_SETPIPE_SZ, 4096) == 4096
os.write(into, bytes(ahead))
program = subprocess.Popen(["/usr/local/zarvo/bin/zvControl-cgi-bin"], env={"PATH_INFO": "/analytics/get"}, stdout=into)
os.close(into)
taken = 0
while total - taken > 8192:
    taken += len(os.read(out, 4096))

def lying():
    count = array.array("i", [0])
    fcntl.ioctl(out, termios.FIONREAD, count)
    return count[0]

def waits():
    status = open(f"/proc/{program.pid}/status").read()
    least = ahead + total - last if ahead else 1
    return status if re.search(r"State:\\s*S", status) and lying() >= least else None

calm = 0
while calm < 3:
    time.sleep(0.02)
    status = waits()
    calm = calm + 1 if status else 0
assert lying() < ahead + total - taken, "nothing is left to be written"
print(re.search(r"VmHWM:\\s*(\\d+) kB", status)[1])
while os.read(out, 65536):
    pass
assert program.wait() == 238
"""


def _peak(camera, size):
    """Returns the peak memory of the program, in kilobytes, while it serves the file of this size."""
    header = len(b"Content-Length:  %d Content-Type:  application/octet-stream\r\n\r\n" % size)
    last = size % 1024 or min(size, 1024) or header
    done = camera.run(["/usr/bin/python3", "-c", PEAK, str(header + size), str(last)], timeout=300)
    assert (done.status, done.stderr) == (0, b"")
    return int(done.stdout)


def _digest(path):
    digest = hashlib.sha256()
    with open(path, "rb") as file:
        while block := file.read(1 << 20):
            digest.update(block)
    return digest.hexdigest()


@pytest.mark.slow
def test_a_gigabyte_takes_no_more_memory_than_nothing(camera):
    peaks = {}
    for size in (0, 1, 1024, 2500):
        _write(camera, os.urandom(size))
        peaks[size] = _peak(camera, size)
    _write(camera, b"")
    os.truncate(_path(camera), GIGABYTE)  # a hole, with data in three places to compare
    with open(_path(camera), "r+b") as file:
        for place in (0, GIGABYTE // 2 - 300, GIGABYTE - 1500):
            file.seek(place)
            file.write(os.urandom(1500))
    assert _fetch(camera) == (200, GIGABYTE, _digest(_path(camera)))
    peaks[GIGABYTE] = _peak(camera, GIGABYTE)
    # Pages and the loader make peaks vary by less than this. The file is a thousand times as large.
    assert max(peaks.values()) - min(peaks.values()) < 1024, peaks
    server = camera.admin("supervisor", "status")["lighttpd"]["pid"]
    memory = camera.run(["/bin/cat", f"/proc/{server}/status"]).stdout.decode()
    assert int(re.search(r"VmHWM:\s*(\d+) kB", memory)[1]) < 32 << 10


def test_busy_while_recording(camera):
    _write(camera, b"content")
    camera.tool("set", "recording", "1")
    answer = camera.get("/analytics/get?a=1")
    assert (answer.status, answer.headers["content-type"]) == (403, "application/json")
    assert answer.json() == {"status": "busy", "zverr": -1, "_function": "handle_command_analytics", "_line": 57,
                             "path": "/analytics/get", "query": "a=1"}


def test_recording_state_unreadable(camera):
    camera.tool("fail", "recording", "-5")
    house.assert_refused(camera.get("/analytics/get"), "/analytics/get", "", -1)


@pytest.mark.parametrize(("code", "status", "shown"), [(-1, 500, -1), (-17, 500, -17), (-4, 400, -4), (-20, 400, -3)])
def test_daemon_that_does_not_name_the_file(camera, code, status, shown):
    camera.tool("fail", "analytics_get", str(code))
    answer = camera.get("/analytics/get")
    assert (answer.status, answer.json()["zverr"]) == (status, shown)
    assert answer.json()["_line"] == (143 if code == -20 else 150)


@pytest.mark.every_build
def test_no_file(camera):
    done = camera.request("/analytics/get", "q=1")
    header, _, body = done.stdout.partition(b"\r\n\r\n")
    assert header == b"Status: 204 No Content\r\nContent-Type: application/json"
    assert json.loads(body) == {"status": "no content", "zverr": -1, "_function": "handle_command_analytics",
                                "_line": 107, "path": "/analytics/get", "query": "q=1"}
    assert done.status == 238
    answer = camera.get("/analytics/get")
    assert (answer.status, answer.body) == (204, b"")


def test_file_without_positions(camera):
    camera.run(["/usr/bin/mkfifo", "/tmp/fifo"])
    camera.tool("analytics", "path", "/tmp/fifo")
    # A named pipe opens even when no writer has it open, and it has no end to seek to.
    done = camera.request("/analytics/get")
    body = json.loads(done.stdout.partition(b"\r\n\r\n")[2])
    assert (body["status"], body["_line"]) == ("no content", 83)


def test_path_is_logged(camera):
    with camera.new_lines() as lines:
        camera.get("/analytics/get")
    assert "Got Analytics file response [/tmp/fuse_d/analytics/analytics.bin] \n" in [line.message for line in lines]


@pytest.mark.parametrize(("way", "status"), [("empty", 200), ("remove", 204)])
@pytest.mark.every_build
def test_clear(camera, way, status):
    camera.tool("analytics", "on-clear", way)
    camera.tool("analytics", "append", "--hex", "00ff10")
    assert camera.get("/analytics/get").body == b"\x00\xff\x10"
    house.assert_empty(camera.get("/analytics/clear"))
    answer = camera.get("/analytics/get")
    assert (answer.status, answer.body) == (status, b"")


def test_clear_succeeds_whatever_the_daemon_says(camera):
    camera.tool("analytics", "append", "--hex", "01")
    camera.tool("fail", "analytics_clear", "-1")
    house.assert_empty(camera.get("/analytics/clear"))
    assert camera.get("/analytics/get").body == b"\x01"


def test_collecting_file_grows_and_is_read_meanwhile(camera):
    camera.tool("analytics", "on", "--interval-ms", "10")
    sizes = []
    for _ in range(3):
        camera.wait_for(lambda: len(camera.get("/analytics/get").body) > (sizes[-1] if sizes else 0))
        sizes.append(len(camera.get("/analytics/get").body))
    assert sizes == sorted(set(sizes))
    camera.tool("analytics", "off")
    camera.get("/analytics/clear")
    assert camera.get("/analytics/get").body == b""
