"""Runs the checks behind ./test and counts their tests.

    ./test            what every change has to pass
    ./test quick      what one edit needs
    ./test all        everything, and `./test rest` what of it the first line leaves out
    ./test PART...    some parts alone; what they need is built

A skipped test counts as failed. The last line counts the tests of ctest and pytest. The status is 0 only when every
check was right.
"""

import argparse
import json
import os
import re
import subprocess
import sys
import time
import xml.etree.ElementTree

import tidy

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
RESULTS = os.path.join(ROOT, "build", "results")
BUILD = os.path.join(ROOT, "scripts", "build")


class Session:
    """What has been run, counted and timed, and what was wrong."""

    def __init__(self, jobs, counts):
        self.jobs = jobs
        self.counts = {"passed": 0, "failed": 0, "skipped": 0, "complaints": []}
        self._counts_file = counts
        if counts and os.path.exists(counts) and os.path.getsize(counts):
            with open(counts, encoding="utf-8") as file:
                self.counts = json.load(file)
        self._durations = []
        self._cases = []
        self._done = {}
        os.makedirs(RESULTS, exist_ok=True)

    def run(self, part):
        """Each of the part's steps, unless it has been done; what follows a failed build would test something old."""
        for action, *arguments in PARTS[part][1:]:
            key = (action.__name__, *arguments)
            if key not in self._done:
                self._done[key] = self._timed(action, arguments)
            if action is build and not self._done[key]:
                return

    def _timed(self, action, arguments):
        name = ": ".join([action.__name__.replace("_", " "), *filter(None, [", ".join(arguments)])])
        print(f"== {time.strftime('%H:%M:%S')} {name}", flush=True)
        start = time.monotonic()
        right = action(self, name, *arguments)
        self._durations.append((time.monotonic() - start, name))
        if not right:
            self.complain(name)
        return right

    def complain(self, what):
        self.counts["complaints"].append(what)

    def count(self, name, junit):
        """Counts the test cases of a JUnit file; ctest and pytest write them alike. Returns whether all have passed."""
        try:
            cases = list(xml.etree.ElementTree.parse(junit).iter("testcase"))
        except (OSError, xml.etree.ElementTree.ParseError) as error:
            print(f"no results: {error}")
            return False
        failed = sum(case.find("failure") is not None or case.find("error") is not None for case in cases)
        skipped = sum(case.find("skipped") is not None or case.get("status") in ("notrun", "disabled")
                      for case in cases)
        self._cases += [(float(case.get("time", 0)), f"{case.get('name')} ({name})") for case in cases]
        for outcome, number in (("passed", len(cases) - failed - skipped), ("failed", failed), ("skipped", skipped)):
            self.counts[outcome] += number
        print(f"   {len(cases)} tests, {failed} failed, {skipped} skipped", flush=True)
        return bool(cases) and not failed and not skipped

    def finish(self):
        """Prints what took how long, and the count; returns the exit status."""
        print("== time")
        for seconds, name in [*self._durations, (sum(seconds for seconds, _ in self._durations), "together")]:
            print(f"{seconds:7.0f} s  {name}")
        if self._cases:
            print("== slowest tests")
        for seconds, name in sorted(self._cases, reverse=True)[:10]:
            print(f"{seconds:7.1f} s  {name}")
        complaints = self.counts["complaints"]
        for complaint in complaints:
            print(f"WRONG {complaint}")
        if self._counts_file:
            with open(self._counts_file, "w", encoding="utf-8") as file:
                json.dump(self.counts, file)
        outcomes = ("passed", "failed", "skipped")
        print(f"{sum(self.counts[outcome] for outcome in outcomes)} tests: "
              + ", ".join(f"{self.counts[outcome]} {outcome}" for outcome in outcomes)
              + ("; NOT all is right" if complaints else ""), flush=True)
        return 1 if complaints else 0


def _listed(*patterns):
    """Files of the tree, or of an unpacked one without repository."""
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard", "--", *patterns],
                            cwd=ROOT, capture_output=True, text=True, check=False)
    if listed.returncode != 0:
        words = [word for pattern in patterns for word in ("-o", "-name", pattern)][1:]
        listed = subprocess.run(["find", ".", "-name", "build", "-prune", "-o", "(", *words, ")", "-print0"], cwd=ROOT,
                                capture_output=True, text=True, check=True)
    return [name for name in listed.stdout.split("\0") if name and os.path.exists(os.path.join(ROOT, name))]


# Steps: each gets the session and its own name, and returns whether all was right.

def layout(_session, _name):
    return subprocess.run(["clang-format", "--dry-run", "-Werror", *_listed("*.h", "*.c", "*.cpp")], cwd=ROOT,
                          check=False).returncode == 0


def house_rules(_session, _name):
    return subprocess.run(["/usr/bin/python3", os.path.join(ROOT, "scripts", "rules.py")], check=False).returncode == 0


def build(_session, _name, preset, *targets):
    return subprocess.run([BUILD, preset, *targets], check=False).returncode == 0


def lint(session, _name, *tests):
    return tidy.run(ROOT, "release", session.jobs, tests=bool(tests)) == 0


