"""The checks behind ./test.

    checks.py [--jobs N] [PART...]      parts: format build unit lint lint-tests e2e arm (default: all but lint-tests)

format: clang-format finds nothing to change. build: the presets release and asan. unit: ctest of both. lint: clang-tidy
over every source of the release preset but those of the tests, which lint-tests adds (ten minutes more). e2e: pytest
against cameras of both presets. arm: builds the stand-alone and the ARM programs, and runs unit and end-to-end tests with
them, those for ARM in the emulator, with daemons of either processor. The unit tests of the preset standalone are static
programs themselves; arm-standalone has the end-to-end tests alone. A skipped test counts as failed. The last line counts the tests of
ctest and pytest; the status is 0 only when every check of every part was right.
"""

import argparse
import concurrent.futures
import os
import subprocess
import sys
import time
import xml.etree.ElementTree

import tidy

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PRESETS = ("release", "asan")
END_TO_END = os.path.join(ROOT, "tests", "e2e")
DEFAULT_PARTS = ("format", "build", "unit", "lint", "e2e", "arm")
PARTS = ("format", "build", "unit", "lint", "lint-tests", "e2e", "arm")

# Cameras: name, preset of the daemons, preset of the control program, tests (none named: all; "-" before a name: all but).
CAMERAS = (
    ("release", "release", "release", ("-bench",)),
    # Where programs stand alone there is no sanitizer's library; with one nothing is measured; and three files are about what
    # the web servers do.
    ("asan", "asan", "asan", ("-packages", "-porting", "-bench", "-webservers_bare", "-webservers_documented",
                              "-webservers_limits")),
)
# These files of tests build something, or install from a build folder, and would be in each other's way.
BUILDING = ("bench", "installed", "packages", "porting", "readme", "run")
# The ones that take longest, shortest of them first.
LONG = ("execute", "launcher", "webservers_documented", "link", "analytics", "gate", "webservers_limits", "memory", "webservers",
        "ble", "description", *BUILDING)
# What the other programs must do like the first; the rest tests the launcher, and looks at the program by valgrind.
_LIKE = ("entry", "gate", "link", "ble", "execute", "description", "analytics", "webservers")
OTHER_BUILDS = {"standalone": (), "arm": (), "arm-standalone": ("zvControl-cgi-bin",)}
OTHER_UNIT_TESTS = ("standalone", "arm")
OTHER_CAMERAS = (
    ("benchmark", "release", "release", ("bench",)),  # here, since it measures the others too
    ("stand-alone", "release", "standalone", _LIKE),
    ("arm", "arm", "arm", _LIKE),
    ("arm with native daemons", "release", "arm", _LIKE),
    ("arm stand-alone with native daemons", "release", "arm-standalone", _LIKE),
    ("packages of the stand-alone shape", "standalone", "standalone", ("packages",)),
    ("packages for arm", "arm", "arm", ("packages", "porting")),
)


class Tally:
    """What has been counted, and what was wrong."""

    def __init__(self):
        self.passed = self.failed = self.skipped = 0
        self.complaints = []

    def add_junit(self, name, *paths):
        """Counts the test cases of JUnit files; ctest and pytest write them alike."""
        cases = []
        for path in paths:
            try:
                cases += xml.etree.ElementTree.parse(path).iter("testcase")
            except (OSError, xml.etree.ElementTree.ParseError) as error:
                self.complaints.append(f"{name}: no results: {error}")
        failed = sum(1 for case in cases if case.find("failure") is not None or case.find("error") is not None)
        skipped = sum(1 for case in cases
                      if case.find("skipped") is not None or case.get("status") in ("notrun", "disabled"))
        print(f"== {name}: {len(cases)} tests, {failed} failed, {skipped} skipped", flush=True)
        self.passed += len(cases) - failed - skipped
        self.failed += failed
        self.skipped += skipped
        if failed or skipped or not cases:
            self.complaints.append(f"{name}: {failed} failed, {skipped} skipped of {len(cases)}")

    def require(self, name, status):
        if status != 0:
            self.complaints.append(f"{name}: status {status}")

    def finish(self):
        for complaint in self.complaints:
            print(f"WRONG {complaint}")
        total = self.passed + self.failed + self.skipped
        print(f"{total} tests: {self.passed} passed, {self.failed} failed, {self.skipped} skipped"
              f"{'' if not self.complaints else '; NOT all is right'}", flush=True)
        return 1 if self.complaints else 0


def _heading(text):
    print(f"== {time.strftime('%H:%M:%S')} {text}", flush=True)


def _sources():
    """Our C and C++ files; those that git ignores are not ours."""
    patterns = ["*.h", "*.c", "*.cpp"]
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard", "--", *patterns],
                            cwd=ROOT, capture_output=True, check=False)
    if listed.returncode == 0:
        names = {name.decode() for name in listed.stdout.split(b"\0") if name}
        return sorted(name for name in names if os.path.exists(os.path.join(ROOT, name)))
    found = []
    for folder, folders, files in os.walk(ROOT):
        folders[:] = [name for name in folders if name not in ("build", "dist", ".git")]
        found += [os.path.relpath(os.path.join(folder, name), ROOT) for name in files
                  if name.endswith((".h", ".c", ".cpp"))]
    return sorted(found)


def check_format(tally, _jobs):
    _heading("clang-format")
    done = subprocess.run(["clang-format", "--dry-run", "-Werror", *_sources()], cwd=ROOT, check=False)
    tally.require("clang-format", done.returncode)


def _build(tally, preset, targets=()):
    _heading(f"build {preset}")
    done = subprocess.run([os.path.join(ROOT, "scripts", "build"), preset, *targets], check=False)
    tally.require(f"build {preset}", done.returncode)


