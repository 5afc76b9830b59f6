"""Cameras whose requests are disturbed, from the build folder of --build-dir."""

import base64
import json
import os
import sys

import pytest

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
sys.path[:0] = [os.path.join(ROOT, "camera"), HERE, os.path.join(ROOT, "tests", "e2e")]

from zvcamera import namespace  # noqa: E402
from zvcamera.camera import Camera  # noqa: E402

import disturbances  # noqa: E402
import held  # noqa: E402
from kinds import KINDS  # noqa: E402

PRELOADED = "/opt/failing_allocations.so"
AT_ONCE = 200  # requests of one run, so that no answer of the camera grows without limit


def pytest_addoption(parser):
    release = os.path.join(ROOT, "build", "release")
    parser.addoption("--build-dir", default=release, help="build folder of the daemons")
    parser.addoption("--gateway-dir", help="build folder of the control program, when it is another one")
    parser.addoption("--larger", action="store_true",
                     help="fail the calls of the loader for each kind of request, not for one alone")


def pytest_configure(config):
    config.addinivalue_line("markers", "native: an emulator makes calls of its own, among which the program's are lost")
    config.addinivalue_line("markers", "preloading: a static program takes no library before its own")


class Subject:
    """One kind of request in a camera of its own."""

    def __init__(self, camera, kind, emulated):
        self.kind = kind
        self.emulated = emulated
        self._camera = camera
        self._plan = dict(kind.plan)
        with open(os.path.join(HERE, "inside.py"), encoding="utf-8") as source:
            self._source = source.read()

    def run(self, cases):
        """What the cases come to, and what the undisturbed request gives."""
        done = self._camera.run(["/usr/bin/python3", "-B", "-c", self._source],
                                stdin=json.dumps({**self._plan, "cases": cases}).encode(), timeout=3000)
        assert done.status == 0, done.stderr.decode()
        self._plan["set_up"] = []
        answers = json.loads(done.stdout)
        return answers["results"], answers["reference"]

    def judge(self, cases):
        """Carries out the cases. Returns what was wrong, as texts that tell how to do it again."""
        cases, found = list(cases), []
        for start in range(0, len(cases), AT_ONCE):
            some = cases[start:start + AT_ONCE]
            results, reference = self.run(some)
            for case, result in zip(some, results):
                found += [f"{self.kind.name}, {case['rule']}: {wrong}"
                          for wrong in (*disturbances.wrongs(case, result, reference), *self._undocumented(result))]
        return found

    def _undocumented(self, result):
        """What the contract for HTTP clients does not have of a failure that the request has told."""
        output = base64.b64decode(result["stdout"])
        told = disturbances.is_failure(output)
        return held.undocumented(self._plan["environment"]["PATH_INFO"], output) if told else []

    def preload(self, **more):
        """The environment for a program with failing allocations, behind an emulator if need be."""
        environment = {"LD_PRELOAD": PRELOADED, **more}
        if not self.emulated:
            return environment
        return {"QEMU_SET_ENV": ",".join(f"{name}={value}" for name, value in environment.items())}


@pytest.fixture
def folders(request):
    build_dir = os.path.abspath(request.config.getoption("--build-dir"))
    return build_dir, os.path.abspath(request.config.getoption("--gateway-dir") or build_dir)


@pytest.fixture(params=KINDS, ids=lambda kind: kind.name)
def subject(request, folders):
    build_dir, gateway_dir = folders
    library = os.path.join(gateway_dir, "tests", "zv_failing_allocations.so")
    more = [(library, PRELOADED)] if os.path.exists(library) else []
    with Camera(build_dir, gateway_dir=gateway_dir, scenario=os.path.join(HERE, "scenario.json"), tracing=True,
                control=False, more=more) as camera:
        yield Subject(camera, request.param, namespace.emulated(gateway_dir))
    assert camera.misdeeds == []


@pytest.fixture
def with_loader(request, subject):
    """Whether the calls of the loader are failed, too. They are the same for every kind of request."""
    return request.config.getoption("--larger") or subject.kind is KINDS[0]
