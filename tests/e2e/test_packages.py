"""The Debian packages and `cmake --install`: what they hold, and that it runs where there is nothing else.

The root of the test holds the packages, the libraries that they depend on, and busybox as shell and web server.
"""

import json
import os
import re
import shutil
import subprocess

import pytest

PREFIX = "usr/local/zarvo"
GATEWAY = {"bin/zvControl-cgi-bin", "share/web/busybox-control", "share/web/lighttpd.conf", "share/web/nginx.conf"}
PLATFORM = {"lib/libzvCtrlD.so", "lib/libcsi.so"}
PROGRAMS = {"bin/zvControlD", "bin/zvNetD", "bin/zvBleD", "bin/zvStream", "bin/zvcam", "bin/zvcamera"}

# Runs inside the root. Each answer stands between its marks.
SCRIPT = """
cd /tmp
$EMULATOR /usr/local/zarvo/bin/zvControlD & control=$!
$EMULATOR /usr/local/zarvo/bin/zvBleD & ble=$!
$EMULATOR /usr/local/zarvo/bin/zvNetD & net=$!
tries=0
until [ -S /run/zarvo/zvControlD.sock ] && [ -e /dev/mqueue/to_zvnet ] && [ -e /dev/mqueue/to_ble ]; do
    tries=$((tries + 1)); [ $tries -lt 300 ] || exit 1; sleep 0.1
done
ask() {
    echo "<$1>"; PATH_INFO=$1 QUERY_STRING=$2 $EMULATOR /usr/local/zarvo/bin/zvControl-cgi-bin; echo; echo "<end>"
}
ask "" ""
ask /command/ble/pairing_available ""
ask /command/ble/configure ""
ask /execute "p1=zvStream&c1=stop"
kill $net $ble $control
wait $net && wait $ble && wait $control && echo "<all daemons ended well>"
"""


def run(*words, **options):
    done = subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **options)
    assert done.returncode == 0, done.stdout
    return done.stdout


def cached(folder, name):
    with open(os.path.join(folder, "CMakeCache.txt"), encoding="utf-8") as cache:
        found = re.search(f"^{name}:[A-Z]+=(.*)$", cache.read(), re.MULTILINE)
    return found[1] if found else ""


@pytest.fixture(scope="module")
def cross(gateway_dir):
    return os.path.isdir(os.path.join(gateway_dir, "emulated"))


@pytest.fixture(scope="module")
def standalone(gateway_dir):
    return cached(gateway_dir, "ZV_STANDALONE") == "ON"


@pytest.fixture(scope="module")
def packages(gateway_dir, tmp_path_factory):
    """The packages, by their names."""
    folder = tmp_path_factory.mktemp("packages")
    run("cpack", "-B", str(folder), cwd=gateway_dir)
    return {run("dpkg-deb", "-f", str(path), "Package").strip(): path for path in folder.glob("*.deb")}


def members(package):
    lines = run("dpkg-deb", "-c", str(package)).splitlines()
    return {line.split()[5][len(f"./{PREFIX}/"):] for line in lines if not line.startswith("d")}


def field(package, name):
    return run("dpkg-deb", "-f", str(package), name).strip()


def test_each_package_holds_its_component_and_nothing_is_in_two(packages, standalone):
    gateway = packages["zvcontrol-gateway-standalone" if standalone else "zvcontrol-gateway"]
    contents = {name: members(path) for name, path in packages.items()}
    assert members(gateway) == GATEWAY
    if standalone:
        assert "zvcontrol-platform" not in packages
    else:
        assert contents["zvcontrol-platform"] == PLATFORM
    camera = contents["zvcontrol-camera"]
    assert PROGRAMS <= camera
    assert len([name for name in camera if re.fullmatch(r"etc/[a-z0-9_]+/settings\.json", name)]) == 16
    development = contents["zvcontrol-dev"]
    assert {"lib/libzvCommon.a", "include/zvLog.h", "include/zvCtrlD.h", "include/csi.h"} <= development
    everything = [name for held in contents.values() for name in held]
    assert len(everything) == len(set(everything))


def test_packages_are_for_the_processor_they_were_built_for(packages, cross):
    native = run("dpkg", "--print-architecture").strip()
    assert {field(path, "Architecture") for path in packages.values()} == {"armhf" if cross else native}


def test_gateway_package_leaves_the_closed_libraries_to_the_maker(packages, standalone):
    if standalone:
        assert field(packages["zvcontrol-gateway-standalone"], "Conflicts") == "zvcontrol-gateway"
        assert field(packages["zvcontrol-gateway-standalone"], "Depends") == ""
    else:
        assert "zvcontrol" not in field(packages["zvcontrol-gateway"], "Depends")
        assert field(packages["zvcontrol-gateway"], "Recommends") == "zvcontrol-platform"


