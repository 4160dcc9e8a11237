"""The command line of mendloft-pack."""

import argparse
import hashlib
import sys
from pathlib import Path

from . import archive as archives
from . import names, sevenzip_program
from .findings import CannotWork
from .sevenzip_program import SevenZip

RIGHT, WRONG, USAGE, CANNOT_WORK = 0, 1, 2, 3

# How `list` shows the attributes; the numbers are those of Windows.
_LETTERS = (("D", 0x10), ("R", 0x01), ("H", 0x02), ("S", 0x04), ("A", 0x20))

_DESCRIPTION = """\
Makes and verifies the driver archive in libmendloft: a solid 7z archive (LZMA2 with
BCJ) of driver packages in a fixed layout."""

_EPILOG = """\
exit status:
  0  the archive is correct
  1  it has problems; each is listed on standard error
  2  the command line is wrong
  3  the work cannot be done: 7-Zip is missing, or a file cannot be read or written

docs/driver-archive.md describes the layout and the checks."""


def _parser():
    parser = argparse.ArgumentParser(prog="mendloft-pack", description=_DESCRIPTION, epilog=_EPILOG,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--7zz", dest="sevenzip", metavar="PROGRAM", nargs=1,
                        default=sevenzip_program.NAMES,
                        help=f"the 7-Zip program (default: {' or '.join(sevenzip_program.NAMES)})")
    commands = parser.add_subparsers(dest="command", required=True, metavar="COMMAND")

    make = commands.add_parser("make", help="pack a folder of driver packages", description="""
        Packs FOLDER, which has the layout of the driver archive, into ARCHIVE and verifies the
        result. Names get the spelling of the layout, and missing empty folders are added. Every
        item gets the time SOURCE_DATE_EPOCH, or else a fixed time, so that the same files give the
        same bytes. If there is a problem, ARCHIVE is not written, and an older ARCHIVE stays.""")
    make.add_argument("folder", metavar="FOLDER", type=Path)
    make.add_argument("archive", metavar="ARCHIVE", type=Path)

    verify = commands.add_parser("verify", help="check an archive", description="""
        Unpacks ARCHIVE in memory. Checks the layout, the names, the attributes, the compression,
        the checksum of every file and the INF files.""")
    verify.add_argument("archive", metavar="ARCHIVE", type=Path)
    verify.add_argument("--manifest", metavar="FILE", type=Path,
                        help="also compare sizes and SHA-256 checksums with this manifest")

    listing = commands.add_parser("list", help="list items with their attributes and sizes")
    listing.add_argument("archive", metavar="ARCHIVE", type=Path)

    manifest = commands.add_parser("manifest", help="print the SHA-256 of each file", description="""
        Prints one line for each file, sorted by path: SHA-256, size in bytes, path. Folders are
        left out. Prints nothing if the archive has problems.""")
    manifest.add_argument("archive", metavar="ARCHIVE", type=Path)
    return parser


def _manifest(contents):
    """Returns the line of each file by path, sorted by path."""
    return {path: f"{hashlib.sha256(data).hexdigest()} {len(data):>9} {path}"
            for path, data in sorted(contents.items())}


def _compare_with_manifest(result, file):
    """Adds a problem for every difference between the archive and the manifest in the file.

    Raises CannotWork if the file cannot be read as text.
    """
    try:
        lines = file.read_text(encoding="utf-8").splitlines()
    except (OSError, UnicodeDecodeError) as error:
        raise CannotWork(f"cannot read {file}: {error}") from error
    wanted = {line.split(maxsplit=2)[-1]: line for line in lines if line.strip()}
    found = _manifest(result.contents)
    for path in sorted(wanted.keys() | found.keys()):
        shown = names.printable(path)
        if path not in found:
            result.findings.problem(shown, "in the manifest but not in the archive")
        elif path not in wanted:
            result.findings.problem(shown, "in the archive but not in the manifest")
        elif wanted[path].split() != found[path].split():
            result.findings.problem(shown, "differs from the manifest")


def _print_manifest(result):
    for line in _manifest(result.contents).values():
        print(line)


def _print_items(result):
    """Lists all items, also those of an archive with problems: its owner has to find them."""
    for item in result.items:
        attributes = item.attributes or 0
        letters = "".join(letter if attributes & bit else "." for letter, bit in _LETTERS)
        size = "" if item.is_folder else item.size
        print(f"{letters} {size:>9} {names.printable(item.path)}")


def _print_summary(archive, result):
    files = [item for item in result.items if not item.is_folder]
    unpacked = sum(item.size for item in files)
    print(f"mendloft-pack: {archive}: correct: {len(files)} files, {unpacked} bytes, "
          f"packed into {result.packed_size}")


def _print_findings(archive, findings):
    for remark in findings.remarks:
        print(f"mendloft-pack: {archive}: remark: {remark}", file=sys.stderr)
    for problem in findings.problems:
        print(f"mendloft-pack: {archive}: {problem}", file=sys.stderr)
    if count := len(findings.problems):
        plural = "s" if count > 1 else ""
        print(f"mendloft-pack: {archive}: {count} problem{plural}", file=sys.stderr)


def _run(arguments):
    """Runs the chosen command; returns the exit status. Raises CannotWork."""
    sevenzip = SevenZip(arguments.sevenzip)
    if arguments.command == "make":
        result = archives.make(arguments.folder, arguments.archive, sevenzip)
    else:
        result = archives.examine(arguments.archive, sevenzip)
    if arguments.command == "list":
        _print_items(result)
    if arguments.command == "verify" and arguments.manifest:
        _compare_with_manifest(result, arguments.manifest)
    # For `make` the findings are about the files in the folder.
    _print_findings(getattr(arguments, "folder", arguments.archive), result.findings)
    if result.findings.problems:
        return WRONG
    if arguments.command == "manifest":
        _print_manifest(result)
    elif arguments.command in ("make", "verify"):
        _print_summary(arguments.archive, result)
    return RIGHT


def main(arguments=None):
    """Runs the command line and returns its exit status."""
    for stream in (sys.stdout, sys.stderr):
        # A terminal that cannot show a name must not end the run with an exception.
        stream.reconfigure(errors="backslashreplace")
    try:
        return _run(_parser().parse_args(arguments))
    except CannotWork as error:
        print(f"mendloft-pack: {error}", file=sys.stderr)
        return CANNOT_WORK
