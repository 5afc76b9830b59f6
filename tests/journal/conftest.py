"""The journal's tests run the program of the build folder of --build-dir, with the stand-in preloaded."""

import os

import pytest
import recorder

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def pytest_addoption(parser):
    parser.addoption("--build-dir", default=os.path.join(ROOT, "build", "release"),
                     help="build folder whose program is tested")
    parser.addoption("--gateway", choices=("cgi", "scgi"), default="cgi",
                     help="whether the control program or the resident one is asked")


@pytest.fixture(scope="session")
def build(request):
    option = request.config.getoption
    return recorder.Build(os.path.abspath(option("--build-dir")), option("--gateway"))


@pytest.fixture
def request_of(build, tmp_path):
    """Runs one request: request_of(path, query, **answers)."""
    return recorder.Camera(build, tmp_path)
