#!/usr/bin/env python3
"""Makes a driver archive of realistic size and contents for the benchmarks.

    bench/make_bench_archive.py ARCHIVE [--unpacked BYTES] [--search FOLDER]...

The archive has the layout of the real one. Its INF files are the stand-ins. Each binary file is a
Windows program file from this machine, by default from the folders of Wine and the cross compiler.
They have about 33 MB together, or the number of bytes given, and 33 MB pack to some 6 to 7 MB.

Exit status: 0 the archive was made; 1 this machine has too few program files; 2 the command line is
wrong; 3 the work cannot be done.
"""

import argparse
import sys
import tempfile
from pathlib import Path

sys.dont_write_bytecode = True
ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tools"))

from mendloft_pack import archive, layout
from mendloft_pack.findings import CannotWork
from mendloft_pack.sevenzip_program import SevenZip

# The real archive has 6.5 MB and unpacks to about this many bytes.
TOTAL = 33_000_000
TEXTS = (".inf", ".txt", ".pnf")
SEARCH = ("usr/lib/wine", "usr/lib/*/wine", "usr/lib/gcc/*mingw32", "usr/*mingw32", "opt/wine*")


def is_program(path):
    """Whether a file is a PE file: it starts with "MZ", and "PE" is where that header points to."""
    with open(path, "rb") as file:
        start = file.read(64)
        if len(start) < 64 or not start.startswith(b"MZ"):
            return False
        file.seek(int.from_bytes(start[60:], "little"))
        return file.read(4) == b"PE\0\0"


def program_files(folders):
    """Returns (size, path) of the program files below the folders, sorted by size.

    Files of the same size are mostly copies, so only the first of them by path is included.
    """
    by_size = {}
    for folder in folders:
        for path in folder.rglob("*"):
            is_named_so = path.suffix.lower() in (".dll", ".exe", ".sys")
            if is_named_so and path.is_file() and is_program(path):
                size = path.stat().st_size
                by_size[size] = min(path, by_size.get(size, path))
    return sorted(by_size.items())


def choose(programs, count, total=TOTAL):
    """Returns `count` programs that are next to each other by size and have about `total` bytes."""
    windows = [programs[start:start + count] for start in range(len(programs) - count + 1)]
    return min(windows, default=[], key=lambda window: abs(sum(size for size, _ in window) - total))


def fill(tree, programs):
    """Writes the files of the layout: the binary ones are the programs, the others stand-ins."""
    remaining = iter(programs)
    for path in layout.FILES:
        is_text = path.lower().endswith(TEXTS)
        source = ROOT / "resources/drivers" / path if is_text else next(remaining)[1]
        target = tree / path
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_bytes(source.read_bytes())


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("archive", metavar="ARCHIVE", type=Path)
    parser.add_argument("--unpacked", metavar="BYTES", type=int, default=TOTAL,
                        help=f"the total size of the programs (default: {TOTAL})")
    parser.add_argument("--search", metavar="FOLDER", type=Path, action="append",
                        help="look for program files in this folder; may be repeated")
    arguments = parser.parse_args()
    folders = arguments.search or [found for place in SEARCH for found in Path("/").glob(place)]

    places = sum(not path.lower().endswith(TEXTS) for path in layout.FILES)
    chosen = choose(program_files(folders), places, arguments.unpacked)
    total = sum(size for size, _ in chosen)
    if not arguments.unpacked * 0.9 < total < arguments.unpacked * 1.1:
        print(f"make_bench_archive.py: cannot find {places} Windows program files with a total of about "
              f"{arguments.unpacked} bytes in {' '.join(map(str, folders)) or 'no folder'} "
              f"(the best choice has {total});"
              " install wine and g++-mingw-w64-i686-posix, or name other folders with --search",
              file=sys.stderr)
        return 1
    try:
        with tempfile.TemporaryDirectory() as tree:
            fill(Path(tree), chosen)
            made = archive.make(Path(tree), arguments.archive, SevenZip())
    except CannotWork as error:
        print(f"make_bench_archive.py: {error}", file=sys.stderr)
        return 3
    for problem in made.findings.problems:
        print(f"make_bench_archive.py: {problem}", file=sys.stderr)
    if made.findings.problems:
        return 3
    files = [item for item in made.items if not item.is_folder]
    unpacked = sum(item.size for item in files)
    print(f"{arguments.archive}: {len(files)} files, {places} of them programs; {unpacked} bytes "
          f"packed into {made.packed_size} ({unpacked / made.packed_size:.1f} : 1)")
    return 0


if __name__ == "__main__":
    sys.exit(main())
