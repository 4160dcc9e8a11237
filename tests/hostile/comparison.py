"""Unpacks archives with the library's SevenZipExtractor and with 7-Zip's own program, and compares."""

import os
import re
import shutil
import subprocess
import tempfile
from collections import Counter
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ.get("MENDLOFT_BUILD", ROOT / "build" / "release"))
PREFIXES = Path(os.environ.get("MENDLOFT_PREFIXES", BUILD / "prefixes"))
# A prefix apart, whose drive C: an archive may as well damage.
PREFIX = os.environ.get("MENDLOFT_PREFIX", "win64-10.0") + "@hostile"

# The program looks for an archive of the type anywhere in the first 8 MB unless told otherwise. The
# library knows all formats but 7z by what is at the very beginning.
TYPE_OPTION = {"7z": "-t7z", "zip": "-tzip:s0", "cab": "-tcab:s0", "lzma": "-tlzma:s0",
               "lzma86": "-tlzma86:s0", "xz": "-txz:s0"}
# Formats whose only item has no name; the library and the program each have a name of their own for it.
NAMELESS = {"lzma": ("[Content]", "archive~"), "lzma86": ("[Content]", "archive~")}

DEVICES = {"con", "prn", "aux", "nul", *(f"{port}{n}" for port in ("com", "lpt") for n in range(1, 10))}


@dataclass
class Outcome:
    """What became of one archive in the library's hands."""

    result: int | None  # of ExtractTo; None when it threw
    peak: int  # bytes allocated at a time
    refused: int  # bytes of the largest block that could not be had
    milliseconds: int


@dataclass
class Run:
    """What became of many archives in one process."""

    code: int  # exit code
    output: str
    outcomes: list[Outcome]
    handles: tuple[int, int] | None = None  # at half and at the end, as are the bytes
    live: tuple[int, int] | None = None
    touched: int | None = None


def drive():
    """Drive C: of the prefix, which is made by running something in it."""
    subprocess.run([ROOT / "scripts" / "wine-run", PREFIX, "cmd", "/c", "exit"], check=True,
                   env={**os.environ, "MENDLOFT_PREFIXES": str(PREFIXES)}, stdin=subprocess.DEVNULL)
    return PREFIXES / PREFIX / "drive_c"


def run_library(folder, count, drive_c):
    """Runs the library over folder/0/archive and so on, which lie on the prefix's drive C:."""
    windows = "C:\\" + str(folder.relative_to(drive_c)).replace("/", "\\")
    process = subprocess.run(
        [ROOT / "scripts" / "wine-run", PREFIX, BUILD / "bin" / "mutant_runner.exe", windows, str(count)],
        env={**os.environ, "MENDLOFT_PREFIXES": str(PREFIXES), "MENDLOFT_TIMEOUT": "3000"},
        stdin=subprocess.DEVNULL, capture_output=True, text=True, errors="replace", check=False)
    outcomes = [Outcome(None if result == "threw" else int(result, 16), *map(int, numbers))
                for result, *numbers in re.findall(r"^\d+ (\w+) (-?\d+) (\d+) (\d+)$", process.stdout,
                                                   re.MULTILINE)]
    run = Run(process.returncode, process.stdout, outcomes)
    if end := re.search(r"^end (\d+) (\d+) (-?\d+) (-?\d+) (\d+)$", process.stdout, re.MULTILINE):
        numbers = [int(number) for number in end.groups()]
        run.handles, run.live, run.touched = (numbers[0], numbers[1]), (numbers[2], numbers[3]), numbers[4]
    return run


@dataclass
class Reference:
    """What 7-Zip's program made of an archive."""

    folder: Path
    whole: dict[str, Path]  # the files that it wrote and had nothing to say against
    names: set[str]  # of everything that it wrote or complained of
    code: int


