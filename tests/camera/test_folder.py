"""The camera's folder goes with the camera, whatever its programs have done to what is in it."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

import pytest

import zvcamera

_USER = 65534
_SCRIPT = """
import os
from zvcamera.folder import CameraFolder

def close(folder):
    path = folder
    for name in ("a", "b", "c"):
        path = os.path.join(path, name)
        os.mkdir(path)
    open(os.path.join(path, "file"), "w").close()
    os.symlink(os.environ["TMPDIR"], os.path.join(path, "link"))
    while path != folder:
        os.chmod(path, 0)
        path = os.path.dirname(path)

if os.environ["LEFT"]:  # by a camera whose janitor was killed, too
    left = os.path.join(os.environ["TMPDIR"], f"zvcam-{os.getuid()}", "1")
    os.makedirs(left, mode=0o700)
    os.chmod(os.path.dirname(left), 0o700)
    close(left)
folder = CameraFolder(1)
close(folder.fuse_d)
os.chmod(folder.fuse_d, 0)
folder.release()
print(os.listdir(os.environ["TMPDIR"]))
"""


@pytest.fixture
def user_path():
    """A folder of an ordinary user, with the package beside it: root is kept out of no folder."""
    with tempfile.TemporaryDirectory(prefix="zvtest-") as folder:
        path = pathlib.Path(folder)
        path.chmod(0o755)
        shutil.copytree(os.path.dirname(zvcamera.__file__), path / "package" / "zvcamera")
        (path / "own").mkdir(mode=0o755)
        if os.getuid() == 0:
            os.chown(path / "own", _USER, _USER)
        yield path


@pytest.mark.parametrize("left", ["", "left"])
def test_closed_folders_are_removed(user_path, left):
    command = [sys.executable, "-B", "-c", _SCRIPT]
    if os.getuid() == 0:
        command = ["setpriv", f"--reuid={_USER}", f"--regid={_USER}", "--clear-groups", *command]
    own = user_path / "own"
    done = subprocess.run(command, env={"PATH": os.environ["PATH"], "TMPDIR": str(own), "HOME": str(own), "LEFT": left,
                                        "PYTHONPATH": str(user_path / "package")},
                          cwd=own, capture_output=True, text=True, timeout=60, check=False)
    assert (done.returncode, done.stdout) == (0, "[]\n"), done.stderr
