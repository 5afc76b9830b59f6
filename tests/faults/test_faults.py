"""Every system call and allocation of every kind of request fails, and every request is killed at every point.

Whatever happens, the program does not crash, ends within its limits, never says that something is done which is not,
leaves nothing behind, and the next request is answered as ever.
"""

import disturbances
import pytest


def _assert_right(subject, cases, record_property, counted):
    cases = list(cases)
    assert cases
    record_property(counted, len(cases))
    wrong = subject.judge(cases)
    assert not wrong, f"{len(wrong)} of {len(cases)}:\n" + "\n".join(wrong[:40])


def _calls(subject):
    (traced,), _ = subject.run([disturbances.traced()])
    return disturbances.Calls(traced["log"])


@pytest.mark.native
def test_system_calls_that_fail(subject, with_loader, record_property):
    cases = disturbances.failing_calls(_calls(subject), with_loader)
    _assert_right(subject, cases, record_property, "system calls failed")


def test_kills(subject, with_loader, record_property):
    if subject.emulated:
        (undisturbed,), _ = subject.run([disturbances.disturbed()])
        cases = disturbances.timed_kills(undisturbed["seconds"], 20)
    else:
        cases = disturbances.kills(_calls(subject), with_loader)
    _assert_right(subject, cases, record_property, "kills")


@pytest.mark.preloading
def test_allocations_that_fail(subject, record_property):
    counting = subject.preload(ZV_ALLOCATIONS=disturbances.LOG)
    (counted,), _ = subject.run([disturbances.disturbed(environment=counting)])
    cases = disturbances.failing_allocations(int(counted["log"]), subject.preload)
    _assert_right(subject, cases, record_property, "allocations failed")
