"""scripts/release: what it refuses, and the lists that it writes beside the packages."""

import hashlib
import importlib.machinery
import importlib.util
import json
import os
import re
import shutil
import subprocess

import house
import pytest
from packing import field, paths, run

pytestmark = [pytest.mark.thorough, pytest.mark.xdist_group("installation")]

REVISION = "0123456789abcdef0123456789abcdef01234567"


def _loaded():
    path = os.path.join(house.ROOT, "scripts", "release")
    loader = importlib.machinery.SourceFileLoader("release", path)
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("release", loader))
    loader.exec_module(module)
    return module


release = _loaded()


@pytest.fixture(scope="module")
def folder(packages, tmp_path_factory):
    """A folder with the packages, as a release has it."""
    folder = tmp_path_factory.mktemp("release")
    for package in packages.values():
        shutil.copy(package, folder)
    release.write_lists(str(folder), REVISION, 1795301835)
    return folder


@pytest.fixture(scope="module")
def document(folder, packages):
    version = field(packages["zvcontrol-dev"], "Version")
    return json.loads((folder / f"zvcontrol-{version}.spdx.json").read_text())


def test_the_checksums_are_right(folder, packages):
    assert len(run("sha256sum", "--check", "SHA256SUMS", cwd=folder).splitlines()) == len(packages) + 1
    with open(folder / "SHA256SUMS", "a", encoding="ascii") as file:
        file.write(f"{'0' * 64}  SHA256SUMS\n")
    done = subprocess.run(["sha256sum", "--check", "--quiet", "SHA256SUMS"], cwd=folder, capture_output=True, text=True,
                          check=False)
    assert (done.returncode, done.stdout) == (1, "SHA256SUMS: FAILED\n")


def test_the_list_is_what_spdx_asks_for(document):
    assert (document["spdxVersion"], document["dataLicense"], document["SPDXID"]) == (
        "SPDX-2.3", "CC0-1.0", "SPDXRef-DOCUMENT")
    assert re.fullmatch(r"urn:uuid:[0-9a-f-]{36}", document["documentNamespace"])
    assert document["creationInfo"]["created"] == "2026-11-21T22:57:15Z"
    assert document["creationInfo"]["creators"] == ["Tool: scripts/release"]
    assert REVISION in document["creationInfo"]["comment"]
    ids = [each["SPDXID"] for each in (*document["packages"], *document["files"])]
    assert len(ids) == len(set(ids))
    assert [name for name in ids if not re.fullmatch(r"SPDXRef-[A-Za-z0-9.-]+", name)] == []
    known = {*ids, "SPDXRef-DOCUMENT"}
    for relation in document["relationships"]:
        assert {relation["spdxElementId"], relation["relatedSpdxElement"]} <= known
        assert relation["relationshipType"] in ("DESCRIBES", "CONTAINS", "DEPENDS_ON")
    for package in document["packages"]:
        assert {"name", "downloadLocation", "filesAnalyzed", "licenseConcluded", "licenseDeclared",
                "copyrightText"} <= set(package)
    for file in document["files"]:
        assert file["fileName"].startswith("./usr/")
        assert [each["algorithm"] for each in file["checksums"]] == ["SHA1", "SHA256"]


def test_the_list_has_every_file_of_every_package(document, folder, packages, tmp_path):
    held = {}
    for relation in document["relationships"]:
        if relation["relationshipType"] == "CONTAINS":
            held.setdefault(relation["spdxElementId"], set()).add(relation["relatedSpdxElement"])
    described = {each["name"]: each for each in document["packages"] if each["filesAnalyzed"]}
    assert set(described) == set(packages)
    files = {each["SPDXID"]: each for each in document["files"]}
    for name, package in packages.items():
        told = described[name]
        assert (told["versionInfo"], told["packageFileName"]) == (field(package, "Version"), package.name)
        assert told["checksums"] == [
            {"algorithm": "SHA256", "checksumValue": hashlib.sha256(package.read_bytes()).hexdigest()}]
        run("dpkg-deb", "-x", str(package), str(tmp_path / name))
        there = {f"./{path}" for path in paths(tmp_path / name) if not os.path.islink(tmp_path / name / path)}
        assert there == {files[each]["fileName"] for each in held[told["SPDXID"]]}
        sums = []
        for each in held[told["SPDXID"]]:
            data = (tmp_path / name / files[each]["fileName"]).read_bytes()
            sums.append(hashlib.sha1(data).hexdigest())
            assert [one["checksumValue"] for one in files[each]["checksums"]] == [
                sums[-1], hashlib.sha256(data).hexdigest()]
        code = told["packageVerificationCode"]["packageVerificationCodeValue"]
        assert code == hashlib.sha1("".join(sorted(sums)).encode()).hexdigest()


def test_the_list_tells_what_the_packages_depend_on(document, packages):
    ids = {each["SPDXID"]: each["name"] for each in document["packages"]}
    wanted = {ids[each["relatedSpdxElement"]] for each in document["relationships"]
              if each["relationshipType"] == "DEPENDS_ON" and ids[each["spdxElementId"]] == "zvcontrol-camera"}
    assert {"zvcontrol-gateway", "bubblewrap", "lighttpd", "libc6", "python3"} <= wanted
    assert wanted == {re.match(r"[a-z0-9.+-]+", word)[0]
                      for word in re.split(r"[,|] *", field(packages["zvcontrol-camera"], "Depends"))}


