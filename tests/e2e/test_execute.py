"""The execute command, with the real shell and the real killall inside the camera."""

import json
import os
import time
import urllib.parse

import house
import pytest
from zvcamera.admin import AdminError

pytestmark = pytest.mark.gateway

SUCCESS = b'{"status":"0"}\n\n'
BIN = "/usr/local/zarvo/bin"


def _failure(message, function, line):
    return f'{{\n"status":"{message}",\n"zverr":-3,\n"_function":"{function}",\n"_line":{line}\n}}\n'.encode()


def _execute(camera, *commands, **raw):
    """Sends commands (program, action, arguments) in one request."""
    words = list(raw.items())
    for number, (program, action, arguments) in enumerate(commands, start=1):
        words += [(f"p{number}", program), (f"c{number}", action)]
        if arguments is not None:
            words.append((f"a{number}", arguments))
    query = "&".join(f"{key}={urllib.parse.quote(value)}" for key, value in words)
    return camera.get("/execute?" + query)


def _assert_refused(answer, message, function, line):
    assert (answer.status, answer.body) == (400, _failure(message, function, line))
    assert answer.headers["content-type"] == "application/json"


def _streams(camera):
    """Returns the process ids of the streaming program."""
    done = camera.run(["/bin/pidof", "zvStream"])
    return sorted(int(pid) for pid in done.stdout.split())


def _wait_for_streams(camera, count):
    return camera.wait_for(lambda: len(found := _streams(camera)) == count and (found or True))


def _history(camera):
    """Returns what the streaming program has logged: the arguments of a start, the reason of an end."""
    path = os.path.join(camera.storage, "zvStream.log")
    if not os.path.exists(path):
        return []
    with open(path, encoding="utf-8") as lines:
        events = [json.loads(line) for line in lines]
    return [event.get("arguments", event.get("reason")) for event in events]


def _wait_for_history(camera, expected):
    camera.wait_for(lambda: len(_history(camera)) >= len(expected))
    assert _history(camera) == expected


@pytest.fixture
def idle(shared_camera):
    """The file's camera, with no streaming program and no history of it."""
    shared_camera.run(["/usr/bin/killall", "-q", "-9", "zvStream"])
    _wait_for_streams(shared_camera, 0)
    path = os.path.join(shared_camera.storage, "zvStream.log")
    if os.path.exists(path):
        os.remove(path)
    return shared_camera


@pytest.mark.every_build
@pytest.mark.quick
def test_start_restart_stop(idle):
    start = time.monotonic()
    answer = _execute(idle, ("zvStream", "start", "-x"))
    assert time.monotonic() - start < 2  # the request does not wait for the program
    assert (answer.status, answer.headers["content-type"], answer.body) == (200, "application/json", SUCCESS)
    first = _wait_for_streams(idle, 1)
    _wait_for_history(idle, [["-x"]])
    assert _execute(idle, ("zvStream", "restart", "-y 2")).body == SUCCESS
    second = _wait_for_streams(idle, 1)
    assert first != second
    _wait_for_history(idle, [["-x"], "SIGINT", ["-y", "2"]])
    assert _execute(idle, ("zvStream", "stop", None)).body == SUCCESS
    _wait_for_streams(idle, 0)


@pytest.mark.every_build
def test_answer_in_one_piece(idle):
    done = idle.request("/execute", "p1=zvStream&c1=stop")
    assert done.stdout == b"Content-type: application/json\nStatus: 200\n\n" + SUCCESS
    assert done.status == 238
    done = idle.request("/execute")
    assert done.stdout == b"Content-type: application/json\nStatus: 400\n\n" + \
        _failure("fail, invalid program name", "handle_command_execute", 134)
    assert done.status == 238


def test_stop_and_restart_of_what_does_not_run(idle):
    assert _execute(idle, ("zvStream", "stop", None)).body == SUCCESS
    assert _execute(idle, ("zvStream", "restart", None)).body == SUCCESS
    _wait_for_streams(idle, 1)
    _wait_for_history(idle, [[]])