def test_install_with_destdir_puts_the_same_files_in_place(gateway_dir, packages, tmp_path):
    run("cmake", "--install", gateway_dir, env=dict(os.environ, DESTDIR=str(tmp_path)))
    installed = {os.path.relpath(os.path.join(folder, name), tmp_path / PREFIX)
                 for folder, _, files in os.walk(tmp_path) for name in files}
    assert installed == {name for path in packages.values() for name in members(path)}


def copy_native(root, program):
    """A program of this machine with its libraries."""
    listed = run("ldd", program)
    for path in [program, *re.findall(r"(/\S+) \(0x", listed)]:
        target = root / path[1:]
        target.parent.mkdir(parents=True, exist_ok=True)
        if not target.exists():
            shutil.copy(path, target)


def copy_runtime(root, cross):
    """libc6, libgcc-s1 and libstdc++6, as a Debian system of that processor has them."""
    if not cross:
        for name in ("libc.so.6", "libm.so.6", "libgcc_s.so.1", "libstdc++.so.6"):
            path = run("gcc", f"-print-file-name={name}").strip()
            target = root / "lib/x86_64-linux-gnu" / name
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(os.path.realpath(path), target)
        loader = "/lib64/ld-linux-x86-64.so.2"
        (root / "lib64").mkdir(exist_ok=True)
        shutil.copy(os.path.realpath(loader), root / loader[1:])
        return
    source = "/usr/arm-linux-gnueabihf/lib"
    target = root / "lib/arm-linux-gnueabihf"
    target.mkdir(parents=True)
    for name in ("libc.so.6", "libm.so.6", "libgcc_s.so.1", "libstdc++.so.6"):
        shutil.copy(os.path.realpath(f"{source}/{name}"), target / name)
    shutil.copy(os.path.realpath(f"{source}/ld-linux-armhf.so.3"), root / "lib/ld-linux-armhf.so.3")


def test_installed_packages_run_in_an_empty_root(packages, cross, tmp_path):
    root = tmp_path / "root"
    for folder in ("bin", "dev", "proc", "run/zarvo", "tmp", "etc", "var/lib/dpkg/updates", "var/lib/dpkg/info"):
        (root / folder).mkdir(parents=True)
    (root / "var/lib/dpkg/status").touch()
    # The libraries that the packages depend on come below without packages.
    wanted = [str(path) for name, path in packages.items() if name != "zvcontrol-dev"]
    run("bwrap", "--unshare-user", "--uid", "0", "--gid", "0", "--bind", "/", "/", "--dev", "/dev", "--",
        "dpkg", f"--root={root}", "--force-depends", "--force-architecture", "--force-not-root", "--log=/dev/null",
        "--install", *wanted, env={**os.environ, "PATH": "/usr/sbin:/sbin:" + os.environ["PATH"]})
    copy_runtime(root, cross)
    copy_native(root, shutil.which("busybox") or "/bin/busybox")
    busybox = os.path.realpath(shutil.which("busybox") or "/bin/busybox")
    os.makedirs(root / "bin", exist_ok=True)
    shutil.copy(busybox, root / "bin/busybox")
    for name in ("sh", "killall", "sleep"):
        os.symlink("busybox", root / "bin" / name)
    emulator = ""
    if cross:
        emulator = shutil.which("qemu-arm")
        copy_native(root, emulator)

    output = run("bwrap", "--die-with-parent", "--unshare-user", "--unshare-ipc", "--unshare-pid", "--bind", str(root), "/",
                 "--dev", "/dev", "--mqueue", "/dev/mqueue", "--proc", "/proc", "--tmpfs", "/tmp", "--dir", "/tmp/fuse_d",
                 "--clearenv", "--setenv", "PATH", "/bin", "--setenv", "EMULATOR", emulator, "--", "/bin/sh", "-c", SCRIPT)
    answers = dict(re.findall(r"<([^>]*)>\n(.*?)\n<end>", output.replace("\r\n", "\n"), re.DOTALL))
    description = json.loads(answers[""].partition("\n\n")[2])
    assert description["model"] == "abru" and description["info"]["model_number"] == 13
    assert answers["/command/ble/pairing_available"] == "Status: 200 OK\nContent-Type: application/json\n\n{}"
    assert re.fullmatch(r'Status: 200 OK\nContent-Type: application/json\n\n\n\{"auto_connect":[01]\}\n',
                        answers["/command/ble/configure"])
    assert answers["/execute"].endswith('Content-type: application/json\nStatus: 200\n\n{"status":"0"}\n\n')
    assert "<all daemons ended well>" in output