def check_build(tally, _jobs):
    for preset in PRESETS:
        _build(tally, preset)


def _unit(tally, jobs, preset):
    _heading(f"unit tests, {preset}")
    junit = os.path.join(ROOT, "build", preset, "unit.xml")
    if os.path.exists(junit):
        os.remove(junit)
    # Most of them wait rather than work.
    command = ["ctest", "--preset", preset, "-j", str(2 * jobs), "--output-junit", junit]
    done = subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    if done.returncode != 0:
        sys.stdout.write(done.stdout.decode(errors="replace"))
    tally.require(f"ctest {preset}", done.returncode)
    tally.add_junit(f"unit tests, {preset}", junit)


def check_unit(tally, jobs):
    for preset in PRESETS:
        _unit(tally, jobs, preset)


def check_lint(tally, jobs):
    _heading("clang-tidy")
    tally.require("clang-tidy", tidy.run(ROOT, "release", jobs, tests=False))


def check_lint_tests(tally, jobs):
    _heading("clang-tidy, tests included")
    tally.require("clang-tidy", tidy.run(ROOT, "release", jobs, tests=True))


def _test_files(tests):
    """The names between test_ and .py of the end-to-end tests that a camera's entry names."""
    listed = sorted(name[5:-3] for name in os.listdir(END_TO_END) if name.startswith("test_") and name.endswith(".py"))
    wanted = [test for test in tests if test[0] != "-"] or listed
    return [test for test in wanted if f"-{test}" not in tests]


def _tasks(camera):
    """What of a camera's tests runs in one process: a file, or all files that build something."""
    files = _test_files(camera[3])
    building = [test for test in files if test in BUILDING]
    return [(camera, tests) for tests in [building] + [[test] for test in files if test not in BUILDING] if tests]


def _weight(task):
    """Tasks that take long are started first."""
    return -max(LONG.index(test) if test in LONG else -1 for test in task[1])


def _run_pytest(task):
    (name, daemons, program, _), tests = task
    build, gateway = (os.path.join(ROOT, "build", preset) for preset in (daemons, program))
    junit = os.path.join(gateway, f"e2e-{name.replace(' ', '-')}-{tests[0]}.xml")
    if os.path.exists(junit):
        os.remove(junit)
    # The tests come first: an option that pytest learns from them, with a blank in its value, would pass for one of them.
    command = ["/usr/bin/python3", "-m", "pytest", "-q", "-p", "no:cacheprovider", f"--junit-xml={junit}",
               *(os.path.join(END_TO_END, f"test_{test}.py") for test in tests),
               f"--build-dir={build}", f"--gateway-dir={gateway}"]
    done = subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    return junit, done


def _e2e(tally, jobs, cameras):
    _heading(f"end-to-end tests side by side: {', '.join(name for name, *_ in cameras)}")
    tasks = sorted((task for camera in cameras for task in _tasks(camera)), key=_weight)
    # Most of them wait rather than work. Those that build come one after the other.
    with concurrent.futures.ThreadPoolExecutor(2 * jobs) as pool, concurrent.futures.ThreadPoolExecutor(1) as line:
        started = [(task, (line if task[1][0] in BUILDING else pool).submit(_run_pytest, task)) for task in tasks]
        results = {str(task): running.result() for task, running in started}
    for camera in cameras:
        junits = []
        for task in _tasks(camera):
            junit, done = results[str(task)]
            if done.returncode != 0:
                sys.stdout.write(done.stdout.decode(errors="replace"))
            tally.require(f"pytest {camera[0]}: {' '.join(task[1])}", done.returncode)
            junits.append(junit)
        tally.add_junit(f"end-to-end tests, {camera[0]}", *junits)


def check_e2e(tally, jobs):
    _e2e(tally, jobs, CAMERAS)


def _build_ahead():
    """Builds what check_arm needs while the checks before it wait. What goes wrong is shown when check_arm builds it again."""
    script = os.path.join(ROOT, "scripts", "build")
    lines = [" ".join(["nice -n 19", '"$0"', preset, *targets]) for preset, targets in OTHER_BUILDS.items()]
    return subprocess.Popen(["/bin/sh", "-c", "; ".join(lines), script], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def check_arm(tally, jobs):
    before = len(tally.complaints)
    for preset, targets in OTHER_BUILDS.items():
        _build(tally, preset, targets)
    if len(tally.complaints) == before:
        for preset in OTHER_UNIT_TESTS:
            _unit(tally, jobs, preset)
        _e2e(tally, jobs, OTHER_CAMERAS)


def main():
    parser = argparse.ArgumentParser(prog="./test", formatter_class=argparse.RawDescriptionHelpFormatter,
                                     description=__doc__)
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1)
    parser.add_argument("parts", nargs="*", metavar="PART", choices=[*PARTS, []])
    arguments = parser.parse_args()
    parts = list(arguments.parts) or list(DEFAULT_PARTS)
    if "build" not in parts and set(parts) & {"unit", "lint", "lint-tests", "e2e", "arm"}:
        parts.append("build")
    checks = {"format": check_format, "build": check_build, "unit": check_unit, "lint": check_lint,
              "lint-tests": check_lint_tests, "e2e": check_e2e, "arm": check_arm}
    tally = Tally()
    ahead = None
    for part in PARTS:
        if part in parts:
            if "arm" in parts and not ahead and part in ("unit", "lint", "lint-tests", "e2e"):
                ahead = _build_ahead()
            if part == "arm" and ahead:
                ahead.wait()
            checks[part](tally, arguments.jobs)
            if part == "build" and tally.complaints:
                break  # what follows would test something old
    return tally.finish()


if __name__ == "__main__":
    sys.exit(main())
