"""./run itself: what it prints, what it refuses, and that it leaves nothing behind."""

import http.client
import os
import re
import shutil
import signal
import socket
import subprocess
import time

import house
import pytest

RUN = os.path.join(house.ROOT, "run")


class Terminal:
    """./run in the background, its output in a file."""

    def __init__(self, folder, build_dir, *options, run=RUN, cwd="/", **environment):
        self.folder = folder
        self.output_path = folder / f"output-{time.monotonic_ns()}"
        env = {"PATH": os.environ["PATH"], "HOME": str(folder), "TMPDIR": str(folder), **environment}
        with open(self.output_path, "wb") as output:
            self.process = subprocess.Popen([run, "--build-dir", build_dir, *options], cwd=cwd, env=env, stdout=output,
                                            stderr=subprocess.STDOUT, start_new_session=True)

    def output(self):
        return self.output_path.read_text()

    def wait_for(self, pattern, patience=60):
        deadline = time.monotonic() + patience
        while not (match := re.search(pattern, self.output())):
            assert time.monotonic() < deadline, self.output()
            assert self.process.poll() is None, self.output()
            time.sleep(0.05)
        return match

    def port(self):
        return int(self.wait_for(r"The camera answers at http://127\.0\.0\.1:(\d+)/control\n")[1])

    def end(self, number):
        self.process.send_signal(number)
        return self.process.wait(30)


def _processes(folder):
    """Returns the command lines of processes that have the folder among their mounts or in their arguments."""
    found = []
    for pid in os.listdir("/proc"):
        try:
            with open(f"/proc/{pid}/mountinfo", encoding="utf-8", errors="replace") as mounts, \
                    open(f"/proc/{pid}/cmdline", "rb") as line:
                command = line.read()
                if f"{folder}/zvcam-" in mounts.read() or str(folder).encode() in command:
                    found.append(command.replace(b"\0", b" ").decode(errors="replace"))
        except OSError:
            continue  # the process has ended meanwhile, or belongs to another user
    return found


def _get(port, path, patience=0):
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=30)
    connection.request("GET", path)
    response = connection.getresponse()
    body = response.read()
    connection.close()
    return response.status, body


def _assert_nothing_left(terminal, port):
    deadline = time.monotonic() + 10
    while time.monotonic() < deadline and (_processes(terminal.folder) or len(os.listdir(terminal.folder)) > 1):
        time.sleep(0.05)
    assert _processes(terminal.folder) == []
    assert os.listdir(terminal.folder) == [terminal.output_path.name]
    with socket.socket() as probe:
        assert probe.connect_ex(("127.0.0.1", port)) != 0


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL])
def test_nothing_is_left(open_path, build_dir, number):
    terminal = Terminal(open_path, build_dir, "--port", "0")
    port = terminal.port()
    assert _get(port, "/control/execute?p1=zvStream&c1=start")[0] == 200
    assert _get(port, "/control/command/ble/pairing_available") == (200, b"{}")
    assert _processes(open_path) != []
    assert terminal.end(number) == (0 if number != signal.SIGKILL else -signal.SIGKILL)
    _assert_nothing_left(terminal, port)


@pytest.mark.quick
def test_log_lines_are_shown(open_path, build_dir):
    terminal = Terminal(open_path, build_dir, "--port", "0")
    port = terminal.port()
    _get(port, "/control/command/ble/pairing_phase?p=x")
    terminal.wait_for(r"zvControl-cgi-bin: UTIL_LOG_ERROR:"
                      r"Error parsing parameter for pairing_phase command \[x\] @command_ble")
    terminal.end(signal.SIGINT)


