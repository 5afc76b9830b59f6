"""Completion of the command line in bash, zsh and fish, by click's own means."""

from click import shell_completion

from . import values
from .settings import ChosenLink

VARIABLE = "_ZVCAM_COMPLETE"


def script(shell):
    """What a shell has to read to complete zvcam."""
    kind = shell_completion.get_completion_class(shell)
    # Not that of bash: it looks for a bash of its own, to check its version.
    return shell_completion.ShellComplete.source(kind(None, {}, "zvcam", VARIABLE))


def answer(command, instruction, **arguments):
    """Answers a shell that asks for completion; returns the exit status."""
    return shell_completion.shell_complete(command, arguments, "zvcam", VARIABLE, instruction)


def _proposals(parameter, settings):
    """Texts, or pairs of a text and what it means."""
    if parameter.kind == "pairs":
        return [(f"{key}=", meaning) for key, meaning in parameter.rows]
    if parameter.kind == "document":
        return values.scenarios()
    if parameter.choices or parameter.candidates is None:
        return parameter.choices
    try:
        return list(parameter.candidates(ChosenLink(settings)))
    except Exception:  # noqa: B902 - nobody answers, or something else: then there is nothing to propose
        return []


def of_parameter(parameter, settings, incomplete):
    """What may stand where the parameter is. The shell itself adds files to what is proposed for one."""
    is_file = parameter.kind == "document" or parameter.name == "file"
    pairs = [each if isinstance(each, tuple) else (each, None) for each in _proposals(parameter, settings)]
    return [*([shell_completion.CompletionItem(incomplete, type="file")] if is_file else []),
            *(shell_completion.CompletionItem(text, help=meaning) for text, meaning in pairs
              if text.startswith(incomplete))]
