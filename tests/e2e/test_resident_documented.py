"""The instructions of docs/resident.md and the files for init programs, followed to the letter inside a camera."""

import os
import re
import subprocess

import house
import pytest
from test_webservers_documented import LIGHTTPD, NGINX, blocks, check, password_for, site  # noqa: F401
from zvcamera.namespace import RESIDENT_PROGRAM, find

pytestmark = pytest.mark.resident

PROGRAM = f"/usr/local/zarvo/bin/{RESIDENT_PROGRAM}"
SOCKET = "/run/zvscgi/socket"
INIT = os.path.join(house.ROOT, "camera", "init")

# What systemd does with a socket that is passed: descriptor 3, and two variables.
SYSTEMD = """
import os, socket, sys
listener = socket.socket(socket.AF_UNIX)
listener.bind(sys.argv[1])
listener.listen(128)
os.dup2(listener.fileno(), 3)
os.set_inheritable(3, True)
environment = dict(text.split("=", 1) for text in sys.argv[2].split())
os.execve(sys.argv[3], sys.argv[3:], {**environment, "LISTEN_FDS": "1", "LISTEN_PID": str(os.getpid())})
"""


def init_file(kind):
    with open(os.path.join(INIT, f"zvcontrol-scgi.{kind}"), encoding="utf-8") as file:
        return file.read()


def setting(text, name):
    return re.search(rf"^{name}=(.*)$", text, re.MULTILINE)[1]


def listens(here):
    here.camera.wait_for(lambda: here.camera.run(["/usr/bin/test", "-S", SOCKET]).status == 0)


def start_program(here):
    here.shell("mkdir -p /run/zvscgi")
    here.start(f"LD_BIND_NOW=1 {PROGRAM} --socket {SOCKET}")
    listens(here)


def start_lighttpd(here, configuration, place="before"):
    password = blocks("lighttpd")[1]
    here.file("/etc/lighttpd/lighttpd.conf",
              LIGHTTPD.format(port=here.port, **{"before": "", "behind": "", place: configuration}))
    here.shell(password_for(password))
    here.shell("lighttpd -tt -f /etc/lighttpd/lighttpd.conf")
    here.start("lighttpd -D -f /etc/lighttpd/lighttpd.conf")


@pytest.mark.parametrize("place", ("before", "behind"))
def test_lighttpd(site, place):  # noqa: F811
    here = site("lighttpd-scgi.conf", "/control")
    start_program(here)
    start_lighttpd(here, blocks("lighttpd", "resident", 3)[0], place)
    check(here)


def test_lighttpd_starts_the_program(site):  # noqa: F811
    here = site("lighttpd-scgi.conf", "/control")
    configuration, lines = blocks("lighttpd", "resident", 3)
    with open(os.path.join(house.ROOT, "camera", "web", "snippets", "lighttpd-scgi.conf"), encoding="utf-8") as snippet:
        before, line, behind = snippet.read().partition('        "socket" => var.zv_scgi_socket,\n')
    assert line
    here.shell("mkdir -p /run/zvscgi")
    here.file("/etc/lighttpd/control.conf", before + line + lines + behind)
    start_lighttpd(here, configuration.replace("/usr/local/zarvo/share/web/lighttpd-scgi.conf",
                                               "/etc/lighttpd/control.conf"))
    check(here)
    assert here.camera.run(["/usr/bin/pgrep", "-c", "-x", RESIDENT_PROGRAM]).stdout == b"1\n"


def test_nginx(site):  # noqa: F811
    here = site("nginx-scgi.conf", "/control")
    configuration, = blocks("nginx", "resident", 3)
    assert "127.0.0.1:8080" in configuration
    start_program(here)
    here.file("/etc/nginx/nginx.conf", NGINX)
    here.file("/etc/nginx/conf.d/camera.conf", configuration.replace("8080", str(here.port)))
    here.file("/etc/nginx/camera.users", "")
    here.shell(password_for("printf 'camera:%s\\n' \"$(busybox httpd -m 'PASSWORD')\" >/etc/nginx/camera.users"))
    here.start("nginx -e stderr -c /etc/nginx/nginx.conf")
    check(here)


def test_systemd(site):  # noqa: F811
    """The unit's program, environment and socket; systemd itself is played."""
    here = site("lighttpd-scgi.conf", "/control")
    unit, socket = init_file("service"), init_file("socket")
    assert setting(socket, "ListenStream") == SOCKET
    assert (setting(socket, "SocketUser"), setting(unit, "User")) == ("camera", "camera")
    assert (setting(unit, "KillMode"), setting(unit, "Requires")) == ("process", "zvcontrol-scgi.socket")
    here.shell("mkdir -p /run/zvscgi")
    here.file("/tmp/systemd.py", SYSTEMD)
    here.start(f"/usr/bin/python3 /tmp/systemd.py {SOCKET} '{setting(unit, 'Environment')}' "
               f"{setting(unit, 'ExecStart')}")
    listens(here)
    start_lighttpd(here, blocks("lighttpd", "resident", 3)[0])
    check(here)
    here.shell(f"pkill -x {RESIDENT_PROGRAM}")  # in the camera's own namespaces
    here.camera.wait_for(lambda: here.camera.run(["/usr/bin/pgrep", "-x", RESIDENT_PROGRAM]).status == 1)
    assert here.camera.run(["/usr/bin/test", "-S", SOCKET]).status == 0  # systemd's socket stays


def test_inittab(site):  # noqa: F811
    """The lines of the table, in their order; the camera has only one user, so nothing changes to another one."""
    here = site("lighttpd-scgi.conf", "/control")
    entries = re.findall(r"^::(sysinit|respawn):(.*)$", init_file("inittab"), re.MULTILINE)
    assert [action for action, _ in entries] == ["sysinit", "sysinit", "sysinit", "respawn"]
    for _, command in entries[:-1]:
        here.shell(command.replace("chmod 2750", "chmod 750"))  # the camera refuses set-id bits
    words = re.fullmatch(r'/bin/su -s /bin/sh -c "(.*)" camera', entries[-1][1])[1]
    here.start(words)
    listens(here)
    mode = here.camera.run(["/usr/bin/stat", "-c", "%a", SOCKET]).stdout
    assert mode == b"660\n"
    start_lighttpd(here, blocks("lighttpd", "resident", 3)[0])
    check(here)


def test_options_of_the_page(build_dir):
    """The page shows those of --help."""
    told = subprocess.run([find(build_dir, RESIDENT_PROGRAM), "--help"], capture_output=True, text=True,
                          check=True).stdout
    with open(os.path.join(house.ROOT, "docs", "resident.md"), encoding="utf-8") as page:
        text = page.read()
    assert told.splitlines()[0] in text
    assert re.findall(r"^  (--\w+)", told, re.MULTILINE) == re.findall(r"^\| `(--\w+)", text, re.MULTILINE)
