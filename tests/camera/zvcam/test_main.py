"""The command line against fake programs: words, lines, statuses."""

import json
import os

import pytest
from zvcamera import find
from zvcamera.zvcam import main

STATE = {"identity": {"ap_ssid": "a b", "model_number": 34}, "failures": {}}


@pytest.fixture
def zvcam(programs, capsys):
    """zvcam(words...): carries out a command line for the fake camera; returns status, output and errors."""
    def run(*words):
        status = main.run(["--run-dir", programs.run_dir, *words])
        out, err = capsys.readouterr()
        return status, out, err
    return run


@pytest.fixture
def bare(capsys):
    """The same without a camera."""
    def run(*words):
        status = main.run(list(words))
        out, err = capsys.readouterr()
        return status, out, err
    return run


@pytest.fixture
def control(programs):
    """A zvControlD; returns what it was asked."""
    def show(item=None):
        return 34 if item else STATE

    def change(item, value):
        if item == "model_number":
            raise programs.Refusal("model_number: must be a whole number from 0 to 255", "invalid")
        return int(value) if value.lstrip("-").isdigit() else value
    programs.serve("zvControlD", show=show, set=change, fail=lambda item, code: {item: code},
                   unfail=lambda item: {}, analytics=lambda **_: {"path": "/own", "collect": True})
    return programs.asked["zvControlD"]


def test_shows_the_state_for_people(zvcam, control):
    status, out, err = zvcam("show")
    assert (status, err) == (0, "")
    assert out == "failures  none\nidentity\n  ap_ssid       a b\n  model_number  34\n"
    assert zvcam("show", "model_number") == (0, "34\n", "")


@pytest.mark.parametrize("words", [("--json", "show"), ("show", "--json")])
def test_shows_the_state_for_machines(zvcam, control, words):
    status, out, err = zvcam(*words)
    assert (status, err, out.count("\n")) == (0, "", 1)
    assert json.loads(out) == STATE


def test_sets_items(zvcam, control):
    assert zvcam("set", "recording", "-1") == (0, "recording  -1\n", "")
    assert zvcam("--json", "set", "model_name", 'A "B"') == (0, '{"model_name":"A \\"B\\""}\n', "")
    assert zvcam("set", "model_name", "--", "-x") == (0, "model_name  -x\n", "")
    assert zvcam("set", "model_name", "") == (0, "model_name  \n", "")
    assert zvcam("set", "model_number", "256") == (2, "", "zvcam: model_number: must be a whole number from 0 to 255\n")
    assert zvcam("set", "colour", "red") == (
        2, "", "zvcam: unknown item colour: must be one of recording, ap_pairing_state, model_number, model_name, "
        "firmware_version, serial_number, board_type, ap_mac, ap_ssid, ap_has_default_credentials\n")


def test_makes_items_fail(zvcam, control):
    assert zvcam("fail", "ap_mac", "-7") == (0, "failures\n  ap_mac  -7\n", "")
    assert zvcam("--json", "fail", "ap_mac", "ZV_ERR_NAK") == (0, '{"failures":{"ap_mac":-17}}\n', "")
    assert zvcam("unfail", "all") == (0, "failures  none\n", "")
    status, out, err = zvcam("fail", "ap_mac", "-1x")
    assert (status, out) == (2, "")
    assert err == "zvcam: code: must be a negative number or the name of a result code, not -1x\n"


def test_a_group_alone_shows_its_state(zvcam, control, programs):
    programs.serve("supervisor", status={"zvNetD": {"state": "running"}}, fault_list=[],
                   stream={"running": False, "processes": [], "log": []})
    for name in ("zvNetD", "zvBleD"):
        programs.serve(name, fault_list=[])
    assert zvcam("analytics") == zvcam("analytics", "status") == (0, "collect  true\npath     /own\n", "")
    assert zvcam("daemon") == zvcam("daemon", "status") == (0, "zvNetD\n  state  running\n", "")
    assert zvcam("fault") == zvcam("fault", "list") == (0, "", "")
    assert zvcam("fault", "--json") == zvcam("--json", "fault", "list") == (0, "[]\n", "")
    assert zvcam("stream") == (0, "zvStream does not run\nlog: nothing\n", "")
    assert zvcam("daemon", "--json") == (0, '{"zvNetD":{"state":"running"}}\n', "")


