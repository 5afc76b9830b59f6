"""The measurements. Each returns a table: a heading, column names and rows."""

import contextlib
import http.client
import json
import os
import statistics
import subprocess
import tempfile

from . import stand
from .stand import (ABSENT_DEVICE, AVAILABLE, CAMERA_SHAPE, CAT, DYNAMIC_C, DYNAMIC_CPP, EMPTY_CPP, EMPTY_ORDERED,
                    NAMES, PYTHON, RESIDENT_ALONE, RESIDENT_SHAPE, SHELL, STAND_ALONE, STATIC_C, STATUS)

_FLOORS = (STATIC_C, DYNAMIC_C, EMPTY_CPP, DYNAMIC_CPP, SHELL, PYTHON)
_GATEWAYS = (STAND_ALONE, CAMERA_SHAPE)
_RESIDENT = (RESIDENT_ALONE, RESIDENT_SHAPE)


def _first(path, start, separator):
    """Returns the text behind the separator, in the first line of the file that begins with start."""
    with contextlib.suppress(OSError), open(path, encoding="utf-8") as lines:
        for line in lines:
            if line.startswith(start):
                return line.split(separator, 1)[1].strip().strip('"')
    return "?"


def _revision():
    git = ["git", "-c", "safe.directory=*", "-C", stand.SOURCE_DIR]
    head = subprocess.run([*git, "rev-parse", "--short=10", "HEAD"], capture_output=True, text=True, check=False)
    if head.returncode != 0:
        return "sources of no known revision"
    changed = subprocess.run([*git, "status", "--porcelain", "--untracked-files=no"],
                             capture_output=True, text=True, check=False)
    return f"revision {head.stdout.strip()}" + (" with changes" if changed.stdout else "")


def _versions(*packages):
    """Returns Debian packages with their versions, as a text."""
    listed = subprocess.run(["dpkg-query", "-W", "-f", "${Package} ${Version}, ", *packages],
                            capture_output=True, text=True, check=False)
    return listed.stdout.removesuffix(", ")


def machine():
    """Describes what was measured, and on which machine."""
    kernel = os.uname()
    memory = int(_first("/proc/meminfo", "MemTotal", ":").split()[0]) / (1 << 20)
    return f"{_revision()}; {os.cpu_count()} processors, {_first('/proc/cpuinfo', 'model name', ':')}, " \
           f"{memory:.0f} GiB; {_first('/etc/os-release', 'PRETTY_NAME', '=')}, " \
           f"kernel {kernel.release}, {kernel.machine}; " \
           f"{_versions('g++-12', 'libc6', 'lighttpd', 'valgrind')}; load before the run {os.getloadavg()[0]:.2f}"


def _name(request):
    return request[0][len("/command/ble/"):]


def start_and_memory(running, rounds):
    """(a) and (d): times from spawn to exit, and peak memory. Floors and gateways run in the same rounds."""
    rows = []
    for request, programs in ((AVAILABLE, (*_FLOORS, *_GATEWAYS)), (STATUS, (DYNAMIC_C, *_GATEWAYS))):
        results = stand.spawn(running, programs, request, rounds)
        reference = statistics.median(results[programs.index(DYNAMIC_C)]["us"])
        for program, result in zip(programs, results):
            label = NAMES[program] + (f", {_name(request)}" if program in _GATEWAYS else "")
            if request == STATUS and program == DYNAMIC_C:
                label += " (again)"
            times = sorted(result["us"])
            rows.append([label, f"{statistics.median(times):.0f}", f"{times[0]:.0f}",
                         f"{times[len(times) * 9 // 10]:.0f}", f"{statistics.median(times) / reference:.2f}",
                         f"{result['peak_kib']}"])
    return ("(a), (d) Spawn to exit in microseconds, ratio of the medians to the dynamic C hello, peak memory in KiB",
            ["program", "median", "least", "90 of 100", "ratio", "peak KiB"], rows)


