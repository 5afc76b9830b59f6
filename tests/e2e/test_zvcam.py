"""zvcam, the camera's tool, against a camera that runs: what it changes, and what it shows."""

import contextlib
import json
import os
import re
import signal
import subprocess
import time

import house
import pytest

SEND = """
import ctypes, os, sys
libc = ctypes.CDLL(None)
data = bytes.fromhex(sys.argv[2])
sys.exit(libc.mq_send(libc.mq_open(sys.argv[1].encode(), os.O_WRONLY), data, len(data), 0) != 0)
"""
ANALYTICS = "/tmp/fuse_d/analytics/analytics.bin"


def ask(camera, *words, **options):
    """Runs the tool; returns its status, output and errors."""
    done = subprocess.run([os.path.join(camera.build_dir, "zvcam"), "--run-dir", camera.run_dir, *words],
                          capture_output=True, text=True, check=False, timeout=60, **options)
    return done.returncode, done.stdout, done.stderr


def done(camera, *words):
    """The same for what has to succeed, and say nothing of errors; returns its output."""
    status, out, err = ask(camera, *words)
    assert (status, err) == (0, "")
    return out


@contextlib.contextmanager
def following(camera, *words):
    """Starts the tool with words that follow something.

    A shell in the background starts its programs with SIGINT ignored; "env" undoes that.
    """
    command = ["/usr/bin/env", "--default-signal=INT", os.path.join(camera.build_dir, "zvcam"), "--run-dir",
               camera.run_dir, *words]
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as process:
        try:
            yield process
        finally:
            process.kill()


def radio(camera, part):
    return camera.admin("zvBleD", "ble")[part]


def send_nonsense(camera, daemon, queue):
    """Sends a message that the daemon skips, and waits until it has."""
    before = camera.admin(daemon, "queue")["skipped"]
    assert camera.run(["/usr/bin/python3", "-c", SEND, queue, "01"]).status == 0
    camera.wait_for(lambda: camera.admin(daemon, "queue")["skipped"] == before + 1)


@pytest.mark.quick
def test_shows_and_sets_the_state(camera):
    assert re.search(r"^  ap_ssid                     SC00000001$", done(camera, "show"), re.MULTILINE)
    assert "failures  none\n" in done(camera, "show")
    assert done(camera, "show", "model_number") == "13\n"
    assert json.loads(done(camera, "show", "--json"))["identity"]["model_number"] == 13
    assert done(camera, "set", "recording", "1") == "recording  1\n"
    assert done(camera, "set", "recording", "-1") == "recording  -1\n"
    assert done(camera, "set", "ap_pairing_state", "2") == "ap_pairing_state  2\n"
    assert done(camera, "set", "ap_has_default_credentials", "false") == "ap_has_default_credentials  false\n"
    assert done(camera, "--json", "set", "model_name", 'A "B"') == '{"model_name":"A \\"B\\""}\n'
    assert done(camera, "set", "model_name", "--", "-x") == "model_name  -x\n"
    done(camera, "set", "model_name", "")
    assert done(camera, "show", "model_name") == "\n"
    status, out, err = ask(camera, "set", "model_number", "256")
    assert (status != 0, out, err) == (True, "", "zvcam: model_number: must be a whole number from 0 to 255\n")
    assert done(camera, "fail", "ap_mac", "-7") == "failures\n  ap_mac  -7\n"
    assert done(camera, "--json", "fail", "ap_mac", "ZV_ERR_NAK") == '{"failures":{"ap_mac":-17}}\n'
    assert done(camera, "unfail", "ap_mac") == "failures  none\n"
    done(camera, "fail", "ap_mac", "-1")
    done(camera, "fail", "recording", "-1")
    assert done(camera, "unfail", "all") == "failures  none\n"


def test_drives_the_analytics_file(camera):
    path = os.path.join(camera.storage, "analytics", "analytics.bin")
    done(camera, "analytics", "size", "2500")
    assert os.path.getsize(path) == 2500
    done(camera, "analytics", "clear")
    assert os.path.getsize(path) == 0
    done(camera, "analytics", "append", "--hex", "00ff")
    with open(path, "rb") as file:
        assert file.read() == b"\0\xff"
    done(camera, "analytics", "append")
    assert os.path.getsize(path) == 22
    done(camera, "analytics", "append", "2")
    assert os.path.getsize(path) == 22 + 24 + 20
    assert "collect      true\n" in done(camera, "analytics", "on", "--interval-ms", "3600000")
    assert "collect      false\n" in done(camera, "analytics", "off")
    assert "limit        5000\n" in done(camera, "analytics", "limit", "5000")
    assert done(camera, "analytics", "path") == f"{ANALYTICS}\n"
    assert done(camera, "analytics", "path", "/else where") == "/else where\n"
    assert done(camera, "analytics", "path") == "/else where\n"
    assert done(camera, "analytics", "path", "--own") == f"{ANALYTICS}\n"
    done(camera, "analytics", "on-clear", "remove")
    done(camera, "analytics", "clear")
    assert not os.path.exists(path)
    assert json.loads(done(camera, "--json", "analytics"))["size"] is None


