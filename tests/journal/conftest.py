"""The journal's tests run the program of the build folder of --build-dir, with the stand-in preloaded."""

import os

import pytest
import recorder

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def pytest_addoption(parser):
    parser.addoption("--build-dir", default=os.path.join(ROOT, "build", "release"),
                     help="build folder whose program is tested")


@pytest.fixture(scope="session")
def build(request):
    return recorder.Build(os.path.abspath(request.config.getoption("--build-dir")))


@pytest.fixture
def request_of(build, tmp_path):
    """Runs one request: request_of(path, query, **answers)."""
    return recorder.Camera(build, tmp_path)
