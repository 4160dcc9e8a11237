"""The results of the mutants, in a file, so that a run can be interrupted and continued."""

import json
from dataclasses import asdict, dataclass

CAUGHT, SURVIVED, NOT_COMPILED = "caught", "survived", "not compiled"
_FORGOTTEN = "forgotten"


@dataclass(frozen=True)
class Result:
    """The result of one mutant. `how` says what caught it: the first failing test, a crash or a
    time-out."""

    id: str
    line_text: str
    change: str
    outcome: str
    how: str = ""
    seconds: float = 0.0

    @property
    def key(self):
        """The key of the mutant, as `key_of` returns it."""
        return self.id, self.line_text, self.change


def key_of(mutant):
    """Returns the key of a mutant. It contains the line, so a result does not apply to a changed line."""
    return mutant.id, mutant.line_text, mutant.shown()


class ResultFile:
    """Results by key, stored one on a line. New ones are appended; the last one with a key counts."""

    def __init__(self, path):
        self._path = path
        self._results = {}
        if path.exists():
            for line in path.read_text(encoding="utf-8").splitlines():
                result = Result(**json.loads(line))
                self._results[result.key] = result
            self._results = {key: result for key, result in self._results.items()
                             if result.outcome != _FORGOTTEN}

    def get(self, mutant):
        """Returns the result of a mutant, or None."""
        return self._results.get(key_of(mutant))

    def add(self, result):
        """Stores a result at once."""
        self._results[result.key] = result
        self._append(asdict(result))

    def forget(self, mutant):
        """Removes the result of a mutant, if it has one."""
        result = self._results.pop(key_of(mutant), None)
        if result:
            self._append({**asdict(result), "outcome": _FORGOTTEN})

    def _append(self, row):
        with self._path.open("a", encoding="utf-8") as file:
            file.write(json.dumps(row, ensure_ascii=False) + "\n")