def test_stop_reaches_this_camera_only(idle, make_camera):
    other = make_camera()
    _execute(other, ("zvStream", "start", None))
    _wait_for_streams(other, 1)
    _execute(idle, ("zvStream", "stop", None))
    assert len(_streams(other)) == 1


def test_no_program(idle):
    for query in ("", "a1=-x", "p1=&c1=start", "p2=zvStream&c2=start"):
        _assert_refused(idle.get("/execute?" + query), "fail, invalid program name", "handle_command_execute", 134)


def test_no_action(idle):
    _assert_refused(idle.get("/execute?p1=zvStream"), "fail, invalid command", "handle_command_execute", 141)
    _assert_refused(idle.get("/execute?p1=zvStream&c1="), "fail, invalid command", "handle_command_execute", 141)


def test_later_command_without_action_shows_its_program(idle):
    answer = idle.get("/execute?p1=zvStream&c1=start&p2=zvStream")
    _assert_refused(answer, "invalid command zvStream", "handle_command_execute", 162)
    assert _streams(idle) == []  # no command is carried out before all are read


def test_unknown_action(idle):
    for action in ("Start", "starts", "0"):
        _assert_refused(_execute(idle, ("zvStream", action, None)), f"invalid command {action}",
                        "handle_command_execute", 162)


def test_program_name_with_two_full_stops(idle):
    for name in ("../bin/zvStream", "..", "zvStream.."):
        _assert_refused(_execute(idle, (name, "start", None)), f"invalid program {name}", "handle_command_execute", 177)


def test_shell_characters_of_the_program_name_as_far_as_the_arguments_reach(idle):
    for mark in ";|<>&":
        name = f"a{mark}b"
        _assert_refused(_execute(idle, (name, "start", "xx")), f"invalid program {name}", "handle_command_execute", 194)
        # With one character of arguments, only the first character of the name is checked.
        _assert_refused(_execute(idle, (name, "start", "x")), f"file not found {name}", "executeCommand", 255)
        _assert_refused(_execute(idle, (name, "start", None)), f"file not found {name}", "executeCommand", 255)
    _assert_refused(_execute(idle, ("a", "start", "long;arguments|pass<this>test&")), "file not found a",
                    "executeCommand", 255)


@pytest.mark.every_build
def test_arguments_are_the_shells(idle):
    assert _execute(idle, ("zvStream", "start", "-a $((2+3)) $(touch /tmp/fuse_d/touched; echo b)")).body == SUCCESS
    _wait_for_history(idle, [["-a", "5", "b"]])
    os.remove(os.path.join(idle.storage, "touched"))


def test_quotes_of_the_arguments_go_and_the_tail_stays(idle):
    for arguments, expected in (('""ab', ["abab"]), ('a""', ["a"]), ('""', [""]), ('-x "y" z', ["-x", "y", "z", "z"])):
        # In the last case, the old tail " z" stays behind -x y z.
        _execute(idle, ("zvStream", "start", arguments))
        _wait_for_history(idle, [expected])
        _execute(idle, ("zvStream", "stop", None))
        _wait_for_streams(idle, 0)
        os.remove(os.path.join(idle.storage, "zvStream.log"))
    # A quote stays in the tail here, so the shell refuses the command line. The answer does not show it.
    assert _execute(idle, ("zvStream", "start", '"-x"')).body == SUCCESS
    assert _streams(idle) == []


def test_program_that_is_there_but_not_allowed(idle):
    for action in ("start", "stop", "restart"):
        function = "startProg" if action == "start" else "stopProg"
        line = 379 if action == "start" else 339
        verb = "start" if action == "start" else "stop"
        _assert_refused(_execute(idle, ("zvControlD", action, None)), f"{verb}: not in whitelist", function, line)
    _assert_refused(_execute(idle, ("zvstream", "start", None)), "file not found zvstream", "executeCommand", 255)


