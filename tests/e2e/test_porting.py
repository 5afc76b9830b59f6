"""The commands of docs/porting.md, as somebody with a camera's libraries would give them."""

import os
import re
import shutil
import subprocess

import house
import pytest

pytestmark = [pytest.mark.thorough, pytest.mark.porting, pytest.mark.xdist_group("installation")]


def page():
    with open(os.path.join(house.ROOT, "docs", "porting.md"), encoding="utf-8") as text:
        return text.read()


def block(part):
    """Returns the block of commands that holds this part, without the indentation of a list around it."""
    blocks = re.findall(r"^( *)```sh\n(.*?)^\1```$", page(), re.DOTALL | re.MULTILINE)
    indent, text = next(found for found in blocks if part in found[1])
    return re.sub(f"^{indent}", "", text, flags=re.MULTILINE)


def run(script, folder, status=0):
    done = subprocess.run(["sh", "-e", "-c", script], cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, check=False)
    assert done.returncode == status, done.stdout
    return done.stdout


class Fit:
    """A folder with libraries that stand for the maker's. Calling it runs the page's commands on them."""

    def __init__(self, build_dir, folder):
        self.processor = house.processor(build_dir)
        self.tools = self.processor.tools
        self.program = os.path.join(build_dir, "zvControl-cgi-bin")
        self.folder = folder
        self.maker = folder / "maker"
        self.maker.mkdir()
        for name in house.LIBRARIES:
            shutil.copy(os.path.join(build_dir, name), self.maker)
        libc = subprocess.run([f"{self.tools}gcc", "-print-file-name=libc.so.6"],
                              stdout=subprocess.PIPE, text=True, check=True)
        self.values = {"tools": self.tools, "program": self.program, "maker": str(self.maker),
                       "system": os.path.dirname(os.path.realpath(libc.stdout.strip()))}

    def __call__(self, part):
        values = block("\nsystem=")
        for name, value in self.values.items():
            values, count = re.subn(f"^{name}=\\S*", f"{name}='{value}'", values, flags=re.MULTILINE)
            assert count == 1
        return run(values + block(part), self.folder)

    def make_library(self, name, source, *options):
        subprocess.run([f"{self.tools}g++", "-std=c++20", "-shared", "-fPIC", "-x", "c++", "-", *options, "-o",
                        str(self.maker / name)], input=source, text=True, check=True)


@pytest.fixture
def fit(gateway_dir, tmp_path):
    return Fit(gateway_dir, tmp_path)


