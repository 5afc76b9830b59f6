"""What of ./run is made for scripts: a command beside the camera, a file that tells when it answers, silence."""

import os
import signal
import subprocess
import time

import pytest
from test_run import RUN, Terminal, _assert_nothing_left, _get


def run(folder, build_dir, *options, **environment):
    env = {"PATH": os.environ["PATH"], "TMPDIR": str(folder), **environment}
    return subprocess.run([RUN, "--build-dir", build_dir, *options], env=env, cwd=folder, capture_output=True,
                          text=True, timeout=60, check=False)


@pytest.mark.quick
def test_command_finds_the_camera(open_path, build_dir):
    done = run(open_path, build_dir, "--quiet", "--exec",
               'curl -s "$CAMERA_URL/command/ble/pairing_available"; echo " $CAMERA_PORT $ZVCAM_PORT $CAMERA_URL"; '
               'command -v zvcam; zvcam --port "$CAMERA_PORT" show recording')
    assert (done.returncode, done.stderr) == (0, "")
    answer, tool, recording = done.stdout.splitlines()
    body, port, of_tool, url = answer.split()
    assert (body, of_tool, url) == ("{}", port, f"http://127.0.0.1:{port}/control")
    assert tool == os.path.join(build_dir, "zvcam")
    assert recording.split()[-1] == "0"
    assert os.listdir(open_path) == []


@pytest.mark.parametrize(("command", "status"), [("true", 0), ("exit 7", 7), ("kill -TERM $$", 143),
                                                 ("no-such-command 2>/dev/null", 127)])
def test_status_is_that_of_the_command(open_path, build_dir, command, status):
    done = run(open_path, build_dir, "--quiet", "--exec", command)
    assert (done.returncode, done.stdout, done.stderr) == (status, "", "")


def test_port_of_a_command(open_path, build_dir):
    """A free one, whatever $PORT says: what the command reaches is never somebody else's."""
    done = run(open_path, build_dir, "--quiet", "--exec", "echo $CAMERA_PORT", PORT="abc")
    port = done.stdout.strip()
    assert int(port) > 0
    assert run(open_path, build_dir, "--quiet", "--port", port, "--exec", "echo $CAMERA_PORT").stdout.strip() == port


def test_standard_output_is_the_commands_alone(open_path, build_dir):
    done = run(open_path, build_dir, "--exec", "curl -s $CAMERA_URL/command/ble/pairing_available; cat", PORT="")
    assert done.stdout == "{}"
    assert "lighttpd: GET /control/command/ble/pairing_available" in done.stderr


def test_camera_that_fails_beside_the_command(open_path, build_dir):
    """The only other child of ./run is the camera."""
    done = run(open_path, build_dir, "--quiet", "--exec", "kill $(pgrep --parent $PPID bwrap); sleep 1; exit 0")
    assert done.returncode == 1
    assert "the camera has ended; the command goes on\n" in done.stderr


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_command_ends_with_the_run(open_path, build_dir, number):
    command = f"trap 'echo ended >{open_path}/trace; exit 0' TERM; echo $CAMERA_PORT; while :; do sleep 0.05; done"
    terminal = Terminal(open_path, build_dir, "--quiet", "--exec", command)
    port = int(terminal.wait_for(r"(\d+)\n")[1])
    assert terminal.end(number) == 128 + number
    assert (open_path / "trace").read_text() == "ended\n"
    os.unlink(open_path / "trace")
    _assert_nothing_left(terminal, port)


def test_ready_file_is_there_as_long_as_the_camera(open_path, build_dir):
    ready = open_path / "ready"
    ready.write_text("of an earlier run\n")
    terminal = Terminal(open_path, build_dir, "--port", "0", "--ready-file", "ready", cwd=open_path)
    while not ready.exists() or ready.read_text() == "of an earlier run\n":
        assert terminal.process.poll() is None
        time.sleep(0.01)
    url = ready.read_text()
    port = terminal.port()
    assert url == f"http://127.0.0.1:{port}/control\n"
    assert _get(port, "/control/command/ble/pairing_available") == (200, b"{}")
    assert terminal.end(signal.SIGTERM) == 0
    _assert_nothing_left(terminal, port)


def test_ready_file_of_another_camera_stays(open_path, build_dir):
    ready = open_path / "ready"
    terminal = Terminal(open_path, build_dir, "--port", "0", "--ready-file", ready)
    terminal.port()
    ready.write_text("of another camera\n")
    assert terminal.end(signal.SIGTERM) == 0
    assert ready.read_text() == "of another camera\n"


def test_ready_file_that_cannot_be(open_path, build_dir):
    for path, reason in ((open_path, "Is a directory"), (open_path / "none" / "ready", "No such file or directory")):
        done = run(open_path, build_dir, "--ready-file", path, "--exec", "true")
        assert (done.returncode, done.stdout) == (1, "")
        assert done.stderr == f"run: {path} cannot be the ready file: {reason}\n"
    assert os.listdir(open_path) == []


def test_quiet_camera_says_no_more_than_where_it_is(open_path, build_dir):
    terminal = Terminal(open_path, build_dir, "--port", "0", "--quiet")
    port = terminal.port()
    _get(port, "/control/command/ble/pairing_available")
    terminal.end(signal.SIGINT)
    assert terminal.output().endswith("\nCtrl-C ends the camera.\n\n") and "Log lines" not in terminal.output()


def test_quiet_camera_tells_why_it_does_not_start(open_path, build_dir):
    programs = open_path / "build"
    programs.mkdir()
    for name in os.listdir(build_dir):
        if name != "zvNetD":
            (programs / name).symlink_to(os.path.join(build_dir, name))
    (programs / "zvNetD").write_text("#!/bin/sh\necho this is wrong; exit 1\n")
    (programs / "zvNetD").chmod(0o755)
    done = run(open_path, programs, "--quiet", "--port", "0")
    assert done.returncode == 1
    assert "zvNetD: this is wrong\n" in done.stdout
    assert "run: the camera does not start: zvNetD ended with status 1 while starting\n" in done.stderr


def test_check_has_a_camera_of_its_own(open_path, build_dir):
    for options in (("--exec", "true"), ("--ready-file", "ready")):
        done = run(open_path, build_dir, "--check", *options)
        assert (done.returncode, done.stdout) == (2, "")
        assert done.stderr == "run: --check: brings up a camera of its own, for no --exec and no --ready-file\n"