def test_path_of_49_50_and_51_characters(make_camera):
    names = {size: "n" * (size - len(BIN) - 1) for size in (49, 50, 51)}
    # A path of 49 characters fits, and one of 50 is refused. One of 51 is cut, and its first 49 are looked for.
    camera = make_camera(more=[("/bin/true", f"{BIN}/{names[size]}") for size in (49, 50)])
    _assert_refused(_execute(camera, (names[49], "start", None)), "start: not in whitelist", "startProg", 379)
    _assert_refused(_execute(camera, (names[50], "start", None)), f"file not found {names[50]}", "executeCommand", 255)
    _assert_refused(_execute(camera, (names[51], "start", None)), "start: not in whitelist", "startProg", 379)


@pytest.mark.every_build
def test_sixteen_of_seventeen_commands(idle):
    commands = [("zvStream", "start", f"-n {number}") for number in range(1, 18)]
    assert _execute(idle, *commands).body == SUCCESS
    _wait_for_streams(idle, 16)
    idle.wait_for(lambda: len(_history(idle)) >= 16)
    assert sorted(_history(idle)) == sorted([["-n", str(number)] for number in range(1, 17)])
    _execute(idle, ("zvStream", "stop", None))


def test_reading_stops_at_the_first_number_that_is_missing(idle):
    assert idle.get("/execute?p1=zvStream&c1=start&a1=1&p3=zvStream&c3=start&a3=3").body == SUCCESS
    _wait_for_streams(idle, 1)
    _wait_for_history(idle, [["1"]])


@pytest.mark.every_build
def test_first_failure_ends_the_run_and_what_is_done_stays_done(idle):
    answer = _execute(idle, ("zvStream", "start", "1"), ("nothing", "start", None), ("zvStream", "start", "3"))
    _assert_refused(answer, "file not found nothing", "executeCommand", 255)
    _wait_for_streams(idle, 1)
    _wait_for_history(idle, [["1"]])


@pytest.mark.every_build
def test_long_names_are_cut_in_the_message(idle):
    name = "x" * 3000
    answer = _execute(idle, (name, "start", None))
    # The message has 511 characters. The program looks for the cut path, which does not exist.
    _assert_refused(answer, "file not found " + "x" * (511 - 15), "executeCommand", 255)


def test_a_streaming_program_does_not_hold_the_request(idle):
    assert _execute(idle, ("zvStream", "start", None)).body == SUCCESS
    house.assert_empty(idle.get("/command/ble/pairing_available"))
    answers = house.at_once(8, lambda _: _execute(idle, ("zvStream", "stop", None)))
    assert [answer.body for answer in answers] == [SUCCESS] * 8


def _shown(camera):
    return json.loads(camera.tool("--json", "stream"))


def test_tool_shows_what_runs_and_what_ran(idle):
    assert idle.tool("stream") == "zvStream does not run\nlog: nothing\n"
    assert _shown(idle) == {"running": False, "processes": [], "log": []}
    _execute(idle, ("zvStream", "start", "-x 'a b' '' /usr/local/zarvo/bin/zvStream"))
    _wait_for_history(idle, [words := ["-x", "a b", "", f"{BIN}/zvStream"]])
    pid = _wait_for_streams(idle, 1)[0]
    shown = _shown(idle)
    assert shown["running"] is True
    assert shown["processes"] == [{"pid": pid, "arguments": words}]
    assert [(entry["event"], entry["pid"], entry["arguments"]) for entry in shown["log"]] == [("start", pid, words)]
    time_of_start = shown["log"][0]["time"]
    told = f'-x "a b" "" {BIN}/zvStream'
    assert idle.tool("stream") == f"zvStream runs\n  {pid}  {told}\nlog:\n  {time_of_start}  {pid}  start  {told}\n"
    _execute(idle, ("zvStream", "stop", None))
    _wait_for_history(idle, [words, "SIGINT"])
    assert ([(entry["event"], entry.get("reason")) for entry in _shown(idle)["log"]]
            == [("start", None), ("end", "SIGINT")])
    lines = idle.tool("stream").splitlines()
    assert lines[0] == "zvStream does not run"
    assert lines[-1].endswith(f"Z  {pid}  end    SIGINT")


