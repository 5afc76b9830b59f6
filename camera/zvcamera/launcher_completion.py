"""Completion of zvcamera's options in bash, zsh and fish, made from its parser: this module, run with a shell's name,
prints what the shell reads. (That of zvcam, which proposes what is in a running camera, is zvcam's own.)"""

import sys

from . import options

_NAME = "zvcamera"
_BASH = """\
_zvcamera_completion() {{
    case ${{COMP_WORDS[COMP_CWORD - 1]}} in
{cases}        *) COMPREPLY=($(compgen -W '{options}' -- "${{COMP_WORDS[COMP_CWORD]}}")) ;;
    esac
}}

complete -F _zvcamera_completion zvcamera
"""


def _described():
    """The options, each with what follows it: None, "FILE", "DIR", another word, or the words to choose from."""
    for action in options.command_line()._actions:
        follows = tuple(action.choices) if action.choices else None if action.nargs == 0 else action.metavar
        yield action, action.option_strings, follows


def bash():
    cases = ""
    for _, names, follows in _described():
        act = {None: None, "FILE": "compopt -o default", "DIR": "compopt -o dirnames"}.get(follows, ":")
        if isinstance(follows, tuple):
            act = f"COMPREPLY=($(compgen -W '{' '.join(follows)}' -- \"${{COMP_WORDS[COMP_CWORD]}}\"))"
        if act:
            cases += f"        {'|'.join(names)}) {act} ;;\n"
    return _BASH.format(cases=cases, options=" ".join(name for _, names, _ in _described() for name in names))


def zsh():
    lines = []
    for action, names, follows in _described():
        meaning = "".join(f"\\{each}" if each in "[]:\\" else each for each in action.help % {"prog": _NAME})
        value = {None: "", "FILE": ":FILE:_files", "DIR": ":DIR:_files -/"}.get(follows, f":{follows}:")
        if isinstance(follows, tuple):
            value = f":one of:({' '.join(follows)})"
        repeated = "*" if action.default == [] else ""
        lines += ["'" + f"{repeated}{name}[{meaning}]{value}".replace("'", "'\\''") + "'" for name in names]
    return f"#compdef {_NAME}\n_arguments -s \\\n  " + " \\\n  ".join(lines) + "\n"


def fish():
    lines = [f"complete -c {_NAME} -f"]
    for action, names, follows in _described():
        meaning = (action.help % {"prog": _NAME}).replace("\\", "\\\\").replace("'", "\\'")
        value = {None: "", "FILE": " -r -F", "DIR": " -x -a '(__fish_complete_directories)'"}.get(follows, " -x")
        if isinstance(follows, tuple):
            value = f" -x -a '{' '.join(follows)}'"
        told = "".join(f" -l {name[2:]}" if name.startswith("--") else f" -s {name[1:]}" for name in names)
        lines.append(f"complete -c {_NAME}{told}{value} -d '{meaning}'")
    return "\n".join(lines) + "\n"


if __name__ == "__main__":
    sys.stdout.write({"bash": bash, "zsh": zsh, "fish": fish}[sys.argv[1]]())
