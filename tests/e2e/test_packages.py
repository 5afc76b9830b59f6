"""The Debian packages and `cmake --install`: what they hold, and what they say of themselves."""

import gzip
import os
import re
import time

import house
import pytest
from packing import PREFIX, as_user, field, members, names, packed, run, run_bytes

pytestmark = [pytest.mark.thorough, pytest.mark.packages, pytest.mark.xdist_group("installation")]

GATEWAY = {f"{PREFIX}/{name}" for name in (
    "bin/zvControl-cgi-bin", "bin/zvControl-scgi", "share/web/busybox-control",
    *(f"share/web/{server}{way}.conf" for server in ("lighttpd", "nginx") for way in ("", "-scgi")),
    *(f"share/init/zvcontrol-scgi.{kind}" for kind in ("inittab", "service", "socket")))}
PLATFORM = {f"{PREFIX}/lib/libzvCtrlD.so", f"{PREFIX}/lib/libcsi.so"}
PROGRAMS = {f"{PREFIX}/bin/{name}" for name in ("zvControlD", "zvNetD", "zvBleD", "zvStream", "zvcam", "zvcamera")}
PAGES = {
    "gateway": {"zvControl-cgi-bin.8", "zvControl-scgi.8"},
    "platform": set(),
    "camera": {"zvcam.1", "zvcamera.1", "zvcamera-scenario.5"},
    "dev": {"libzvCommon.3", "zvErrno.3", "zvHexdump.3", "zvLog.3", "zvMbox.3", "zvModel.3", "zvMsg.3", "zvTlv.3",
            "zvUtil.3", "zvcontrol-messages.7"},
}


def common(package):
    """The files that each package has below /usr/share, and its manual pages."""
    doc = {f"usr/share/doc/{package}/{name}" for name in ("changelog.Debian.gz", "changelog.gz", "copyright")}
    kind = package.removeprefix("zvcontrol-").removesuffix("-standalone")
    return doc | {f"usr/share/lintian/overrides/{package}"} | {
        f"usr/share/man/man{page[-1]}/{page}.gz" for page in PAGES[kind]}


def test_each_package_holds_its_component_and_nothing_is_in_two(packages, standalone):
    gateway = "zvcontrol-gateway-standalone" if standalone else "zvcontrol-gateway"
    contents = {name: members(path) for name, path in packages.items()}
    assert contents[gateway] == GATEWAY | common(gateway)
    if standalone:
        assert "zvcontrol-platform" not in packages
    else:
        assert contents["zvcontrol-platform"] == PLATFORM | common("zvcontrol-platform")
    camera = contents["zvcontrol-camera"]
    assert PROGRAMS | common("zvcontrol-camera") <= camera
    assert len([name for name in camera if re.fullmatch(rf"{PREFIX}/etc/[a-z0-9_]+/settings\.json", name)]) == 16
    development = contents["zvcontrol-dev"]
    assert common("zvcontrol-dev") <= development
    assert {f"{PREFIX}/lib/libzvCommon.a", f"{PREFIX}/include/zvLog.h", f"{PREFIX}/include/zvCtrlD.h",
            f"{PREFIX}/include/csi.h", "usr/share/pkgconfig/zvcommon.pc",
            "usr/share/cmake/zvCommon/zvCommonConfig.cmake"} <= development
    everything = [name for held in contents.values() for name in held]
    assert len(everything) == len(set(everything))


def test_what_people_call_and_read_is_where_they_look_for_it(packages):
    camera = members(packages["zvcontrol-camera"])
    documents = {f"usr/share/doc/zvcontrol-camera/{name}" for name in os.listdir(os.path.join(house.ROOT, "docs"))
                 if name.endswith((".md", ".yaml"))}
    assert len(documents) > 10 and documents <= camera
    links = dict(re.findall(r" \./(\S+) -> (\S+)$", run("dpkg-deb", "-c", str(packages["zvcontrol-camera"])),
                            re.MULTILINE))
    assert links == {"usr/bin/zvcam": "../local/zarvo/bin/zvcam", "usr/bin/zvcamera": "../local/zarvo/bin/zvcamera",
                     "usr/share/doc/zvcontrol-camera/examples/scenarios":
                         "../../../../local/zarvo/share/camera/scenarios"}
    for name in ("zvcam", "zvcamera"):
        assert {f"usr/share/bash-completion/completions/{name}", f"usr/share/zsh/vendor-completions/_{name}",
                f"usr/share/fish/vendor_completions.d/{name}.fish"} <= camera


