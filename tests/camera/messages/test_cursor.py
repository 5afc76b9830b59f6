"""Reading bytes in order."""

from zvcamera.messages.cursor import Cursor


def test_reads_in_order():
    cursor = Cursor(bytes([1, 2, 3, 4, 5, 6]))
    assert (cursor.byte(), cursor.big16(), cursor.little16(), cursor.left) == (1, 0x0203, 0x0504, 1)
    assert (cursor.take(1), cursor.left, cursor.overrun) == (b"\x06", 0, False)


def test_what_does_not_fit_is_zero_and_takes_nothing():
    cursor = Cursor(b"\x07")
    assert (cursor.big16(), cursor.overrun, cursor.left) == (0, True, 1)
    assert cursor.take(2) == b""
    assert cursor.byte() == 7
    assert cursor.byte() == 0
    assert cursor.overrun
