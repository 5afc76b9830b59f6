"""Completion of the command line in bash, zsh and fish, by click's own means."""

from click import shell_completion

from . import values
from .settings import ChosenLink

VARIABLE = "_ZVCAM_COMPLETE"
# click's own lets the shell expand a proposal such as *, puts a blank behind "key=", and looks for a bash of its own.
_BASH = """\
_zvcam_completion() {
    local IFS=$'\\n' type value
    while IFS=, read -r type value; do
        case $type in
        file)
            COMPREPLY=()
            compopt -o default ;;
        plain)
            [[ $value != *= ]] || compopt -o nospace
            printf -v value %q "$value"
            COMPREPLY+=("$value") ;;
        esac
    done < <(env COMP_WORDS="${COMP_WORDS[*]}" COMP_CWORD="$COMP_CWORD" _ZVCAM_COMPLETE=bash_complete "$1")
}

complete -o nosort -F _zvcam_completion zvcam
"""


def script(shell):
    """What a shell has to read to complete zvcam."""
    if shell == "bash":
        return _BASH
    kind = shell_completion.get_completion_class(shell)
    return kind(None, {}, "zvcam", VARIABLE).source()


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