def test_what_does_not_print_is_shown_as_numbers(open_path, build_dir):
    """Clients send parameters, which are decoded. Their control codes must not reach the developer's terminal."""
    terminal = Terminal(open_path, build_dir, "--port", "0")
    port = terminal.port()
    shown = r"command [\x1b]0;title\x07\x7f\x9b\x08 ä\nzvBleD: b] @command_ble"
    _get(port, "/control/command/ble/pairing_phase?p=%1b]0;title%07%7f%c2%9b%08%20%c3%a4%0azvBleD:%20b")
    assert shown in terminal.wait_for(r"zvControl-cgi-bin: .*Error parsing parameter.*\n")[0]
    assert "\x1b" not in terminal.output() and "\x9b" not in terminal.output() and "\x07" not in terminal.output()
    done = subprocess.run([os.path.join(build_dir, "zvcam"), "--port", str(port), "log"],
                          env={"TMPDIR": str(open_path)}, capture_output=True, check=False)
    assert (done.returncode, done.stderr) == (0, b"")
    assert shown.encode() in done.stdout
    assert not set(done.stdout) & ({*range(32), 127} - {10}) and b"\xc2\x9b" not in done.stdout
    terminal.end(signal.SIGINT)


def test_log_lines_on_a_terminal_of_few_characters(open_path, build_dir):
    terminal = Terminal(open_path, build_dir, "--port", "0", PYTHONIOENCODING="ascii")
    port = terminal.port()
    _get(port, "/control/command/ble/pairing_phase?p=first%c3%a4")
    terminal.wait_for(r"zvControl-cgi-bin: .*first\\xe4")
    _get(port, "/control/second")
    terminal.wait_for("lighttpd.*: GET /control/second 400 ")
    terminal.end(signal.SIGINT)


def test_printed_commands_work(open_path, build_dir):
    terminal = Terminal(open_path, build_dir, "--port", "0")
    terminal.port()
    commands = re.findall(r"^    (curl .*)$", terminal.output(), re.MULTILINE)
    assert len(commands) >= 3
    for command in commands:
        done = subprocess.run(command, shell=True, capture_output=True, check=False)
        assert done.returncode == 0
        assert done.stdout.startswith(b"HTTP/1.1 " if " -i " in command else b"{"), command
    terminal.end(signal.SIGINT)


def test_taken_port(open_path, build_dir):
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        taken.listen()
        port = taken.getsockname()[1]
        done = subprocess.run([RUN, "--build-dir", build_dir], env={"PATH": os.environ["PATH"], "PORT": str(port),
                                                                    "TMPDIR": str(open_path)},
                              capture_output=True, text=True, timeout=30, check=False)
    assert done.returncode == 1
    assert done.stderr == f"run: port {port} of 127.0.0.1 cannot be used: Address already in use; " \
        "--port 0 takes a free one\n"
    assert os.listdir(open_path) == []


@pytest.mark.parametrize("port", ["70000", "65536", "-1", "abc", "", "8_0", " 80", "8080.0", "\u0663"])
def test_port_that_is_none(open_path, build_dir, port):
    env = {"PATH": os.environ["PATH"], "TMPDIR": str(open_path)}
    ways = [("--port", [f"--port={port}"], {})]
    if port:
        ways.append(("PORT", [], {"PORT": port}))
    for name, options, variables in ways:
        done = subprocess.run([RUN, "--build-dir", build_dir, *options], env={**env, **variables}, capture_output=True,
                              text=True, timeout=30, check=False)
        assert (done.returncode, done.stdout) == (2, "")
        assert done.stderr == f"run: {name}: must be a whole number from 0 to 65535, not {port!r}\n"
    assert os.listdir(open_path) == []


def test_port_of_the_command_line_comes_before_that_of_the_environment(open_path, build_dir):
    terminal = Terminal(open_path, build_dir, "--port", "0", PORT="abc")
    assert terminal.port() > 0
    terminal.end(signal.SIGINT)


def test_wrong_options_are_told_in_one_line(open_path, build_dir):
    done = subprocess.run([RUN, "--build-dir", build_dir, "--colour"],
                          capture_output=True, text=True, timeout=30, check=False)
    assert (done.returncode, done.stdout, done.stderr) == (2, "", "run: unrecognized arguments: --colour\n")


