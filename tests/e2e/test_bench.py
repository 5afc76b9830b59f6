"""bench/run, and that its measuring programs do not take a wrong answer for a fast one."""

import contextlib
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import threading
import time

import house
import pytest

pytestmark = pytest.mark.bench

RUN = os.path.join(house.ROOT, "bench", "run")


@pytest.fixture(scope="module")
def tools(build_dir):
    done = subprocess.run([os.path.join(house.ROOT, "scripts", "build"), os.path.basename(build_dir), "bench"],
                          capture_output=True, text=True, check=False)
    assert done.returncode == 0, done.stderr
    return os.path.join(build_dir, "bench")


def _bench(folder, *options, **more):
    environment = {**os.environ, "TMPDIR": str(folder)}
    return subprocess.run([RUN, *options], cwd=folder, env=environment,
                          capture_output=True, text=True, check=False, **more)


def _rows(text, heading):
    """Returns the table with this heading: a dict from the first cell of each row to the other cells."""
    table = re.search(rf"^### {re.escape(heading)}.*?\n\n(.*?)\n\n", text, re.MULTILINE | re.DOTALL)[1]
    rows = [[cell.strip() for cell in line.strip("|").split("|")] for line in table.splitlines()[2:]]
    return {row[0]: row[1:] for row in rows}


def _number(cell):
    return float(cell.split()[0].replace(",", ""))


def test_quick_run(open_path):
    done = _bench(open_path, "--quick", "--output", "tables.md", timeout=1800)
    assert done.returncode == 0, done.stdout + done.stderr
    assert (open_path / "tables.md").read_text() == done.stdout
    assert os.listdir(open_path) == ["tables.md"]
    head = done.stdout.splitlines()[0]
    assert re.match(r"\d{4}-\d\d-\d\d \d\d:\d\d; (revision [0-9a-f]{10}|sources of no)", head)
    assert "processors" in head and "kernel" in head and "lighttpd" in head and "load before the run" in head

    memory = {name: _number(cells[4]) for name, cells in _rows(done.stdout, "(a), (d)").items()}
    assert memory["static C hello"] < memory["dynamic C hello"] < memory["empty C++ main, same libraries"]
    assert memory["Python hello"] == max(memory.values())
    turns = _rows(done.stdout, "(a) Spawn to exit, each in turns")
    assert len(turns) == 10
    for name in ("static C hello", "gateway, stand-alone, pair/status", "gateway, camera shape, pairing_available"):
        for row in (turns[name], turns[f"{name}, one processor"]):
            assert abs(_number(row[2]) - _number(row[0]) / _number(row[1])) < 0.02
    counts = {name: _number(cells[0]) for name, cells in _rows(done.stdout, "(b)").items()}
    assert len(counts) == 11
    assert counts["static C hello"] < counts["gateway, stand-alone, pairing_available"] < counts["dynamic C hello"]
    empty = counts["empty C++ main, same libraries in the gateway's order"]
    assert empty < counts["gateway, camera shape, pairing_available"] < counts["gateway, camera shape, pair/status"]
    assert len(_rows(done.stdout, "(c)")) == 8
    assert list(_rows(done.stdout, "(e)")) == ["1 KiB", "1 MiB"]
    assert list(_rows(done.stdout, "(f)")) == [str(pages) for pages in range(1, 8)]
    resident = _rows(done.stdout, "(h)")
    assert len(resident) == 8
    for row in resident.values():
        assert abs(_number(row[2]) - _number(row[0]) / _number(row[1])) < 0.02
    own = _rows(done.stdout, "(i)")
    assert len(own) == 2 and all(0 < _number(row[1]) <= 1024 for row in own.values())
    assert list(_rows(done.stdout, "(j)")) == ["0", "1", "4", "16", "64"]
    arm = _rows(done.stdout, "(k)")
    assert len(arm) == 4
    assert _number(arm["camera shape, pair/status"][0]) > 1_000_000 > 20 * _number(arm["camera shape, pair/status"][1])
    presets = re.findall(r"^\| (\S+) \| zvControl-cgi-bin \| ([\d,]+) \|$", done.stdout, re.MULTILINE)
    assert [name for name, _ in presets] == [
        "release", "standalone", "arm", "arm-standalone", "arm64", "arm64-standalone"]
    assert _number(dict(presets)["arm"]) <= 100_000


