"""The scenario in use: the daemons read it when they start. Back to it, or on to another one."""

import json
import os
import shutil
import signal
import subprocess
import threading
import time

from ..admin import InvalidRequest
from . import children, gateways, stream
from ..http_rules import read_rules

PATH = "/run/zvcamera/scenario.json"  # what the daemons read; nobody else changes it
_CANDIDATE = "/run/zvcamera/candidate.json"
_STORAGE = "/tmp/fuse_d"
_KEPT = ("MISC/ble_whitelist.json", "MISC/ble_whitelist.json.new", "analytics/analytics.bin", "zvStream.log")
_SETTINGS = os.path.join(os.path.dirname(__file__), "..", "..", "settings")


def _write(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def _forget_storage():
    for name in _KEPT:
        try:
            os.unlink(os.path.join(_STORAGE, name))
        except OSError:
            pass  # there is none, or something else is in its place


def _copy_settings():
    """Copies the models' settings documents to a place where a test may change them."""
    for model in os.listdir(_SETTINGS):
        document = os.path.join(_SETTINGS, model, "settings.json")
        if os.path.exists(document):
            folder = f"/usr/local/zarvo/etc/{model}"
            os.makedirs(folder, exist_ok=True)
            shutil.copyfile(document, f"{folder}/settings.json")


def check(path, name):
    """Lets every daemon read a scenario; raises InvalidRequest with what is wrong, under this name."""
    checks = [subprocess.Popen([f"{children.BIN}/{daemon}", "--check", path], stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) for daemon in children.DAEMONS]
    said = [(check.communicate()[1].decode(errors="replace").strip(), check.returncode) for check in checks]
    for text, status in said:
        if status != 0:
            place = text.splitlines()[0].removeprefix(f"{path}: ") if text else f"not read, status {status}"
            raise InvalidRequest(f"{name}: {place}")


class Scenario:
    """path, name: of the scenario that the camera starts with; path None for all defaults.

    programs: name -> Child. history: of the requests. entrance: None when there is none that lets answers go wrong.
    """

    def __init__(self, path, name, programs, history, entrance):
        self._name = name or path
        self._programs = programs
        self._history = history
        self._entrance = entrance
        self._lock = threading.Lock()
        self._given = path

    def prepare(self):
        """Puts everything where the programs look for it; before the first start."""
        os.makedirs(os.path.dirname(PATH), mode=0o700, exist_ok=True)
        if self._given:
            shutil.copyfile(self._given, PATH)
        else:
            _write(PATH, "{}")
        _copy_settings()

    def tell(self):
        """The name of the scenario in use and its text."""
        with self._lock, open(PATH, encoding="utf-8", errors="replace") as file:
            return {"name": self._name, "text": file.read()}

    def reset(self):
        """Back to the scenario in use. Returns how long that took."""
        with self._lock:
            return self._begin_anew()

    def load(self, document, name):
        """On to another scenario; a wrong one raises InvalidRequest and changes nothing."""
        with self._lock:
            _write(_CANDIDATE, json.dumps(document))
            check(_CANDIDATE, name)
            self._rules(_CANDIDATE, name)
            os.replace(_CANDIDATE, PATH)
            self._name = name
            return self._begin_anew()

    def _rules(self, path, name):
        """The scenario's rules for paths, and its seed. The daemons have found it right in all else."""
        with open(path, encoding="utf-8-sig", errors="replace") as file:
            document = json.load(file)
        try:
            rules = read_rules(document.get("faults", []))
        except InvalidRequest as error:
            raise InvalidRequest(f"{name}: {error}") from error
        if rules and not self._entrance:
            raise InvalidRequest(f"{name}: faults of HTTP are for a camera behind lighttpd")
        return rules, document.get("ble", {}).get("seed", 1)

    def set_rules(self):
        """Lets the scenario's rules for paths work; when all programs run."""
        rules, seed = self._rules(PATH, self._name)
        if self._entrance:
            self._entrance.reset(rules, seed)

    def _begin_anew(self):
        begun = time.time()
        gateways.end_all()
        stream.kill_all()
        daemons = [self._programs[name] for name in children.DAEMONS]
        running = [daemon for daemon in daemons if daemon.running()]
        for daemon in running:
            daemon.tell_to_end()
        for daemon in running:
            daemon.wait_for_end()
        _forget_storage()
        _copy_settings()
        for daemon in daemons:
            daemon.begin()
        for daemon in daemons:
            daemon.wait_until_ready()
        for program in self._programs.values():
            if program.state() == "ended":
                program.start()
            elif program.state() == "stopped":
                program.send(signal.SIGCONT)
        self.set_rules()
        self._history.clear(begun_before=int(time.time() * 1e6))
        return {"ms": round((time.time() - begun) * 1000, 1)}
