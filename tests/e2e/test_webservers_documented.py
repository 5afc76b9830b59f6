"""The instructions of docs/web-servers.md, followed to the letter inside a camera."""

import os
import re
import socket
import subprocess

import house
import pytest

from zvcamera import sandbox

pytestmark = pytest.mark.thorough

PASSWORD = "a word: 'secret' "
NGINX = """daemon off;
user camera;
pid /tmp/nginx.pid;
error_log stderr;
events { }
http {
    access_log off;
    client_body_temp_path /tmp/body;
    fastcgi_temp_path /tmp/fastcgi;
    proxy_temp_path /tmp/proxy;
    scgi_temp_path /tmp/scgi;
    uwsgi_temp_path /tmp/uwsgi;
    include /etc/nginx/conf.d/*.conf;
}
"""
# A main configuration like the package's. {before}: where that one includes further files. {behind}: its end.
LIGHTTPD = """server.modules = ("mod_indexfile", "mod_access", "mod_alias", "mod_redirect")
server.document-root = "/tmp"
server.upload-dirs = ("/tmp")
server.bind = "127.0.0.1"
server.port = {port}
server.http-parseopts = ("header-strict" => "enable", "host-strict" => "enable", "host-normalize" => "enable",
    "url-normalize-unreserved" => "enable", "url-normalize-required" => "enable", "url-ctrls-reject" => "enable",
    "url-path-2f-decode" => "enable", "url-path-dotseg-remove" => "enable")
{before}
server.modules += ("mod_dirlisting", "mod_staticfile")
{behind}
"""


def blocks(chapter, name="web-servers", level=2):
    """Returns the fenced blocks of a chapter of a page. level: of its heading."""
    with open(os.path.join(house.ROOT, "docs", f"{name}.md"), encoding="utf-8") as page:
        text = re.search(rf"^{'#' * level} {chapter}\n(.*?)(?=^##|\Z)", page.read(), re.DOTALL | re.MULTILINE)[1]
    return re.findall(r"^```\w*\n(.*?)^```", text, re.DOTALL | re.MULTILINE)


def password_for(shell):
    """Returns the instructions with a real password in them."""
    assert "PASSWORD'" in shell
    return shell.replace("PASSWORD", PASSWORD.replace("'", "'\\''"))


def without_group(shell):
    """Returns the instructions without the bit that hands the folder's group on: the camera refuses set-id bits."""
    assert "-m 2750" in shell
    return shell.replace("-m 2750", "-m 750")


def without_users(shell):
    """Returns the instructions without a change of user, because the camera has only one."""
    for words in ("runuser -u camera -- ", "-u camera "):
        if words in shell:
            return shell.replace(words, "")
    raise AssertionError(shell)


class Site:
    """A camera, with one more web server in it, on a port of its own."""

    def __init__(self, camera, space):
        self.camera = camera
        self.space = space
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            self.port = free.getsockname()[1]

    def file(self, path, text):
        done = self.camera.run(["/bin/sh", "-c", 'mkdir -p "${1%/*}" && cat >"$1"', "sh", path], stdin=text.encode())
        assert done.status == 0, done.stderr

    def shell(self, text):
        environment = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin"}
        done = self.camera.run(["/bin/sh", "-e", "-c", text], env=environment)
        assert done.status == 0, done.stderr

    def start(self, command):
        """Starts a server, whether it stays in the foreground or not."""
        self.shell(f"{command} </dev/null >>/tmp/site.log 2>&1 &")

    def status(self, path, password=None, *more):
        words = [*more] if password is None else ["--anyauth", "-u", f"camera:{password}", *more]
        done = subprocess.run(["curl", "-s", "--path-as-is", "--max-time", "30", "-o", "/dev/stderr",
                               "-w", "%{http_code}", *words, f"http://127.0.0.1:{self.port}{self.space}{path}"],
                              capture_output=True, check=False)
        return int(done.stdout), done.stderr

    def ready(self):
        self.camera.wait_for(lambda: self.status("")[0])


@pytest.fixture
def site(make_camera):
    def make(snippet, space):
        owners = (f"camera:x:{sandbox.user()}:{sandbox.user()}::/tmp:/bin/sh\n",
                  f"camera:x:{sandbox.user()}:\nwww-data:x:{sandbox.user()}:\n")
        source = os.path.join(house.ROOT, "camera", "web", "snippets", snippet)
        site = Site(make_camera(network="host", more=[(source, f"/usr/local/zarvo/share/web/{snippet}")]), space)
        site.file("/etc/passwd", owners[0])
        site.file("/etc/group", owners[1])
        return site
    return make


