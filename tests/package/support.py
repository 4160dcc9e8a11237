"""Shared by the tests of the installed package."""

import atexit
import functools
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.dont_write_bytecode = True
ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ["MENDLOFT_BUILD"])
GCC = "i686-w64-mingw32-gcc-posix"
GCC_64 = "x86_64-w64-mingw32-gcc-posix"
GXX = "i686-w64-mingw32-g++-posix"
STRICT = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]
DOCUMENTS = "share/doc/mendloft"
PREFIX_64 = "win64-10.0@package"
PREFIX_32 = "win32-6.1@package"


def run(*command, **options):
    """Runs a native program. The result has returncode, stdout and stderr."""
    return subprocess.run([str(part) for part in command], text=True, capture_output=True,
                          stdin=subprocess.DEVNULL, check=False, **options)


def succeed(*command, **options):
    result = run(*command, **options)
    if result.returncode != 0:
        raise AssertionError(f"{command} failed:\n{result.stdout}{result.stderr}")
    return result


def wine(prefix, program, *arguments):
    """Runs a Windows program. The result's stdout includes its standard error."""
    # When the archive is unpacked again, Wine's shell does not delete its read-only file, as Windows'
    # shell does.
    for pattern in ("users/*/Temp/mendloft", "users/*/AppData/Local/Temp/mendloft"):
        for staging in drive(prefix).glob(pattern):
            shutil.rmtree(staging)
    return run(ROOT / "scripts" / "wine-run", prefix, program, *arguments)


def drive(prefix):
    """The folder of drive C. It exists after a program has run in the prefix."""
    return Path(os.environ["MENDLOFT_PREFIXES"]) / prefix / "drive_c"


def temporary_folder():
    folder = tempfile.mkdtemp(prefix="mendloft-package-test-")
    atexit.register(shutil.rmtree, folder, ignore_errors=True)
    return Path(folder)


@functools.cache
def installed():
    """The folder of an installation of the build, made once for all tests of a run."""
    folder = temporary_folder()
    succeed("cmake", "--install", BUILD, "--prefix", folder)
    return folder


def files_below(folder):
    return sorted(file.relative_to(folder).as_posix()
                  for file in folder.rglob("*") if file.is_file())


class PackageTest(unittest.TestCase):
    """A test that has a work folder."""

    def setUp(self):
        self.work = temporary_folder()

    def open_port(self):
        """A port of this machine that accepts connections until the test ends."""
        listener = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(listener.close)
        return listener.getsockname()[1]

    def closed_port(self):
        """A port that is reserved, so that no other program opens it, but has no listener."""
        holder = socket.socket()
        self.addCleanup(holder.close)
        holder.bind(("127.0.0.1", 0))
        return holder.getsockname()[1]
