"""The radio for people."""

from ..messages.quote import printable, quote

_OTHERS = ("rssi", "rssi_variation", "from_ms", "to_ms", "period_ms", "found_after_ms", "pairing_ms")


def _value(value):
    return {True: "true", False: "false", None: "null"}[value] if isinstance(value, (bool, type(None))) else str(value)


def _aired(device, rssi):
    uuids = "".join(f" {uuid}" for uuid in (*device["uuid16"], *device["uuid128"]))
    return f"  {device['address']}  type {device['address_type']} {device[rssi]:5d} dBm  {quote(device['name'])}{uuids}"


def _device(device):
    return (f"{_aired(device, 'rssi_now')}, {'in range' if device['in_range'] else 'out of range'}, "
            f"{device['presence']}, pairing {device['pairing']}{', mitm' if device['mitm'] else ''}\n"
            f"                {' '.join(f'{key}={_value(device[key])}' for key in _OTHERS)}\n")


def devices(found):
    return f"devices: {len(found)}\n" + "".join(map(_device, found))


def scan(state):
    how = f"running, mode {state['mode']}" if state["running"] else "stopped"
    return (f"scan: {how}, list id {state['list_id']}, {len(state['found'])} found\n"
            + "".join(f"{_aired(found, 'rssi')}, heard at {found['seen_ms']} ms\n" for found in state["found"]))


def pairing(state):
    own = f" by hand, its own {state['own_status']} ({state['own_meaning']})" if state["by_hand"] else ""
    return (f"pairing: {state['status']} ({state['meaning']}){own}, device {_value(state['address'])} "
            f"type {_value(state['address_type'])}\n")


def _slot(slot):
    flags = "".join(f" {flag}" for flag in ("mitm", "auto_connect", "connected") if slot[flag])
    return (f"{'  ' if slot['in_use'] else '  free: '}{slot['address']}  type {slot['address_type']}  "
            f"{quote(slot['name'])}{flags}\n")


def whitelist(state):
    slots = state["slots"]
    return (f"whitelist: list id {state['list_id']}, {len(slots)} slots\n"
            + "".join(f"{number:5d}{_slot(slot)}" for number, slot in enumerate(slots)))


def radio(state):
    settings = "".join(f" {key}={_value(value)}" for key, value in sorted(state["settings"].items()))
    text = (f"time: {state['now_ms']} ms since the start\n"
            f"settings: auto_connect={_value(state['auto_connect'])}{settings}\n"
            f"{devices(state['devices'])}{scan(state['scan'])}{pairing(state['pairing'])}"
            f"{whitelist(state['whitelist'])}")
    return "\n".join(map(printable, text.split("\n")))
