"""The Debian packages and `cmake --install`: what they hold, and that the programs need nothing else to run.

The root of the test holds the packages, the libraries that they depend on, and busybox as shell, killall and web
server.
"""

import json
import os
import re
import shutil
import subprocess

import house
import pytest

pytestmark = [pytest.mark.thorough, pytest.mark.packages, pytest.mark.xdist_group("installation")]

PREFIX = "usr/local/zarvo"
GATEWAY = {"bin/zvControl-cgi-bin", "bin/zvControl-scgi", "share/web/busybox-control",
           *(f"share/web/{server}{way}.conf" for server in ("lighttpd", "nginx") for way in ("", "-scgi")),
           *(f"share/init/zvcontrol-scgi.{kind}" for kind in ("inittab", "service", "socket"))}
PLATFORM = {"lib/libzvCtrlD.so", "lib/libcsi.so"}
PROGRAMS = {"bin/zvControlD", "bin/zvNetD", "bin/zvBleD", "bin/zvStream", "bin/zvcam", "bin/zvcamera"}

# Runs inside the root. Prints each answer between marks.
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
mkdir -p www/cgi-bin && ln -s /usr/local/zarvo/share/web/busybox-control www/cgi-bin/control
httpd -f -p 127.0.0.1:8080 -h www & httpd=$!
over_http() { wget -q -O - "http://127.0.0.1:8080/cgi-bin/control$1"; }
tries=0
until over_http /command/ble/configure >/dev/null; do
    tries=$((tries + 1)); [ $tries -lt 300 ] || exit 1; sleep 0.1
done
echo "<over HTTP>"; over_http /command/ble/configure; echo; echo "<end>"
if [ -z "$EMULATOR" ]; then
    over_http "/execute?p1=zvStream&c1=start&a1=-x" >/dev/null
    tries=0
    until pidof zvStream >/dev/null; do tries=$((tries + 1)); [ $tries -lt 300 ] || exit 1; sleep 0.1; done
    over_http "/execute?p1=zvStream&c1=stop" >/dev/null
    tries=0
    while pidof zvStream >/dev/null; do tries=$((tries + 1)); [ $tries -lt 300 ] || exit 1; sleep 0.1; done
fi
kill $httpd $net $ble $control
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
    """Name -> package file."""
    return packed(gateway_dir, tmp_path_factory.mktemp("packages"))


def packed(gateway_dir, folder):
    """Makes the packages at a fixed time, as a user whose umask keeps everybody else out."""
    run("cpack", "-B", str(folder), cwd=gateway_dir, umask=0o077, env=dict(os.environ, SOURCE_DATE_EPOCH="1700000000"))
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


def names(package, relation):
    """Names of the packages in a field, without versions."""
    return re.findall(r"(?:^|[,|] )([a-z0-9.+-]+)", field(package, relation))


def test_gateway_package_leaves_the_closed_libraries_to_the_maker(packages, standalone):
    gateway, other = "zvcontrol-gateway", "zvcontrol-gateway-standalone"
    if standalone:
        gateway, other = other, gateway
        assert names(packages[gateway], "Depends") == []
        assert names(packages[gateway], "Provides") == [other]
        assert names(packages[gateway], "Recommends") == ["psmisc"]
    else:
        assert names(packages[gateway], "Depends") == ["libc6", "libgcc-s1", "libstdc++6"]
        assert names(packages[gateway], "Recommends") == ["zvcontrol-platform", "psmisc"]
    assert names(packages[gateway], "Conflicts") == names(packages[gateway], "Replaces") == [other]


def test_simulated_camera_brings_the_libraries_that_the_gateway_wants(packages):
    wanted = field(packages["zvcontrol-camera"], "Depends")
    assert "zvcontrol-platform | zvcontrol-gateway-standalone" in wanted.split(", ")
    named = set(names(packages["zvcontrol-camera"], "Depends"))
    assert {"zvcontrol-gateway", "bubblewrap", "lighttpd", "psmisc", "python3"} <= named