def test_sets_and_shows_the_radio(camera):
    done(camera, "ble", "set", "auto_connect=0", "whitelist_page=30")
    assert (radio(camera, "auto_connect"), radio(camera, "settings")["whitelist_page"]) == (0, 30)
    done(camera, "ble", "device", "set", "112233445566", "name=12", "rssi=-40", "rssi_variation=0", "uuid16=180d,180f",
         "presence=present", "mitm=true", "found_after_ms=0")
    assert done(camera, "ble", "device") == (
        'devices: 1\n  112233445566  type 0   -40 dBm  "12" 180d 180f, in range, present, pairing success, mitm\n'
        "                rssi=-40 rssi_variation=0 from_ms=0 to_ms=0 period_ms=0 found_after_ms=0 pairing_ms=-1\n")
    done(camera, "ble", "scan", "start")
    assert re.fullmatch('scan: running, mode 1, list id 1, 1 found\n  112233445566  type 0   -40 dBm  "12" 180d 180f, '
                        r"heard at \d+ ms\n", done(camera, "ble", "scan"))
    done(camera, "ble", "scan", "stop")
    assert radio(camera, "scan")["running"] is False
    assert re.match(r"time: \d+ ms since the start\nsettings: auto_connect=0 connect_ms=1000 .*\ndevices: 1\n",
                    done(camera, "ble"))
    done(camera, "ble", "device", "remove", "112233445566")
    assert radio(camera, "devices") == []


def test_sets_and_shows_the_whitelist(camera):
    done(camera, "ble", "whitelist", "set", "a1b2c3d4e5f6", "name=One", "auto_connect=true", "address_type=1")
    done(camera, "ble", "whitelist", "set", "000000000001", "name=Two")
    done(camera, "ble", "connect", "a1b2c3d4e5f6")
    done(camera, "ble", "whitelist", "remove", "000000000001")
    done(camera, "ble", "rebuild", "whitelist", "9")
    assert done(camera, "ble", "whitelist") == (
        'whitelist: list id 9, 2 slots\n    0  a1b2c3d4e5f6  type 1  "One" auto_connect connected\n'
        '    1  free: 000000000001  type 0  "Two"\n')
    done(camera, "ble", "disconnect", "a1b2c3d4e5f6")
    assert radio(camera, "whitelist")["slots"][0]["connected"] is False
    done(camera, "ble", "whitelist", "clear")
    assert radio(camera, "whitelist")["slots"] == []


def test_a_connection_to_a_device_out_of_range_is_undone_at_once(camera):
    done(camera, "ble", "device", "set", "112233445566", "presence=away")
    done(camera, "ble", "whitelist", "set", "112233445566")
    done(camera, "ble", "whitelist", "set", "000000000001")  # not among the devices
    done(camera, "ble", "connect", "112233445566")
    done(camera, "ble", "connect", "000000000001")
    assert [slot["connected"] for slot in radio(camera, "whitelist")["slots"]] == [False, True]
    done(camera, "ble", "device", "set", "112233445566", "presence=present")
    done(camera, "ble", "connect", "112233445566")
    assert radio(camera, "whitelist")["slots"][0]["connected"] is True


def test_drives_a_pairing(camera):
    done(camera, "ble", "device", "set", "112233445566", "presence=present")
    done(camera, "ble", "pairing", "start", "112233445566")
    done(camera, "ble", "pairing", "end", "timeout")
    own = "pairing: 5 (timed out), device 112233445566 type 0\n"
    assert done(camera, "ble", "pairing") == own
    done(camera, "ble", "pairing", "status", "200")
    assert radio(camera, "pairing")["status"] == 200
    assert done(camera, "ble", "pairing") == (
        "pairing: 200 (unknown status) by hand, its own 5 (timed out), device 112233445566 type 0\n")
    assert json.loads(done(camera, "--json", "ble", "pairing")) == radio(camera, "pairing")
    done(camera, "ble", "pairing", "status", "--own")
    assert done(camera, "ble", "pairing") == own


