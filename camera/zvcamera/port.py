"""The camera's port: a listening socket that is of no use but to listen at this port.

The socket belongs to the machine's network, and the camera's programs hold it: `execute` lets a client do with it what
they could. Taken from the web server, shut down and connected anew, it would lead to any service of this machine. So
the kernel drops what arrives at the socket, and at the connections that it has accepted, unless a client sends it here.

Some kernels let root alone set such a filter. They have Landlock: inside/confine.py.
"""

import contextlib
import ctypes
import socket
import struct

_ADDRESS = "127.0.0.1"
_WAITING = 1024

# Linux's names for instructions of a filter, and for the options that set one.
_LOAD_WORD, _LOAD_HALF, _LOAD_BYTE = 0x20, 0x28, 0x30
_AND, _IF_EQUAL, _IF_BIT, _RETURN = 0x54, 0x15, 0x45, 0x06
_IP_HEADER = 0xFFF00000  # offsets from here on count from the IP header, others from the TCP header
_ATTACH_FILTER, _LOCK_FILTER = 26, 44
_ROOM = 1024  # bytes for the instructions
_LOOPBACK = b"lo\0"

_SYN, _RST, _ACK = 0x02, 0x04, 0x10
_PASS, _DROP = 0xFFFFFFFF, 0


def _instructions(port):
    """Operation, steps to skip when true and when false, value."""
    address = int.from_bytes(socket.inet_aton(_ADDRESS), "big")
    return (
        (_LOAD_WORD, 0, 0, _IP_HEADER + 16), (_IF_EQUAL, 0, 9, address),  # where it goes to
        (_LOAD_HALF, 0, 0, 2), (_IF_EQUAL, 0, 7, port),
        # What a server answers who is asked for a connection: yes, or no. A no has the sequence number 0.
        (_LOAD_BYTE, 0, 0, 13), (_AND, 0, 0, _SYN | _ACK), (_IF_EQUAL, 4, 0, _SYN | _ACK),
        (_LOAD_BYTE, 0, 0, 13), (_IF_BIT, 0, 3, _RST),
        (_LOAD_WORD, 0, 0, 4), (_IF_EQUAL, 0, 1, 0),
        (_RETURN, 0, 0, _DROP),
        (_RETURN, 0, 0, _PASS))


def _attach(listener):
    instructions = _instructions(listener.getsockname()[1])
    program = ctypes.create_string_buffer(b"".join(struct.pack("=HBBI", *each) for each in instructions))
    listener.setsockopt(socket.SOL_SOCKET, _ATTACH_FILTER,
                        struct.pack("HP", len(instructions), ctypes.addressof(program)))


def _shield(listener):
    """Keeps the socket to the loopback device and to its filter for good: nobody can undo that without root's rights, and
    accepted connections have both, too."""
    with contextlib.suppress(PermissionError):  # kernels before 5.7
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_BINDTODEVICE, _LOOPBACK)
    with contextlib.suppress(PermissionError):
        _attach(listener)
    listener.setsockopt(socket.SOL_SOCKET, _LOCK_FILTER, 1)


def is_shielded(listener):
    """Whether the socket has the filter."""
    try:
        return listener.getsockopt(socket.SOL_SOCKET, _ATTACH_FILTER, _ROOM) != b""  # that option tells the filter, too
    except OSError:
        return False


def listen(port):
    """A socket that takes connections to 127.0.0.1:port, any free one for 0. Raises OSError when it cannot be had."""
    listener = socket.socket()
    try:
        listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        listener.bind((_ADDRESS, port))
        _shield(listener)
        listener.listen(_WAITING)
    except OSError:
        listener.close()
        raise
    return listener