def test_same_processor(fit):
    lines = fit("readelf -h").splitlines()
    assert lines[-1].strip().startswith("[Requesting program interpreter: /lib")
    assert len(lines) > 12 and len(lines) % 3 == 1
    files = [lines[start:start + len(lines) // 3] for start in range(0, len(lines) - 1, len(lines) // 3)]
    assert files[0] == files[1] == files[2]
    assert (any("hard-float ABI" in line for line in files[0])
            == any("ABI_VFP_args" in line for line in files[0])
            == (fit.processor.debian == "armhf"))


def test_every_name_has_an_owner(fit):
    assert fit("comm") == ""
    wanted = (fit.folder / "wanted").read_text()
    assert "csi_get\n" in wanted and "@GLIBC_" in wanted


def test_names_without_an_owner_are_told(fit):
    fit.make_library("libcsi.so", """
        #include <string>
        extern "C" int hexline_of_later(), puts_of_the_maker();
        extern "C" int csi_of_later() { return hexline_of_later() + puts_of_the_maker(); }
    """)
    assert fit("comm").split() == ["csi_get", "hexline_of_later", "puts_of_the_maker"]


def test_libraries_with_the_old_string_type_are_told(fit):
    sources = os.path.join(house.ROOT, "platform", "libzvCtrlD")
    with open(os.path.join(sources, "parseParam.cpp"), encoding="utf-8") as text:
        fit.make_library("libcsi.so", text.read() + '\nextern "C" int csi_get() { return 0; }\n',
                         "-D_GLIBCXX_USE_CXX11_ABI=0", f"-I{house.ROOT}/platform/include", f"-I{house.ROOT}/base")
    shutil.move(fit.maker / "libzvCtrlD.so", fit.maker / "kept")
    fit.make_library("libzvCtrlD.so", "")
    missing = fit("comm").split()
    assert any(name.startswith("_Z10parseParam") and "__cxx11" in name for name in missing)


def test_program_can_be_built_with_the_old_string_type(fit):
    """Only the sources that use streams are compiled: with the old type, streams can do less."""
    option = re.search(r"`-DCMAKE_CXX_FLAGS=(\S+)`", page())[1]
    sources = [os.path.join(folder, name)
               for folder, _, names in os.walk(os.path.join(house.ROOT, "src"))
               for name in names]
    folders = {os.path.dirname(path) for path in sources} | {
        os.path.join(house.ROOT, name) for name in ("base", "libzvCommon/include", "platform/include")}
    compiled = 0
    for path in sources:
        with open(path, encoding="utf-8") as text:
            if path.endswith(".cpp") and re.search(r"stringstream|ostream", text.read()):
                subprocess.run([f"{fit.tools}g++", "-std=c++20", option, "-fsyntax-only",
                                *(f"-I{name}" for name in folders), path], check=True)
                compiled += 1
    assert compiled > 3


def test_slots_of_the_messages(fit):
    table, *slots = fit("vtable for").splitlines()
    size = int(table.split()[1], 16)
    assert size == 9 * fit.processor.bits // 8
    assert [re.search(r"Msg::(~?\w+)", slot)[1] for slot in slots] == \
        re.findall(r"`([~\w]+)`", re.search(r"and the slots are (.*?)\. ", page())[1])
    assert re.search(r"takes (\d+) bytes", page())[1] == "36"


def test_sizes_of_the_messages(fit):
    """The page has the sizes for 32-bit ARM; ./test arm checks them. On other processors they are no smaller."""
    sizes = re.search(r"`Msg` has (\d+) bytes, `MsgElement` (\d+) and `MemStream` (\d+)", page()).groups()
    relation = "==" if fit.processor.bits == 32 else ">="
    checks = "".join(f"static_assert(sizeof({name}) {relation} {size});\n"
                     for name, size in zip(("Msg", "MsgElement", "MemStream"), sizes))
    fit.make_library("sizes.so", '#include "zvCtrlD.h"\n' + checks, f"-I{house.ROOT}/platform/include")


def test_loader_finds_everything(fit, build_dir):
    trace = block("LD_TRACE_LOADED_OBJECTS").strip()
    here = fit.folder / "zvControl-cgi-bin"
    shutil.copy(fit.program, here)
    for name in house.LIBRARIES:
        shutil.copy(fit.maker / name, fit.folder)

    def loaded():
        if not fit.processor.cross:
            return run(trace.replace("/usr/local/zarvo/bin/zvControl-cgi-bin", str(here)), fit.folder)
        settings = " ".join(f"-E {word}" for word in trace.split()[:-1])
        return run(" ".join(fit.processor.command(settings, str(here))), fit.folder)

    assert f"libcsi.so => {fit.folder}/libcsi.so " in loaded()
    assert "not found" not in loaded() and "undefined" not in loaded()
    # One of the maker's libraries needs another one beside it. To find that one, the loader uses the search path of
    # the library that needs it, not the program's.
    fit.make_library("libfurther.so", "int further() { return 1; }")
    shutil.copy(fit.maker / "libfurther.so", fit.folder)
    source = 'int further(); extern "C" int csi_get() { return further(); }'
    for options, found in (((), False), (("-Wl,-rpath,$ORIGIN",), True)):
        fit.make_library("libcsi.so", source, *options, f"-L{fit.maker}", "-lfurther")
        shutil.copy(fit.maker / "libcsi.so", fit.folder)
        assert ("libfurther.so => not found" not in loaded()) == found


def test_requests_from_the_shell(camera):
    for part in ("pairing_available", "pair/status"):
        command = re.search(rf"`(PATH_INFO=\S*{part} [^\s;`]+)", page())[1]
        done = camera.run(["/bin/sh", "-c", command])
        assert done.status == 0 and done.stdout.startswith(b"Status: 200 ")
    camera.tool("set", "recording", "1")
    command = re.search(r"`(PATH_INFO=\S*pairing_available \S+; echo \$\?)`", page())[1]
    refused = camera.run(["/bin/sh", "-c", command]).stdout.decode()
    assert refused.startswith("Status: 500 ") and refused.endswith("255\n")


def test_another_library_in_the_simulated_camera(make_camera, fit):
    """The csi_get of this library always says that the camera records."""
    fit.make_library("libcsi.so", """
        extern "C" int csi_get(int, int, int*, void* value) { *static_cast<int*>(value) = 1; return 0; }
    """)
    place = re.search(r'more=\[\("/path/to/libcsi\.so", "([^"]*)"\)\]', page())[1]
    assert make_camera().get("/command/ble/pairing_available").status == 200
    other = make_camera(more=[(str(fit.maker / "libcsi.so"),
                               place.replace("lib/", "target/lib/") if fit.processor.cross else place)])
    assert other.get("/command/ble/pairing_available").status == 500


def test_libraries_beside_the_program_and_programs_of_their_own(gateway_dir, fit, tmp_path):
    done = subprocess.run(["cmake", "--install", gateway_dir, "--component", "development"],
                          check=False, capture_output=True, env=dict(os.environ, DESTDIR=str(tmp_path)))
    assert done.returncode == 0
    (tmp_path / "beside.cpp").write_text(
        '#include <zvLog.h>\nint beside() { return zvUtilKlogMsgLevel(6, 1, "beside", "hello\\n"), g_logLevel; }\n')
    (tmp_path / "alone.cpp").write_text("#include <zvErrno.h>\nint main() { return zvErrno2Str(0) == nullptr; }\n")
    commands = block("-lzvCommon").replace("g++ ", f"{fit.tools}g++ ").replace("/usr/local", f"{tmp_path}/usr/local")
    run(commands, tmp_path)
    names = run(f"{fit.tools}nm -D --undefined-only libbeside.so", tmp_path).split()
    assert "zvUtilKlogMsgLevel" in names and "g_logLevel" in names
    run(" ".join(fit.processor.command("./alone")), tmp_path)


def test_build_commands_name_what_there_is(gateway_dir):
    """The options and targets of the commands exist. CMake would accept a misspelt option without a word."""
    for part in ("cpack", "ZV_WARNINGS_AS_ERRORS=OFF"):
        for option in re.findall(r"-D(ZV_\w+)=", block(part)):
            with open(os.path.join(gateway_dir, "CMakeCache.txt"), encoding="utf-8") as cache:
                assert re.search(f"^{option}:BOOL=", cache.read(), re.MULTILINE), option
        for target in re.findall(r"--target (\w\S*)", block(part)):
            # A dry run prints what it would do, or that there is no such target.
            run(f"cmake --build '{gateway_dir}' --target {target} -- -n", gateway_dir)
    with open(os.path.join(house.ROOT, "CMakePresets.json"), encoding="utf-8") as presets:
        assert '"name": "arm"' in presets.read()
