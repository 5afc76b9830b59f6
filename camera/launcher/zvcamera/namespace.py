"""The camera's view of the machine, as arguments of bubblewrap.

Own process, message queue and mount namespaces; the network is the machine's. Nothing of the machine's files is
visible but /usr (read-only) and what programs need to start.
"""

import os

INSTALLATION = "/usr/local/zarvo"
PROGRAMS = ("zvControl-cgi-bin", "zvStream", "zvControlD", "zvNetD", "zvBleD")
LIBRARIES = ("libzvCtrlD.so", "libcsi.so")  # absent where the program has them inside
HOUSE = "/opt/zvcamera"  # what the simulation needs beside the camera's own files

ENVIRONMENT = {
    "PATH": "/usr/sbin:/usr/bin:/sbin:/bin",
    "LANG": "C.UTF-8",
    "HOME": "/tmp",
    "PYTHONDONTWRITEBYTECODE": "1",
}


def _read_only(pairs):
    return [word for source, target in pairs for word in ("--ro-bind", source, target)]


def _installation(build_dir):
    programs = [(os.path.join(build_dir, name), f"{INSTALLATION}/bin/{name}") for name in PROGRAMS]
    libraries = [(os.path.join(build_dir, name), f"{INSTALLATION}/lib/{name}") for name in LIBRARIES
                 if os.path.exists(os.path.join(build_dir, name))]
    return _read_only(programs + libraries)


def _house(camera_dir, scenario):
    pairs = [(os.path.join(camera_dir, "launcher", "zvcamera"), f"{HOUSE}/zvcamera"),
             (os.path.join(camera_dir, "web"), f"{HOUSE}/web"),
             (os.path.join(camera_dir, "settings"), f"{HOUSE}/settings")]
    if scenario:
        pairs.append((scenario, f"{HOUSE}/scenario.json"))
    return _read_only(pairs)


def _machine():
    """What of the machine's own files a program needs to start."""
    words = ["--ro-bind", "/usr", "/usr", "--tmpfs", "/usr/local"]
    for name in ("bin", "sbin", "lib", "lib32", "lib64", "libx32"):
        if os.path.islink(f"/{name}"):
            words += ["--symlink", os.readlink(f"/{name}"), f"/{name}"]
    for path in ("/etc/ld.so.cache", "/etc/localtime", "/etc/alternatives"):
        words += ["--ro-bind-try", path, path]
    return words


def arguments(*, build_dir, camera_dir, run_dir, fuse_d, scenario=None):
    """bubblewrap's options."""
    words = ["--die-with-parent", "--unshare-user-try", "--unshare-ipc", "--unshare-pid", "--cap-drop", "ALL"]
    words += _machine()
    words += ["--proc", "/proc", "--dev", "/dev", "--mqueue", "/dev/mqueue", "--tmpfs", "/tmp", "--tmpfs", "/run",
              "--bind", run_dir, "/run/zarvo", "--bind", fuse_d, "/tmp/fuse_d"]
    words += _installation(build_dir) + _house(camera_dir, scenario)
    words += ["--chdir", "/tmp", "--clearenv"]
    for name, value in ENVIRONMENT.items():
        words += ["--setenv", name, value]
    return words
