"""What became of the mutants, kept in a file so that a run can be interrupted and taken up again."""

import json
from dataclasses import asdict, dataclass

CAUGHT, SURVIVED, NOT_COMPILED = "caught", "survived", "not compiled"
_FORGOTTEN = "forgotten"


@dataclass(frozen=True)
class Result:
    """The outcome for one mutant. `how` says what noticed it: the first failing test, a crash or a
    time-out."""

    id: str
    line_text: str
    change: str
    outcome: str
    how: str = ""
    seconds: float = 0.0

    @property
    def key(self):
        return self.id, self.line_text, self.change


def key_of(mutant):
    """Under which key the result of a mutant is kept: a changed line makes another mutant."""
    return mutant.id, mutant.line_text, mutant.shown()


class ResultFile:
    """Results by key; of several for one mutant the last one counts."""

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
        return self._results.get(key_of(mutant))

    def add(self, result):
        self._results[result.key] = result
        self._append(asdict(result))

    def forget(self, mutant):
        """Makes the mutant one that has not been tried."""
        result = self._results.pop(key_of(mutant), None)
        if result:
            self._append({**asdict(result), "outcome": _FORGOTTEN})

    def _append(self, row):
        with self._path.open("a", encoding="utf-8") as file:
            file.write(json.dumps(row, ensure_ascii=False) + "\n")
