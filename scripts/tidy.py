"""clang-tidy over every source of a build, several at once.

A file that was clean before is not looked at again as long as it, the headers of ours that it includes, its compile
command, .clang-tidy and the tool are the same: build/tidy holds a mark for each such state.
"""

import concurrent.futures
import hashlib
import json
import os
import shlex
import subprocess
import sys


def _dependencies(build):
    """Object file -> files that it was made from, as the build has recorded them."""
    listing = subprocess.run(["ninja", "-C", build, "-t", "deps"], capture_output=True, text=True, check=True).stdout
    found = {}
    current = None
    for line in listing.splitlines():
        if line.startswith("    "):
            current.append(os.path.normpath(os.path.join(build, line.strip())))
        elif ": #deps" in line:
            current = found.setdefault(line.partition(": #deps")[0], [])
    return found


def _object(entry):
    words = shlex.split(entry["command"])
    return words[words.index("-o") + 1]


def _without_precompiled(command):
    """The compile command without gcc's precompiled headers, which are nothing to clang."""
    words = shlex.split(command)
    headers = {i for i, word in enumerate(words) if word.endswith("/cmake_pch.hxx") and words[i - 1] == "-include"}
    return shlex.join(word for i, word in enumerate(words)
                      if word not in ("-Winvalid-pch", "-fpch-preprocess")
                      and i not in headers and i + 1 not in headers)


def _digest(root, entry, headers, fixed):
    digest = hashlib.sha256(fixed)
    digest.update(entry["command"].encode())
    for path in sorted({entry["file"], *headers}):
        if path.startswith(root + os.sep):
            with open(path, "rb") as source:
                digest.update(path.encode() + b"\0" + hashlib.sha256(source.read()).digest())
    return digest.hexdigest()


def run(root, preset, jobs, tests):
    """0 when every source is clean, those below tests/ only if tests is true; prints what is not."""
    build = os.path.join(root, "build", preset)
    marks = os.path.join(root, "build", "tidy")
    os.makedirs(marks, exist_ok=True)
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as commands:
        entries = [{**entry, "command": _without_precompiled(entry["command"])} for entry in json.load(commands)]
    with open(os.path.join(marks, "compile_commands.json"), "w", encoding="utf-8") as commands:
        json.dump(entries, commands)
    fixed = subprocess.run(["clang-tidy", "--version"], capture_output=True, check=True).stdout
    for name in (".clang-tidy", "camera/.clang-tidy", "tests/.clang-tidy"):
        with open(os.path.join(root, name), "rb") as rules:
            fixed += rules.read()
    made_from = _dependencies(build)

    def check(entry):
        headers = made_from.get(_object(entry))
        digest = _digest(root, entry, headers or [], fixed)
        mark = os.path.join(marks, digest)
        if headers is not None and os.path.exists(mark):
            return 0
        done = subprocess.run(["clang-tidy", "--quiet", "-p", marks, entry["file"]], cwd=build, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True, check=False)
        if done.returncode == 0:
            with open(mark, "w", encoding="utf-8"):
                pass
            return 0
        sys.stdout.write(f"{done.stdout}{done.stderr}")
        sys.stdout.flush()
        return 1

    ours = [entry for entry in {entry["file"]: entry for entry in entries}.values()
            if entry["file"].startswith(root + os.sep) and not entry["file"].startswith(os.path.join(root, "build", ""))
            and (tests or not entry["file"].startswith(os.path.join(root, "tests", "")))]
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        wrong = sum(pool.map(check, ours))
    print(f"== clang-tidy: {len(ours)} files, {wrong} with findings", flush=True)
    return 1 if wrong or not ours else 0
