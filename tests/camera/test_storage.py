"""A given storage is the folder that was meant, whatever others do to it. What only root can lose is tried as root."""

import os
import stat

import pytest

from zvcamera import sandbox, storage

OTHER = 65534
as_root = pytest.mark.root  # an ordinary user gives nothing away


def _owner(path):
    return os.lstat(path).st_uid


def test_a_missing_folder_is_made(tmp_path):
    assert storage.make(tmp_path / "a" / "b") == f"{tmp_path}/a/b"
    assert stat.S_IMODE(os.stat(tmp_path / "a" / "b").st_mode) == 0o700


def test_own_links_are_followed(tmp_path):
    (tmp_path / "real" / "x").mkdir(parents=True)
    (tmp_path / "link").symlink_to("real/x")
    (tmp_path / "up").symlink_to(tmp_path / "link" / "..")
    assert storage.make(tmp_path / "link") == f"{tmp_path}/real/x"
    assert storage.make(tmp_path / "up" / "y") == f"{tmp_path}/real/y"
    (tmp_path / "round").symlink_to("round")
    with pytest.raises(OSError, match="Too many levels"):
        storage.make(tmp_path / "round")


@as_root
def test_links_of_others_are_refused(tmp_path):
    """Another user has put it where root's storage was to be."""
    (tmp_path / "system").mkdir()
    (tmp_path / "given").symlink_to("system")
    os.lchown(tmp_path / "given", OTHER, OTHER)
    for path in (tmp_path / "given", tmp_path / "given" / "below"):
        with pytest.raises(OSError, match="given is a symbolic link of another user"):
            storage.make(path)
    assert list((tmp_path / "system").iterdir()) == []


@pytest.mark.parametrize("path", ["/", "/etc", "/usr/share", "/var/lib", "/root", "/home"])
def test_the_machines_folders_are_refused(path, tmp_path):
    """Asks the judgement alone: whatever is wrong with it, nothing happens to the machine."""
    with pytest.raises(OSError, match="not a private folder"):
        storage.refuse_shared(path, os.stat(tmp_path))


@pytest.mark.parametrize("path", ["/etcetera", "/data", "/home/user/etc", "/var/lib/camera", "/run/user/1000/camera"])
def test_other_folders_are_no_system_folders(path, tmp_path):
    storage.refuse_shared(path, os.stat(tmp_path))


@as_root
def test_roots_files_are_given_and_those_of_others_stay(tmp_path):
    (tmp_path / "own" / "file").parent.mkdir()
    for name in ("own/file", "other"):
        (tmp_path / name).write_text("")
    os.chown(tmp_path / "other", OTHER, OTHER)
    storage.make_private(str(tmp_path))
    owners = [_owner(tmp_path / name) for name in (".", "own", "own/file", "other")]
    assert owners == [sandbox.user()] * 3 + [OTHER]


@as_root
def test_a_link_gives_nothing_away(tmp_path):
    outside = tmp_path / "outside"
    (tmp_path / "given").mkdir()
    outside.write_text("")
    (tmp_path / "given" / "soft").symlink_to(outside)
    (tmp_path / "given" / "hard").hardlink_to(outside)
    storage.make_private(str(tmp_path / "given"))
    assert _owner(outside) == 0


@as_root
def test_a_folder_that_becomes_a_link_leads_nowhere(tmp_path, monkeypatch):
    """A command in another camera with the same storage exchanges it while its files are given."""
    inner = tmp_path / "given" / "inner"
    inner.mkdir(parents=True)
    (inner / "passwd").write_text("")
    (tmp_path / "system").mkdir()
    (tmp_path / "system" / "passwd").write_text("")

    def give(path, folder=None, give=sandbox.give):
        if os.path.basename(path) == "passwd" and inner.is_dir() and not inner.is_symlink():
            inner.rename(tmp_path / "given" / "away")
            inner.symlink_to(tmp_path / "system")
        give(path, folder) if folder is not None else give(path)

    monkeypatch.setattr(sandbox, "give", give)
    storage.make_private(str(tmp_path / "given"))
    assert inner.is_symlink()
    assert _owner(tmp_path / "system" / "passwd") == 0