def turns_with_hello(rounds):
    """(a) once more: each program in turns with only the dynamic C hello, on all processors and on one."""
    rows = []
    for processors, place in (("", contextlib.nullcontext()), (", one processor", stand.one_processor())):
        with place, stand.camera() as running:
            for program, request in ((STATIC_C, AVAILABLE), *((gateway, request) for request in (AVAILABLE, STATUS)
                                                              for gateway in _GATEWAYS)):
                hello, other = (statistics.median(result["us"])
                                for result in stand.spawn(running, (DYNAMIC_C, program), request, rounds))
                label = NAMES[program] + (f", {_name(request)}" if program in _GATEWAYS else "")
                rows.append([label + processors, f"{other:.0f}", f"{hello:.0f}", f"{other / hello:.2f}"])
    return ("(a) Spawn to exit, each in turns with the dynamic C hello alone: medians in microseconds",
            ["program", "its median", "dynamic C hello", "ratio"], rows)


def instructions(running):
    """(b): user instructions. They hardly vary, so one run is enough."""
    floors = (STATIC_C, DYNAMIC_C, EMPTY_CPP, EMPTY_ORDERED, DYNAMIC_CPP, SHELL, PYTHON)
    counts = {NAMES[p]: stand.instructions(running, p, AVAILABLE) for p in floors}
    for request in (AVAILABLE, STATUS):
        counts.update({f"{NAMES[p]}, {_name(request)}": stand.instructions(running, p, request) for p in _GATEWAYS})
    empty, ordered = counts[NAMES[EMPTY_CPP]], counts[NAMES[EMPTY_ORDERED]]
    return ("(b) User instructions by callgrind, ratios to the empty C++ main linked to the same libraries",
            ["program", "instructions", "ratio", "ratio, same order"],
            [[name, f"{n:,}", f"{n / empty:.3f}", f"{n / ordered:.3f}"] for name, n in counts.items()])


def requests_per_second(seconds, repeats):
    """(c): every program behind a web server of its own.

    They are loaded in turns, one at a time, so that a slow minute of the machine hits all of them alike. The table
    shows the load generator's own processor time, because it is part of every ratio.
    """
    programs = (STATIC_C, DYNAMIC_C, SHELL, PYTHON, *_GATEWAYS, *_RESIDENT)
    rates, generator = {}, {}
    with contextlib.ExitStack() as cameras:
        running = {program: cameras.enter_context(stand.camera(program)) for program in programs}
        for _ in range(repeats):
            for clients in (1, 4, 16):
                for program in programs:
                    stand.load_hello(running[program], program, AVAILABLE, clients, 0)  # warms up
                    result = stand.load_hello(running[program], program, AVAILABLE, clients, seconds)
                    rates.setdefault((program, clients), []).append(result["good"] / result["seconds"])
                    generator.setdefault(program, []).append(result["cpu"] / result["good"] * 1e6)
    median = {key: statistics.median(values) for key, values in rates.items()}
    rows = [[NAMES[p]] + [f"{median[p, n]:.0f} ({median[p, n] / median[STATIC_C, n]:.2f})" for n in (1, 4, 16)] +
            [f"{statistics.median(generator[p]):.0f}"] for p in programs]
    return ("(c) Requests per second through lighttpd (ratio to the static C hello), pairing_available; "
            "of each request the load generator's own processor time in microseconds",
            ["program", "1 client", "4 clients", "16 clients", "generator"], rows)


def _write_sparse(path, size):
    """Writes a file with data at both ends and a hole between, so that no disk is measured."""
    end = os.urandom(min(size, 1024))
    with open(path, "wb") as file:
        file.write(end)
        file.truncate(size)
        file.seek(size - len(end))
        file.write(end)


def _compare(running, path, file):
    """Fetches the file once and compares every byte, which also warms everything up."""
    connection = http.client.HTTPConnection("127.0.0.1", running.port, timeout=60)
    with contextlib.closing(connection), open(file, "rb") as expected:
        connection.request("GET", "/control" + path)
        answer = connection.getresponse()
        piece, same = True, answer.status == 200
        while same and piece:
            piece = answer.read(1 << 20)
            same = expected.read(len(piece)) == piece
        if not same or expected.read(1):
            raise stand.MeasureError(f"{path}: status {answer.status}, and not the file's bytes")