def test_packages_are_for_the_processor_they_were_built_for(packages, processor):
    assert {field(path, "Architecture") for path in packages.values()} == {processor.debian}


def test_the_version_is_the_release_s_or_above_it(packages, gateway_dir):
    """And below the next one. Each package names the others of its own version."""
    versions = {field(path, "Version") for path in packages.values()}
    assert len(versions) == 1
    version = versions.pop()
    release = house.cached(gateway_dir, "CMAKE_PROJECT_VERSION")
    assert re.fullmatch(rf"{re.escape(release)}(\+git\d{{12}}\.[0-9a-f]{{7,}})?-1", version)
    following = re.sub(r"\d+$", lambda last: str(int(last[0]) + 1), release)
    run("dpkg", "--compare-versions", version, "ge", f"{release}-1")
    run("dpkg", "--compare-versions", version, "lt", f"{following}-1")
    text = gzip.decompress(run_bytes("dpkg-deb", "--fsys-tarfile", str(packages["zvcontrol-dev"]), member=(
        "./usr/share/doc/zvcontrol-dev/changelog.Debian.gz"))).decode()
    assert text.startswith(f"zvcontrol-dev ({version}) unstable; urgency=medium\n\n  * ")
    for package in packages.values():
        for relation in ("Depends", "Provides"):
            assert set(re.findall(r"zvcontrol-[a-z-]+ \(([^)]*)\)", field(package, relation))) <= {f"= {version}"}


@pytest.mark.parametrize(("tag", "revision", "expected"), [
    ("v1.2.0", "tagged", "1.2.0-1"), ("v1.2.0", "next", r"1\.2\.0\+git261121225743\.[0-9a-f]{7}-1"),
    ("v1.1.0", "tagged", r"1\.2\.0\+git261121225742\.[0-9a-f]{7}-1"), ("v1.2.0", "0" * 40, "1.2.0-1"),
    ("v1.2.0", "f" * 40, "1.2.0-1")])
def test_versions_of_releases_and_between_them(tmp_path, tag, revision, expected):
    """A tag makes a release; a tree without repository, or of a revision that is not in it, counts as one."""
    identity = {"GIT_AUTHOR_NAME": "a", "GIT_AUTHOR_EMAIL": "a", "GIT_COMMITTER_NAME": "a", "GIT_COMMITTER_EMAIL": "a"}
    environment = {**{name: value for name, value in os.environ.items() if not name.startswith("GIT_")}, **identity}
    revisions = {}
    run("git", "init", "-q", str(tmp_path / "source"))
    for name, second in (("tagged", 42), ("next", 43)):
        date = f"2026-11-21T23:57:{second}+0100"
        git = {"cwd": tmp_path / "source", "env": {**environment, "GIT_COMMITTER_DATE": date}}
        run("git", "commit", "-q", "--allow-empty", "-m", name, **git)
        if name == "tagged":
            run("git", "tag", tag, **git)
        revisions[name] = run("git", "rev-parse", "HEAD", **git).strip()
    (tmp_path / "src/zvControl").mkdir(parents=True)
    (tmp_path / "src/zvControl/buildRevision.cpp").write_text(
        f'extern const char buildRevision[41] = "{revisions.get(revision, revision)}";\n')
    (tmp_path / "tell.cmake").write_text(
        f"include({house.ROOT}/cmake/ZvPackageVersion.cmake)\n"
        f"zv_package_version({tmp_path}/source {tmp_path} 1.2.0)\n"
        "message(STATUS ${ZV_PACKAGE_VERSION})\nmessage(STATUS ${ZV_PACKAGE_TIME})\n")
    version, made = re.findall(r"^-- (\S+)$", run("cmake", "-P", str(tmp_path / "tell.cmake"),
                                                  env={**environment, "SOURCE_DATE_EPOCH": "1700000000"}), re.MULTILINE)
    assert re.fullmatch(expected, version)
    assert made == {"tagged": "1795301862", "next": "1795301863"}.get(revision, "1700000000")


def test_lintian_finds_nothing(packages):
    """But what the overrides explain, each with a comment; and none of these is needless."""
    told = run("lintian", "--no-cfg", "--allow-root", "--display-info", "--pedantic", "--fail-on", "none",
               "--tag-display-limit", "0", *map(str, packages.values()))
    assert told == ""
    for name, package in packages.items():
        text = run_bytes("dpkg-deb", "--fsys-tarfile", str(package),
                         member=f"./usr/share/lintian/overrides/{name}").decode()
        assert re.fullmatch(rf"((#.*\n)+({re.escape(name)}: [a-z-]+( .*)?\n)+\n?)+", text), text


