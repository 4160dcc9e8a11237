"""Keeps mutants away from everything else on this computer.

The library deletes folder trees, and a mutant of it may delete any folder: Wine shows its programs the
whole file system. So mutants run in a mount namespace in which only the work folder is writable. They
also run in a process namespace, which ends all stray processes when it ends.
"""

import os
import subprocess
import sys
from pathlib import Path

_MARK = "MENDLOFT_MUTATION_SANDBOX"
_PSEUDO = {"proc", "sysfs", "devpts", "mqueue", "cgroup", "cgroup2", "securityfs",
           "debugfs", "tracefs", "bpf", "pstore", "configfs", "fusectl", "hugetlbfs", "binfmt_misc"}


def inside():
    """Whether this program runs in the sandbox already."""
    return _MARK in os.environ


def enter():
    """Replaces this process by one that runs the same program again, inside the sandbox.

    The new process has namespaces of its own, but can still write everywhere until `close`.
    """
    command = ["unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc"]
    if os.geteuid() != 0:
        command += ["--user", "--map-root-user"]
    os.environ[_MARK] = "1"
    os.execvp(command[0], [*command, sys.executable, *sys.argv])


def close(work):
    """Makes everything but the folder `work` read-only. Raises CalledProcessError if a mount fails, and
    OSError if the folder around `work` is writable all the same.

    Devices stay writable, because Wine maps the file NUL to one, but they cannot be deleted.
    """
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