def test_missing_files(open_path, build_dir):
    for options in (["--scenario", "/nowhere"], ["--build-dir", "/nowhere"]):
        done = subprocess.run([RUN, "--build-dir", build_dir, "--port", "0", *options], capture_output=True, text=True,
                              timeout=30, check=False)
        assert (done.returncode, done.stdout) == (1, "")
        assert done.stderr.startswith("run: /nowhere") and done.stderr.endswith("does not exist\n")


def test_scenario_that_is_none(open_path, build_dir):
    scenario = open_path / "scenario.json"
    scenario.write_text('{"identity": {"no_such_thing": 1}}')
    done = subprocess.run([RUN, "--build-dir", build_dir, "--port", "0", "--scenario", scenario], capture_output=True,
                          text=True, timeout=60, check=False)
    assert (done.returncode, done.stdout) == (1, "")
    assert done.stderr == f"run: {scenario}: identity.no_such_thing: unknown key\n"


def test_two_at_once_and_the_tool_finds_them(open_path, build_dir):
    tool = os.path.join(build_dir, "zvcam")
    env = {"PATH": os.environ["PATH"], "TMPDIR": str(open_path)}
    first, second = (Terminal(open_path, build_dir, "--port", "0") for _ in range(2))
    ports = [terminal.port() for terminal in (first, second)]
    done = subprocess.run([tool, "--port", str(ports[0]), "set", "recording", "1"], env=env, capture_output=True,
                          check=False)
    assert done.returncode == 0
    assert [_get(port, "/control/command/ble/pairing_available")[0] for port in ports] == [500, 200]
    done = subprocess.run([tool, "show"], env=env, capture_output=True, check=False)
    assert done.returncode != 0  # two cameras run, and none was named
    first.end(signal.SIGINT)
    done = subprocess.run([tool, "show", "recording"], env=env, capture_output=True, text=True, check=False)
    assert (done.returncode, done.stdout.split()[-1]) == (0, "0")
    second.end(signal.SIGINT)


def test_storage_that_stays(open_path, build_dir):
    storage = open_path / "parent" / "my storage"  # does not exist yet
    folder = open_path / "tmp"
    folder.mkdir()
    device = "command/ble/whitelist/configure?device=58a1b2c3d4e5&remove=1"
    terminal = Terminal(folder, build_dir, "--port", "0", "--storage", "parent/my storage", cwd=open_path)
    port = terminal.port()
    assert _get(port, f"/control/{device}") == (200, b"{}")
    terminal.end(signal.SIGINT)
    terminal = Terminal(folder, build_dir, "--port", "0", "--storage", str(storage))
    assert _get(terminal.port(), "/control/command/ble/whitelist/device?address=58a1b2c3d4e5") == (200, b"\n{}\n")
    terminal.end(signal.SIGINT)
    assert os.path.exists(storage / "MISC" / "ble_whitelist.json")


def test_storage_that_cannot_be_made(open_path, build_dir):
    file = open_path / "file"
    file.write_text("")
    for storage, reason in ((file, "Not a directory"), (file / "below", "Not a directory"),
                            ("/proc/no such thing", "No such file or directory")):
        done = subprocess.run([RUN, "--build-dir", build_dir, "--port", "0", "--storage", storage],
                              env={"PATH": os.environ["PATH"], "TMPDIR": str(open_path)},
                              capture_output=True, text=True, timeout=30, check=False)
        assert (done.returncode, done.stdout) == (1, "")
        assert done.stderr == f"run: {storage} cannot be the storage: {reason}\n"
        assert os.listdir(open_path) == ["file"]


def test_storage_is_not_made_for_a_camera_that_does_not_start(open_path, build_dir):
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        taken.listen()
        done = subprocess.run([RUN, "--build-dir", build_dir, "--port", str(taken.getsockname()[1]), "--storage",
                               open_path / "storage"], capture_output=True, text=True, timeout=30, check=False)
    assert done.returncode == 1
    assert os.listdir(open_path) == []


