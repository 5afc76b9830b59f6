"""The camera's view of the machine, as arguments of bubblewrap.

The camera has process, message queue and mount namespaces of its own, but shares the machine's network. Of the
machine's files it sees only /usr (read-only) and those that programs need to start.
"""

import os

INSTALLATION = "/usr/local/zarvo"
CONTROL_PROGRAM = "zvControl-cgi-bin"
PROGRAMS = (CONTROL_PROGRAM, "zvStream", "zvControlD", "zvNetD", "zvBleD")
LIBRARIES = ("libzvCtrlD.so", "libcsi.so")  # missing where they are linked into the program
HOUSE = "/opt/zvcamera"  # the files of the simulation that are not the camera's own

ENVIRONMENT = {
    "PATH": "/usr/sbin:/usr/bin:/sbin:/bin",
    "LANG": "C.UTF-8",
    "HOME": "/tmp",
    "PYTHONDONTWRITEBYTECODE": "1",
}


def _read_only(pairs):
    return [word for source, target in pairs for word in ("--ro-bind", source, target)]


def find(build_dir, name):
    """The path of a program or library in a build folder, or in a folder where it was installed."""
    for folder in ("", "bin", "lib"):
        path = os.path.join(build_dir, folder, name)
        if os.path.isfile(path):
            return path
    return os.path.join(build_dir, name)


def _installation(build_dir, gateway_dir):
    """The daemons of build_dir, and the control program of gateway_dir with the libraries that it needs."""
    words = []
    for name in PROGRAMS:
        words += _program(gateway_dir if name == CONTROL_PROGRAM else build_dir, name)
    place = f"{INSTALLATION}/target/lib" if emulated(gateway_dir) else f"{INSTALLATION}/lib"
    libraries = [(find(gateway_dir, name), f"{place}/{name}") for name in LIBRARIES]
    return words + _read_only([pair for pair in libraries if os.path.exists(pair[0])])


def emulated(build_dir):
    """Whether the folder's programs are for another processor. Scripts in it then start them in the emulator."""
    return os.path.isdir(os.path.join(build_dir, "emulated"))


def _program(build_dir, name):
    place = f"{INSTALLATION}/bin/{name}"
    program = find(build_dir, name)
    if not emulated(build_dir):
        return _read_only([(program, place)])
    scripts = os.path.join(build_dir, "emulated")
    return _read_only([(os.path.join(scripts, name), place), (program, f"{INSTALLATION}/target/bin/{name}"),
                       (os.path.realpath(os.path.join(scripts, "emulator")), f"{INSTALLATION}/target/emulator/{name}")])


def _house(build_dir, camera_dir, scenario):
    pairs = [(os.path.join(camera_dir, "zvcamera"), f"{HOUSE}/zvcamera"),
             (os.path.join(camera_dir, "web"), f"{HOUSE}/web"),
             (os.path.join(build_dir, "etc"), f"{HOUSE}/settings")]
    if scenario:
        pairs.append((scenario, f"{HOUSE}/scenario.json"))
    return _read_only(pairs)


def _machine():
    """The machine's files that a program needs to start."""
    words = ["--ro-bind", "/usr", "/usr", "--tmpfs", "/usr/local"]
    for name in ("bin", "sbin", "lib", "lib32", "lib64", "libx32"):
        if os.path.islink(f"/{name}"):
            words += ["--symlink", os.readlink(f"/{name}"), f"/{name}"]
    for path in ("/etc/ld.so.cache", "/etc/localtime", "/etc/alternatives"):
        words += ["--ro-bind-try", path, path]
    return words


_UNSHARED = ("--die-with-parent", "--unshare-user-try", "--unshare-ipc", "--unshare-pid", "--cap-drop", "ALL")
_KERNEL = ("--proc", "/proc", "--dev", "/dev", "--mqueue", "/dev/mqueue", "--tmpfs", "/tmp", "--tmpfs", "/run")


def probe():
    """bubblewrap's arguments for a program that ends at once, in namespaces like a camera's."""
    return [*_UNSHARED, *_machine(), *_KERNEL, "--", "/bin/true"]


def arguments(*, build_dir, gateway_dir, camera_dir, run_dir, fuse_d, scenario=None, more=()):
    """bubblewrap's options. more: pairs of paths (a file on the machine, its place in the camera)."""
    words = [*_UNSHARED, *_machine(), *_KERNEL, "--bind", run_dir, "/run/zarvo", "--bind", fuse_d, "/tmp/fuse_d"]
    words += _installation(build_dir, gateway_dir) + _house(build_dir, camera_dir, scenario) + _read_only(more)
    words += ["--chdir", "/tmp", "--clearenv"]
    for name, value in ENVIRONMENT.items():
        words += ["--setenv", name, value]
    return words
