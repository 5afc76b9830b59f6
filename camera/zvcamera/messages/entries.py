"""The entries of the BLE daemon's lists. Addresses and UUIDs are stored least significant byte first."""

import dataclasses

from . import protocol
from .cursor import Cursor

UUID16_SIZE = 2
UUID128_SIZE = 16
_FLAGS = ((0x0040, "in-use"), (0x0002, "connected"), (0x0008, "mitm"), (0x0010, "auto-connect"))


@dataclasses.dataclass(frozen=True)
class ScanEntry:
    address: str
    address_type: int
    rssi: int
    name: bytes
    uuid128: bytes
    uuid16: bytes


@dataclasses.dataclass(frozen=True)
class WhitelistEntry:
    address: str
    flags: int
    name: bytes


def reversed_hex(stored):
    """Bytes that are stored least significant first, as people write them."""
    return bytes(stored)[::-1].hex()


def _within(entry, offset, length):
    """A part of an entry; cut at the end of the entry when it leads out of it."""
    return entry[offset:offset + length] if 0 < offset < len(entry) else b""


def _until_zero(name):
    return name.partition(b"\0")[0]


def read_scan_entry(data):
    """Reads the first bytes of data, which hold at least an entry."""
    whole = bytes(data[:protocol.SCAN_ENTRY_SIZE])
    cursor = Cursor(whole)
    address = reversed_hex(cursor.take(6))
    address_type = cursor.byte()
    rssi = int.from_bytes(cursor.take(1), "big", signed=True)
    name, uuid128, uuid16 = (_within(whole, cursor.byte(), cursor.byte()) for _ in range(3))
    return ScanEntry(address, address_type, rssi, _until_zero(name), uuid128, uuid16)


def read_whitelist_entry(data):
    """Reads the first bytes of data, which hold at least an entry."""
    whole = bytes(data[:protocol.WHITELIST_ENTRY_SIZE])
    cursor = Cursor(whole)
    address = reversed_hex(cursor.take(6))
    flags = cursor.little16()
    return WhitelistEntry(address, flags, _until_zero(_within(whole, cursor.byte(), cursor.byte())))


def flags_text(flags):
    return " ".join([f"0x{flags:04x}", *(word for flag, word in _FLAGS if flags & flag)])


def uuids_text(uuids, size):
    """UUIDs of one size, with a blank between two; bytes that make no whole one follow in their order."""
    whole = len(uuids) // size * size
    text = " ".join(reversed_hex(uuids[place:place + size]) for place in range(0, whole, size))
    return text if whole == len(uuids) else f"{text} and {uuids[whole:].hex()}"
