"""A simple tokenizer for C++ as src/ uses it: enough to find the places for changes."""

import re
from bisect import bisect_right
from dataclasses import dataclass

_PATTERN = re.compile(r"""
      (?P<comment>//[^\n]* | /\*.*?\*/)
    | (?P<directive>^[ \t]*\#(?:[^\n\\]|\\.)*)
    | (?P<attribute>\[\[.*?\]\])
    | (?P<string>(?:u8|[uUL])?"(?:[^"\\\n]|\\.)*")
    | (?P<character>(?:u8|[uUL])?'(?:[^'\\\n]|\\.)+')
    | (?P<number>\.?[0-9](?:'?[0-9a-zA-Z_.])*)
    | (?P<word>[A-Za-z_]\w*)
    | (?P<mark><=>|->\*|\.\.\.|<<=|>>=|::|->|\+\+|--|<<|<=|>=|==|!=|&&|\|\||\+=|-=|\*=|/=|%=|&=|\|=|\^=
        |[^\s\w])
    | (?P<space>\s+)
    """, re.VERBOSE | re.DOTALL | re.MULTILINE)

_SKIPPED = {"comment", "directive", "attribute", "space"}
_CLOSING = {"(": ")", "[": "]", "{": "}"}


@dataclass(frozen=True)
class Token:
    """A piece of a source text: its kind (string, character, number, word or mark) and its position."""

    kind: str
    text: str
    start: int

    @property
    def end(self):
        return self.start + len(self.text)


class Source:
    """A source text with its tokens and the pairs of its brackets.

    Comments, preprocessor lines, attributes and static assertions are not among the tokens: a change
    there does nothing that a test could see.
    """

    def __init__(self, text):
        self.text = text
        found = [Token(match.lastgroup, match.group(), match.start())
                 for match in _PATTERN.finditer(text) if match.lastgroup not in _SKIPPED]
        self.tokens = _without_static_assertions(found)
        self.partner = _partners(self.tokens)
        self._lines = [0] + [match.end() for match in re.finditer("\n", text)]

    def line(self, position):
        """Returns the number of the line at this position, counted from 1."""
        return bisect_right(self._lines, position)

    def line_text(self, position):
        """Returns the line at this position without the spaces around it."""
        start = self._lines[self.line(position) - 1]
        return self.text[start:].split("\n", 1)[0].strip()

    def is_spaced(self, index):
        """Whether there is a space on both sides of a token. In formatted code, this distinguishes a
        binary operator from the bracket of a template, a reference and a sign."""
        token = self.tokens[index]
        around = self.text[token.start - 1:token.start] + self.text[token.end:token.end + 1]
        return len(around) == 2 and around.isspace()

    def between(self, first, last):
        """Returns the text from one token to another, including both."""
        return self.text[self.tokens[first].start:self.tokens[last].end]

    def parts(self, opening):
        """Returns the pieces of a bracket that its own commas separate, as pairs of token indices,
        first and last. An empty bracket has none."""
        pieces, first, index = [], opening + 1, opening + 1
        closing = self.partner[opening]
        while index <= closing:
            if index == closing or self.tokens[index].text == ",":
                if first < index:
                    pieces.append((first, index - 1))
                first = index + 1
            index = self.partner.get(index, index) + 1 if index != closing else index + 1
        return pieces


def _partners(tokens):
    """Maps the index of each opening bracket to that of its closing one."""
    partner, open_brackets = {}, []
    for index, token in enumerate(tokens):
        if token.kind != "mark":
            continue
        if token.text in _CLOSING:
            open_brackets.append(index)
        elif open_brackets and token.text == _CLOSING[tokens[open_brackets[-1]].text]:
            partner[open_brackets.pop()] = index
    return partner


def _without_static_assertions(tokens):
    kept, inside = [], False
    for token in tokens:
        inside = inside or token.text == "static_assert"
        if not inside:
            kept.append(token)
        elif token.text == ";":
            inside = False
    return kept
