"""What the sandbox holds: `execute` takes commands from whoever asks, so what these try must be refused.

Each attempt is a command that runs in the camera, as one that a client's request starts would.
"""

import os
import socket
import stat
import subprocess
import sys
import urllib.parse

import house
import pytest

from zvcamera import port, sandbox

# Linux's numbers of calls that Python has no name for, as every processor of the tests has them.
_CALLS = r"""
import ctypes, errno, os, platform
libc = ctypes.CDLL(None, use_errno=True)
def call(number, *arguments):
    result = libc.syscall(number, *arguments)
    return os.strerror(ctypes.get_errno()) if result < 0 else f"done: {result}"
"""


@pytest.fixture(scope="module")
def walled(make_module_camera):
    return make_module_camera()


def run(camera, script, *words):
    done = camera.run(["/bin/sh", "-c", script, "sh", *words])
    return done.status, done.stdout.decode(), done.stderr.decode()


def python(camera, text):
    done = camera.run(["/usr/bin/python3", "-c", _CALLS + text])
    assert done.status == 0, done.stderr.decode()
    return done.stdout.decode()


def test_no_program_of_the_camera_has_the_rights_of_root(walled):
    """Of all processes but bubblewrap itself, which is process 1 and which nobody in the camera can touch."""
    show = "sed -n 's/^Pid:/p/p;s/^Uid:/u/p;s/^Cap[IPEA]..:/c/p' /proc/[0-9]*/status"
    processes = run(walled, show)[1].split("p\t")[1:]
    assert len(processes) > 5
    for process in processes[1:]:
        _, numbers, *capabilities = process.splitlines()
        assert set(numbers.split()[1:]) == {str(sandbox.user())}
        assert {line.split()[1] for line in capabilities} == {"0000000000000000"}


def test_a_request_runs_without_the_rights_of_root(walled):
    """The same by way of a request: the shell of `execute` writes down who it is."""
    walled.get("/execute?p1=zvStream&c1=start&a1=" + urllib.parse.quote("$(id -u >/tmp/fuse_d/who)"))
    path = os.path.join(walled.storage, "who")
    walled.wait_for(lambda: os.path.exists(path) and os.path.getsize(path))
    with open(path, encoding="ascii") as file:
        assert int(file.read()) == sandbox.user() != 0
    walled.get("/execute?p1=zvStream&c1=stop")


@pytest.mark.parametrize("path", ["/proc/sys/kernel/core_pattern", "/proc/sys/kernel/modprobe", "/proc/sysrq-trigger",
                                  "/sys/kernel/uevent_helper", "/usr/bin/touched", "/opt/zvcamera/zvcamera/x",
                                  "/usr/local/zarvo/bin/zvBleD"])
def test_the_machine_cannot_be_written_to(walled, path):
    status, _, error = run(walled, 'echo x >"$1"', path)
    assert status != 0, path
    assert "cannot create" in error


@pytest.mark.parametrize("command", [
    "chmod 4755 /tmp/fuse_d/own", "chmod 2755 /tmp/fuse_d/own", "chmod u+s /tmp/fuse_d/own", "chmod g+s /tmp/fuse_d",
    "install -m 4755 /bin/sh /tmp/fuse_d/sh", "cp --preserve=mode /usr/bin/passwd /tmp/fuse_d/passwd"])
def test_no_program_gets_a_set_id_bit(walled, command):
    run(walled, f"cp /bin/true /tmp/fuse_d/own; {command}")
    for folder, folders, files in os.walk(walled.storage):
        for name in folders + files:
            assert os.lstat(os.path.join(folder, name)).st_mode & (stat.S_ISUID | stat.S_ISGID) == 0, name


@pytest.mark.parametrize("making", [
    'os.chmod("/tmp/fuse_d/a", 0o4755)', 'os.fchmod(os.open("/tmp/fuse_d/a", os.O_RDONLY), 0o2755)',
    'os.open("/tmp/fuse_d/b", os.O_CREAT | os.O_WRONLY, 0o4755)',
    'os.open("/tmp/fuse_d", os.O_TMPFILE | os.O_WRONLY, 0o4755)', 'os.mknod("/tmp/fuse_d/c", 0o104755)'])
def test_no_call_sets_a_set_id_bit(walled, making):
    assert python(walled, f"""
open("/tmp/fuse_d/a", "w").close()
try:
    {making}
except PermissionError as error:
    print("refused")
""") == "refused\n"


