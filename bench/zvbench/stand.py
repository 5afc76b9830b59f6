"""The test stand: cameras with everything that is compared inside, and the measuring programs."""

import json
import os
import re
import subprocess

from zvcamera.camera import SOURCE_DIR, Camera

RELEASE = os.path.join(SOURCE_DIR, "build", "release")
STANDALONE = os.path.join(SOURCE_DIR, "build", "standalone")
ARM = os.path.join(SOURCE_DIR, "build", "arm")
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


def camera(program=CAMERA_SHAPE, **more):
    """A camera whose web server starts program; all the others are there too."""
    built = os.path.join(RELEASE, "bench")
    files = [(os.path.join(built, name), f"{_PLACE}/{name}") for name in sorted(os.listdir(built))]
    files += [(os.path.join(_CGI, name), f"{_PLACE}/{name}") for name in sorted(os.listdir(_CGI))]
    files.append((os.path.join(STANDALONE, "zvControl-cgi-bin"), STAND_ALONE))
    return Camera(RELEASE, control_program=program, more=files, **more)


def spawn(running, programs, path, query="", rounds=100):
    """For each program: its times from spawn to exit in microseconds, and its peak memory in KiB."""
    environment = {"PATH_INFO": path, "QUERY_STRING": query}
    done = running.run([f"{_PLACE}/bench_spawn", str(rounds), *programs], environment, timeout=600)
    if done.status != 0:
        raise RuntimeError(done.stderr.decode())
    results = json.loads(done.stdout)
    for program, result in zip(programs, results):
        if result["status"] != 0:
            raise RuntimeError(f"{program}: status {result['status']}")
    return results


def instructions(running, program, path):
    """User instructions of one run, by callgrind."""
    done = running.run(["/usr/bin/valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", program],
                       {"PATH_INFO": path, "PATH": "/usr/bin:/bin"}, timeout=600)
    found = re.search(rb"Collected : (\d+)", done.stderr)
    if done.status != 0 or not found:
        raise RuntimeError(done.stderr.decode())
    return int(found[1])


def load(running, path, clients, seconds):
    """Answers with status 200, bytes and seconds of so many clients at once; every other answer is an error."""
    line = [os.path.join(RELEASE, "bench", "bench_http"), str(running.port), "/control" + path, str(clients), str(seconds)]
    result = json.loads(subprocess.run(line, stdout=subprocess.PIPE, check=True).stdout)
    if result["bad"]:
        raise RuntimeError(f"{result['bad']} of {result['bad'] + result['good']} requests of {path} failed")
    return result
