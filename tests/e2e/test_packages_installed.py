"""The Debian packages installed: in an empty root, from one version to the next, and away again; and that the programs
need nothing else to run.

The root of the last test holds the packages, the libraries that they depend on, and busybox as shell, killall and web
server.
"""

import json
import os
import re
import shutil

import house
import pytest
from packing import PREFIX, as_user, field, members, paths, run

pytestmark = [pytest.mark.thorough, pytest.mark.packages, pytest.mark.xdist_group("installation")]

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


def empty_root(folder):
    """Makes an empty root in which dpkg can install."""
    for name in ("updates", "info"):
        (folder / "var/lib/dpkg" / name).mkdir(parents=True)
    (folder / "var/lib/dpkg/status").touch()
    return folder


def dpkg(root, *words):
    # --force-depends: the packages depend on others, and this root has none.
    return run(*as_user(0), "dpkg", f"--root={root}", "--force-depends", "--force-architecture", "--force-not-root",
               "--log=/dev/null", *words,
               env={**os.environ, "PATH": "/usr/sbin:/sbin:" + os.environ["PATH"]})


def files_below(root):
    return {path for path in paths(root) if not path.startswith("var/")}


def make_package(folder, name, version, files):
    """A package of an earlier day, or of another shape: files that say "before"."""
    (folder / name / "DEBIAN").mkdir(parents=True)
    (folder / name / "DEBIAN/control").write_text(
        f"Package: {name}\nVersion: {version}\nArchitecture: all\nMaintainer: a <a@localhost>\nDescription: a\n")
    for file in files:
        (folder / name / file).parent.mkdir(parents=True, exist_ok=True)
        (folder / name / file).write_text("before")
    run("dpkg-deb", "--root-owner-group", "-b", str(folder / name), str(folder / f"{name}.deb"))
    return str(folder / f"{name}.deb")


def installed(root):
    """The lines that dpkg has of the packages in a root."""
    return run("dpkg-query", f"--admindir={root}/var/lib/dpkg", "-W", "-f",
               "${Package} ${Version} ${db:Status-Status}\n").splitlines()


def test_upgrade_removal_and_purge(packages, standalone, gateway_dir, tmp_path):
    root = empty_root(tmp_path / "root")
    release = house.cached(gateway_dir, "CMAKE_PROJECT_VERSION")
    # The gateway of the other shape is installed already, in the same place; and an earlier camera.
    other = "zvcontrol-gateway" if standalone else "zvcontrol-gateway-standalone"
    dpkg(root, "--install",
         make_package(tmp_path, other, f"{release}-1", [f"{PREFIX}/bin/zvControl-cgi-bin", f"{PREFIX}/only-here"]),
         make_package(tmp_path, "zvcontrol-camera", f"{release}~rc1-1", [f"{PREFIX}/bin/zvcam", f"{PREFIX}/earlier"]))

    everything = {name for package in packages.values() for name in members(package)}
    for _ in range(2):
        dpkg(root, "--refuse-downgrade", "--install", *map(str, packages.values()))
        assert files_below(root) == everything
    version = field(packages["zvcontrol-camera"], "Version")
    assert (sorted(line for line in installed(root) if line.endswith(" installed"))
            == sorted(f"{name} {version} installed" for name in packages))
    dpkg(root, "--remove", *packages)
    assert files_below(root) == set()
    dpkg(root, "--purge", *packages, other)
    assert installed(root) == []
    left = [name for name in sorted(os.listdir(root)) if name != "var"]
    assert left == [] and os.listdir(root / "var/lib/dpkg/info") == ["format"]


# Whoever starts the gateway pays for each name that is looked up at once: 1.05 of a request's instructions.
LAZY = {"zvControl-cgi-bin", "libzvCtrlD.so", "libcsi.so"}


