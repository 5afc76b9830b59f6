"""Runs inside a camera: one request again and again, each time disturbed in another way, and tells what came of it.

Reads a JSON document from standard input and writes one to standard output; disturbances.py makes and reads them. Every
disturbed request is followed by an undisturbed one.
"""

import base64
import contextlib
import ctypes
import json
import os
import re
import signal
import subprocess
import sys
import time

BIN = "/usr/local/zarvo/bin"
QUEUES = "/dev/mqueue"
LOG = "/tmp/disturbance"  # what the disturbing tool writes
WATCHED = ("/tmp", "/dev/shm", "/run/zarvo", "/tmp/fuse_d")
DAEMONS_QUEUES = {"to_ble", "to_zvnet"}
PATIENCE = 2.0  # seconds in which what a request has started must have ended

sys.path.insert(0, "/opt/zvcamera")
from zvcamera import admin  # noqa: E402


def ask(daemon, op, **fields):
    return admin.ask(f"/run/zarvo/{daemon}.admin", op, **fields)


def children():
    """Process id -> name, of this process's children and of orphans that have come to it. Takes away those that ended.
    """
    while True:
        try:
            if os.waitpid(-1, os.WNOHANG)[0] == 0:
                break
        except ChildProcessError:
            return {}
    with open("/proc/self/task/%d/children" % os.getpid(), encoding="ascii") as file:
        pids = file.read().split()
    found = {}
    for pid in pids:
        try:
            with open(f"/proc/{pid}/comm", encoding="utf-8") as file:
                found[int(pid)] = file.read().strip()
        except OSError:
            pass
    return found


def wait_until(condition, patience=PATIENCE):
    end = time.monotonic() + patience
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.002)
    return True


def streams():
    return [pid for pid, name in children().items() if name == "zvStream"]


def all_ended():
    """Whether nothing runs any more. Ends streaming programs: a shell that has lost its request may still start one."""
    for pid in streams():
        os.kill(pid, signal.SIGKILL)
    return not children()


def start_stream():
    subprocess.Popen([f"{BIN}/zvStream"], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                     stderr=subprocess.DEVNULL)
    wait_until(streams)


def files():
    return {os.path.join(folder, name) for folder in WATCHED for name in os.listdir(folder)} - {LOG}


def queues():
    return set(os.listdir(QUEUES)) - DAEMONS_QUEUES


def waiting(queue):
    with open(os.path.join(QUEUES, queue), encoding="ascii") as file:
        return int(re.match(r"QSIZE:(\d+)", file.read())[1])


def settle():
    """Waits until the daemons have done with every message, also with one whose sender is gone."""
    for daemon, queue in (("zvNetD", "to_zvnet"), ("zvBleD", "to_ble")):
        wait_until(lambda name=queue: not waiting(name))
        ask(daemon, "queue")  # it answers when it has done with what it has taken


class Requests:
    def __init__(self, plan):
        self._plan = plan
        self._files = files()
        self._seen = {}

    def _prepare(self):
        for daemon, op, fields in self._plan["prepare"]:
            with contextlib.suppress(admin.AdminError):  # it may be so already
                ask(daemon, op, **fields)
        if self._plan["stream"] == "stop":
            start_stream()
        for daemon in self._plan["watch"]:
            ask(daemon, "trace_clear")

    def _messages(self):
        """What the daemons have taken and given since the request began, without the reply queue's name."""
        found = []
        for daemon in self._plan["watch"]:
            for record in ask(daemon, "trace"):
                plain = bytes.fromhex(record["hex"])
                queue = re.search(rb"/to_ZVCC\d+", plain)
                body = plain[4:].replace(queue[0], b"") if queue else plain
                # The lengths before the name go with its number of digits.
                body = re.sub(rb"\x00\x00.D(?=\x00)", b"D", body, flags=re.DOTALL)
                found.append([daemon, record["direction"], record["note"], body.hex()])
        return found

    def _run(self, case):
        env = {"PATH": "/usr/bin:/bin", **self._plan["environment"], **case.get("environment", {})}
        if os.path.exists(LOG):
            os.remove(LOG)
        result = {"hung": False}
        begin = time.monotonic()
        process = subprocess.Popen([*case.get("around", ()), f"{BIN}/zvControl-cgi-bin"], env=env,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   start_new_session=True)
        limit = self._plan["limit"]
        if "kill" in case:
            after, number = case["kill"]
            try:
                out = process.communicate(timeout=after)
            except subprocess.TimeoutExpired:
                process.send_signal(number)
        try:
            out = process.communicate(timeout=limit)
        except subprocess.TimeoutExpired:
            result["hung"] = True
            os.killpg(process.pid, signal.SIGKILL)
            out = process.communicate()
        result |= {"seconds": time.monotonic() - begin, "status": process.returncode,
                   "stdout": base64.b64encode(out[0]).decode(), "stderr": out[1].decode(errors="replace")[-500:],
                   "log": ""}
        if os.path.exists(LOG):
            with open(LOG, encoding="utf-8", errors="replace") as file:
                result["log"] = file.read()
        return result

    def _effect(self, answered):
        """Whether the streaming program does what was asked for; None when that is not the request's matter."""
        if self._plan["stream"] == "start":
            return wait_until(streams, PATIENCE if answered else 0.0)
        if self._plan["stream"] == "stop":
            return wait_until(lambda: not streams(), PATIENCE if answered else 0.0)
        return None

    def _left(self):
        """What the request has left behind. Takes it away."""
        wait_until(all_ended)
        left = {"processes": list(children().values()), "queues": sorted(queues()),
                "files": sorted(files() - self._files)}
        for pid in children():
            os.kill(pid, signal.SIGKILL)
        return left

    def carry_out(self, case):
        self._prepare()
        result = self._run(case)
        settle()
        result["effect"] = self._effect(b"200" in base64.b64decode(result["stdout"])[:80])
        result["messages"] = self._messages()
        result["left"] = self._left()
        return result

    def undisturbed(self):
        return self.carry_out({})

    def both(self, case):
        """The disturbed request, and what an undisturbed one after it gives. The log stays when it is asked for."""
        result = self.carry_out(case)
        following = self.undisturbed()
        result["next"] = {name: following[name] for name in ("status", "stdout", "effect", "messages", "left")}
        for name in result["left"]["queues"]:
            try:
                os.unlink(os.path.join(QUEUES, name))
            except FileNotFoundError:
                pass
        return result


def main():
    plan = json.load(sys.stdin)
    ctypes.CDLL(None).prctl(36, 1, 0, 0, 0)  # PR_SET_CHILD_SUBREAPER: orphans of the requests come to this process
    for daemon, op, fields in plan["set_up"]:
        if daemon == "wait":
            time.sleep(op)
        else:
            ask(daemon, op, **fields)
    requests = Requests(plan)
    requests.undisturbed()  # what a first request changes for all others, it has changed now
    requests = Requests(plan)
    answers = {"reference": requests.undisturbed(), "results": [requests.both(case) for case in plan["cases"]]}
    json.dump(answers, sys.stdout)


main()
