"""The web servers that the camera can run behind. Each is a list of programs."""

import http.client
import os
import secrets
import signal
import subprocess

from .children import Child
from .entrance import Entrance

_CONFIGURATIONS = os.path.join(os.path.dirname(__file__), "..", "..", "web")
_FOLDER = "/tmp/web"

# The control URL space of each. busybox starts programs only below /cgi-bin.
URL_SPACES = {"lighttpd": "/control", "nginx": "/control", "busybox": "/cgi-bin/control"}


# What the camera itself asks for. Nobody else knows the path, so that the requests of others are told from its own.
PROBE = f"/{secrets.token_hex(16)}"


def probe(port):
    """Whether the server answers. An accepted connection proves nothing: the launcher has opened the port."""
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=2)
    try:
        connection.request("GET", PROBE)
        return connection.getresponse().status > 0
    except (OSError, http.client.HTTPException):
        return False
    finally:
        connection.close()


def _serves(port):
    return lambda _: probe(port)


def _lighttpd(listener, program, log, add_request):
    """Takes over the listening socket that the launcher has opened, as descriptor 3."""
    return [Entrance(listener, program, URL_SPACES["lighttpd"], log,
                     configuration=f"{_CONFIGURATIONS}/lighttpd.conf", serves=_serves(listener.getsockname()[1]),
                     add_request=add_request)]


def _spend_process_ids():
    """Uses up the process numbers that are signal numbers as well.

    When a client hangs up, fcgiwrap 1.1 tries to end the program, but swaps the arguments of kill(): it sends process
    15 the signal that has the program's process number. The camera's young namespace has process numbers that low.
    """
    subprocess.run(["/bin/sh", "-c", "for number in $(seq 64); do (:); done"], check=True)


def _nginx(listener, program, log, _):
    """Takes over the listening socket as nginx does when one version of it hands the socket to the next."""
    _spend_process_ids()
    os.makedirs(_FOLDER, exist_ok=True)
    with open(f"{_CONFIGURATIONS}/nginx.conf", encoding="ascii") as template:
        text = template.read()
    for name, value in (("port", str(listener.getsockname()[1])), ("program", program),
                        ("snippets", os.path.abspath(f"{_CONFIGURATIONS}/snippets"))):
        text = text.replace(f"@{name}@", value)
    with open(f"{_FOLDER}/nginx.conf", "w", encoding="ascii") as configuration:
        configuration.write(text)
    if os.geteuid() == 0:
        # Started as root, nginx looks up the user to work as. root is the only user that the camera has.
        for path, line in (("/etc/passwd", "camera:x:0:0::/tmp:/bin/sh"), ("/etc/group", "camera:x:0:")):
            with open(path, "w", encoding="ascii") as users:
                users.write(line + "\n")
    wrapper = f"{_FOLDER}/fcgiwrap.sock"
    return [Child("fcgiwrap", ["/usr/sbin/fcgiwrap", "-f", "-c", "16", "-s", f"unix:{wrapper}"], log,
                  ready=lambda _: os.path.exists(wrapper), good_ends=(-signal.SIGTERM,)),
            Child("nginx", ["/usr/sbin/nginx", "-e", "stderr", "-c", f"{_FOLDER}/nginx.conf"], log,
                  ready=_serves(listener.getsockname()[1]), pass_fds=(listener.fileno(),),
                  environment=dict(os.environ, NGINX=f"{listener.fileno()};"))]


def _busybox(listener, program, log, _):
    """Opens a socket of its own, so the launcher's is closed first."""
    address, port = listener.getsockname()
    os.makedirs(f"{_FOLDER}/cgi-bin", exist_ok=True)
    os.symlink(f"{_CONFIGURATIONS}/snippets/busybox-control", f"{_FOLDER}/cgi-bin/control")
    listener.close()

    return [Child("httpd", ["/bin/busybox", "httpd", "-f", "-p", f"{address}:{port}", "-h", _FOLDER], log,
                  ready=_serves(port), environment=dict(os.environ, ZV_CONTROL_PROGRAM=program),
                  good_ends=(-signal.SIGTERM,))]


_MAKERS = {"lighttpd": _lighttpd, "nginx": _nginx, "busybox": _busybox}


def servers(kind, listener, program, log, add_request):
    """Returns the programs of a kind of web server, in starting order. They take over the listening socket.

    add_request: takes what lighttpd's front tells of a request; the others have none.
    """
    return _MAKERS[kind](listener, program, log, add_request)
