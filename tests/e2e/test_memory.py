"""One request of each kind under valgrind. Programs with sanitizers run without it and check themselves."""

import house
import pytest

pytestmark = [pytest.mark.thorough, pytest.mark.memory]

BLE = "/command/ble"
PROGRAM = "/usr/local/zarvo/bin/zvControl-cgi-bin"
FINDINGS = "/tmp/findings"
VALGRIND = ["/usr/bin/valgrind", "-q", "--vgdb=no", "--error-exitcode=99", "--leak-check=full",
            "--errors-for-leak-kinds=definite,indirect,possible", f"--log-file={FINDINGS}"]

# Path, query and exit status: each kind of request, right and wrong.
REQUESTS = [
    (None, None, 0),
    ("/nothing", "a=1", 236),
    (f"{BLE}/pairing_available", None, 0),
    (f"{BLE}/pairing_phase", "p=1", 0), (f"{BLE}/pairing_phase", "p=x", 253), (f"{BLE}/pairing_phase", "p=0", 0),
    (f"{BLE}/configure", None, 0), (f"{BLE}/configure", "auto_connect=1", 0), (f"{BLE}/configure", "foo=1", 253),
    (f"{BLE}/scan", "p=1", 0), (f"{BLE}/scan", None, 253),
    (f"{BLE}/scan/list", None, 0), (f"{BLE}/scan/list", "p=0", 0), (f"{BLE}/scan/list", "p=x", 253),
    (f"{BLE}/pair/start", "device=a1b2c3d4e5f6&address_type=1", 0), (f"{BLE}/pair/start", "device=:", 253),
    (f"{BLE}/pair/status", None, 0),
    (f"{BLE}/pair/cancel", "device=a1b2c3d4e5f6&address_type=1", 0), (f"{BLE}/pair/cancel", None, 253),
    (f"{BLE}/whitelist/list", None, 0), (f"{BLE}/whitelist/list", "p=1", 0),
    (f"{BLE}/whitelist/device", "address=58a1b2c3d4e5", 0), (f"{BLE}/whitelist/device", "address=1", 0),
    (f"{BLE}/whitelist/configure", "device=58a1b2c3d4e5&auto_connect=0", 0),
    (f"{BLE}/whitelist/configure", "device=58a1b2c3d4e5&remove=1", 0),
    (f"{BLE}/whitelist/configure", "device=1&remove=1", 255),
    ("/execute", "p1=zvStream&c1=start&a1=\"-x\"", 238), ("/execute", "p1=zvStream&c1=restart", 238),
    ("/execute", "p1=zvStream&c1=stop", 238), ("/execute", "p1=" + "x" * 3000 + "&c1=stop", 238),
    ("/analytics/get", None, 238), ("/analytics/clear", None, 0),
]


@pytest.fixture(scope="module")
def watched(make_module_camera):
    camera = make_module_camera(scenario=f"{house.ROOT}/camera/scenarios/default.json")
    camera.tool("analytics", "append", "3")
    camera.admin("zvBleD", "ble_set", settings={"pairing_ms": 60000})  # long enough for valgrind, which is slow
    camera.get(f"{BLE}/scan?p=1")
    camera.wait_for(lambda: camera.get(f"{BLE}/scan/list").json()["total"] > 2)
    return camera


def _assert_clean(camera, sanitized, env, status):
    done = camera.run([PROGRAM] if sanitized else [*VALGRIND, PROGRAM], {"PATH": "/usr/bin:/bin", **env})
    findings = done.stderr if sanitized else camera.run(["/bin/cat", FINDINGS]).stdout
    assert [line for line in findings.decode().splitlines() if "Sanitizer" in line or "==" in line] == []
    assert done.status == status


@pytest.mark.xdist_group("memory")  # in this order: some need what an earlier one has begun
@pytest.mark.parametrize(("path", "query", "status"), REQUESTS,
                         ids=[f"{path}?{(query or '')[:24]}" for path, query, _ in REQUESTS])
def test_no_error_and_no_leak(watched, sanitized, path, query, status):
    given = {"PATH_INFO": path, "QUERY_STRING": query}
    _assert_clean(watched, sanitized, {name: value for name, value in given.items() if value is not None}, status)


def test_no_error_and_no_leak_when_nobody_answers(camera, sanitized):
    with camera.without("zvNetD"):
        _assert_clean(camera, sanitized, {"PATH_INFO": f"{BLE}/scan/list"}, 255)
    with camera.without("zvControlD"):
        _assert_clean(camera, sanitized, {"PATH_INFO": f"{BLE}/scan/list"}, 255)


def test_errors_would_be_seen(shared_camera, sanitized):
    """The checks work: a program that leaks is found."""
    leak = "import ctypes; ctypes.CDLL(None).malloc(4096)"
    if sanitized:
        done = shared_camera.run([PROGRAM], {"ASAN_OPTIONS": "no_such_option_at_all=1:verbosity=1"})
        assert b"AddressSanitizer" in done.stderr
    else:
        done = shared_camera.run([*VALGRIND, "--show-leak-kinds=definite", "/usr/bin/python3", "-S", "-c", leak],
                                 {"PYTHONMALLOC": "malloc"})
        assert done.status == 99
