"""The small changes: each operator finds its places in a source and says what to write there."""

import re
from dataclasses import dataclass

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
        return f"{self.file}:{self.line}:{self.operator}:{self.index}"

    def applied_to(self, text):
        return text[:self.start] + self.replacement + text[self.end:]

    def shown(self):
        return f"{_one_line(self.original)} -> {_one_line(self.replacement) or '(nothing)'}"


def _one_line(text):
    return " ".join(text.split())


_COMPARISONS = {"==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"],
                ">": [">=", "<="], ">=": [">", "<"]}
_LOGICAL = {"&&": ["||"], "||": ["&&"]}
_ARITHMETIC = {"+": ["-"], "-": ["+"], "+=": ["-="], "-=": ["+="], "++": ["--"], "--": ["++"]}
_TRUTH = {"true": ["false"], "false": ["true"], "TRUE": ["FALSE"], "FALSE": ["TRUE"]}

# A statement that begins with one of these is no call and no assignment.
_STATEMENT_WORDS = {
    "return", "throw", "if", "else", "for", "while", "do", "switch", "case", "default", "break",
    "continue", "using", "namespace", "template", "class", "struct", "enum", "const", "constexpr",
    "static", "inline", "extern", "virtual", "explicit", "public", "private", "protected", "delete",
    "typename", "friend", "auto", "try", "catch", "goto", "typedef", "operator"}
_NOTHING = {"0", "{}", "nullptr", "std::nullopt", "S_OK"}  # what an empty value is already


def _swapped(table, apart):
    """An operator that writes another token from a table; `apart` when only an operator with blanks
    around it is meant."""
    def find(source):
        for index, token in enumerate(source.tokens):
            if token.kind in ("mark", "word") and token.text in table:
                if apart and not source.stands_apart(index):
                    continue
                for replacement in table[token.text]:
                    yield token.start, token.end, replacement
    return find


def _arithmetic(source):
    for index, token in enumerate(source.tokens):
        if token.kind != "mark" or token.text not in _ARITHMETIC:
            continue
        single = token.text in ("++", "--")
        neighbours = source.tokens[max(index - 1, 0):index + 2]
        if not single and not source.stands_apart(index):
            continue
        if any(near.kind in ("string", "character") for near in neighbours):
            continue  # texts are put together, not added up
        yield token.start, token.end, _ARITHMETIC[token.text][0]


def _negations(source):
    for token in source.tokens:
        if token.kind == "mark" and token.text == "!":
            yield token.start, token.end, ""


def _integers(source):
    for token in source.tokens:
        match = re.fullmatch(r"(0[xX])?([0-9a-fA-F]+?)([uUlL]*)", token.text)
        if token.kind != "number" or not match:
            continue
        prefix, digits, suffix = match.group(1) or "", match.group(2), match.group(3)
        value = int(digits, 16 if prefix else 10)
        for other in (value + 1, value - 1):
            if other >= 0:
                text = f"{other:X}" if prefix else str(other)
                yield token.start, token.end, prefix + text + suffix


def _flags(source):
    tokens = source.tokens
    for index, token in enumerate(tokens):
        if token.kind != "mark" or token.text != "|" or not source.stands_apart(index):
            continue
        if tokens[index + 1].kind == "word":
            yield tokens[index - 1].end, tokens[index + 1].end, ""
        if tokens[index - 1].kind == "word" and tokens[index - 2].text != "|":
            yield tokens[index - 1].start, tokens[index + 1].start, ""


def _statements(source):
    """Simple statements as pairs of token indices, first and the semicolon."""
    tokens = source.tokens
    closes_condition = {source.partner[index + 1] for index, token in enumerate(tokens)
                        if token.text in ("if", "for", "while") and index + 1 in source.partner}
    for first, token in enumerate(tokens):
        if first == 0 or token.text in _STATEMENT_WORDS:
            continue
        if token.kind != "word" and token.text not in ("(", "::", "*", "++", "--"):
            continue  # behind a brace that ends no statement, as that of a lambda does
        before = tokens[first - 1].text
        if before not in (";", "{", "}", "else", ":") and first - 1 not in closes_condition:
            continue
        index = first
        while index < len(tokens) and tokens[index].text not in (";", "}", "{"):
            index = source.partner.get(index, index) + 1
        if index < len(tokens) and tokens[index].text == ";" and index > first:
            yield first, index


