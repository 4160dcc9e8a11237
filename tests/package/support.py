"""What the tests of the installed package share."""

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
    """Runs a native program; the result has returncode, stdout and stderr."""
    return subprocess.run([str(part) for part in command], text=True, capture_output=True,
                          stdin=subprocess.DEVNULL, check=False, **options)


def succeed(*command, **options):
    result = run(*command, **options)
    if result.returncode != 0:
        raise AssertionError(f"{command} failed:\n{result.stdout}{result.stderr}")
    return result


def wine(prefix, program, *arguments):
    """Runs a Windows program; its standard error comes with its standard output."""
    # The shell of Windows deletes the archive's read-only file when it is unpacked again, Wine's does not.
    for staging in drive(prefix).glob("users/*/Temp/mendloft"):
        shutil.rmtree(staging)
    return run(ROOT / "scripts" / "wine-run", prefix, program, *arguments)


def drive(prefix):
    """The folder of drive C; the prefix is there once something ran in it."""
    return Path(os.environ["MENDLOFT_PREFIXES"]) / prefix / "drive_c"


def temporary_folder():
    folder = tempfile.mkdtemp(prefix="mendloft-package-test-")
    atexit.register(shutil.rmtree, folder, ignore_errors=True)
    return Path(folder)


@functools.cache
def installed():
    """The folder that the build was installed into, once for all tests of a run."""
    folder = temporary_folder()
    succeed("cmake", "--install", BUILD, "--prefix", folder)
    return folder


def files_below(folder):
    return sorted(file.relative_to(folder).as_posix()
                  for file in folder.rglob("*") if file.is_file())


class PackageTest(unittest.TestCase):
    """A test with a work folder."""

    def setUp(self):
        self.work = temporary_folder()

    def open_port(self):
        """A port of this machine that accepts connections until the test is over."""
        listener = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(listener.close)
        return listener.getsockname()[1]

    def closed_port(self):
        """A port that is taken, so that nobody else opens it, but at which nobody listens."""
        holder = socket.socket()
        self.addCleanup(holder.close)
        holder.bind(("127.0.0.1", 0))
        return holder.getsockname()[1]
