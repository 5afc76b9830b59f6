"""The source revision that a build puts into the program is the one of the sources at that moment."""
import os
import pathlib
import shutil
import subprocess

import pytest

SCRIPT = pathlib.Path(__file__).resolve().parents[3] / "cmake" / "ZvRevision.cmake"
ZEROS = "0" * 40
SAYS_SO = "The sources stand in no repository (or git is missing): the program's build revision is " + ZEROS
ENVIRONMENT = {
    **{name: value for name, value in os.environ.items() if not name.startswith("GIT_")},
    "GIT_CONFIG_NOSYSTEM": "1",
    "GIT_AUTHOR_NAME": "a", "GIT_AUTHOR_EMAIL": "a@example.org",
    "GIT_COMMITTER_NAME": "a", "GIT_COMMITTER_EMAIL": "a@example.org",
}


def git(folder, *arguments):
    done = subprocess.run(["git", "-C", folder, *arguments],
                          env=ENVIRONMENT, check=True, capture_output=True, text=True)
    return done.stdout.strip()


def commit(folder, text):
    (folder / "CMakeLists.txt").write_text(text)
    git(folder, "add", "CMakeLists.txt")
    git(folder, "commit", "-q", "-m", text)
    return git(folder, "rev-parse", "HEAD")


@pytest.fixture
def sources(tmp_path):
    folder = tmp_path / "the sources"
    folder.mkdir()
    (folder / "CMakeLists.txt").write_text("")
    return folder


@pytest.fixture
def repository(sources):
    git(sources, "init", "-q")
    commit(sources, "first")
    return sources


def ask(sources, output, **variables):
    done = subprocess.run(["cmake", f"-DZV_SOURCE={sources}", f"-DZV_OUTPUT={output}", "-P", SCRIPT],
                          env={**ENVIRONMENT, **variables}, check=True, capture_output=True, text=True)
    return output.read_text(), done.stdout + done.stderr


def source_of(revision):
    return f'#include "buildRevision.h"\n\nextern const char buildRevision[41] = "{revision}";\n'


def test_names_the_revision_of_the_sources_and_says_nothing(repository, tmp_path):
    text, said = ask(repository, tmp_path / "out.cpp")
    assert text == source_of(git(repository, "rev-parse", "HEAD"))
    assert said == ""


def test_follows_a_commit(repository, tmp_path):
    ask(repository, tmp_path / "out.cpp")
    revision = commit(repository, "second")
    assert ask(repository, tmp_path / "out.cpp")[0] == source_of(revision)


def test_leaves_the_file_alone_while_the_revision_stays(repository, tmp_path):
    output = tmp_path / "out.cpp"
    ask(repository, output)
    os.utime(output, ns=(1, 1))
    ask(repository, output)
    assert output.stat().st_mtime_ns == 1


def test_outside_a_repository_names_zeros_and_says_so(sources, tmp_path):
    text, said = ask(sources, tmp_path / "out.cpp")
    assert text == source_of(ZEROS)
    assert SAYS_SO in said


def test_a_repository_without_commits_names_zeros(sources, tmp_path):
    git(sources, "init", "-q")
    git(sources, "add", "CMakeLists.txt")
    text, said = ask(sources, tmp_path / "out.cpp")
    assert text == source_of(ZEROS)
    assert SAYS_SO not in said
    assert said.startswith("The sources' repository names no revision of 40 digits [")
    assert said.endswith(f"]: the program's build revision is {ZEROS}\n")


def test_a_repository_around_the_sources_that_does_not_track_them_is_not_theirs(repository, tmp_path):
    inner = repository / "unpacked"
    inner.mkdir()
    (inner / "CMakeLists.txt").write_text("")
    text, said = ask(inner, tmp_path / "out.cpp")
    assert text == source_of(ZEROS)
    assert SAYS_SO in said


def test_works_in_a_worktree(repository, tmp_path):
    tree = tmp_path / "tree"
    git(repository, "worktree", "add", "-q", str(tree), "-b", "other")
    revision = commit(tree, "in the worktree")
    assert ask(tree, tmp_path / "out.cpp")[0] == source_of(revision)


def test_works_in_a_clone_of_another_user(repository, tmp_path):
    refused = subprocess.run(["git", "-C", repository, "rev-parse", "HEAD"],
                             env={**ENVIRONMENT, "GIT_TEST_ASSUME_DIFFERENT_OWNER": "1"}, capture_output=True)
    assert refused.returncode != 0  # the premise: git itself would not answer
    text, _ = ask(repository, tmp_path / "out.cpp", GIT_TEST_ASSUME_DIFFERENT_OWNER="1")
    assert text == source_of(git(repository, "rev-parse", "HEAD"))


def test_another_repository_in_the_environment_does_not_mislead(repository, sources, tmp_path):
    other = tmp_path / "other"
    other.mkdir()
    git(other, "init", "-q")
    commit(other, "elsewhere")
    text, _ = ask(repository, tmp_path / "out.cpp", GIT_DIR=str(other / ".git"), GIT_WORK_TREE=str(other))
    assert text == source_of(git(repository, "rev-parse", "HEAD"))


def test_limits_of_the_search_in_the_environment_do_not_mislead(repository, tmp_path):
    inner = repository / "inner;part"
    inner.mkdir()
    revision = commit(inner, "tracked below the top")
    text, _ = ask(inner, tmp_path / "out.cpp", GIT_CEILING_DIRECTORIES=str(repository))
    assert text == source_of(revision)


def test_a_rebuild_after_a_commit_shows_the_new_revision_and_links_only_then(sources, tmp_path):
    shutil.copy(SCRIPT, sources / "ZvRevision.cmake")
    (sources / "buildRevision.h").write_text("extern const char buildRevision[41];\n")
    (sources / "main.cpp").write_text('#include "buildRevision.h"\n#include <cstdio>\n'
                                      'int main() { std::puts(buildRevision); }\n')
    project = ("cmake_minimum_required(VERSION 3.25)\nproject(p LANGUAGES CXX)\ninclude(ZvRevision.cmake)\n"
               "add_library(zv_compile INTERFACE)\nzv_build_revision(revision)\n"
               "add_executable(show main.cpp)\ntarget_link_libraries(show PRIVATE revision)\n")
    git(sources, "init", "-q")
    first = commit(sources, project)
    build = tmp_path / "build"

    def run(*words):
        return subprocess.run(words, env=ENVIRONMENT, check=True, capture_output=True, text=True).stdout.strip()

    run("cmake", "-G", "Ninja", "-S", sources, "-B", build)
    run("cmake", "--build", build)
    assert run(build / "show") == first
    assert "Linking" not in run("cmake", "--build", build)
    git(sources, "commit", "-q", "--allow-empty", "-m", "second")
    run("cmake", "--build", build)
    assert run(build / "show") == git(sources, "rev-parse", "HEAD") != first