def test_what_is_refused_is_said(camera):
    assert ask(camera, "ble", "device", "remove", "112233445566") == (1, "", "zvcam: no such device\n")
    assert ask(camera, "ble", "set", "foo") == (2, "", "zvcam: must be key=value: foo\n")
    assert ask(camera, "fault", "add", "scan", "index")[2] == (
        "zvcam: command: scan does not answer pages, which index spoils\n")
    assert ask(camera, "fault", "remove", "ble:9") == (1, "", "zvcam: no fault rule with this id\n")
    status, out, err = ask(camera, "--json", "fault", "remove", "ble:9")
    assert (status, json.loads(out), err) == (1, {"error": "no fault rule with this id", "status": 1}, "")


def test_shows_the_queues_counts_and_the_backlog(camera):
    send_nonsense(camera, "zvNetD", "/to_zvnet")
    counts = json.loads(done(camera, "--json", "queue"))
    assert counts == {"zvBleD": camera.admin("zvBleD", "queue"),
                      "zvNetD": {**camera.admin("zvNetD", "queue"), "backlog": 0}}
    assert counts["zvNetD"]["skipped"] == 1
    assert "zvNetD\n  answered    0\n  backlog     0\n" in done(camera, "queue")


def test_adds_lists_and_removes_faults_of_both_daemons(camera):
    assert done(camera, "fault", "add", "scan_list", "late", "300", "--count", "2", "--skip", "1") == "added\n  ble:1\n"
    done(camera, "fault", "add", "PD", "missing")
    assert done(camera, "fault", "add", "*", "refused", "9") == "added\n  ble:2\n  net:2\n"
    assert done(camera, "fault", "list") == done(camera, "fault") == (
        "ble:1  scan_list  late  ms=300  skip 1, left 2, hits 0\n"
        "ble:2  *  refused  status=9  skip 0, left all, hits 0\n"
        "net:1  PD  missing  skip 0, left all, hits 0\n"
        "net:2  *  refused  status=9  skip 0, left all, hits 0\n")
    done(camera, "fault", "remove", "ble:2")
    assert len(camera.admin("zvBleD", "fault_list")) == 1
    assert len(json.loads(done(camera, "--json", "fault", "list"))) == 3
    done(camera, "fault", "clear")
    assert camera.admin("zvBleD", "fault_list") == camera.admin("zvNetD", "fault_list") == []


def test_a_trace_file_is_decoded_to_what_the_trace_shows(camera, tmp_path):
    house.assert_empty(camera.get("/command/ble/pairing_phase?p=1"))
    camera.get("/command/ble/scan/list")
    send_nonsense(camera, "zvNetD", "/to_zvnet")
    path = str(tmp_path / "trace.jsonl")
    done(camera, "trace", "--file", path)
    shown = done(camera, "trace")
    assert done(camera, "decode", path) == shown
    assert "    0014    command: 4 (scan_list)\n    0015    start index: 0\n" in shown
    assert re.search(r"zvBleD -> /to_ZVCC\d+  \d+ bytes  reply to scan_list, status 0 \(ok\)  \[sent\]", shown)
    assert "1 bytes  malformed: shorter than a message header" in shown
    brief = done(camera, "trace", "-b")
    assert brief == "".join(f"{line}\n" for line in shown.splitlines() if not line.startswith("    "))
    assert done(camera, "trace", "-b", "--command", "scan_list").count("\n") == 4
    assert {line.split()[1] for line in done(camera, "trace", "-b", "--daemon", "zvNetD").splitlines()} == {"zvNetD"}
    lines = done(camera, "trace", "--json", "--command", "scan_list").splitlines()
    assert [json.loads(line)["daemon"] for line in lines] == ["zvNetD", "zvNetD", "zvBleD", "zvBleD"]
    done(camera, "trace", "--clear")
    assert done(camera, "trace") == ""


def test_a_trace_is_followed_until_it_is_interrupted(camera):
    with following(camera, "trace", "-f", "-b") as process:
        camera.get("/command/ble/configure")
        lines = [process.stdout.readline() for _ in range(4)]
        process.send_signal(signal.SIGINT)
        out, err = process.communicate(timeout=20)
    assert all("config_get" in line for line in lines)
    assert (process.returncode, out, err) == (130, "", "")


