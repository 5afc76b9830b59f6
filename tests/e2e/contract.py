"""The contract for HTTP clients, docs/openapi.yaml, as the tests hold answers against it."""

import dataclasses
import functools
import json
import os
import re

import jsonschema
import yaml
from zvcamera.camera import SOURCE_DIR

SPACE = "/control"
PATH = os.path.join(SOURCE_DIR, "docs", "openapi.yaml")
_JSON = "application/json"


class Undocumented(AssertionError):
    """An answer that the contract does not have."""


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


@functools.cache
def _schema(reference):
    """A validator of the schema at a place of the document."""
    return jsonschema.Draft202012Validator({"$ref": reference, "components": document()["components"]})


def _validator(schema):
    return jsonschema.Draft202012Validator({**schema, "components": document()["components"]})


@dataclasses.dataclass(frozen=True)
class Example:
    """An answer as the contract shows it."""

    path: str
    status: str
    kind: str
    name: str
    told: dict

    @property
    def steps(self):
        return self.told.get("x-before", ())

    @property
    def request(self):
        asked = self.told.get("x-request", {})
        query = asked.get("query")
        return asked.get("path", self.path) + (f"?{query}" if query else "")

    def __str__(self):
        return f"{self.path} {self.status} {self.name}"


def operations():
    """Pairs of a path and its operation."""
    return [(path, item["get"]) for path, item in document()["paths"].items()]


def _examples_of(path, responses):
    for status, response in responses.items():
        response = resolved(response)
        for kind, media in response.get("content", {}).items():
            for name, told in media.get("examples", {}).items():
                yield Example(path, status, kind, name, told)
        for name, told in response.get("x-examples", {}).items():
            yield Example(path, status, "", name, told)


def examples():
    """All examples, each once: one of a shared response belongs to the first path that has it."""
    seen = set()
    for path, responses in (*((path, operation["responses"]) for path, operation in operations()),
                            ("", document()["x-other-paths"]["responses"])):
        for example in _examples_of(path, responses):
            if id(example.told) not in seen:
                seen.add(id(example.told))
                yield example
