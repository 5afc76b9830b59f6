"""Who may use the camera's web server: programs of the user, and pages of the camera itself.

A page that the user happens to visit could otherwise send requests to the camera, by its address or by a name of its
own that leads to 127.0.0.1, and `execute` takes commands from whoever asks. Browsers tell where a request comes from;
curl and test programs send nothing of the kind and notice nothing.
"""

import dataclasses
import os
import re

_OWN_HOSTS = ("localhost", "127.0.0.1", "[::1]")
# No site on the Internet has a name without a dot, so none can make a browser send one.
_NAMES_WITHOUT_DOT = "[A-Za-z0-9_-]+"
_HOST = re.compile(r"[A-Za-z0-9.-]+|\[[0-9A-Fa-f:.]+\]")
_ORIGIN = re.compile(r"https?://([A-Za-z0-9.-]+|\[[0-9A-Fa-f:.]+\])(:\d{1,5})?")

_TEXTS = {
    "host": 'The field "Host" names a site: no 127.0.0.1, [::1] or name without a dot. --allow-host NAME allows it.',
    "origin": 'The field "Origin" names another site than the camera. --cors ORIGIN allows it.',
    "site": 'The field "Sec-Fetch-Site" says that a page of another site asks. --cors ORIGIN allows its origin.',
    "options": "The camera answers no OPTIONS: pages of other sites may not use it. --cors ORIGIN allows one.",
}


@dataclasses.dataclass(frozen=True)
class Allowed:
    """Host names and origins that may use the camera beside its own."""

    hosts: tuple[str, ...] = ()
    origins: tuple[str, ...] = ()


def is_host(text):
    return _HOST.fullmatch(text) is not None


def is_origin(text):
    return _ORIGIN.fullmatch(text) is not None


def _any_of(texts):
    return "|".join(re.escape(text).replace("/", "\\x2f") for text in texts)


def _refuse(kind, folder):
    return f'url.access-deny = ("")\nserver.errorfile-prefix = "{folder}/{kind}-"\n'


def configuration(port, hosts, origins, folder):
    """lighttpd's configuration that refuses foreign requests with 403.

    hosts, origins: allowed ones beside the camera's own. folder: where write_texts() puts the answers' bodies.
    """
    own = [f"http://{host}:{port}" for host in _OWN_HOSTS]
    known_hosts = f"{_NAMES_WITHOUT_DOT}|{_any_of((*_OWN_HOSTS, *hosts))}"
    known_origins = _any_of((*own, *origins))
    allowed = f'$REQUEST_HEADER["Origin"] !~ "^({_any_of(origins)})$" {{\n' if origins else ""
    end = "}\n" if origins else ""
    return (
        # Control over HTTP has a guard of its own, which answers in JSON.
        '$HTTP["url"] !~ "^/simulator(/|$)" {\n'
        'mimetype.assign = (".html" => "text/plain; charset=utf-8")\n'
        f'{allowed}$HTTP["request-method"] == "OPTIONS" {{\n{_refuse("options", folder)}}}\n'
        f'$REQUEST_HEADER["Sec-Fetch-Site"] !~ "^(same-origin|none)?$" {{\n{_refuse("site", folder)}}}\n{end}'
        f'$REQUEST_HEADER["Origin"] !~ "^({known_origins})?$" {{\n{_refuse("origin", folder)}}}\n'
        f'$HTTP["host"] !~ "^(({known_hosts})(:[0-9]+)?)?$" {{\n{_refuse("host", folder)}}}\n'
        "}\n")


_PREFLIGHT = r"""#!/bin/sh
printf 'Status: 204 No Content\r\n\r\n'
"""


def cors_configuration(origins, folder):
    """lighttpd's configuration by which pages of other origins use the control URL space.

    Such a page's browser asks for leave by OPTIONS first, which lighttpd answers: the control program takes it for GET.
    It stands behind the configuration of the control URL space, whose program for OPTIONS it replaces.
    """
    text = ""
    for origin in origins:
        text += (
            f'$REQUEST_HEADER["Origin"] == "{origin}" {{\n$HTTP["url"] =~ "^/control(/|$)" {{\n'
            f'setenv.add-response-header = ("Access-Control-Allow-Origin" => "{origin}", "Vary" => "Origin",\n'
            '    "Access-Control-Allow-Methods" => "GET", "Access-Control-Allow-Headers" => "*")\n'
            f'$HTTP["request-method"] == "OPTIONS" {{ cgi.assign = ("" => "{folder}/preflight") }}\n}}\n}}\n')
    return text


def write_texts(folder):
    with open(os.path.join(folder, "preflight"), "w", encoding="ascii") as program:
        program.write(_PREFLIGHT)
        os.fchmod(program.fileno(), 0o755)
    for kind, text in _TEXTS.items():
        with open(os.path.join(folder, f"{kind}-403.html"), "w", encoding="ascii") as file:
            file.write(text + "\n")
