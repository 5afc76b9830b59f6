"""The camera's view of the machine, as arguments of bubblewrap: /usr, what programs need to start, and the camera's own
files, all read-only; its run folder and its storage."""

import os

from . import sandbox

INSTALLATION = "/usr/local/zarvo"
CONTROL_PROGRAM = "zvControl-cgi-bin"
RESIDENT_PROGRAM = "zvControl-scgi"
GATEWAY_PROGRAMS = (CONTROL_PROGRAM, RESIDENT_PROGRAM)
PROGRAMS = (*GATEWAY_PROGRAMS, "zvStream", "zvControlD", "zvNetD", "zvBleD")
LIBRARIES = ("libzvCtrlD.so", "libcsi.so")  # missing where they are linked into the program
HOUSE = "/opt/zvcamera"  # the files of the simulation that are not the camera's own

ENVIRONMENT = {
    "PATH": "/usr/sbin:/usr/bin:/sbin:/bin",
    "LANG": "C.UTF-8",
    "HOME": "/tmp",
    "PYTHONDONTWRITEBYTECODE": "1",
}


def find(build_dir, name):
    """The path of a program or library in a build folder, or in a folder where it was installed."""
    for folder in ("", "bin", "lib"):
        path = os.path.join(build_dir, folder, name)
        if os.path.isfile(path):
            return path
    return os.path.join(build_dir, name)


def _installation(build_dir, gateway_dir):
    """The daemons of build_dir, and the gateway's programs of gateway_dir with the libraries that they need."""
    pairs = []
    for name in PROGRAMS:
        pairs += _program(gateway_dir if name in GATEWAY_PROGRAMS else build_dir, name)
    place = f"{INSTALLATION}/target/lib" if emulated(gateway_dir) else f"{INSTALLATION}/lib"
    libraries = [(find(gateway_dir, name), f"{place}/{name}") for name in LIBRARIES]
    return pairs + [pair for pair in libraries if os.path.exists(pair[0])]


def emulated(build_dir):
    """Whether the folder's programs are for another processor. Scripts in it then start them in the emulator."""
    return os.path.isdir(os.path.join(build_dir, "emulated"))


def _program(build_dir, name):
    place = f"{INSTALLATION}/bin/{name}"
    program = find(build_dir, name)
    if not emulated(build_dir):
        return [(program, place)]
    scripts = os.path.join(build_dir, "emulated")
    return [(os.path.join(scripts, name), place), (program, f"{INSTALLATION}/target/bin/{name}"),
            (os.path.realpath(os.path.join(scripts, "emulator")), f"{INSTALLATION}/target/emulator/{name}")]


def _contract(build_dir, camera_dir):
    """The folder of the contract for HTTP clients: made by a build, or installed."""
    return next(filter(os.path.isdir, (os.path.join(folder, "contract") for folder in (build_dir, camera_dir))), None)


def _house(build_dir, camera_dir, scenario):
    pairs = [(os.path.join(camera_dir, "zvcamera"), f"{HOUSE}/zvcamera"),
             (os.path.join(camera_dir, "web"), f"{HOUSE}/web"),
             (os.path.join(camera_dir, "page"), f"{HOUSE}/page"),
             (os.path.join(camera_dir, "scenarios"), f"{HOUSE}/scenarios"),
             (os.path.join(build_dir, "etc"), f"{HOUSE}/settings")]
    if contract := _contract(build_dir, camera_dir):  # missing where nobody has built since it is there
        pairs.append((contract, f"{HOUSE}/contract"))
    if scenario:
        pairs.append((scenario, f"{HOUSE}/scenario.json"))
    return pairs


def _machine():
    """The machine's files that a program needs to start."""
    words = ["--ro-bind", "/usr", "/usr", "--perms", "0777", "--tmpfs", "/usr/local",
             "--perms", "0777", "--dir", f"{INSTALLATION}/etc"]
    for name in ("bin", "sbin", "lib", "lib32", "lib64", "libx32"):
        if os.path.islink(f"/{name}"):
            words += ["--symlink", os.readlink(f"/{name}"), f"/{name}"]
    for path in ("/etc/ld.so.cache", "/etc/localtime", "/etc/alternatives"):
        words += ["--ro-bind-try", path, path]
    return words


def probe():
    """bubblewrap's options for a program that ends at once, between walls like a camera's."""
    return [*sandbox.walls("own"), *sandbox.folders(), *_machine(), "--", *sandbox.command(["/bin/true"])]


def arguments(*, build_dir, gateway_dir, camera_dir, run_dir, fuse_d, stage, scenario=None, more=(), network="own"):
    """bubblewrap's options.

    stage: a folder for copies of what the camera's user may not read. more: pairs of paths (a file on the machine, its
    place in the camera). network: one of sandbox.NETWORKS.
    """
    pairs = [*_installation(build_dir, gateway_dir), *_house(build_dir, camera_dir, scenario), *more]
    words = [*sandbox.walls(network), *sandbox.folders(), *_machine(),
             "--bind", run_dir, "/run/zarvo", "--bind", fuse_d, "/tmp/fuse_d",
             *sandbox.read_only(pairs, stage), "--chdir", "/tmp", "--clearenv"]
    for name, value in ENVIRONMENT.items():
        words += ["--setenv", name, value]
    return words
