"""What the shells are proposed."""

import os

import pytest
from zvcamera import find
from zvcamera.zvcam import completion, tree
from zvcamera.zvcam.settings import Settings

ADDRESS = "112233445566"


@pytest.fixture
def proposed(capsys, monkeypatch):
    """proposed(words..., incomplete): what bash gets."""
    def run(*words):
        monkeypatch.setenv("COMP_WORDS", " ".join(["zvcam", *words]))
        monkeypatch.setenv("COMP_CWORD", str(len(words)))
        completion.answer(tree.root(), "bash_complete", obj=Settings())
        return [line.partition(",")[2] for line in capsys.readouterr().out.splitlines() if line]
    return run


def test_words_and_options(proposed):
    assert sorted(proposed("s")) == ["scenario", "scenarios", "set", "show", "stream"]
    assert proposed("ble", "device", "r") == ["remove"]
    assert proposed("trace", "--fi") == ["--file"]
    assert "--json" in proposed("queue", "--")


def test_items_faults_keys_and_choices(proposed):
    assert proposed("set", "re") == ["recording"]
    assert proposed("fail", "analytics_") == ["analytics_get", "analytics_clear"]
    assert proposed("fail", "recording", "ZV_ERR_NAK") == ["ZV_ERR_NAK", "ZV_ERR_NAK_OFF"]
    assert proposed("fault", "add", "scan") == ["scan", "scan_list"]
    assert proposed("fault", "add", "scan", "m") == ["missing"]
    assert proposed("fault", "add", "scan", "la") == ["late"]
    assert proposed("ble", "set", "scan") == ["scan_page=", "scan_ms="]
    assert proposed("trace", "--daemon", "zvB") == ["zvBleD"]
    assert proposed("check", "whitelist50-") == ["whitelist50-", "whitelist50-sparse"]  # first: files, by the shell
    assert proposed("completion", "z") == ["zsh"]


def test_what_runs(proposed, programs):
    programs.serve("zvBleD", ble={"devices": [{"address": ADDRESS}], "whitelist": {"slots": []}})
    programs.serve("supervisor", status={"zvNetD": {}, "lighttpd": {}})
    os.makedirs(os.path.join(find.base(), "8080"), mode=0o700)
    os.symlink(programs.run_dir, os.path.join(find.base(), "8080", "run"))
    assert proposed("--port", "8") == ["8080"]
    assert proposed("ble", "device", "remove", "1") == [ADDRESS]
    assert proposed("--port", "8080", "ble", "device", "remove", "1") == [ADDRESS]
    assert proposed("daemon", "stop", "l") == ["lighttpd"]
    assert proposed("--port", "8081", "ble", "device", "remove", "1") == []


def test_nothing_is_proposed_where_nobody_answers(proposed):
    assert proposed("ble", "device", "remove", "1") == []
    assert proposed("--port", "x", "show", "re") == ["recording"]
    assert proposed("nothing", "x") == []
