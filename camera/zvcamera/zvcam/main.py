"""The command line as a program."""

import os
import sys

import click

from ..admin import AdminError, InvalidRequest, Unreachable
from . import local, output, tree
from .settings import Settings


def _usage_text(error):
    """What click says of a wrong command line, on one line and in this program's tone."""
    text = " ".join(error.format_message().split()).rstrip(".")
    command = error.ctx.command_path if getattr(error, "ctx", None) else "zvcam"
    return f"{text[:1].lower()}{text[1:]} ({command} --help)"


def _wants_json(words, settings):
    """Whether errors are told as JSON; also when the command line was not read as far as --json."""
    return settings.json or "--json" in words[:words.index("--") if "--" in words else None]


def _act(words, settings):
    command = tree.root()
    with command.make_context("zvcam", list(words), obj=settings, max_content_width=110) as context:
        command.invoke(context)


def run(words):
    """Carries out a command line, and returns the exit status."""
    settings = Settings()
    try:
        _act(words, settings)
        return 0
    except click.exceptions.Exit as end:
        return end.exit_code
    except click.UsageError as error:
        text, status = _usage_text(error), output.INVALID
    except InvalidRequest as error:
        text, status = str(error), output.INVALID
    except Unreachable as error:
        text, status = str(error), output.UNREACHABLE
    except AdminError as error:
        text, status = str(error), output.REFUSED
    except (KeyboardInterrupt, click.Abort):
        return output.INTERRUPTED
    except Exception as error:  # noqa: B902 - whatever is wrong, nobody is shown a traceback
        text, status = f"something is wrong in zvcam itself: {error}", output.REFUSED
    return output.fail(text, status, _wants_json(words, settings))


def main(programs, words=None):
    """programs: the folder with the camera's programs."""
    local.PROGRAMS = programs
    for stream in (sys.stdout, sys.stderr):
        if stream is not None:
            stream.reconfigure(encoding="utf-8", errors="backslashreplace")
    instruction = os.environ.get("_ZVCAM_COMPLETE")
    if instruction:
        from . import completion
        return completion.answer(tree.root(), instruction, obj=Settings())
    return run(sys.argv[1:] if words is None else words)
