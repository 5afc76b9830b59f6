"""Entries of the lists."""

from zvcamera.messages import entries

UUID128 = bytes(range(16))


def scan_entry(address=bytes([1, 2, 3, 4, 5, 6]), parts=(14, 2, 0, 0, 16, 2), storage=b"Hi\x0d\x18", rssi=0xc4):
    """The 82 bytes of an entry."""
    return address + bytes([1, rssi, *parts]) + storage.ljust(68, b"\0")


def whitelist_entry(flags=0x005a, name=b"Hi"):
    """The 41 bytes of an entry."""
    return bytes([1, 2, 3, 4, 5, 6]) + flags.to_bytes(2, "little") + bytes([10, len(name)]) + name.ljust(31, b"\0")


def test_reads_a_scan_entry():
    entry = entries.read_scan_entry(scan_entry() + b"more")
    assert entry == entries.ScanEntry("060504030201", 1, -60, b"Hi", b"", b"\x0d\x18")
    assert entries.read_scan_entry(scan_entry(parts=(0, 0, 14, 16, 30, 0), storage=UUID128)).uuid128 == UUID128


def test_a_part_is_cut_at_the_end_of_its_entry():
    assert entries.read_scan_entry(scan_entry(parts=(80, 40, 82, 9, 255, 255), storage=b"x" * 68)) == entries.ScanEntry(
        "060504030201", 1, -60, b"xx", b"", b"")


def test_reads_a_whitelist_entry():
    assert entries.read_whitelist_entry(whitelist_entry()) == entries.WhitelistEntry("060504030201", 0x005a, b"Hi")
    assert entries.read_whitelist_entry(whitelist_entry(name=b"a\0b")).name == b"a"


def test_flags_and_uuids_in_words():
    assert entries.flags_text(0x005a) == "0x005a in-use connected mitm auto-connect"
    assert entries.flags_text(0) == "0x0000"
    assert entries.uuids_text(b"\x0d\x18\x0f\x18", 2) == "180d 180f"
    assert entries.uuids_text(b"\x0d\x18\x0f", 2) == "180d and 0f"
    assert entries.uuids_text(UUID128, 16) == "0f0e0d0c0b0a09080706050403020100"
    assert entries.uuids_text(b"", 2) == ""
