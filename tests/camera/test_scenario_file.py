"""What is said of a scenario file before a camera takes it."""

import os

import pytest

from zvcamera import scenario_file
from zvcamera.camera import CameraError


@pytest.fixture
def file(tmp_path):
    path = tmp_path / "scenario.json"
    path.write_text('\ufeff{"ble": {}}')
    return path


@pytest.fixture
def daemons(tmp_path):
    """A function that makes a build folder whose daemons do what a line of the shell says; $2 is the file."""
    folder = tmp_path / "build"
    folder.mkdir()

    def make(line, *names):
        for name in names or ("zvControlD", "zvNetD", "zvBleD"):
            (folder / name).write_text(f"#!/bin/sh\n{line}\n")
            (folder / name).chmod(0o755)
        return folder
    return make


def complaint(check, *arguments):
    with pytest.raises(CameraError) as error:
        check(*arguments)
    return str(error.value)


def test_text_of_a_scenario(file):
    scenario_file.check_text(file)


@pytest.mark.parametrize(("text", "reason"), [
    ("[]", "is a JSON document, but no object"), ("1", "is a JSON document, but no object"),
    ("{", "is no JSON document: Expecting property name enclosed in double quotes: line 1 column 2 (char 1)"),
    ("[" * 100_000, "is no JSON document: maximum recursion depth exceeded while decoding a JSON array from a unicode "
                    "string")], ids=["list", "number", "cut", "deep"])
def test_texts_that_are_none(file, text, reason):
    file.write_text(text)
    assert complaint(scenario_file.check_text, file) == f"{file} {reason}"


def test_files_that_cannot_be_read(tmp_path):
    assert complaint(scenario_file.check_text, tmp_path / "no") == f"{tmp_path}/no does not exist"
    assert complaint(scenario_file.check_text, tmp_path) == f"{tmp_path} cannot be read: Is a directory"


def test_daemons_that_take_it(file, daemons):
    scenario_file.check_meaning(file, daemons('[ "$1" = --check ] && [ -e "$2" ]'))


def test_daemon_that_refuses_it(file, daemons):
    daemons("exit 0")
    folder = daemons('echo "$2: ble.seed: must be a whole number" >&2; echo more >&2; exit 1', "zvBleD")
    assert complaint(scenario_file.check_meaning, file, folder) == f"{file}: ble.seed: must be a whole number"


@pytest.mark.parametrize("line", ['echo "unknown option --check $2" >&2; exit 2', "exit 1", "kill -SEGV $$"])
def test_daemons_that_cannot_tell(file, daemons, line):
    """Older ones, for example. The camera's start tells what is wrong then."""
    scenario_file.check_meaning(file, daemons(line))


def test_daemons_that_are_not_there(file, tmp_path):
    scenario_file.check_meaning(file, tmp_path)


def test_only_daemons_as_new_as_their_sources_are_asked_before_the_build(daemons, tmp_path, monkeypatch):
    monkeypatch.setattr(scenario_file, "SOURCE_DIR", str(tmp_path))
    assert not scenario_file.is_built(tmp_path)
    source = tmp_path / "camera" / "zvBleD" / "radio.cpp"
    source.parent.mkdir(parents=True)
    source.write_text("")
    folder = daemons("exit 0")
    os.utime(source, (1, 1))
    assert scenario_file.is_built(folder)
    os.utime(source, (1 << 40, 1 << 40))
    assert not scenario_file.is_built(folder)