def test_one_daemon_is_enough(camera):
    def without_network(*words):
        status, out, err = ask(camera, *words)
        assert status == 0
        assert err == f"zvcam: zvNetD does not run in {camera.run_dir}: No such file or directory\n"
        return out

    done(camera, "fault", "add", "scan", "missing")
    send_nonsense(camera, "zvBleD", "/to_ble")
    with camera.without("zvNetD"):
        assert without_network("fault", "list") == "ble:1  scan  missing  skip 0, left all, hits 0\n"
        assert without_network("fault", "add", "*", "late") == "added\n  ble:2\n"
        assert "zvBleD\n  answered    0\n" in without_network("queue")
        assert "zvBleD <- /to_ble" in without_network("trace", "-b")
        assert without_network("fault", "clear") == ""
        assert camera.admin("zvBleD", "fault_list") == []
        assert without_network("trace", "--clear") == ""
        assert camera.admin("zvBleD", "trace") == []
        assert ask(camera, "fault", "add", "PD", "late")[0] == 3  # its only daemon
        with camera.without("zvBleD"):
            for words in (("fault", "add", "*", "late"), ("trace",), ("trace", "--clear"), ("trace", "-f"), ("queue",)):
                status, out, err = ask(camera, *words)
                assert (status, out) == (3, "")
                assert "-f" in words or "zvNetD does not run" in err and "zvBleD does not run" in err


def test_says_that_a_stopped_daemon_does_not_answer(camera):
    with camera.stopped("zvControlD"):
        assert ask(camera, "show") == (3, "", "zvcam: zvControlD does not answer\n")


def test_stopping_a_program_tells_the_truth(camera):
    for _ in range(20):
        assert done(camera, "daemon", "stop", "zvBleD") == "zvBleD  stopped\n"
        assert done(camera, "daemon", "cont", "zvBleD") == "zvBleD  running\n"
    assert done(camera, "daemon", "kill", "zvBleD") == "zvBleD  ended\n"
    assert done(camera, "daemon", "start", "zvBleD") == "zvBleD  running\n"
    assert ask(camera, "daemon", "start", "zvBleD") == (1, "", "zvcam: zvBleD is running already\n")
    assert ask(camera, "daemon", "stop", "zvBle") == (2, "", "zvcam: unknown daemon zvBle: did you mean zvBleD?\n")


