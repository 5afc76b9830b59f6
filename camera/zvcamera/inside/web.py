"""The web servers that the camera can run behind. Each is a list of programs."""

import http.client
import os
import signal
import socket
import subprocess

from . import gateways, guard
from .children import Child
from .entrance import Entrance

_CONFIGURATIONS = os.path.join(os.path.dirname(__file__), "..", "..", "web")
_FOLDER = "/tmp/web"
_INNER_SOCKET = "/run/web.sock"  # of nginx, beside the port

# The control URL space of each. busybox starts programs only below /cgi-bin.
URL_SPACES = {"lighttpd": "/control", "nginx": "/control", "busybox": "/cgi-bin/control"}


class _UnixConnection(http.client.HTTPConnection):
    def __init__(self, path):
        super().__init__("localhost", timeout=2)
        self._path = path

    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.settimeout(self.timeout)
        self.sock.connect(self._path)


def _serves(make_connection):
    """Tells whether the server answers. An accepted connection proves nothing: the launcher has opened the port.

    The port is in the machine's network and the camera in its own, so the servers listen on a Unix socket, too.
    """
    def ready(_):
        connection = make_connection()
        try:
            connection.request("GET", "/")
            return connection.getresponse().status > 0
        except (OSError, http.client.HTTPException):
            return False
        finally:
            connection.close()
    return ready


def _lighttpd(listener, gateway, log, allowed, add_request):
    """Takes over the listening socket that the launcher has opened, as descriptor 3."""
    port = listener.getsockname()[1]
    os.makedirs(_FOLDER, exist_ok=True)
    guard.write_texts(_FOLDER)
    with open(f"{_FOLDER}/guard.conf", "w", encoding="ascii") as file:
        file.write(guard.configuration(port, allowed.hosts, allowed.origins, _FOLDER))
    os.makedirs(f"{_FOLDER}/lighttpd.d", exist_ok=True)
    with open(f"{_FOLDER}/lighttpd.d/cors.conf", "w", encoding="ascii") as file:
        file.write(guard.cors_configuration(allowed.origins, _FOLDER))
    return [Entrance(listener, gateway, URL_SPACES["lighttpd"], log,
                     configuration=f"{_CONFIGURATIONS}/lighttpd.conf", add_request=add_request)]


def _spend_process_ids():
    """Uses up the process numbers that are signal numbers as well.

    When a client hangs up, fcgiwrap 1.1 tries to end the program, but swaps the arguments of kill(): it sends process
    15 the signal that has the program's process number. The camera's young namespace has process numbers that low.
    """
    subprocess.run(["/bin/sh", "-c", "for number in $(seq 64); do (:); done"], check=True)


def _nginx(listener, gateway, log, _allowed, _add_request):
    """Takes over the listening socket as nginx does when one version of it hands the socket to the next."""
    _spend_process_ids()
    os.makedirs(_FOLDER, exist_ok=True)
    with open(f"{_CONFIGURATIONS}/nginx.conf", encoding="ascii") as template:
        text = template.read()
    for name, value in (("port", str(listener.getsockname()[1])), ("program", gateway.program),
                        ("socket", gateways.SOCKET), ("snippet", gateway.snippet("nginx")),
                        ("snippets", os.path.abspath(f"{_CONFIGURATIONS}/snippets"))):
        text = text.replace(f"@{name}@", value)
    with open(f"{_FOLDER}/nginx.conf", "w", encoding="ascii") as configuration:
        configuration.write(text)
    wrapper = f"{_FOLDER}/fcgiwrap.sock"
    nginx = f"exec /usr/sbin/nginx -e stderr -c {_FOLDER}/nginx.conf"
    return [Child("fcgiwrap", ["/usr/sbin/fcgiwrap", "-f", "-c", "16", "-s", f"unix:{wrapper}"], log,
                  ready=lambda _: os.path.exists(wrapper), good_ends=(-signal.SIGTERM,)),
            Child("nginx", ["/bin/sh", "-c", f"rm -f {_INNER_SOCKET}; {nginx}"], log,
                  ready=_serves(lambda: _UnixConnection(_INNER_SOCKET)), pass_fds=(listener.fileno(),),
                  environment=dict(os.environ, NGINX=f"{listener.fileno()};"))]


def _busybox(listener, gateway, log, _allowed, _add_request):
    """Opens a socket of its own: the launcher's is closed first, and the camera is in the machine's network."""
    address, port = listener.getsockname()
    os.makedirs(f"{_FOLDER}/cgi-bin", exist_ok=True)
    os.symlink(f"{_CONFIGURATIONS}/snippets/busybox-control", f"{_FOLDER}/cgi-bin/control")
    listener.close()

    return [Child("httpd", ["/bin/busybox", "httpd", "-f", "-p", f"{address}:{port}", "-h", _FOLDER], log,
                  ready=_serves(lambda: http.client.HTTPConnection(address, port, timeout=2)),
                  environment=dict(os.environ, ZV_CONTROL_PROGRAM=gateway.program),
                  good_ends=(-signal.SIGTERM,))]


_MAKERS = {"lighttpd": _lighttpd, "nginx": _nginx, "busybox": _busybox}


def servers(kind, listener, gateway, log, allowed, add_request):
    """Returns the programs of a kind of web server, in starting order. They take over the listening socket.

    gateway: a gateways.Gateway.
    allowed: hosts and origins that may use the camera beside its own (a guard.Allowed); lighttpd alone looks at them.
    add_request: takes what lighttpd's front tells of a request; the others have none.
    """
    return _MAKERS[kind](listener, gateway, log, allowed, add_request)
