"""The gateway by a kit's compiler, as docs/porting.md says: without network, and without what the simulated camera and
the tests are made of."""

import os
import re
import subprocess

import house
import pytest
from packing import paths, run

pytestmark = [pytest.mark.thorough, pytest.mark.xdist_group("installation")]

# What gcc and CMake do not bring.
WITHOUT = ("/usr/include/nlohmann", "/usr/include/gtest", "/usr/include/gmock", "/usr/src/googletest",
           "/usr/include/benchmark", "/usr/include/aarch64-linux-gnu")


def _toolchain(folder, name):
    """A toolchain file as the page tells to make one: without emulator."""
    with open(os.path.join(house.ROOT, "cmake", "toolchains", f"{name}.cmake"), encoding="utf-8") as file:
        text = file.read()
    text, count = re.subn(r"^set\(CMAKE_CROSSCOMPILING_EMULATOR .*\n", "", text, flags=re.MULTILINE)
    assert count == 1
    (folder / "kit.cmake").write_text(text)


def test_the_page_s_commands_build_the_gateway_by_a_kit(tmp_path):
    with open(os.path.join(house.ROOT, "docs", "porting.md"), encoding="utf-8") as page:
        commands = re.search(r"^```sh\n(cmake --preset arm -B build/kit .*?)^```$", page.read(),
                             re.DOTALL | re.MULTILINE)[1]
    assert "-DZV_CAMERA=OFF" in commands
    _toolchain(tmp_path, "arm-linux-gnueabihf")
    commands = commands.replace("/path/to/kit.cmake", f"{tmp_path}/kit.cmake").replace(
        "/path/to/root", f"{tmp_path}/root").replace("build/kit", f"{tmp_path}/kit")
    hidden = [word for path in WITHOUT if os.path.exists(path) for word in ("--tmpfs", path)]
    assert len(hidden) >= 6
    environment = {"CCACHE_BASEDIR": house.ROOT, **os.environ}
    run("bwrap", "--unshare-user", "--unshare-net", "--bind", "/", "/", "--dev", "/dev", *hidden, "--",
        "sh", "-e", "-c", commands, cwd=house.ROOT, env=environment)
    installed = paths(tmp_path / "root")
    program = "usr/local/zarvo/bin/zvControl-cgi-bin"
    assert {name for name in installed if name.startswith("usr/local/zarvo/bin/")} == {
        program, "usr/local/zarvo/bin/zvControl-scgi"}
    header = subprocess.run(["readelf", "-h", tmp_path / "root" / program], capture_output=True, text=True, check=True)
    assert "Machine:                           ARM\n" in header.stdout
