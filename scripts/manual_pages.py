#!/usr/bin/python3
"""Writes those parts of the manual pages (docs/man) that are told elsewhere already: commands and options of zvcam, the
options of zvcamera, and the contracts of libzvCommon's headers.

    manual_pages.py            writes them anew
    manual_pages.py --check    names the pages that have to be; status 1 when there is one

Such a part stands between the lines "; generated: WHAT" and "; end"; all else is written by hand.
"""

import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PAGES = os.path.join(ROOT, "docs", "man")
HEADERS = os.path.join(ROOT, "libzvCommon", "include")
sys.path.insert(0, os.path.join(ROOT, "camera"))
_PART = re.compile(r"^; generated: (.*)\n(?:.*\n)*?; end$", re.MULTILINE)
_COMMON = ("--port", "--run-dir", "--json", "--help", "--version")


def escaped(text):
    """Text in which the formatter finds nothing of its own."""
    return re.sub(r"([\\*_`#<>\[\]|~])", r"\\\1", text)


def _literal(text):
    """A block whose lines stay as they are. (What follows a line's end that C ignores is not aligned here.)"""
    return "```\n" + re.sub(r" *\\$", r" \\\\", text, flags=re.MULTILINE) + "\n```\n\n"


def _bold(text):
    return f"*{escaped(text)}*"


def _words(text):
    """Words of a usage line, underlined but for brackets and dots."""
    return re.sub(r"[^][. =]+", lambda word: f"_{escaped(word[0])}_", text).replace("[", r"\[").replace("]", r"\]")


def _option(names, word, meaning, indent=""):
    told = ", ".join(map(_bold, names)) + (f" {_words(word)}" if word else "")
    return f"{indent}{told}\n{indent}\t{escaped(meaning)}\n\n"


# The commands of zvcam.

def commands():
    """(words, command) of everything that zvcam does, groups included."""
    from zvcamera.zvcam import tree

    def below(command, words):
        for name in getattr(command, "list_commands", lambda _: [])(None):
            inner = command.get_command(None, name)
            yield (*words, name), inner
            yield from below(inner, (*words, name))
    return list(below(tree.root(), ()))


def own_options(command):
    """Of a click command, the options that not every command has."""
    return [each for each in command.params if each.param_type_name == "option" and not set(each.opts) & set(_COMMON)]


def _rows(command):
    from zvcamera.zvcam import explain

    told = getattr(command, "_parameters", {}).values()
    for each in (each for each in told if not each.option):
        meaning = explain.meaning(each)
        if meaning:
            yield f"\t_{escaped(each.name)}_: {escaped(meaning)}\n\n"
        rows = [f"\t- {_bold(name)}: {escaped(text)}\n" if text else f"\n\t{escaped(name)}\n\n"
                for name, text in each.rows if name]
        yield "".join(rows) + "\n" if rows else ""


def _command(words, command):
    import click

    if isinstance(command, click.Group):
        return f"*zvcam {escaped(' '.join(words))}*\n\t{escaped(command.help)}\n\n"
    arguments = " ".join(each.metavar or f"[{each.name.upper()}]..." for each in command.params
                         if each.param_type_name == "argument")
    options = own_options(command)
    usage = " ".join(filter(None, [f"*zvcam {escaped(' '.join(words))}*", r"\[options\]" if options else "",
                                   _words(arguments)]))
    return (f"{usage}\n\t{escaped(command.help)}\n\n" + "".join(_rows(command))
            + "".join(_option(each.opts, each.metavar, each.help, "\t") for each in options))


def _zvcam():
    return "".join(_command(words, command) for words, command in commands())


# The options of zvcamera.

def launcher_options():
    """What the launcher's parser knows, as argparse describes it."""
    from zvcamera import options

    return options.command_line()._actions


def _zvcamera():
    return "".join(_option(each.option_strings, each.metavar or "|".join(each.choices or ()),
                           f"{(each.help % {'prog': 'zvcamera'})[:1].upper()}{each.help[1:]}.")
                   for each in launcher_options())


# The headers of the library.

_TOKEN = re.compile(r"^/\*(?P<comment>.*?)\*/\n|(?P<code>(?:(?!\n\s*\n|^/\*).)+\n)", re.DOTALL | re.MULTILINE)
_NOISE = re.compile(r'#ifndef \w+_H\n#define \w+_H\n|#endif\n\Z|#ifdef __cplusplus\n.*?#endif\n|^#include [^\n]*\n'
                    r'|#ifdef __GNUC__\n__attribute__.*?#endif\n|__extension__ ', re.DOTALL | re.MULTILINE)
_NAMES = re.compile(r"^#define (\w+)|(?:^extern .*?|^(?:const )?\w+\*? \*?)\b(\w+)(?:\[\w+\])*(?:;|\()|^\} (\w+);",
                    re.MULTILINE)


