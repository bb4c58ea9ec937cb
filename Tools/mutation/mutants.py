"""Finds the places of a C++ source where one small change makes a mutant of it.

Works on tokens: what looks like code but is none, or does not fit, does not compile and is dropped later.
"""

import dataclasses
import re

TOKEN = re.compile(
    r"""(?P<skip>\s+|//[^\n]*|/\*.*?\*/|^[ \t]*\#[ \t]*define[ \t]+\w+(?:\([^)\n]*\))?|\\\n
            |^[ \t]*\#(?![ \t]*define)(?:\\\n|[^\n])*)
       |(?P<string>"(?:\\.|[^"\\\n])*")
       |(?P<char>'(?:\\.|[^'\\\n])*')
       |(?P<number>(?:0[xX][0-9A-Fa-f]+|\d+)[uUlL]*)
       |(?P<name>[A-Za-z_]\w*)
       |(?P<mark>->|\+\+|--|::|\.\.\.|<=|>=|==|!=|&&|\|\||[-+*/|&^%]=|.)""",
    re.VERBOSE | re.MULTILINE | re.DOTALL)
# A unit of a string literal that can be changed alone.
LITERAL_UNIT = re.compile(r"\\x[0-9A-Fa-f]+|\\.|%[-+ #0-9.]*(?:hh|h|ll|l|z)?[A-Za-z%]|.")
CONSTANT_NAME = re.compile(r"(k[A-Z]|[A-Z][A-Z0-9]*_)\w*$")
NO_CALL = {"if", "while", "for", "switch", "return", "catch", "sizeof", "else", "do", "case", "default", "using",
           "template", "namespace", "struct", "class", "enum", "public", "private", "goto", "throw", "delete", "new"}

# How many tokens before and as many behind tell the place of a mutant.
NEAR = 16

COMPARISONS = {"<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"), "==": ("!=",), "!=": ("==",)}
ASSIGNMENTS = {"=", "+=", "-=", "|=", "&="}
LOGIC = {"&&": ("||",), "||": ("&&",)}
ARITHMETIC = {"++": ("--",), "--": ("++",), "+": ("-",), "-": ("+",), "+=": ("-=",), "-=": ("+=",), "|": ("&",)}
PRIORITIES = {"LOG_INFO": ("LOG_ERROR",), "LOG_ERROR": ("LOG_INFO",),
              "kLogInfo": ("kLogError",), "kLogError": ("kLogInfo",)}


@dataclasses.dataclass(frozen=True)
class Mutant:
    """A change of a source: the text between two offsets is replaced. It stays the same mutant when only comments or
    more distant code change."""
    file: str
    operator: str
    before: str
    after: str
    around: str  # the tokens before and behind
    line: int = dataclasses.field(compare=False)
    start: int = dataclasses.field(compare=False)
    end: int = dataclasses.field(compare=False)

    def applied_to(self, source):
        return source[:self.start] + self.after + source[self.end:]

    def __str__(self):
        def short(text):
            text = " ".join(text.split())
            return text if len(text) <= 150 else text[:147] + "..."
        return f"{self.file}:{self.line}: {self.operator}: {short(self.before)}  =>  {short(self.after) or '(nothing)'}"


@dataclasses.dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


