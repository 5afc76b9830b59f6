"""Takes TCP connections to other programs away from this process and all that it starts, by Landlock.

For a camera whose listening socket could not be given the filter of port.py.
"""

import ctypes
import struct

_CREATE_RULESET, _RESTRICT_SELF = 444, 446  # calls of the kernel, the same for all processors
_CONNECT_TCP = 2


def refuse_connections():
    """Call it before any thread is started. Returns whether the kernel can do that."""
    libc = ctypes.CDLL(None)
    attributes = struct.pack("=QQ", 0, _CONNECT_TCP)
    rules = libc.syscall(_CREATE_RULESET, attributes, len(attributes), 0)
    return rules >= 0 and libc.syscall(_RESTRICT_SELF, rules, 0) == 0
