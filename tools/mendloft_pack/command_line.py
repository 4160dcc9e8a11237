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

_LETTERS = (("D", 0x10), ("R", 0x01), ("H", 0x02), ("S", 0x04), ("A", 0x20))

_DESCRIPTION = """\
Makes and verifies the driver archive that libmendloft carries: a solid 7z archive
(LZMA2 with BCJ) of driver packages in a fixed layout."""

_EPILOG = """\
exit status:
  0  the archive is right
  1  something is wrong with it; every problem is listed on standard error
  2  the command line is wrong
  3  the work cannot be done: 7-Zip is missing, a file cannot be read or written

The layout and the checks are described in docs/driver-archive.md."""


def _parser():
    parser = argparse.ArgumentParser(prog="mendloft-pack", description=_DESCRIPTION, epilog=_EPILOG,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--7zz", dest="sevenzip", metavar="PROGRAM",
                        default=sevenzip_program.DEFAULT,
                        help="the 7-Zip program (default: %(default)s)")
    commands = parser.add_subparsers(dest="command", required=True, metavar="COMMAND")

    make = commands.add_parser("make", help="pack a folder of driver packages", description="""
        Packs FOLDER, which has the layout of the driver archive, into ARCHIVE and verifies the
        result. Names get the layout's spelling, missing empty folders are added, and every time is
        SOURCE_DATE_EPOCH or else a fixed one, so that the same files give the same bytes. When
        something is wrong, ARCHIVE is not written; one that was there before stays.""")
    make.add_argument("folder", metavar="FOLDER", type=Path)
    make.add_argument("archive", metavar="ARCHIVE", type=Path)

    verify = commands.add_parser("verify", help="check an archive", description="""
        Unpacks ARCHIVE in memory and checks the layout, the names, the attributes, the compression,
        every file's checksum and the INF files.""")
    verify.add_argument("archive", metavar="ARCHIVE", type=Path)
    verify.add_argument("--manifest", metavar="FILE", type=Path,
                        help="also compare sizes and SHA-256 with this manifest")

    listing = commands.add_parser("list", help="list items with their attributes and sizes")
    listing.add_argument("archive", metavar="ARCHIVE", type=Path)

    manifest = commands.add_parser("manifest", help="print each file's SHA-256", description="""
        Prints one line for each file, sorted by path: SHA-256, size in bytes, path. Folders are
        left out. The archive must be right.""")
    manifest.add_argument("archive", metavar="ARCHIVE", type=Path)
    return parser


def _manifest(contents):
    return {path: f"{hashlib.sha256(data).hexdigest()} {len(data):>9} {path}"
            for path, data in sorted(contents.items())}


def _compare_with_manifest(result, file):
    try:
        lines = file.read_text(encoding="utf-8").splitlines()
    except (OSError, UnicodeDecodeError) as error:
        raise CannotWork(f"cannot read {file}: {error}") from error
    wanted = {line.split(maxsplit=2)[-1]: line for line in lines if line.strip()}
    found = _manifest(result.contents)
    for path in sorted(wanted.keys() | found.keys()):
        shown = names.printable(path)
        if path not in found:
            result.findings.problem(shown, "in the manifest, and not in the archive")
        elif path not in wanted:
            result.findings.problem(shown, "in the archive, and not in the manifest")
        elif wanted[path].split() != found[path].split():
            result.findings.problem(shown, "differs from the manifest")


def _print_manifest(result):
    for line in _manifest(result.contents).values():
        print(line)


def _print_items(result):
    for item in result.items:
        attributes = item.attributes or 0
        letters = "".join(letter if attributes & bit else "." for letter, bit in _LETTERS)
        size = "" if item.is_folder else item.size
        print(f"{letters} {size:>9} {names.printable(item.path)}")


def _print_summary(archive, result):
    files = [item for item in result.items if not item.is_folder]
    unpacked = sum(item.size for item in files)
    print(f"mendloft-pack: {archive}: right: {len(files)} files, {unpacked} bytes, "
          f"packed into {result.packed_size}")


def _tell(archive, findings):
    for remark in findings.remarks:
        print(f"mendloft-pack: {archive}: remark: {remark}", file=sys.stderr)
    for problem in findings.problems:
        print(f"mendloft-pack: {archive}: {problem}", file=sys.stderr)
    if count := len(findings.problems):
        plural = "s" if count > 1 else ""
        print(f"mendloft-pack: {archive}: {count} problem{plural}", file=sys.stderr)


def _run(arguments):
    sevenzip = SevenZip(arguments.sevenzip)
    if arguments.command == "make":
        result = archives.make(arguments.folder, arguments.archive, sevenzip)
    else:
        result = archives.examine(arguments.archive, sevenzip)
    if arguments.command == "list":
        _print_items(result)
    if arguments.command == "verify" and arguments.manifest:
        _compare_with_manifest(result, arguments.manifest)
    _tell(getattr(arguments, "folder", arguments.archive), result.findings)
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
        stream.reconfigure(errors="backslashreplace")  # a name must not end the run
    try:
        return _run(_parser().parse_args(arguments))
    except CannotWork as error:
        print(f"mendloft-pack: {error}", file=sys.stderr)
        return CANNOT_WORK
