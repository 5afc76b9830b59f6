"""The way to the programs of a camera, against fake ones."""

import os
import socket

import pytest
from zvcamera import admin
from zvcamera.admin import AdminError, InvalidRequest, Unreachable


def test_asks_and_tells_what_was_refused(programs, link):
    def refuse(kind):
        raise programs.Refusal("no such device", kind)
    programs.serve("zvBleD", ble=lambda: {"now_ms": 5}, device_remove=lambda kind: refuse(kind))
    assert link.call("zvBleD", "ble") == {"now_ms": 5}
    with pytest.raises(AdminError, match="^no such device$") as caught:
        link.call("zvBleD", "device_remove", kind=None)
    assert not isinstance(caught.value, (InvalidRequest, Unreachable))
    with pytest.raises(InvalidRequest, match="^no such device$"):
        link.call("zvBleD", "device_remove", kind="invalid")


def test_says_who_is_not_there(programs, link):
    with pytest.raises(Unreachable) as caught:
        link.call("zvBleD", "ble")
    assert str(caught.value) == f"zvBleD does not run in {programs.run_dir}: No such file or directory"
    with pytest.raises(Unreachable) as caught:
        link.subscribe("zvBleD", "trace_follow")
    assert str(caught.value) == f"zvBleD does not run in {programs.run_dir}: No such file or directory"


def test_a_link_in_the_place_of_a_socket_is_not_followed(programs, link, tmp_path):
    """A program of the camera has put it there: it leads to another service of the machine."""
    with socket.socket(socket.AF_UNIX) as service:
        service.bind(str(tmp_path / "service"))
        service.listen()
        service.setblocking(False)
        os.symlink(tmp_path / "service", os.path.join(programs.run_dir, "zvBleD.admin"))
        for ask in (link.call, link.subscribe):
            with pytest.raises(Unreachable, match=": Connection refused$"):
                ask("zvBleD", "ble")
        with pytest.raises(BlockingIOError):
            service.accept()


def test_an_answer_without_end_is_none(programs, link, monkeypatch):
    monkeypatch.setattr(admin, "_LONGEST", 1000)
    programs.serve("zvBleD", ble="x" * 2000, trace_follow="x" * 2000)
    for ask, op in ((link.call, "ble"), (link.subscribe, "trace_follow")):
        with pytest.raises(Unreachable, match="^zvBleD does not answer$"):
            ask("zvBleD", op)


@pytest.mark.parametrize("answer", [None, b"", b"\n", b"nonsense\n", b"5\n", b"[" * 100000 + b"\n", b"\xff\n"])
def test_says_who_does_not_answer(programs, link, answer):
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(os.path.join(programs.run_dir, "zvBleD.admin"))
        listener.listen()
        if answer is not None:
            import threading
            threading.Thread(target=_say, args=(listener, answer)).start()
        with pytest.raises(Unreachable, match="^zvBleD does not answer$"):
            link.call("zvBleD", "ble", timeout=0.2 if answer is None else 10)


def _say(listener, answer):
    with listener.accept()[0] as connection:
        connection.recv(1000)
        connection.sendall(answer)


def test_of_several_the_ones_that_run_are_asked(programs, link):
    programs.serve("zvNetD", queue=lambda: 1)
    assert link.call_each(("zvNetD", "zvBleD"), "queue") == {"zvNetD": 1}
    assert link.missing == [f"zvBleD does not run in {programs.run_dir}: No such file or directory"]
    with pytest.raises(Unreachable) as caught:
        link.call_each(("zvControlD", "zvBleD"), "queue")
    assert [text.split()[0] for text in str(caught.value).split("; ")] == ["zvControlD", "zvBleD"]


def test_every_operation_is_a_method(programs, link):
    programs.serve("zvControlD", set=lambda item, value: value)
    assert link.set(item="recording", value=1) == {"recording": 1}
    with pytest.raises(InvalidRequest, match="^unknown parameter itm: did you mean item?"):
        link.set(itm="recording", value=1)
    with pytest.raises(InvalidRequest, match="^value: missing$"):
        link.set(item="recording")
    with pytest.raises(AttributeError):
        link.nothing_like_it()
