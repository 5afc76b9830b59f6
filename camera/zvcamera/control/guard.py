"""Who may ask: programs on this machine, and no web page that somebody visits in a browser here.

A browser tells by fields of the request where a page comes from, and a page cannot change them. Whoever reaches the
operations can run commands in the camera, so a request with a field that speaks of somebody else is refused.
"""

import ipaddress
import re

OWN_NAMES = ("127.0.0.1", "[::1]")
_HOST = re.compile(r"(\[[0-9A-Fa-f:.]*\]|[^:\[\]]*)(?::[0-9]{1,5})?")
# No site on the Internet has a name without a dot, so none can make a browser send one.
_WITHOUT_DOT = re.compile(r"[A-Za-z0-9_-]+")


class Refused(Exception):
    """The text says which field is wrong and why."""


def _only(headers, name):
    values = headers.getall(name, [])
    if len(values) > 1:
        raise Refused(f"{name}: is given {len(values)} times")
    return values[0] if values else None


def _check_peer(headers):
    """The web server appends the client's address to this field. Without it, the socket was reached directly."""
    told = ",".join(headers.getall("X-Forwarded-For", []))
    if not told:
        return
    address = told.rpartition(",")[2].strip()
    try:
        is_here = ipaddress.ip_address(address).is_loopback
    except ValueError:
        is_here = False
    if not is_here:
        raise Refused(f"X-Forwarded-For: {address} is no address of this machine")


def _check_host(headers, names):
    """A page of a foreign name that was made to lead to this machine would name itself here."""
    host = _only(headers, "Host")
    if not host:
        raise Refused("Host: is missing")
    match = _HOST.fullmatch(host)
    if not match or match[1].lower() not in names and not _WITHOUT_DOT.fullmatch(match[1]):
        raise Refused(f"Host: {host!r} is none of {', '.join(names)} and no name without a dot; "
                      "--allow-host NAME allows it")
    return host.lower()


def check(headers, more_names=()):
    """Raises Refused when a request with these header fields may come from elsewhere.

    more_names: host names that are allowed besides those of this machine itself.
    """
    _check_peer(headers)
    host = _check_host(headers, (*OWN_NAMES, *map(str.lower, more_names)))
    for origin in headers.getall("Origin", []):
        if origin.lower().removesuffix(":80") != f"http://{host.removesuffix(':80')}":
            raise Refused(f"Origin: {origin!r} is not the camera's own, http://{host}")
    for site in headers.getall("Sec-Fetch-Site", []):
        if site not in ("same-origin", "none"):
            raise Refused(f"Sec-Fetch-Site: {site!r}: a page from elsewhere may not ask")
