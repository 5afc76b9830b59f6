"""The web servers that the camera can run behind, each as the list of programs that it takes."""

import http.client
import os
import signal
import subprocess

from .children import Child

_CONFIGURATIONS = os.path.join(os.path.dirname(__file__), "..", "web")
_FOLDER = "/tmp/web"

# Where each has the control URL space: busybox starts programs below /cgi-bin only.
URL_SPACES = {"lighttpd": "/control", "nginx": "/control", "busybox": "/cgi-bin/control"}


def _serves(port):
    """Tells whether the server answers; that the port takes connections says nothing, the launcher has opened it."""
    def ready(_):
        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=2)
        try:
            connection.request("GET", "/")
            return connection.getresponse().status > 0
        except (OSError, http.client.HTTPException):
            return False
        finally:
            connection.close()
    return ready


def _lighttpd(listener, program, log):
    """Takes over the listening socket that the launcher has opened, which is descriptor 3.

    On SIGTERM it ends with 0 or 1, as the signal happens to meet its event loop.
    """
    port = listener.getsockname()[1]
    environment = dict(os.environ, ZV_PORT=str(port), ZV_CONTROL_PROGRAM=program, LISTEN_FDS="1")
    shell = 'LISTEN_PID=$$ exec /usr/sbin/lighttpd -D -f "$1"'
    return [Child("lighttpd", ["/bin/sh", "-c", shell, "lighttpd", f"{_CONFIGURATIONS}/lighttpd.conf"], log,
                  ready=_serves(port), pass_fds=(listener.fileno(),), environment=environment, good_ends=(0, 1))]


def _spend_process_ids():
    """Uses up the process numbers that are signal numbers as well.

    fcgiwrap 1.1 means to end the program of a client that hangs up, but has the arguments of kill() the wrong way round: process
    15 gets the signal that is numbered like the program. In a namespace as young as the camera's there would be such a signal.
    """
    subprocess.run(["/bin/sh", "-c", "for number in $(seq 64); do (:); done"], check=True)


def _nginx(listener, program, log):
    """Takes over the listening socket in the way in which nginx hands it to its next version."""
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
        # As root, nginx asks for the user to work as; the camera has no other.
        for path, line in (("/etc/passwd", "camera:x:0:0::/tmp:/bin/sh"), ("/etc/group", "camera:x:0:")):
            with open(path, "w", encoding="ascii") as users:
                users.write(line + "\n")
    wrapper = f"{_FOLDER}/fcgiwrap.sock"
    return [Child("fcgiwrap", ["/usr/sbin/fcgiwrap", "-f", "-c", "16", "-s", f"unix:{wrapper}"], log,
                  ready=lambda _: os.path.exists(wrapper), good_ends=(-signal.SIGTERM,)),
            Child("nginx", ["/usr/sbin/nginx", "-e", "stderr", "-c", f"{_FOLDER}/nginx.conf"], log,
                  ready=_serves(listener.getsockname()[1]), pass_fds=(listener.fileno(),),
                  environment=dict(os.environ, NGINX=f"{listener.fileno()};"))]


def _busybox(listener, program, log):
    """Opens its own socket, so the launcher's is closed first."""
    address, port = listener.getsockname()
    os.makedirs(f"{_FOLDER}/cgi-bin", exist_ok=True)
    os.symlink(f"{_CONFIGURATIONS}/snippets/busybox-control", f"{_FOLDER}/cgi-bin/control")
    listener.close()

    return [Child("httpd", ["/bin/busybox", "httpd", "-f", "-p", f"{address}:{port}", "-h", _FOLDER], log, ready=_serves(port),
                  environment=dict(os.environ, ZV_CONTROL_PROGRAM=program), good_ends=(-signal.SIGTERM,))]


_MAKERS = {"lighttpd": _lighttpd, "nginx": _nginx, "busybox": _busybox}


def servers(kind, listener, program, log):
    """The programs of the web server kind, in the order in which they start; the listening socket is theirs."""
    return _MAKERS[kind](listener, program, log)