def test_prints_and_follows_the_log(camera):
    camera.get("/nothing_here")
    lines = done(camera, "log").splitlines()
    assert all(re.match(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z  \S+: ", line) for line in lines)
    assert done(camera, "log", "-n", "1").splitlines() == lines[-1:]
    own = done(camera, "log", "--program", "zvControl-cgi-bin").splitlines()
    assert own == [line for line in lines if line.split()[1] == "zvControl-cgi-bin:"] != []
    with following(camera, "log", "-f", "-n", "1", "--program", "zvControl-cgi-bin") as process:
        assert process.stdout.readline() == f"{own[-1]}\n"  # so the tool has connected
        camera.get("/nothing_else")
        assert "nothing_else" in process.stdout.readline()
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=20)
    assert process.returncode == 130


def test_goes_on_to_another_scenario_and_back(camera, tmp_path):
    assert re.fullmatch(r"done in \d+ ms\n", done(camera, "load", "whitelist50"))
    assert len(radio(camera, "whitelist")["slots"]) == 50
    assert done(camera, "scenario").startswith("whitelist50\n{")
    wrong = tmp_path / "wrong.json"
    wrong.write_text('{"ble": {"devices": [{"address": "112233445566", "rssi": 500}]}}')
    problem = f"zvcam: {wrong}: ble.devices[0].rssi: must be a whole number from -127 to 20\n"
    for words in (("load",), ("check",)):
        assert ask(camera, *words, str(wrong)) == (2, "", problem)
        assert ask(camera, *words, "wrong.json", cwd=tmp_path) == (2, "", problem.replace(f"{tmp_path}/", ""))
    wrong.write_text('{"faults": [{"command": "/*", "fault": "late", "ms": -1}]}')
    assert ask(camera, "check", str(wrong))[::2] == (
        2, f"zvcam: {wrong}: faults[0].ms: must be a whole number from 0 to 600000\n")
    done(camera, "ble", "whitelist", "clear")
    done(camera, "fault", "add", "scan", "missing")
    done(camera, "reset")
    assert len(radio(camera, "whitelist")["slots"]) == 50
    assert done(camera, "fault") == ""
    assert done(camera, "check", "moving") == "moving: right\n"


def test_tells_the_requests_and_their_messages(camera):
    camera.get("/command/ble/configure")
    camera.get("/nothing_here?a=b")
    lines = done(camera, "requests").splitlines()
    assert [line.split(maxsplit=6)[6] for line in lines[1:]] == [
        "GET /control/command/ble/configure", "GET /control/nothing_here?a=b"]
    first, second = (json.loads(line) for line in done(camera, "requests", "--json").splitlines())
    assert (first["status"], second["status"], second["number"]) == (200, 400, first["number"] + 1)
    told = done(camera, "requests", "--messages").splitlines()
    assert [" config_get" in line for line in told] == [False, False, True, True, True, True, False]
    trace = done(camera, "trace", "-b", "--request", str(first["number"]))
    assert trace.count("\n") == 4 == trace.count(f"  request {first['number']}\n")
    assert done(camera, "trace", "-b", "--request", str(second["number"])) == ""
    assert done(camera, "requests", "-n", "1").splitlines()[1:] == lines[2:]
    assert done(camera, "requests", "--clear") == done(camera, "requests") == ""


@pytest.mark.off_contract("a rule answers whatever it is told to")
def test_http_goes_wrong_on_demand(camera):
    assert done(camera, "fault", "add", "/command/ble/configure", "status", "418", "--body", "x", "--count", "1"
                ) == "added\n  http:1\n"
    assert done(camera, "fault") == (
        "http:1  /command/ble/configure  status  status=418  body=x  type=text/plain  skip 0, left 1, hits 0\n")
    answer = camera.get("/command/ble/configure")
    assert (answer.status, answer.body) == (418, b"x")
    assert camera.get("/command/ble/configure").status == 200
    assert " 418 " in done(camera, "requests") and "[http:1]" in done(camera, "requests")


def test_bash_completes(build_dir):
    script = '''
cd /
eval "$(zvcam completion bash)"
compopt() { echo "$@"; }
complete() { COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMPREPLY=(); _zvcam_completion zvcam; echo "${COMPREPLY[@]}"; }
complete zvcam ble dev
complete zvcam fault add scan m
complete zvcam set re
complete zvcam ble set se
complete zvcam fault add /
complete zvcam fault add "*"
'''
    shown = subprocess.run(["bash", "-c", script], capture_output=True, text=True, check=False, timeout=60,
                           env={"PATH": f"{build_dir}:{os.environ['PATH']}"})
    assert (shown.stdout, shown.stderr) == ("device\nmissing\nrecording\n-o nospace\nseed=\n/\\*\n\\*\n", "")


def test_is_started_from_any_folder_and_by_a_link(camera, tmp_path):
    link = tmp_path / "zvcam"
    link.symlink_to(os.path.join(camera.build_dir, "zvcam"))
    shown = subprocess.run([link, "--port", str(camera.port), "show", "recording"], cwd="/", capture_output=True,
                           text=True, check=False, env={}, timeout=60)
    assert (shown.returncode, shown.stdout, shown.stderr) == (0, "0\n", "")


def test_a_camera_with_another_temporary_folder_is_found(camera, tmp_path):
    for environment in ({"TMPDIR": str(tmp_path)}, {}):
        listed = subprocess.run([os.path.join(camera.build_dir, "zvcam"), "--json", "list"], capture_output=True,
                                check=False, env=environment, timeout=60)
        found = next(each for each in json.loads(listed.stdout) if each["port"] == camera.port)
        assert (found["address"], found["run_dir"]) == (camera.url, camera.run_dir)
        assert abs(found["since"] - time.time()) < 300
        assert found["pid"] == os.getpid()


@pytest.mark.parametrize("words", [("show", "recording"), ("trace",), ("log",)])
def test_a_reader_that_goes_ends_the_tool_quietly(camera, words):
    with subprocess.Popen([os.path.join(camera.build_dir, "zvcam"), "--run-dir", camera.run_dir, *words],
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
        process.stdout.close()
        assert process.stderr.read() == b""
    assert process.returncode in (0, -signal.SIGPIPE)


def test_a_full_disk_is_told(camera):
    with open("/dev/full", "w", encoding="utf-8") as full:
        words = [os.path.join(camera.build_dir, "zvcam"), "--run-dir", camera.run_dir, "show"]
        shown = subprocess.run(words, stdout=full, stderr=subprocess.PIPE, text=True, check=False, timeout=60)
    assert (shown.returncode, shown.stderr) == (1, "zvcam: standard output: No space left on device\n")
