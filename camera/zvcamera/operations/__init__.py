"""The operations on a running camera: each described once, for the command line, for HTTP and for Python."""

# Each module registers its group, in the order in which help lists them.
from . import requests, scenario, state  # noqa: F401
from .operation import registered

GROUPS = {
    "analytics": "The analytics file",
    "ble": "The radio: devices, scan, pairing, whitelist, connections",
    "daemon": "The camera's programs",
    "fault": "Replies and answers that go wrong on demand",
    "stream": "The streaming program",
}


def all():  # noqa: A001 - always used as operations.all()
    return registered()


def find(name):
    """The operation with this name in Python, or None."""
    return next((each for each in all() if each.name == name), None)
