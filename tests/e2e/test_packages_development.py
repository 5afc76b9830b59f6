"""The package zvcontrol-dev is enough to build with: libraries beside the program, and programs of their own."""

import os
import subprocess

import house
import pytest
from packing import PREFIX, run

pytestmark = [pytest.mark.thorough, pytest.mark.packages, pytest.mark.xdist_group("installation")]

def test_development_package_is_enough_to_build_with(packages, processor, tmp_path):
    run("dpkg-deb", "-x", str(packages["zvcontrol-dev"]), str(tmp_path))
    tools = processor.tools
    include, library = tmp_path / PREFIX / "include", tmp_path / PREFIX / "lib"
    strict = ["-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Wshadow", "-Werror", f"-I{include}"]
    headers = sorted(os.listdir(include))
    assert len(headers) == 10
    for header in headers:
        for compiler, standard in (("gcc", "c11"), ("g++", "c++20")):
            language = "c" if compiler == "gcc" else "c++"
            run(f"{tools}{compiler}", f"-std={standard}", *strict, "-fsyntax-only", "-x", language, "-",
                input=f"#include <{header}>\n#include <{header}>\nint something;\n")
    source = "".join(f"#include <{header}>\n" for header in headers) + """
#include <cstdio>
int main() {
    unsigned char buffer[64];
    zvUtilSetLogLevel(UTIL_LOG_OFF);
    const int length = sntlv_msg_init(buffer, sizeof buffer, 2) + sntlv_add_bin(buffer, sizeof buffer, 65, 2, "BL");
    std::printf("%s %s %d\\n", zvErrno2Str(-18), get_model_name(13), length);
}
"""
    run(f"{tools}g++", "-std=c++20", *strict, "-x", "c++", "-", "-o", str(tmp_path / "alone"), "-x", "none",
        f"-L{library}", "-lzvCommon", input=source)
    assert run(*processor.command(str(tmp_path / "alone"))) == "ZV_ERR_RESPONSE_ALREADY_SENT abru 10\n"


@pytest.mark.parametrize("tool", ["cmake", "make"])
def test_the_example_is_built_against_the_installed_files(packages, processor, tmp_path, tool):
    """A library beside the program, and a program of its own, as a user would build them."""
    run("dpkg-deb", "-x", str(packages["zvcontrol-dev"]), str(tmp_path))
    example = tmp_path / "usr/share/doc/zvcontrol-dev/examples/beside"
    if tool == "cmake":
        run("cmake", "-S", str(example), "-B", str(example / "build"), "-DCMAKE_BUILD_TYPE=Release",
            f"-DCMAKE_C_COMPILER={processor.tools}gcc", f"-DCMAKE_CXX_COMPILER={processor.tools}g++",
            f"-DzvCommon_DIR={tmp_path}/usr/share/cmake/zvCommon")
        run("cmake", "--build", str(example / "build"))
        library, program = example / "build/libbeside.so", example / "build/ask"
    else:
        run("make", "-C", str(example), f"CC={processor.tools}gcc", f"PKG_CONFIG_PATH={tmp_path}/usr/share/pkgconfig")
        library, program = example / "beside.so", example / "ask"
    wanted = run(f"{processor.tools}nm", "-D", "--undefined-only", str(library)).split()
    assert {"zvUtilKlogMsgLevel", "g_logLevel", "get_model_name"} <= set(wanted)
    done = subprocess.run(processor.command(str(program), "/nobody-has-it"), capture_output=True, text=True,
                          check=False)
    assert (done.returncode, done.stderr) == (2, "ask: give the name of a mailbox that exists\n")
    assert answered(processor, program, tmp_path) == "pong\n"


# A peer with the mailbox /peer, which answers one request, and the program that asks it.
EXCHANGE = """
import subprocess, sys, threading
sys.path.insert(0, sys.argv[1])
import queue_peer
queue_peer.NAME = b"/peer"
sys.argv, words = ["", "0010000200000445706f6e67000000ee"], sys.argv[2:]
peer = threading.Thread(target=queue_peer.main)
peer.start()
while b"/peer" not in queue_peer.OPEN:
    pass
done = subprocess.run(words, capture_output=True)
peer.join()
sys.stderr.buffer.write(done.stdout + done.stderr)
"""


def answered(processor, program, folder):
    """What the program prints when a peer answers "pong"."""
    done = subprocess.run(
        ["bwrap", "--unshare-user", "--unshare-ipc", "--bind", "/", "/", "--dev", "/dev", "--mqueue", "/dev/mqueue",
         "--", "/usr/bin/python3", "-B", "-c", EXCHANGE, os.path.join(house.ROOT, "tests", "e2e"),
         *processor.command(str(program), "/peer")], capture_output=True, text=True, check=True, timeout=60)
    assert done.stdout[4:].startswith("00010000024141420000044270696e67")
    return done.stderr
