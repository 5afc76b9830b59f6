"""The manual pages say what the programs, the headers and the scenarios know: all of it, and nothing else."""

import os
import re
import subprocess
import sys

import pytest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "scripts"))
import manual_pages  # noqa: E402

COMMON = {"--port", "--run-dir", "--json", "--help", "--version"}


def page(name):
    """A page as people read it: without marks, escapes and comments."""
    with open(os.path.join(manual_pages.PAGES, f"{name}.scd"), encoding="utf-8") as file:
        parts = re.split(r"^(\t*```)\n", re.sub(r"^; .*\n", "", file.read(), flags=re.MULTILINE), flags=re.MULTILINE)
    literal = False
    text = ""
    for part in parts:
        if part.strip() == "```":
            literal = not literal
        else:
            text += part if literal else re.sub(r"\\(.)|[*_]", lambda match: match[1] or "", part)
    return text


def section(name, title):
    found = re.search(rf"^# {title}\n(.*?)(?=^# |\Z)", page(name), re.DOTALL | re.MULTILINE)
    return found[1]


def paragraphs(text):
    """Line -> the indented block below it."""
    return dict(re.findall(r"^(\S.*)\n((?:\t.*\n|\n(?=\t))*)", text, re.MULTILINE))


def options_of(text):
    return set(re.findall(r"(?<![\w-])--?[a-z][a-z-]*", "\n".join(re.findall(r"^\t?(-.*)$", text, re.MULTILINE))))


def test_zvcam_has_a_paragraph_for_each_command_and_no_other():
    told = paragraphs(section("zvcam.1", "COMMANDS"))
    usages = {tuple(re.match(r"zvcam((?: [a-z][a-z-]*)+)", line)[1].split()): (line, text)
              for line, text in told.items()}
    commands = dict(manual_pages.commands())
    assert len(commands) > 50
    assert set(usages) == set(commands)
    for words, command in commands.items():
        line, text = usages[words]
        told_options = set(re.findall(r"(?<![\w-])(--?[a-z][a-z-]*)", "\n".join(
            entry for entry in re.findall(r"^\t(-[^ ].*)$", text, re.MULTILINE))))
        known = {name for option in manual_pages.own_options(command) for name in option.opts}
        assert told_options == known, words
        arguments = [each for each in command.params if each.param_type_name == "argument"]
        assert line.replace("[options]", "").split()[1 + len(words):] == [
            each.metavar or f"[{each.name.upper()}]..." for each in arguments], words


def test_zvcam_s_common_options_are_those_of_every_command():
    assert options_of(section("zvcam.1", "OPTIONS")) == COMMON


def test_zvcamera_has_a_paragraph_for_each_option_and_no_other():
    known = {name for action in manual_pages.launcher_options() for name in action.option_strings}
    assert {"--port", "--exec", "--help", "-h"} <= known
    assert options_of(section("zvcamera.1", "OPTIONS")) == known


def test_the_resident_program_s_page_has_its_options():
    with open(os.path.join(ROOT, "src", "scgi", "scgiOptions.cpp"), encoding="utf-8") as file:
        known = set(re.findall(r'name == "(--[a-z]+)"', file.read()))
    assert {"--socket", "--children", "--help"} <= known
    assert options_of(section("zvControl-scgi.8", "OPTIONS")) == known


def test_the_generated_parts_are_up_to_date():
    for name in sorted(os.listdir(manual_pages.PAGES)):
        with open(os.path.join(manual_pages.PAGES, name), encoding="utf-8") as file:
            text = file.read()
        assert manual_pages.generated(text) == text, f"scripts/manual_pages.py writes docs/man/{name} anew"


