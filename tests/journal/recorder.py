"""Runs the program with the stand-in preloaded, and compares journals.

A journal has one line for each call: "NAME(ARGUMENTS) = RESULT". What the program itself is called for (handler and
hooks) has two, "NAME ..." and "NAME = RESULT"; so has the dispatcher. Texts stand in quotes, other
bytes are hex digits, and addresses are the names of what lies there. Of a getter that an object is asked several times,
the first time is in the journal. journal.h, script.h and the files that include them tell the rest.
"""

import difflib
import io
import os
import re
import subprocess
import sys
import tempfile
import textwrap
from types import SimpleNamespace

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "support"))
import resident_request  # noqa: E402

# Line numbers of these sources are no part of the interface, nor is the revision that was built.
MASKS = ((r"@(command_ble|command_analytics):\d+", r"@\1:LINE"), (r"\b[0-9a-f]{40}\b", "REVISION"))


class Build:
    """The programs of a build folder."""

    def __init__(self, folder, gateway="cgi"):
        self.resident = gateway == "scgi"
        self.program = os.path.join(folder, "zvControl-scgi" if self.resident else "zvControl-cgi-bin")
        self.libraries = [os.path.join(folder, name) for name in ("libzvCtrlD.so", "libcsi.so")]
        self.stand_in = os.path.join(folder, "tests", "zv_journal.so")
        # The sanitizer's runtime has to come first.
        libraries = subprocess.run(["ldd", self.program], check=True, capture_output=True, text=True).stdout
        self.sanitizer = re.findall(r"=> (\S*/libasan\S*)", libraries)
        # The loader splits the list at blanks too, so the stand-in is preloaded by a path that has none.
        self._links = tempfile.TemporaryDirectory(prefix="zv-journal-")
        link = os.path.join(self._links.name, "zv_journal.so")
        os.symlink(os.path.abspath(self.stand_in), link)
        self.preloaded = ":".join([*self.sanitizer, link])

    def names(self, file, *options):
        """Names of dynamic symbols, without versions."""
        listed = subprocess.run(["nm", "-D", "--format=posix", *options, file], check=True, capture_output=True,
                                text=True).stdout
        return {line.split()[0].split("@")[0] for line in listed.splitlines()}

    def without_heap(self, text):
        """A sanitizer answers for the heap before the stand-in is asked, so these lines are missing."""
        if not self.sanitizer:
            return text
        return re.sub(r"^(malloc|calloc|free)\(.*\n", "", text, flags=re.MULTILINE)


class Camera:
    """Where the program runs: a folder for the camera's files, journal and script."""

    def __init__(self, build, folder):
        self.build = build
        self.folder = folder

    def file(self, path, content):
        """Puts a file into the camera: below /usr/local/zarvo or /tmp/fuse_d."""
        place = self.folder / path.lstrip("/")
        place.parent.mkdir(parents=True, exist_ok=True)
        place.write_bytes(content)

    def __call__(self, path, query, **answers):
        """Runs one request. answers: lists of what a name of script.h gives, "__" standing for a full stop."""
        journal, script = self.folder / "journal", self.folder / "script"
        script.write_text("".join(f"{name.replace('__', '.')} {value}\n"
                                  for name, values in answers.items() for value in values))
        # A name that stays allocated when its queue cannot be made is meant to.
        environment = {"ASAN_OPTIONS": "detect_leaks=0",
                       "PATH_INFO": path, "QUERY_STRING": query, "LD_PRELOAD": self.build.preloaded,
                       "ZV_JOURNAL": journal, "ZV_JOURNAL_SCRIPT": script, "ZV_JOURNAL_ROOT": self.folder}
        done = self._run({name: str(value) for name, value in environment.items()})
        text = journal.read_text()
        for pattern, mask in MASKS:
            text = re.sub(pattern, mask, text)
        return SimpleNamespace(journal=text, status=done.returncode, stdout=done.stdout, stderr=done.stderr.decode())


    def _run(self, environment):
        if not self.build.resident:
            return subprocess.run([self.build.program], env=environment, capture_output=True, check=False, timeout=20)
        # Of the program's own environment, nothing reaches the request, which brings along what is the journal's.
        variables = [f"{name}={value}".encode() for name, value in environment.items() if name != "LD_PRELOAD"]
        output = io.BytesIO()
        with tempfile.TemporaryFile() as errors:
            status = resident_request.serve_one(self.build.program, variables, output, stderr=errors,
                                                env={**environment, "ZV_JOURNAL_FORKS": "1", "PATH_INFO": "/wrong"})
            errors.seek(0)
            return SimpleNamespace(returncode=status, stdout=output.getvalue(), stderr=errors.read())


def lines(*pieces):
    """A journal of pieces; the indentation of each is the test's own."""
    return "".join(textwrap.dedent(piece).strip("\n") + "\n" for piece in pieces)


def differences(expected, actual):
    """Empty when both are the same; otherwise the lines that are missing ("-") and those that are too many ("+")."""
    return "".join(difflib.unified_diff(expected.splitlines(True), actual.splitlines(True), "expected", "actual", n=2))


def message(category, *elements):
    """A message on a queue, as hex digits; elements are (type, data)."""
    body = b"".join(bytes([0]) + len(data).to_bytes(2, "big") + bytes([kind]) + data for kind, data in elements)
    return ((len(body) + 4).to_bytes(2, "big") + bytes([0, category]) + body).hex()


def reply(status, data=b""):
    return message(3, (69, bytes([status]) + data))
