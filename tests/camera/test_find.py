"""Finding the cameras that run."""

import contextlib
import json
import os
import socket

import pytest
from zvcamera import find
from zvcamera.admin import Unreachable


@pytest.fixture
def start():
    """start(port, socket name, folder): keeps an admin socket of a camera open; returns its run folder."""
    with contextlib.ExitStack() as listeners:
        def make(port, name="supervisor.admin", folder=None):
            run_dir = os.path.join(folder or find.base(), str(port), "run")
            os.makedirs(run_dir, exist_ok=True)
            listener = listeners.enter_context(socket.socket(socket.AF_UNIX))
            listener.bind(os.path.join(run_dir, name))
            listener.listen()
            return run_dir
        make.end = listeners.close
        yield make


def records():
    """The folder of the records, where no other user has taken it."""
    return find._record_folders()[0]


def problem(port=None):
    """The folder that is chosen, or why none is."""
    try:
        return find.choose(port).run_dir
    except Unreachable as error:
        return str(error)


def test_cameras_are_below_the_temporary_folder(monkeypatch):
    for value, folder in ((None, "/tmp"), ("", "/tmp"), ("/elsewhere", "/elsewhere")):
        monkeypatch.delenv("TMPDIR") if value is None else monkeypatch.setenv("TMPDIR", value)
        assert find.base() == f"{folder}/zvcam-{os.getuid()}"


def test_the_only_camera_needs_no_choice(start):
    run_dir = start(8080)
    assert problem() == run_dir
    assert problem(8080) == run_dir


def test_several_cameras_need_a_choice(start):
    second = start(9001)
    first = start(8080, "zvControlD.admin")
    assert problem() == "more than one camera is running, choose with --port: 8080, 9001"
    assert problem(9001) == second
    assert problem(8080) == first
    assert problem(80) == "no camera runs on port 80; running: 8080, 9001"


def test_no_camera_is_said():
    assert problem() == f"no camera is running (looked in {find.base()})"
    assert problem(8080) == "no camera runs on port 8080"


def test_what_is_left_of_a_camera_is_none(start):
    left = start(8080)
    find.leave_record(8080, left)
    start.end()
    assert os.path.exists(os.path.join(left, "supervisor.admin"))
    run_dir = start(8081)
    for name in ("notaport", "70000", "-1", "080800"):
        os.makedirs(os.path.join(find.base(), name, "run"))
    assert problem() == run_dir


def test_a_folder_too_long_for_a_socket_is_reached_all_the_same(start, short_path):
    deep = os.path.join(short_path, "d" * 150)
    run_dir = os.path.join(deep, "run")
    os.makedirs(run_dir)
    assert not find.is_running(run_dir)
    short = os.path.join(short_path, "s")
    os.symlink(deep, short)
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(os.path.join(short, "run", "zvNetD.admin"))
        listener.listen()
        assert find.is_running(run_dir)


def test_a_busy_program_runs(start):
    run_dir = start(8080)
    with contextlib.ExitStack() as clients:
        for _ in range(300):  # more than wait at a socket
            client = clients.enter_context(socket.socket(socket.AF_UNIX))
            client.setblocking(False)
            with contextlib.suppress(BlockingIOError):
                client.connect(os.path.join(run_dir, "supervisor.admin"))
        assert find.is_running(run_dir)


@pytest.mark.parametrize("text, port", [("0", 0), ("65535", 65535), ("65536", None), ("", None), ("-1", None),
                                        ("8080x", None), ("٣", None), ("1" * 5000, None)])
def test_a_port_is_a_whole_number(text, port):
    assert find.port_of(text) == port


def test_a_camera_of_another_folder_is_found_by_its_record(start, short_path):
    elsewhere = os.path.join(short_path, "other")
    run_dir = start(8082, folder=elsewhere)
    assert problem() == f"no camera is running (looked in {find.base()})"
    path = find.leave_record(8082, run_dir)
    assert problem() == run_dir
    found = find.running()[8082]
    assert (found.pid, found.address) == (os.getpid(), "http://127.0.0.1:8082/control")
    assert found.since == pytest.approx(os.stat(path).st_mtime)
    own = start(8083)
    assert problem() == own  # of several, the one of this folder is meant
    assert problem(8082) == run_dir
    assert problem(80) == "no camera runs on port 80; running: 8082, 8083"


def test_no_two_records_have_the_same_name(short_path):
    assert find.leave_record(8080, short_path) != find.leave_record(8080, short_path)
    assert os.stat(records()).st_mode & 0o777 == 0o700


def test_what_others_can_write_is_not_believed(start, short_path):
    run_dir = start(8082, folder=os.path.join(short_path, "other"))
    find.leave_record(8082, run_dir)
    os.chmod(records(), 0o777)
    assert find.running() == {}
    path = find.leave_record(8082, run_dir)
    assert os.path.dirname(path) == find._record_folders()[1]  # beside the one that cannot be trusted
    assert list(find.running()) == [8082]
    os.remove(path)
    os.chmod(records(), 0o700)
    assert list(find.running()) == [8082]
    start(8080)
    assert list(find.running()) == [8080, 8082]
    os.chmod(find.base(), 0o777)
    assert list(find.running()) == [8082]


def test_a_link_in_place_of_the_folder_is_not_followed(short_path):
    os.mkdir(os.path.join(short_path, "theirs"))
    os.symlink(os.path.join(short_path, "theirs"), records())
    assert os.path.dirname(find.leave_record(8080, short_path)) == find._record_folders()[1]
    assert os.listdir(os.path.join(short_path, "theirs")) == []


@pytest.mark.parametrize("text", ["", "[", "null", "[]", "{}", '{"port": "8080", "run_dir": "/", "pid": 1}',
                                  '{"port": 8080, "run_dir": 5, "pid": 1}', "[" * 4000, "\udc80"])
def test_a_record_that_nobody_writes_is_passed_over(text):
    os.mkdir(records(), 0o700)
    with open(os.path.join(records(), "1"), "w", encoding="utf-8", errors="surrogateescape") as file:
        file.write(text)
    os.mkfifo(os.path.join(records(), "2"))
    assert find.running() == {}


def test_a_record_tells_an_absolute_path(short_path, monkeypatch):
    monkeypatch.chdir(short_path)
    with open(find.leave_record(8080, "run"), encoding="utf-8") as file:
        assert json.load(file) == {"port": 8080, "run_dir": os.path.join(short_path, "run"), "pid": os.getpid()}