def _junit(name):
    return os.path.join(RESULTS, re.sub(r"[^\w-]+", "-", name) + ".xml")


def _tests(session, name, *command):
    """Runs a command that ends with the option for a JUnit file; shows its output only when something is wrong."""
    junit = _junit(name)
    if os.path.exists(junit):
        os.remove(junit)
    done = subprocess.run([*command, junit], cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    if done.returncode != 0:
        sys.stdout.write(done.stdout.decode(errors="replace"))
    return session.count(name, junit) and done.returncode == 0


def unit_tests(session, name, preset, *options):
    # Most of them wait rather than work.
    return _tests(session, name, "ctest", "--preset", preset, "-j", str(2 * session.jobs), *options, "--output-junit")


def modules(session, name):
    """The tests of the camera's Python modules, which need no camera and nothing that is built."""
    return _tests(session, name, "/usr/bin/python3", "-B", "-m", "pytest", "-q",
                  os.path.join(ROOT, "tests", "camera"), "-n", str(session.jobs), "--junit-xml")


def asked_resident(session, name, marks, gateway):
    """End-to-end tests whose web server asks the resident program of a preset."""
    return end_to_end(session, name, marks, gateway, "release", "--gateway=scgi")


def end_to_end(session, name, marks, gateway, daemons=None, *options):
    """Tests that pytest's marks select, with the gateway of a preset and the daemons of the same or another one."""
    # Measurements want the machine for themselves, and a browser works; the others wait rather than work.
    number = session.jobs if marks == "page" else 3 * session.jobs
    side_by_side = [] if marks == "bench" else ["-n", str(number), "--dist=loadgroup"]
    # The tests come first: an option that pytest learns from them, with a blank in its value, would pass for a test.
    return _tests(session, name, "/usr/bin/python3", "-m", "pytest", "-q", "-p", "no:cacheprovider",
                  os.path.join(ROOT, "tests", "e2e"), "-m", marks, *side_by_side, *options,
                  f"--build-dir={os.path.join(ROOT, 'build', daemons or gateway)}",
                  f"--gateway-dir={os.path.join(ROOT, 'build', gateway)}", "--junit-xml")


# Kinds of requests whose disturbances stand for those of the others: one or two for each module.
_SAMPLE = ("-k", "unknown or description or pair_status or whitelist_list or execute_start or analytics_get")
_DISTURBED = {
    "all": (),
    "larger": ("--larger",),
    "static": (*_SAMPLE, "-m", "not preloading"),
    "emulated": (*_SAMPLE, "-m", "not native"),
}


def npm_packages(_session, _name):
    """What of npm the clients in the tests are made with; nothing is fetched when all of it is there."""
    return subprocess.run([os.path.join(ROOT, "scripts", "setup"), "--npm"], check=False).returncode == 0


def contract_coverage(_session, _name):
    """What of the contract for HTTP clients the tests have just provoked."""
    with open(os.path.join(RESULTS, "contract-coverage.txt"), encoding="utf-8") as table:
        print(table.read(), end="", flush=True)
    return True


def faults(session, name, which, gateway, daemons=None):
    """Disturbs requests to the gateway of a preset, with the daemons of the same or another one."""
    right = _tests(session, name, "/usr/bin/python3", "-m", "pytest", "-q", "-p", "no:cacheprovider",
                   os.path.join(ROOT, "tests", "faults"), "-n", str(3 * session.jobs), *_DISTURBED[which],
                   f"--build-dir={os.path.join(ROOT, 'build', daemons or gateway)}",
                   f"--gateway-dir={os.path.join(ROOT, 'build', gateway)}", "--junit-xml")
    sums = {}
    for each in xml.etree.ElementTree.parse(_junit(name)).iter("property"):
        sums[each.get("name")] = sums.get(each.get("name"), 0) + int(each.get("value"))
    print("   " + ", ".join(f"{number} {what}" for what, number in sums.items()), flush=True)
    return right


def soak(_session, _name, preset, requests):
    return subprocess.run([os.path.join(ROOT, "bench", "soak"), "--requests", requests,
                           "--build-dir", os.path.join(ROOT, "build", preset)], check=False).returncode == 0


def fuzzing(_session, _name, minutes):
    return subprocess.run([os.path.join(ROOT, "fuzz", "run"), minutes], check=False).returncode == 0


def coverage(_session, _name):
    return subprocess.run([os.path.join(ROOT, "scripts", "coverage")], check=False).returncode == 0


GATEWAYS = ("zvControl-cgi-bin", "zvControl-scgi")

# Name: what it is, and its steps.
PARTS = {
    "format": ("layout of the sources, and the rules of the house", (layout,), (house_rules,)),
    "unit": ("unit tests", (build, "release"), (unit_tests, "release"), (modules,)),
    "e2e": ("end-to-end tests of every URI and of ./run, behind lighttpd",
            (build, "release"),
            (end_to_end, "not thorough and not bench and not page and not contract and not resident", "release")),
    "quick": ("format, unit tests and some end-to-end tests",
              (layout,), (house_rules,), (build, "release"), (unit_tests, "release"), (modules,),
              (end_to_end, "quick", "release")),
    "thorough": ("end-to-end tests of the other web servers, of installation and packages, and with valgrind",
                 (build, "release"), (end_to_end, "thorough", "release")),
    "resident": ("the resident program: end-to-end tests of every URI that ask it, in both shapes, also for 32-bit ARM",
                 (build, "release"), (build, "standalone", *GATEWAYS), (build, "arm", *GATEWAYS, "zvCtrlD", "csi"),
                 (build, "arm-standalone", *GATEWAYS), (end_to_end, "resident", "release"),
                 (asked_resident, "gateway and not slow", "release"),
                 *((asked_resident, "every_build and gateway", shape) for shape in ("standalone", "arm")),
                 (asked_resident, "quick and gateway", "arm-standalone")),
    "page": ("the simulated camera's page, in a browser", (build, "release"), (end_to_end, "page", "release")),
    "contract": ("that what docs/openapi.yaml documents happens and nothing else; its types, and clients made with it",
                 (build, "release"), (npm_packages,), (end_to_end, "contract", "release"), (contract_coverage,)),
    "asan": ("unit and end-to-end tests with AddressSanitizer and UndefinedBehaviorSanitizer",
             (build, "asan"), (unit_tests, "asan"), (end_to_end, "gateway and not slow or memory", "asan")),
    "standalone": ("unit tests, end-to-end tests and packages of the stand-alone shape",
                   (build, "release"), (build, "standalone"), (unit_tests, "standalone"),
                   (end_to_end, "every_build", "standalone", "release"), (end_to_end, "packages", "standalone"),
                   (faults, "static", "standalone", "release")),
    "arm": ("the same for 32-bit ARM in the emulator, in both shapes, with daemons of either processor",
            (build, "release"), (build, "arm"), (build, "arm-standalone", *GATEWAYS),
            (unit_tests, "arm"), (unit_tests, "arm-standalone", "-R", "^standalone"),
            (end_to_end, "gateway and not slow or packages or porting", "arm"),
            (end_to_end, "every_build", "arm", "release"), (end_to_end, "every_build", "arm-standalone", "release"),
            (faults, "emulated", "arm", "release")),
    "arm64": ("for 64-bit ARM: unit tests, and the end-to-end tests of what a processor can break, in both shapes",
              (build, "release"), (build, "arm64"), (build, "arm64-standalone", "zvControl-cgi-bin", "zvControl-scgi"),
              (unit_tests, "arm64"), (unit_tests, "arm64-standalone", "-R", "^standalone"),
              (end_to_end, "every_build or packages or porting", "arm64"),
              (end_to_end, "every_build", "arm64-standalone", "release")),
    "clang": ("the gateway and its library alone, without the simulated camera, by clang: unit tests",
              (build, "clang"), (unit_tests, "clang")),
    "faults": ("each system call and allocation of each kind of request fails, and each is killed everywhere",
               (build, "release"), (faults, "all", "release")),
    "faults-larger": ("the same, with the loader's calls in each kind of request; belongs to no size: it takes long",
                      (build, "release"), (faults, "larger", "release")),
    "soak": ("ten thousand requests to a camera in which things go wrong; what stays behind, and how long they take",
             (build, "release"), (soak, "release", "10000")),
    "bench": ("that bench/run measures what it says", (build, "release"), (end_to_end, "bench", "release")),
    "coverage": ("what the unit tests and the journal run of the sources", (coverage,)),
    "fuzz": ("a minute of looking for inputs that break something", (build, "fuzz", "fuzzers"), (fuzzing, "1")),
    "lint": ("clang-tidy, without the sources of tests", (build, "release"), (lint,)),
    "lint-tests": ("clang-tidy, with them; belongs to no size, since it takes long",
                   (build, "release"), (lint, "tests")),
}
DEFAULT = ("format", "unit", "e2e")
REST = ("thorough", "resident", "page", "contract", "asan", "standalone", "arm", "arm64", "clang", "faults", "soak",
        "bench", "coverage", "fuzz", "lint")
SIZES = {"all": DEFAULT + REST, "rest": REST}


def main():
    table = "\n".join(f"  {name:<15}{steps[0]}" for name, steps in PARTS.items())
    sizes = "\n".join(f"  {name:<15}{' '.join(parts)}" for name, parts in {"(none)": DEFAULT, **SIZES}.items())
    parser = argparse.ArgumentParser(prog="./test", description=__doc__, epilog=f"parts:\n{table}\n\nsizes:\n{sizes}",
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1, metavar="N",
                        help="processors to use (default: all)")
    parser.add_argument("--counts", metavar="FILE", help="add to the counts that an earlier run has left in this file")
    parser.add_argument("parts", nargs="*", metavar="PART", choices=[*PARTS, *SIZES, []],
                        help="a part or a size, see below")
    arguments = parser.parse_args()
    session = Session(arguments.jobs, arguments.counts)
    try:
        for name in arguments.parts or DEFAULT:
            for part in SIZES.get(name, (name,)):
                session.run(part)
    except KeyboardInterrupt:
        session.complain("interrupted")
    return session.finish()


if __name__ == "__main__":
    sys.exit(main())