def test_tool_starts_and_stops(idle):
    started = idle.tool("stream", "start", "-y", "$HOME 1", "[a,b]", "{}", "", "--json")
    pid = _wait_for_streams(idle, 1)[0]
    assert started.startswith(f'zvStream runs\n  {pid}  -y "$HOME 1" [a,b] {{}} "" --json\nlog:\n')
    assert started.endswith('  start  -y "$HOME 1" [a,b] {} "" --json\n')
    assert idle.tool("stream", "start", "2").count("  start ") == 2
    both = _wait_for_streams(idle, 2)
    assert [process["pid"] for process in _shown(idle)["processes"]] == both
    stopped = json.loads(idle.tool("--json", "stream", "stop"))
    assert (stopped["running"], stopped["processes"]) == (False, [])
    assert _streams(idle) == []
    assert sorted(entry.get("reason", "") for entry in stopped["log"]) == ["", "", "SIGINT", "SIGINT"]
    assert json.loads(idle.tool("--json", "stream", "stop")) == stopped  # no failure when nothing runs


def test_tool_stops_what_does_not_listen(idle):
    idle.tool("stream", "start")
    pid = _wait_for_streams(idle, 1)[0]
    idle.run(["/bin/kill", "-STOP", str(pid)])
    assert idle.tool("stream").startswith(f"zvStream runs\n  {pid}\n")
    assert idle.tool("stream", "stop").startswith("zvStream does not run\n")
    assert _streams(idle) == []


def test_what_the_tool_starts_is_as_any_other(idle):
    idle.tool("stream", "start", "1")
    assert _execute(idle, ("zvStream", "restart", "2")).body == SUCCESS
    _wait_for_history(idle, [["1"], "SIGINT", ["2"]])
    assert [process["arguments"] for process in _shown(idle)["processes"]] == [["2"]]
    assert idle.run(["/bin/ps", "-C", "zvStream", "-o", "stat="]).stdout.decode().strip()[0] != "Z"


def test_tool_shows_the_last_entries_of_a_log_that_anybody_may_write(idle):
    path = os.path.join(idle.storage, "zvStream.log")
    entry = '{"event":"end","pid":%d,"time":"2026-11-21T03:11:00.456Z","reason":"SIGTERM"}\n'
    strange = ["", "[" * 10_000, "[]", "{", '{"event":"end"}',
               '{"event":"end","pid":"1","time":"now","reason":"x"}',
               '{"event":"start","pid":1,"time":"now","arguments":"x"}',
               '{"event":"start","pid":1,"time":"now","arguments":[1]}',
               '{"event":"other","pid":1,"time":"now","reason":"x"}',
               '{"event":"end","pid":true,"time":"now","reason":"x"}',
               "\0\x7f"]
    with open(path, "w", encoding="utf-8") as log:
        log.write("".join(entry % number for number in range(20_000)) + "\n".join(strange) + "\n" + entry % 20_000)
        log.write('{"event":"start","pid":1,"time":"\\u001b","arguments":["\\u001b]0;a","\\u009b","\u00e4"]}\n')
    assert [logged["pid"] for logged in _shown(idle)["log"]] == [*range(19_992, 20_001), 1][-10:]
    assert idle.tool("stream").endswith(
        "  2026-11-21T03:11:00.456Z  20000  end    SIGTERM\n" + '  \\x1b  1  start  "\\x1b]0;a" "\\x9b" \u00e4\n')
    for make in (["/bin/mkdir", "/tmp/fuse_d/zvStream.log"], ["/usr/bin/mkfifo", "/tmp/fuse_d/zvStream.log"]):
        os.remove(path)
        idle.run(make)
        assert _shown(idle)["log"] == []
        idle.run(["/bin/rm", "-rf", "/tmp/fuse_d/zvStream.log"])
        idle.run(["/bin/touch", "/tmp/fuse_d/zvStream.log"])


def test_tool_says_why_nothing_starts(idle):
    for request in ({"arguments": "x"}, {"arguments": [1]}, {"arguments": ["a\0b"]}):
        with pytest.raises(AdminError):
            idle.admin("supervisor", "stream_start", **request)
    assert _streams(idle) == []
