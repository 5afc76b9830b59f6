"""A command that runs beside the camera (./run --exec)."""

import os
import signal
import subprocess
import sys

from . import namespace

_PATIENCE = 10.0  # seconds for the command to end when ./run is told to end


def environment(camera):
    """What the command finds in its environment, besides that of ./run."""
    tools = os.path.dirname(namespace.find(camera.build_dir, "zvcam"))
    return {**os.environ, "CAMERA_URL": camera.url, "CAMERA_PORT": str(camera.port), "ZVCAM_PORT": str(camera.port),
            "PATH": f"{tools}:{os.environ.get('PATH', os.defpath)}"}


def _status(process):
    return process.returncode if process.returncode >= 0 else 128 - process.returncode


def _wait(process, camera):
    """Waits for the command's end. Says once when the camera ends before. Returns whether it has not."""
    alive = True
    while True:
        try:
            process.wait(0.2)
            return alive
        except subprocess.TimeoutExpired:
            if alive and not camera.running():
                alive = False
                print("the camera has ended; the command goes on", file=sys.stderr, flush=True)


def run(text, camera):
    """Runs a command of the shell and returns its status: 128+N for signal N, as the shell has it.

    It is at least 1 when the camera has ended before the command. An exception that a signal handler raises meanwhile
    ends the command: it gets SIGTERM and some seconds, and the exception goes on.
    """
    process = subprocess.Popen(["/bin/sh", "-c", text], env=environment(camera))
    try:
        alive = _wait(process, camera)
    except BaseException:
        process.send_signal(signal.SIGTERM)
        try:
            process.wait(_PATIENCE)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
        raise
    return _status(process) or (0 if alive else 1)