def test_the_empty_program_takes_the_gateways_libraries(tools, build_dir):
    def needed(path):
        listed = subprocess.run(["readelf", "-d", path], capture_output=True, text=True, check=True).stdout
        return re.findall(r"\(NEEDED\).*\[(.*)\]", listed)
    gateway = needed(os.path.join(build_dir, "zvControl-cgi-bin"))
    assert {"libzvCtrlD.so", "libcsi.so", "libstdc++.so.6"} <= set(gateway)
    assert set(needed(os.path.join(tools, "empty_cpp"))) == set(gateway)
    assert needed(os.path.join(tools, "empty_cpp_ordered")) == gateway


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_nothing_is_left_by_a_run_that_is_ended(tools, open_path, number):
    """The signal comes in the middle of a run, while three cameras and a folder for their file exist."""
    # A shell in the background starts its programs with SIGINT ignored. "env" undoes that.
    with open(open_path / "output", "wb") as output:
        bench = subprocess.Popen(["env", "--default-signal", RUN, "--quick"],
                                 env={**os.environ, "TMPDIR": str(open_path)},
                                 stdout=output, stderr=subprocess.STDOUT, start_new_session=True)
    deadline = time.monotonic() + 1800
    while b"### (c)" not in (open_path / "output").read_bytes():
        assert bench.poll() is None and time.monotonic() < deadline, (open_path / "output").read_text()
        time.sleep(0.05)
    bench.send_signal(number)
    assert bench.wait(60) == 128 + number
    assert "Traceback" not in (open_path / "output").read_text()
    # An ended camera leaves its folder to a helper process, which removes it.
    deadline = time.monotonic() + 20
    while os.listdir(open_path) != ["output"] and time.monotonic() < deadline:
        time.sleep(0.05)
    assert os.listdir(open_path) == ["output"]


def test_help_and_wrong_options(open_path):
    done = _bench(open_path, "--help", timeout=60)
    assert (done.returncode, done.stderr) == (0, "")
    assert "--quick" in done.stdout and "--output FILE" in done.stdout
    for options, complaint in ((["--slow"], "unrecognized arguments: --slow"),
                               (["--output", "/no such/x"], "/no such/x cannot be written: No such file or directory")):
        done = _bench(open_path, *options, timeout=60)
        assert (done.returncode, done.stdout) == (2, "")
        assert done.stderr.endswith(f"bench/run: error: {complaint}\n")


def test_clone_with_a_blank_in_its_path_where_nothing_can_be_built(open_path):
    clone = open_path / "a clone"
    clone.mkdir()
    for name in ("bench", "scripts", "camera", "CMakeLists.txt", "CMakePresets.json"):
        source = os.path.join(house.ROOT, name)
        (shutil.copytree if os.path.isdir(source) else shutil.copy)(source, clone / name)
    (clone / "build").write_text("in the way")
    done = subprocess.run([clone / "bench" / "run", "--quick"], cwd="/",
                          capture_output=True, text=True, timeout=60, check=False)
    assert (done.returncode, done.stdout) == (1, "")
    assert "build" in done.stderr and "Traceback" not in done.stderr


# bench_spawn

def _spawn(tools, *words):
    return subprocess.run([os.path.join(tools, "bench_spawn"), *map(str, words)],
                          capture_output=True, text=True, timeout=60, check=False)


def test_spawn_measures_time_and_memory_of_the_program_itself(tools, open_path):
    large = open_path / "large"
    large.write_text("#!/usr/bin/python3\nimport time\nx = b'x' * (64 << 20)\ntime.sleep(0.05)\n")
    large.chmod(0o755)
    static = os.path.join(tools, "hello_c_static")
    done = _spawn(tools, 3, static, large)
    assert (done.returncode, done.stderr) == (0, "")
    small, big = json.loads(done.stdout)
    assert [len(result["us"]) for result in (small, big)] == [3, 3]
    assert min(big["us"]) > 50_000 and max(small["us"]) < min(big["us"])
    assert (64 << 10) < big["peak_kib"] < (128 << 10)
    alone = json.loads(_spawn(tools, 1, static).stdout)[0]["peak_kib"]
    assert small["peak_kib"] == pytest.approx(alone, abs=64)


