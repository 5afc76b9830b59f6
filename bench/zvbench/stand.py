"""The test stand: cameras that hold all the programs to compare, and the measuring programs."""

import atexit
import concurrent.futures
import contextlib
import functools
import json
import os
import re
import shutil
import subprocess
import tempfile

from zvcamera.camera import SOURCE_DIR, Camera
from zvcamera.inside.gateways import SOCKET

RELEASE = os.path.join(SOURCE_DIR, "build", "release")
STANDALONE = os.path.join(SOURCE_DIR, "build", "standalone")
_PLACE = "/usr/local/zarvo/bench"
_CGI = os.path.join(SOURCE_DIR, "bench", "cgi")

# The programs to compare, by their paths in the camera; NAMES holds what the tables call them.
STATIC_C, DYNAMIC_C, DYNAMIC_CPP = f"{_PLACE}/hello_c_static", f"{_PLACE}/hello_c", f"{_PLACE}/hello_cpp"
EMPTY_CPP, EMPTY_ORDERED = f"{_PLACE}/empty_cpp", f"{_PLACE}/empty_cpp_ordered"
SHELL, PYTHON, CAT = f"{_PLACE}/hello.sh", f"{_PLACE}/hello.py", f"{_PLACE}/cat.sh"
CAMERA_SHAPE, STAND_ALONE = "/usr/local/zarvo/bin/zvControl-cgi-bin", f"{_PLACE}/zvControl-cgi-bin"
# No files that a web server starts: it connects to the resident program of this shape.
RESIDENT_ALONE, RESIDENT_SHAPE = "resident stand-alone", "resident camera shape"
_SHAPES = {RESIDENT_ALONE: STANDALONE, RESIDENT_SHAPE: RELEASE}
NAMES = {
    STATIC_C: "static C hello", DYNAMIC_C: "dynamic C hello", DYNAMIC_CPP: "dynamic C++ hello",
    EMPTY_CPP: "empty C++ main, same libraries",
    EMPTY_ORDERED: "empty C++ main, same libraries in the gateway's order",
    SHELL: "shell hello", PYTHON: "Python hello",
    STAND_ALONE: "gateway, stand-alone", CAMERA_SHAPE: "gateway, camera shape", CAT: "cat",
    RESIDENT_ALONE: "gateway, stand-alone, resident", RESIDENT_SHAPE: "gateway, camera shape, resident",
}

# Path, query and the body of the right answer. The device is in no list, so that the gateway asks for the whole list.
AVAILABLE = ("/command/ble/pairing_available", "", "{}")
STATUS = ("/command/ble/pair/status", "", '\n{"pairing_status":0}\n')
ABSENT_DEVICE = ("/command/ble/whitelist/device", "address=ffffffffffff", "\n{}\n")
_HELLO = "{}"
_HEAD = "Status: 200 OK\r\nContent-Type: application/json\r\n\r\n"


class MeasureError(Exception):
    """A program did not do the work that is measured."""


@functools.cache
def _installed():
    """Returns a folder with copies of the programs to compare.

    The linker writes a file here and there. Such a file lies in the system's memory in more and smaller pieces than an
    installed one, and is slower to map.
    """
    folder = tempfile.mkdtemp(prefix="zvbench-", dir="/var/tmp")
    atexit.register(shutil.rmtree, folder, ignore_errors=True)
    for built in (os.path.join(RELEASE, "bench"), _CGI):
        for entry in os.scandir(built):
            if entry.is_file():
                shutil.copy(entry.path, folder)
    shutil.copy(os.path.join(STANDALONE, "zvControl-cgi-bin"), folder)
    return folder


def camera(program=CAMERA_SHAPE, **more):
    """Returns a camera whose web server starts program, or asks the resident one. The camera also holds all the others,
    which may be traced. In that of a resident program, CAMERA_SHAPE is the control program of the same shape.
    """
    folder = _installed()
    if program in _SHAPES:
        more = {"gateway": "scgi", "gateway_dir": _SHAPES[program], **more}
    else:
        more = {"control_program": program, **more}
    files = [(os.path.join(folder, name), f"{_PLACE}/{name}") for name in sorted(os.listdir(folder))]
    return Camera(RELEASE, tracing=True, **{**more, "more": files + more.get("more", [])})


@contextlib.contextmanager
def one_processor():
    """During the block, the caller and whatever it starts stay on one processor, as on a camera that has only one."""
    all_of_them = os.sched_getaffinity(0)
    os.sched_setaffinity(0, {max(all_of_them)})
    try:
        yield
    finally:
        os.sched_setaffinity(0, all_of_them)


def _body(program, request):
    return request[2] if program in (STAND_ALONE, CAMERA_SHAPE, *_SHAPES) else _HELLO


def _environment(request):
    return {"PATH_INFO": request[0], "QUERY_STRING": request[1], "PATH": "/usr/bin:/bin"}


def _judge(program, request, done):
    """Raises MeasureError when a finished program has not answered as it should."""
    expected = "" if program in (EMPTY_CPP, EMPTY_ORDERED) else _HEAD + _body(program, request)
    if done.status != 0 or done.stdout != expected.encode():
        raise MeasureError(f"{program}: status {done.status}, output {done.stdout!r}, errors {done.stderr.decode()!r}")


def spawn(running, programs, request, rounds):
    """Returns for each program its times from spawn to exit in microseconds ("us") and its peak memory ("peak_kib")."""
    for program in programs:
        _judge(program, request, running.run([program], _environment(request)))
    done = running.run([f"{_PLACE}/bench_spawn", str(rounds), *programs], _environment(request), timeout=1800)
    if done.status != 0:
        raise MeasureError(done.stderr.decode().strip())
    return json.loads(done.stdout)