def _is_declaration(source, first, last):
    """Whether two names stand side by side in front of the first bracket or assignment."""
    for index in range(first, last):
        here, following = source.tokens[index], source.tokens[index + 1]
        if here.text in ("(", "=", "{"):
            return False
        if following.kind == "word" and (here.kind == "word" or here.text in (">", "&", "*")):
            return index != first or here.kind == "word"
    return False


def _assignment(source, first, last):
    """Where a statement assigns, or None."""
    index = first
    while index < last:
        if source.tokens[index].text == "=":
            return index
        index = source.partner.get(index, index) + 1
    return None


def _calls(source):
    for first, last in _statements(source):
        start = first
        if source.between(first, min(first + 2, last)) == "(void)":
            start = first + 3
        if source.tokens[last - 1].text != ")" or _assignment(source, start, last) is not None:
            continue
        if not _is_declaration(source, start, last):
            yield source.tokens[first].start, source.tokens[last - 1].end, ""


def _assignments(source):
    for first, last in _statements(source):
        if source.tokens[last - 1].text in ("default", "delete") or source.between(
                last - 2, last - 1) == "= 0":
            continue  # a declaration
        if _assignment(source, first, last) and not _is_declaration(source, first, last):
            yield source.tokens[first].start, source.tokens[last - 1].end, ""


def _returns(source):
    for index, token in enumerate(source.tokens):
        if token.text != "return":
            continue
        last = index + 1
        while source.tokens[last].text != ";":
            last = source.partner.get(last, last) + 1
        if last == index + 1:
            continue
        value = source.between(index + 1, last - 1)
        if value not in _NOTHING and value not in _TRUTH:
            yield source.tokens[index + 1].start, source.tokens[last - 1].end, "{}"


def _texts(source):
    for index, token in enumerate(source.tokens):
        if token.kind not in ("string", "character"):
            continue
        if source.tokens[index - 1].text == "extern":
            continue
        opening = re.match(r"\w*[\"']", token.text).end()
        units = list(re.finditer(r"\\x[0-9a-fA-F]+|\\.|[^\\]", token.text[opening:-1]))
        if not units:
            yield token.end - 1, token.end - 1, "x"
            continue
        unit = units[len(units) // 2]
        start = token.start + opening + unit.start()
        yield start, start + len(unit.group()), "y" if unit.group() == "x" else "x"


def _conditions(source):
    tokens = source.tokens
    for index, token in enumerate(tokens):
        if token.text not in ("if", "while") or tokens[index + 1].text != "(":
            continue
        last = source.partner[index + 1]
        inner = tokens[index + 2:last]
        if any(one.text == ";" for one in inner) or _is_declaration(source, index + 2, last - 1):
            continue
        start, end = inner[0].start, inner[-1].end
        marks = {one.text for one in inner if one.kind == "mark"}
        if marks & _LOGICAL.keys() or not marks & (_COMPARISONS.keys() | {"!"}):
            yield start, end, f"!({source.text[start:end]})"  # else another operator does just that
        yield start, end, "true" if token.text == "if" else "false"


def _arguments(source):
    tokens = source.tokens
    for index, token in enumerate(tokens):
        if token.text != "(" or index not in source.partner or tokens[index - 1].kind != "word":
            continue
        if tokens[index - 1].text in _STATEMENT_WORDS or tokens[index - 1].text == "void":
            continue
        pieces = source.parts(index)
        if len(pieces) != 2 or any(_is_declaration(source, *piece) for piece in pieces):
            continue
        first, second = (source.between(*piece) for piece in pieces)
        if first != second and "\n" not in first + second:
            start, end = tokens[pieces[0][0]].start, tokens[pieces[1][1]].end
            yield start, end, f"{second}, {first}"


OPERATORS = {
    "comparison": _swapped(_COMPARISONS, apart=True),
    "logical": _swapped(_LOGICAL, apart=True),
    "negation": _negations,
    "truth": _swapped(_TRUTH, apart=False),
    "integer": _integers,
    "flag": _flags,
    "arithmetic": _arithmetic,
    "call": _calls,
    "assignment": _assignments,
    "return": _returns,
    "text": _texts,
    "condition": _conditions,
    "arguments": _arguments,
}


def mutants(file, text):
    """Every mutant of one source text, in the order of the text."""
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
