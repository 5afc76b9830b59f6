"""The measurements. Each returns a table: a heading, column names and rows."""

import json
import os
import statistics
import subprocess
import tempfile

from . import stand
from .stand import CAMERA_SHAPE, CAT, DYNAMIC_C, DYNAMIC_CPP, EMPTY_CPP, EMPTY_ORDERED, NAMES, PYTHON, SHELL, STAND_ALONE, STATIC_C

AVAILABLE, STATUS = "/command/ble/pairing_available", "/command/ble/pair/status"
_FLOORS = (STATIC_C, DYNAMIC_C, EMPTY_CPP, DYNAMIC_CPP, SHELL, PYTHON)
_GATEWAYS = (STAND_ALONE, CAMERA_SHAPE)


def machine():
    with open("/proc/cpuinfo", encoding="utf-8") as cpuinfo:
        model = next((line.split(":")[1].strip() for line in cpuinfo if line.startswith("model name")), "?")
    with open("/etc/os-release", encoding="utf-8") as release:
        system = next(line.split("=")[1].strip().strip('"') for line in release if line.startswith("PRETTY_NAME"))
    kernel = os.uname()
    return f"{os.cpu_count()} processors, {model}; {system}, kernel {kernel.release}, {kernel.machine}; " \
           f"load before the run {os.getloadavg()[0]:.2f}"


def start_and_memory(running, rounds):
    """(a) and (d): from spawn to exit, and peak memory. The floors run between the requests, in the same rounds."""
    rows = []
    for path, gateways in ((AVAILABLE, _GATEWAYS), (STATUS, _GATEWAYS)):
        programs = [*_FLOORS, *gateways] if path == AVAILABLE else [DYNAMIC_C, *gateways]
        results = stand.spawn(running, programs, path, rounds=rounds)
        reference = statistics.median(results[programs.index(DYNAMIC_C)]["us"])
        for program, result in zip(programs, results):
            label = NAMES[program] + (f", {path[len('/command/ble/'):]}" if program in _GATEWAYS else "")
            if path == STATUS and program == DYNAMIC_C:
                label += " (again)"
            times = sorted(result["us"])
            rows.append([label, f"{statistics.median(times):.0f}", f"{times[0]:.0f}", f"{times[len(times) * 9 // 10]:.0f}",
                         f"{statistics.median(times) / reference:.2f}", f"{result['peak_kib']}"])
    return ("(a), (d) Spawn to exit in microseconds, ratio of the medians to the dynamic C hello, peak memory in KiB",
            ["program", "median", "least", "90 of 100", "ratio", "peak KiB"], rows)


def instructions(running):
    """(b): user instructions. They hardly vary, so one run does."""
    counts = [(NAMES[p], stand.instructions(running, p, AVAILABLE)) for p in (STATIC_C, DYNAMIC_C, EMPTY_CPP, EMPTY_ORDERED, DYNAMIC_CPP)]
    empty = counts[2][1]
    for path in (AVAILABLE, STATUS):
        counts += [(f"{NAMES[p]}, {path[len('/command/ble/'):]}", stand.instructions(running, p, path)) for p in _GATEWAYS]
    return ("(b) User instructions by callgrind, ratio to the empty C++ main linked to the same libraries",
            ["program", "instructions", "ratio"], [[name, f"{n:,}", f"{n / empty:.3f}"] for name, n in counts])


def requests_per_second(seconds, repeats):
    """(c): the programs take turns, so that a slow minute of the machine hits them alike."""
    programs = (STATIC_C, DYNAMIC_C, SHELL, PYTHON, STAND_ALONE, CAMERA_SHAPE)
    rates = {}
    for _ in range(repeats):
        for program in programs:
            with stand.camera(program) as running:
                stand.load(running, AVAILABLE, 1, 0)
                for clients in (1, 4, 16):
                    result = stand.load(running, AVAILABLE, clients, seconds)
                    rates.setdefault((program, clients), []).append(result["good"] / result["seconds"])
    median = {key: statistics.median(values) for key, values in rates.items()}
    rows = [[NAMES[p]] + [f"{median[p, n]:.0f} ({median[p, n] / median[STATIC_C, n]:.2f})" for n in (1, 4, 16)]
            for p in programs]
    return ("(c) Requests per second through lighttpd (ratio to the static C hello), pairing_available",
            ["program", "1 client", "4 clients", "16 clients"], rows)


