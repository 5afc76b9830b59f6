"""Fixtures of the end-to-end tests: cameras, started from the build folder of --build-dir."""

import os
import pathlib
import re
import sys
import tempfile

import pytest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "camera"))

pytest.register_assert_rewrite("house", "packing")
import held  # noqa: E402
import house  # noqa: E402
import packing  # noqa: E402

SANITIZER_REPORT = re.compile(r"(Address|Leak|UndefinedBehavior)Sanitizer|: runtime error: ")


def pytest_addoption(parser):
    parser.addoption("--build-dir", default=os.path.join(ROOT, "build", "release"),
                     help="build folder whose programs are tested")
    parser.addoption("--gateway", choices=("cgi", "scgi"), default="cgi",
                     help="how the web server asks the gateway, where a test does not say")
    parser.addoption("--gateway-dir", help="build folder of the control program, when it is another one")


# What is run when; scripts/checks.py chooses by these. A test without any of them is run by ./test.
MARKS = {
    "quick": "after every edit, too",
    "thorough": "not in ./test: other web servers, packages, valgrind, the pytest plugin",
    "gateway": "what the gateway does, whoever asks it",
    "every_build": "what a compiler, a processor or a way of linking can break",
    "memory": "each kind of request under the eyes of valgrind or of a sanitizer",
    "packages": "what is installed of each shape and for each processor",
    "porting": "how the gateway and libraries of the same processor fit together",
    "page": "the simulated camera's page, in a browser",
    "bench": "the measuring programs",
    "resident": "the resident program, beside what each test asks it with --gateway scgi; not in ./test",
    "root": "what root alone can try; an ordinary user's run leaves it out",
    "contract": "all that docs/openapi.yaml says, and what clients make of it",
    "off_contract": "gets answers that docs/openapi.yaml does not have, on purpose; its argument says why",
    "slow": "takes long, and is the same in every build",
}


def pytest_configure(config):
    held.install()
    for name, meaning in MARKS.items():
        config.addinivalue_line("markers", f"{name}: {meaning}")


def pytest_collection_modifyitems(config, items):
    """What takes long is begun first. What root alone can try is left out for others."""
    left_out = [item for item in items if os.getuid() != 0 and item.get_closest_marker("root")]
    if left_out:
        config.hook.pytest_deselected(items=left_out)
        items[:] = [item for item in items if item not in left_out]
    items.sort(key=lambda item: not any(map(item.get_closest_marker, ("slow", "xdist_group"))))


@pytest.fixture(scope="session")
def build_dir(request):
    return os.path.abspath(request.config.getoption("--build-dir"))


@pytest.fixture(scope="session", autouse=True)
def gateway_dir(request, build_dir):
    """Build folder of the control program. Every camera of the tests takes the program from there."""
    house.TestCamera.default_gateway_dir = os.path.abspath(request.config.getoption("--gateway-dir") or build_dir)
    return house.TestCamera.default_gateway_dir


@pytest.fixture(scope="session", autouse=True)
def gateway(request):
    """How the web server of every camera asks the gateway, unless its test says it."""
    house.TestCamera.default_gateway = request.config.getoption("--gateway")
    return house.TestCamera.default_gateway


@pytest.fixture(scope="session")
def sanitized(build_dir):
    """Whether the programs carry sanitizers: they are slower then, and valgrind cannot run them."""
    return house.is_sanitized(build_dir)


@pytest.fixture(scope="session")
def processor(gateway_dir):
    """The processor of the control program."""
    return house.processor(gateway_dir)


@pytest.fixture(scope="session")
def standalone(gateway_dir):
    """Whether the control program is the stand-alone one."""
    return house.cached(gateway_dir, "ZV_STANDALONE") == "ON"


@pytest.fixture(scope="session")
def packages(gateway_dir, tmp_path_factory):
    """Name -> Debian package."""
    return packing.packed(gateway_dir, tmp_path_factory.mktemp("packages"))


@pytest.fixture(autouse=True)
def held_to_the_contract(request):
    """Every answer that a test gets has to be one that clients are told of."""
    held.findings.clear()
    yield
    if not request.node.get_closest_marker("off_contract"):
        assert held.findings == []


def _judge(camera, queues):
    """Checks what a test has left behind: no misdeeds, no reply queues, no sanitizer reports, no unknown statuses."""
    records = camera.records
    assert camera.misdeeds == []
    assert [name for name in queues if name not in ("to_ble", "to_zvnet")] == []
    assert [record["text"] for record in records if SANITIZER_REPORT.search(record["text"])] == []
    assert camera.answers_by_a_script or held.lines(records) == []


def _serve(build_dir, **options):
    camera = house.TestCamera(build_dir, **options)
    camera.start()
    try:
        yield camera
        queues = camera.queues()
    finally:
        camera.stop()
    _judge(camera, queues)


@pytest.fixture(scope="module")
def shared_camera(build_dir):
    """One camera for all tests of a file. Each test leaves it as it found it."""
    yield from _serve(build_dir)


@pytest.fixture(scope="session")
def session_browser():
    """One browser for all tests of the page."""
    import browser  # Selenium takes its time

    with browser.browser() as started:
        yield started


@pytest.fixture
def camera(build_dir):
    """A fresh camera for each test."""
    yield from _serve(build_dir)


@pytest.fixture
def open_path():
    """A temporary folder that every user can reach."""
    with tempfile.TemporaryDirectory(prefix="zvtest-", dir=os.environ.get("TMPDIR") or "/tmp") as folder:
        os.chmod(folder, 0o755)
        yield pathlib.Path(folder)


def _maker(build_dir):
    serving = []

    def make(**options):
        serving.append(_serve(build_dir, **options))
        return next(serving[-1])

    yield make
    for generator in reversed(serving):
        for _ in generator:
            pass


@pytest.fixture
def make_camera(build_dir):
    """A function that starts further cameras, with the options of zvcamera.camera.Camera."""
    yield from _maker(build_dir)


@pytest.fixture(scope="module")
def make_module_camera(build_dir):
    """The same for cameras that all tests of a file share."""
    yield from _maker(build_dir)
