"""How a request can be disturbed, and what it may answer then.

The system calls to fail are those of a trace of the undisturbed request, so a call that the program makes one day is
failed without anybody's doing. strace does the failing.
"""

import base64
import json
import re

LOG = "/tmp/disturbance"  # as inside.py has it
STRACE = "/usr/bin/strace"

# Which errors a call can have, by what it works on. One that comes from a signal or a full queue passes by itself, so
# it is given once only: for good, a loop that tries again would be right to go on.
_PASSING = ("EINTR", "EAGAIN")
_ERRORS = {
    ("open", "openat", "openat2", "readlink", "access", "faccessat", "faccessat2", "stat", "newfstatat", "statx"):
        ("EACCES", "ENOENT", "EMFILE", "ENFILE", "ENOMEM", "EINTR"),
    ("read", "pread64", "readv", "getdents64"): ("EIO", "EISDIR", "EINTR"),
    ("write", "pwrite64", "writev"): ("EIO", "ENOSPC", "EPIPE", "EINTR", "EAGAIN"),
    ("lseek", "fcntl", "fstat", "dup", "dup2", "dup3"): ("EIO", "ESPIPE", "EMFILE"),
    ("close",): ("EIO", "EINTR"),
    ("close_range",): ("ENOSYS", "EINVAL", "EMFILE"),
    ("mmap", "mremap", "mprotect", "munmap", "madvise"): ("ENOMEM",),
    ("socket", "socketpair"): ("EMFILE", "ENFILE", "ENOBUFS", "EAFNOSUPPORT"),
    ("connect",): ("ECONNREFUSED", "ENOENT", "EACCES", "EAGAIN", "EINTR"),
    ("setsockopt", "getsockopt", "ioctl"): ("ENOBUFS", "EDOM"),
    ("send", "sendto", "sendmsg"): ("ECONNREFUSED", "EPIPE", "ENOBUFS", "ENOTCONN", "EAGAIN", "EINTR"),
    ("recv", "recvfrom", "recvmsg"): ("ECONNRESET", "ENOMEM", "EAGAIN", "EINTR"),
    ("mq_open",): ("EMFILE", "ENFILE", "ENOSPC", "ENOMEM", "EACCES", "ENOENT"),
    ("mq_timedsend",): ("ETIMEDOUT", "EBADF", "EMSGSIZE", "EINTR", "EAGAIN"),
    ("mq_timedreceive",): ("ETIMEDOUT", "EBADF", "EINTR", "EAGAIN"),
    ("mq_unlink",): ("EACCES", "ENOENT"),
    ("poll", "ppoll", "select", "pselect6"): ("ENOMEM", "EINTR"),
    ("clone", "clone3", "fork", "vfork"): ("EAGAIN", "ENOMEM"),
    ("wait4", "waitid"): ("ECHILD", "EINTR"),
    ("nanosleep", "clock_nanosleep"): ("EINTR",),
    ("getrandom",): ("ENOSYS", "EAGAIN", "EINTR"),
}
_BY_CALL = {call: errors for calls, errors in _ERRORS.items() for call in calls}
_UNLISTED = ("ENOSYS", "EPERM", "ENOMEM")
_NEVER_REFUSED_FOR_LACK = ("clone", "fork", "vfork", "clone3")  # EAGAIN is a limit there, and stays
# Calls that cannot fail, and those that have no way back. In a single thread, futex wakes nobody, and that cannot fail.
_SPARED = ("execve", "exit_group", "exit", "getpid", "gettid", "getuid", "geteuid", "getppid", "rt_sigreturn",
           "restart_syscall", "futex")

SIGNALS = {"TERM": 15, "PIPE": 13, "HUP": 1, "KILL": 9}
_CALL = re.compile(r"^(\w+)\(", re.MULTILINE)


def disturbed(*around, **more):
    return {"around": list(around), **more}


def traced():
    return disturbed(STRACE, "-o", LOG)


class Calls:
    """The calls of an undisturbed request: name, number among those of its name, and whether the loader makes it."""

    def __init__(self, log):
        names = _CALL.findall(log)
        # The last thing that the loader does is to give back the list of libraries that it has read. What loads a
        # static program is in the program; the last thing that it does is to take away the right to write where it
        # has written.
        last = "munmap" if "ld.so.cache" in log else "mprotect"
        loaded = names.index(last) + 1 if last in names else 0
        counts = {}
        self.all = []
        for place, name in enumerate(names):
            counts[name] = counts.get(name, 0) + 1
            self.all.append((name, counts[name], place < loaded))

    def chosen(self, with_loader):
        return [(name, number, loading) for name, number, loading in self.all if with_loader or not loading]


def failing_calls(calls, with_loader):
    """One case for each call, error, and once or for good."""
    for name, number, loading in calls.chosen(with_loader):
        if name in _SPARED:
            continue
        errors = _BY_CALL.get(name, _UNLISTED)
        for error in errors:
            for ever in ("", "+"):
                if ever and error in _PASSING and name not in _NEVER_REFUSED_FOR_LACK:
                    continue
                # brk does not tell its failure by an error, but by the old end.
                how = "retval=0" if name == "brk" else f"error={error}"
                rule = f"{name}:{how}:when={number}{ever}"
                yield disturbed(STRACE, "-o", LOG, "-e", f"inject={rule}", rule=rule, call=name, loading=loading)
            if name == "brk":
                break