def _paragraphs(comment):
    lines = [re.sub(r"^ \* ?", "", line).rstrip() for line in comment.strip(" *\n").split("\n")]
    for block in "\n".join(line.lstrip() if number == 0 else line for number, line in enumerate(lines)).split("\n\n"):
        for literal, part in _runs(block.split("\n")):
            yield _literal("\n".join(part)) if literal else escaped("\n".join(part)) + "\n\n"


def _runs(lines):
    """Neighbouring lines that are indented, and that are not."""
    runs = []
    for line in lines:
        literal = line.startswith("  ")
        if not runs or runs[-1][0] != literal:
            runs.append((literal, []))
        runs[-1][1].append(line)
    return runs


def declared(code):
    """The names that a piece of a header declares."""
    return ["".join(found) for found in _NAMES.findall(code)]


def entries(header):
    """(description of the header, [(comment, code)])."""
    with open(os.path.join(HEADERS, header), encoding="utf-8") as file:
        text = _NOISE.sub("", file.read())
    head, comment, found = None, None, []
    for token in _TOKEN.finditer(text):
        if token["comment"] is not None:
            if comment is not None and head is None:
                head = comment
            comment = token["comment"]
        elif token["code"].strip():
            if head is None:
                head, comment = comment, None
            if comment is None and found and not found[-1][0]:
                found[-1] = ("", found[-1][1] + token["code"])
            else:
                found.append((comment or "", token["code"]))
            comment = None
    return head, found


def _header(header):
    head, found = entries(header)
    text = "".join(_paragraphs(head))
    for comment, code in found:
        names = declared(code)
        title = ", ".join(names[:3]) + (", ..." if len(names) > 3 else "")
        text += f"## {escaped(title)}\n\n" + _literal(code.rstrip())
        text += "".join(_paragraphs(comment)) if comment else ""
    return text


# Keys and faults of a scenario, and the gateway's URIs.

def keys(operation, parameter):
    """(key, meaning) of an object that an operation takes."""
    from zvcamera import operations

    return next(each.rows for each in operations.find(operation).parameters if each.name == parameter)


def _keys(operation, parameter):
    return "".join(f"- {_bold(key)}: {escaped(meaning)}\n" for key, meaning in keys(operation, parameter))


def _faults(level):
    from zvcamera.operations import fault_kinds

    kinds = {"messages": fault_kinds.MESSAGES, "http": fault_kinds.HTTP}[level]
    return "".join(f"- {_bold(kind.name)}{f' ({_bold(kind.key)})' if kind.key else ''}: {escaped(kind.meaning)}\n"
                   for kind in kinds)


def uris():
    """The URIs that the gateway has handlers for."""
    with open(os.path.join(ROOT, "src", "zvControl", "handlerTable.cpp"), encoding="utf-8") as file:
        return re.findall(r'^ *\{"([a-z_/]+)"', file.read(), re.MULTILINE)


def _uris():
    """Each with what docs/http-interface.md says of it."""
    with open(os.path.join(ROOT, "docs", "http-interface.md"), encoding="utf-8") as file:
        rows = dict((uri, (meaning, given)) for uri, meaning, given in
                    re.findall(r"^\| `([a-z_/]+)` \| \[(.*?)\]\(.*?\) \| (.*?) ?\|$", file.read(), re.MULTILINE))
    return "".join(f"*{escaped(uri)}*{escaped(' ' + rows[uri][1].replace('`', '')) if rows[uri][1] else ''}\n"
                   f"\t{escaped(rows[uri][0][:1].upper() + rows[uri][0][1:])}\n\n" for uri in uris())


def part(what):
    """The text of a generated part."""
    kind, *words = what.split()
    return {"zvcam": _zvcam, "zvcamera": _zvcamera, "header": _header, "keys": _keys, "faults": _faults,
            "uris": _uris}[kind](*words)


def generated(text):
    """A page with its generated parts as they should be."""
    return _PART.sub(lambda match: f"; generated: {match[1]}\n\n{part(match[1]).rstrip()}\n\n; end", text)


def main():
    check = sys.argv[1:] == ["--check"]
    stale = []
    for name in sorted(os.listdir(PAGES)):
        path = os.path.join(PAGES, name)
        with open(path, encoding="utf-8") as file:
            text = file.read()
        if generated(text) != text:
            stale.append(name)
            if not check:
                with open(path, "w", encoding="utf-8") as file:
                    file.write(generated(text))
    for name in stale if check else ():
        print(f"docs/man/{name}: scripts/manual_pages.py writes it anew")
    return 1 if check and stale else 0


if __name__ == "__main__":
    sys.exit(main())
