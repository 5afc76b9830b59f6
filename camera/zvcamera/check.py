"""./run --check: asks every URI of the camera over HTTP and says what came back."""

import json
import os
import re
import subprocess
import time

from .camera import SOURCE_DIR, Camera

_SCENARIO = os.path.join(SOURCE_DIR, "camera", "scenarios", "default.json")
_DEVICE = "a1b2c3d4e5f6"  # is in the scenario, and accepts pairings
_ANALYTICS = bytes(range(256)) * 10
_ADDRESS = re.compile(r"[0-9a-f]{12}")


def _object(body, *names):
    """The body as a JSON object with exactly these members, in this order."""
    document = json.loads(body)
    return document if isinstance(document, dict) and tuple(document) == names else None


def _is_empty(body):
    return body == b"{}"


def source_revision():
    """The revision that a build of the sources reports: their commit, or 40 zeros when no repository tracks them."""
    ask = ["git", "-c", "safe.directory=*", "-C", SOURCE_DIR]
    env = {name: value for name, value in os.environ.items() if not name.startswith("GIT_")}
    try:
        subprocess.run([*ask, "ls-files", "--error-unmatch", "CMakeLists.txt"],
                       env=env, check=True, capture_output=True)
        return subprocess.run([*ask, "rev-parse", "HEAD"],
                              env=env, check=True, capture_output=True, text=True).stdout.strip()
    except (OSError, subprocess.CalledProcessError):
        return "0" * 40


def _is_revision(text):
    if os.path.exists(os.path.join(SOURCE_DIR, "CMakeLists.txt")):
        return text == source_revision()
    return re.fullmatch(r"[0-9a-f]{40}", text)  # an installed camera has no sources to compare with


def _is_description(body):
    document = json.loads(body)
    info = document.get("info", {})
    return (list(document)[-1] == "info" and info.get("model_number") == 13 and "schema_version" in document
            and _is_revision(info.get("git_sha1")))


def _is_number(name, *values):
    def right(body):
        document = _object(body, name)
        return document is not None and document[name] in values
    return right


def _is_list(*members):
    def right(body):
        document = _object(body, "list_id", "total", "index", "index_count", "device_array")
        return (document is not None and len(document["device_array"]) == document["total"] > 0
                and all(_ADDRESS.fullmatch(device["address"]) for device in document["device_array"])
                and all(tuple(device)[:len(members)] == members for device in document["device_array"]))
    return right


def _is_paired(body):
    device = _object(body, "device")
    return device is not None and device["device"]["address"] == _DEVICE and device["device"]["auto_connect"] == 1


def _is_gone(body):
    return body == b"\n{}\n"


def _is_executed(body):
    return body == b'{"status":"0"}\n\n'


def _is_analytics(body):
    return body == _ANALYTICS


def _is_error(code, message, function, line):
    def right(body):
        document = _object(body, "status", "zverr", "_function", "_line", "path", "query")
        return document is not None and (document["status"], document["zverr"], document["_function"],
                                         document["_line"]) == (message, code, function, line)
    return right


def _is_failure(message, function, line):
    """A failure in the form that the execute command gives it."""
    expected = f'{{\n"status":"{message}",\n"zverr":-3,\n"_function":"{function}",\n"_line":{line}\n}}\n'
    return lambda body: body == expected.encode()


def _refused(path):
    return _is_error(-1, path, "main", 150)


_BLE = "/command/ble"
_SEEN = ("address", "address_type", "rssi", "name")
_KNOWN = ("address", "name", "mitm_paired", "auto_connect", "connected")

