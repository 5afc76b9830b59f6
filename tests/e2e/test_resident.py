"""The resident program beside the camera's other ones: bad connections, processes that are killed, its start and end.

What it answers, all other tests ask with --gateway scgi.
"""

import concurrent.futures
import http.client
import json
import os
import re
import subprocess
import time

import house
import pytest
from zvcamera.camera import CameraError

pytestmark = pytest.mark.resident

PAIR_STATUS = "/command/ble/pair/status"
NAME = "zvControl-scgi"
BAD = int(os.environ.get("ZV_BAD_CONNECTIONS", "1000"))
MANY = int(os.environ.get("ZV_REQUESTS", "3000"))

# Runs in the camera: so many bad connections to the socket, by 16 clients. Prints how many of each kind it has made.
BAD_CONNECTIONS = """
import collections, concurrent.futures, json, random, socket, sys, time
chance = random.Random(1)
header = b"\\0".join([b"CONTENT_LENGTH", b"0", b"SCGI", b"1", b"PATH_INFO", b"/nothing", b""])
whole = b"%d:%s," % (len(header), header)
def connect():
    connection = socket.socket(socket.AF_UNIX)
    connection.connect(sys.argv[1])
    return connection
def malformed(connection):
    connection.sendall(chance.choice((b"GET / HTTP/1.0\\r\\n\\r\\n", b"\\0" * 100, b"999999999:", b"3:abc;", b"0:,",
                                      b"4:A\\0b\\0,", chance.randbytes(200))))
    connection.settimeout(20)
    try:
        assert connection.recv(100) == b""
    except ConnectionResetError:
        pass  # what was sent behind the mistake has not been read
def slow(connection):
    for byte in whole[:20]:
        connection.send(bytes([byte]))
        time.sleep(0.005)
def half_closed(connection):
    connection.sendall(whole[:chance.randrange(len(whole))])
    connection.shutdown(socket.SHUT_WR)
    connection.settimeout(20)
    assert connection.recv(100) == b""
def gone(connection):
    connection.sendall(whole)
def never(connection):
    connection.settimeout(20)
    assert connection.recv(100) == b""  # after the time for a request
def one(number):
    kind = never if number < 8 else (malformed, slow, half_closed, gone)[number % 4]
    with connect() as connection:
        kind(connection)
    return kind.__name__
with concurrent.futures.ThreadPoolExecutor(16) as pool:
    print(json.dumps(collections.Counter(pool.map(one, range(int(sys.argv[2]))))))
"""


@pytest.fixture
def resident(make_camera):
    return make_camera(gateway="scgi")


def pid(camera):
    return camera.admin("supervisor", "status")[NAME]["pid"]


def lines(camera):
    """What the program has said."""
    return [record["text"] for record in camera.log()[0] if record["source"] == NAME]


def held(camera):
    """Its descriptors, and the memory in KiB that it has written, when no process of a request shares it.

    What it has only read of its files is shared with other cameras' programs, which come and go.
    """
    number = str(pid(camera))
    children = ["/bin/cat", f"/proc/{number}/task/{number}/children"]
    camera.wait_for(lambda: camera.run(children).stdout == b"", patience=20)
    script = "ls /proc/$0/fd | wc -l; cat /proc/$0/smaps_rollup"
    told = camera.run(["/bin/sh", "-c", script, number]).stdout.decode()
    private = int(re.search(r"^Private_Dirty: +(\d+)", told, re.MULTILINE)[1])
    return int(told.split()[0]), private


def percentiles(times):
    ordered = sorted(times)
    return ", ".join(f"{share} of 100: {ordered[min(len(ordered) * share // 100, len(ordered) - 1)] * 1000:.1f} ms"
                     for share in (50, 90, 99, 100))


def ask(camera, number=0):
    """Asks, checks the answer, and returns the seconds that it took."""
    start = time.monotonic()
    answer = camera.get(f"/nothing?n={number}")
    assert (answer.status, answer.json()["query"]) == (400, f"n={number}")
    return time.monotonic() - start


def test_bad_connections_disturb_no_request(resident, record_property):
    ask(resident)
    before = held(resident)
    with concurrent.futures.ThreadPoolExecutor(1) as pool:
        attack = pool.submit(resident.run, ["/usr/bin/python3", "-c", BAD_CONNECTIONS, "/run/zvcamera/gateway.sock",
                                            str(BAD)], timeout=600)
        times = []
        while not attack.done():
            times.append(ask(resident, len(times)))
    done = attack.result()
    assert (done.status, done.stderr) == (0, b"")
    made = json.loads(done.stdout)
    assert sum(made.values()) == BAD and set(made) == {"malformed", "slow", "half_closed", "gone", "never"}
    print(f"{BAD} bad connections {made}; {len(times)} requests, {percentiles(times)}")
    record_property("requests beside bad connections", len(times))
    assert len(times) > 100
    descriptors, private = held(resident)
    assert descriptors == before[0]
    assert private <= before[1] + 64
    # Whose client is gone ends as a program does whose pipe is; no other ends by a signal.
    ends = [line.partition("ended by ")[2] for line in lines(resident)]
    assert set(ends) <= {"signal 13 (Broken pipe)"} and len(ends) <= made["gone"]


def test_thousands_of_requests_leave_nothing(resident):
    """Not in the program, not in the system."""
    house.at_once(16, lambda _: [ask(resident, number) for number in range(20)])
    before = held(resident)
    with concurrent.futures.ThreadPoolExecutor(16) as pool:
        times = list(pool.map(lambda number: ask(resident, number), range(MANY)))
    print(f"{MANY} requests, {percentiles(times)}; held before {before}, after {held(resident)}")
    descriptors, private = held(resident)
    assert descriptors == before[0]
    assert private <= before[1] + 64
    assert resident.reply_queues() == []


