"""Completion of zvcamera's options, as the shells read it."""

import re
import subprocess

import pytest
from zvcamera import launcher_completion, options


def names():
    return {name for action in options.command_line()._actions for name in action.option_strings}


def proposed(*words):
    """What bash proposes for the last of these words."""
    script = launcher_completion.bash() + (
        f"COMP_WORDS=(zvcamera {' '.join(words)})\nCOMP_CWORD={len(words)}\n"
        "compopt() { printf '%s\\n' \"$*\"; }\n"
        "_zvcamera_completion\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n")
    done = subprocess.run(["bash", "--norc", "-c", script], capture_output=True, text=True, check=True)
    assert done.stderr == ""
    return done.stdout.split("\n")[:-1]


def test_bash_proposes_options_choices_and_files():
    assert set(proposed("''")) == names()
    assert proposed("--no") == ["--no-control"]
    assert proposed("--network", "''") == ["own", "host"]
    assert proposed("--scenario", "''") == ["-o default", ""]
    assert proposed("--storage", "''") == ["-o dirnames", ""]
    assert proposed("--port", "''") == [""]


def test_zsh_has_a_line_for_each_option():
    text = launcher_completion.zsh()
    assert text.startswith("#compdef zvcamera\n_arguments -s ")
    assert set(re.findall(r"^  '\*?(-[\w-]+)\[", text, re.MULTILINE)) == names()
    assert "'--network[" in text and ":one of:(own host)'" in text
    assert "'*--cors[let pages of this origin (http\\://localhost\\:3000) use the gateway; may be repeated]:ORIGIN:'" in text


def test_fish_has_a_line_for_each_option():
    lines = launcher_completion.fish().splitlines()
    assert lines[0] == "complete -c zvcamera -f"
    told = [re.match(r"complete -c zvcamera((?: -[ls] [\w-]+)+)", line)[1].split() for line in lines[1:]]
    assert {("--" if kind == "-l" else "-") + name for words in told
            for kind, name in zip(words[::2], words[1::2])} == names()
    assert "complete -c zvcamera -l quiet -d 'print no log lines'" in lines


@pytest.mark.parametrize("shell", ["bash", "zsh", "fish"])
def test_each_shell_can_read_its_script(shell, tmp_path):
    path = tmp_path / "script"
    path.write_text(getattr(launcher_completion, shell)())
    done = subprocess.run([shell, "-n", str(path)], capture_output=True, text=True, check=False)
    assert (done.returncode, done.stderr) == (0, "")
