"""A small client of the camera: what an application needs to look around and to pair."""

import http.client
import json
import time
import urllib.parse


class CameraError(Exception):
    """The camera did not do it."""


class Refused(CameraError):
    """The camera has answered with an error. code: its result code; -3 means that the request itself was wrong."""

    def __init__(self, path, status, code):
        super().__init__(f"{path}: status {status}, code {code}")
        self.status = status
        self.code = code


class Unreachable(CameraError):
    """No usable answer, however often it was asked."""


class Client:
    """url: of the control URL space. timeout: seconds for an answer. tries: how often a request is sent at most."""

    def __init__(self, url, timeout=2.0, tries=3, pause=0.05):
        parts = urllib.parse.urlsplit(url)
        self._address = parts.netloc
        self._space = parts.path
        self._timeout = timeout
        self._tries = tries
        self._pause = pause

    def _once(self, path):
        connection = http.client.HTTPConnection(self._address, timeout=self._timeout)
        try:
            connection.request("GET", self._space + path)
            answer = connection.getresponse()
            return answer.status, json.loads(answer.read())
        finally:
            connection.close()

    def ask(self, path, again=True, **query):
        """The document of an answer. again: whether the request may be sent again when its fate is unknown."""
        if query:
            path += "?" + urllib.parse.urlencode(query)
        for left in reversed(range(self._tries if again else 1)):
            try:
                status, document = self._once(path)
                break
            except (OSError, http.client.HTTPException, ValueError) as error:
                if not left:
                    raise Unreachable(f"{path}: {error or type(error).__name__}") from error
                time.sleep(self._pause)
        if status != 200:
            raise Refused(path, status, document.get("zverr"))
        return document

    def name(self):
        return self.ask("")["info"]["ap_ssid"]

    def may_pair(self):
        try:
            self.ask("/command/ble/pairing_available")
        except Refused:
            return False
        return True

    def paired(self):
        """Addresses in the whitelist."""
        return [device["address"] for device in self.ask("/command/ble/whitelist/list")["device_array"]]

    def around(self, seconds):
        """Addresses of the devices that a scan of so many seconds finds."""
        self.ask("/command/ble/scan", p=1)
        time.sleep(seconds)
        found = self.ask("/command/ble/scan/list")["device_array"]
        self.ask("/command/ble/scan", p=0)
        return [device["address"] for device in found]

    def pair(self, address, address_type, patience=5.0):
        """Pairs with a device; whether that went well. A start is sent once only: a second one would be refused."""
        self.ask("/command/ble/pair/start", again=False, device=address, address_type=address_type)
        deadline = time.monotonic() + patience
        while (status := self.ask("/command/ble/pair/status")["pairing_status"]) == 1:
            if time.monotonic() > deadline:
                self.ask("/command/ble/pair/cancel", device=address, address_type=address_type)
                return False
            time.sleep(self._pause)
        return status == 2

    def forget(self, address):
        self.ask("/command/ble/whitelist/configure", device=address, remove=1)