@pytest.mark.parametrize("number, arguments, answer", [
    (452, '-100, b"/tmp/fuse_d/a", 0o4755, 0', "Operation not permitted"),  # fchmodat2
    (437, '-100, b"/tmp/fuse_d/a", 0, 0', "Function not implemented"),      # openat2
    (435, "0, 0", "Function not implemented"),                              # clone3
    (425, "1, 0", "Function not implemented"),                              # io_uring_setup
    (428, "0, 0, 0", "Operation not permitted"),                            # open_tree
    (429, "0, 0, 0, 0, 0", "Operation not permitted"),                      # move_mount
    (430, "0, 0", "Operation not permitted"),                               # fsopen
    (442, "0, 0, 0, 0, 0", "Operation not permitted"),                      # mount_setattr
    (438, "-1, 0, 0", "Operation not permitted"),                           # pidfd_getfd
    (440, "-1, 0, 0, 0, 0", "Operation not permitted"),                     # process_madvise
    (467, '-100, b"/tmp", 0, 0, 0', "Operation not permitted"),             # open_tree_attr
])
def test_new_calls_are_no_way_around(walled, number, arguments, answer):
    assert python(walled, f'open("/tmp/fuse_d/a", "w").close()\nprint(call({number}, {arguments}))') == f"{answer}\n"


@pytest.mark.skipif(os.uname().machine != "x86_64", reason="the numbers are those of x86-64")
@pytest.mark.parametrize("name, number", [
    ("mount", 165), ("umount2", 166), ("pivot_root", 155), ("chroot", 161), ("unshare", 272), ("setns", 308),
    ("bpf", 321), ("add_key", 248), ("request_key", 249), ("keyctl", 250), ("init_module", 175), ("finit_module", 313),
    ("delete_module", 176), ("kexec_load", 246), ("perf_event_open", 298), ("process_vm_readv", 310),
    ("userfaultfd", 323)])
def test_a_call_that_a_camera_never_needs_is_refused(walled, name, number):
    assert python(walled, f"print(call({number}, 0, 0, 0, 0, 0))") == "Operation not permitted\n", name


@pytest.mark.skipif(os.uname().machine != "x86_64", reason="the number is that of x86-64")
def test_programs_cannot_be_traced(build_dir):
    """As users bring the camera up. Sanitizers need to trace: what they say at this camera's end does not count."""
    with house.TestCamera(build_dir, tracing=False) as camera:
        assert python(camera, "print(call(101, 16, 1, 0, 0))") == "Operation not permitted\n"


@pytest.mark.parametrize("option", ["-U", "-Ur", "-m", "-n", "-p", "-i"])
def test_no_namespace_within_the_namespace(walled, option):
    status, _, error = run(walled, f"unshare {option} true")
    assert status == 1
    assert "Operation not permitted" in error


@pytest.mark.parametrize("flag", ["0x10000000", "0x20000", "0x40000000"])
def test_no_new_namespace_by_clone(walled, flag):
    if os.uname().machine == "x86_64":
        assert python(walled, f"print(call(56, {flag} | 17, 0, 0, 0, 0))") == "Operation not permitted\n"


def test_the_environment_of_the_starter_stays_outside(build_dir):
    """The camera is started with a secret in the environment; no process in it shows that, process 1 included."""
    program = """
import sys
from zvcamera.camera import Camera
with Camera(sys.argv[1], gateway_dir=sys.argv[2]) as camera:
    found = camera.run(["/bin/sh", "-c", "cat /proc/[0-9]*/environ 2>/dev/null | tr '\\\\0' '\\\\n'"])
    sys.stdout.buffer.write(found.stdout)
"""
    environment = dict(os.environ, PYTHONPATH=os.path.join(house.ROOT, "camera"), TOKEN="secret-of-the-starter")
    done = subprocess.run([sys.executable, "-c", program, build_dir, house.TestCamera.default_gateway_dir],
                          env=environment, capture_output=True, text=True, timeout=60, check=True)
    assert "PATH=" in done.stdout
    assert "secret-of-the-starter" not in done.stdout