def analytics(sizes, repeats):
    """(e): fetches the file through the web server. The programs take turns."""
    path, times = "/analytics/get", {}
    with (tempfile.TemporaryDirectory(dir=os.environ.get("TMPDIR") or "/var/tmp") as storage,
          contextlib.ExitStack() as cameras):
        os.mkdir(f"{storage}/analytics")
        file = f"{storage}/analytics/analytics.bin"
        running = {program: cameras.enter_context(stand.camera(program, storage=storage))
                   for program in (CAT, *_GATEWAYS, *_RESIDENT)}
        for size in sizes:
            _write_sparse(file, size)
            for program in running:
                _compare(running[program], path, file)
            for _ in range(repeats):
                for program in running:
                    result = stand.load(running[program], path, 1, 0, size)
                    times.setdefault((program, size), []).append(result["seconds"])
    median = {key: statistics.median(values) for key, values in times.items()}
    rows = [[_size(size), f"{median[CAT, size] * 1e3:.1f}"] +
            [f"{median[p, size] * 1e3:.1f} ({median[p, size] / median[CAT, size]:.2f})"
             for p in (*_GATEWAYS, *_RESIDENT)]
            for size in sizes]
    return ("(e) Analytics through lighttpd in milliseconds (ratio to cat)",
            ["size", NAMES[CAT], *(NAMES[p] for p in (*_GATEWAYS, *_RESIDENT))], rows)


def whitelist(running, rounds):
    """(f): asks for a device that is not in the whitelist, so that the gateway fetches every page."""
    running.admin("zvBleD", "whitelist_clear")
    running.admin("zvBleD", "ble_set", settings={"whitelist_slots": 255})
    rows, devices = [], 0
    for pages in range(1, 8):
        while devices < 36 * pages:
            running.admin("zvBleD", "whitelist_set",
                          slot={"address": f"{devices + 1:012x}", "name": f"Device {devices}"})
            devices += 1
        asked = stand.asked(running, "whitelist_list", ABSENT_DEVICE)
        if asked != pages:
            raise stand.MeasureError(f"{asked} pages of {devices} devices were asked for, not {pages}")
        results = stand.spawn(running, [DYNAMIC_C, *_GATEWAYS], ABSENT_DEVICE, rounds)
        medians = [statistics.median(r["us"]) for r in results]
        rows.append([str(pages), str(devices)] + [f"{m:.0f} ({m / medians[0]:.2f})" for m in medians[1:]])
    return ("(f) Whitelist of 36 devices a page: spawn to exit in microseconds (ratio to the dynamic C hello)",
            ["pages", "devices", NAMES[STAND_ALONE], NAMES[CAMERA_SHAPE]], rows)


