"""Control over HTTP as an OpenAPI document, made from the descriptions of the operations."""

import json

from .. import operations
from . import PREFIX, given, routes

PATHS = {f"{PREFIX}/openapi.json": "application/json", f"{PREFIX}/openapi.yaml": "application/yaml"}

_ABOUT = """What can be shown and changed of a simulated camera while it runs. A real camera has nothing of this.

The result of an operation is what `zvcam --json` prints; `{}` when there is none. Who asks has to be a program on this
machine, or a page of the camera's own."""

_TYPES = {
    "text": {"type": "string"},
    "number": {"type": "integer"},
    "fraction": {"type": "number", "minimum": 0, "maximum": 1},
    "flag": {"type": "boolean"},
    "value": {"type": ["string", "integer", "boolean"]},
    "hex": {"type": "string", "pattern": "^([0-9A-Fa-f]{2})*$"},
    "pairs": {"type": "object"},
    "words": {"type": "array", "items": {"type": "string"}},
    "document": {},
}
# Of a status: its name below components, and what it means.
_ERRORS = {
    400: ("Wrong", "The request is wrong in itself: an unknown name, a value of another kind or outside its range."),
    403: ("Elsewhere", "A page or a machine from elsewhere asks."),
    404: ("NoOperation", "No operation has this path."),
    405: ("OtherMethod", "The path takes other methods; the field Allow tells which."),
    408: ("Slow", "The body took more than 10 seconds."),
    409: ("Refused", "The camera refuses: no such rule, busy, no free slot."),
    411: ("NoLength", "The body has no length."),
    413: ("Large", "The body has more than 1 MiB."),
    415: ("NoJson", "The body is not called application/json."),
    500: ("Failed", "The answer would have more than 8 MiB, or control has failed; the camera's log says more."),
    503: ("Unreachable", "A program of the camera does not run or does not answer, or 64 requests are under way."),
}
_OF_ALL = (400, 403, 405, 409, 500, 503)
_OF_BODIES = (408, 411, 413, 415)
_OF_OTHER_PATHS = (400, 403, 404, 503)

_PART = {"206": {"description": "What the field Range asks for: the web server cuts an answer of 200.",
                 "content": {"application/json": {"schema": {}}}}}


def _errors(statuses):
    return {str(status): {"$ref": f"#/components/responses/{_ERRORS[status][0]}"} for status in statuses}


def _schema(parameter, in_body):
    schema = dict(_TYPES[parameter.kind])
    if parameter.choices:
        schema["enum"] = list(parameter.choices)
    for name, limit in (("minimum", parameter.low), ("maximum", parameter.high)):
        if limit is not None:
            schema[name] = limit
    if parameter.kind == "pairs" and parameter.rows:
        schema["properties"] = {name: {"description": meaning} for name, meaning in parameter.rows}
        schema["additionalProperties"] = False
    if not parameter.required and parameter.default is not None:
        schema["default"] = list(parameter.default) if isinstance(parameter.default, tuple) else parameter.default
    elif not parameter.required and in_body and "type" in schema:
        schema["type"] = [*([schema["type"]] if isinstance(schema["type"], str) else schema["type"]), "null"]
        if "enum" in schema:
            schema["enum"].append(None)
    if parameter.help:
        schema["description"] = parameter.help
    if parameter.rows and parameter.kind != "pairs":
        schema["x-values"] = [{"value": word, "meaning": meaning} for word, meaning in parameter.rows
                              if word and meaning]
    return schema


def _parameter(parameter, place):
    return {"name": parameter.name, "in": place, "required": parameter.required, "schema": _schema(parameter, False)}


def _body(parameters):
    schema = {"type": "object", "additionalProperties": False,
              "properties": {parameter.name: _schema(parameter, True) for parameter in parameters}}
    required = [parameter.name for parameter in parameters if parameter.required]
    if required:
        schema["required"] = required
    return {"required": bool(required), "content": {"application/json": {"schema": schema}}}


def _result(operation):
    if operation.follows:
        return {"description": 'Events as they come, each a JSON document in a line that begins with "data: ".',
                "content": {"text/event-stream": {"schema": {"type": "string"}}}}
    return {"description": "Done.", "content": {"application/json": {"schema": {}}},
            "headers": {"X-Simulator-Missing": {"description": "Programs that should have taken part and do not run.",
                                                "schema": {"type": "string"}}}}


def _operation(operation):
    in_path = routes.path_parameters(operation)
    with_body = operation.method in given.WITH_BODY
    others = [parameter for parameter in operation.parameters if parameter.name not in in_path]
    told = {"operationId": operation.name, "tags": [operation.command[0]], "summary": operation.help,
            "x-zvcam": " ".join(operation.command)}
    parameters = [_parameter(parameter, "path") for parameter in operation.parameters if parameter.name in in_path]
    if not with_body:
        parameters += [_parameter(parameter, "query") for parameter in others]
    if parameters:
        told["parameters"] = parameters
    if with_body:
        told["requestBody"] = _body(others)
    told["responses"] = {"200": _result(operation), **(_PART if operation.method == "GET" else {}),
                         **_errors(sorted((*_OF_ALL, *(_OF_BODIES if with_body else ()))))}
    return told


def _plain(operation_id, summary, kind):
    return {"get": {"operationId": operation_id, "tags": ["contract"], "summary": summary, "responses": {
        "200": {"description": "As it is now.", "content": {kind: {"schema": {}}}}, **_PART,
        **_errors((403, 405))}}}


def contract():
    """The whole document."""
    paths = {PREFIX: _plain("list_operations", "List all operations", "application/json")}
    for path, kind in PATHS.items():
        paths[path] = _plain(f"contract_{path.rpartition('.')[2]}", "This document", kind)
    for operation in operations.all():
        paths.setdefault(PREFIX + routes.path(operation), {})[operation.method.lower()] = _operation(operation)
    groups = dict.fromkeys(["contract", *(operation.command[0] for operation in operations.all())])
    return {
        "openapi": "3.1.0",
        "info": {"title": "Control of the simulated camera", "version": "1", "description": _ABOUT,
                 "license": {"name": "As the camera's software", "identifier": "LicenseRef-camera"}},
        "servers": [{"url": "/"}],
        "security": [],
        "tags": [{"name": name} for name in groups],
        "paths": paths,
        "x-other-paths": {"description": f"Every path below `{PREFIX}` that stands not in this file.",
                          "responses": _errors(_OF_OTHER_PATHS)},
        "components": {
            "responses": {name: {"description": meaning, "content": {
                "application/json": {"schema": {"$ref": "#/components/schemas/Error"}}}}
                for name, meaning in _ERRORS.values()},
            "schemas": {"Error": {"type": "object", "required": ["error"], "additionalProperties": False,
                                  "properties": {"error": {"type": "string"}}}},
        },
    }


def text(path):
    """The document as one of PATHS has it."""
    if PATHS[path] == "application/json":
        return json.dumps(contract(), indent=1)
    import yaml  # takes its time, and is asked for rarely

    return yaml.safe_dump(contract(), sort_keys=False, allow_unicode=True, width=116)
