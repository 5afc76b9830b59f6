"""The simulated camera as an object: start it, ask it, stop it."""

import base64
import http.client
import json
import os
import shutil
import subprocess
import threading
import time

from . import admin, namespace, sandbox, storage, told, wall
from . import port as ports
from .folder import CameraFolder, FolderError
from .inside import web

SOURCE_DIR = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


class CameraError(Exception):
    """The camera does not start, or a wait for it was in vain."""


class Finished:
    """Outcome of a command run in the camera: status (negative for a signal), stdout and stderr as bytes."""

    def __init__(self, result):
        self.status = result["status"]
        self.stdout = base64.b64decode(result["stdout"])
        self.stderr = base64.b64decode(result["stderr"])


class Answer:
    """An HTTP answer: status, headers (lower-case names) and body as bytes."""

    def __init__(self, response):
        self.status = response.status
        self.headers = {name.lower(): value for name, value in response.getheaders()}
        self.body = response.read()

    def json(self):
        return json.loads(self.body)


def listen(port):
    """A socket that takes connections to 127.0.0.1:port; raises CameraError when the port cannot be had."""
    try:
        return ports.listen(port)
    except OSError as error:
        raise CameraError(f"port {port} of 127.0.0.1 cannot be used: {error.strerror}") from error


class Camera:
    """A camera on 127.0.0.1:port (0: any free port), from the programs in build_dir.

    scenario: file that the daemons read; None for their defaults.
    storage: folder to use as the camera's storage. It is made when it is missing, and it stays. Without storage, the
        camera's storage is removed with the camera.
    gateway: how the web server asks the gateway: "cgi" starts the control program for each request, "scgi" connects to
        the resident one. busybox knows CGI alone.
    control_program: what the web server starts instead of the control program (for example a wrapper of it).
    web_server: lighttpd, nginx or busybox.
    gateway_dir: build folder of the control program and its libraries, when it is not that of the daemons.
    more: pairs of paths (a file on the machine, its place in the camera).
    on_record: a function; a thread calls it with each log record.
    network: "own", where the camera's programs reach nothing but themselves, or "host".
    allow_hosts, cors_origins: who may use the camera beside its own address and pages, for example "camera.test" and
        "http://localhost:3000".
    control: whether the camera is controlled over HTTP, too.
    tracing: let the camera's programs trace each other. The leak checker of a sanitizer needs it.
    """

    def __init__(self, build_dir, *, port=0, scenario=None, storage=None, control_program=None,
                 web_server="lighttpd", gateway="cgi", gateway_dir=None, more=(), on_record=None, network="own",
                 tracing=False, allow_hosts=(), cors_origins=(), control=True):
        self.build_dir = os.path.abspath(build_dir)
        self.gateway_dir = os.path.abspath(gateway_dir or build_dir)
        self.port = port
        self.storage = None
        self._scenario = os.path.abspath(scenario) if scenario else None
        self._given_storage = os.path.abspath(storage) if storage else None
        self._control_program = control_program
        self.web_server = web_server
        self._space = web.URL_SPACES[web_server]
        self.gateway = gateway
        self._more = tuple(more)
        self._on_record = on_record
        self._network = "host" if web_server == "busybox" else network  # busybox opens the port itself
        self._tracing = tracing
        self._allowed = [word for option, texts in (("--allow-host", allow_hosts), ("--cors", cors_origins))
                         for text in texts for word in (option, text)]
        self._control = control
        self._folder = None
        self._process = None
        self._reader = None
        self._complainer = None
        self._first_word = threading.Event()
        self._failure = None
        self.misdeeds = None

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.stop()

    @property
    def url(self):
        return f"http://127.0.0.1:{self.port}{self._space}"

    @property
    def page(self):
        """The address of the page for people, or None where it is left out with the control that it needs."""
        return f"http://127.0.0.1:{self.port}/" if self._control and self.web_server != "busybox" else None

    @property
    def run_dir(self):
        """The camera's sockets, as the machine sees them."""
        return self._folder.run

    # Life

    def start(self):
        """Returns when every daemon and the web server answer; raises CameraError otherwise."""
        self._check_files()
        listener = listen(self.port)
        self.port = listener.getsockname()[1]
        try:
            self._folder = CameraFolder(self.port)
            self.storage = self._make_storage() or self._folder.fuse_d
            self._launch(listener)
        except FolderError as error:
            raise CameraError(str(error)) from error
        finally:
            listener.close()
            if self._process is None and self._folder:
                self._folder.release()
        while not self._first_word.wait(0.1):
            if not self._reader.is_alive():
                break
        if self._failure or not self._first_word.is_set():
            failure = self._failure or "the namespaces cannot be made (see the message of bwrap above)"
            self.stop()
            raise CameraError(f"the camera does not start: {failure}")

    def _check_files(self):
        if (self.web_server, self.gateway) == ("busybox", "scgi"):
            raise CameraError("busybox has no SCGI: gateway must be cgi")
        programs = [namespace.find(self.gateway_dir if name in namespace.GATEWAY_PROGRAMS else self.build_dir, name)
                    for name in namespace.PROGRAMS]
        for path in programs + ([self._scenario] if self._scenario else []):
            if not os.path.exists(path):
                raise CameraError(f"{path} does not exist")

    def _make_storage(self):
        if not self._given_storage:
            return None
        try:
            path = storage.make(self._given_storage)
            storage.make_private(path)
        except OSError as error:
            raise CameraError(f"{self._given_storage} cannot be the storage: {error.strerror}") from error
        return path

    def _launch(self, listener):
        view = namespace.arguments(build_dir=self.build_dir, gateway_dir=self.gateway_dir,
                                   camera_dir=os.path.join(SOURCE_DIR, "camera"), run_dir=self._folder.run,
                                   stage=self._folder.stage, network=self._network, fuse_d=self.storage,
                                   scenario=self._scenario, more=self._more)
        # bwrap reads its options from a file in memory, which keeps process lists readable.
        sandbox.lift_limits()
        rules = wall.filter_program(tracing=self._tracing)
        options = os.memfd_create("options")
        os.write(options, b"".join(word.encode() + b"\0" for word in view))
        os.lseek(options, 0, os.SEEK_SET)
        line = [self._bwrap(), "--args", str(options), "--seccomp", str(rules), "--", *sandbox.command(
            ["/bin/sh", "-c", 'cd "$0" && exec /usr/bin/python3 -m zvcamera.inside.supervisor "$@"', namespace.HOUSE,
             "--listen-fd", str(listener.fileno()), "--web-server", self.web_server, "--gateway", self.gateway])]
        line += self._allowed
        if self._network == "own" and not ports.is_shielded(listener):
            line.append("--refuse-connections")
        if not self._control:
            line.append("--no-control")
        if self._on_record:
            line.append("--report-log")
        if self._scenario:
            line += ["--scenario", f"{namespace.HOUSE}/scenario.json", "--scenario-name", self._scenario]
        if self._control_program:
            line += ["--control-program", self._control_program]
        # An empty environment: bwrap itself is process 1 of the camera, and what it was started with can be read there.
        self._process = subprocess.Popen(line, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                         start_new_session=True, env={}, pass_fds=(
                                             options, rules, listener.fileno(), self._folder.life_line))
        for descriptor in (options, rules):
            os.close(descriptor)
        self._reader = threading.Thread(target=self._read_reports, daemon=True)
        self._complainer = threading.Thread(target=told.pass_complaints_on, args=(self._process.stderr,), daemon=True)
        for thread in (self._reader, self._complainer):
            thread.start()

    @staticmethod
    def _bwrap():
        path = shutil.which("bwrap")
        if not path:
            raise CameraError("bwrap is missing: scripts/setup installs it")
        return path

    def _read_reports(self):
        for kind, value in told.reports(self._process.stdout):
            if kind == "log":
                if self._on_record:
                    self._on_record(value)
            elif kind == "ended":
                self.misdeeds = value
            else:
                self._failure = value if kind == "failed" else None
                self._first_word.set()

    def running(self):
        return self._process is not None and self._process.poll() is None

    def stop(self):
        """Ends the camera and removes it from the disk. Afterwards, misdeeds lists what went wrong since the start."""
        if self._process is None:
            return
        self._process.stdin.close()
        try:
            self._process.wait(60)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
        self._reader.join()
        self._process.stdout.close()
        self._complainer.join(5)  # it hangs where nobody reads standard error
        if not self._complainer.is_alive():
            self._process.stderr.close()
        self._folder.release()
        self._process = None
        if self.misdeeds is None:
            self.misdeeds = ["the supervisor was killed"]

    # Questions

    def get(self, path, timeout=60.0, method="GET", fields=None):
        """Sends an HTTP request for a path below the control URL space, and returns the answer.

        fields: header fields of the request, by name.
        """
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=timeout)
        try:
            connection.request(method, self._space + path, headers=fields or {})
            return Answer(connection.getresponse())
        finally:
            connection.close()

    def admin(self, daemon, op, /, timeout=60.0, **fields):
        """Sends a command to a daemon's admin socket, and returns its result."""
        return admin.ask(os.path.join(self.run_dir, f"{daemon}.admin"), op, timeout=timeout, **fields)

    def run(self, argv, env=None, stdin=b"", timeout=60.0):
        """Runs a command inside the camera, with the given environment and nothing else in it."""
        return Finished(self.admin("supervisor", "run", timeout=timeout + 10, argv=argv, env=env or {},
                                   stdin=base64.b64encode(stdin).decode(), limit=timeout))

    def request(self, path=None, query=None, timeout=60.0, **more):
        """Runs the control program as the web server would, with nothing but PATH_INFO and QUERY_STRING."""
        env = dict(more)
        if path is not None:
            env["PATH_INFO"] = path
        if query is not None:
            env["QUERY_STRING"] = query
        return self.run([f"{namespace.INSTALLATION}/bin/zvControl-cgi-bin"], env, timeout=timeout)

    def program(self, name, op):
        """Does op (stop, cont, kill, term or start) to a program of the camera, and returns its new state."""
        return self.admin("supervisor", op, daemon=name)

    def queues(self):
        """Names of the message queues in the camera, sorted."""
        return self.run(["/bin/ls", "/dev/mqueue"]).stdout.decode().split()

    def log(self, since=0):
        """Returns the log records from number since on, and the number of the next record."""
        answer = self.admin("supervisor", "log", since=since)
        return answer["records"], answer["next"]

    def wait_for(self, condition, patience=10.0):
        """Waits until condition() is true and returns its value; raises CameraError when it never is."""
        deadline = time.monotonic() + patience
        while not (value := condition()):
            if time.monotonic() > deadline:
                raise CameraError(f"waited {patience} seconds in vain")
            time.sleep(0.05)
        return value