def test_more_requests_than_processes_wait(resident):
    resident.spoil("pair_status", "late", count=70, ms=300)
    answers = house.at_once(70, lambda _: resident.get(PAIR_STATUS))
    assert [answer.status for answer in answers] == [200] * 70


def test_a_process_that_crashes_is_reported_and_harms_no_other(resident):
    resident.spoil("pair_status", "late", count=2, ms=2000)
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        running = [pool.submit(resident.get, PAIR_STATUS) for _ in range(2)]
        resident.wait_for(lambda: len(resident.reply_queues()) == 2)
        victim = resident.gateways()[0].decode()
        assert resident.run(["/bin/kill", "-SEGV", victim]).status == 0
        ask(resident)
        assert sorted(each.result().status for each in running) == [200, 500]
    assert lines(resident) == [f"{NAME}: The process {victim} of a request was ended by signal 11 (Segmentation fault)"]
    # What a crash leaves, the next request of that number would remove; nobody waits for it here.
    resident.run(["/bin/rm", f"/dev/mqueue/to_ZVCC{victim}"])


def test_it_ends_with_its_last_request(resident):
    resident.spoil("pair_status", "late", count=1, ms=2000)
    with concurrent.futures.ThreadPoolExecutor(1) as pool:
        running = pool.submit(resident.get, PAIR_STATUS)
        resident.wait_for(resident.reply_queues)
        resident.program(NAME, "term")
        assert running.result().status == 200
    assert resident.run(["/usr/bin/test", "-e", "/run/zvcamera/gateway.sock"]).status == 1
    assert resident.get("/nothing").status == 503
    resident.program(NAME, "start")
    resident.wait_for(lambda: resident.get("/nothing").status == 400)  # lighttpd looks again after a second


def test_requests_outlive_a_killed_program(resident):
    resident.spoil("pair_status", "late", count=1, ms=2000)
    with concurrent.futures.ThreadPoolExecutor(1) as pool:
        running = pool.submit(resident.get, PAIR_STATUS)
        resident.wait_for(resident.reply_queues)
        resident.program(NAME, "kill")
        assert resident.run(["/usr/bin/test", "-S", "/run/zvcamera/gateway.sock"]).status == 0
        resident.program(NAME, "start")  # in the place of the socket that was left
        ask(resident)
        assert running.result().json() == {"pairing_status": 0}


def test_what_execute_starts_holds_nothing_of_the_program(resident):
    assert resident.get("/execute?p1=zvStream&c1=start&a1=-x").status == 200
    resident.wait_for(lambda: resident.run(["/bin/pidof", "zvStream"]).stdout)
    resident.wait_for(lambda: not resident.gateways())
    stream = resident.run(["/bin/pidof", "zvStream"]).stdout.decode().strip()
    listed = resident.run(["/bin/ls", "-l", f"/proc/{stream}/fd"]).stdout.decode()
    assert "gateway.sock" not in listed and "signalfd" not in listed
    assert [place for place in re.findall(r" -> (.*)", listed) if place.startswith("socket:")] == []
    environment = resident.run(["/bin/cat", f"/proc/{stream}/environ"]).stdout
    assert b"LD_BIND_NOW" not in environment
    assert b"PATH_INFO=/execute\0" in environment
    assert resident.get("/execute?p1=zvStream&c1=stop").status == 200


def test_a_reset_ends_requests_and_not_the_program(resident):
    resident.spoil("pair_status", "late", count=1, ms=5000)
    before = pid(resident)
    with concurrent.futures.ThreadPoolExecutor(1) as pool:
        running = pool.submit(resident.get, PAIR_STATUS)
        resident.wait_for(resident.reply_queues)
        resident.admin("supervisor", "reset")
        assert running.result().status == 500
    assert pid(resident) == before
    ask(resident)


def test_busybox_has_no_scgi(build_dir):
    with pytest.raises(CameraError, match="^busybox has no SCGI: gateway must be cgi$"):
        house.TestCamera(build_dir, web_server="busybox", gateway="scgi").start()


def test_a_body_reaches_nobody_else(resident):
    """A body is taken to its end; the next request on the same connection is answered."""
    connection = http.client.HTTPConnection("127.0.0.1", resident.port, timeout=60)
    for size in (0, 1, 70_000, 1 << 20, (1 << 20) + 1):
        connection.request("POST", "/control/nothing?a=1", body=b"x" * size)
        response = connection.getresponse()
        body = response.read()
        assert response.status == (413 if size > 1 << 20 else 400), size
        assert (b'"query":"a=1"' in body) == (size <= 1 << 20)
    connection.close()


def run(build_dir, *options):
    done = subprocess.run([os.path.join(house.ROOT, "run"), "--build-dir", build_dir, "--gateway", "scgi", *options],
                          capture_output=True, text=True, check=False, timeout=120)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


def test_run_with_the_resident_program(build_dir):
    command = 'curl -s "$CAMERA_URL/nothing?a=1"; echo; zvcam --json daemon'
    answer, programs = run(build_dir, "--quiet", "--exec", command).splitlines()[0:2]
    assert json.loads(answer)["query"] == "a=1"
    assert NAME in programs
    assert run(build_dir, "--check").splitlines()[-1].endswith(" requests, 0 wrong")