def ask_resident(running, request, rounds):
    """Returns the microseconds from connecting to the resident program to the end of the connection."""
    done = running.run([f"{_PLACE}/bench_scgi", str(rounds), SOCKET, _HEAD + request[2]], _environment(request),
                       timeout=1800)
    if done.status != 0:
        raise MeasureError(done.stderr.decode().strip())
    return json.loads(done.stdout)


def forks(running, rounds, sizes):
    """Returns for each size of a process, in MiB, its times from fork to the end of the child in microseconds."""
    done = running.run([f"{_PLACE}/bench_fork", str(rounds), *map(str, sizes)], timeout=1800)
    if done.status != 0:
        raise MeasureError(done.stderr.decode().strip())
    return json.loads(done.stdout)


def private_memory(running, process):
    """Memory in KiB that a process of the camera has for itself."""
    told = running.run(["/bin/cat", f"/proc/{process}/smaps_rollup"]).stdout.decode()
    return sum(int(size) for size in re.findall(r"^Private_\w+: +(\d+)", told, re.MULTILINE))


def resident_memory(running):
    """Memory in KiB that the resident program has for itself, and a process that serves a request."""
    running.admin("zvBleD", "fault_add", command="pair_status", fault="late", count=1, ms=1000)
    with concurrent.futures.ThreadPoolExecutor(1) as pool:
        asked = pool.submit(running.get, STATUS[0])
        child = running.wait_for(lambda: running.run(["/usr/bin/pgrep", "-x", "zvControl-cgi-b"]).stdout.split())[0]
        running.wait_for(lambda: any(name.startswith("to_ZVCC") for name in running.queues()))
        program = running.admin("supervisor", "status")["zvControl-scgi"]["pid"]
        found = private_memory(running, program), private_memory(running, child.decode())
        if asked.result().status != 200:
            raise MeasureError(f"resident: status {asked.result().status}")
    return found


# Counts the instructions of programs for 32-bit ARM: the emulator writes a line for each. $1: CGI or the number of
# requests that the resident program serves before it ends.
_COUNT = r"""
cd /tmp; rm -f trace socket; mkfifo trace; wc -l <trace & counter=$!
emulate() { exec qemu-arm -L /usr/arm-linux-gnueabihf -singlestep -d exec,nochain -D trace "$@"; }
if [ "$1" = CGI ]; then
    (emulate /usr/local/zarvo/arm/bin/zvControl-cgi-bin) >answer
else
    (export LD_BIND_NOW=1; emulate /usr/local/zarvo/arm/bin/zvControl-scgi --socket socket) & program=$!
    until [ -S socket ]; do sleep 0.1; done; sleep 0.5
    %(place)s/bench_scgi "$1" socket "$2" >answer || cat answer
    kill $program; wait $program
fi
wait $counter
"""


def arm_instructions(running, request):
    """Instructions of one request on 32-bit ARM: as a CGI program, and by the resident one, its own share included."""
    def count(what):
        done = running.run(["/bin/bash", "-c", _COUNT % {"place": _PLACE}, "sh", str(what), _HEAD + request[2]],
                           {**_environment(request), "PATH": "/usr/bin:/bin"}, timeout=600)
        if not done.stdout.strip().isdigit():
            raise MeasureError(f"instructions on ARM: {done.stdout.decode()} {done.stderr.decode()}")
        return int(done.stdout)
    return count("CGI"), count(2) - count(1)


def instructions(running, program, request):
    """Counts the user instructions of one run of the program by callgrind, its loader included."""
    done = running.run(["/usr/bin/valgrind", "--tool=callgrind", "--trace-children=no",
                        "--callgrind-out-file=/dev/null", program], _environment(request), timeout=600)
    _judge(program, request, done)
    found = re.findall(rb"Collected : (\d+)", done.stderr)
    if len(found) != 1:
        raise MeasureError(f"{program}: callgrind counted {len(found)} processes: {done.stderr.decode()}")
    return int(found[0])


def asked(running, command, request):
    """Counts how often the gateway sends this command to the BLE daemon for one request."""
    before = max((record["number"] for record in running.admin("zvBleD", "trace")), default=-1)
    _judge(CAMERA_SHAPE, request, running.run([CAMERA_SHAPE], _environment(request)))
    return sum(record["number"] > before and record["direction"] == "in" and record["command"] == command
               for record in running.admin("zvBleD", "trace"))


def load(running, path, clients, seconds, size, text=None):
    """Lets so many clients ask at once, for so many seconds (0: one request each).

    Returns the numbers of good and bad answers, the seconds, and the seconds of processor time of the load generator
    itself ("cpu"). An answer is good when its status is 200 and its body has this size, and this text if one is given.
    """
    line = [os.path.join(RELEASE, "bench", "bench_http"), str(running.port), "/control" + path, str(clients),
            str(seconds), str(size)] + ([] if text is None else [text])
    done = subprocess.run(line, stdout=subprocess.PIPE, check=False)
    if done.returncode != 0:
        raise MeasureError(f"bench_http ended with status {done.returncode}")
    result = json.loads(done.stdout)
    if result["bad"]:
        raise MeasureError(f"{result['bad']} of {result['bad'] + result['good']} answers to {path} were wrong")
    return result


def load_hello(running, program, request, clients, seconds):
    """The same for a short answer, whose text is compared."""
    body = _body(program, request)
    return load(running, request[0], clients, seconds, len(body), body)
