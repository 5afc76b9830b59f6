"""Makes the Debian packages of a build folder, and looks into them."""

import os
import re
import subprocess

PREFIX = "usr/local/zarvo"


def run(*words, **options):
    done = subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **options)
    assert done.returncode == 0, done.stdout
    return done.stdout


def run_bytes(*words, member):
    """The bytes of one file of the archive that a command prints."""
    archive = subprocess.run(words, capture_output=True, check=True).stdout
    return subprocess.run(["tar", "-xOf", "-", member], input=archive, capture_output=True, check=True).stdout


def packed(gateway_dir, folder, *wrapper, umask=0o077):
    """Makes the packages at a fixed time, as a user whose umask keeps everybody else out."""
    run(*wrapper, "cpack", "-B", str(folder), cwd=gateway_dir, umask=umask,
        env=dict(os.environ, SOURCE_DATE_EPOCH="1700000000"))
    return {run("dpkg-deb", "-f", str(path), "Package").strip(): path for path in folder.glob("*.deb")}


def as_user(number):
    """Words before a command, so that it believes to be run by this user; 0 is root."""
    return ["bwrap", "--unshare-user", "--uid", str(number), "--gid", str(number), "--bind", "/", "/",
            "--dev", "/dev", "--"]


def members(package):
    """The paths of a package's files and links."""
    lines = run("dpkg-deb", "-c", str(package)).splitlines()
    return {line.split()[5][len("./"):] for line in lines if not line.startswith("d")}


def field(package, name):
    return run("dpkg-deb", "-f", str(package), name).strip()


def names(package, relation):
    """Names of the packages in a field, without versions."""
    return re.findall(r"(?:^|[,|] )([a-z0-9.+-]+)", field(package, relation))


def paths(folder):
    """The paths of all files and links below a folder."""
    return {os.path.relpath(os.path.join(place, name), folder)
            for place, folders, files in os.walk(folder) for name in (*files, *folders)
            if not os.path.isdir(os.path.join(place, name)) or os.path.islink(os.path.join(place, name))}
