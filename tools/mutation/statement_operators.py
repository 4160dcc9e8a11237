"""Operators that change a whole statement, a condition or the arguments of a call.

They take and yield what those in token_operators do.
"""

from .syntax import STATEMENT_WORDS, assignment, is_declaration, statements
from .token_operators import COMPARISONS, LOGICAL, TRUTH

_NOTHING = {"0", "{}", "nullptr", "std::nullopt", "S_OK"}  # what an empty value is already


def calls(source):
    """Drops a statement that is a call."""
    for first, last in statements(source):
        start = first
        if source.between(first, min(first + 2, last)) == "(void)":
            start = first + 3
        if source.tokens[last - 1].text != ")" or assignment(source, start, last) is not None:
            continue
        if not is_declaration(source, start, last):
            yield source.tokens[first].start, source.tokens[last - 1].end, ""


def assignments(source):
    """Drops a statement that assigns."""
    for first, last in statements(source):
        if source.tokens[last - 1].text in ("default", "delete") or source.between(
                last - 2, last - 1) == "= 0":
            continue  # the declaration of a function
        if assignment(source, first, last) and not is_declaration(source, first, last):
            yield source.tokens[first].start, source.tokens[last - 1].end, ""


def returns(source):
    """Returns an empty value, unless the value is empty already or a truth, which has its operator."""
    for index, token in enumerate(source.tokens):
        if token.text != "return":
            continue
        last = index + 1
        while source.tokens[last].text != ";":
            last = source.partner.get(last, last) + 1
        if last == index + 1:
            continue
        value = source.between(index + 1, last - 1)
        if value not in _NOTHING and value not in TRUTH:
            yield source.tokens[index + 1].start, source.tokens[last - 1].end, "{}"


def conditions(source):
    """Negates the condition of an `if` or a loop, and makes it true or false for good."""
    tokens = source.tokens
    for index, token in enumerate(tokens):
        if token.text not in ("if", "while") or tokens[index + 1].text != "(":
            continue
        last = source.partner[index + 1]
        inner = tokens[index + 2:last]
        if any(one.text == ";" for one in inner) or is_declaration(source, index + 2, last - 1):
            continue
        start, end = inner[0].start, inner[-1].end
        marks = {one.text for one in inner if one.kind == "mark"}
        # The operators for comparisons and negations already negate a condition that is just one.
        if marks & LOGICAL.keys() or not marks & (COMPARISONS.keys() | {"!"}):
            yield start, end, f"!({source.text[start:end]})"
        # An endless loop would always be caught by the time limit, and say nothing about the tests.
        yield start, end, "true" if token.text == "if" else "false"


def arguments(source):
    """Swaps the arguments of a call with two."""
    tokens = source.tokens
    for index, token in enumerate(tokens):
        if token.text != "(" or index not in source.partner or tokens[index - 1].kind != "word":
            continue
        if tokens[index - 1].text in STATEMENT_WORDS or tokens[index - 1].text == "void":
            continue
        pieces = source.parts(index)
        if len(pieces) != 2 or any(is_declaration(source, *piece) for piece in pieces):
            continue
        first, second = (source.between(*piece) for piece in pieces)
        if first != second and "\n" not in first + second:
            start, end = tokens[pieces[0][0]].start, tokens[pieces[1][1]].end
            yield start, end, f"{second}, {first}"