def test_spawn_takes_no_failure_for_a_time(tools, open_path):
    def script(name, text):
        path = open_path / name
        path.write_text(f"#!/bin/sh\n{text}\n")
        path.chmod(0o755)
        return path
    count = open_path / "count"
    count.write_text("0")
    seldom = script("seldom", f"read n <'{count}'; echo $((n + 1)) >'{count}'; [ $n != 3 ]")
    for words, complaint in (
            ([5, seldom], f"{seldom} ended with status 1"),
            ([1, script("killed", "kill -9 $$")], f"{open_path}/killed ended with signal 9"),
            ([1, open_path / "absent"], f"{open_path}/absent cannot be run: No such file or directory"),
            ([1, open_path], f"{open_path} cannot be run: Permission denied")):
        done = _spawn(tools, *words)
        assert (done.returncode, done.stdout, done.stderr) == (1, "", f"bench_spawn: {complaint}\n")
    for words in ([], [1], [0, "/bin/true"], ["2x", "/bin/true"]):
        assert _spawn(tools, *words).returncode == 2


# bench_scgi, bench_fork

@contextlib.contextmanager
def _listener(path, answer):
    """Gives every connection to a socket this answer."""
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(path))
        listener.listen()

        def serve():
            with contextlib.suppress(OSError):
                while True:
                    with listener.accept()[0] as connection:
                        connection.recv(4096)
                        connection.sendall(answer)
        threading.Thread(target=serve, daemon=True).start()
        yield
        listener.shutdown(socket.SHUT_RDWR)


def _scgi(tools, *words):
    return subprocess.run([os.path.join(tools, "bench_scgi"), *map(str, words)],
                          capture_output=True, text=True, timeout=60, check=False)


def test_scgi_takes_no_wrong_answer_for_a_time(tools, open_path):
    path = open_path / "socket"
    with _listener(path, b"right"):
        done = _scgi(tools, 3, path, "right")
        assert (done.returncode, len(json.loads(done.stdout))) == (0, 3)
        done = _scgi(tools, 3, path, "wrong")
        assert (done.returncode, done.stdout, done.stderr) == (1, "", "bench_scgi: answered 'right'\n")
    assert _scgi(tools, 1, open_path / "absent", "right").returncode == 1
    for words in ([], [1, path], ["x", path, "right"], [1, "x" * 108, "right"]):
        assert _scgi(tools, *words).returncode == 2


def test_fork_by_size(tools):
    program = os.path.join(tools, "bench_fork")
    done = subprocess.run([program, "25", "0", "64"], capture_output=True, text=True, timeout=60, check=True)
    small, large = json.loads(done.stdout)
    assert (len(small), len(large)) == (25, 25)
    assert min(small) < min(large)  # 0.05 and 3 ms; a busy machine only lengthens them
    for words, status in ((["5"], 2), (["x", "1"], 2), (["1", "x"], 1)):
        assert subprocess.run([program, *words], capture_output=True, check=False).returncode == status


# bench_http

@contextlib.contextmanager
def _server(answer):
    """Yields a port of a server that gives every request this answer and closes the connection."""
    with socket.create_server(("127.0.0.1", 0)) as listener:
        def serve():
            with contextlib.suppress(OSError):
                while True:
                    with listener.accept()[0] as connection:
                        request = b""
                        while not request.endswith(b"\r\n\r\n"):
                            request += connection.recv(4096)
                        for piece in answer:
                            connection.sendall(piece)
        threading.Thread(target=serve, daemon=True).start()
        yield listener.getsockname()[1]
        listener.shutdown(socket.SHUT_RDWR)


def _load(tools, port, *words):
    done = subprocess.run([os.path.join(tools, "bench_http"), str(port), "/x", *map(str, words)],
                          capture_output=True, text=True, timeout=60, check=False)
    assert done.returncode == 0, done.stderr
    return json.loads(done.stdout)


OK = b"HTTP/1.1 200 OK\r\n"
CHUNKED = OK + b"Transfer-Encoding: chunked\r\n\r\n"