# Prints what the standard streams of the camera's programs lead to, and writes to the supervisor's standard error.
_STREAMS = """
import os
for process in filter(str.isdecimal, os.listdir("/proc")):
    for number in "012":
        try:
            print(os.readlink("/proc/" + process + "/fd/" + number))
        except OSError:
            pass
try:
    with open("/proc/2/fd/2", "w") as errors:
        errors.write(chr(27) + "]0;title" + chr(7) + "\\n")
except OSError:
    pass
"""


def test_standard_error_of_the_starter_stays_outside(build_dir, open_path):
    """Behind it are a terminal, or a file of the machine, which whoever has the descriptor opens anew and reads."""
    program = """
import sys
from zvcamera.camera import Camera
with Camera(sys.argv[1], gateway_dir=sys.argv[2]) as camera:
    sys.stdout.buffer.write(camera.run(["/usr/bin/python3", "-c", sys.argv[3]]).stdout)
"""
    with open(open_path / "said", "w+b") as said:
        done = subprocess.run(
            [sys.executable, "-c", program, build_dir, house.TestCamera.default_gateway_dir, _STREAMS], stderr=said,
            env=dict(os.environ, PYTHONPATH=os.path.join(house.ROOT, "camera")), stdout=subprocess.PIPE, text=True,
            timeout=60, check=True)
        said.seek(0)
        assert said.read() in (b"", b"\\x1b]0;title\\x07\n")  # as root's camera, and as an ordinary user's
    streams = done.stdout.splitlines()
    assert len(streams) > 10
    assert [each for each in streams if not each.startswith(("pipe:", "socket:", "/dev/null"))] == []


@pytest.fixture
def neighbour():
    """A server on the machine's loopback address, as developers have them running."""
    with socket.create_server(("127.0.0.1", 0)) as server:
        yield server.getsockname()[1]


_KNOCK = """
import socket, sys
try:
    socket.create_connection(("127.0.0.1", int(sys.argv[1])), 2).close()
    print("reached")
except OSError as error:
    print(error.strerror)
"""


def test_the_camera_reaches_nothing_but_itself(walled, neighbour):
    done = walled.run(["/usr/bin/python3", "-c", _KNOCK, str(neighbour)])
    # A user's camera is refused by Landlock where the kernel lets root alone filter a socket.
    assert done.stdout.decode() in ("Connection refused\n", "Permission denied\n")
    assert run(walled, "cat /proc/net/dev")[1].count(":") == 1  # the loopback interface


# Comes into a program that the supervisor hands the listening socket, and connects it anew.
_STOLEN = """
import os, socket, sys
if "zvcamera.inside.front" in sys.orig_argv:
    try:
        stolen = socket.socket(fileno=os.dup(int(sys.orig_argv[3])))
        stolen.shutdown(socket.SHUT_RDWR)
        stolen.settimeout(1)
        stolen.connect(("127.0.0.1", PORT))
        told = "reached"
    except OSError:
        told = "refused"
    with open("/tmp/told", "w") as file:
        file.write(told)
"""
_STEAL = """
import json, os, socket, sys, time
folder = "/tmp/.local/lib/python%d.%d/site-packages" % sys.version_info[:2]
os.makedirs(folder)
for name, text in (("stolen.pth", "import stolen"), ("stolen.py", sys.argv[1])):
    with open(folder + "/" + name, "w") as file:
        print(text, file=file)
with socket.socket(socket.AF_UNIX) as supervisor:
    supervisor.connect("/run/zarvo/supervisor.admin")
    supervisor.sendall(json.dumps({"op": "fault_add", "command": "/x", "fault": "status"}).encode() + b"\\n")
    supervisor.recv(1000)
for _ in range(500):
    if os.path.exists("/tmp/told") and os.path.getsize("/tmp/told"):
        break
    time.sleep(0.02)
print(open("/tmp/told").read())
"""


def test_the_listening_socket_leads_nowhere(build_dir, neighbour):
    """It belongs to the machine's network. Where its filter is for root alone, Landlock does the filter's work."""
    with house.TestCamera(build_dir) as camera:
        done = camera.run(["/usr/bin/python3", "-c", _STEAL, _STOLEN.replace("PORT", str(neighbour))])
    assert done.stdout.decode() == "refused\n", done.stderr.decode()