def kills(calls, with_loader):
    """One case for each call and signal. strace gives the signal while the call is made: KILL comes before its effect,
    the others after it."""
    for name, number, loading in calls.chosen(with_loader):
        for word, signal in SIGNALS.items():
            rule = f"{name}:signal={word}:when={number}"
            yield disturbed(STRACE, "-o", LOG, "-e", f"inject={rule}", rule=rule, call=name, loading=loading,
                            signal=signal)


def timed_kills(seconds, steps):
    """The same by the clock, where nothing traces the program."""
    for step in range(steps):
        after = seconds * step / steps
        for word, signal in SIGNALS.items():
            yield disturbed(rule=f"{word} after {after * 1000:.1f} ms", call=None, loading=False, signal=signal,
                            kill=[after, signal])


def failing_allocations(count, preload):
    """Each once, each and all later ones, and these where the first one has failed, too: it is the reserve by which
    C++ tells the lack of memory."""
    for number in range(1, count + 1):
        for rule in (f"{number}", f"{number}+", *([f"1:{number}+"] if number > 1 else [])):
            yield disturbed(rule=f"allocation {rule}", call="malloc", loading=False,
                            environment=preload(ZV_FAIL_ALLOCATION=rule))


# Judgement

_MEMORY_CALLS = ("mmap", "mremap", "brk", "malloc")
_TO_THE_CONTROL_DAEMON = ("socket", "setsockopt", "connect", "sendto", "sendmsg", "recvfrom", "recvmsg", "poll")


def _body(output):
    """Status and body of what a CGI program has written; None when it is no whole head."""
    head, separator, body = output.replace(b"\r\n", b"\n").partition(b"\n\n")
    status = re.search(rb"^Status: (\d{3})", head, re.MULTILINE)
    return (int(status[1]), body) if separator and status else None


def is_failure(output):
    """Whether this is a whole answer that tells a failure."""
    answer = _body(output)
    if not answer or answer[0] < 204 or answer[0] == 200:
        return False
    try:
        return json.loads(answer[1])["zverr"] < 0
    except (ValueError, KeyError, TypeError):
        return False


def _asked(messages):
    return [message for message in messages if message[1] == "in"]


def _answer_is_wrong(case, result, reference):
    """What is wrong with the answer, or None. A silent program lets the web server answer with a failure."""
    output, right = (base64.b64decode(each["stdout"]) for each in (result, reference))
    if output == right:
        if not is_failure(right):
            if result["effect"] is False:
                return "says that it is done, but it is not"
            for message in _asked(reference["messages"]):
                if message not in result["messages"]:
                    return f"says that it is done, but the daemon was not asked: {message}"
        return None
    if right.startswith(output) and ("signal" in case or case["call"] in ("write", "writev")):
        return None  # nobody takes it, or nobody is there to give it
    if output == b"":
        if case["loading"] or case["call"] in _MEMORY_CALLS + _TO_THE_CONTROL_DAEMON:
            return None
        return "no answer"
    if is_failure(output):
        return None
    head, separator, _ = right.partition(b"\r\n\r\n")
    if head.startswith(b"Content-Length:") and right.startswith(output) and output.startswith(head + separator):
        return None  # shorter than announced, which the client sees
    return f"not the right answer, nor one that tells a failure: {output[:300]!r}"


def wrongs(case, result, reference):
    """All that is wrong with what a disturbed request has done, as a list of texts."""
    found = []
    if result["hung"]:
        found.append(f"did not end within {result['seconds']:.0f} seconds")
    signal = case.get("signal")
    # The loader itself crashes when it is given no memory at all: nothing of the program has run by then.
    loader_crashed = case["loading"] and case["call"] in _MEMORY_CALLS and result["status"] == -11
    if result["status"] < 0 and result["status"] != -(signal or 0) and not (result["hung"] or loader_crashed):
        found.append(f"ended by signal {-result['status']}")
    answer = None if result["hung"] else _answer_is_wrong(case, result, reference)
    if answer:
        found.append(answer)
    left = result["left"]
    # A queue whose removal the system refuses cannot but stay; nothing runs any more after KILL.
    may_stay = signal == SIGNALS["KILL"] or case["call"] == "mq_unlink"
    for what in ("processes", "files", *(() if may_stay else ("queues",))):
        if left[what]:
            found.append(f"left {what}: {left[what]}")
    following = result["next"]
    for what in ("status", "stdout", "effect", "messages"):
        if following[what] != reference[what]:
            found.append(f"the next request is wrong: {what} {following[what]!r}")
    for what in ("processes", "queues", "files"):
        new = [each for each in following["left"][what] if each not in left[what]]
        if new:
            found.append(f"the next request left {what}: {new}")
    return found
