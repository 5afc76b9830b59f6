"""The command line of ./run: its options, and what of them can be found wrong before anything is built."""

import argparse
import os

from . import sandbox, scenario_file
from .camera import SOURCE_DIR, CameraError, listen
from .inside import gateways, guard
from .version import version

COMMAND = os.environ.get("ZVCAMERA_COMMAND", "./run")  # the name that the user has called
NAME = os.path.basename(COMMAND)
_DEFAULT_SCENARIO = os.path.join(SOURCE_DIR, "camera", "scenarios", "default.json")


def _port(text):
    if not text.isascii() or not text.isdecimal() or len(text) > 5 or int(text) > 65535:
        raise argparse.ArgumentTypeError(f"must be a whole number from 0 to 65535, not {text!r}")
    return int(text)


def _host(text):
    if not guard.is_host(text):
        raise argparse.ArgumentTypeError(f"must be a host name or address, not {text!r}")
    return text


def _origin(text):
    if not guard.is_origin(text):
        raise argparse.ArgumentTypeError(f"must be an origin such as http://localhost:3000, not {text!r}")
    return text


class _Parser(argparse.ArgumentParser):
    """Says what is wrong in one line."""

    def error(self, message):
        self.exit(2, f"{NAME}: {message.removeprefix('argument ')}\n")


def command_line():
    """The parser, which also describes the options to completion and manual page."""
    parser = _Parser(
        prog=COMMAND, allow_abbrev=False,
        description="Brings up the simulated camera around the control gateway"
                    + ("; builds both before." if COMMAND == "./run" else "."))
    parser.add_argument("--version", action="version", version=f"{NAME} {version()}")
    parser.add_argument("--check", action="store_true",
                        help="ask every URI of a camera on a free port, print one line each, end; "
                             "status 0 if all is right")
    parser.add_argument("--port", type=_port, metavar="N",
                        help="port on 127.0.0.1 (default: $PORT or 8080; 0 takes a free one, the default of --exec)")
    parser.add_argument("--scenario", default=_DEFAULT_SCENARIO, metavar="FILE",
                        help="identity, state and surroundings of the camera (default: default.json of those that "
                             "come with it)")
    parser.add_argument("--storage", metavar="DIR",
                        help="keep the camera's storage in this folder, made when it is not there")
    parser.add_argument("--build-dir", metavar="DIR", help="use the programs of this build folder; builds nothing")
    parser.add_argument("--exec", metavar="COMMAND",
                        help="run this command of the shell with $CAMERA_URL, $CAMERA_PORT and zvcam, then end the "
                             "camera; the status is the command's")
    parser.add_argument("--ready-file", metavar="FILE",
                        help="write the camera's URL into this file when it answers; removed at the end")
    parser.add_argument("--quiet", action="store_true", help="print no log lines")
    parser.add_argument("--no-control", action="store_true", help="leave out control over HTTP (/simulator)")
    parser.add_argument("--allow-host", action="append", default=[], type=_host, metavar="NAME",
                        help="answer under this host name, too; may be repeated")
    parser.add_argument("--cors", action="append", default=[], type=_origin, metavar="ORIGIN",
                        help="let pages of this origin (http://localhost:3000) use the gateway; may be repeated")
    parser.add_argument("--gateway", choices=gateways.KINDS, default="cgi",
                        help="how the web server asks the gateway: starts it for each request (cgi, the default), or "
                             "connects to the resident program (scgi)")
    parser.add_argument("--network", choices=sandbox.NETWORKS, default="own",
                        help="what the camera's programs reach: nothing but themselves (own, the default), or the "
                             "machine's network (host)")
    return parser


def parse(argv):
    parser = command_line()
    arguments = parser.parse_args(argv)
    if arguments.check and (arguments.exec is not None or arguments.ready_file):
        parser.error("--check: brings up a camera of its own, for no --exec and no --ready-file")
    if arguments.port is None and arguments.exec is not None:
        arguments.port = 0
    if arguments.port is None:
        try:
            arguments.port = _port(os.environ.get("PORT") or "8080")
        except argparse.ArgumentTypeError as error:
            parser.error(f"PORT: {error}")
    return arguments


def check(arguments, build_dir):
    """Raises CameraError for what would be wrong after the build, too. build_dir: the folder of the programs."""
    scenario = os.path.abspath(arguments.scenario)
    scenario_file.check_text(scenario)
    if arguments.build_dir or scenario_file.is_built(build_dir):
        scenario_file.check_meaning(scenario, build_dir)
    if not arguments.check:
        try:
            listen(arguments.port).close()
        except CameraError as error:
            raise CameraError(f"{error}; --port 0 takes a free one") from error