def analytics(sizes, repeats):
    """(e): the file through the web server; it is sparse, so that no disk is measured."""
    times = {}
    with tempfile.TemporaryDirectory(dir="/var/tmp") as storage:
        os.mkdir(f"{storage}/analytics")
        os.mkdir(f"{storage}/MISC")
        for program, path in ((CAT, "/cat"), (STAND_ALONE, "/analytics/get"), (CAMERA_SHAPE, "/analytics/get")):
            with stand.camera(program, storage=storage) as running:
                for size in sizes:
                    with open(f"{storage}/analytics/analytics.bin", "wb") as file:
                        file.truncate(size)
                    for _ in range(repeats):
                        result = stand.load(running, path, 1, 0)
                        if result["bytes"] < size:
                            raise RuntimeError(f"{size} bytes expected, {result['bytes']} arrived")
                        times.setdefault((program, size), []).append(result["seconds"])
    median = {key: statistics.median(values) for key, values in times.items()}
    rows = [[_size(size), f"{median[CAT, size] * 1e3:.1f}"] +
            [f"{median[p, size] * 1e3:.1f} ({median[p, size] / median[CAT, size]:.2f})" for p in (STAND_ALONE, CAMERA_SHAPE)]
            for size in sizes]
    return ("(e) Analytics through lighttpd in milliseconds (ratio to cat)",
            ["size", NAMES[CAT], NAMES[STAND_ALONE], NAMES[CAMERA_SHAPE]], rows)


def whitelist(running, rounds):
    """(f): a device that is not in the whitelist, so that every page is fetched."""
    running.admin("zvBleD", "whitelist_clear")
    running.admin("zvBleD", "ble_set", settings={"whitelist_slots": 255})
    rows, devices = [], 0
    for pages in range(1, 8):
        while devices < 36 * pages:
            running.admin("zvBleD", "whitelist_set", slot={"address": f"{devices + 1:012x}", "name": f"Device {devices}"})
            devices += 1
        results = stand.spawn(running, [DYNAMIC_C, *_GATEWAYS], "/command/ble/whitelist/device", "address=ffffffffffff", rounds)
        medians = [statistics.median(r["us"]) for r in results]
        rows.append([str(pages), str(devices)] + [f"{m:.0f} ({m / medians[0]:.2f})" for m in medians[1:]])
    return ("(f) Whitelist of 36 devices a page: spawn to exit in microseconds (ratio to the dynamic C hello)",
            ["pages", "devices", NAMES[STAND_ALONE], NAMES[CAMERA_SHAPE]], rows)


def parts():
    """(g): the work inside a request. Of the repetitions' medians nothing is compared; they tell where work would pay."""
    program = os.path.join(stand.RELEASE, "bench", "bench_micro")
    done = subprocess.run([program, "--benchmark_format=json", "--benchmark_repetitions=5", "--benchmark_min_time=0.05",
                           "--benchmark_report_aggregates_only=true"], stdout=subprocess.PIPE, check=True)
    rows = [[result["run_name"], f"{result['cpu_time']:.0f}"] for result in json.loads(done.stdout)["benchmarks"]
            if result["aggregate_name"] == "median"]
    return ("(g) Parts of a request, in nanoseconds", ["part", "median"], rows)


def sizes():
    """Sizes of the stripped programs, for every build folder that is there."""
    rows = []
    with tempfile.TemporaryDirectory() as folder:
        for build, strip in (("release", "strip"), ("standalone", "strip"), ("arm", "arm-linux-gnueabihf-strip"),
                             ("arm-standalone", "arm-linux-gnueabihf-strip")):
            for name in ("zvControl-cgi-bin", "libzvCtrlD.so", "libcsi.so"):
                program = os.path.join(stand.SOURCE_DIR, "build", build, name)
                if os.path.exists(program) and not ("standalone" in build and name.startswith("lib")):
                    subprocess.run([strip, "-o", f"{folder}/stripped", program], check=True)
                    rows.append([build, name, f"{os.path.getsize(f'{folder}/stripped'):,}"])
    return ("Sizes of the stripped programs in bytes", ["preset", "file", "bytes"], rows)


def _size(size):
    for unit, factor in (("GiB", 1 << 30), ("MiB", 1 << 20), ("KiB", 1 << 10)):
        if size >= factor:
            return f"{size // factor} {unit}"
    return str(size)
