"""docs/reliability.md names tests that exist, and parts of ./test that exist."""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
TEXT = (ROOT / "docs" / "reliability.md").read_text(encoding="utf-8")

sys.path.insert(0, str(ROOT / "scripts"))
import checks  # noqa: E402


def test_every_test_that_is_named_exists():
    defined = {name for path in (ROOT / "tests").rglob("test_*.py")
               for name in re.findall(r"^def (test_\w+)", path.read_text(encoding="utf-8"), re.MULTILINE)}
    named = set(re.findall(r"`(test_\w+)`", TEXT))
    assert len(named) > 5 and named <= defined


def test_every_part_that_is_named_exists():
    assert set(re.findall(r"`\./test ([\w-]+)`", TEXT)) <= set(checks.PARTS)
