"""The operations on a running camera: each described once, for the command line, for HTTP and for Python."""

# Each module registers its operations, in the order in which help lists them.
from . import state, analytics, ble, scanning, faults  # noqa: F401, I001
from . import requests, trace, queues, daemons, stream, scenario  # noqa: F401, I001
from .operation import registered

# The words of the command line that have further words, and what they are about.
GROUPS = {
    "analytics": "The analytics file (alone: show all about it)",
    "ble": "The radio (alone: show all of it)",
    "ble device": "The devices in the air (alone: list them)",
    "ble whitelist": "The paired devices (alone: list them)",
    "ble scan": "The scan and what it found (alone: show them)",
    "ble pairing": "The pairing (alone: show it)",
    "fault": "Replies and answers that go wrong on demand (alone: list the rules)",
    "daemon": "The camera's programs (alone: show which run)",
    "stream": "The streaming program (alone: what runs, what its log says)",
}


def all():  # noqa: A001 - always used as operations.all()
    return registered()


def find(name):
    """The operation with this name in Python, or None."""
    return next((each for each in all() if each.name == name), None)
