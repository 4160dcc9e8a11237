"""The table of mutants that are known to change nothing that a test could see, each with a reason."""

import re
from dataclasses import dataclass

_FIELDS = ("file", "line", "change", "why")


class WrongTable(Exception):
    """The table cannot be read."""


@dataclass(frozen=True)
class Explanation:
    """One row: the file, the text of the line, the change as `operator:index old -> new`, and why no
    test can see it. Lines are known by their text, so that a row outlives changes elsewhere."""

    file: str
    line: str
    change: str
    why: str


def read(text):
    """Reads a table: rows of four fields, `name: value`, with blank lines between rows; a field goes
    on in lines that begin with a blank; lines that begin with # are comments."""
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
    return f"{mutant.operator}:{mutant.index} {mutant.shown()}"


class Table:
    """Explanations by mutant."""

    def __init__(self, rows):
        self._rows = {(row.file, row.line, row.change): row for row in rows}
        if len(self._rows) != len(rows):
            raise WrongTable("two rows explain the same mutant")

    def why(self, mutant):
        """Why the mutant changes nothing, or None when the table does not have it."""
        row = self._rows.get((mutant.file, mutant.line_text, change_of(mutant)))
        return row and row.why

    def stale(self, mutants):
        """The rows that are about none of these mutants."""
        known = {(one.file, one.line_text, change_of(one)) for one in mutants}
        return [row for key, row in self._rows.items() if key not in known]