@pytest.mark.parametrize(("answer", "good"), [
    (OK + b"Content-Length: 5\r\n\r\nhello", True),
    (OK + b"content-length:5\r\nX: y\r\n\r\nhello", True),
    (OK + b"\r\nhello", True),  # the end of the connection ends the answer
    (CHUNKED + b"2\r\nhe\r\n3;x=y\r\nllo\r\n0\r\n\r\n", True),
    (CHUNKED + b"5\r\nhello\r\n0\r\nX: y\r\n\r\n", True),
    (b"HTTP/1.1 500 Internal Server Error\r\nContent-Length: 5\r\n\r\nhello", False),
    (b"HTTP/1.1 200OK\r\nContent-Length: 5\r\n\r\nhello", False),
    (OK + b"Content-Length: 5\r\n\r\nhallo", False),
    (OK + b"Content-Length: 4\r\n\r\nhell", False),
    (OK + b"Content-Length: 6\r\n\r\nhello", False),
    (OK + b"Content-Length: 5\r\n\r\nhello!", False),
    (OK + b"Content-Length: five\r\n\r\nhello", False),
    (OK + b"\r\nhell", False),
    (OK + b"\r\n", False),
    (CHUNKED + b"5\r\nhello\r\n0\r\n", False),
    (CHUNKED + b"5\r\nhello\r\n", False),
    (CHUNKED + b"5\r\nhello", False),
    (CHUNKED + b"5\r\nhello0\r\n\r\n", False),
    (CHUNKED + b"5\r\nhello!\r\n0\r\n\r\n", False),
    (CHUNKED + b"x\r\nhello\r\n0\r\n\r\n", False),
    (b"", False),
    (b"HTTP/1.1 200 OK\r\nContent-Le", False),
], ids=range(22))
def test_only_the_right_answer_counts(tools, answer, good):
    for pieces in ([answer], [answer[i:i + 1] for i in range(len(answer))]):
        with _server(pieces) as port:
            result = _load(tools, port, 1, 0, 5, "hello")
        assert (result["good"], result["bad"]) == ((1, 0) if good else (0, 1))
        assert 0 < result["seconds"] and 0 < result["cpu"]


def test_a_large_body_is_counted(tools):
    size = 10_000_000
    body = CHUNKED + b"%x\r\n" % (size - 7) + b"x" * (size - 7) + b"\r\n7\r\n1234567\r\n0\r\n\r\n"
    with _server([body]) as port:
        assert _load(tools, port, 1, 0, size)["good"] == 1
        assert _load(tools, port, 1, 0, size - 1)["bad"] == 1


def test_every_client_asks_until_the_time_is_over(tools):
    with _server([OK + b"Content-Length: 2\r\n\r\n{}"]) as port:
        result = _load(tools, port, 4, 0.5, 2, "{}")
    assert result["good"] > 40 and result["bad"] == 0
    assert 0.5 <= result["seconds"] < 5
    with socket.socket() as unheard:
        unheard.bind(("127.0.0.1", 0))
        assert _load(tools, unheard.getsockname()[1], 2, 0, 2)["bad"] == 2


# Which answers the measurements accept

def _stand(build_dir, program):
    """Runs a program text in which "running" is a camera, and returns the finished process."""
    text = f"from zvbench import measures, stand\nwith stand.camera() as running:\n    {program}\n"
    path = f"{house.ROOT}/camera:{house.ROOT}/bench"
    return subprocess.run([sys.executable, "-B", "-c", text], env={**os.environ, "PYTHONPATH": path},
                          capture_output=True, text=True, timeout=120, check=False)


@pytest.mark.parametrize(("program", "complaint"), [
    ("running.admin('zvControlD', 'set', item='recording', value=1); "
     "stand.spawn(running, [stand.CAMERA_SHAPE], stand.AVAILABLE, 1)",
     "MeasureError: /usr/local/zarvo/bin/zvControl-cgi-bin: status"),
    ("stand.instructions(running, stand.CAMERA_SHAPE, (stand.STATUS[0], '', '{}'))", "pairing_status"),
    ("stand.load_hello(running, stand.CAMERA_SHAPE, (stand.STATUS[0], '', '{}'), 2, 0)",
     "MeasureError: 2 of 2 answers"),
    ("open(running.storage + '/x', 'w').write('y'); "
     "measures._compare(running, '/analytics/get', running.storage + '/x')",
     "not the file's bytes"),
    ("stand.ask_resident(running, stand.STATUS, 1)", "MeasureError: bench_scgi: answered ''"),
    ("stand.forks(running, 'x', [1])", "MeasureError: usage: bench_fork"),
], ids=["spawn", "instructions", "load", "analytics", "resident", "fork"])
def test_wrong_answers_are_not_measured(tools, build_dir, program, complaint):
    done = _stand(build_dir, program)
    assert done.returncode == 1
    assert complaint in done.stderr, done.stderr