def test_the_gateway_names_what_it_needs_to_start(packages, standalone):
    """The closed libraries may be the maker's, and killall that of busybox."""
    gateway, other = "zvcontrol-gateway", "zvcontrol-gateway-standalone"
    if standalone:
        gateway, other = other, gateway
        assert names(packages[gateway], "Depends") == []
        assert names(packages[gateway], "Provides") == [other]
    else:
        assert names(packages[gateway], "Depends") == [
            "libc6", "libgcc-s1", "libstdc++6", "zvcontrol-platform", "zvcontrol-closed-libraries"]
        assert names(packages["zvcontrol-platform"], "Provides") == ["zvcontrol-closed-libraries"]
    assert field(packages[gateway], "Recommends") == "psmisc | busybox"
    assert names(packages[gateway], "Conflicts") == names(packages[gateway], "Replaces") == [other]


def test_simulated_camera_brings_the_libraries_that_the_gateway_wants(packages):
    version = field(packages["zvcontrol-camera"], "Version")
    wanted = field(packages["zvcontrol-camera"], "Depends").split(", ")
    assert f"zvcontrol-gateway (= {version})" in wanted
    assert f"zvcontrol-platform (= {version}) | zvcontrol-gateway-standalone (= {version})" in wanted
    named = set(names(packages["zvcontrol-camera"], "Depends"))
    assert {"bubblewrap", "lighttpd", "psmisc", "python3"} <= named


def test_nothing_runs_when_a_package_is_installed_or_removed(packages):
    for package in packages.values():
        held = run("dpkg-deb", "-I", str(package))
        assert re.findall(r"^ +\d+ bytes, +\d+ lines +\*? *(\S+)", held, re.MULTILINE) == ["control", "md5sums"]


def test_everybody_may_read_and_root_owns_the_files(packages):
    for package in packages.values():
        for line in run("dpkg-deb", "-c", str(package)).splitlines():
            mode, owner, _, _, _, name, *_ = line.split()
            if mode.startswith("l"):
                continue
            program = "/bin/" in name or name.endswith("/busybox-control")
            wanted = "drwxr-xr-x" if name.endswith("/") else "-rwxr-xr-x" if program else "-rw-r--r--"
            assert (mode, owner, name) == (wanted, "root/root", name)


def test_nothing_tells_where_it_was_built(packages, tmp_path):
    unwanted = re.compile("|".join(map(re.escape, {house.ROOT, os.path.realpath(house.ROOT)})).encode())
    seen = 0
    for name, package in packages.items():
        run("dpkg-deb", "-R", str(package), str(tmp_path / name))
    for folder, _, files in os.walk(tmp_path):
        for name in files:
            with open(os.path.join(folder, name), "rb") as file:
                seen += 1
                assert not unwanted.search(file.read()), os.path.join(folder, name)
    assert seen > 60


def contents(packages):
    return {path.name: path.read_bytes() for path in packages.values()}


def test_packages_are_the_same_whoever_packs_and_when(gateway_dir, packages, tmp_path):
    """The others were packed by the user of the tests, with another umask, some seconds ago."""
    again = contents(packed(gateway_dir, tmp_path, *as_user(0 if os.getuid() else 1000), umask=0o022))
    assert [name for name, data in contents(packages).items() if data != again.pop(name, None)] == []
    assert again == {}


def tree(folder):
    """Path -> what a tree holds there: permissions, and a file's bytes or a link's target."""
    found = {}
    for place, folders, files in os.walk(folder):
        for path in (os.path.join(place, name) for name in (*folders, *files)):
            mode = os.lstat(path).st_mode
            if os.path.islink(path):
                held = os.readlink(path)
            elif os.path.isdir(path):
                held = "folder"
            else:
                with open(path, "rb") as file:
                    held = file.read()
            found[os.path.relpath(path, folder)] = (oct(mode), held)
    return found


def test_an_installation_is_the_same_whoever_installs_and_when(gateway_dir, packages, tmp_path):
    """And it puts the files of the packages in place."""
    trees = []
    for user in (0, 1000):
        root = tmp_path / str(user)
        run(*as_user(user), "cmake", "--install", gateway_dir, umask=0o022, env=dict(os.environ, DESTDIR=str(root)))
        trees.append(tree(root))
        time.sleep(1.1)  # whatever tells the time would tell another one
    assert [name for name in trees[0] if trees[0][name] != trees[1].get(name)] == []
    assert set(trees[0]) == set(trees[1])
    assert ({name for name, (_, held) in trees[0].items() if held != "folder"}
            == {name for path in packages.values() for name in members(path)})
