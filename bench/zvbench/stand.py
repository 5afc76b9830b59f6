"""The test stand: cameras with everything that is compared inside, and the measuring programs."""

import atexit
import contextlib
import functools
import json
import os
import re
import shutil
import subprocess
import tempfile

from zvcamera.camera import SOURCE_DIR, Camera

RELEASE = os.path.join(SOURCE_DIR, "build", "release")
STANDALONE = os.path.join(SOURCE_DIR, "build", "standalone")
_PLACE = "/usr/local/zarvo/bench"
_CGI = os.path.join(SOURCE_DIR, "bench", "cgi")

# What is compared, by the names that the tables show, as the camera has it.
STATIC_C, DYNAMIC_C, DYNAMIC_CPP = f"{_PLACE}/hello_c_static", f"{_PLACE}/hello_c", f"{_PLACE}/hello_cpp"
EMPTY_CPP, EMPTY_ORDERED = f"{_PLACE}/empty_cpp", f"{_PLACE}/empty_cpp_ordered"
SHELL, PYTHON, CAT = f"{_PLACE}/hello.sh", f"{_PLACE}/hello.py", f"{_PLACE}/cat.sh"
CAMERA_SHAPE, STAND_ALONE = "/usr/local/zarvo/bin/zvControl-cgi-bin", f"{_PLACE}/zvControl-cgi-bin"
NAMES = {
    STATIC_C: "static C hello", DYNAMIC_C: "dynamic C hello", DYNAMIC_CPP: "dynamic C++ hello",
    EMPTY_CPP: "empty C++ main, same libraries",
    EMPTY_ORDERED: "empty C++ main, same libraries in the gateway's order", SHELL: "shell hello", PYTHON: "Python hello",
    STAND_ALONE: "gateway, stand-alone", CAMERA_SHAPE: "gateway, camera shape", CAT: "cat",
}

# Path, query and the body of the right answer. The device is in no list, so that all of the list is asked for.
AVAILABLE = ("/command/ble/pairing_available", "", "{}")
STATUS = ("/command/ble/pair/status", "", '\n{"pairing_status":0}\n')
ABSENT_DEVICE = ("/command/ble/whitelist/device", "address=ffffffffffff", "\n{}\n")
_HELLO = "{}"
_HEAD = "Status: 200 OK\r\nContent-Type: application/json\r\n\r\n"


class MeasureError(Exception):
    """Something did not do what it is measured at."""


@functools.cache
def _installed():
    """A folder with copies of what is compared. A file as the linker has left it, written here and there, lies in the system's
    memory in more and smaller pieces than one that was installed, and is slower to map."""
    folder = tempfile.mkdtemp(prefix="zvbench-", dir="/var/tmp")
    atexit.register(shutil.rmtree, folder, ignore_errors=True)
    for built in (os.path.join(RELEASE, "bench"), _CGI):
        for entry in os.scandir(built):
            if entry.is_file():
                shutil.copy(entry.path, folder)
    shutil.copy(os.path.join(STANDALONE, "zvControl-cgi-bin"), folder)
    return folder


def camera(program=CAMERA_SHAPE, **more):
    """A camera whose web server starts program; all the others are there too."""
    folder = _installed()
    files = [(os.path.join(folder, name), f"{_PLACE}/{name}") for name in sorted(os.listdir(folder))]
    return Camera(RELEASE, control_program=program, more=files, **more)


@contextlib.contextmanager
def one_processor():
    """What is started meanwhile stays on one processor, as on a camera that has no more; the caller too."""
    all_of_them = os.sched_getaffinity(0)
    os.sched_setaffinity(0, {max(all_of_them)})
    try:
        yield
    finally:
        os.sched_setaffinity(0, all_of_them)


def _body(program, request):
    return request[2] if program in (STAND_ALONE, CAMERA_SHAPE) else _HELLO


def _environment(request):
    return {"PATH_INFO": request[0], "QUERY_STRING": request[1], "PATH": "/usr/bin:/bin"}


def _judge(program, request, done):
    """Raises MeasureError when a finished program has not answered as it should."""
    expected = "" if program in (EMPTY_CPP, EMPTY_ORDERED) else _HEAD + _body(program, request)
    if done.status != 0 or done.stdout != expected.encode():
        raise MeasureError(f"{program}: status {done.status}, output {done.stdout!r}, errors {done.stderr.decode()!r}")


def spawn(running, programs, request, rounds):
    """For each program: its times from spawn to exit in microseconds ("us"), and its peak memory ("peak_kib")."""
    for program in programs:
        _judge(program, request, running.run([program], _environment(request)))
    done = running.run([f"{_PLACE}/bench_spawn", str(rounds), *programs], _environment(request), timeout=1800)
    if done.status != 0:
        raise MeasureError(done.stderr.decode().strip())
    return json.loads(done.stdout)


def instructions(running, program, request):
    """User instructions of one run, by callgrind: those of the program itself, from its loader's first to its last."""
    done = running.run(["/usr/bin/valgrind", "--tool=callgrind", "--trace-children=no", "--callgrind-out-file=/dev/null",
                        program], _environment(request), timeout=600)
    _judge(program, request, done)
    found = re.findall(rb"Collected : (\d+)", done.stderr)
    if len(found) != 1:
        raise MeasureError(f"{program}: callgrind counted {len(found)} processes: {done.stderr.decode()}")
    return int(found[0])


def asked(running, command, request):
    """How often the gateway asks the BLE daemon this command for one request."""
    before = max((record["number"] for record in running.admin("zvBleD", "trace")), default=-1)
    _judge(CAMERA_SHAPE, request, running.run([CAMERA_SHAPE], _environment(request)))
    return sum(record["number"] > before and record["direction"] == "in" and record["command"] == command
               for record in running.admin("zvBleD", "trace"))


def load(running, path, clients, seconds, size, text=None):
    """So many clients at once for so many seconds (0: one request each): good and bad answers, seconds, and the generator's
    own seconds of processor time ("cpu"). Good is status 200 and a complete body of that size, and of that text if given."""
    line = [os.path.join(RELEASE, "bench", "bench_http"), str(running.port), "/control" + path, str(clients), str(seconds),
            str(size)] + ([] if text is None else [text])
    done = subprocess.run(line, stdout=subprocess.PIPE, check=False)
    if done.returncode != 0:
        raise MeasureError(f"bench_http ended with status {done.returncode}")
    result = json.loads(done.stdout)
    if result["bad"]:
        raise MeasureError(f"{result['bad']} of {result['bad'] + result['good']} answers to {path} were wrong")
    return result


def load_hello(running, program, request, clients, seconds):
    """The same for a short answer, whose text is looked at."""
    body = _body(program, request)
    return load(running, request[0], clients, seconds, len(body), body)
