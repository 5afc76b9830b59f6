"""The recipes of docs/ci.md and docs/control.md, followed to the letter."""

import os
import re
import subprocess

import house
import pytest

from zvcamera import machine, testing

CI = os.path.join(house.ROOT, "docs", "ci.md")


def _text(path=CI):
    with open(path, encoding="utf-8") as file:
        return file.read()


def _blocks(language, path=CI):
    return re.findall(rf"^```{language}\n(.*?)^```$", _text(path), re.DOTALL | re.MULTILINE)


def _block(part):
    """The one shell recipe that holds this part."""
    found = [block for block in _blocks("sh") if part in block]
    assert len(found) == 1, part
    return found[0]


@pytest.fixture
def follow(open_path, build_dir):
    """Runs a recipe in an empty folder, with the programs under test: a clone of links stands for the repository."""
    for name in ("camera", "docs", "scripts"):
        (open_path / name).symlink_to(os.path.join(house.ROOT, name))
    (open_path / "run").write_text(f'#!/bin/sh\nexec "{house.ROOT}/run" --build-dir "{build_dir}" "$@"\n')
    (open_path / "run").chmod(0o755)
    env = {"PATH": os.environ["PATH"], "TMPDIR": str(open_path), "ZVCAMERA_BUILD_DIR": build_dir,
           "PYTHONDONTWRITEBYTECODE": "1", "PYTEST_ADDOPTS": "-p no:cacheprovider"}

    def run(recipe):
        return subprocess.run(["sh", "-e", "-c", recipe], cwd=open_path, env=env, capture_output=True, text=True,
                              timeout=120, check=False)
    run.folder = open_path
    return run


def test_every_recipe_is_followed_here():
    """A new recipe needs a test here."""
    assert len(_blocks("sh")) == 6
    assert len(_blocks("python")) == 1


def test_one_command(follow):
    done = follow(_block("curl --fail --silent \"$CAMERA_URL"))
    assert (done.returncode, done.stdout, done.stderr) == (0, "{}", "")


def test_command_that_uses_the_tool(follow):
    done = follow(_block("zvcam set recording"))
    assert done.returncode == 0, done.stderr
    assert '"zverr":-1' in done.stdout


def test_in_the_background(follow):
    done = follow(_block("--ready-file"))
    assert (done.returncode, done.stdout) == (0, "{}"), done.stderr
    assert not (follow.folder / "camera.url").exists()


def test_pytest(follow):
    name = re.search(r"Save this as `(\w+\.py)`", _text())[1]
    (follow.folder / name).write_text(_blocks("python")[0])
    done = follow(_block(name))
    assert done.returncode == 0, done.stdout
    assert re.search(r"^=+ 5 passed in ", done.stdout, re.MULTILINE)


def test_example(follow):
    done = follow(_block("docs/examples"))
    assert done.returncode == 0, done.stdout
    passed, seconds = re.search(r"^=+ (\d+) passed in ([\d.]+)s", done.stdout, re.MULTILINE).groups()
    assert int(passed) == 20
    assert float(seconds) < 10


def test_reset_over_http(follow):
    done = follow(_block("/simulator/reset"))
    assert done.returncode == 0, done.stderr


def test_options_of_containers_are_those_that_the_camera_names():
    """./run tells them where it cannot start."""
    assert machine.container_advice("root") in _text()
    assert machine.container_advice("user") in _text()


def test_scenarios_of_the_page_exist():
    for name in re.findall(r'scenario="([\w-]+)"', _text()):
        assert os.path.exists(testing.scenario_path(name, ""))


def test_commands_of_the_other_page(follow):
    recipe = _blocks("sh", os.path.join(house.ROOT, "docs", "control.md"))[0]
    assert "http://127.0.0.1:8080\n" in recipe
    (follow.folder / "recipe").write_text("set -e\n" + recipe.replace("8080", "$CAMERA_PORT"))
    done = follow("./run --quiet --exec 'sh recipe'")
    assert done.returncode == 0, done.stderr
    assert done.stdout.count('{"recording": 1}') == done.stdout.count('{"recording": 0}') == 1
    assert "\nHTTP/1.1 500 " in done.stdout
    assert '"/simulator/state/{item}"' in done.stdout
