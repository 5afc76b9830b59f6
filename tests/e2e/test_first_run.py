"""./run and scripts/setup on machines where something is missing."""

import os
import re
import shutil
import signal
import subprocess

import house
import pytest
from test_run import RUN, Terminal, _assert_nothing_left

SETUP = os.path.join(house.ROOT, "scripts", "setup")


def run(folder, build_dir, *options, before=()):
    env = {"PATH": os.environ["PATH"], "TMPDIR": str(folder)}
    return subprocess.run([*before, RUN, "--build-dir", build_dir, "--port", "0", *options], env=env,
                          capture_output=True, text=True, timeout=60, check=False)


def test_version(build_dir):
    with open(os.path.join(house.ROOT, "CMakeLists.txt"), encoding="utf-8") as text:
        version = re.search(r"project\(\w+ VERSION (\S+)", text.read())[1]
    done = subprocess.run([RUN, "--version"], capture_output=True, text=True, check=False)
    assert (done.returncode, done.stdout, done.stderr) == (0, f"run {version}\n", "")


def test_nothing_of_the_current_folder_runs(open_path, build_dir):
    """In /tmp, say, anybody may have put modules that are named like the system's or like ours."""
    for name in ("argparse.py", "sitecustomize.py", "zvcamera.py"):
        (open_path / name).write_text("print('foreign')\n")
    done = subprocess.run([RUN, "--build-dir", build_dir, "--port", "x"], cwd=open_path, capture_output=True, text=True,
                          check=False)
    assert (done.returncode, done.stdout, done.stderr) == (
        2, "", "run: --port: must be a whole number from 0 to 65535, not 'x'\n")


def test_namespaces_that_cannot_be_made(open_path, build_dir):
    """A user namespace of our own stands for the machine, whose setting forbids further ones."""
    forbidding = ["unshare", "--map-root-user", "sh", "-c",
                  'echo 0 >/proc/sys/user/max_user_namespaces && exec setpriv --bounding-set -all "$@"', "sh"]
    done = run(open_path, build_dir, before=forbidding)
    assert (done.returncode, done.stdout) == (1, "")
    first, *advice = done.stderr.splitlines()
    assert first.startswith("run: the camera's namespaces cannot be made: bwrap: ")
    assert "this setting of the machine forbids them; as root: sysctl -w user.max_user_namespaces=10000" in advice
    assert os.listdir(open_path) == []


@pytest.mark.root
def test_advice_for_root_in_a_container(open_path, build_dir):
    """As in a container, some rights are missing: with those of the advice, the camera runs."""
    usual = "-all,+chown,+dac_override,+fowner,+kill,+setgid,+setuid,+setpcap"
    done = run(open_path, build_dir, "--exec", "true", before=["setpriv", "--bounding-set", usual])
    assert (done.returncode, done.stdout) == (1, "")
    assert done.stderr.startswith("run: the camera's namespaces cannot be made: bwrap: ")
    assert "\n    docker run --cap-add SYS_ADMIN --cap-add NET_ADMIN --security-opt seccomp=unconfined " \
        "--security-opt apparmor=unconfined\n" in done.stderr
    enough = ["setpriv", "--bounding-set", f"{usual},+sys_admin,+net_admin"]
    assert run(open_path, build_dir, "--quiet", "--exec", "true", before=enough).returncode == 0


@pytest.mark.root
def test_advice_for_a_user_in_a_container(open_path, build_dir):
    """As in a container, a file of /proc is hidden: so a user namespace may have no /proc of its own."""
    os.chmod(open_path, 0o777)
    hiding = ["unshare", "--mount", "sh", "-c", 'mount --bind /dev/null /proc/meminfo && exec "$@"', "sh",
              "setpriv", "--reuid", str(house.ORDINARY_USER), "--regid", str(house.ORDINARY_USER), "--clear-groups"]
    done = run(open_path, build_dir, before=hiding)
    assert (done.returncode, done.stdout) == (1, "")
    assert done.stderr.startswith("run: the camera's namespaces cannot be made: bwrap: Can't mount proc ")
    assert "\n    docker run --security-opt seccomp=unconfined --security-opt apparmor=unconfined " \
        "--security-opt systempaths=unconfined\n" in done.stderr


