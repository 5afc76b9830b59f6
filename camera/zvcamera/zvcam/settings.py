"""Which camera, and how it is answered: --port, --run-dir and --json, before or behind any subcommand."""

import os

import click

from .. import find
from ..admin import InvalidRequest
from ..link import Link


class Settings:
    """What the common options have said so far. port, run_dir: None when they were not given."""

    def __init__(self):
        self.port = None
        self.run_dir = None
        self.json = False

    def choose(self):
        """The run folder of the camera that is meant; raises InvalidRequest or Unreachable."""
        if self.run_dir is not None:
            if self.port is not None:
                raise InvalidRequest("--port and --run-dir exclude each other")
            return self.run_dir
        port = self.port
        if port is None and os.environ.get("ZVCAM_PORT"):
            port = _port("$ZVCAM_PORT", os.environ["ZVCAM_PORT"])
        return find.choose(port).run_dir


class ChosenLink(Link):
    """A link to the camera of the settings, which is looked for when it is needed first."""

    def __init__(self, settings):
        self._settings = settings
        self._chosen = None
        super().__init__(None)

    @property
    def run_dir(self):
        if self._chosen is None:
            self._chosen = self._settings.choose()
        return self._chosen

    @run_dir.setter
    def run_dir(self, _):
        pass  # the settings tell it


def _port(name, text):
    port = find.port_of(text)
    if port is None:
        raise InvalidRequest(f"{name}: must be a whole number from 0 to 65535, not {text}")
    return port


def _keep(context, option, value):
    if value in (None, False):
        return
    if option.name == "port":
        value = _port("--port", value) if not context.resilient_parsing else find.port_of(value)
    setattr(context.find_object(Settings), option.name, value)


class _PortType(click.ParamType):
    name = "N"

    def shell_complete(self, ctx, param, incomplete):
        from click.shell_completion import CompletionItem
        return [CompletionItem(str(port)) for port in find.running() if str(port).startswith(incomplete)]


def options():
    """The common options; each command has them, for they may stand anywhere."""
    common = {"expose_value": False, "callback": _keep}
    return [
        click.Option(["--port"], metavar="N", type=_PortType(),
                     help="The camera on this port, needed when more than one runs (default: $ZVCAM_PORT).", **common),
        click.Option(["--run-dir"], metavar="DIR", type=click.Path(),
                     help="The camera with this run folder.", **common),
        click.Option(["--json"], is_flag=True, help="Print one line of JSON, also when something is wrong.", **common),
    ]
