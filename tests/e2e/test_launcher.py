"""What the launcher keeps of a camera, even when things go wrong: its log, its folder, its reports."""

import json
import os
import signal
import subprocess
import sys
import time

import house
import pytest

LAUNCHER = os.path.join(house.ROOT, "camera")


def _python(program, *arguments, **options):
    """Starts a process that runs a program text with the launcher's modules."""
    environment = {"PATH": os.environ["PATH"], "PYTHONPATH": LAUNCHER, "PYTHONDONTWRITEBYTECODE": "1"}
    return subprocess.Popen([sys.executable, "-c", program, *map(str, arguments)],
                            env={**environment, **options.pop("environment", {})}, **options)


SENDER = """
import ast, socket, sys
log = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
log.connect("/dev/log")
for packet in ast.literal_eval(sys.argv[1]):
    log.send(packet)
"""
DIGITS = b"9" * 5000


def _send_to_log(camera, *packets):
    done = camera.run(["/usr/bin/python3", "-c", SENDER, repr(packets)])
    assert (done.status, done.stderr) == (0, b"")


@pytest.mark.parametrize("packet", [b"\0mark x", b"\0mark " + DIGITS, b"\0mark 99999999",
                                    b"<13>a[" + DIGITS + b"]: text", b"<" + DIGITS + b">text",
                                    b"", b"\0", b"\xff\xfe"],
                         ids=range(8))
def test_no_datagram_ends_the_log(shared_camera, packet):
    start = shared_camera.log()[1]
    _send_to_log(shared_camera, packet, b"<14>after: it[7]")
    for _ in range(30):  # more lines than the socket holds unread
        assert shared_camera.get("/nothing_here", timeout=10).status == 400
    records = shared_camera.log(start)[0]
    assert [record["text"] for record in records if record["source"] == "after"] == ["it[7]"]
    assert sum(record["source"] == "zvControl-cgi-bin" and "path[/nothing_here]" in record["text"]
               for record in records) >= 30


def test_numbers_of_a_record_have_bounds(shared_camera):
    start = shared_camera.log()[1]
    _send_to_log(shared_camera, b"<13>good[4711]: text", b"<13>bad[" + DIGITS + b"]: text", b"<" + DIGITS + b">text")
    records = [record for record in shared_camera.log(start)[0] if record["text"].endswith("text")]
    assert [(record["source"], record["pid"], record["priority"]) for record in records] == \
        [("good", 4711, 5), ("?", None, 5), ("?", None, None)]
    assert [record["text"] for record in records[1:]] == [f"bad[{DIGITS.decode()}]: text", f"<{DIGITS.decode()}>text"]


def test_a_record_that_cannot_be_passed_on_does_not_end_the_log(open_path):
    program = """
import socket, sys
from zvcamera.inside.collector import Collector
def sink(record):
    if record["text"] == "first":
        raise ValueError("no such thing")
log = Collector([sink], sys.argv[1])
out = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
for text in (b"first", b"second"):
    out.sendto(b"<13>x: " + text, sys.argv[1])
print([record["text"] for record in log.since(0)[0]])
"""
    with _python(program, open_path / "log", stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as process:
        out, errors = process.communicate(timeout=30)
    assert out == "['first', 'second']\n"
    assert errors.endswith("ValueError: no such thing\n")


CLAIM = """
import os, signal, sys
from zvcamera import folder
number, place = int(sys.argv[1]), sys.argv[2]
# A shell ignores SIGINT for what it starts in the background, and nohup ignores SIGHUP for what it starts.
signal.signal(signal.SIGINT, signal.default_int_handler)
signal.signal(signal.SIGHUP, signal.SIG_DFL)
real = os.mkdir
def mkdir(path, *mode):
    real(path, *mode)
    if os.path.basename(path) == place:
        os.kill(os.getpid(), number)
os.mkdir = mkdir
folder.CameraFolder(4711)
print("not reached")
"""


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
@pytest.mark.parametrize("place", [f"zvcam-{os.getuid()}", "4711", "run", "fuse_d"])
def test_signal_while_the_folder_is_made_leaves_none(open_path, number, place):
    with _python(CLAIM, number.value, place, environment={"TMPDIR": str(open_path)}, stdout=subprocess.PIPE,
                 stderr=subprocess.DEVNULL) as process:
        assert process.communicate(timeout=30)[0] == b""
        assert process.returncode == -number
    deadline = time.monotonic() + 10
    while os.listdir(open_path) and time.monotonic() < deadline:
        time.sleep(0.05)
    assert os.listdir(open_path) == []


def test_signals_work_again_once_the_folder_is_there(open_path):
    program = """
import signal
from zvcamera import folder
made = folder.CameraFolder(4711)
print(signal.pthread_sigmask(signal.SIG_BLOCK, ()), flush=True)
made.release()
"""
    with _python(program, environment={"TMPDIR": str(open_path)}, stdout=subprocess.PIPE) as process:
        assert process.communicate(timeout=30)[0] == b"set()\n"
    assert os.listdir(open_path) == []


ENDING = """
import signal, sys, types
from zvcamera.inside import children
log = types.SimpleNamespace(add_stream=lambda name, stream: None)
child = children.Child("the program", ["/bin/sleep", "60"], log, ready=lambda name: True, good_ends=(-15,))
child.start()
if sys.argv[1] == "stopped":
    child.send(signal.SIGSTOP)
send = child.send
def told(number):
    print(signal.Signals(number).name)
    send(number)
child.send = told
child.stop_and_wait()
print(child.misdeeds, child.state())
"""


@pytest.mark.parametrize("before", ["running", "stopped"])
def test_program_is_woken_before_it_is_ended(before):
    """SIGCONT comes before SIGTERM: after it, SIGCONT could disturb a sanitizer's leak check."""
    with _python(ENDING, before, stdout=subprocess.PIPE, text=True) as process:
        assert process.communicate(timeout=30)[0] == "SIGCONT\nSIGTERM\n[] ended\n"


REPORTS = """
import sys
from zvcamera.inside.supervisor import Reports
reports = Reports()
for number in range(110_000):
    reports.send(log={"text": f"record {number}"})
print("sent", file=sys.stderr, flush=True)
reports.finish(ended=["a misdeed"])
"""


def test_end_with_reports_that_nobody_reads():
    with _python(REPORTS, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
        try:
            assert process.stderr.readline() == b"sent\n"
            assert process.wait(30) == 0
        finally:
            process.kill()


def test_last_report_arrives_behind_more_records_than_there_is_room_for():
    with _python(REPORTS, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
        try:
            assert process.stderr.readline() == b"sent\n"
            time.sleep(0.5)  # meanwhile finish() has to make room
            lines = process.stdout.read().splitlines()
            assert process.wait(30) == 0
        finally:
            process.kill()
    assert json.loads(lines[0]) == {"log": {"text": "record 0"}}
    assert json.loads(lines[-1]) == {"ended": ["a misdeed"]}
    assert len(lines) > 90_000
