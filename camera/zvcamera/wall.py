"""What the camera's programs may not ask of the kernel, as a seccomp filter.

`execute` runs whatever commands a client sends, so the sandbox has to hold whoever uses it. Namespaces decide what the
camera's programs see; the filter takes away the calls by which they could come out of these, or leave something behind
that outlives the camera. A refused call fails with EPERM, as if the user were not allowed to make it.
"""

import errno
import os
import socket
import stat

import seccomp

# Never needed, whatever the arguments.
_REFUSED = (
    # other mounts and namespaces
    "mount", "umount2", "pivot_root", "chroot", "move_mount", "open_tree", "mount_setattr", "fsopen", "fsconfig",
    "fsmount", "fspick", "setns", "unshare", "open_by_handle_at",
    # the kernel itself
    "bpf", "init_module", "finit_module", "delete_module", "kexec_load", "kexec_file_load", "perf_event_open", "syslog",
    "reboot", "swapon", "swapoff", "acct", "quotactl", "iopl", "ioperm", "settimeofday", "clock_settime", "adjtimex",
    "clock_adjtime", "userfaultfd",
    # keys, and memory of others
    "add_key", "keyctl", "request_key", "process_vm_readv", "process_vm_writev", "process_madvise",
)
_TRACING = ("ptrace",)  # the leak checker of a sanitizer needs it

# Programs that find these missing take older calls, whose arguments can be seen.
_MISSING = ("clone3", "openat2", "io_uring_setup", "io_uring_enter", "io_uring_register")

_NAMESPACES = (0x00020000, 0x02000000, 0x04000000, 0x08000000, 0x10000000, 0x20000000, 0x40000000)  # CLONE_NEW*
_TERMINAL_INPUT = (0x5412, 0x541C)  # TIOCSTI, TIOCLINUX: typing into the terminal of the starter
_FCHMODAT2 = 452  # newer than the library's names, as are the next two
_PIDFD_GETFD = 438  # descriptors of others
_OPEN_TREE_ATTR = 467
_TMPFILE = 0o20000000  # the bit of O_TMPFILE beside O_DIRECTORY
# Kinds of sockets: beside those of the network, a file and the kernel's lists, none is needed. Some of the others know no
# network namespaces, as the one that leads out of a virtual machine to its host.
_LAST_KIND = socket.AF_NETLINK
_KINDS = (socket.AF_UNIX, socket.AF_INET, socket.AF_INET6, socket.AF_NETLINK)
# Data that go out before the other side has accepted: the filter of the camera's port could not hold them back.
_FAST_OPEN = {"sendto": 3, "sendmsg": 2, "sendmmsg": 3}  # the place of the flags
_FAST_OPEN_OPTIONS = (30, 34)  # TCP_FASTOPEN_CONNECT, TCP_FASTOPEN_NO_COOKIE
_SET_ID = (stat.S_ISUID, stat.S_ISGID)

# Calls that set a file's mode: the place of the mode among the arguments.
_CHANGING = {"chmod": 1, "fchmod": 1, "fchmodat": 2, _FCHMODAT2: 2, "creat": 1, "mknod": 1, "mknodat": 2}
_OPENING = {"open": 1, "openat": 2}  # the place of the flags; the mode follows, and counts when a file is made


def _has(place, bit):
    return seccomp.Arg(place, seccomp.MASKED_EQ, bit, bit)


def _is(place, number):
    """Of a number of 32 bits: the kernel does not look at the others."""
    return seccomp.Arg(place, seccomp.MASKED_EQ, 0xFFFFFFFF, number)


def _refuse(rules, name, *conditions, error=errno.EPERM):
    rules.add_rule(seccomp.ERRNO(error), name, *conditions)


def _refuse_set_id(rules):
    for bit in _SET_ID:
        for name, place in _CHANGING.items():
            _refuse(rules, name, _has(place, bit))
        for name, place in _OPENING.items():
            for making in (os.O_CREAT, _TMPFILE):
                _refuse(rules, name, _has(place, making), _has(place + 1, bit))


def _refuse_sockets(rules):
    _refuse(rules, "socket", seccomp.Arg(0, seccomp.GT, _LAST_KIND))
    for kind in range(_LAST_KIND):
        if kind not in _KINDS:
            _refuse(rules, "socket", seccomp.Arg(0, seccomp.EQ, kind))
    for name, place in _FAST_OPEN.items():
        _refuse(rules, name, _has(place, socket.MSG_FASTOPEN))
    for option in _FAST_OPEN_OPTIONS:
        _refuse(rules, "setsockopt", _is(1, socket.IPPROTO_TCP), _is(2, option))


def filter_program(*, tracing=False):
    """A descriptor, at its start, of the compiled filter. tracing: leave the programs the calls that debuggers need."""
    rules = seccomp.SyscallFilter(defaction=seccomp.ALLOW)
    for name in _REFUSED + (() if tracing else _TRACING):
        _refuse(rules, name)
    for name in _MISSING:
        _refuse(rules, name, error=errno.ENOSYS)
    for flag in _NAMESPACES:
        _refuse(rules, "clone", _has(0, flag))
    for request in _TERMINAL_INPUT:
        _refuse(rules, "ioctl", _is(1, request))
    for name in (_PIDFD_GETFD, _OPEN_TREE_ATTR):
        _refuse(rules, name)
    _refuse_sockets(rules)
    _refuse_set_id(rules)
    program = os.memfd_create("filter")
    with os.fdopen(os.dup(program), "wb") as file:
        rules.export_bpf(file)
    os.lseek(program, 0, os.SEEK_SET)
    return program