def test_folder_left_by_a_killed_camera_is_taken_over(open_path, build_dir):
    terminal = Terminal(open_path, build_dir, "--port", "0")
    port = terminal.port()
    terminal.end(signal.SIGINT)
    stale = open_path / f"zvcam-{os.getuid()}"
    stale.mkdir(mode=0o700)
    (stale / str(port)).mkdir(mode=0o700)
    (stale / str(port) / "old").write_text("")
    terminal = Terminal(open_path, build_dir, "--port", str(port))
    assert terminal.port() == port
    assert not (stale / str(port) / "old").exists()
    terminal.end(signal.SIGINT)


def test_folder_of_somebody_else_is_not_used(open_path, build_dir):
    others = open_path / "others"
    others.mkdir()
    (open_path / f"zvcam-{os.getuid()}").symlink_to(others)
    terminal = Terminal(open_path, build_dir, "--port", "0")
    assert terminal.port()
    terminal.end(signal.SIGINT)
    assert list(others.iterdir()) == []


def test_long_folder_names_are_no_obstacle(open_path, build_dir):
    folder = open_path / ("long" * 40)
    folder.mkdir()
    terminal = Terminal(folder, build_dir, "--port", "0")
    port = terminal.port()
    done = subprocess.run([os.path.join(build_dir, "zvcam"), "--port", str(port), "show", "recording"],
                          env={"TMPDIR": str(folder)}, capture_output=True, text=True, check=False)
    assert (done.returncode, done.stderr) == (0, "")
    terminal.end(signal.SIGINT)


def test_clone_with_a_blank_in_its_path(open_path, build_dir):
    clone = open_path / "a clone"
    clone.mkdir()
    for name in ("run", "scripts", "camera"):
        source = os.path.join(house.ROOT, name)
        (shutil.copytree if os.path.isdir(source) else shutil.copy)(source, clone / name)
    folder = open_path / "tmp"
    folder.mkdir()
    terminal = Terminal(folder, build_dir, "--port", "0", run=str(clone / "run"), cwd=open_path)
    assert _get(terminal.port(), "/control")[0] == 200
    terminal.end(signal.SIGINT)


def test_check(open_path, build_dir):
    done = subprocess.run([RUN, "--check", "--build-dir", build_dir], cwd="/", env={"PATH": os.environ["PATH"],
                                                                                    "TMPDIR": str(open_path)},
                          capture_output=True, text=True, timeout=120, check=False)
    assert done.returncode == 0, done.stdout + done.stderr
    lines = done.stdout.splitlines()
    assert re.fullmatch(r"(\d+) requests, 0 wrong", lines[-1])
    asked = {line.split()[1].partition("?")[0] for line in lines[1:-1]}
    assert {"/execute", "/analytics/get", "/analytics/clear"} < asked
    assert sum(1 for uri in asked if uri.startswith("/command/ble/")) == 11
    assert os.listdir(open_path) == []


@pytest.mark.slow
@pytest.mark.thorough
def test_check_notices_what_is_wrong(open_path, build_dir):
    """The control program gives the same answer to everything."""
    programs = open_path / "build"
    programs.mkdir()
    for name in os.listdir(build_dir):
        if name != "zvControl-cgi-bin":
            (programs / name).symlink_to(os.path.join(build_dir, name))
    program = programs / "zvControl-cgi-bin"
    program.write_text("#!/bin/sh\nprintf 'Status: 200 OK\\r\\nContent-Type: application/json\\r\\n\\r\\n{}'\n")
    program.chmod(0o755)
    done = subprocess.run([RUN, "--check", "--build-dir", programs], capture_output=True, text=True, timeout=180,
                          check=False)
    assert done.returncode == 1
    assert done.stdout.count("\nWRONG ") >= 10
