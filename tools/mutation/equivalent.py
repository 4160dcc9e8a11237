"""The table of mutants that no test can catch, each with a reason."""

import re
from dataclasses import dataclass

_FIELDS = ("file", "line", "change", "why")


class WrongTable(Exception):
    """The table cannot be read."""


@dataclass(frozen=True)
class Explanation:
    """One row: the file, the text of the line, the change as `operator:index old -> new`, and why no
    test can catch it. The text identifies the line, so a row survives changes elsewhere in the file."""

    file: str
    line: str
    change: str
    why: str


def read(text):
    """Reads a table. Blank lines separate the rows. A row has four fields, `name: value`, and a field
    continues in lines that begin with a space. Lines that begin with # are comments.

    Raises WrongTable.
    """
    rows = []
    lines = [line for line in text.splitlines() if not line.startswith("#")]
    for block in re.split(r"\n\s*\n", "\n".join(lines)):
        joined = re.sub(r"\n\s+", " ", block).strip()
        if not joined:
            continue
        fields = dict(line.partition(": ")[::2] for line in joined.splitlines())
        if tuple(fields) != _FIELDS or not all(fields.values()):
            raise WrongTable(f"a row needs the fields {', '.join(_FIELDS)}, in this order: {joined}")
        rows.append(Explanation(**fields))
    return rows


def change_of(mutant):
    """Returns the change of a mutant as a row has it."""
    return f"{mutant.operator}:{mutant.index} {mutant.shown()}"


class Table:
    """Explanations by mutant. Raises WrongTable if two rows explain the same mutant."""

    def __init__(self, rows):
        self._rows = {(row.file, row.line, row.change): row for row in rows}
        if len(self._rows) != len(rows):
            raise WrongTable("two rows explain the same mutant")

    def why(self, mutant):
        """Returns why no test can catch the mutant, or None if the table does not have it."""
        row = self._rows.get((mutant.file, mutant.line_text, change_of(mutant)))
        return row and row.why

    def stale(self, mutants):
        """Returns the rows that match none of these mutants."""
        known = {(one.file, one.line_text, change_of(one)) for one in mutants}
        return [row for key, row in self._rows.items() if key not in known]