def _alternately(first, second, rounds, turns=10):
    """The medians of two measurements that take turns; each is a function of a number of rounds that returns times."""
    times = [], []
    for _ in range(turns):
        for measured, measure in zip(times, (first, second)):
            measured += measure(max(rounds // turns, 1))
    return tuple(map(statistics.median, times))


def resident(rounds):
    """(h): the resident program and the control program of the same shape, in turns; and what "execute" takes."""
    rows = []
    for shape in _RESIDENT:
        with stand.camera(shape) as running:
            for request in (AVAILABLE, STATUS, ABSENT_DEVICE):
                cgi, asked = _alternately(
                    lambda n, request=request: stand.spawn(running, [CAMERA_SHAPE], request, n)[0]["us"],
                    lambda n, request=request: stand.ask_resident(running, request, n), rounds)
                rows.append([f"{NAMES[shape]}, {_name(request)}", f"{asked:.0f}", f"{cgi:.0f}", f"{asked / cgi:.2f}"])
    with stand.camera(STAND_ALONE) as alone, stand.camera(CAMERA_SHAPE) as camera_shape, \
            stand.camera(RESIDENT_ALONE) as resident_alone, stand.camera(RESIDENT_SHAPE) as resident_shape:
        for shape, cgi, asked in ((RESIDENT_ALONE, alone, resident_alone),
                                  (RESIDENT_SHAPE, camera_shape, resident_shape)):
            path = "/execute?p1=zvStream&c1=stop"
            cgi_time, time = _alternately(
                *(lambda n, one=one: [stand.load(one, path, 1, 0, 16)["seconds"] * 1e6 for _ in range(n)]
                  for one in (cgi, asked)), max(rounds // 10, 2), 2)
            rows.append([f"{NAMES[shape]}, execute that stops, through lighttpd", f"{time:.0f}", f"{cgi_time:.0f}",
                         f"{time / cgi_time:.2f}"])
    return ("(h) Resident: from connecting to the end of the answer; CGI: from spawn to exit; medians in microseconds",
            ["program", "resident", "CGI", "ratio"], rows)


def resident_memory():
    """(i): memory that no other process shares."""
    rows = []
    for shape in _RESIDENT:
        with stand.camera(shape) as running:
            running.get(STATUS[0])
            program, child = stand.resident_memory(running)
            rows.append([NAMES[shape], f"{program}", f"{child}"])
    return ("(i) Memory of its own in KiB", ["program", "resident program", "process of a request"], rows)


def fork_by_size(rounds):
    """(j): a bare process that forks another one, which ends at once."""
    sizes = [0, 1, 4, 16, 64]
    with stand.camera() as running:
        times = stand.forks(running, rounds, sizes)
    return ("(j) A fork by the memory of the parent: medians in microseconds, until the child has ended",
            ["memory in MiB", "median"], [[f"{size}", f"{statistics.median(each):.0f}"]
                                          for size, each in zip(sizes, times)])


def arm_instructions():
    """(k): counted by the emulator."""
    rows = []
    for name, build in (("camera shape", "arm"), ("stand-alone", "arm-standalone")):
        folder = os.path.join(stand.SOURCE_DIR, "build", build)
        files = [(os.path.join(folder, file), f"/usr/local/zarvo/arm/{place}/{file}") for file, place in (
            ("zvControl-cgi-bin", "bin"), ("zvControl-scgi", "bin"), ("libzvCtrlD.so", "lib"), ("libcsi.so", "lib"))
            if os.path.exists(os.path.join(folder, file))]
        with stand.camera(more=files) as running:
            for request in (AVAILABLE, STATUS):
                cgi, asked = stand.arm_instructions(running, request)
                rows.append([f"{name}, {_name(request)}", f"{cgi:,}", f"{asked:,}", f"{asked / cgi:.3f}"])
    return ("(k) Instructions of a request on 32-bit ARM, by the emulator's count",
            ["gateway", "CGI", "resident", "ratio"], rows)


def parts():
    """(g): medians of repetitions; a repetition is the mean of many turns. They show where work would pay."""
    program = os.path.join(stand.RELEASE, "bench", "bench_micro")
    done = subprocess.run([program, "--benchmark_format=json", "--benchmark_repetitions=5", "--benchmark_min_time=0.05",
                           "--benchmark_report_aggregates_only=true"], stdout=subprocess.PIPE, check=True)
    rows = [[result["run_name"], f"{result['cpu_time']:.0f}"] for result in json.loads(done.stdout)["benchmarks"]
            if result["aggregate_name"] == "median"]
    return ("(g) Parts of a request, in nanoseconds", ["part", "median"], rows)


def sizes():
    """Sizes of the programs and the libraries beside them, stripped."""
    builds = (("release", "strip", True), ("standalone", "strip", False), ("arm", "arm-linux-gnueabihf-strip", True),
              ("arm-standalone", "arm-linux-gnueabihf-strip", False), ("arm64", "aarch64-linux-gnu-strip", True),
              ("arm64-standalone", "aarch64-linux-gnu-strip", False))
    rows = []
    with tempfile.TemporaryDirectory() as folder:
        for build, strip, libraries in builds:
            for name in ("zvControl-cgi-bin", "zvControl-scgi", "libzvCtrlD.so", "libcsi.so")[:4 if libraries else 2]:
                program = os.path.join(stand.SOURCE_DIR, "build", build, name)
                subprocess.run([strip, "-o", f"{folder}/stripped", program], check=True)
                rows.append([build, name, f"{os.path.getsize(f'{folder}/stripped'):,}"])
    return ("Sizes of the stripped programs in bytes", ["preset", "file", "bytes"], rows)


def _size(size):
    for unit, factor in (("GiB", 1 << 30), ("MiB", 1 << 20), ("KiB", 1 << 10)):
        if size >= factor:
            return f"{size // factor} {unit}"
    return str(size)