def run_program(kind, archive, folder):
    """Unpacks into `folder`, which must not exist."""
    process = subprocess.run(["7zz", "x", "-y", "-bd", "-mmt=off", "-sccUTF-8", *([TYPE_OPTION[kind]] if kind else []),
                              f"-o{folder}", archive], stdin=subprocess.DEVNULL, capture_output=True,
                             timeout=300, text=True, errors="replace", check=False)
    errors = {line.rpartition(" : ")[2] for line in process.stderr.splitlines() if line.startswith("ERROR: ")}
    whole, names = {}, set(errors)
    for parent, folders, files in os.walk(folder):
        relative = Path(parent).relative_to(folder)
        names |= {str(relative / name) for name in folders + files}
        for name in files:
            if str(relative / name) not in errors and not (Path(parent) / name).is_symlink():
                whole[str(relative / name)] = Path(parent) / name
    return Reference(folder, whole, names, process.returncode)


def is_plain(name):
    """Whether Windows and Unix take a name for the same file."""
    parts = name.split("/")
    return all(re.fullmatch(r"[A-Za-z0-9_~-]([A-Za-z0-9_.~ \[\]-]*[A-Za-z0-9_~\]-])?", part)
               and part.split(".")[0].lower() not in DEVICES for part in parts)


def collisions(names):
    """The names that another differs from by case alone."""
    folded = Counter(name.lower() for name in names)
    return {name for name in names if folded[name.lower()] > 1}


OUT_OF_MEMORY = 0x8007000E

# Why a file is not compared.
ODD_NAME = "its name means something else on Windows"
STOPPED_BY_NAME = "an item before it has a name that Windows refuses, which ends the extraction"
NO_MEMORY = "its dictionary does not fit into a 32-bit process"


def dictionary(kind, archive):
    """Bytes of the largest dictionary that an archive asks for, as 7-Zip tells them."""
    listing = subprocess.run(["7zz", "l", "-slt", TYPE_OPTION[kind], archive], capture_output=True, text=True,
                             stdin=subprocess.DEVNULL, errors="replace", check=False).stdout
    units = {"b": 1, "k": 1 << 10, "m": 1 << 20, "g": 1 << 30}
    return max((int(number) * units[unit] if unit else 1 << int(number)
                for number, unit in re.findall(r"LZMA2?:(\d+)([bkmg]?)", listing)), default=0)


def lacked_memory(kind, outcome, archive):
    return ((outcome.refused > 0 or outcome.result == OUT_OF_MEMORY)
            and dictionary(kind, archive) >= 1 << 29)


def failed_by_name(outcome, reference):
    odd = any(not is_plain(name) for name in reference.names) or collisions(reference.names)
    return odd and outcome.result not in (0, 1, None)


def compare(kind, outcome, reference, destination):
    """Returns ([what is wrong], Counter of files that are compared or why they are not)."""
    problems, counts = [], Counter()
    ours, theirs = NAMELESS.get(kind, (None, None))
    clashes = collisions(reference.names)
    for name, file in reference.whole.items():
        mine = destination / (ours if name == theirs else name)
        if mine.is_file() and mine.read_bytes() == file.read_bytes():
            counts["compared"] += 1
        elif not is_plain(name) or name in clashes:
            counts[ODD_NAME] += 1
        elif failed_by_name(outcome, reference):
            counts[STOPPED_BY_NAME] += 1
        elif lacked_memory(kind, outcome, destination.parent / "archive"):
            counts[NO_MEMORY] += 1
        else:
            state = "differs" if mine.is_file() else "is missing"
            result = "an exception" if outcome.result is None else f"{outcome.result:#x}"
            problems.append(f"{name} {state} (result {result}), and 7-Zip has it whole")
    return problems, counts


class Workspace:
    """A folder on the prefix's drive C:, to be closed, and what else there was on the drive before."""

    def __init__(self):
        self.drive_c = drive()
        self._cut_links()
        self.folder = Path(tempfile.mkdtemp(prefix="hostile-", dir=self.drive_c))
        self.before = self._rest()

    def close(self):
        shutil.rmtree(self.folder)

    def _cut_links(self):
        """Wine links the user's folders to those outside, which no archive may reach."""
        for link in filter(Path.is_symlink, (self.drive_c / "users").glob("*/*")):
            link.unlink()
            link.mkdir()

    def strangers(self):
        """What has come, gone or changed on the drive outside of the folder."""
        return sorted(name for name, _ in self.before.items() ^ self._rest().items())

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
