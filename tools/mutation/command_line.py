"""The command line of mutate."""

import argparse
import os
import shutil
import subprocess
import sys
import threading
import time
from collections import deque
from pathlib import Path

from . import coverage, equivalent, report, sandbox
from .choice import code_size, spread
from .operators import mutants as mutants_of
from .results import CAUGHT, NOT_COMPILED, SURVIVED, Result, ResultFile
from .workspace import CannotWork, Workspace

RIGHT, OPEN_SURVIVORS, USAGE, CANNOT_WORK = 0, 1, 2, 3

_ROOT = Path(__file__).resolve().parents[2]
_WORK = _ROOT / "build" / "mutation"
_TABLE = _ROOT / "tools" / "mutation" / "equivalent.txt"

# The size of a header counts only a fifth: a change in a header recompiles everything that includes it.
_HEADER_SHARE = 5

_DESCRIPTION = """\
Makes one small change at a time in a copy of src/, builds what depends on it and runs the tests that
cover it. Results are kept in build/mutation/results.jsonl; a mutant with a result is not tried again."""

_EPILOG = """\
exit status:
  0  every mutant was caught or is explained in tools/mutation/equivalent.txt
  1  a mutant survived without an explanation, or an explanation is wrong
  2  the command line is wrong
  3  the work cannot be done

docs/mutation.md describes the operators and the figures."""


def _parser():
    parser = argparse.ArgumentParser(prog="mutate", description=_DESCRIPTION, epilog=_EPILOG,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--count", type=int, default=300, metavar="N",
                        help="try this many mutants that compile (default: %(default)s)")
    parser.add_argument("--seed", default="1", help="another seed chooses other mutants (default: %(default)s)")
    parser.add_argument("--workers", type=int, default=1, metavar="N",
                        help="try this many at a time (default: %(default)s)")
    parser.add_argument("--file", action="append", metavar="FILE",
                        help="only mutants of this file or folder, given as src/...; may be repeated")
    parser.add_argument("--only", action="append", metavar="ID",
                        help="only this mutant, even if it has a result: file:line:operator:index; may be repeated")
    parser.add_argument("--again", choices=("survived", "all"),
                        help="try the chosen mutants that survived again, or all chosen ones")
    parser.add_argument("--list", action="store_true", help="list the mutants and try none")
    parser.add_argument("--report", action="store_true", help="report the results so far and try nothing")
    return parser


def _read_sources():
    files = sorted(path for pattern in ("*.cpp", "*.h") for path in (_ROOT / "src").rglob(pattern))
    return {str(path.relative_to(_ROOT)): path.read_text(encoding="utf-8") for path in files}


def _ordered(sources, arguments):
    """Returns the mutants that the command line selects, in the order in which they are tried."""
    found = {file: mutants_of(file, text) for file, text in sources.items()
             if coverage.programs_for(file)}
    if arguments.only:
        known = {one.id: one for some in found.values() for one in some}
        missing = [name for name in arguments.only if name not in known]
        if missing:
            raise CannotWork(f"there is no mutant {missing[0]}")
        return [known[name] for name in arguments.only]
    if arguments.file:
        found = {file: some for file, some in found.items()
                 if any(file == name or file.startswith(name.rstrip("/") + "/")
                        for name in arguments.file)}
    size = {file: code_size(sources[file]) / (_HEADER_SHARE if file.endswith(".h") else 1)
            for file in found}
    return spread(found, size, arguments.seed)


def _chosen(ordered, results, count):
    """Returns the first `count` mutants that compile, and the ones between them that do not.

    A mutant without a result counts as one that compiles. So the choice grows while mutants turn out
    not to compile, and is final when all of its mutants have a result.
    """
    chosen, compiled = [], 0
    for mutant in ordered:
        if compiled == count:
            break
        result = results.get(mutant)
        chosen.append(mutant)
        compiled += result is None or result.outcome != NOT_COMPILED
    return chosen


def _try(workspace, mutant, text):
    """Tries a mutant of a source with this text; leaves the mutant in the workspace."""
    began = time.monotonic()
    workspace.write(mutant.file, mutant.applied_to(text))
    outcome, how = SURVIVED, ""
    for program in coverage.programs_for(mutant.file):
        if not workspace.build(program):
            outcome = NOT_COMPILED
            break
        how = workspace.run_twice(program).how
        if how:
            outcome = CAUGHT
            break
    return Result(mutant.id, mutant.line_text, mutant.shown(), outcome, how,
                  round(time.monotonic() - began, 1))


