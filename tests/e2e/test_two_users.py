"""The installed camera, used by two users at once."""

import os
import subprocess
import time
import urllib.request

import pytest
from packing import run

pytestmark = [pytest.mark.thorough, pytest.mark.root, pytest.mark.xdist_group("installation")]

USERS = (65531, 65532)


def _as(user):
    return ["setpriv", f"--reuid={user}", f"--regid={user}", "--clear-groups", "env", "-i", "PATH=/usr/bin:/bin",
            "HOME=/nonexistent", "LANG=C.UTF-8"]


def test_two_users_have_a_camera_each(packages, open_path):
    """Each by the same files, which neither can write. zvcam of each finds the own one, and no other."""
    root = open_path / "root"
    for package in packages.values():
        run("dpkg-deb", "-x", str(package), str(root))
    bin_folder = root / "usr" / "bin"
    ready = {user: open_path / str(user) for user in USERS}
    cameras = []
    try:
        for user, folder in ready.items():
            folder.mkdir()
            os.chown(folder, user, user)
            cameras.append(subprocess.Popen(
                [*_as(user), f"TMPDIR={folder}", str(bin_folder / "zvcamera"), "--port", "0", "--ready-file",
                 str(folder / "url"), "--quiet"], stdout=subprocess.DEVNULL, cwd="/"))
        urls = [_url(folder, camera) for folder, camera in zip(ready.values(), cameras)]
        assert len(set(urls)) == 2
        for number, (user, url) in enumerate(zip(USERS, urls)):
            tool = [*_as(user), f"TMPDIR={ready[user]}", str(bin_folder / "zvcam")]
            assert url.rpartition(":")[2].partition("/")[0] in run(*tool, "list", cwd="/")
            assert len(run(*tool, "list", cwd="/").splitlines()) == 2
            run(*tool, "set", "ap_ssid", f"camera {number}", cwd="/")
        for number, url in enumerate(urls):
            with urllib.request.urlopen(url, timeout=60) as answer:
                assert f'"ap_ssid":"camera {number}"'.encode() in answer.read()
    finally:
        for camera in cameras:
            camera.terminate()
    assert [camera.wait(60) for camera in cameras] == [0, 0]
    assert [name for folder in ready.values() for _, _, names in os.walk(folder) for name in names] == []


def _url(folder, camera):
    """Waits for the camera's ready file; returns the URL in it."""
    while not (folder / "url").exists() or not (folder / "url").read_text().strip():
        assert camera.poll() is None
        time.sleep(0.05)
    return (folder / "url").read_text().strip()