class Source:
    """A source file as tokens, with brackets matched and plain statements marked."""

    def __init__(self, file, text):
        self.file = file
        self.text = text
        self.tokens = [Token(m.lastgroup, m.group(), m.start(), m.end())
                       for m in TOKEN.finditer(text) if m.lastgroup != "skip"]
        self.closing = {}
        opened = []
        for i, token in enumerate(self.tokens):
            if token.text in ("(", "[", "{"):
                opened.append(i)
            elif token.text in (")", "]", "}") and opened:
                self.closing[opened.pop()] = i

    def text_of(self, first, last):
        """The source from one token to another, both included."""
        return self.text[self.tokens[first].start:self.tokens[last].end]

    def at(self, i):
        return self.tokens[i].text if 0 <= i < len(self.tokens) else ""

    def top_level(self, first, last, mark):
        """The tokens with a text between two others, leaving out what stands in brackets."""
        found = []
        i = first
        while i <= last:
            if self.at(i) == mark:
                found.append(i)
            i = self.closing.get(i, i) + 1
        return found

    def statements(self):
        """First and last token of each call, assignment or jump that is a statement of its own."""
        ends_of_heads = {self.closing.get(i + 1) for i, token in enumerate(self.tokens)
                         if token.text in ("if", "while", "for")}
        for i, token in enumerate(self.tokens):
            begins = self.at(i - 1) in (";", "{", "}", "else", "do") or i - 1 in ends_of_heads
            if not begins or token.kind != "name" or token.text in NO_CALL:
                continue
            end = self.end_of_statement(i)
            if end is not None:
                yield i, end

    def end_of_statement(self, i):
        if self.at(i) in ("break", "continue"):
            return i + 1
        # name, then any of ::name .name ->name [..] (..), and = .. or the end.
        i += 1
        while self.at(i) in ("::", ".", "->", "[", "("):
            i = self.closing.get(i, i + 1) + 1
        if self.at(i) == "=" or self.at(i) in ARITHMETIC or self.at(i) in ("|=", "&="):
            i = (self.top_level(i, len(self.tokens) - 1, ";") or [i])[0]
        return i if self.at(i) == ";" else None

    def names(self, first, last):
        return {token.text for token in self.tokens[first:last + 1] if token.kind == "name"}

    def has_call(self, first, last):
        return any(self.at(i) == "(" and self.tokens[i - 1].kind == "name" for i in range(first + 1, last + 1))

    def target(self, first, last):
        """What a statement assigns to, when it does nothing else."""
        i = first
        while self.at(i + 1) in (".", "->"):
            i += 2
        return self.at(i) if self.at(i + 1) in ASSIGNMENTS and not self.has_call(i + 2, last) else None

    def is_log(self, first, last):
        """Whether a statement is a message whose arguments call nothing."""
        return self.at(first).startswith("LOG_") and not self.has_call(first + 2, last)

    def commute(self, one, other):
        """Whether two statements surely can come in either order: assignments, or one and a message."""
        targets = self.target(*one), self.target(*other)
        if targets[0] in self.names(*other) or targets[1] in self.names(*one):
            return False
        return all(targets) or any(targets) and (self.is_log(*one) or self.is_log(*other))

    def mutant(self, operator, first, last, after):
        start = self.tokens[first].start
        near = self.tokens[max(first - NEAR, 0):first] + self.tokens[last + 1:last + 1 + NEAR]
        return Mutant(self.file, operator, self.text_of(first, last), after, " ".join(token.text for token in near),
                      self.text.count("\n", 0, start) + 1, start, self.tokens[last].end)


def exchanged(operator, table):
    def find(source):
        for i, token in enumerate(source.tokens):
            for other in table.get(token.text, ()):
                yield source.mutant(operator, i, i, other)
    return find


def condition(source):
    for i, token in enumerate(source.tokens):
        if token.text == "!":
            yield source.mutant("condition", i, i, "")
        head = i + 1
        if token.text in ("if", "while") and source.at(head) == "(" and head in source.closing:
            last = source.closing[head] - 1
            first = ([head] + source.top_level(head + 1, last, ";"))[-1] + 1
            yield source.mutant("condition", first, last, f"!({source.text_of(first, last)})")


def constant(source):
    for i, token in enumerate(source.tokens):
        if token.kind == "number":
            digits = token.text.rstrip("uUlL")
            suffix = token.text[len(digits):]
            if digits[:2] in ("0x", "0X"):
                base, form = 16, "0x{:X}"
            else:
                base, form = (8, "0{:o}") if digits[0] == "0" and digits != "0" else (10, "{}")
            value = int(digits, base)
            for other in (value + 1, value - 1):
                if other >= 0:
                    yield source.mutant("constant", i, i, form.format(other) + suffix)
        elif token.text in ("true", "false"):
            yield source.mutant("constant", i, i, "false" if token.text == "true" else "true")


def statement_removed(source):
    for first, last in source.statements():
        yield source.mutant("statement removed", first, last, ";")