def test_programs_are_hardened(packages, processor, standalone, tmp_path):
    """As far as docs/hardening.md says."""
    for package in packages.values():
        run("dpkg-deb", "-x", str(package), str(tmp_path))
    binaries = [*(tmp_path / PREFIX / "bin").glob("zv[CNBS]*"), *(tmp_path / PREFIX / "lib").glob("*.so")]
    assert {path.name for path in binaries} == {
        "zvControl-cgi-bin", "zvControl-scgi", "zvControlD", "zvNetD", "zvBleD", "zvStream"} | (
        set() if standalone else {"libzvCtrlD.so", "libcsi.so"})
    for path in binaries:
        found = features(processor, path)
        static = standalone and path.name.startswith("zvControl-")
        expected = {"relro", "stack not executable"}
        if not static:
            expected |= {"position independent", "stack protector"}
            expected |= set() if path.name in LAZY else {"bind now"}
            expected |= set() if path.name == "libcsi.so" else {"fortify"}
        assert found == expected, path.name


def test_what_programs_are_linked_of_is_hardened(gateway_dir, processor):
    """Of a static program one cannot see it any more: whether its own code is, and not only that of the C library."""
    for name in ("libzv_command_ble.a", "libzvCommon.a", "libzvCtrlD_static.a"):
        called = run(f"{processor.tools}nm", "--undefined-only", os.path.join(gateway_dir, name)).split()
        assert "__stack_chk_fail" in called, name
        assert any(re.fullmatch(r"__(?!stack)\w+_chk", each) for each in called), name


def features(processor, path):
    """What of hardening a program or library shows."""
    read = f"{processor.tools}readelf"
    segments = run(read, "-lW", str(path))
    dynamic = run(read, "-dW", str(path))
    names = run(f"{processor.tools}nm", "-D", "--undefined-only", str(path)) if "DYNAMIC" in segments else ""
    stack = re.search(r"GNU_STACK +\S+ \S+ \S+ \S+ \S+ (\S+)", segments)
    return {name for name, there in {
        "relro": "GNU_RELRO" in segments,
        "stack not executable": stack is not None and "E" not in stack[1],
        "position independent": "Elf file type is DYN" in segments and "TEXTREL" not in dynamic,
        "bind now": bool(re.search(r"BIND_NOW|Flags:.*\bNOW\b", dynamic)),
        "stack protector": "__stack_chk_fail" in names,
        "fortify": bool(re.search(r"\b__\w+_chk\b(?<!__stack_chk)", names)),
    }.items() if there}


def copy_native(root, program):
    """Copies a program of this machine, with its libraries."""
    listed = run("ldd", program)
    for path in [program, *re.findall(r"(/\S+) \(0x", listed)]:
        target = root / path[1:]
        target.parent.mkdir(parents=True, exist_ok=True)
        if not target.exists():
            shutil.copy(path, target)


def copy_runtime(root, processor):
    """Copies libc6, libgcc-s1 and libstdc++6 to where a Debian system of that processor has them."""
    target = root / "lib" / processor.triplet
    target.mkdir(parents=True, exist_ok=True)
    for name in ("libc.so.6", "libm.so.6", "libgcc_s.so.1", "libstdc++.so.6"):
        path = run(f"{processor.tools}gcc", f"-print-file-name={name}").strip()
        if not (target / name).exists():
            shutil.copy(os.path.realpath(path), target / name)
    loader = root / processor.loader[1:]
    loader.parent.mkdir(exist_ok=True)
    source = f"{processor.root}/lib/{loader.name}" if processor.cross else processor.loader
    shutil.copy(os.path.realpath(source), loader)


def test_installed_packages_run_in_an_empty_root(packages, processor, tmp_path):
    root = empty_root(tmp_path / "root")
    for folder in ("bin", "dev", "proc", "run/zarvo", "tmp", "etc"):
        (root / folder).mkdir(parents=True)
    dpkg(root, "--install", *(str(path) for name, path in packages.items() if name != "zvcontrol-dev"))
    copy_runtime(root, processor)
    copy_native(root, shutil.which("busybox") or "/bin/busybox")
    busybox = os.path.realpath(shutil.which("busybox") or "/bin/busybox")
    os.makedirs(root / "bin", exist_ok=True)
    shutil.copy(busybox, root / "bin/busybox")
    for name in ("sh", "cat", "httpd", "killall", "ln", "mkdir", "pidof", "sleep", "wget"):
        os.symlink("busybox", root / "bin" / name)
    emulator = ""
    program = "/usr/local/zarvo/bin/zvControl-cgi-bin"
    if processor.cross:
        emulator = shutil.which(processor.emulator)
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
