"""The camera as the tests use it, and what they expect of its answers."""

import concurrent.futures
import contextlib
import dataclasses
import os
import re
import subprocess

import held
from zvcamera.camera import SOURCE_DIR as ROOT
from zvcamera.camera import Camera, CameraError
from zvcamera.namespace import INSTALLATION, LIBRARIES, PROGRAMS, RESIDENT_PROGRAM

__all__ = ["CameraError", "LIBRARIES", "PROGRAMS", "ROOT"]
ORDINARY_USER = 65534
RESIDENT = f"{INSTALLATION}/bin/{RESIDENT_PROGRAM}"

EMPTY = b"{}"
_LOG_LINE = re.compile(r"UTIL_LOG_([A-Z]+) *:(.*) @([^@\n]*):(\d+)", re.DOTALL)


def cached(build_dir, name):
    """The value of a variable of CMake's cache; empty where there is none."""
    with open(os.path.join(build_dir, "CMakeCache.txt"), encoding="utf-8") as cache:
        found = re.search(f"^{name}:[A-Z]+=(.*)$", cache.read(), re.MULTILINE)
    return found[1] if found else ""


def is_sanitized(build_dir):
    return cached(build_dir, "ZV_SANITIZE") == "ON"


@dataclasses.dataclass(frozen=True)
class Processor:
    """What the programs of a build folder run on.

    debian, triplet: its names; cross: whether an emulator runs the programs here.
    """

    debian: str
    triplet: str
    bits: int
    loader: str
    emulator: str = ""

    @property
    def cross(self):
        return bool(self.emulator)

    @property
    def tools(self):
        """What stands before the names of compiler and binutils."""
        return f"{self.triplet}-" if self.cross else ""

    @property
    def root(self):
        """Where the cross compiler has the processor's libraries, in lib."""
        return f"/usr/{self.triplet}"

    def command(self, *words):
        """The words that run a program here."""
        return [self.emulator, "-L", self.root, *words] if self.cross else list(words)


PROCESSORS = {
    "arm-linux-gnueabihf.cmake": Processor("armhf", "arm-linux-gnueabihf", 32, "/lib/ld-linux-armhf.so.3", "qemu-arm"),
    "aarch64-linux-gnu.cmake": Processor("arm64", "aarch64-linux-gnu", 64, "/lib/ld-linux-aarch64.so.1",
                                       "qemu-aarch64"),
}
NATIVE = Processor("amd64", "x86_64-linux-gnu", 64, "/lib64/ld-linux-x86-64.so.2")


def processor(build_dir):
    """The processor that a build folder's toolchain builds for."""
    toolchain = os.path.basename(cached(build_dir, "CMAKE_TOOLCHAIN_FILE"))
    return PROCESSORS[toolchain] if toolchain else NATIVE


class Line:
    """A log line of the control program."""

    def __init__(self, record):
        self.level, self.message, self.source, self.number = _LOG_LINE.fullmatch(record["text"]).groups()
        self.priority = record["priority"]