def test_drives_the_programs(zvcam, programs):
    acts = ("stop", "cont", "kill", "term", "start")
    programs.serve("supervisor", status={"zvNetD": {}}, **{op: lambda daemon: "running" for op in acts})
    for op in acts:
        assert zvcam("--json", "daemon", op, "zvNetD") == (0, '{"zvNetD":"running"}\n', "")
    assert zvcam("daemon", "stop") == (2, "", "zvcam: name: missing\n")
    assert zvcam("daemon", "burn", "zvNetD") == (
        2, "", "zvcam: unknown command daemon burn: must be one of status, stop, cont, kill, term, start\n")


def test_what_does_nothing_to_tell_says_nothing(zvcam, programs):
    programs.serve("zvBleD", scan=lambda mode: None)
    assert zvcam("ble", "scan", "stop") == (0, "", "")
    assert zvcam("ble", "scan", "stop", "--json") == (0, "{}\n", "")


RECORDS = [{"source": "zvNetD", "text": "one\n", "pid": None, "time": 1795230000.0625},
           {"source": "zvBleD", "text": "\x1b[mtwo", "pid": 3, "time": 1795230001.0}]


def test_prints_the_log(zvcam, programs):
    programs.serve("supervisor", log=lambda since: {"records": RECORDS[since:], "next": 2})
    first, second = "2026-11-21T03:00:00.062Z  zvNetD: one\n", "2026-11-21T03:00:01.000Z  zvBleD: \\x1b[mtwo\n"
    assert zvcam("log") == (0, first + second, "")
    assert zvcam("log", "--since", "1") == (0, second, "")
    assert zvcam("log", "-n", "1") == (0, second, "")
    assert zvcam("log", "--program", "zvNetD") == (0, first, "")
    assert json.loads(zvcam("--json", "log", "--since", "1")[1]) == RECORDS[1]
    assert len(zvcam("log", "--json")[1].splitlines()) == 2


def trace_record(**more):
    return {"number": 1, "micros": 1795230000000001, "time": "", "daemon": "zvBleD", "direction": "out",
            "queue": "/to_ZVCC7", "command": "pair_status", "note": "sent", "hex": "000e0003000002450001000000ee",
            **more}


def test_traces_filter_and_file(zvcam, programs, tmp_path):
    programs.serve("zvBleD", trace=[trace_record()])
    programs.serve("zvNetD", trace=[trace_record(command="scan", daemon="zvNetD", micros=1)])
    status, out, _ = zvcam("trace", "-b")
    assert (status, out.count("\n")) == (0, 2)
    assert zvcam("trace", "--brief", "--command", "9")[1].split("  ")[1:3] == ["zvBleD -> /to_ZVCC7", "14 bytes"]
    assert zvcam("trace", "-b", "--daemon", "zvNetD")[1].startswith("1970-01-01T00:00:00.000001Z")
    shown = zvcam("trace")[1]
    assert "    0009    pairing status: 1 (pairing)\n" in shown
    path = str(tmp_path / "trace.jsonl")
    assert zvcam("trace", "--file", path) == (0, "", "")
    assert zvcam("decode", path) == (0, shown, "")
    assert zvcam("decode", "-b", path) == (0, out, "")
    assert json.loads(zvcam("decode", "--json", path)[1].splitlines()[1]) == trace_record()
    for words in (("--clear", "-f"), ("--clear", "--file", path), ("--request", "1", "-f")):
        status, out, err = zvcam("trace", *words)
        assert (status, out) == (2, "")
        assert " exclude each other" in err


