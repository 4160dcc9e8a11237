"""The summary of a run."""

from collections import Counter

from .results import CAUGHT, NOT_COMPILED, SURVIVED


def _share(caught, survived):
    total = caught + survived
    return f"{caught} of {total} caught" + (f" ({100 * caught / total:.1f} %)" if total else "")


def _table(heading, rows):
    width = max(map(len, rows), default=0)
    lines = [heading]
    for name, counts in sorted(rows.items()):
        lines.append(f"  {name:<{width}}  {_share(counts[CAUGHT], counts[SURVIVED])}")
    return lines


def summary(mutants, results, table):
    """The lines of the report on the mutants that have a result. What did not compile is no mutant
    and is left out of every share; an explained survivor is a survivor."""
    total, folders, operators, ways = Counter(), {}, {}, Counter()
    open_ones, explained, wrong = [], [], []
    for mutant in mutants:
        result = results.get(mutant)
        if result is None:
            continue
        total[result.outcome] += 1
        if result.outcome == NOT_COMPILED:
            continue
        folders.setdefault(mutant.file.rsplit("/", 1)[0], Counter())[result.outcome] += 1
        operators.setdefault(mutant.operator, Counter())[result.outcome] += 1
        why = table.why(mutant)
        if result.outcome == CAUGHT:
            ways[result.how.split(" ", 1)[0]] += 1
            wrong += [mutant] if why else []
        elif why:
            explained.append((mutant, why))
        else:
            open_ones.append(mutant)

    lines = _table("By folder:", folders) + _table("By operator:", operators)
    lines.append("Caught by: " + ", ".join(f"{way} {count}" for way, count in sorted(ways.items())))
    for heading, entries in (
            ("Survived and explained in tools/mutation/equivalent.txt:",
             [f"{one.id}  {one.shown()}: {why}" for one, why in explained]),
            ("Explained as equivalent, but caught:", [f"{one.id}  {one.shown()}" for one in wrong]),
            ("Survived:", [f"{one.id}  {one.shown()}\n    {one.line_text}" for one in open_ones])):
        if entries:
            lines += [heading, *(f"  {entry}" for entry in entries)]
    lines.append(f"Without what no test can catch: {_share(total[CAUGHT], len(open_ones))}")
    lines.append(f"{_share(total[CAUGHT], total[SURVIVED])}; of the survivors {len(explained)} "
                 f"explained and {len(open_ones)} not; {total[NOT_COMPILED]} more did not compile")
    return lines, not open_ones and not wrong