def test_bubblewrap_that_is_missing(open_path, build_dir):
    tools = open_path / "tools"
    tools.mkdir()
    for name in ("sh", "dirname", "pwd", "dpkg-query", "apt-get", "sed", "tr"):
        (tools / name).symlink_to(f"/usr/bin/{name}")
    done = subprocess.run([RUN, "--build-dir", build_dir, "--port", "0"], env={"PATH": str(tools)}, capture_output=True,
                          text=True, timeout=60, check=False)
    assert (done.returncode, done.stderr) == (1, "run: bwrap is missing: scripts/setup installs it\n")


@pytest.mark.parametrize("options", [(), ("--quiet",)])
def test_output_that_goes_away_ends_the_camera(open_path, build_dir, options):
    terminal = Terminal(open_path, build_dir, "--port", "0")
    port = terminal.port()
    terminal.end(signal.SIGINT)
    words = " ".join(options)
    reading = f'"{RUN}" --build-dir "{build_dir}" --port {port} {words} | head -3; echo "${{PIPESTATUS[0]}}"'
    done = subprocess.run(["bash", "-c", reading], env={"PATH": os.environ["PATH"], "TMPDIR": str(open_path)},
                          capture_output=True, text=True, timeout=30, check=False)
    assert done.stderr == ""
    assert done.stdout.splitlines()[-1] == "0"
    _assert_nothing_left(terminal, port)


def test_output_that_is_full_ends_the_camera(open_path, build_dir):
    with open("/dev/full", "w", encoding="ascii") as full:
        done = subprocess.run([RUN, "--build-dir", build_dir, "--port", "0"], env={"PATH": os.environ["PATH"]},
                              stdout=full, stderr=subprocess.PIPE, text=True, timeout=30, check=False)
    assert (done.returncode, done.stderr) == (1, "run: standard output: No space left on device\n")


@pytest.fixture
def setup_where(open_path):
    """Runs scripts/setup on a machine that has these packages alone."""
    def setup(packages, *options):
        (open_path / "dpkg-query").write_text(
            "#!/bin/sh\n" + "".join(f"echo installed {package}\n" for package in packages))
        (open_path / "apt-get").write_text("#!/bin/sh\nexit 1\n")
        for name in ("dpkg-query", "apt-get"):
            (open_path / name).chmod(0o755)
        done = subprocess.run([SETUP, *options], env={"PATH": f"{open_path}:{os.environ['PATH']}"}, capture_output=True,
                              text=True, check=False)
        missing = re.fullmatch(r"setup: missing packages: (.*) \((scripts/setup.*) installs them\)\n", done.stderr)
        return (done.returncode, missing[1].split(), missing[2]) if missing else (done.returncode, done.stderr)
    return setup


def test_setup_knows_what_a_camera_needs(setup_where):
    status, to_run, way = setup_where([], "--check", "--run")
    assert (status, way) == (1, "scripts/setup --run")
    assert len(to_run) <= 14
    assert {"bubblewrap", "lighttpd", "g++", "cmake", "python3-aiohttp"} < set(to_run)
    assert setup_where(to_run, "--check", "--run") == (0, "")
    status, rest, way = setup_where(to_run, "--check")
    assert (status, way) == (1, "scripts/setup")
    assert len(rest) > 10 and not set(rest) & set(to_run)
    assert setup_where(to_run + rest, "--check") == (0, "")


@pytest.mark.parametrize(("commands", "missing"), [((), "nodejs"), (("node",), "npm"), (("node", "npm"), None)])
def test_setup_takes_node_from_wherever_it_comes(open_path, commands, missing):
    for name in ("sh", "sed", "tr", "dirname"):
        (open_path / name).symlink_to(shutil.which(name))
    for name in ("dpkg-query", "apt-get", *commands):
        (open_path / name).write_text("#!/bin/sh\n")
        (open_path / name).chmod(0o755)
    done = subprocess.run(["/bin/sh", SETUP, "--check"], env={"PATH": str(open_path)}, capture_output=True, text=True,
                          check=False)
    assert (set(done.stderr.split()) & {"nodejs", "npm"}) == ({missing} if missing else set())
    assert done.stderr.startswith("setup: missing packages: g++ ")


def test_setup_explains_itself():
    done = subprocess.run([SETUP, "--help"], capture_output=True, text=True, check=False)
    assert (done.returncode, done.stderr) == (0, "")
    for options in ("", "--run", "--npm", "--check"):
        assert re.search(rf"^  scripts/setup {options} +\S", done.stdout, re.MULTILINE)
    assert subprocess.run([SETUP, "--walk"], capture_output=True, check=False).returncode == 2
