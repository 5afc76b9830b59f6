"""A camera for the tests of its clients: started once for a scenario, and reset before each test."""

import contextlib
import json
import os
import tempfile
import urllib.parse

from .admin import AdminError
from .camera import SOURCE_DIR, Camera, CameraError
from .link import Link

_SCENARIOS = os.path.join(SOURCE_DIR, "camera", "scenarios")


def default_build_dir():
    """The folder of the programs that belong to this package: of the installation, or of the clone's ./run."""
    if told := os.environ.get("ZVCAMERA_BUILD_DIR"):
        return told
    if os.path.basename(SOURCE_DIR) == "share":
        return os.path.dirname(SOURCE_DIR)
    return os.path.join(os.environ.get("ZV_BUILD_ROOT") or os.path.join(SOURCE_DIR, "build"), "release")


def scenario_path(scenario, folder):
    """The file of a scenario that a test names: None, the name of one that comes with the camera, or a path.

    A relative path belongs to the folder.
    """
    if scenario is None:
        return os.path.join(_SCENARIOS, "default.json")
    scenario = os.fspath(scenario)
    named = os.path.join(_SCENARIOS, f"{scenario}.json")
    if os.sep not in scenario and not scenario.endswith(".json"):
        if os.path.exists(named):
            return named
        known = sorted(name.removesuffix(".json") for name in os.listdir(_SCENARIOS) if name.endswith(".json"))
        raise CameraError(f"there is no scenario {scenario!r}: one of {', '.join(known)}, or the path of a file")
    return os.path.join(folder, scenario)


class ClientCamera:
    """A running camera as a client's test sees it.

    url: of the control URL space; port: the camera's.
    control: the operations on the camera, each a method: control.fault_add(command="scan", fault="late", value=500).
    environment: what a program finds its way by: CAMERA_URL, CAMERA_PORT and, for zvcam, ZVCAM_PORT.
    """

    def __init__(self, build_dir, scenario, port=0):
        self._options = {"scenario": scenario, "port": port}
        self._build_dir = build_dir
        self._camera = None
        self._log_start = 0
        self.misdeeds = []
        self.start()

    def start(self):
        self._camera = Camera(self._build_dir, **self._options)
        self._camera.start()
        self.control = Link(self._camera.run_dir)

    def stop(self):
        self._camera.stop()
        self.misdeeds += self._camera.misdeeds

    @property
    def url(self):
        return self._camera.url

    @property
    def port(self):
        return self._camera.port

    @property
    def environment(self):
        return {"CAMERA_URL": self.url, "CAMERA_PORT": str(self.port), "ZVCAM_PORT": str(self.port)}

    def reset(self):
        """Back to the scenario. A camera that does not run any more, or refuses, is started anew at the same port."""
        try:
            self.control.reset()
            self._log_start = self._camera.log()[1]
        except (AdminError, AttributeError):
            self._options["port"] = self.port
            self.stop()
            self.start()
            self._log_start = 0

    def get(self, path, timeout=60.0, method="GET", **query):
        """Asks for a path below the control URL space; returns an answer with status, headers, body and json()."""
        if query:
            path += "?" + urllib.parse.urlencode(query)
        return self._camera.get(path, timeout=timeout, method=method)

    def requests(self):
        """The HTTP requests since the reset, the oldest first, as `zvcam --json requests` has them."""
        return self.control.requests()["requests"]

    def trace(self):
        """The messages on the queues since the reset, the oldest first, as `zvcam --json trace` has them."""
        return self.control.trace()

    def log(self):
        """What the camera's programs have logged since the reset, one text a line."""
        return [f"{record['source']}: {record['text'].rstrip()}" for record in self._camera.log(self._log_start)[0]]


class Cameras:
    """The cameras of a session, one for each scenario and port."""

    def __init__(self, build_dir):
        self._build_dir = build_dir
        self._running = {}
        self._folder = tempfile.TemporaryDirectory(prefix="zvcamera-")

    def get(self, scenario, port, folder):
        """A camera that runs, as its scenario has it. scenario: a dict, or what scenario_path() takes."""
        path = self._written(scenario) if isinstance(scenario, dict) else scenario_path(scenario, folder)
        key = (path, port)
        if key in self._running:
            self._running[key].reset()
        else:
            if port:
                self._end_at(port)
            self._running[key] = ClientCamera(self._build_dir, path, port)
        return self._running[key]

    def _written(self, document):
        text = json.dumps(document, sort_keys=True)
        path = os.path.join(self._folder.name, f"{abs(hash(text))}.json")
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    def _end_at(self, port):
        """Only one camera can have a port."""
        for key in [key for key in self._running if key[1] == port]:
            self._running.pop(key).stop()

    def stop(self):
        """Ends all; returns what was wrong with them."""
        misdeeds = []
        for camera in self._running.values():
            with contextlib.suppress(OSError):
                camera.stop()
            misdeeds += camera.misdeeds
        self._running.clear()
        self._folder.cleanup()
        return misdeeds
