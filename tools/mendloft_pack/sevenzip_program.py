"""Runs the native 7-Zip program, which does the compressing and the unpacking."""

import os
import shutil
import subprocess

from .findings import CannotWork

DEFAULT = "7zz"

# One solid block, LZMA2 behind the x86 filter; a plain directory, whose attributes can be rewritten;
# modified times only. One thread, because the bytes must not depend on the machine's cores.
_PACK_OPTIONS = ("-t7z", "-m0=BCJ", "-m1=LZMA2", "-mx=9", "-ms=on", "-mhc=off", "-mmt=1",
                 "-mtm=on", "-mtc=off", "-mta=off")


class SevenZip:
    """The 7-Zip program of that name or path."""

    def __init__(self, program=DEFAULT):
        self._program = shutil.which(program)
        if self._program is None:
            raise CannotWork(f"the 7-Zip program {program} is missing; run scripts/setup, or: "
                             "apt-get install 7zip")

    def _run(self, arguments, folder=None):
        environment = {**os.environ, "LC_ALL": "C.UTF-8"}  # names must not depend on the locale
        try:
            return subprocess.run([self._program, *arguments], cwd=folder, env=environment,
                                  stdin=subprocess.DEVNULL, capture_output=True, check=False)
        except OSError as error:
            raise CannotWork(f"cannot run {self._program}: {error.strerror}") from error

    def pack(self, folder, archive):
        """Packs everything in a folder into a new archive."""
        run = self._run(["a", *_PACK_OPTIONS, "-bd", "--", str(archive), *sorted(os.listdir(folder))], folder)
        if run.returncode != 0:
            raise CannotWork(f"7-Zip could not pack (exit code {run.returncode}): {_complaint(run)}")

    def contents(self, archive):
        """Returns (the contents of all files one behind the other, None), or (None, what is wrong).

        Nothing is written to disk, so the items' names do not matter.
        """
        run = self._run(["x", "-t7z", "-so", "-bd", "--", str(archive)])
        return (run.stdout, None) if run.returncode == 0 else (None, _complaint(run))


def _complaint(run):
    lines = run.stderr.decode("utf-8", errors="replace").splitlines()
    told = [line.strip() for line in lines if line.strip()]
    return "; ".join(line for line in told if "rror" in line) or "; ".join(told) or "no reason given"
