"""What GET /simulator answers: all operations, so that a reader needs no document."""

from .. import operations
from . import PREFIX, given, routes


def _place(operation, parameter):
    if parameter.name in routes.path_parameters(operation):
        return "path"
    return "body" if operation.method in given.WITH_BODY else "query"


def _parameter(operation, parameter):
    told = {"name": parameter.name, "in": _place(operation, parameter), "kind": parameter.kind,
            "required": parameter.required, "help": parameter.help}
    if not parameter.required:
        told["default"] = parameter.default
    if parameter.choices:
        told["choices"] = list(parameter.choices)
    if parameter.rows:
        told["rows"] = [{"word": word, "meaning": meaning} for word, meaning in parameter.rows if word and meaning]
    told.update({name: value for name, value in (("low", parameter.low), ("high", parameter.high))
                 if value is not None})
    return told


def _operation(operation):
    return {"name": operation.name, "method": operation.method, "path": PREFIX + routes.path(operation),
            "help": operation.help, "events": operation.follows,
            "parameters": [_parameter(operation, parameter) for parameter in operation.parameters]}


def listing():
    return {"operations": [_operation(operation) for operation in operations.all()]}