def statements_swapped(source):
    statements = list(source.statements())
    for (first, middle), (second, last) in zip(statements, statements[1:]):
        one, other = source.text_of(first, middle), source.text_of(second, last)
        if second == middle + 1 and one != other and not source.commute((first, middle), (second, last)):
            between = source.text[source.tokens[middle].end:source.tokens[second].start]
            yield source.mutant("statements swapped", first, last, other + between + one)


def arguments_swapped(source):
    for i, token in enumerate(source.tokens):
        if token.text != "(" or i not in source.closing or source.tokens[i - 1].kind != "name" \
                or source.at(i - 1) in NO_CALL:
            continue
        commas = source.top_level(i + 1, source.closing[i] - 1, ",")
        edges = [i] + commas + [source.closing[i]]
        for before, comma, after in zip(edges, edges[1:], edges[2:]):
            one, other = source.text_of(before + 1, comma - 1), source.text_of(comma + 1, after - 1)
            if one != other:
                yield source.mutant("arguments swapped", before + 1, after - 1, f"{other}, {one}")


def returned_value(source):
    for i, token in enumerate(source.tokens):
        if token.text != "return" or source.at(i + 1) in (";", "true", "false", ""):
            continue
        ends = source.top_level(i + 1, len(source.tokens) - 1, ";")
        if ends:
            value = source.text_of(i + 1, ends[0] - 1)
            yield source.mutant("returned value", i + 1, ends[0] - 1, f"!({value})")
            if value not in ("0", "nullptr"):
                yield source.mutant("returned value", i + 1, ends[0] - 1, "{}")


def text(source):
    for i, token in enumerate(source.tokens):
        if token.kind != "string" or source.at(i - 1) in ("extern", "__has_include"):
            continue
        units = LITERAL_UNIT.findall(token.text[1:-1])
        if not units:
            continue
        # Without its first or last unit, or with a letter in the middle altered.
        changed = {"".join(units[1:]), "".join(units[:-1])}
        letters = [n for n, unit in enumerate(units) if len(unit) == 1 and unit.isalnum()]
        if letters:
            n = letters[len(letters) // 2]
            changed.add("".join(units[:n] + ["x" if units[n] != "x" else "y"] + units[n + 1:]))
        for other in sorted(changed):
            yield source.mutant("text", i, i, f'"{other}"')


def name(source):
    """A priority, or a named constant for the next one of the same family in the file."""
    families = {}
    for token in source.tokens:
        family = CONSTANT_NAME.match(token.text)
        if token.kind == "name" and family and not token.text.startswith("LOG_"):
            families.setdefault("k" if token.text[0] == "k" else family.group(1), set()).add(token.text)
    following = dict(PRIORITIES)
    for names in families.values():
        ordered = sorted(names)
        for one, other in zip(ordered, ordered[1:] + ordered[:1]):
            if one != other:
                following.setdefault(one, (other,))
    return exchanged("name", following)(source)


OPERATORS = {
    "condition": condition,
    "comparison": exchanged("comparison", COMPARISONS),
    "logic": exchanged("logic", LOGIC),
    "constant": constant,
    "arithmetic": exchanged("arithmetic", ARITHMETIC),
    "statement removed": statement_removed,
    "statements swapped": statements_swapped,
    "arguments swapped": arguments_swapped,
    "returned value": returned_value,
    "text": text,
    "name": name,
}


def find(file, content):
    """The mutants of a source, by operator."""
    source = Source(file, content)
    found = {operator: list(finder(source)) for operator, finder in OPERATORS.items()}
    return {operator: mutants for operator, mutants in found.items() if mutants}


def draw(sources, random):
    """Yields mutants of all sources at random: the file in proportion to its code, then the operator, then the place.
    Each mutant comes once.

    sources: content by file name
    """
    left = {file: find(file, content) for file, content in sources.items()}
    lines = {file: len({m.line for mutants in by_operator.values() for m in mutants})
             for file, by_operator in left.items()}
    while any(left.values()):
        files = [file for file in left if left[file]]
        file = random.choices(files, [lines[f] for f in files])[0]
        operator = random.choice(list(left[file]))
        mutants = left[file][operator]
        yield mutants.pop(random.randrange(len(mutants)))
        if not mutants:
            del left[file][operator]
