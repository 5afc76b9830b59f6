"""A subcommand that carries out an operation, made from its description."""

import click

from ..admin import InvalidRequest, AdminError
from . import output, values
from .settings import ChosenLink, Settings, options


class _Word(click.ParamType):
    """A word as it stands; the operation itself says what is wrong with it."""

    def __init__(self, parameter):
        self.name = parameter.name
        self._parameter = parameter

    def convert(self, value, param, ctx):
        return values.unmarked(value) if isinstance(value, str) else value

    def shell_complete(self, ctx, param, incomplete):
        from . import completion
        return completion.of_parameter(self._parameter, ctx.find_object(Settings), incomplete)


def _metavar(parameter):
    word = "KEY=VALUE" if parameter.kind == "pairs" else parameter.name.upper()
    if parameter.kind == "document":
        word = "FILE"
    word = word if parameter.required else f"[{word}]"
    return f"{word}..." if parameter.kind in ("pairs", "words") else word


def _as_click(parameter):
    word = _Word(parameter)
    if not parameter.option:
        several = parameter.kind in ("pairs", "words")
        return click.Argument([parameter.name], required=False, nargs=-1 if several else 1, type=word,
                              metavar=_metavar(parameter))
    names = [parameter.name, parameter.option, *filter(None, [parameter.short])]
    if parameter.kind == "flag":
        return click.Option(names, is_flag=True, default=None, help=_sentence(parameter.help))
    return click.Option(names, type=word, metavar=parameter.option.lstrip("-").upper(), help=_sentence(parameter.help))


def _sentence(text):
    return f"{text[:1].upper()}{text[1:]}." if text else ""


def _flag_name(operation):
    return "do_" + operation.name


class OperationCommand(click.Command):
    """One operation, and those that an option of it asks for instead ("trace -f")."""

    def __init__(self, name, operation, others):
        self.operation = operation
        self.others = others
        self._parameters = {each.name: each for op in (operation, *others) for each in op.parameters}
        parameters = [_as_click(each) for each in self._parameters.values()]
        parameters += [click.Option([_flag_name(other), *other.options], is_flag=True, help=_sentence(other.help))
                       for other in others]
        if operation.brief:
            parameters.append(click.Option(["do_brief", "--brief", "-b"], is_flag=True, help="One line each."))
        if self._records:
            parameters.append(click.Option(["do_file", "--file"], metavar="FILE", type=click.Path(),
                                           help="Write them to this file, one JSON object a line."))
        super().__init__(name, params=parameters + options(), callback=self._run, help=_sentence(operation.help),
                         short_help=operation.help, no_args_is_help=False)

    @property
    def _records(self):
        """Whether it answers records, which may also be followed."""
        return any(other.follows for other in self.others)

    def parse_args(self, ctx, args):
        return super().parse_args(ctx, values.mark_negatives(args))

    def format_options(self, ctx, formatter):
        from . import explain
        explain.write_arguments(self._parameters.values(), formatter)
        super().format_options(ctx, formatter)

    def _asked(self, given):
        """The operation that the options ask for."""
        asked = [other for other in self.others if given.pop(_flag_name(other))]
        if len(asked) > 1:
            raise InvalidRequest(f"{asked[0].options[0]} and {asked[1].options[0]} exclude each other")
        operation = asked[0] if asked else self.operation
        known = {each.name for each in operation.parameters}
        for name in [name for name in given if name not in known]:
            if given.pop(name) is not None:
                raise InvalidRequest(f"{self._parameters[name].option or name} and {operation.options[0]} exclude each "
                                     "other")
        return operation

    def _run(self, **given):
        settings = click.get_current_context().find_object(Settings)
        brief, path = given.pop("do_brief", False), given.pop("do_file", None)
        operation = self._asked(given)
        if path is not None and operation.options and not operation.follows:
            raise InvalidRequest(f"--file and {operation.options[0]} exclude each other")
        told = {name: values.value_of(self._parameters[name], value) for name, value in given.items()
                if value not in (None, ())}
        link = ChosenLink(settings)
        try:
            result = operation.act(link, **operation.check(self._completed(told, given)))
            output.show(operation, result, as_json=settings.json, brief=brief, by_line=self._records, path=path)
        except (InvalidRequest, AdminError) as error:
            raise self._placed(error, given) from error
        for text in link.missing:
            output.complain(text)

    def _document(self, given):
        """The word for the file of the operation's document, if there is one."""
        return next((given[name] for name, each in self._parameters.items()
                     if each.kind == "document" and given.get(name)), None)

    def _completed(self, told, given):
        """A document's name is that of its file, unless another is given."""
        word = self._document(given)
        return {"name": word, **told} if word and "name" in self._parameters else told

    def _placed(self, error, given):
        """What is wrong with a document is wrong in its file."""
        word = self._document(given)
        if word and isinstance(error, InvalidRequest) and not str(error).startswith(word):
            return InvalidRequest(f"{word}: {error}")
        return error


class WordsCommand(click.Command):
    """An operation whose arguments are all words that follow, options included."""

    def __init__(self, name, operation):
        self.operation = operation
        super().__init__(name, callback=self._run, params=[click.Argument([operation.parameters[0].name], nargs=-1)],
                         help=_sentence(operation.help), short_help=operation.help)

    def parse_args(self, ctx, args):
        if args == ["--help"]:
            return super().parse_args(ctx, args)
        ctx.params = {self.operation.parameters[0].name: tuple(args[args[:1] == ["--"]:])}
        return []

    def _run(self, **given):
        settings = click.get_current_context().find_object(Settings)
        told = {name: list(words) for name, words in given.items()}
        result = self.operation.act(ChosenLink(settings), **self.operation.check(told))
        output.show(self.operation, result, as_json=settings.json)
