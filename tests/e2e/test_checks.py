"""./test itself: what it counts, and what it takes for wrong."""

import json
import os
import subprocess
import sys

import house
import pytest

sys.path.insert(0, os.path.join(house.ROOT, "scripts"))
import checks  # noqa: E402

CASES = {
    "passed": '<testcase name="good" time="1.5"/>',
    "failed": '<testcase name="bad" time="2"><failure message="x"/></testcase>',
    "broken": '<testcase name="bad" time="2"><error message="x"/></testcase>',
    "skipped": '<testcase name="out" time="0"><skipped/></testcase>',
    "disabled": '<testcase name="out" time="0" status="disabled"/>',
}


@pytest.fixture
def results(open_path):
    """Function that writes a file of results."""
    def write(*kinds):
        path = open_path / "results.xml"
        path.write_text(f"<testsuites><testsuite>{''.join(CASES[kind] for kind in kinds)}</testsuite></testsuites>")
        return path
    return write


@pytest.mark.parametrize(("kinds", "right"), [
    (("passed", "passed"), True), (("passed", "failed"), False), (("broken",), False), (("passed", "skipped"), False),
    (("passed", "disabled"), False), ((), False)])
def test_all_tests_have_to_be_run_and_to_pass(results, kinds, right):
    assert checks.Session(1, None).count("tests", results(*kinds)) == right


def test_results_that_are_missing_are_wrong(open_path):
    assert not checks.Session(1, None).count("tests", open_path / "absent")


def test_last_line_counts_and_the_slowest_come_first(results, capsys):
    session = checks.Session(1, None)
    session.count("some", results("passed", "failed", "skipped"))
    session.complain("some")
    assert session.finish() == 1
    lines = capsys.readouterr().out.splitlines()
    assert lines[-1] == "3 tests: 1 passed, 1 failed, 1 skipped; NOT all is right"
    assert lines[-2] == "WRONG some"
    assert lines[lines.index("== slowest tests") + 1].split() == ["2.0", "s", "bad", "(some)"]


def test_counts_of_several_runs_are_added(results, open_path, capsys):
    counts = open_path / "counts"
    counts.write_text("")
    statuses = []
    for kinds, wrong in ((("passed", "failed"), True), (("passed",), False)):
        session = checks.Session(1, counts)
        session.count("some", results(*kinds))
        if wrong:
            session.complain("some")
        statuses.append(session.finish())
    # The second run is right, but still reports what the first one found.
    assert statuses == [1, 1]
    assert capsys.readouterr().out.splitlines()[-1] == "3 tests: 2 passed, 1 failed, 0 skipped; NOT all is right"
    assert json.loads(counts.read_text())["passed"] == 2


def test_nothing_follows_a_failed_build(monkeypatch):
    done = []
    monkeypatch.setattr(checks, "build", lambda session, name, preset: done.append(preset) or False)
    monkeypatch.setattr(checks, "lint", lambda session, name: done.append("lint") or True)
    monkeypatch.setitem(checks.PARTS, "some", ("", (checks.build, "release"), (checks.lint,)))
    session = checks.Session(1, None)
    for _ in range(2):
        session.run("some")
    assert done == ["release"]
    assert session.finish() == 1


def test_sizes_hold_every_part_but_one():
    assert {*checks.DEFAULT, *checks.REST} == {*checks.PARTS} - {"quick", "lint-tests", "faults-larger"}
    assert checks.SIZES["all"] == (*checks.DEFAULT, *checks.REST)


def test_help_names_every_part():
    done = subprocess.run([os.path.join(house.ROOT, "test"), "--help"], cwd="/", capture_output=True, text=True,
                          check=True)
    assert [part for part in (*checks.PARTS, *checks.SIZES) if f"\n  {part} " not in done.stdout] == []


def test_unknown_part():
    done = subprocess.run([os.path.join(house.ROOT, "test"), "everything"], cwd="/", capture_output=True, text=True,
                          check=False)
    assert (done.returncode, done.stdout) == (2, "")
