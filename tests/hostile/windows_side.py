"""Unpacks archives with the library's SevenZipExtractor, under Wine."""

import fcntl
import os
import re
import shutil
import subprocess
import tempfile
from dataclasses import dataclass
from pathlib import Path

from programs import BUILD, ROOT

PREFIXES = Path(os.environ.get("MENDLOFT_PREFIXES", BUILD / "prefixes"))
# A prefix of its own, because an archive may damage drive C:.
PREFIX = os.environ.get("MENDLOFT_PREFIX", "win64-10.0") + "@hostile"


@dataclass
class Outcome:
    """What the library did with one archive."""

    result: int | None  # of ExtractTo; None if it threw an exception
    peak: int  # most bytes allocated at one time
    refused: int  # size of the largest block that could not be allocated
    milliseconds: int
    left: int = 0  # bytes that stayed allocated

    def text(self):
        return "an exception" if self.result is None else f"{self.result:#x}"


@dataclass
class Run:
    """What the library did with many archives in one process."""

    code: int  # exit code
    output: str
    outcomes: list[Outcome]
    handles: tuple[int, int] | None = None  # open halfway and at the end
    live: tuple[int, int] | None = None  # allocated bytes halfway and at the end
    touched: int | None = None  # largest working set, in bytes


def wine_run(*command):
    return subprocess.run([ROOT / "scripts" / "wine-run", PREFIX, *command],
                          env={**os.environ, "MENDLOFT_PREFIXES": str(PREFIXES), "MENDLOFT_TIMEOUT": "3000"},
                          stdin=subprocess.DEVNULL, capture_output=True, text=True, errors="replace", check=False)


def registered_methods():
    """Returns the names of the methods that the library's 7-Zip has for 7z archives. Needs a Workspace."""
    process = wine_run(BUILD / "bin" / "registered_methods.exe")
    process.check_returncode()
    return set(process.stdout.split())


class Workspace:
    """A folder on drive C: of the prefix, and a list of everything else on the drive. Must be closed.

    A lock allows only one at a time: changes to the drive by another would look like those of an archive.
    """

    def __init__(self):
        PREFIXES.mkdir(parents=True, exist_ok=True)
        self._lock = os.open(PREFIXES / f"{PREFIX}.lock", os.O_CREAT | os.O_WRONLY)
        fcntl.flock(self._lock, fcntl.LOCK_EX)
        self.drive_c = PREFIXES / PREFIX / "drive_c"
        if not self.drive_c.exists():
            wine_run("cmd", "/c", "exit").check_returncode()  # makes the prefix
        self._cut_links()
        self.folder = Path(tempfile.mkdtemp(prefix="hostile-", dir=self.drive_c))
        self.before = self._rest()

    def close(self):
        shutil.rmtree(self.folder)
        os.close(self._lock)

    def place(self, number):
        """Returns the folder for one "archive", and for "out" if the library has unpacked anything."""
        return self.folder / str(number)

    def make_place(self, number):
        """Makes the folder for an archive; returns where `run` expects the archive."""
        self.place(number).mkdir()
        return self.place(number) / "archive"

    def run(self, count, seconds=60):
        """Unpacks the archives 0 to count - 1 in one process, each within that many seconds."""
        process = wine_run(BUILD / "bin" / "mutant_runner.exe", f"C:\\{self.folder.name}", str(count),
                           str(seconds))
        outcomes = [Outcome(None if result == "threw" else int(result, 16), *map(int, numbers))
                    for result, *numbers in re.findall(r"^\d+ (\w+) (-?\d+) (\d+) (\d+) (-?\d+)$", process.stdout,
                                                       re.MULTILINE)]
        run = Run(process.returncode, process.stdout + process.stderr, outcomes)
        if end := re.search(r"^end (\d+) (\d+) (-?\d+) (-?\d+) (\d+)$", process.stdout, re.MULTILINE):
            numbers = [int(number) for number in end.groups()]
            run.handles, run.live, run.touched = (numbers[0], numbers[1]), (numbers[2], numbers[3]), numbers[4]
        return run

    def strangers(self):
        """Returns what was added, removed or changed on the drive, except in the folders "out"."""
        return sorted(name for name, _ in self.before.items() ^ self._rest().items()) + sorted(
            str(path) for path in self.folder.glob("*/*") if path.name not in ("archive", "out"))

    def _cut_links(self):
        """Replaces the links from the user's folders to those outside Wine, which no archive may reach."""
        for link in filter(Path.is_symlink, (self.drive_c / "users").glob("*/*")):
            link.unlink()
            link.mkdir()

    def _rest(self):
        found = {}
        for parent, folders, files in os.walk(self.drive_c):
            if Path(parent) == self.drive_c:
                folders.remove(self.folder.name)
            for name in folders + files:
                path = Path(parent) / name
                status = path.lstat()
                found[str(path.relative_to(self.drive_c))] = (
                    None if path.is_dir() else (status.st_size, status.st_mtime_ns))
        return found