def test_where_the_socket_has_no_filter_connections_are_refused(build_dir, neighbour, monkeypatch):
    monkeypatch.setattr(port, "is_shielded", lambda listener: False)
    with house.TestCamera(build_dir) as camera:
        done = camera.run(["/usr/bin/python3", "-c", _KNOCK, str(neighbour)])
        said = [record["text"] for record in camera.log()[0] if record["source"] == "supervisor"]
        assert camera.get("/command/ble/pairing_available").status == 200
    if said:
        assert "this kernel has no means" in said[0]  # neither filter nor Landlock
    else:
        assert done.stdout.decode() == "Permission denied\n"


def test_the_machines_network_for_who_asks_for_it(make_camera, neighbour):
    done = make_camera(network="host").run(["/usr/bin/python3", "-c", _KNOCK, str(neighbour)])
    assert done.stdout.decode() == "reached\n"


def test_abstract_sockets_of_the_machine_are_out_of_reach(walled):
    with socket.socket(socket.AF_UNIX) as server:
        server.bind(f"\0zvtest-{os.getpid()}")
        server.listen()
        answer = python(walled, f"""
import socket
try:
    socket.socket(socket.AF_UNIX).connect("\\0zvtest-{os.getpid()}")
    print("reached")
except OSError as error:
    print(error.strerror)
""")
    assert answer == "Connection refused\n"


@pytest.mark.parametrize("kind", ["AF_VSOCK", "AF_PACKET", "AF_ALG", "AF_TIPC", "AF_BLUETOOTH"])
def test_there_are_no_sockets_but_those_of_the_network(walled, kind):
    """A socket of AF_VSOCK would lead from a virtual machine to its host, whatever network the camera has."""
    assert python(walled, f"""
import socket
number = {{"x86_64": 41}}.get(platform.machine(), 198)
for high in (0, 1 << 32):
    print(call(number, ctypes.c_long(high + socket.{kind}), socket.SOCK_STREAM, 0))
""") == "Operation not permitted\n" * 2


def test_no_data_go_out_before_a_connection_is_accepted(walled, neighbour):
    assert python(walled, f"""
import socket
for act in (lambda one: one.sendto(b"x", socket.MSG_FASTOPEN, ("127.0.0.1", {neighbour})),
            lambda one: one.sendmsg([b"x"], [], socket.MSG_FASTOPEN, ("127.0.0.1", {neighbour})),
            lambda one: one.setsockopt(socket.IPPROTO_TCP, 30, 1),
            lambda one: one.setsockopt(socket.IPPROTO_TCP, 34, 1)):
    try:
        act(socket.socket())
    except OSError as error:
        print(error.strerror)
""") == "Operation not permitted\n" * 4


# Storage


def test_storage_is_closed_to_others(make_camera, open_path):
    given = open_path / "storage"
    given.mkdir(mode=0o755)
    (given / "kept").write_text("kept")
    camera = make_camera(storage=given)
    found = os.stat(given)
    assert (stat.S_IMODE(found.st_mode), found.st_uid) == (0o700, sandbox.user())
    assert run(camera, "echo more >>/tmp/fuse_d/kept; cat /tmp/fuse_d/kept")[1] == "keptmore\n"


def test_missing_storage_is_made_private(make_camera, open_path):
    make_camera(storage=open_path / "storage")
    assert stat.S_IMODE(os.stat(open_path / "storage").st_mode) == 0o700


@pytest.mark.parametrize("mode", [0o1777, 0o777])
def test_a_shared_folder_is_no_storage(build_dir, open_path, mode):
    given = open_path / "shared"
    given.mkdir()
    given.chmod(mode)
    with pytest.raises(house.CameraError, match="it is not a private folder of this user; name a folder of its own"):
        house.TestCamera(build_dir, storage=given).start()
    assert stat.S_IMODE(os.stat(given).st_mode) == mode


# The camera's folder


def test_the_folder_for_cameras_cannot_be_taken_beforehand(build_dir, open_path, monkeypatch):
    """Another user has made the folder that this user's cameras would be in."""
    monkeypatch.setenv("TMPDIR", str(open_path))
    taken = open_path / f"zvcam-{os.getuid()}"
    taken.mkdir(mode=0o777)
    taken.chmod(0o777)
    with house.TestCamera(build_dir) as camera:
        assert camera.get("/command/ble/pairing_available").status == 200
        assert not camera.run_dir.startswith(f"{taken}/")
    assert list(taken.iterdir()) == []


# Pages that the user happens to visit


