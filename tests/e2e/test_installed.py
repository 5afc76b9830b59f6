"""The installed simulated camera, without its sources."""

import os
import re
import subprocess

import pytest

pytestmark = [pytest.mark.thorough, pytest.mark.xdist_group("installation")]


@pytest.fixture(scope="module")
def zvcamera(build_dir, tmp_path_factory):
    """A link to the installed launcher, as a user may have one in a folder of the search path."""
    root = tmp_path_factory.mktemp("root")
    subprocess.run(["cmake", "--install", build_dir], env=dict(os.environ, DESTDIR=str(root)),
                   check=True, capture_output=True)
    link = tmp_path_factory.mktemp("bin") / "zvcamera"
    link.symlink_to(root / "usr/local/zarvo/bin/zvcamera")
    return str(link)


def ask(*words):
    return subprocess.run(words, cwd="/", stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, check=False, timeout=120)


def test_check_finds_nothing_wrong(zvcamera):
    done = ask(zvcamera, "--check")
    assert re.search(r"^\d\d requests, 0 wrong$", done.stdout, re.MULTILINE), done.stdout
    assert done.returncode == 0


def test_shows_its_page(zvcamera):
    line = 'curl -s "http://127.0.0.1:$CAMERA_PORT/" "http://127.0.0.1:$CAMERA_PORT/page/modules/main.js"'
    done = ask(zvcamera, "--quiet", "--exec", line)
    assert done.stdout.startswith("<!doctype html>") and "// The page: its parts" in done.stdout
    assert done.returncode == 0


def test_calls_itself_by_its_name(zvcamera):
    assert ask(zvcamera, "--help").stdout.startswith("usage: zvcamera ")
    assert ask(zvcamera, "--port", "x").stdout == "zvcamera: --port: must be a whole number from 0 to 65535, not 'x'\n"