# Each row: URI below the control URL space, HTTP status, a function that says whether the body is right, patience. A
# wrong answer is asked for again until the patience, in seconds, is over: scanning and pairing take their time.
_ROWS = [
    ("", 200, _is_description, 0),
    (f"{_BLE}/pairing_available", 200, _is_empty, 0),
    (f"{_BLE}/pairing_phase?p=1", 200, _is_empty, 0),
    (f"{_BLE}/pairing_available", 500, _refused(f"{_BLE}/pairing_available"), 0),
    (f"{_BLE}/pairing_phase?p=0", 200, _is_empty, 0),
    (f"{_BLE}/pairing_available", 200, _is_empty, 0),
    (f"{_BLE}/configure?auto_connect=0", 200, _is_empty, 0),
    (f"{_BLE}/configure", 200, _is_number("auto_connect", 0), 0),
    (f"{_BLE}/scan?p=1", 200, _is_empty, 0),
    (f"{_BLE}/scan/list", 200, _is_list(*_SEEN), 10),
    (f"{_BLE}/scan?p=0", 200, _is_empty, 0),
    (f"{_BLE}/pair/start?device={_DEVICE}&address_type=1", 200, _is_empty, 0),
    (f"{_BLE}/pair/cancel?device={_DEVICE}&address_type=1", 200, _is_empty, 0),
    (f"{_BLE}/pair/status", 200, _is_number("pairing_status", 4), 0),
    (f"{_BLE}/pair/start?device={_DEVICE}&address_type=1", 200, _is_empty, 0),
    (f"{_BLE}/pair/status", 200, _is_number("pairing_status", 2), 10),
    (f"{_BLE}/whitelist/configure?device={_DEVICE}&auto_connect=1", 200, _is_empty, 0),
    (f"{_BLE}/whitelist/list", 200, _is_list(*_KNOWN), 0),
    (f"{_BLE}/whitelist/device?address={_DEVICE}", 200, _is_paired, 0),
    (f"{_BLE}/whitelist/configure?device={_DEVICE}&remove=1", 200, _is_empty, 0),
    (f"{_BLE}/whitelist/device?address={_DEVICE}", 200, _is_gone, 0),
    ("/execute?p1=zvStream&c1=start&a1=-x", 200, _is_executed, 0),
    ("/execute?p1=zvStream&c1=stop", 200, _is_executed, 0),
    ("/execute", 400, _is_failure("fail, invalid program name", "handle_command_execute", 134), 0),
    ("/analytics/get", 200, _is_analytics, 0),
    ("/analytics/clear", 200, _is_empty, 0),
    ("/analytics/get", 200, lambda body: body == b"", 0),
    ("/nothing_here", 400, _is_error(-3, "unknown request", "main", 143), 0),
]


def _ask(camera, uri, status, is_right):
    answer = camera.get(uri)
    try:
        right = answer.status == status and bool(is_right(answer.body))
    except (ValueError, TypeError, LookupError, AttributeError):
        right = False  # not a document, or another one than expected
    return answer, right


def _check_row(camera, uri, status, is_right, patience):
    deadline = time.monotonic() + patience
    answer, right = _ask(camera, uri, status, is_right)
    while not right and time.monotonic() < deadline:
        time.sleep(0.2)
        answer, right = _ask(camera, uri, status, is_right)
    start = answer.body[:60].decode("utf-8", errors="replace")
    shown = json.dumps(start, ensure_ascii=True)[1:-1].replace('\\"', '"')
    print(f"{'ok   ' if right else 'WRONG'} {uri or '(empty path)':<71} {answer.status} {shown}", flush=True)
    return right


def run(build_dir, gateway="cgi"):
    """Returns 0 when every answer is right and no program of the camera has misbehaved."""
    camera = Camera(build_dir, scenario=_SCENARIO, gateway=gateway)
    wrong = 0
    try:
        camera.start()
        print(f"camera at {camera.url}", flush=True)
        # Empties the file and stops the collecting: then the file holds only what is appended here.
        camera.admin("zvControlD", "analytics", action="size", size=0)
        camera.admin("zvControlD", "analytics", action="append", hex=_ANALYTICS.hex())
        for row in _ROWS:
            wrong += not _check_row(camera, *row)
        left = [name for name in camera.queues() if name.startswith("to_ZVCC")]
        if left:
            print(f"WRONG reply queues left behind: {' '.join(left)}")
            wrong += 1
    finally:
        camera.stop()
    for misdeed in camera.misdeeds:
        print(f"WRONG {misdeed}")
        wrong += 1
    print(f"{len(_ROWS)} requests, {wrong} wrong")
    return 1 if wrong else 0