def _ask(camera, *fields, method="GET"):
    """Status and body of a request for an URI that takes effect, with header fields as a browser would send them."""
    words = [word for field in fields for word in ("-H", field)]
    done = subprocess.run(["curl", "-sS", "-m", "10", "-X", method, "-w", "\n%{http_code}", *words,
                           f"{camera.url}/command/ble/pairing_available"], capture_output=True, text=True, check=True)
    body, _, status = done.stdout.rpartition("\n")
    return int(status), body


_HOST = 'The field "Host" names a site: no 127.0.0.1, [::1] or name without a dot. --allow-host NAME allows it.\n'
_ORIGIN = 'The field "Origin" names another site than the camera. --cors ORIGIN allows it.\n'
_SITE = 'The field "Sec-Fetch-Site" says that a page of another site asks. --cors ORIGIN allows its origin.\n'
_OPTIONS = "The camera answers no OPTIONS: pages of other sites may not use it. --cors ORIGIN allows one.\n"


@pytest.mark.parametrize("fields, body", [
    (["Host: evil.example"], _HOST), (["Host: evil.example:{port}"], _HOST), (["Host: localhost.evil.example"], _HOST),
    (["Host: 127.0.0.1.evil.example"], _HOST), (["Host: 10.0.0.1"], _HOST),
    (["Origin: http://evil.example"], _ORIGIN), (["Origin: null"], _ORIGIN), (["Origin: https://127.0.0.1:{port}"], _ORIGIN),
    (["Origin: http://127.0.0.1:{port}.evil.example"], _ORIGIN), (["Origin: http://127.0.0.1:1"], _ORIGIN),
    (["Sec-Fetch-Site: cross-site"], _SITE), (["Sec-Fetch-Site: same-site"], _SITE), (["Sec-Fetch-Site: x"], _SITE)])
def test_a_foreign_page_is_refused(walled, fields, body):
    with walled.new_lines() as lines:
        assert _ask(walled, *[field.format(port=walled.port) for field in fields]) == (403, body)
    assert lines == []


def test_a_preflight_executes_nothing(walled):
    with walled.new_lines() as lines:
        assert _ask(walled, "Access-Control-Request-Method: GET", method="OPTIONS") == (403, _OPTIONS)
    assert lines == []


@pytest.mark.parametrize("fields", [
    [], ["Host: localhost"], ["Host: camera"], ["Host: localhost:{port}"], ["Host: [::1]:{port}"], ["Origin: http://127.0.0.1:{port}"],
    ["Origin: http://localhost:{port}"], ["Sec-Fetch-Site: same-origin"], ["Sec-Fetch-Site: none"]])
def test_programs_and_own_pages_notice_nothing(walled, fields):
    assert _ask(walled, *[field.format(port=walled.port) for field in fields]) == (200, "{}")


def test_a_page_of_an_allowed_origin_may_read_answers(make_camera):
    camera = make_camera(cors_origins=["http://localhost:3000", "http://localhost:4000"])
    for origin in ("http://localhost:3000", "http://localhost:4000"):
        for method, status, body in (("OPTIONS", 204, b""), ("GET", 200, b"{}")):
            with camera.new_lines() as lines:
                answer = camera.get("/command/ble/pairing_available", method=method, fields={"Origin": origin})
            assert (answer.status, answer.body) == (status, body)
            assert answer.headers["access-control-allow-origin"] == origin
            assert answer.headers["vary"] == "Origin"
            assert (lines == []) == (method == "OPTIONS")
        assert answer.headers["content-type"] == "application/json"
    answer = camera.get("/command/ble/pairing_available")
    assert (answer.status, "access-control-allow-origin" in answer.headers) == (200, False)


def test_names_and_origins_that_are_allowed(make_camera):
    camera = make_camera(allow_hosts=["camera.test"], cors_origins=["http://localhost:3000"])
    assert _ask(camera, "Host: camera.test:80") == (200, "{}")
    assert _ask(camera, "Host: cameraX.test")[0] == 403
    assert _ask(camera, "Origin: http://localhost:3000", "Sec-Fetch-Site: cross-site") == (200, "{}")
    assert _ask(camera, "Origin: http://localhost:3000", "Sec-Fetch-Site: same-site") == (200, "{}")
    assert _ask(camera, "Origin: http://localhost:3001", "Sec-Fetch-Site: cross-site")[0] == 403
    assert _ask(camera, "Sec-Fetch-Site: same-site")[0] == 403
