"""The contracts for HTTP clients, docs/openapi.yaml and that of control, and how an answer is held against them."""

import dataclasses
import functools
import json
import os
import posixpath
import re
import urllib.parse

import jsonschema
import yaml
from zvcamera.camera import SOURCE_DIR
from zvcamera.control import PREFIX
from zvcamera.control import contract as of_control

PATH = os.path.join(SOURCE_DIR, "docs", "openapi.yaml")
SPACE = "/control"
_JSON = "application/json"


@functools.cache
def document():
    with open(PATH, encoding="utf-8") as file:
        return yaml.load(file, yaml.CSafeLoader)


def resolved(node):
    """The node itself, or what its reference leads to."""
    if "$ref" not in node:
        return node
    found = document()
    for part in node["$ref"].removeprefix("#/").split("/"):
        found = found[part]
    return found


def operations():
    """Pairs of a path and its operation."""
    return [(path, item["get"]) for path, item in document()["paths"].items()]


# Examples


@dataclasses.dataclass(frozen=True)
class Example:
    """An answer as the contract shows it. path: "" for one of no operation. kind: its media type, or ""."""

    path: str
    status: str
    kind: str
    name: str
    told: dict

    @property
    def steps(self):
        """The requests that come first: method, path and, for some, the JSON that is sent."""
        return self.told.get("x-before", ())

    @property
    def request(self):
        asked = self.told.get("x-request", {})
        query = asked.get("query")
        return asked.get("path", self.path) + (f"?{query}" if query else "")

    def __str__(self):
        return f"{self.path} {self.status} {self.name}"


def _examples_of(path, responses):
    for status, response in responses.items():
        response = resolved(response)
        for kind, media in response.get("content", {}).items():
            for name, told in media.get("examples", {}).items():
                yield Example(path, status, kind, name, told)
        for name, told in response.get("x-examples", {}).items():
            yield Example(path, status, "", name, told)


def examples():
    """All examples. One of a response that several operations share comes once."""
    found = {}
    for path, responses in (*((path, operation["responses"]) for path, operation in operations()),
                            ("", document()["x-other-paths"]["responses"])):
        for example in _examples_of(path, responses):
            found.setdefault(id(example.told), example)
    return list(found.values())


# Answers


class Undocumented(Exception):
    """The answer is none of those in the contract; the text says why."""


def place(path):
    """The path of the operation that a request's path leads to, as the web server reads it; "" for none.

    None for a path that does not lead into the control URL space.
    """
    plain = urllib.parse.unquote(path, errors="surrogateescape")
    resolved_path = posixpath.normpath(re.sub("/+", "/", plain)) + ("/" if plain.endswith(("/", "/.")) else "")
    if resolved_path != SPACE and not resolved_path.startswith(SPACE + "/"):
        return None
    return operation(resolved_path)


def operation(path):
    """The path itself when it is one of an operation, else ""."""
    return path if path in document()["paths"] else ""


def _responses(path):
    return document()["paths"][path]["get"]["responses"] if path else document()["x-other-paths"]["responses"]


def is_documented(path, status, method="GET", server="lighttpd"):
    """Whether an operation, or the web server in its place, answers with this status. path: see place()."""
    status = str(status)
    return (status in _responses(path) or status in document()["x-web-servers"][server]
            or method == "OPTIONS" and status in document()["x-preflight"]["responses"])


@functools.cache
def _validator(path, status, kind, dropped):
    contents = resolved(_responses(path)[status])["x-dropped-body" if dropped else "content"]
    return jsonschema.Draft202012Validator({**contents[kind]["schema"], "components": document()["components"]})


def _parsed(body):
    try:
        text = body.decode()
    except UnicodeDecodeError:
        text = body.decode("latin-1")  # bytes of the request or of a device, passed on as they are
    return json.loads(text)


def _check_json(body, media, validator):
    if "x-body-pattern" in media and not re.fullmatch(media["x-body-pattern"], body.decode("latin-1")):
        raise Undocumented(f"the body does not match x-body-pattern: {body!r}")
    try:
        found = _parsed(body)
    except ValueError as error:
        if "x-not-escaped" in media:
            return
        raise Undocumented(f"the body is no JSON: {body!r}") from error
    wrong = next(validator.iter_errors(found), None)
    if wrong:
        raise Undocumented(f"{wrong.json_path}: {wrong.message}")


def check(path, status, kind, body, *, method="GET", server="lighttpd"):
    """Raises Undocumented for an answer that the contract does not have.

    path: of the operation, see place(). kind: the media type, or "". server: who stands before the gateway; None for
    what the gateway itself writes.
    """
    status = str(status)
    kind = kind.partition(";")[0].strip().lower()
    if method == "OPTIONS" and status in document()["x-preflight"]["responses"]:
        return
    if server and kind in document()["x-web-servers"][server].get(status, ()):
        return
    if status not in _responses(path):
        raise Undocumented(f"status {status}")
    response = resolved(_responses(path)[status])
    if method == "HEAD" or status == "204" and not body:
        return
    dropped = not server and "x-dropped-body" in response
    contents = response["x-dropped-body"] if dropped else response.get("content", {})
    if not kind and response.get("x-without-content-type"):
        return
    if kind not in contents or not server and not kind.startswith("application/"):
        raise Undocumented(f"status {status} with media type {kind or 'none'}")
    if kind == _JSON:
        _check_json(body, contents[kind], _validator(path, status, kind, dropped))


# Control


@functools.cache
def _control():
    """The contract of control; its paths with few placeholders stand first."""
    told = of_control.contract()
    paths = sorted(told["paths"].items(), key=lambda item: item[0].count("{"))
    patterns = [(re.compile(re.sub(r"\\{\w+\\}", "[^/]+", re.escape(path))), item) for path, item in paths]
    return {**told, "paths": patterns}


def is_of_control(path):
    """Whether the web server takes the path, as it was asked, for one of control: it decodes and shortens it before."""
    meant = posixpath.normpath(urllib.parse.unquote(path))
    return meant == PREFIX or meant.startswith(PREFIX + "/")


def check_control(method, path, status, kind, body, server):
    """As check(), for an answer of control over HTTP; path: as it was asked."""
    kind = kind.partition(";")[0].strip().lower()
    if method == "HEAD" or kind in document()["x-web-servers"][server].get(str(status), ()):
        return
    item = next((item for pattern, item in _control()["paths"] if pattern.fullmatch(path)), None)
    told = (item.get(method.lower()) or {"responses": {"405": {"$ref": "#/components/responses/OtherMethod"}, **{
        key: each for one in item.values() for key, each in one["responses"].items() if int(key) >= 400}}}
        if item else _control()["x-other-paths"])["responses"]
    if str(status) not in told:
        raise Undocumented(f"status {status}")
    response = told[str(status)]
    if "$ref" in response:
        response = _control()["components"]["responses"][response["$ref"].rpartition("/")[2]]
    if kind not in response["content"]:
        raise Undocumented(f"status {status} with media type {kind or 'none'}")
    if status >= 400 and (list(found := json.loads(body)) != ["error"] or not isinstance(found["error"], str)):
        raise Undocumented(f"{body!r}")
