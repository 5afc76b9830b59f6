"""Runs inside a camera in place of the network daemon.

Takes the messages from "/to_zvnet" one by one. Prints each in hexadecimal, and sends the next of the given replies to
the queue that the message names.

    queue_peer.py REPLY...      each in hexadecimal; "-" sends nothing
"""

import ctypes
import os
import sys

LIBC = ctypes.CDLL(None, use_errno=True)
LIMIT = 2048
NAME = b"/to_zvnet"
OPEN = []  # the name, once messages can come


class Attributes(ctypes.Structure):
    """struct mq_attr"""

    _fields_ = [(name, ctypes.c_long) for name in ("flags", "maxmsg", "msgsize", "curmsgs")] + \
        [("reserved", ctypes.c_long * 4)]


def checked(result, what):
    if result == -1:
        raise OSError(ctypes.get_errno(), f"{what}: {os.strerror(ctypes.get_errno())}")
    return result


def reply_queue(message):
    """Returns the data of the message's element 68."""
    at = 4
    while at + 4 <= len(message):
        length = int.from_bytes(message[at + 1:at + 3], "big")
        if message[at + 3] == 68:
            return message[at + 4:at + 4 + length]
        at += 4 + length
    raise ValueError(f"no reply queue in {message.hex()}")


def main():
    attributes = Attributes(0, 10, LIMIT, 0)
    queue = checked(LIBC.mq_open(NAME, os.O_RDONLY | os.O_CREAT | os.O_EXCL, 0o664, ctypes.byref(attributes)),
                    f"mq_open of {NAME.decode()}")
    OPEN.append(NAME)
    buffer = ctypes.create_string_buffer(LIMIT)
    for reply in sys.argv[1:]:
        length = checked(LIBC.mq_receive(queue, buffer, LIMIT, None), "mq_receive")
        message = buffer.raw[:length]
        print(message.hex(), flush=True)
        if reply != "-":
            data = bytes.fromhex(reply)
            back = checked(LIBC.mq_open(reply_queue(message), os.O_WRONLY), "mq_open of the reply queue")
            checked(LIBC.mq_send(back, data, len(data), 0), "mq_send")
            LIBC.mq_close(back)
    LIBC.mq_unlink(NAME)


if __name__ == "__main__":
    main()
