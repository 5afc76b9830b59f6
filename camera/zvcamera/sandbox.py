"""The walls around the camera's programs, as arguments of bubblewrap.

`execute` runs whatever commands a client sends. So the sandbox has to hold them:

- They never have root's rights: when root brings the camera up, they run as a user of their own, without capabilities.
- Of the machine's files they see /usr and what the camera needs, read-only; /proc/sys too.
- They have process, message queue and network namespaces of their own, and an environment of their own.
- The kernel refuses them what a camera never needs (wall.py).
"""

import contextlib
import functools
import os
import pathlib
import pwd
import resource
import shutil
import stat

# The number of the user as whom the programs run when root starts them. Nobody else may have it.
_FIRST_USER = 65433
NETWORKS = ("own", "host")
LOG_SOCKET = "/run/log"  # where /dev/log leads: bubblewrap makes /dev as the user that starts it


def _is_free(number):
    try:
        pwd.getpwuid(number)
    except KeyError:
        return True
    return False


def _is_mapped(number):
    """Whether the number exists here. Root of a user namespace may be the only user in it: an ordinary one outside."""
    with open("/proc/self/uid_map", encoding="ascii") as ranges:
        return any(int(first) <= number < int(first) + int(count) for first, _, count in map(str.split, ranges))


@functools.cache
def user():
    """The number of the user as whom the camera's programs run: never that of the machine's root."""
    if os.getuid() == 0:
        for number in range(_FIRST_USER, 0, -1):
            if _is_mapped(number) and _is_free(number):
                return number
    return os.getuid()


def _changes_user():
    return user() != os.getuid()


def give(path, folder=None):
    """Makes a file or folder that of the user as whom the camera's programs run. folder: the descriptor of the one that
    the path counts from."""
    if _changes_user():
        os.chown(path, user(), user(), dir_fd=folder, follow_symlinks=False)


def lift_limits():
    """Lifts the limit of this process, and so of the cameras that it starts, on bytes in message queues.

    The kernel counts them by user, and all cameras that root starts have the same one: they would take the room from
    each other.
    """
    if _changes_user():
        with contextlib.suppress(OSError, ValueError):
            resource.setrlimit(resource.RLIMIT_MSGQUEUE, (resource.RLIM_INFINITY, resource.RLIM_INFINITY))


def command(words):
    """The command that bubblewrap has to start, so that a program with these words runs as user()."""
    if not _changes_user():
        return words
    number = str(user())
    return ["/usr/bin/setpriv", "--reuid", number, "--regid", number, "--clear-groups", "--inh-caps=-all",
            *words]


def walls(network):
    """bubblewrap's options. network: "own" has only loopback and the listening socket that is handed in; "host" is the
    machine's."""
    words = ["--die-with-parent", "--unshare-ipc", "--unshare-pid", "--cap-drop", "ALL"]
    if _changes_user():
        words += ["--cap-add", "CAP_SETUID", "--cap-add", "CAP_SETGID"]  # for command(); they go with root's number
    else:
        words.append("--unshare-user-try")
    if network == "own":
        words.append("--unshare-net")
    return words


def folders():
    """The camera's own system folders, and those that every program may write to."""
    words = ["--proc", "/proc", "--ro-bind", "/proc/sys", "/proc/sys", "--dev", "/dev", "--mqueue", "/dev/mqueue"]
    for folder in ("/tmp", "/run", "/dev/shm"):
        words += ["--perms", "1777", "--tmpfs", folder]
    for folder in ("/etc", "/srv"):
        words += ["--perms", "0777", "--dir", folder]
    return words + ["--symlink", LOG_SOCKET, "/dev/log"]


def _is_open(path):
    """Whether any user may read the file, or the folder and all that is in it."""
    if os.path.isdir(path):
        return (os.stat(path).st_mode & 0o005 == 0o005
                and all(_is_open(os.path.join(path, name)) for name in os.listdir(path)))
    mode = os.stat(path).st_mode
    return bool(mode & stat.S_IROTH) and (not mode & stat.S_IXUSR or bool(mode & stat.S_IXOTH))


def _copy(path, place):
    if os.path.isdir(path):
        os.mkdir(place, 0o755)
        for name in os.listdir(path):
            _copy(os.path.join(path, name), os.path.join(place, name))
    else:
        shutil.copyfile(path, place)
        os.chmod(place, 0o755 if os.access(path, os.X_OK) else 0o644)


def _parents(places):
    """Options that make the folders above the places. bubblewrap would make them for its own user alone."""
    folders = {os.path.join(*parts[:end]) for parts in (pathlib.PurePath(place).parts for place in places)
               for end in range(2, len(parts))}
    return [word for folder in sorted(folders) for word in ("--perms", "0777", "--dir", folder)]


def read_only(pairs, stage):
    """Options that show files of the machine in the camera. pairs: the file, its place in the camera. What root alone
    may read is copied to the folder `stage`, since the programs do not run as root."""
    words = _parents(place for _, place in pairs)
    for number, (path, place) in enumerate(pairs):
        if _changes_user() and not _is_open(path):
            copied = os.path.join(stage, str(number))
            _copy(path, copied)
            path = copied
        words += ["--ro-bind", path, place]
    return words
