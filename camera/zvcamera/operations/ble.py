"""The radio of zvBleD: its settings, the devices in the air, the whitelist, connections."""

from . import ble_text
from .operation import Parameter, operation

_DAEMON = "zvBleD"
_SETTINGS = (
    ("auto_connect", "the radio's own setting, 0 to 255; 0 is off"),
    ("seed", "decides whatever varies"),
    ("scan_page", "most entries of a page, 1 to 18"),
    ("whitelist_page", "most entries of a page, 1 to 36"),
    ("whitelist_slots", "most slots, 0 to 255"),
    ("scan_ms", "a scan ends by itself after this time; 0: it does not"),
    ("lost_ms", "a device not heard for this time leaves a running scan's list"),
    ("pairing_ms", "how long a pairing takes"),
    ("pairing_timeout_ms", "when a pairing that nobody answers is given up"),
    ("connect_ms", "how long a paired device is in range before it is connected"),
)
_DEVICE = (
    ("address_type", "0 to 255"),
    ("name", "as the device sends it"),
    ("rssi", "dBm, -127 to 20"),
    ("rssi_variation", "dBm around rssi"),
    ("uuid16", "service UUIDs, a comma between two"),
    ("uuid128", "likewise"),
    ("presence", "scheduled, present or away"),
    ("from_ms", "in range from this time after the start"),
    ("to_ms", "until this time; 0: for ever"),
    ("period_ms", "in range again every period; 0: only once"),
    ("found_after_ms", "how long a scan takes to hear it; -1: by the seed"),
    ("pairing", "success, failure or silent"),
    ("pairing_ms", "how long its pairing takes; -1: the radio's setting"),
    ("mitm", "true: pairs with protection against a man in the middle"),
)
_SLOT = (
    ("address_type", "as of a device"),
    ("name", "at most 31 bytes"),
    ("mitm", "true or false"),
    ("auto_connect", "true or false"),
    ("connected", "true or false"),
    ("in_use", "true or false; false frees the slot"),
)


def state(link):
    """All of the radio's state."""
    return link.call(_DAEMON, "ble")


def devices_near(link):
    return [device["address"] for device in state(link)["devices"]]


def devices_paired(link):
    return [slot["address"] for slot in state(link)["whitelist"]["slots"] if slot["in_use"]]


def address(candidates):
    """The parameter that names a device; candidates: which of them the command line proposes."""
    return Parameter("address", help='twelve hexadecimal digits; ":" may stand between pairs', candidates=candidates)


@operation("ble", "GET /ble", "Show all of the radio", text=ble_text.radio)
def show(link):
    return state(link)


@operation("ble set", "PATCH /ble", "Change settings",
           Parameter("settings", "pairs", "what to change", rows=_SETTINGS))
def set_settings(link, settings):
    link.call(_DAEMON, "ble_set", settings=settings)


@operation("ble device", "GET /ble/devices", "List the devices in the air", text=ble_text.devices)
def devices(link):
    return state(link)["devices"]


@operation("ble device set", "PUT /ble/devices/{address}", "Add or change a device",
           address(devices_near), Parameter("device", "pairs", "what to change", {}, rows=_DEVICE))
def set_device(link, address, device):
    link.call(_DAEMON, "device_set", device={**device, "address": address})


@operation("ble device remove", "DELETE /ble/devices/{address}", "Remove a device", address(devices_near))
def remove_device(link, address):
    link.call(_DAEMON, "device_remove", address=address)


@operation("ble whitelist", "GET /ble/whitelist", "List the paired devices", text=ble_text.whitelist)
def whitelist(link):
    return state(link)["whitelist"]


@operation("ble whitelist set", "PUT /ble/whitelist/{address}", "Add or change a paired device",
           address(devices_paired), Parameter("slot", "pairs", "what to change", {}, rows=_SLOT))
def set_slot(link, address, slot):
    link.call(_DAEMON, "whitelist_set", slot={**slot, "address": address})


@operation("ble whitelist remove", "DELETE /ble/whitelist/{address}", "Free the slot of a device",
           address(devices_paired))
def remove_slot(link, address):
    link.call(_DAEMON, "whitelist_remove", address=address)


@operation("ble whitelist clear", "DELETE /ble/whitelist", "Drop all slots")
def clear_whitelist(link):
    link.call(_DAEMON, "whitelist_clear")


@operation("ble whitelist reset", "POST /ble/whitelist/reset", "Take the scenario's whitelist again")
def reset_whitelist(link):
    link.call(_DAEMON, "whitelist_reset")


@operation("ble rebuild", "POST /ble/rebuild", "Give a list a new id, as if it had been rebuilt",
           Parameter("list", choices=("scan", "whitelist")),
           Parameter("id", "number", "this id, instead of the next one", None, low=0, high=255))
def rebuild(link, list, id):  # noqa: A002
    link.call(_DAEMON, "rebuild", list=list, **({} if id is None else {"id": id}))


@operation("ble connect", "PUT /ble/connections/{address}", "Connect a paired device", address(devices_paired))
def connect(link, address):
    link.call(_DAEMON, "connection", address=address, connected=True)


@operation("ble disconnect", "DELETE /ble/connections/{address}", "Disconnect a paired device",
           address(devices_paired))
def disconnect(link, address):
    link.call(_DAEMON, "connection", address=address, connected=False)