# Ways to write the path of execute, which must be kept out.
EXECUTES = ("/execute?p1=zvStream&c1=start", "//execute?p1=zvStream&c1=start", "/./execute?p1=zvStream&c1=start",
            "/%65xecute?p1=zvStream&c1=start", "/x/../execute?p1=zvStream&c1=start", "/execute%0a?p1=zvStream&c1=start",
            "/execute%0a%0a?p1=zvStream&c1=start", "%2fexecute?p1=zvStream&c1=start",
            "/x%2f..%2fexecute?p1=zvStream&c1=start", "/execute%00?p1=zvStream&c1=start",
            "/execute%e4?p1=zvStream&c1=start")


def check(site):
    """Checks that only clients with the password get answers from the program, and that none reaches execute."""
    site.ready()
    for path in ("", "/", "/nothing", "/analytics/get", "/nothing%0a", "/nothing%e4", "/../control", "/execute%0a",
                 "%2fexecute%0a"):
        for password in (None, "wrong"):
            status, body = site.status(path, password)
            assert (status, b"zverr" in body, b"ELF" in body) in (
                (401, False, False), (404, False, False), (403, False, False))
    assert site.status("/nothing")[0] == 401
    status, body = site.status("/nothing?a=+%41", PASSWORD)
    assert (status, b'"query":"a=+%41"' in body) == (400, True), body
    status, body = site.status("", PASSWORD)
    assert (status, b'"model_number":13' in body) == (200, True)
    assert site.status("/analytics/get", PASSWORD)[0] in (200, 204)
    assert site.status("/command/ble/pairing_available", PASSWORD) == (200, b"{}")
    for path in EXECUTES:
        status, body = site.status(path, PASSWORD)
        assert status in (400, 403, 404), path
        assert b'"status":"0"' not in body and b"ELF" not in body
    assert site.status("/execute?p1=zvStream&c1=start", PASSWORD)[0] == 403
    for fields in (["-H", "Sec-Fetch-Site: cross-site"], ["-X", "OPTIONS"], ["-H", "Host: site.example"]):
        status, body = site.status("/command/ble/pairing_available", PASSWORD, *fields)
        assert (status, b"{}" in body) == (403, False), fields
    for fields in (["-H", "Sec-Fetch-Site: same-origin"], ["-H", f"Host: localhost:{site.port}"]):
        assert site.status("/command/ble/pairing_available", PASSWORD, *fields) == (200, b"{}")
    assert "zvStream does not run" in site.camera.tool("stream")


@pytest.mark.parametrize("place", ("before", "behind"))
def test_lighttpd(site, place):
    """place: where the documented part stands in the main configuration.

    That is where Debian includes it, or at the end, behind modules that serve files.
    """
    here = site("lighttpd.conf", "/control")
    configuration, password = blocks("lighttpd")
    here.file("/etc/lighttpd/lighttpd.conf",
              LIGHTTPD.format(port=here.port, **{"before": "", "behind": "", place: configuration}))
    here.shell(password_for(password))
    here.shell("lighttpd -tt -f /etc/lighttpd/lighttpd.conf")
    here.start("lighttpd -D -f /etc/lighttpd/lighttpd.conf")
    check(here)


def test_nginx(site):
    here = site("nginx.conf", "/control")
    configuration, commands = blocks("nginx")
    assert "127.0.0.1:8080" in configuration
    here.file("/etc/nginx/nginx.conf", NGINX)
    here.file("/etc/nginx/conf.d/camera.conf", configuration.replace("8080", str(here.port)))
    *first, last = without_users(without_group(password_for(commands))).splitlines()
    here.start("\n".join([*first, last]))
    here.camera.wait_for(lambda: here.camera.run(["/usr/bin/test", "-S", "/run/zvfcgi/socket"]).status == 0)
    mode = here.camera.run(["/usr/bin/stat", "-c", "%a", "/run/zvfcgi/socket"]).stdout
    assert mode == b"770\n"  # nginx's group may write to the socket, others may not
    here.start("nginx -e stderr -c /etc/nginx/nginx.conf")
    check(here)


def test_busybox(site):
    here = site("busybox-control", "/cgi-bin/control")
    commands, rule = blocks("busybox httpd")
    assert "127.0.0.1:8080" in commands
    here.shell(without_users(password_for(commands)).replace("8080", str(here.port)))
    here.ready()
    assert here.status("/execute?p1=zvStream&c1=dance", PASSWORD)[0] == 400
    with open(os.path.join(house.ROOT, "camera", "web", "snippets", "busybox-control"), encoding="utf-8") as snippet:
        before, start, behind = snippet.read().partition('"$program" | {\n')
    assert start
    here.shell("rm /srv/www/cgi-bin/control")
    here.file("/srv/www/cgi-bin/control", before + rule + start + behind)
    here.shell("chmod 755 /srv/www/cgi-bin/control")
    check(here)
