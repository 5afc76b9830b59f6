"""The installed simulated camera, without its sources."""

import json
import os
import re
import subprocess

import house
import pytest
from packing import paths
from test_packages_installed import dpkg, empty_root

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


def ask(*words, cwd="/"):
    return subprocess.run(words, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
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


def test_tells_what_holds_for_an_installed_camera(zvcamera):
    told = " ".join(ask(zvcamera, "--help").stdout.split())
    assert " Brings up the simulated camera around the control gateway. options: " in told
    assert "(default: default.json of those that come with it)" in told
    assert "./run" not in told


def test_nothing_of_the_current_folder_runs(zvcamera, tmp_path):
    """In /tmp, say, anybody may have put modules that are named like the system's or like ours."""
    for name in ("argparse.py", "sitecustomize.py", "zvcamera.py"):
        (tmp_path / name).write_text("print('foreign')\n")
    assert ask(zvcamera, "--port", "x", cwd=tmp_path).stdout == (
        "zvcamera: --port: must be a whole number from 0 to 65535, not 'x'\n")


def test_leaves_the_search_path_of_the_command_as_it_was(zvcamera):
    done = subprocess.run([zvcamera, "--quiet", "--exec", "echo $PYTHONPATH"], capture_output=True, text=True,
                          env={**os.environ, "PYTHONPATH": "/of/the/user"}, check=False, timeout=120)
    assert (done.returncode, done.stdout, done.stderr) == (0, "/of/the/user\n", "")


# Each waits for the other one's camera, changes its own, waits again, and asks its own.
ONE_OF_TWO = """
together() { touch "$1.$me"; until [ -e "$1.$other" ]; do sleep 0.1; done; }
echo "$CAMERA_PORT" >"port.$me"
together there
zvcam list >"$TMPDIR/list"
grep -cw "$(cat "port.$me")" "$TMPDIR/list"; grep -cw "$(cat "port.$other")" "$TMPDIR/list"
zvcam set serial_number "$me" >/dev/null
together set
curl -s "$CAMERA_URL"
together asked
"""


@pytest.mark.root
def test_two_users_at_once(packages, open_path):
    """The installed packages serve each by a camera of their own, and leave nothing behind."""
    root = empty_root(open_path / "root")
    dpkg(root, "--install", *map(str, packages.values()))
    os.chmod(root, 0o755)
    before = paths(root)
    users = {"first": house.ORDINARY_USER, "second": house.ORDINARY_USER - 1}
    shared = open_path / "shared"
    shared.mkdir()
    shared.chmod(0o1777)
    running = {}
    for (name, user), other in zip(users.items(), reversed(users)):
        own = open_path / name
        own.mkdir()
        os.chown(own, user, user)
        running[name] = subprocess.Popen(
            ["setpriv", f"--reuid={user}", f"--regid={user}", "--clear-groups", str(root / "usr/bin/zvcamera"),
             "--quiet", "--exec", ONE_OF_TWO],
            cwd=shared, env={"PATH": os.environ["PATH"], "TMPDIR": str(own), "me": name, "other": other}, text=True,
            stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    for name, process in running.items():
        told, complaints = process.communicate(timeout=120)
        assert (process.returncode, complaints) == (0, "")
        mine, others, answer = told.split("\n", 2)
        assert (mine, others) == ("1", "0")
        assert json.loads(answer)["info"]["serial_number"] == name
        assert os.listdir(open_path / name) == ["list"]
    assert paths(root) == before
