"""Keeps mutants away from everything else on this computer.

A library that deletes folder trees, with one mistake in it, may delete any of them; and Wine shows its
programs the whole file system. So mutants run in a mount namespace in which only the work folder can
be written, and in a process namespace that takes every stray process with it when it ends."""

import os
import subprocess
import sys
from pathlib import Path

_MARK = "MENDLOFT_MUTATION_SANDBOX"
_PSEUDO = {"proc", "sysfs", "devpts", "mqueue", "cgroup", "cgroup2", "securityfs",
           "debugfs", "tracefs", "bpf", "pstore", "configfs", "fusectl", "hugetlbfs", "binfmt_misc"}


def inside():
    return _MARK in os.environ


def enter():
    """Starts this program again inside of the sandbox, in the place of this process."""
    command = ["unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc"]
    if os.geteuid() != 0:
        command += ["--user", "--map-root-user"]
    os.environ[_MARK] = "1"
    os.execvp(command[0], [*command, sys.executable, *sys.argv])


def close(work):
    """Makes everything but the folder `work` read-only. Raises an error when that fails.

    The devices can be written to all the same, but not deleted: Wine takes the file NUL for one."""
    server = work / "wineserver"
    server.mkdir(mode=0o700, exist_ok=True)
    _wine_server_folder().mkdir(mode=0o700, exist_ok=True)
    (work / "tmp").mkdir(exist_ok=True)
    os.environ["TMPDIR"] = str(work / "tmp")
    os.environ["CCACHE_DISABLE"] = "1"
    _mount("--bind", work, work)
    _mount("--bind", server, _wine_server_folder())
    kept = {str(work), str(_wine_server_folder())}
    for line in Path("/proc/self/mounts").read_text(encoding="utf-8").splitlines():
        _, place, kind, options = line.split()[:4]
        if kind in _PSEUDO or place in kept or place.startswith("/dev/") or "ro" in options.split(","):
            continue
        _mount("-o", "remount,bind,ro", place.replace("\\040", " "))
    try:
        (work.parent / "writable").touch()
    except OSError:
        return
    raise OSError(f"the sandbox leaves {work.parent} writable")


def _wine_server_folder():
    return Path(f"/tmp/.wine-{os.geteuid()}")


def _mount(*arguments):
    subprocess.run(["mount", *map(str, arguments)], check=True)