def test_everybody_may_read_and_root_owns_the_files(packages):
    for package in packages.values():
        for line in run("dpkg-deb", "-c", str(package)).splitlines():
            mode, owner, _, _, _, name = line.split()
            program = "/bin/" in name or name.endswith("/busybox-control")
            wanted = "drwxr-xr-x" if name.endswith("/") else "-rwxr-xr-x" if program else "-rw-r--r--"
            assert (mode, owner, name) == (wanted, "root/root", name)


def test_nothing_tells_where_it_was_built(packages, tmp_path):
    unwanted = re.compile("|".join(map(re.escape, {house.ROOT, os.path.realpath(house.ROOT)})).encode())
    seen = 0
    for name, package in packages.items():
        run("dpkg-deb", "-R", str(package), str(tmp_path / name))
    for folder, _, files in os.walk(tmp_path):
        for name in files:
            with open(os.path.join(folder, name), "rb") as file:
                seen += 1
                assert not unwanted.search(file.read()), os.path.join(folder, name)
    assert seen > 60


def test_packing_again_makes_the_same_packages(gateway_dir, packages, tmp_path):
    again = packed(gateway_dir, tmp_path)
    assert set(again) == set(packages)
    assert [name for name in packages if packages[name].read_bytes() != again[name].read_bytes()] == []


def empty_root(folder):
    """Makes an empty root in which dpkg can install."""
    for name in ("updates", "info"):
        (folder / "var/lib/dpkg" / name).mkdir(parents=True)
    (folder / "var/lib/dpkg/status").touch()
    return folder


def dpkg(root, *words):
    # --force-depends: the packages depend on others, and this root has none.
    return run("bwrap", "--unshare-user", "--uid", "0", "--gid", "0", "--bind", "/", "/", "--dev", "/dev", "--",
               "dpkg", f"--root={root}", "--force-depends", "--force-architecture", "--force-not-root",
               "--log=/dev/null", *words,
               env={**os.environ, "PATH": "/usr/sbin:/sbin:" + os.environ["PATH"]})


def files_below(root):
    return {os.path.relpath(os.path.join(folder, name), root)
            for folder, _, files in os.walk(root) for name in files if not folder.startswith(f"{root}/var/")}


def test_upgrade_and_removal(packages, standalone, tmp_path):
    root = empty_root(tmp_path / "root")
    # The gateway of the other shape is installed already, in the same place.
    other = "zvcontrol-gateway" if standalone else "zvcontrol-gateway-standalone"
    before = tmp_path / "other"
    for name in ("DEBIAN", f"{PREFIX}/bin"):
        (before / name).mkdir(parents=True)
    (before / "DEBIAN/control").write_text(
        f"Package: {other}\nVersion: 1\nArchitecture: all\nMaintainer: a <a@localhost>\nDescription: a\n")
    for name in ("bin/zvControl-cgi-bin", "only-here"):
        (before / PREFIX / name).write_text("before")
    run("dpkg-deb", "--root-owner-group", "-b", str(before), str(tmp_path / "other.deb"))
    dpkg(root, "--install", str(tmp_path / "other.deb"))

    everything = {f"{PREFIX}/{name}" for package in packages.values() for name in members(package)}
    for _ in range(2):
        dpkg(root, "--install", *map(str, packages.values()))
        assert files_below(root) == everything
    listed = run("dpkg-query", f"--admindir={root}/var/lib/dpkg",
                 "-W", "-f", "${Package} ${db:Status-Status}\n").splitlines()
    assert (sorted(line for line in listed if line.endswith(" installed"))
            == sorted(f"{name} installed" for name in packages))
    dpkg(root, "--remove", *packages)
    assert files_below(root) == set()


