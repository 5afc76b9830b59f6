"""The streaming program, which is no daemon: the control program starts and stops it. By way of the supervisor."""

from ..messages.quote import printable
from .operation import Parameter, operation

_PATIENCE = 10.0  # seconds; what does not end by itself is given time to


def _word(word):
    """As it stands, between quotes when it would be taken for something else otherwise."""
    if word and printable(word) == word and not set(word) & set(' "\\'):
        return word
    return printable('"' + word.replace("\\", "\\\\").replace('"', '\\"') + '"')


def _words(words):
    return f"  {' '.join(map(_word, words))}" if words else ""


def _entry(entry):
    end = f"start{_words(entry['arguments'])}" if entry["event"] == "start" else f"end    {printable(entry['reason'])}"
    return f"  {printable(entry['time'])}  {entry['pid']}  {end}\n"


def _text(status):
    lines = ["zvStream runs\n" if status["running"] else "zvStream does not run\n"]
    lines += [f"  {process['pid']}{_words(process['arguments'])}\n" for process in status["processes"]]
    lines += ["log:\n" if status["log"] else "log: nothing\n", *map(_entry, status["log"])]
    return "".join(lines)


def _ask(link, op, **fields):
    return link.call("supervisor", op, timeout=_PATIENCE, **fields)


@operation("stream", "GET /stream", "Show what runs of the streaming program, and what its log says", text=_text)
def show(link):
    return _ask(link, "stream")


@operation("stream start", "POST /stream/start",
           "Start the streaming program, once more if it runs; what follows are its arguments",
           Parameter("arguments", "words", "as they stand: no word is taken for an option", ()), text=_text)
def start(link, arguments):
    return _ask(link, "stream_start", arguments=list(arguments))


@operation("stream stop", "POST /stream/stop", "Stop the streaming program, all of it that runs", text=_text)
def stop(link):
    return _ask(link, "stream_stop")