def _tree(folder, *, tag=None, changelog="\n## 1.0.0\n", change=False):
    """A repository like ours, in which a release is tried."""
    def git(*words):
        run("git", "-c", "user.name=a", "-c", "user.email=a", *words, cwd=folder,
            env={name: value for name, value in os.environ.items() if not name.startswith("GIT_")})
    (folder / "scripts").mkdir()
    shutil.copy(os.path.join(house.ROOT, "scripts", "release"), folder / "scripts")
    (folder / "CMakeLists.txt").write_text("project(zvControl VERSION 1.0.0 LANGUAGES CXX)\n")
    (folder / "CHANGELOG.md").write_text(changelog)
    git("init", "-q")
    git("add", ".")
    git("commit", "-q", "-m", "all")
    if tag:
        git("tag", tag)
    if change:
        (folder / "CHANGELOG.md").write_text("other")
    done = subprocess.run([folder / "scripts" / "release", "--no-checks"], capture_output=True, text=True, check=False)
    assert done.stdout == ""
    return done.returncode, done.stderr


@pytest.mark.parametrize(("tree", "said"), [
    ({}, "release: CMakeLists.txt says 1.0.0, but this revision has no tag v1.0.0\n"),
    ({"tag": "v1.0.1"}, "release: CMakeLists.txt says 1.0.0, but this revision has no tag v1.0.0\n"),
    ({"tag": "v1.0.0", "change": True}, "release: the tree has changes that no revision has: git status lists them\n"),
    ({"tag": "v1.0.0", "changelog": "# Changes\n"}, "release: CHANGELOG.md has no section 1.0.0\n")])
def test_only_a_clean_tagged_tree_is_released(tmp_path, tree, said):
    assert _tree(tmp_path, **tree) == (1, said)


# Stand for the checks and the builds. $fails is the one that does; the builds "make" the packages of the tests.
STAND_INS = {
    "scripts/setup": 'echo "setup $*" >>"$told"; [ "$fails" != setup ]',
    "test": 'echo "test $*" >>"$told"; [ "$fails" != test ]',
    "scripts/build": 'echo "build $*" >>"$told"; mkdir -p "build/$1"; [ "$fails" != "$1" ]',
    "tools/cpack": '[ "$fails" != cpack ] && cp "$made"/*.deb "$2"',
    "tools/lintian": 'for last; do [ -f "$last" ] && echo "lintian ${last##*/}" >>"$told"; done\n'
                     '[ "$fails" = broken ] && exit 2; [ "$fails" != lintian ] || echo "W: something"',
}
CHECKED = ["setup --check", "test all"]
BUILT = [f"build {preset} simulated_camera"
         for preset in ("release", "standalone", "arm", "arm-standalone", "arm64", "arm64-standalone")]


def _released(tree, folder, fails, *options):
    """(status, what it complains of, what was called, what dist holds) of a release in which one step fails."""
    for name, text in STAND_INS.items():
        path = tree / name
        path.parent.mkdir(exist_ok=True, parents=True)
        path.write_text(f"#!/bin/sh\n{text}\n")
        path.chmod(0o755)
    shutil.copy(os.path.join(house.ROOT, "scripts", "release"), tree / "scripts")
    git = ("git", "-c", "user.name=a", "-c", "user.email=a")
    environment = {name: text for name, text in os.environ.items() if not name.startswith("GIT_")}
    for words in (("init", "-q"), ("commit", "-q", "--allow-empty", "-m", "all")):
        run(*git, *words, cwd=tree, env=environment)
    told = tree / "told"
    told.touch()
    done = subprocess.run(
        [tree / "scripts" / "release", "--any-revision", *options], cwd=tree, capture_output=True, text=True,
        check=False, env={**os.environ, "PATH": f"{tree}/tools:{os.environ['PATH']}", "fails": fails, "told": str(told),
                          "made": str(folder)})
    held = os.listdir(tree / "dist") if (tree / "dist").exists() else []
    return done.returncode, done.stderr, told.read_text().splitlines(), sorted(held)


@pytest.mark.parametrize(("fails", "said", "called"), [
    ("setup", "setup ended with status 1", CHECKED[:1]),
    ("test", "test ended with status 1", CHECKED),
    ("arm64", "build ended with status 1", CHECKED + BUILT[:5]),
    ("cpack", "cpack ended with status 1", CHECKED + BUILT[:1])])
def test_nothing_is_released_when_a_step_fails(folder, tmp_path, fails, said, called):
    assert _released(tmp_path, folder, fails) == (1, f"release: {said}\n", called, [])


@pytest.mark.parametrize(("fails", "said"), [
    ("lintian", "lintian finds\nW: something"), ("broken", "lintian ended with status 2")])
def test_nothing_is_released_that_lintian_refuses(folder, packages, tmp_path, fails, said):
    called = CHECKED + BUILT + [f"lintian {path.name}" for path in sorted(packages.values())]
    assert _released(tmp_path, folder, fails) == (1, f"release: {said}\n", called, [])


def test_a_release_has_all_in_one_folder(folder, packages, document, tmp_path):
    version = field(packages["zvcontrol-dev"], "Version")
    status, complaints, called, dist = _released(tmp_path, folder, "nothing", "--no-checks")
    assert (status, complaints, dist) == (0, "", [version])
    assert called[:7] == CHECKED[:1] + BUILT
    released = tmp_path / "dist" / version
    assert released.stat().st_mode & 0o777 == 0o755
    assert sorted(os.listdir(released)) == sorted([*(path.name for path in packages.values()), "SHA256SUMS",
                                                   f"zvcontrol-{version}.spdx.json"])
    run("sha256sum", "--check", "--strict", "SHA256SUMS", cwd=released)
    assert json.loads((released / f"zvcontrol-{version}.spdx.json").read_text())["files"] == document["files"]
    again = _released(tmp_path, folder, "nothing", "--no-checks")
    assert again[:2] == (1, f"release: {released} exists already\n")