def test_development_package_is_enough_to_build_with(packages, cross, tmp_path):
    run("dpkg-deb", "-x", str(packages["zvcontrol-dev"]), str(tmp_path))
    tools = "arm-linux-gnueabihf-" if cross else ""
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
    emulator = ["qemu-arm", "-L", "/usr/arm-linux-gnueabihf"] if cross else []
    assert run(*emulator, str(tmp_path / "alone")) == "ZV_ERR_RESPONSE_ALREADY_SENT abru 10\n"


def test_install_with_destdir_puts_the_same_files_in_place(gateway_dir, packages, tmp_path):
    run("cmake", "--install", gateway_dir, env=dict(os.environ, DESTDIR=str(tmp_path)))
    installed = {os.path.relpath(os.path.join(folder, name), tmp_path / PREFIX)
                 for folder, _, files in os.walk(tmp_path) for name in files}
    assert installed == {name for path in packages.values() for name in members(path)}


def copy_native(root, program):
    """Copies a program of this machine, with its libraries."""
    listed = run("ldd", program)
    for path in [program, *re.findall(r"(/\S+) \(0x", listed)]:
        target = root / path[1:]
        target.parent.mkdir(parents=True, exist_ok=True)
        if not target.exists():
            shutil.copy(path, target)


def copy_runtime(root, cross):
    """Copies libc6, libgcc-s1 and libstdc++6 to where a Debian system of that processor has them."""
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
    root = empty_root(tmp_path / "root")
    for folder in ("bin", "dev", "proc", "run/zarvo", "tmp", "etc"):
        (root / folder).mkdir(parents=True)
    dpkg(root, "--install", *(str(path) for name, path in packages.items() if name != "zvcontrol-dev"))
    copy_runtime(root, cross)
    copy_native(root, shutil.which("busybox") or "/bin/busybox")
    busybox = os.path.realpath(shutil.which("busybox") or "/bin/busybox")
    os.makedirs(root / "bin", exist_ok=True)
    shutil.copy(busybox, root / "bin/busybox")
    for name in ("sh", "cat", "httpd", "killall", "ln", "mkdir", "pidof", "sleep", "wget"):
        os.symlink("busybox", root / "bin" / name)
    emulator = ""
    program = "/usr/local/zarvo/bin/zvControl-cgi-bin"
    if cross:
        emulator = shutil.which("qemu-arm")
        copy_native(root, emulator)
        (root / "bin/gateway").write_text(f'#!/bin/sh\nexec {emulator} {program} "$@"\n')
        os.chmod(root / "bin/gateway", 0o755)
        program = "/bin/gateway"

    output = run("bwrap", "--die-with-parent", "--unshare-user", "--unshare-ipc", "--unshare-pid", "--unshare-net",
                 "--bind", str(root), "/", "--dev", "/dev", "--mqueue", "/dev/mqueue", "--proc", "/proc",
                 "--tmpfs", "/tmp", "--dir", "/tmp/fuse_d",
                 "--clearenv", "--setenv", "PATH", "/bin", "--setenv", "EMULATOR", emulator,
                 "--setenv", "ZV_CONTROL_PROGRAM", program, "--", "/bin/sh", "-c", SCRIPT)
    answers = dict(re.findall(r"<([^>]*)>\n(.*?)\n<end>", output.replace("\r\n", "\n"), re.DOTALL))
    description = json.loads(answers[""].partition("\n\n")[2])
    assert description["model"] == "abru" and description["info"]["model_number"] == 13
    assert answers["/command/ble/pairing_available"] == "Status: 200 OK\nContent-Type: application/json\n\n{}"
    assert re.fullmatch(r'Status: 200 OK\nContent-Type: application/json\n\n\n\{"auto_connect":[01]\}\n',
                        answers["/command/ble/configure"])
    assert answers["/execute"].endswith('Content-type: application/json\nStatus: 200\n\n{"status":"0"}\n\n')
    assert re.fullmatch(r'\{"auto_connect":[01]\}', answers["over HTTP"].strip())
    assert "<all daemons ended well>" in output
