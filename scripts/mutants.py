"""The changes that scripts/mutate.py may make to a source file: operators, constants, texts, deleted statements."""

import re
from typing import NamedTuple

TOKEN = re.compile(
    r"""(?P<skip>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:\\\n|[^\n])*|\s+)
      | (?P<text>"(?:\\.|[^"\\\n])*")
      | (?P<letter>'(?:\\.|[^'\\\n])*')
      | (?P<name>[A-Za-z_]\w*)
      | (?P<number>\d[\w.']*)
      | (?P<sign><<=|>>=|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|::|.)""",
    re.S | re.M | re.X,
)
SPACED = { # between blanks: what has none is a type's, a pointer's or a template's
    "==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&", "+": "-", "-": "+", "*": "+",
    "/": "*", "%": "/", "<<": ">>", ">>": "<<", "&": "|", "|": "&", "+=": "-=", "-=": "+=", "|=": "&=", "&=": "|=",
}
NUMBER = re.compile(r"(0x[0-9a-f]+|\d+)([ul]*)$", re.I)
# Lines that the compiler alone checks or reads.
UNTOUCHED = {"static_assert", "__attribute__", "alignas", "decltype", "sizeof"}
CONTROLS = {"if", "for", "while", "switch"}
NO_STATEMENT = CONTROLS | {
    "auto", "case", "class", "const", "constexpr", "default", "do", "else", "enum", "extern", "inline", "namespace", "private",
    "public", "static", "struct", "template", "thread_local", "typedef", "union", "unsigned", "using",
}
DECLARATION = re.compile(r"(?!return\b)[A-Za-z_][\w:]*(<[^;=()]*>)?[\s*&]+[A-Za-z_]\w*\s*([=;\[({]|$)")
OPENING, CLOSING = {"(", "[", "{"}, {")", "]", "}"}


class Mutant(NamedTuple):
    path: str
    kind: str
    start: int
    end: int
    replacement: str

    def apply(self, text):
        return text[: self.start] + self.replacement + text[self.end :]

    def line(self, text):
        return text.count("\n", 0, self.start) + 1

    def describe(self, text):
        old = re.sub(r"\s+", " ", text[self.start : self.end])
        if self.kind == "statement":
            return f"without {old}"
        line = text[text.rfind("\n", 0, self.start) + 1 : text.find("\n", self.end)].strip()
        return f"{old} -> {self.replacement.strip() or 'nothing'} in: {line}"


class Token(NamedTuple):
    kind: str
    text: str
    start: int
    end: int


def tokens_of(text):
    found = (Token(match.lastgroup, match[0], *match.span()) for match in TOKEN.finditer(text))
    return [token for token in found if token.kind != "skip"]


def closing_of(tokens, index):
    """The index of the bracket that closes the one at `index`."""
    depth = 0
    for at in range(index, len(tokens)):
        depth += (tokens[at].text in OPENING) - (tokens[at].text in CLOSING)
        if depth == 0:
            return at
    return len(tokens) - 1


def operators(path, text, tokens, at):
    token, following = tokens[at], text[tokens[at].end : tokens[at].end + 1]
    blank_before = text[token.start - 1 : token.start].isspace()
    if token.text in SPACED and blank_before and following.isspace():
        yield token.start, token.end, SPACED[token.text]
    elif token.text in ("++", "--"):
        yield token.start, token.end, "--" if token.text == "++" else "++"
    elif token.text == "!" and (following.isalpha() or following in "_("):
        yield token.start, token.end, " "


def constants(path, text, tokens, at):
    token = tokens[at]
    if token.text in ("true", "false"):
        yield token.start, token.end, "false" if token.text == "true" else "true"
    match = token.kind == "number" and NUMBER.match(token.text)
    if match:
        value = int(match[1], 16 if match[1][:2].lower() == "0x" else 10)
        for changed in {value + 1, abs(value - 1)}:
            yield token.start, token.end, f"{changed}{match[2]}"


def texts(path, text, tokens, at):
    """One letter becomes the next one; what follows a backslash or a percent sign is no letter."""
    token = tokens[at]
    if token.kind != "text" or (at and tokens[at - 1].text == "extern"):
        return
    for match in re.finditer(r"(?<![%\\])(?<!%[lzh0-9.*])[A-Za-z0-9]", token.text):
        letter = match[0]
        changed = {"z": "a", "Z": "A", "9": "0"}.get(letter) or chr(ord(letter) + 1)
        yield token.start + match.start(), token.start + match.end(), changed


def begins_statement(tokens, at, control_ends):
    return at > 0 and (tokens[at - 1].text in (";", "{", "}", "else") or at - 1 in control_ends)


def statements(path, text, tokens, at):
    first = tokens[at]
    if not (first.kind == "name" or first.text in ("*", "++", "--")) or first.text in NO_STATEMENT:
        return
    end = at
    while end < len(tokens) and tokens[end].text not in (";", "{", "}"):
        end = closing_of(tokens, end) + 1 if tokens[end].text in OPENING else end + 1
    if end >= len(tokens) or tokens[end].text != ";":
        return
    whole = text[first.start : tokens[end].end]
    last_return = first.text == "return" and end > at + 1 and end + 1 < len(tokens) and tokens[end + 1].text == "}"
    if DECLARATION.match(whole) or last_return:
        return
    yield first.start, tokens[end].end, ";" + "\n" * whole.count("\n")


def mutants_of(path, text):
    """All of a file's, by kind, one list for each place."""
    tokens = tokens_of(text)
    control_ends = {closing_of(tokens, at + 1) for at, token in enumerate(tokens[:-1]) if token.text in CONTROLS}
    found = {"operator": [], "constant": [], "text": [], "statement": []}
    kinds = {"operator": operators, "constant": constants, "text": texts}
    at = 0
    while at < len(tokens):
        if tokens[at].text in UNTOUCHED and at + 1 < len(tokens) and tokens[at + 1].text == "(":
            at = closing_of(tokens, at + 1) + 1
            continue
        makers = dict(kinds)
        if begins_statement(tokens, at, control_ends):
            makers["statement"] = statements
        for kind, make in makers.items():
            places = [Mutant(path, kind, *place) for place in make(path, text, tokens, at)]
            if places:
                found[kind].append(sorted(places))
        at += 1
    return found