def test_a_file_that_is_no_trace_is_named(zvcam, tmp_path):
    path = tmp_path / "wrong.jsonl"
    path.write_text('{"hex":"0"}\n')
    assert zvcam("decode", str(path)) == (2, "", f'zvcam: {path}, line 1: direction: must be "in" or "out"\n')
    assert zvcam("decode", "/none") == (2, "", "zvcam: /none: cannot be opened\n")


def test_a_follower_writes_a_line_an_event(zvcam, programs, monkeypatch):
    from zvcamera.zvcam import output
    lines = []

    def write(text):
        lines.append(text)
        if len(lines) == 2:
            raise KeyboardInterrupt
    monkeypatch.setattr(output, "write", write)
    programs.serve("zvBleD", trace_follow=[trace_record()], events=[trace_record(command="scan")])
    assert zvcam("trace", "-f", "--json") == (130, "", "")
    assert [json.loads(line)["command"] for line in lines] == ["pair_status", "scan"]


def test_who_is_missing_is_named_beside_the_result(zvcam, programs):
    programs.serve("zvNetD", queue={"answered": 1}, backlog=0)
    status, out, err = zvcam("queue")
    assert (status, out) == (0, "zvNetD\n  answered  1\n  backlog   0\n")
    assert err == f"zvcam: zvBleD does not run in {programs.run_dir}: No such file or directory\n"


def test_says_that_nobody_is_there(bare, zvcam, programs):
    assert bare("show") == (3, "", f"zvcam: no camera is running (looked in {find.base()})\n")
    assert bare("--port", "8080", "show") == (3, "", "zvcam: no camera runs on port 8080\n")
    missing = f"zvcam: zvControlD does not run in {programs.run_dir}: No such file or directory\n"
    assert zvcam("show") == (3, "", missing)
    assert zvcam("queue")[0] == zvcam("trace")[0] == zvcam("fault")[0] == zvcam("fault", "clear")[0] == 3


def test_the_camera_is_chosen_by_its_port(bare, control, programs, monkeypatch):
    folder = os.path.join(find.base(), "8080")
    os.makedirs(folder)
    os.symlink(programs.run_dir, os.path.join(folder, "run"))
    for words in (("show", "recording"), ("--port", "8080", "show", "recording"), ("show", "recording", "--port=8080")):
        assert bare(*words) == (0, "34\n", "")
    assert bare("--port", "8081", "show") == (3, "", "zvcam: no camera runs on port 8081; running: 8080\n")
    both = ("--port", "8080", "--run-dir", "/x")
    assert bare(*both, "show") == (2, "", "zvcam: --port and --run-dir exclude each other\n")
    monkeypatch.setenv("ZVCAM_PORT", "8081")
    assert bare("show") == (3, "", "zvcam: no camera runs on port 8081; running: 8080\n")
    assert bare("--port", "8080", "show", "recording")[0] == 0
    monkeypatch.setenv("ZVCAM_PORT", "x")
    assert bare("show") == (2, "", "zvcam: $ZVCAM_PORT: must be a whole number from 0 to 65535, not x\n")
    monkeypatch.setenv("ZVCAM_PORT", "")
    assert bare("show", "recording")[0] == 0


@pytest.mark.parametrize("words", [
    (), ("paint",), ("set",), ("set", "recording"), ("set", "recording", "1", "2"), ("fail", "recording"), ("unfail",),
    ("--port", "x", "show"), ("--nothing",), ("analytics", "size"), ("analytics", "size", "x"), ("analytics", "limit"),
    ("analytics", "size", "-1"), ("analytics", "limit", "-1"), ("analytics", "on-clear", "burn"),
    ("analytics", "append", "2", "--hex", "00"), ("analytics", "append", "--hex", "0"), ("ble", "rebuild", "other"),
    ("ble", "pairing", "status"), ("ble", "pairing", "status", "256"), ("ble", "pairing", "status", "7", "--own"),
    ("ble", "set"), ("ble", "set", "foo"), ("fault", "remove", "9"), ("fault", "add"), ("trace", "--request", "x"),
    ("log", "-n"), ("completion", "tcsh")])
