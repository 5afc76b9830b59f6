"""Control over HTTP under thousands of requests that nobody sane would send, while clients use the gateway."""

import contextlib
import http.client
import json
import os
import random
import threading
import urllib.parse

import pytest

pytestmark = [pytest.mark.thorough, pytest.mark.slow]

REQUESTS = 10_000
# What these do is to end programs, or to spoil answers.
LEFT_OUT = ("daemon", "fault", "fail", "unfail", "load", "reset", "stream")
METHODS = ("GET", "PUT", "POST", "DELETE", "PATCH", "HEAD", "OPTIONS", "TRACE", "BREW")
WORDS = ("", "0", "-1", "1e400", "true", "null", "\u00e4\u20ac", "\x01\x7f", "%", "../..", "*", "a" * 300, "recording",
         "zvBleD", "a1b2c3d4e5f6", "9" * 40, "ble:1", "{}", "[]", "\U0001f4f7", "$(reboot)", "';--")
NUMBERS = (None, True, False, 0, 1, -1, 255, 256, 1 << 31, 1 << 64, -(1 << 63), 0.5, 1e300)
FIELDS = {"Host": ("localhost", "[::1]", "camera.example", "", "127.0.0.1:99999"),
          "Origin": ("null", "http://localhost", "http://camera.example", ""),
          "Sec-Fetch-Site": ("none", "cross-site", "\u00e4"), "X-Forwarded-For": ("127.0.0.1", "10.0.0.1", "x"),
          "Content-Type": ("application/json", "text/plain", "application/json;;", "", "multipart/form-data"),
          "Content-Encoding": ("gzip", "identity"), "Expect": ("100-continue", "x"), "Range": ("bytes=0-",)}


class Sender:
    """Sends requests made of chance."""

    def __init__(self, port, operations, seed):
        self._port = port
        self._operations = operations
        self._chance = random.Random(seed)
        self.statuses = {}

    def _value(self, depth=0):
        kind = self._chance.randrange(8 if depth < 4 else 5)
        if kind < 2:
            return self._chance.choice(WORDS)
        if kind < 5:
            return self._chance.choice(NUMBERS)
        if kind < 7:
            return [self._value(depth + 1) for _ in range(self._chance.randrange(4))]
        return {self._chance.choice(WORDS): self._value(depth + 1) for _ in range(self._chance.randrange(4))}

    def _sensible(self, parameter):
        if "choices" in parameter:
            return self._chance.choice(parameter["choices"])
        return {"number": 1, "flag": True, "words": ["a"], "pairs": {}}.get(parameter["kind"], "a1b2c3d4e5f6")

    def _given(self, operation):
        return {parameter["name"]: self._sensible(parameter) if self._chance.random() < 0.5 else self._value()
                for parameter in operation["parameters"] if self._chance.random() < 0.8}

    def _body(self, given):
        way = self._chance.randrange(10)
        text = json.dumps(given).encode()
        if way == 0:
            return self._chance.randbytes(self._chance.randrange(2000))
        if way == 1:
            return text[:self._chance.randrange(len(text) + 1)]
        if way == 2:
            return b"[" * self._chance.randrange(100_000)
        if way == 3:
            return json.dumps({"x": "y" * self._chance.randrange(2_000_000)}).encode()
        return text

    def _request(self):
        operation = self._chance.choice(self._operations)
        given = self._given(operation)
        path = operation["path"]
        for name in [name for name in given if f"{{{name}}}" in path]:
            path = path.replace(f"{{{name}}}", urllib.parse.quote(str(given.pop(name)), safe=""))
        method = operation["method"] if self._chance.random() < 0.8 else self._chance.choice(METHODS)
        fields = {name: self._chance.choice(values).encode() for name, values in FIELDS.items()
                  if self._chance.random() < 0.04}
        body = None
        if method in ("GET", "HEAD", "DELETE", "OPTIONS"):
            path += "?" + urllib.parse.urlencode(given) if given else ""
        else:
            fields.setdefault("Content-Type", b"application/json")
            body = self._body(given)
        if self._chance.random() < 0.05:
            path = "/simulator/" + urllib.parse.quote_from_bytes(self._chance.randbytes(20), safe="/%")
        return method, path, body, fields

    def send_some(self, count):
        """Sends requests, each over a new connection now and then, and counts the statuses."""
        connection = http.client.HTTPConnection("127.0.0.1", self._port, timeout=60)
        for _ in range(count):
            method, path, body, fields = self._request()
            if self._chance.random() < 0.02:
                connection.close()
            try:
                connection.request(method, path, body, fields)
                answer = connection.getresponse()
                if answer.getheader("Content-Type", "").startswith("text/event-stream"):
                    connection.close()  # this answer has no end
                else:
                    answer.read()
                self.statuses[answer.status] = self.statuses.get(answer.status, 0) + 1
            except (OSError, http.client.HTTPException):
                connection.close()  # a server may hang up on nonsense


class GatewayUser:
    """Asks the gateway all the time, until it is told to stop."""

    def __init__(self, camera):
        self._camera = camera
        self._ended = threading.Event()
        self.asked = 0
        self.wrong = []

    def _ask(self):
        unknown = self._camera.get("/nothing_here")
        if (unknown.status, unknown.json()["status"]) != (400, "unknown request"):
            self.wrong.append(unknown.body)
        refused = self._camera.get("/command/ble/scan?p=x")
        if (refused.status, refused.json()["zverr"]) != (500, -3):
            self.wrong.append(refused.body)
        status = self._camera.get("/command/ble/pair/status")
        if status.status != 200 or list(status.json()) != ["pairing_status"]:
            self.wrong.append(status.body)
        self.asked += 3

    def run(self):
        while not self._ended.is_set():
            self._ask()

    @contextlib.contextmanager
    def at_work(self):
        thread = threading.Thread(target=self.run)
        thread.start()
        try:
            yield
        finally:
            self._ended.set()
            thread.join()


def _processes(camera):
    return {name: (told["state"], told["pid"]) for name, told in camera.admin("supervisor", "status").items()}


def test_nothing_ends_and_no_answer_is_wrong(make_camera):
    seed = int(os.environ.get("SEED") or random.randrange(1 << 32))
    print(f"SEED={seed} repeats it")
    camera = make_camera()
    listed = camera_listing(camera)
    operations = [each for each in listed if each["name"].split("_")[0] not in LEFT_OUT]
    before = _processes(camera)
    senders = [Sender(camera.port, operations, seed + number) for number in range(4)]
    user = GatewayUser(camera)
    with user.at_work():
        threads = [threading.Thread(target=sender.send_some, args=(REQUESTS // len(senders),)) for sender in senders]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
    statuses = {}
    for sender in senders:
        for status, count in sender.statuses.items():
            statuses[status] = statuses.get(status, 0) + count
    print(f"{sum(statuses.values())} answers {dict(sorted(statuses.items()))}, {user.asked} of the gateway")
    assert user.wrong == []
    assert user.asked > 100
    assert _processes(camera) == before
    assert statuses.get(500, 0) == 0
    assert {200, 400, 403, 404, 405, 415} <= set(statuses)
    assert len(camera_listing(camera)) == len(listed)


def camera_listing(camera):
    with contextlib.closing(http.client.HTTPConnection("127.0.0.1", camera.port, timeout=60)) as connection:
        connection.request("GET", "/simulator")
        return json.loads(connection.getresponse().read())["operations"]
