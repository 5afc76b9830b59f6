"""The walk of the README, as a newcomer would take it."""

import os
import re
import subprocess

import house


def _walk():
    with open(os.path.join(house.ROOT, "README.md"), encoding="utf-8") as text:
        return re.search(r"^```sh\n(.*?)^```", text.read(), re.DOTALL | re.MULTILINE)[1]


def _steps(walk):
    """Command lines of the walk, without comments."""
    return [line for line in walk.splitlines() if line and not line.startswith("#")]


def test_walk(build_dir, make_camera):
    camera = make_camera(scenario=f"{house.ROOT}/camera/scenarios/default.json")
    walk = _walk().replace("http://127.0.0.1:8080/control", camera.url)
    assert camera.url in walk
    walk = walk.replace("build/release/zvcam", f'"{build_dir}/zvcam" --run-dir "{camera.run_dir}"')
    # Each step's output behind a mark.
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
