"""One request of each kind, and what the camera needs before it."""

_BLE = "/command/ble"
_ADDRESS = "a1b2c3d4e5f6"
_DEVICE = f"device={_ADDRESS}&address_type=1"
_PAIRING = ["zvBleD", "pairing_start", {"address": _ADDRESS, "address_type": 1}]
_NO_PAIRING = ["zvBleD", "pairing_end", {"outcome": "cancel"}]
_RECORDING = ["zvControlD", "set", {"item": "recording", "value": 1}]
_ANALYTICS = ["zvControlD", "analytics", {"action": "append", "hex": bytes(range(256)).hex() * 80}]
_SHORT, _LONG = 40, 100  # seconds: a message and its reply take 30 at most, a list 90


class Kind:
    """watch: daemons whose messages tell whether the request has been carried out. set_up: once; prepare: each time;
    stream: what becomes of the streaming program."""

    def __init__(self, name, path, query="", *, watch=(), set_up=(), prepare=(), stream=None, limit=_SHORT):
        self.name = name
        self.plan = {"environment": {"PATH_INFO": path, "QUERY_STRING": query}, "watch": list(watch),
                     "set_up": list(set_up), "prepare": list(prepare), "stream": stream, "limit": limit}


def _ble(name, query="", label=None, **more):
    return Kind(label or name.replace("/", "_"), f"{_BLE}/{name}", query, watch=["zvBleD"], **more)


KINDS = [
    Kind("unknown", "/nothing_here", "a=1"),  # the loader's calls are failed for this one
    Kind("description", ""),
    Kind("pairing_available", f"{_BLE}/pairing_available"),
    Kind("pairing_not_available", f"{_BLE}/pairing_available", set_up=[_RECORDING]),
    Kind("pairing_phase", f"{_BLE}/pairing_phase", "p=1", watch=["zvNetD"]),
    _ble("configure", label="configuration"),
    _ble("configure", "auto_connect=1"),
    _ble("scan", "p=1"),
    _ble("scan/list", limit=_LONG,
         set_up=[["zvBleD", "scan", {"mode": 1}], ["wait", 4, {}], ["zvBleD", "scan", {"mode": 0}]]),
    _ble("pair/start", _DEVICE, prepare=[_NO_PAIRING]),
    _ble("pair/cancel", _DEVICE, prepare=[_PAIRING]),
    _ble("pair/status"),
    _ble("whitelist/list", limit=_LONG),
    _ble("whitelist/configure", "device=58a1b2c3d4e5&auto_connect=1"),
    _ble("whitelist/device", "address=58a1b2c3d4e5", limit=_LONG),
    Kind("execute_start", "/execute", "p1=zvStream&c1=start&a1=-x", stream="start"),
    Kind("execute_stop", "/execute", "p1=zvStream&c1=stop", stream="stop"),
    Kind("analytics_get", "/analytics/get", set_up=[_ANALYTICS]),
    Kind("analytics_busy", "/analytics/get", set_up=[_ANALYTICS, _RECORDING]),
    Kind("analytics_clear", "/analytics/clear"),
]
