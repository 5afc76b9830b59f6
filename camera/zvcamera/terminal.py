"""./run: the camera in a terminal."""

import os
import signal
import subprocess
import sys
import time

from . import check, machine, options, scenario_file, serving
from .camera import SOURCE_DIR, Camera, CameraError
from .options import NAME
from .ready_file import ReadyFile
from .serving import OutputGone


def _shown(character):
    if character.isprintable():
        return character
    code = ord(character)
    return "\\n" if character == "\n" else f"\\x{code:02x}" if code < 256 else f"\\u{code:04x}"


def _printable(text):
    """Replaces what does not print by \\n, \\xNN or \\uNNNN: clients write part of the log, control codes included."""
    return "".join(map(_shown, text))


def _is_gateways_line_of_a_request(record):
    """The web server's line of the same request tells more."""
    return (record["source"] == "zvControl-cgi-bin"
            and record["text"].startswith("UTIL_LOG_DEBUG:Executing zvControl-cgi-bin "))


def _print_record(record, stream):
    if _is_gateways_line_of_a_request(record):
        return
    clock = time.strftime("%H:%M:%S", time.localtime(record["time"]))
    pid = f"[{record['pid']}]" if record["pid"] else ""
    print(f"{clock} {_printable(record['source'])}{pid}: {_printable(record['text'])}", file=stream, flush=True)


def _build_root():
    """Where scripts/build has its folders."""
    return os.environ.get("ZV_BUILD_ROOT") or os.path.join(SOURCE_DIR, "build")


def _build():
    """Builds what a camera is made of. Returns whether that went well; the build says itself what is wrong."""
    with subprocess.Popen([os.path.join(SOURCE_DIR, "scripts", "build"), "release", "simulated_camera"]) as build:
        try:
            return build.wait() == 0
        except _Ended:
            build.terminate()
            raise


class _Ended(Exception):
    """SIGINT, SIGTERM or SIGHUP."""

    def __init__(self, number):
        super().__init__()
        self.number = number


def _end(number, _frame):
    for each in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(each, signal.SIG_IGN)  # the camera is being ended already: further signals change nothing
    raise _Ended(number)


def _run(arguments):
    build_dir = arguments.build_dir or os.path.join(_build_root(), "release")
    options.check(arguments, build_dir)
    ready = ReadyFile(arguments.ready_file)
    machine.check()
    if not arguments.build_dir and not _build():
        return 1
    scenario_file.check_meaning(os.path.abspath(arguments.scenario), build_dir)
    if arguments.check:
        return check.run(build_dir, arguments.gateway)
    # The standard output of --exec is the command's.
    stream = sys.stdout if arguments.exec is None else sys.stderr
    log = serving.Log(lambda record: _print_record(record, stream), arguments.quiet)
    camera = Camera(build_dir, port=arguments.port, scenario=arguments.scenario, storage=arguments.storage,
                    on_record=log.take, network=arguments.network, gateway=arguments.gateway,
                    allow_hosts=arguments.allow_host, cors_origins=arguments.cors, control=not arguments.no_control)
    return serving.serve(camera, log, ready, arguments)


def _forget_output():
    """Lets what cannot be printed any more go nowhere, without complaint."""
    try:
        sys.stdout.flush()
        return
    except OSError:
        pass
    with open(os.devnull, "w", encoding="ascii") as nowhere:
        os.dup2(nowhere.fileno(), 1)


def _open_streams():
    """Gives standard output and error to those who were started without; any text can be printed."""
    for name, number in (("stdout", 1), ("stderr", 2)):
        if getattr(sys, name) is None:
            os.dup2(os.open(os.devnull, os.O_WRONLY), number)
            setattr(sys, name, os.fdopen(number, "w"))
        getattr(sys, name).reconfigure(errors="backslashreplace")


def main(argv):
    _open_streams()
    arguments = options.parse(argv)
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, _end)
    try:
        return _run(arguments)
    except CameraError as error:
        print(f"{NAME}: {error}", file=sys.stderr)
        return 1
    except (OutputGone, BrokenPipeError):
        return 0 if arguments.exec is None and not arguments.check else 1
    except OSError as error:
        print(f"{NAME}: {error.filename or 'the system'}: {error.strerror}", file=sys.stderr)
        return 1
    except _Ended as end:
        return 0 if arguments.exec is None else 128 + end.number
    finally:
        _forget_output()


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
