"""Statements, declarations and assignments in a tokenized source, as far as the operators need them.

Nothing here parses C++. The rules fit code that is formatted like src/; a place that they miss is a
mutant less, and a place that they get wrong is mostly a mutant that does not compile.
"""

# A statement that begins with one of these is neither a call nor an assignment.
STATEMENT_WORDS = {
    "return", "throw", "if", "else", "for", "while", "do", "switch", "case", "default", "break",
    "continue", "using", "namespace", "template", "class", "struct", "enum", "const", "constexpr",
    "static", "inline", "extern", "virtual", "explicit", "public", "private", "protected", "delete",
    "typename", "friend", "auto", "try", "catch", "goto", "typedef", "operator"}


def statements(source):
    """Yields simple statements as pairs of token indices: the first token and the semicolon."""
    tokens = source.tokens
    closes_condition = {source.partner[index + 1] for index, token in enumerate(tokens)
                        if token.text in ("if", "for", "while") and index + 1 in source.partner}
    for first, token in enumerate(tokens):
        if first == 0 or token.text in STATEMENT_WORDS:
            continue
        if token.kind != "word" and token.text not in ("(", "::", "*", "++", "--"):
            continue  # it follows a brace that ends no statement, such as that of a lambda
        before = tokens[first - 1].text
        if before not in (";", "{", "}", "else", ":") and first - 1 not in closes_condition:
            continue
        index = first
        while index < len(tokens) and tokens[index].text not in (";", "}", "{"):
            index = source.partner.get(index, index) + 1
        if first < index < len(tokens) and tokens[index].text == ";":
            yield first, index


def is_declaration(source, first, last):
    """Whether two names are side by side before the first bracket or assignment."""
    for index in range(first, last):
        here, following = source.tokens[index], source.tokens[index + 1]
        if here.text in ("(", "=", "{"):
            return False
        if following.kind == "word" and (here.kind == "word" or here.text in (">", "&", "*")):
            return index != first or here.kind == "word"
    return False


def assignment(source, first, last):
    """Returns the index of the token with which a statement assigns, or None."""
    index = first
    while index < last:
        if source.tokens[index].text == "=":
            return index
        index = source.partner.get(index, index) + 1
    return None
