"""All operators by name, and the mutants that they make of a source."""

from dataclasses import dataclass

from . import statement_operators, token_operators
from .tokens import Source


@dataclass(frozen=True)
class Mutant:
    """One change: the text at `start` up to `end` of a file becomes `replacement`."""

    file: str
    line: int
    operator: str
    index: int  # among the mutants of this operator on this line
    line_text: str
    start: int
    end: int
    original: str
    replacement: str

    @property
    def id(self):
        """The name that users give on the command line, and that results are kept under."""
        return f"{self.file}:{self.line}:{self.operator}:{self.index}"

    def applied_to(self, text):
        """Returns the text of the file with the change in it."""
        return text[:self.start] + self.replacement + text[self.end:]

    def shown(self):
        """Returns the change on one line, for people and for the table of explanations."""
        return f"{_one_line(self.original)} -> {_one_line(self.replacement) or '(nothing)'}"


def _one_line(text):
    return " ".join(text.split())


OPERATORS = {
    "comparison": token_operators.swapped(token_operators.COMPARISONS, spaced=True),
    "logical": token_operators.swapped(token_operators.LOGICAL, spaced=True),
    "negation": token_operators.negations,
    "truth": token_operators.swapped(token_operators.TRUTH, spaced=False),
    "integer": token_operators.integers,
    "flag": token_operators.flags,
    "arithmetic": token_operators.arithmetic,
    "call": statement_operators.calls,
    "assignment": statement_operators.assignments,
    "return": statement_operators.returns,
    "text": token_operators.texts,
    "condition": statement_operators.conditions,
    "arguments": statement_operators.arguments,
}


def mutants(file, text):
    """Returns every mutant of one source text, in the order of the text."""
    source = Source(text)
    counts = {}
    found = []
    for operator, find in OPERATORS.items():
        for start, end, replacement in find(source):
            line = source.line(start)
            index = counts.get((line, operator), 0)
            counts[line, operator] = index + 1
            found.append(Mutant(file, line, operator, index, source.line_text(start), start, end,
                                text[start:end], replacement))
    return sorted(found, key=lambda mutant: (mutant.start, mutant.operator, mutant.index))
