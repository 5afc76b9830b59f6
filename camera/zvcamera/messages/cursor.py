"""Reads bytes in order, never past their end."""


class Cursor:
    """A read that does not fit yields zeros, or no bytes, and sets overrun."""

    def __init__(self, data):
        self._data = bytes(data)
        self._place = 0
        self.overrun = False

    @property
    def left(self):
        """How many bytes have not been read."""
        return len(self._data) - self._place

    def take(self, count):
        """The next count bytes, or none of them when there are fewer."""
        if count > self.left:
            self.overrun = True
            return b""
        self._place += count
        return self._data[self._place - count:self._place]

    def byte(self):
        return int.from_bytes(self.take(1), "big")

    def big16(self):
        return int.from_bytes(self.take(2), "big")

    def little16(self):
        return int.from_bytes(self.take(2), "little")
