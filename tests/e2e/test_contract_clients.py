"""What clients make of the contract: a valid document, types that compile, and the programs of docs/clients.md."""

import json
import os
import re
import shutil
import subprocess

import house
import pytest
import yaml

pytestmark = pytest.mark.contract

MODULES = os.path.join(house.ROOT, "tests", "clients", "node_modules")
DOCUMENTS = ("openapi.yaml", "openapi-simulator.yaml")
DEVICE = "a1b2c3d4e5f6"
_STRICT = ("--strict", "--noEmit", "--noUncheckedIndexedAccess", "--target", "es2022", "--module", "esnext",
           "--moduleResolution", "bundler", "--lib", "es2022,dom")


def _document(name):
    return os.path.join(house.ROOT, "docs", name)


def _example(language):
    """The program in this language that stands in docs/clients.md."""
    with open(_document("clients.md"), encoding="utf-8") as page:
        programs = re.findall(rf"^```{language}\n(.*?)^```$", page.read(), re.MULTILINE | re.DOTALL)
    assert len(programs) == 1
    return programs[0]


def _run(*command, **more):
    return subprocess.run(command, capture_output=True, text=True, check=False, timeout=120, **more)


def _node(program, *arguments, **more):
    return _run("node", os.path.join(MODULES, *program.split("/")), *arguments, **more)


# The document


@pytest.mark.parametrize("name", DOCUMENTS)
def test_document_is_openapi(name):
    done = _node("@seriousme/openapi-schema-validator/bin/validate-api-cli.js", _document(name))
    assert (done.returncode, re.sub(r"\s", "", done.stdout)) == (0, '{"valid":true}'), done.stdout + done.stderr


@pytest.mark.parametrize("name", DOCUMENTS)
def test_readers_of_either_version_of_yaml_read_the_same(name):
    """Words as `on` and numbers as 02e0 mean one thing in YAML 1.1, which Python reads, and another in 1.2."""
    done = _run("node", "--input-type=module", "--eval", """
        import { parse } from "yaml"; import { readFileSync } from "node:fs";
        console.log(JSON.stringify(parse(readFileSync(process.argv[1], "utf8"))));""", _document(name), cwd=MODULES)
    with open(_document(name), encoding="utf-8") as file:
        assert json.loads(done.stdout) == yaml.load(file, yaml.CSafeLoader)


def test_a_document_that_is_wrong_is_noticed(tmp_path):
    with open(_document("openapi.yaml"), encoding="utf-8") as file:
        text = file.read()
    (tmp_path / "wrong.yaml").write_text(text.replace("in: query", "in: question", 1))
    done = _node("@seriousme/openapi-schema-validator/bin/validate-api-cli.js", str(tmp_path / "wrong.yaml"))
    assert (done.returncode, '"valid": false' in done.stdout) == (1, True)


# Types


WRONG = """import type { components, paths } from "./camera";
type Query<Path extends keyof paths> = paths[Path]["get"]["parameters"]["query"];
export const scan: Query<"/control/command/ble/scan"> = { p: 1 };
export const missing: Query<"/control/command/ble/scan"> = {};
export const other: Query<"/control/execute"> = { p1: "zvStream", c1: "Start" };
export const bit: components["schemas"]["PairedDevice"]["connected"] = 2;
export const busy: components["schemas"]["AnalyticsBusy"]["zverr"] = -3;
"""


def _make_types(folder):
    for name, types in zip(DOCUMENTS, ("camera", "simulator"), strict=True):
        done = _node("openapi-typescript/bin/cli.js", _document(name), "--output", str(folder / f"{types}.d.ts"))
        assert done.returncode == 0, done.stderr


def test_types_compile_and_know_what_is_wrong(tmp_path):
    _make_types(tmp_path)
    (tmp_path / "client.ts").write_text(_example("typescript"))
    (tmp_path / "wrong.ts").write_text(WRONG)
    done = _node("typescript/bin/tsc", *_STRICT, "client.ts", "wrong.ts", "simulator.d.ts", cwd=tmp_path)
    complaints = [line for line in done.stdout.splitlines() if not line.startswith(" ")]
    assert [line.partition(",")[0] for line in complaints] == [f"wrong.ts({number}" for number in (4, 5, 6, 7)]


# Programs


def _python(folder):
    (folder / "pair.py").write_text(_example("python"))
    return ["/usr/bin/python3", str(folder / "pair.py")]


def _javascript(folder):
    (folder / "pair.mjs").write_text(_example("javascript"))
    return ["node", str(folder / "pair.mjs")]


def _c(folder):
    (folder / "pair.c").write_text(_example("c"))
    done = _run("cc", "-Wall", "-Wextra", "-Werror", "-o", str(folder / "pair"), str(folder / "pair.c"), "-lcurl")
    assert (done.returncode, done.stderr) == (0, "")
    return [str(folder / "pair")]


@pytest.mark.parametrize(("make", "named"), [(_python, "Remote One"), (_javascript, "Remote One"), (_c, DEVICE)],
                         ids=["python", "javascript", "c"])
def test_program_pairs_a_device(make_camera, tmp_path, make, named):
    camera = make_camera(scenario=f"{house.ROOT}/camera/scenarios/default.json")
    program = make(tmp_path)
    environment = {"PATH": os.environ["PATH"], "CAMERA_URL": camera.url}
    done = _run(*program, DEVICE, env=environment)
    assert (done.returncode, done.stdout, done.stderr) == (0, f"paired with {named}\n", "")
    assert camera.get(f"/command/ble/whitelist/device?address={DEVICE}").json()["device"]["address"] == DEVICE
    camera.tool("fault", "add", "scan", "refused")
    done = _run(*program, DEVICE, env=environment)
    assert done.returncode != 0
    assert '"zverr":-1' in done.stderr


def test_the_tools_are_there():
    """They are of npm and of Debian; scripts/setup installs both."""
    assert [name for name in ("node", "cc") if not shutil.which(name)] == []
    assert os.path.isdir(MODULES)
