"""The commands of the README, as a newcomer would give them."""

import os
import re
import shlex
import subprocess

import house


def _part(pattern):
    with open(os.path.join(house.ROOT, "README.md"), encoding="utf-8") as text:
        return re.search(pattern, text.read(), re.DOTALL | re.MULTILINE)[1]


def _walk():
    return _part(r"^```sh\n(.*?)^```")


def _steps(walk):
    """Returns the command lines of the walk, without comments."""
    return [line for line in walk.splitlines() if line and not line.startswith("#")]


def test_walk(build_dir, make_camera):
    camera = make_camera(scenario=f"{house.ROOT}/camera/scenarios/default.json")
    walk = _walk().replace("http://127.0.0.1:8080/control", camera.url)
    assert camera.url in walk
    walk = walk.replace("build/release/zvcam", f'"{build_dir}/zvcam" --run-dir "{camera.run_dir}"')
    # Prints a mark before each step's output.
    script = "\n".join(f"printf '\\n<<%d>>\\n' {number}; {line}" if not line.startswith("camera=") else line
                       for number, line in enumerate(_steps(walk)))
    done = subprocess.run(["bash", "-e", "-c", script], capture_output=True, text=True, timeout=120, check=False)
    assert done.returncode == 0, done.stderr
    outputs = dict(re.findall(r"\n<<(\d+)>>\n(.*?)(?=\n<<|\Z)", done.stdout, re.DOTALL))
    said = [(line, outputs[str(number)]) for number, line in enumerate(_steps(walk)) if str(number) in outputs]

    def output(part, turn=0):
        return [text for line, text in said if part in line][turn]

    assert '"model_number":13' in said[0][1]
    assert output("pairing_available").startswith("HTTP/1.1 200 OK")
    assert "a1b2c3d4e5f6" in output("scan/list")
    assert output("pair/start") == "{}"
    assert '{"pairing_status":2}' in output("pair/status")
    assert '"address":"a1b2c3d4e5f6"' in output("whitelist/list")
    assert '"auto_connect":1' in output("whitelist/device", 1)
    assert output("whitelist/device", 2).strip() == "{}"
    assert [output("execute", turn).strip() for turn in (0, 1)] == ['{"status":"0"}'] * 2
    assert re.match(r"zvStream runs\n  \d+  -x\nlog:\n  \S+Z  \d+  start  -x\n", output('" stream'))
    assert output("analytics/get").startswith("0000000 ")
    assert output("analytics/clear") == "{}"
    assert output("pairing_available", 1).startswith("HTTP/1.1 500 ")
    assert output("pair/status", 1).startswith("HTTP/1.1 500 ")


def test_commands_for_one_test(build_dir):
    """They work in a fresh clone, in their order, and name tests that exist."""
    build, unit, end_to_end = (shlex.split(line, comments=True)
                               for line in _part(r"One test runs with\n\n(.*?)\n\n").splitlines())
    assert build[0] == "scripts/build"
    preset = build[1]
    assert unit[:4] == ["ctest", "--preset", preset, "-R"]
    assert end_to_end[:3] == ["python3", "-m", "pytest"] and end_to_end[-2:] == ["--build-dir", f"build/{preset}"]
    listed = subprocess.run(["ctest", "--test-dir", build_dir, "-N", *unit[3:]],
                            capture_output=True, text=True, check=True).stdout
    assert int(re.search(r"^Total Tests: (\d+)$", listed, re.MULTILINE)[1]) > 0
    listed = subprocess.run(["/usr/bin/python3", *end_to_end[1:-2], "--build-dir", build_dir, "--collect-only", "-q",
                             "-p", "no:cacheprovider"],
                            cwd=house.ROOT, capture_output=True, text=True, check=True).stdout
    assert "::test_" in listed
