"""The scan and the pairing of zvBleD's radio."""

from ..admin import InvalidRequest
from . import ble_text
from .ble import address, devices_near, state
from .operation import Parameter, operation

_DAEMON = "zvBleD"


@operation("ble scan", "GET /ble/scan", "Show the scan and what it found", text=ble_text.scan)
def scan(link):
    return state(link)["scan"]


@operation("ble scan start", "POST /ble/scan", "Start a scan",
           Parameter("mode", "number", "1 to 255", 1, low=1, high=255))
def start_scan(link, mode):
    link.call(_DAEMON, "scan", mode=mode)


@operation("ble scan stop", "DELETE /ble/scan", "Stop the scan; its list stays")
def stop_scan(link):
    link.call(_DAEMON, "scan", mode=0)


@operation("ble pairing", "GET /ble/pairing", "Show the pairing", text=ble_text.pairing)
def pairing(link):
    return state(link)["pairing"]


@operation("ble pairing start", "POST /ble/pairing", "Start pairing a device",
           address(devices_near), Parameter("type", "number", "address type", 0, low=0, high=255))
def start_pairing(link, address, type):  # noqa: A002
    link.call(_DAEMON, "pairing_start", address=address, address_type=type)


@operation("ble pairing end", "POST /ble/pairing/end", "End the pairing under way",
           Parameter("outcome", choices=("success", "failure", "timeout", "cancel")))
def end_pairing(link, outcome):
    link.call(_DAEMON, "pairing_end", outcome=outcome)


@operation("ble pairing status", "PUT /ble/pairing/status",
           "Set the status byte that clients are told until the next start",
           Parameter("status", "number", "any byte", None, low=0, high=255),
           Parameter("own", "flag", "tell the pairing's own status again", False, "--own"))
def set_pairing_status(link, status, own):
    if own == (status is not None):
        raise InvalidRequest("either a status is needed or own")
    link.call(_DAEMON, "pairing_status", status=status)
