"""The summary of a run."""

from collections import Counter

from .results import CAUGHT, NOT_COMPILED, SURVIVED


class _Tally:
    """Counts results. A mutant that does not compile is counted, but is part of no share."""

    def __init__(self):
        self.total = Counter()
        self.folders = {}  # name -> Counter of outcomes
        self.operators = {}  # the same
        self.ways = Counter()  # of catching a mutant
        self.unexplained = []  # survivors
        self.explained = []  # survivors, each with its explanation
        self.wrongly_explained = []  # mutants that were caught

    def add(self, mutant, result, why):
        """Counts one mutant; `why` is its explanation, or None."""
        self.total[result.outcome] += 1
        if result.outcome == NOT_COMPILED:
            return
        self.folders.setdefault(mutant.file.rsplit("/", 1)[0], Counter())[result.outcome] += 1
        self.operators.setdefault(mutant.operator, Counter())[result.outcome] += 1
        if result.outcome == CAUGHT:
            self.ways[result.how.split(" ", 1)[0]] += 1
            self.wrongly_explained += [mutant] if why else []
        elif why:
            self.explained.append((mutant, why))
        else:
            self.unexplained.append(mutant)


def _share(caught, survived):
    total = caught + survived
    return f"{caught} of {total} caught" + (f" ({100 * caught / total:.1f} %)" if total else "")


def _table(heading, rows):
    width = max(map(len, rows), default=0)
    lines = [heading]
    for name, counts in sorted(rows.items()):
        lines.append(f"  {name:<{width}}  {_share(counts[CAUGHT], counts[SURVIVED])}")
    return lines


def _lists(tally):
    sections = {
        "Survived and explained in tools/mutation/equivalent.txt:":
            [f"{one.id}  {one.shown()}: {why}" for one, why in tally.explained],
        "Explained as equivalent, but caught:":
            [f"{one.id}  {one.shown()}" for one in tally.wrongly_explained],
        "Survived:":
            [f"{one.id}  {one.shown()}\n    {one.line_text}" for one in tally.unexplained],
    }
    return [line for heading, entries in sections.items() if entries
            for line in (heading, *(f"  {entry}" for entry in entries))]


def summary(mutants, results, table):
    """Reports on the mutants that have a result.

    Returns the lines, and whether all is well: every survivor is explained, and no explained mutant
    was caught.
    """
    tally = _Tally()
    for mutant in mutants:
        if result := results.get(mutant):
            tally.add(mutant, result, table.why(mutant))
    total, unexplained = tally.total, len(tally.unexplained)
    ways = ", ".join(f"{way} {count}" for way, count in sorted(tally.ways.items()))
    return [
        *_table("By folder:", tally.folders),
        *_table("By operator:", tally.operators),
        f"Caught by: {ways}",
        *_lists(tally),
        f"Without what no test can catch: {_share(total[CAUGHT], unexplained)}",
        f"{_share(total[CAUGHT], total[SURVIVED])}; survivors: {len(tally.explained)} explained, "
        f"{unexplained} unexplained; {total[NOT_COMPILED]} more did not compile",
    ], not unexplained and not tally.wrongly_explained
