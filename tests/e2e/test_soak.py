"""bench/soak takes no wrong answer for a right one."""

import os
import subprocess
import sys

import house
import pytest

sys.path.insert(0, os.path.join(house.ROOT, "bench"))
from zvbench.soak import mix  # noqa: E402

pytestmark = pytest.mark.bench

SOAK = os.path.join(house.ROOT, "bench", "soak")
BY_URI = {question.uri: question for question in mix.QUESTIONS}


def test_what_is_asked_is_answered_rightly(make_camera):
    camera = make_camera(scenario=f"{house.ROOT}/bench/zvbench/soak/scenario.json")
    camera.admin("zvControlD", "analytics", action="append", hex=mix.PATTERN.hex())
    for question in mix.QUESTIONS:
        answer = camera.get(question.uri)
        assert mix.is_right(question, mix.Answer(answer.status, answer.body)), (question.uri, answer.body)


@pytest.mark.parametrize(("uri", "status", "body"), [
    ("", 200, b"{}"),
    ("/command/ble/pair/status", 200, b""),
    ("/command/ble/pair/status", 200, b'\n{"pairing_status":9}\n'),
    ("/command/ble/pairing_phase?p=1", 200, b"{}{}"),
    ("/analytics/get", 200, mix.PATTERN[1:]),
    ("/analytics/get", 200, mix.PATTERN[1:] + mix.PATTERN[:1]),
    ("/nothing_here", 200, b"{}"),
    ("/execute?p1=zvStream&c1=stop", 400, b"{}"),
])
def test_a_wrong_answer_is_found(uri, status, body):
    assert not mix.is_right(BY_URI[uri], mix.Answer(status, body))


def test_no_answer_is_no_failure_either():
    assert not mix.is_failure(mix.Answer(0, b"the connection broke"))
    assert not mix.is_failure(mix.Answer(200, b""))
    assert mix.is_failure(mix.Answer(500, b""))


def test_a_folder_without_programs(tmp_path):
    done = subprocess.run([SOAK, "--build-dir", str(tmp_path)], capture_output=True, text=True, check=False)
    assert done.returncode == 1
    assert "does not exist" in done.stdout
