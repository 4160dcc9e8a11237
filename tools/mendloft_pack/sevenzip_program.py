"""Runs the native 7-Zip program, which does the compression and decompression."""

import os
import shutil
import subprocess
from collections import Counter

from .findings import CannotWork

# Debian 12 installs it as 7zz, Debian 13 as 7z. The first that is found is used.
NAMES = ("7zz", "7z")

# One solid block, LZMA2 after the x86 filter. The directory stays uncompressed, so that its attributes
# can be rewritten. Of the times only that of the last change is stored. One thread, because the bytes
# must not depend on the number of processors.
_PACK_OPTIONS = ("-t7z", "-m0=BCJ", "-m1=LZMA2", "-mx=9", "-ms=on", "-mhc=off", "-mmt=1",
                 "-mtm=on", "-mtc=off", "-mta=off")


class SevenZip:
    """The 7-Zip program with one of these names or paths. Raises CannotWork if it is missing or fails."""

    def __init__(self, names=NAMES):
        self._program = next(filter(None, map(shutil.which, names)), None)
        if self._program is None:
            raise CannotWork(f"the 7-Zip program {' or '.join(names)} is missing; "
                             "run scripts/setup, or: apt-get install 7zip")

    def _run(self, arguments, folder=None):
        environment = {**os.environ, "LC_ALL": "C.UTF-8"}  # names must not depend on the locale
        try:
            return subprocess.run([self._program, *arguments], cwd=folder, env=environment,
                                  stdin=subprocess.DEVNULL, capture_output=True, check=False)
        except OSError as error:
            raise CannotWork(f"cannot run {self._program}: {error.strerror}") from error

    def pack(self, folder, archive):
        """Packs everything in a folder into a new archive, without the folder itself."""
        run = self._run(["a", *_PACK_OPTIONS, "-bd", "--", archive.absolute(), "*"], folder)
        if run.returncode != 0:
            raise CannotWork(f"7-Zip could not pack: {_complaint(run)}")

    def contents(self, archive):
        """Unpacks an archive in memory.

        Returns (the contents of all files joined, None), or (None, the reason) for a bad archive.
        Nothing is written to disk, so hostile item names do no harm.
        """
        run = self._run(["x", "-t7z", "-so", "-bd", "--", archive.absolute()])
        return (run.stdout, None) if run.returncode == 0 else (None, _complaint(run))


def _complaint(run):
    """Returns the reasons that 7-Zip gives. It repeats one for each file of a block; here it is counted."""
    lines = [line.strip() for line in run.stderr.decode("utf-8", errors="replace").splitlines()]
    said = [line for line in lines if line]
    errors = [line for line in said if "ERROR" in line.upper()]
    reasons = Counter(line.removeprefix("ERROR:").strip().split(" : ")[0]
                      for line in errors or said)
    counted = [f"{why} ({count} times)" if count > 1 else why for why, count in reasons.items()]
    return "; ".join(counted) or f"exit code {run.returncode}"
