"""One request to a resident program of its own. Its output and status are those of the request.

    resident_request.py PROGRAM NAME=VALUE...

The program's own child is the process that serves the request, and only a parent learns a status. So the program is
killed when it has forked, and the child, which still waits for its request, gets this process for a parent.
"""

import ctypes
import os
import signal
import socket
import subprocess
import sys
import tempfile
import time

_SUBREAPER = 36  # PR_SET_CHILD_SUBREAPER


def request(variables):
    """The bytes of a request: a netstring of CONTENT_LENGTH, SCGI and the variables, and no body."""
    header = b"CONTENT_LENGTH\x000\x00SCGI\x001\x00" + b"".join(
        text.replace(b"=", b"\x00", 1) + b"\x00" for text in variables)
    return b"%d:%s," % (len(header), header)


def children(pid):
    with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as listed:
        return [int(child) for child in listed.read().split()]


def serve_one(program, variables, output, **options):
    """Returns the status of the process, negative for a signal; writes what it answers to output.

    options: of subprocess.Popen, for the program.
    """
    with tempfile.TemporaryDirectory() as folder, socket.socket(socket.AF_UNIX) as listener:
        listener.bind(f"{folder}/socket")
        listener.listen()
        ctypes.CDLL(None).prctl(_SUBREAPER, 1, 0, 0, 0)
        resident = subprocess.Popen([program], stdin=listener, stdout=subprocess.DEVNULL, **options)
        with socket.socket(socket.AF_UNIX) as connection:
            connection.connect(f"{folder}/socket")
            while not (begun := children(resident.pid)):
                if resident.poll() is not None:
                    raise RuntimeError(f"{program} ended with status {resident.returncode}")
                time.sleep(0.001)
            os.kill(resident.pid, signal.SIGKILL)
            resident.wait()
            connection.sendall(request(variables))
            while block := connection.recv(65536):
                output.write(block)
        status = os.waitpid(begun[0], 0)[1]
    output.flush()
    return os.waitstatus_to_exitcode(status)


def main():
    program, *variables = map(os.fsencode, sys.argv[1:])
    status = serve_one(program, variables, sys.stdout.buffer)
    if status < 0:
        os.kill(os.getpid(), -status)
    sys.exit(status)


if __name__ == "__main__":
    main()