@pytest.mark.parametrize("as_json", [False, True])
def test_wrong_command_lines_are_said(bare, words, as_json):
    status, out, err = bare(*words, *(("--json",) if as_json else ()))
    assert status == 2
    if as_json:
        assert err == ""
        assert json.loads(out)["status"] == 2 and json.loads(out)["error"] and out.count("\n") == 1
    else:
        assert out == ""
        assert err.startswith("zvcam: ") and err.count("\n") == 1


@pytest.mark.parametrize("words, near", [
    (("shwo",), "show"), (("ble", "pair"), "did you mean pairing?"), (("trace", "--folow"), "--follow"),
    (("set", "recrding", "1"), "recording"), (("fault", "add", "scan", "lat"), "late"),
    (("fault", "add", "pair_stat", "late"), "pair_start"), (("ble", "set", "scan_pag=1"), "scan_page"),
    (("trace", "--daemon", "zvNet"), "zvNetD"), (("ble", "device", "set", "112233445566", "rsi=1"), "rssi"),
    (("completion", "bsh"), "bash")])
def test_the_nearest_word_is_named(bare, words, near):
    status, _, err = bare(*words)
    assert status == 2
    assert near in err


@pytest.mark.parametrize("words", [(), ("set",), ("analytics",), ("analytics", "size"), ("stream", "start"), ("trace",),
                                   ("ble", "device", "set"), ("fault", "add"), ("list",), ("check",)])
def test_help_is_no_failure(bare, words):
    status, out, err = bare(*words, "--help")
    assert (status, err) == (0, "")
    assert out.startswith(" ".join(["Usage: zvcam", *words]))


def test_help_lists_what_there_is(bare):
    assert "late MS or MS-MS" in bare("fault", "add", "--help")[1]
    assert "bytes_per_second" not in bare("fault", "add", "--help")[1]
    assert "scan_page" in bare("ble", "set", "--help")[1]
    assert "found_after_ms" in bare("ble", "device", "set", "--help")[1]
    assert "ap_has_default_credentials" in bare("set", "--help")[1]
    assert "Exit status: 0 done" in bare("--help")[1]


def test_the_version_is_that_of_the_sources(bare):
    with open(os.path.join(os.path.dirname(__file__), "..", "..", "..", "CMakeLists.txt"), encoding="utf-8") as file:
        version = file.read().split("VERSION ")[2].split()[0]
    assert bare("--version") == (0, f"zvcam {version}\n", "")


def test_words_behind_stream_start_are_its_arguments(zvcam, programs):
    status = {"running": True, "processes": [{"pid": 3, "arguments": ["-y", "$HOME 1", "", "--json"]}], "log": []}
    programs.serve("supervisor", stream_start=lambda arguments: status)
    words = ["-y", "$HOME 1", "", "--json", "-3", "--port", "1"]
    assert zvcam("stream", "start", *words) == (
        0, 'zvStream runs\n  3  -y "$HOME 1" "" --json\nlog: nothing\n', "")
    assert programs.asked["supervisor"] == [{"op": "stream_start", "arguments": words}]
    assert json.loads(zvcam("--json", "stream", "start")[1]) == status
    assert programs.asked["supervisor"][1]["arguments"] == []


def test_no_python_reaches_a_user(zvcam, programs, monkeypatch):
    programs.serve("zvBleD", ble={})  # a radio that tells nothing
    status, out, err = zvcam("ble")
    assert (status, out) == (1, "")
    assert err == "zvcam: something is wrong in zvcam itself: 'settings'\n"
    status, out, err = zvcam("ble", "--json")
    assert json.loads(out) == {} and err == ""