class TestCamera(Camera):
    """A camera that remembers its records and has the tool at hand."""

    __test__ = False
    default_gateway_dir = None
    default_gateway = "cgi"

    def __init__(self, build_dir, **options):
        self.records = []
        super().__init__(build_dir, on_record=self.records.append,
                         **{"gateway_dir": self.default_gateway_dir, "tracing": is_sanitized(build_dir), **options})
        # A program of the test's own, and a web server that knows CGI alone, are asked by CGI.
        if not {"control_program", "gateway"} & set(options) and self.web_server != "busybox":
            self.gateway = self.default_gateway

    def _request(self, path, query, timeout, **more):
        if self.gateway == "cgi":
            return super().request(path, query, timeout, **more)
        variables = {**more, **{name: value for name, value in (("PATH_INFO", path), ("QUERY_STRING", query))
                                if value is not None}}
        with open(os.path.join(ROOT, "tests", "support", "resident_request.py"), encoding="utf-8") as source:
            return self.run(["/usr/bin/python3", "-c", source.read(), RESIDENT, *map("=".join, variables.items())],
                            timeout=timeout)

    @property
    def answers_by_a_script(self):
        """Whether something else stands in the gateway's place, and answers whatever it likes."""
        return self._control_program is not None

    def start(self):
        super().start()
        held.servers[self.port] = self.web_server

    def stop(self):
        held.servers.pop(self.port, None)
        super().stop()

    def request(self, path=None, query=None, timeout=60.0, **more):
        """Runs one request alone, as the web server would, in the way in which this camera's web server asks."""
        done = self._request(path, query, timeout, **more)
        held.output(path or "", done.stdout)
        return done

    def tool(self, *words):
        """Runs the camera's tool as a user would, and returns its output."""
        done = subprocess.run([os.path.join(self.build_dir, "zvcam"), "--run-dir", self.run_dir, *words],
                              capture_output=True, text=True, check=False, timeout=60)
        assert done.returncode == 0, done.stdout + done.stderr
        return done.stdout

    def gateways(self):
        """Numbers of the processes that serve requests, by the name that the kernel shows of them."""
        return self.run(["/usr/bin/pgrep", "-x", "zvControl-cgi-b"]).stdout.split()

    @contextlib.contextmanager
    def new_lines(self):
        """Yields a list. After the block, the list holds the lines that the control program logged during the block."""
        lines = []
        start = self.log()[1]
        yield lines
        lines += [Line(record) for record in self.log(start)[0] if record["source"] == "zvControl-cgi-bin"]

    @contextlib.contextmanager
    def new_errors(self, source="command_ble"):
        """The same, but only the texts of error lines. All of these lines must come from source."""
        errors = []
        with self.new_lines() as lines:
            yield errors
        errors += [line.message for line in lines if line.level == "ERROR"]
        assert {line.source for line in lines if line.level == "ERROR"} <= {source}

    def asked(self, command):
        """Returns the data elements of the requests with this command that the BLE daemon has received so far."""
        records = self.admin("zvBleD", "trace")
        return [bytes.fromhex(record["hex"])[14:][:_length(record["hex"])] for record in records
                if record["direction"] == "in" and record["command"] == command]

    def spoil(self, command, fault, daemon="zvBleD", **parameters):
        """Spoils replies to a command by one of the daemons' faults."""
        self.admin(daemon, "fault_add", command=command, fault=fault, **parameters)

    def reply_queues(self):
        return [name for name in self.queues() if name.startswith("to_ZVCC")]

    @contextlib.contextmanager
    def without(self, name):
        """Ends a program of the camera during the block."""
        self.program(name, "term")
        try:
            yield
        finally:
            self.program(name, "start")

    @contextlib.contextmanager
    def stopped(self, name):
        """Stops a program of the camera, by a signal, during the block."""
        self.program(name, "stop")
        try:
            yield
        finally:
            self.program(name, "cont")


def _length(request):
    """Length of a request's second element. The first element holds the command's tag, of two bytes."""
    return int(request[22:26], 16)


def assert_empty(answer):
    """Expects status 200 and an empty JSON document."""
    assert (answer.status, answer.headers["content-type"], answer.body) == (200, "application/json", EMPTY)


def assert_refused(answer, path, query, code):
    """Expects the error document of a handler that failed with this code."""
    assert (answer.status, answer.headers["content-type"]) == (500, "application/json")
    assert answer.json() == {"status": path, "zverr": code, "_function": "main", "_line": 150, "path": path,
                             "query": query}


def at_once(count, call):
    """Does call(0) to call(count - 1) at the same time, and returns their results in this order."""
    with concurrent.futures.ThreadPoolExecutor(count) as pool:
        return list(pool.map(call, range(count)))


class QueuePeer:
    """Stands in for the network daemon: answers the requests of the block with the given replies, in this order.

    requests: the messages that came; complete after the block.
    """

    def __init__(self, camera, *replies):
        self._camera = camera
        self._replies = [reply if reply == "-" else reply.hex() for reply in replies]
        self._pool = concurrent.futures.ThreadPoolExecutor(1)
        self.requests = []

    def __enter__(self):
        self._camera.program("zvNetD", "term")
        with open(os.path.join(os.path.dirname(__file__), "queue_peer.py"), encoding="utf-8") as source:
            program = source.read()
        self._running = self._pool.submit(self._camera.run, ["/usr/bin/python3", "-c", program, *self._replies])
        self._camera.wait_for(lambda: "to_zvnet" in self._camera.queues())
        return self

    def __exit__(self, failure, *_):
        self._pool.shutdown(wait=failure is None)
        if failure is None:
            done = self._running.result()
            assert (done.status, done.stderr) == (0, b"")
            self.requests += [bytes.fromhex(line) for line in done.stdout.decode().split()]
            self._camera.program("zvNetD", "start")


def element(kind, data):
    return bytes([0]) + len(data).to_bytes(2, "big") + bytes([kind]) + data


def message(category, *elements):
    body = b"".join(elements)
    return (4 + len(body)).to_bytes(2, "big") + bytes([0, category]) + body


def reply(status, data=b""):
    """Makes a well-formed reply."""
    return message(3, element(69, bytes([status]) + data), element(238, b""))
