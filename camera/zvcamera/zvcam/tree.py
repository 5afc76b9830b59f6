"""The subcommands of zvcam: groups and commands, each made from the operations when it is asked for."""

import click

from .. import operations
from ..admin import InvalidRequest
from ..operations.operation import nearest
from . import local
from .command import OperationCommand, WordsCommand
from .settings import options

_SUMMARY = "Shows and changes a running camera."
_STATUSES = "Exit status: 0 done, 1 refused by the camera, 2 wrong command line, 3 no camera to talk to."


def _all():
    return (*operations.all(), *local.OPERATIONS)


def _at(path):
    """The operation that the words do, or None."""
    return next((each for each in _all() if each.command == path or each.alone and each.command[:-1] == path), None)


def _words(path):
    """The words that may follow, each once, in the order of help."""
    size = len(path)
    return list(dict.fromkeys(each.command[size] for each in _all()
                              if len(each.command) > size and each.command[:size] == path and not each.options))


def _by_option(path):
    return tuple(each for each in _all() if each.options and each.command[:-1] == path)


def _command(path):
    name = path[-1]
    if _words(path):
        return CommandGroup(path)
    operation = _at(path)
    if any(each.kind == "words" for each in operation.parameters):
        return WordsCommand(name, operation)
    return OperationCommand(name, operation, _by_option(path))


class CommandGroup(click.Group):
    """Words that further words may follow."""

    def __init__(self, path=(), **more):
        self._path = path
        help_text = operations.GROUPS.get(" ".join(path), _SUMMARY)
        super().__init__(path[-1] if path else "zvcam", params=options() + more.pop("params", []), help=help_text,
                         short_help=help_text, callback=self._alone, invoke_without_command=True, **more)

    def list_commands(self, ctx):
        return _words(self._path)

    def get_command(self, ctx, name):
        return _command((*self._path, name)) if name in _words(self._path) else None

    def resolve_command(self, ctx, args):
        name = args[0]
        command = self.get_command(ctx, name)
        if command is None and not ctx.resilient_parsing:
            asked = " ".join((*self._path, name))
            raise InvalidRequest(f"unknown command {asked}{nearest(name, _words(self._path))}")
        return name if command else None, command, args[1:]

    def _alone(self, **_):
        context = click.get_current_context()
        if context.invoked_subcommand is not None:
            return
        operation = _at(self._path)
        if operation is None:
            raise InvalidRequest(f"which command? One of {', '.join(_words(self._path))}")
        with context.scope(cleanup=False):
            command = OperationCommand(context.info_name, operation, ())
            context.invoke(command.callback,
                           **{each.name: each.default for each in command.params if each.expose_value})


def _tell_version(context, _option, given):
    if given and not context.resilient_parsing:
        from ..version import version
        click.echo(f"zvcam {version()}")
        context.exit()


def root():
    """The command line as a whole."""
    version = click.Option(["--version"], is_flag=True, is_eager=True, expose_value=False, callback=_tell_version,
                           help="Print the version.")
    return CommandGroup(params=[version], epilog=_STATUSES)