def test_each_header_has_a_page_that_names_all_it_declares():
    exported = set()
    with open(os.path.join(ROOT, "libzvCommon", "exports.txt"), encoding="utf-8") as file:
        wanted = set(re.findall(r"^\w+", file.read(), re.MULTILINE))
    headers = sorted(name.removesuffix(".h") for name in os.listdir(manual_pages.HEADERS))
    assert headers == sorted(re.findall(r"(zv\w+)\(3\)", section("libzvCommon.3", "DESCRIPTION")))
    for header in headers:
        names = section(f"{header}.3", "NAME").strip().partition(" - ")[0].split(", ")
        text = section(f"{header}.3", "DESCRIPTION")
        assert names[0] == header
        declared = [name for _, code in manual_pages.entries(f"{header}.h")[1] for name in manual_pages.declared(code)]
        assert [name for name in declared if not re.search(rf"\b{name}\b", text)] == []
        assert names[1:] == [name for name in declared if name in wanted or name == "ZV_LOG_AT"]
        exported.update(names[1:])
    assert exported - {"ZV_LOG_AT"} == wanted


@pytest.mark.parametrize("name", [name.removesuffix(".h") for name in sorted(os.listdir(manual_pages.HEADERS))])
def test_a_header_s_lines_are_read_as_they_stand(name, tmp_path):
    """Declarations and what is indented in comments: nothing is filled, and no backslash is lost."""
    with open(os.path.join(manual_pages.PAGES, f"{name}.3.scd"), encoding="utf-8") as source:
        (tmp_path / "page").write_bytes(subprocess.run(["scdoc"], stdin=source, capture_output=True, check=True).stdout)
    shown = subprocess.run(["man", "--warnings", "-l", "page"], cwd=tmp_path, capture_output=True, text=True,
                           check=True, env={**os.environ, "MANWIDTH": "150", "LC_ALL": "C.UTF-8"})
    assert shown.stderr == ""
    lines = {" ".join(line.split()) for line in shown.stdout.splitlines()}
    with open(os.path.join(manual_pages.HEADERS, f"{name}.h"), encoding="utf-8") as header:
        comments = re.findall(r"^ \*  +(\S.*)$", header.read(), re.MULTILINE)
    code = [line for _, text in manual_pages.entries(f"{name}.h")[1] for line in text.splitlines()]
    assert code and [line for line in (*code, *comments) if " ".join(line.split()) not in lines] == []


def test_zvcam_s_exit_statuses():
    from zvcamera.zvcam import output

    assert re.findall(r"^(\d+)$", section("zvcam.1", "EXIT STATUS"), re.MULTILINE) == [
        str(status) for status in (0, output.REFUSED, output.INVALID, output.UNREACHABLE, output.INTERRUPTED)]


def test_the_gateway_s_page_has_its_uris():
    told = [line.split()[0] for line in paragraphs(section("zvControl-cgi-bin.8", "URIS")) if "/" in line.split()[0]
            or line.startswith("execute")]
    assert told == manual_pages.uris()
    assert len(told) == 14


def test_the_messages_page_has_the_header_s_tags():
    with open(os.path.join(manual_pages.HEADERS, "zvTlv.h"), encoding="utf-8") as file:
        tags = dict(re.findall(r"#define (ZVTLV_[A-Z]+) (\d+)", file.read()))
    assert len(tags) == 6
    told = re.findall(r"^\|  (\d+)\n:  (ZVTLV_[A-Z]+)$", section("zvcontrol-messages.7", "TAGS"), re.MULTILINE)
    assert {name: number for number, name in told} == tags


@pytest.mark.parametrize("name", [
    "zvcam.1", "zvcamera.1", "zvcamera-scenario.5", "zvControl-cgi-bin.8", "zvControl-scgi.8"])
def test_pages_refer_to_pages_that_exist(name):
    ours = {f"{each}({section})" for each, section in (
        page.removesuffix(".scd").rsplit(".", 1) for page in os.listdir(manual_pages.PAGES))}
    referred = set(re.findall(r"\b(zv[\w-]+\(\d\))", page(name)))
    assert referred and referred <= ours
