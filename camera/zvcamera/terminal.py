"""./run: the camera in a terminal."""

import argparse
import json
import os
import signal
import subprocess
import sys
import time

from . import check, namespace
from .camera import SOURCE_DIR, Camera, CameraError, listen

_COMMAND = os.environ.get("ZVCAMERA_COMMAND", "./run")  # the name that the user has called
_NAME = os.path.basename(_COMMAND)
_DEFAULT_SCENARIO = os.path.join(SOURCE_DIR, "camera", "scenarios", "default.json")


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


def _print_record(record):
    if _is_gateways_line_of_a_request(record):
        return
    clock = time.strftime("%H:%M:%S", time.localtime(record["time"]))
    pid = f"[{record['pid']}]" if record["pid"] else ""
    print(f"{clock} {_printable(record['source'])}{pid}: {_printable(record['text'])}", flush=True)


def _port(text):
    if not text.isascii() or not text.isdecimal() or len(text) > 5 or int(text) > 65535:
        raise argparse.ArgumentTypeError(f"must be a whole number from 0 to 65535, not {text!r}")
    return int(text)


class _Parser(argparse.ArgumentParser):
    """Says what is wrong in one line."""

    def error(self, message):
        self.exit(2, f"{_NAME}: {message.removeprefix('argument ')}\n")


def _arguments(argv):
    parser = _Parser(
        prog=_COMMAND,
        description="Brings up the simulated camera around the control gateway; ./run builds both before.")
    parser.add_argument("--check", action="store_true",
                        help="ask every URI of a camera on a free port, print one line each, end; "
                             "status 0 if all is right")
    parser.add_argument("--port", type=_port, metavar="N",
                        help="port on 127.0.0.1 (default: $PORT or 8080; 0 takes a free one)")
    parser.add_argument("--scenario", default=_DEFAULT_SCENARIO, metavar="FILE",
                        help="identity, state and surroundings of the camera (default: camera/scenarios/default.json)")
    parser.add_argument("--storage", metavar="DIR",
                        help="keep the camera's storage in this folder, made when it is not there")
    parser.add_argument("--build-dir", metavar="DIR", help="use the programs of this build folder; builds nothing")
    arguments = parser.parse_args(argv)
    if arguments.port is None:
        try:
            arguments.port = _port(os.environ.get("PORT") or "8080")
        except argparse.ArgumentTypeError as error:
            parser.error(f"PORT: {error}")
    return arguments


def _check_what_is_asked(arguments):
    """Raises CameraError for what would be wrong after the build, too."""
    scenario = os.path.abspath(arguments.scenario)
    try:
        with open(scenario, encoding="utf-8-sig") as text:
            json.load(text)
    except FileNotFoundError as error:
        raise CameraError(f"{scenario} does not exist") from error
    except OSError as error:
        raise CameraError(f"{scenario} cannot be read: {error.strerror}") from error
    except (ValueError, RecursionError) as error:
        raise CameraError(f"{scenario} is no JSON document: {error}") from error
    if not arguments.check:
        listen(arguments.port).close()


def _build():
    """Builds what a camera is made of. Returns whether that went well; the build says itself what is wrong."""
    with subprocess.Popen([os.path.join(SOURCE_DIR, "scripts", "build"), "release", "simulated_camera"]) as build:
        try:
            return build.wait() == 0
        except _Ended:
            build.terminate()
            raise


def _greet(camera):
    tool = os.path.relpath(namespace.find(camera.build_dir, "zvcam"))
    print(f"""
The camera answers at {camera.url}

    curl -i {camera.url}/command/ble/pairing_available
    curl -i {camera.url}/command/ble/whitelist/list
    curl -i {camera.url}/nothing_here
    curl {camera.url}

State and faults: {tool} --port {camera.port} --help
Log lines follow. Ctrl-C ends the camera.
""", flush=True)


def _serve(camera):
    try:
        camera.start()
        _greet(camera)
        while camera.running():
            time.sleep(0.2)
    finally:
        camera.stop()
    for misdeed in camera.misdeeds:
        print(f"{_NAME}: {misdeed}", file=sys.stderr)
    return 1 if camera.misdeeds else 0


class _Ended(Exception):
    """SIGINT, SIGTERM or SIGHUP."""


def _end(_number, _frame):
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, signal.SIG_IGN)  # the camera is being ended already: further signals change nothing
    raise _Ended


def main(argv):
    arguments = _arguments(argv)
    sys.stdout.reconfigure(errors="backslashreplace")
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, _end)
    build_dir = arguments.build_dir or os.path.join(SOURCE_DIR, "build", "release")
    try:
        _check_what_is_asked(arguments)
        if not arguments.build_dir and not _build():
            return 1
        if arguments.check:
            return check.run(build_dir)
        camera = Camera(build_dir, port=arguments.port, scenario=arguments.scenario, storage=arguments.storage,
                        on_record=_print_record)
        return _serve(camera)
    except CameraError as error:
        print(f"{_NAME}: {error}", file=sys.stderr)
        return 1
    except _Ended:
        return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
