"""Measures the gateway, in both shapes, against the least that its start, its answer and its copying can cost."""

import argparse
import os
import signal
import subprocess
import sys
import time
from http.client import HTTPException

from zvcamera.admin import AdminError
from zvcamera.camera import SOURCE_DIR, CameraError

from . import measures, stand

# Each: a preset and its targets. Only the table of sizes needs the ARM programs.
_BUILDS = (("release", "simulated_camera", "bench"), ("standalone", "zvControl-cgi-bin", "zvControl-scgi"),
           ("arm", "zvControl-cgi-bin", "zvControl-scgi", "zvCtrlD", "csi"),
           ("arm-standalone", "zvControl-cgi-bin", "zvControl-scgi"),
           ("arm64", "zvControl-cgi-bin", "zvControl-scgi", "zvCtrlD", "csi"),
           ("arm64-standalone", "zvControl-cgi-bin", "zvControl-scgi"))


def _table(heading, columns, rows):
    lines = [f"### {heading}", "", "| " + " | ".join(columns) + " |", "|---" + "|---:" * (len(columns) - 1) + "|"]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows]) + "\n"


def _arguments():
    parser = argparse.ArgumentParser(prog="bench/run", description=__doc__)
    parser.add_argument("--quick", action="store_true",
                        help="few rounds and small files: shows within two minutes that all of it works, and no more")
    parser.add_argument("--output", metavar="FILE", help="write the tables to this file as well")
    arguments = parser.parse_args()
    if arguments.output:
        try:
            arguments.output = open(arguments.output, "w", encoding="utf-8")
        except OSError as error:
            parser.error(f"{arguments.output} cannot be written: {error.strerror}")
    return arguments


def _measure(quick, say):
    rounds, seconds, repeats = (10, 0.3, 1) if quick else (500, 5, 3)
    file_sizes = [1 << 10, 1 << 20] if quick else [1 << 10, 1 << 20, 1 << 26, 1 << 30]
    say(f"{time.strftime('%Y-%m-%d %H:%M')}; {measures.machine()}\n")
    with stand.camera() as running:
        say(_table(*measures.start_and_memory(running, rounds)))
        say(_table(*measures.instructions(running)))
        say(_table(*measures.whitelist(running, max(rounds // 5, 5))))
    say(_table(*measures.turns_with_hello(rounds)))
    say(_table(*measures.requests_per_second(seconds, repeats)))
    say(_table(*measures.analytics(file_sizes, 3 if quick else 5)))
    say(_table(*measures.resident(rounds)))
    say(_table(*measures.resident_memory()))
    say(_table(*measures.fork_by_size(rounds)))
    say(_table(*measures.arm_instructions()))
    say(_table(*measures.parts()))
    say(_table(*measures.sizes()))


def main():
    arguments = _arguments()

    def say(text):
        print(text, flush=True)
        if arguments.output:
            print(text, file=arguments.output, flush=True)

    # Signals end the run like an error, so that cameras and files are removed on the way out.
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda number, _: sys.exit(128 + number))
    try:
        for build in _BUILDS:
            if subprocess.run([os.path.join(SOURCE_DIR, "scripts", "build"), *build], check=False).returncode != 0:
                return 1  # scripts/build has printed why
        _measure(arguments.quick, say)
    except (CameraError, stand.MeasureError, AdminError, OSError, HTTPException, subprocess.SubprocessError) as error:
        print(f"bench/run: {error}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        print("bench/run: interrupted", file=sys.stderr)
        return 130
    return 0


if __name__ == "__main__":
    sys.exit(main())
