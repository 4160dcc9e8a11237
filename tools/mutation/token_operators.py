"""Operators that change one token, or one operand of an expression.

An operator is a function that takes a Source and yields (start, end, replacement): the text at
`start` up to `end` becomes the replacement.
"""

import re

COMPARISONS = {"==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"],
               ">": [">=", "<="], ">=": [">", "<"]}
LOGICAL = {"&&": ["||"], "||": ["&&"]}
TRUTH = {"true": ["false"], "false": ["true"], "TRUE": ["FALSE"], "FALSE": ["TRUE"]}
_ARITHMETIC = {"+": ["-"], "-": ["+"], "+=": ["-="], "-=": ["+="], "++": ["--"], "--": ["++"]}


def swapped(table, spaced):
    """Returns an operator that replaces tokens by those that the table names.

    With `spaced` it takes only tokens with a space on both sides. Without spaces, a `<` is the bracket
    of a template, and an `&&` is a reference.
    """
    def find(source):
        for index, token in enumerate(source.tokens):
            if token.kind in ("mark", "word") and token.text in table:
                if spaced and not source.is_spaced(index):
                    continue
                for replacement in table[token.text]:
                    yield token.start, token.end, replacement
    return find


def arithmetic(source):
    """Swaps addition and subtraction, and counting up and down."""
    for index, token in enumerate(source.tokens):
        if token.kind != "mark" or token.text not in _ARITHMETIC:
            continue
        single = token.text in ("++", "--")
        neighbours = source.tokens[max(index - 1, 0):index + 2]
        if not single and not source.is_spaced(index):
            continue
        if any(near.kind in ("string", "character") for near in neighbours):
            continue  # strings are joined, and cannot be subtracted
        yield token.start, token.end, _ARITHMETIC[token.text][0]


def negations(source):
    """Drops a negation."""
    for token in source.tokens:
        if token.kind == "mark" and token.text == "!":
            yield token.start, token.end, ""


def integers(source):
    """Adds one and subtracts one, in the notation of the number; nothing becomes negative."""
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


def flags(source):
    """Drops one of several flags that are joined with `|`."""
    tokens = source.tokens
    for index, token in enumerate(tokens):
        if token.kind != "mark" or token.text != "|" or not source.is_spaced(index):
            continue
        if tokens[index + 1].kind == "word":
            yield tokens[index - 1].end, tokens[index + 1].end, ""
        if tokens[index - 1].kind == "word" and tokens[index - 2].text != "|":
            yield tokens[index - 1].start, tokens[index + 1].start, ""


def texts(source):
    """Changes the middle character of a string or a character; puts one into an empty string."""
    for index, token in enumerate(source.tokens):
        if token.kind not in ("string", "character"):
            continue
        if source.tokens[index - 1].text == "extern":
            continue  # the language of a linkage, not a text
        opening = re.match(r"\w*[\"']", token.text).end()
        # An escape sequence is changed as a whole: half of one would not compile.
        units = list(re.finditer(r"\\x[0-9a-fA-F]+|\\.|[^\\]", token.text[opening:-1]))
        if not units:
            yield token.end - 1, token.end - 1, "x"
            continue
        unit = units[len(units) // 2]
        start = token.start + opening + unit.start()
        yield start, start + len(unit.group()), "y" if unit.group() == "x" else "x"
