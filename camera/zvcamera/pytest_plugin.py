"""Fixtures for the tests of a camera's clients. With this package's folder in PYTHONPATH: -p zvcamera.pytest_plugin

    camera            a camera as its scenario has it, reset before each test
    camera_session    a camera for the whole session, which nothing resets

@pytest.mark.camera(scenario=..., port=...) chooses for a test, a class or a file: the name of a scenario that comes
with the camera ("crowded"), the path of a file beside the test, or a dict. An indirect parameter does the same: the
scenario, or a dict of the mark's keywords. Each worker of pytest-xdist has cameras of its own.
"""

import os
import warnings

import pytest

from .camera import CameraError
from .testing import Cameras, ClientCamera, default_build_dir, scenario_path

_KEYWORDS = ("scenario", "port")


def pytest_addoption(parser):
    parser.getgroup("camera").addoption(
        "--camera-build-dir", metavar="DIR",
        help="folder of the camera's programs (default: $ZVCAMERA_BUILD_DIR, or those that belong to the plugin)")


def pytest_configure(config):
    config.addinivalue_line("markers", "camera(scenario=None, port=0): what the camera of the test is like")


def _build_dir(config):
    return config.getoption("--camera-build-dir") or default_build_dir()


def _told(request):
    """Scenario and port that a test asks for."""
    told = {}
    if mark := request.node.get_closest_marker("camera"):
        told.update(zip(_KEYWORDS, mark.args), **mark.kwargs)
    if (parameter := getattr(request, "param", None)) is not None:
        is_keywords = isinstance(parameter, dict) and set(parameter) <= set(_KEYWORDS)
        told.update(parameter if is_keywords else {"scenario": parameter})
    if wrong := set(told) - set(_KEYWORDS):
        raise CameraError(f"the mark camera takes {' and '.join(_KEYWORDS)}, not {', '.join(sorted(wrong))}")
    return told


def _or_fail(make):
    """What make() returns; a camera that cannot be had fails the test with one line."""
    try:
        return make()
    except CameraError as error:
        reason = str(error)
    return pytest.fail(reason, pytrace=False)


def _warn(misdeeds):
    for misdeed in misdeeds:
        warnings.warn(f"the simulated camera: {misdeed}", stacklevel=2)


@pytest.fixture(scope="session")
def _cameras(request):
    cameras = Cameras(_build_dir(request.config))
    yield cameras
    _warn(cameras.stop())


@pytest.fixture
def camera(request, _cameras):
    """A camera as its scenario has it; see zvcamera.testing.ClientCamera."""
    def make():
        told = _told(request)
        return _cameras.get(told.get("scenario"), told.get("port", 0), os.path.dirname(request.node.path))
    return _or_fail(make)


@pytest.fixture(scope="session")
def camera_session(request):
    """A camera with the default scenario for the whole session; what a test changes in it, the next ones find."""
    running = _or_fail(lambda: ClientCamera(_build_dir(request.config), scenario_path(None, "")))
    yield running
    running.stop()
    _warn(running.misdeeds)


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    """A failed test shows what its camera has logged."""
    outcome = yield
    report = outcome.get_result()
    used = getattr(item, "funcargs", {}).get("camera")
    if call.when == "call" and report.failed and isinstance(used, ClientCamera):
        try:
            text = "\n".join(used.log())
        except Exception as error:  # noqa: B902 - the test's own failure is what has to be seen
            text = f"no log: {error}"
        report.sections.append(("camera log", text))