class _Crew:
    """The workers, one thread for each workspace.

    A worker takes all mutants of one file at a time: after leaving a file it has to compile the
    unchanged text once more.
    """

    def __init__(self, workspaces, sources, results):
        self._workspaces = workspaces
        self._sources = sources
        self._results = results
        self._lock = threading.Lock()
        self._error = None

    def work(self, mutants):
        """Tries the mutants and stores their results as they come.

        After an error in one worker, the others finish their mutant and stop; then it is raised here.
        """
        groups = {}
        for mutant in mutants:
            groups.setdefault(mutant.file, []).append(mutant)
        queue = deque(sorted(groups.values(), key=len, reverse=True))
        threads = [threading.Thread(target=self._work, args=(workspace, queue))
                   for workspace in self._workspaces]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        if self._error:
            raise self._error

    def _work(self, workspace, queue):
        try:
            while not self._error:
                with self._lock:
                    if not queue:
                        return
                    group = queue.popleft()
                text = self._sources[group[0].file]
                for mutant in group:
                    result = _try(workspace, mutant, text)
                    with self._lock:
                        self._results.add(result)
                        print(f"{result.seconds:5.1f} s  {result.outcome:<12}  {mutant.id}  "
                              f"{result.change}  {result.how}", flush=True)
                workspace.write(group[0].file, text)
        except Exception as error:  # pylint: disable=broad-exception-caught
            self._error = error  # `work` raises it again, in its own thread


def _programs(mutants):
    return sorted({program for one in mutants for program in coverage.programs_for(one.file)},
                  key=lambda program: program.name)


def _work_through(arguments, ordered, sources, results):
    """Tries mutants without a result until enough of them compile. May restart this program.

    Raises CannotWork when the unchanged sources fail before or after the mutants: a result would then
    say nothing about a mutant.
    """
    programs = _programs(ordered)
    workspaces = [Workspace(_ROOT, _WORK, number + 1) for number in range(arguments.workers)]
    if not sandbox.inside():
        for workspace in workspaces:
            workspace.prepare([program.name for program in programs])
        sandbox.enter()
    sandbox.close(_WORK)
    os.nice(5)
    for workspace in workspaces:
        workspace.start(programs)
    crew = _Crew(workspaces, sources, results)
    while missing := [one for one in _chosen(ordered, results, arguments.count)
                      if results.get(one) is None]:
        crew.work(missing)
    if not all(workspace.still_works(programs) for workspace in workspaces):
        raise CannotWork("the unchanged sources no longer pass, so the results are invalid")


def main():
    """Runs the command line and returns its exit status."""
    arguments = _parser().parse_args()
    try:
        for tool in ("unshare", "wine", "ninja"):
            if not shutil.which(tool):
                raise CannotWork(f"{tool} is missing")
        return _main(arguments)
    except (CannotWork, equivalent.WrongTable, OSError, subprocess.SubprocessError) as error:
        print(f"mutate: {error}", file=sys.stderr)
        return CANNOT_WORK


def _main(arguments):
    sources = _read_sources()
    ordered = _ordered(sources, arguments)
    table = equivalent.Table(equivalent.read(_TABLE.read_text(encoding="utf-8")))
    everything = [one for file, text in sources.items() for one in mutants_of(file, text)]
    for row in table.stale(everything):
        print(f"mutate: equivalent.txt explains a mutant that does not exist: {row.file}: {row.line}: "
              f"{row.change}", file=sys.stderr)
    if arguments.list:
        for mutant in ordered:
            print(f"{mutant.id}  {mutant.shown()}")
        return RIGHT
    _WORK.mkdir(parents=True, exist_ok=True)
    results = ResultFile(_WORK / "results.jsonl")
    if not arguments.report:
        if not sandbox.inside():  # inside, this has happened already
            _forget(arguments, ordered, results)
        _work_through(arguments, ordered, sources, results)
    lines, right = report.summary(_chosen(ordered, results, arguments.count), results, table)
    print("\n".join(lines))
    return RIGHT if right and not table.stale(everything) else OPEN_SURVIVORS


def _forget(arguments, ordered, results):
    """Forgets the results that the command line wants to have again."""
    for mutant in _chosen(ordered, results, arguments.count):
        result = results.get(mutant)
        if result and (arguments.only or arguments.again == "all" or
                       (arguments.again == "survived" and result.outcome == SURVIVED)):
            results.forget(mutant)
