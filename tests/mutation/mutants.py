"""Finds the places of a C++ source or of a grammar where one small mistake could have been made, and makes it.

Knows only as much of C++ as this project writes: clang-format's spacing tells operators from templates. A mutant that is
no C++ is the compiler's to refuse.
"""

import re
from dataclasses import dataclass

TOKEN = re.compile(
    r"""(?P<skip>\s+|//[^\n]*|/\*.*?\*/|\#(?:\\\n|[^\n])*)
      | (?P<string>"(?:\\.|[^"\\])*"|'(?:\\.|[^'\\])*')
      | (?P<number>\d(?:'?[\w.])*)
      | (?P<name>[A-Za-z_]\w*)
      | (?P<sign><<=|>>=|->|::|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)""",
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)

SWAPS = {
    "==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"],
    "&&": ["||"], "||": ["&&"], "+": ["-"], "-": ["+"], "+=": ["-="], "-=": ["+="], "++": ["--"], "--": ["++"],
    "true": ["false"], "false": ["true"],
}  # fmt: skip
# Without blanks around them these are no binary operators.
SPACED = {"<", ">", "+", "-"}
# Sizes and limits that have a name.
BOUND = re.compile(r"lex_(max|named|stack)_\w+|cond_levels|conf_\w+_size|\w+_most_\w+|valueSize|near")
DECLARATION = re.compile(
    r"(?:(?:static|const|constexpr|struct|using|extern|unsigned)\b|(?!return\b|delete\b|throw\b)[\w:]+(?:<[^;=]*>)?[\s*&]+\w+\s*(?:[=;({\[]))"
)
OPEN, CLOSE = "([{", ")]}"


@dataclass
class Token:
    kind: str
    text: str
    start: int

    @property
    def end(self):
        return self.start + len(self.text)


@dataclass
class Mutant:
    file: str
    line_number: int
    line: str  # the line as written, without its indentation
    mutation: str  # what is done to it, in words that stay true when lines move
    start: int
    end: int
    replacement: str

    def key(self):
        return self.file, self.line, self.mutation

    def apply(self, source):
        # Line numbers stay as they are: the traces show them.
        kept = "\n" * source[self.start : self.end].count("\n")
        return source[: self.start] + self.replacement + kept + source[self.end :]


def tokens_of(source):
    return [
        Token(match.lastgroup, match.group(), match.start())
        for match in TOKEN.finditer(source)
        if match.lastgroup != "skip"
    ]


def closing(tokens, at):
    """The index of the bracket that closes the one at `at`."""
    depth = 0
    for i in range(at, len(tokens)):
        depth += tokens[i].text in OPEN
        depth -= tokens[i].text in CLOSE
        if depth == 0:
            return i
    raise ValueError("unbalanced brackets")


class Finder:
    def __init__(self, file, source):
        self.file, self.source = file, source
        self.tokens = tokens_of(source)
        self.mutants = []
        self.seen = {}

    def add(self, start, end, replacement, mutation):
        line_start = self.source.rfind("\n", 0, start) + 1
        line_end = self.source.find("\n", start)
        line = self.source[line_start:line_end].strip()
        line_number = self.source.count("\n", 0, start) + 1
        place = (line_number, mutation)
        self.seen[place] = count = self.seen.get(place, 0) + 1
        if count > 1:
            mutation += f", occurrence {count}"
        self.mutants.append(Mutant(self.file, line_number, line, mutation, start, end, replacement))

    def replace(self, token, replacement):
        self.add(token.start, token.end, replacement, f"{token.text} becomes {replacement}")

    # ---- operators, literals, bounds ----

    def spaced(self, token):
        return self.source[token.start - 1] == " " and self.source[token.end] == " "

    def operators(self, first, last):
        for i in range(first, last):
            token = self.tokens[i]
            if token.kind == "string" or (token.text in SPACED and not self.spaced(token)):
                continue
            for swap in SWAPS.get(token.text, ()):
                self.replace(token, swap)
            if token.text == "!":
                self.add(token.start, token.end, "", "! is dropped")
            elif token.kind == "number":
                self.number(token)
            elif token.text == "size" and self.source.startswith("size()", token.start):
                self.off_by_one(token.start, token.start + len("size()"), "size()")
            elif token.kind == "name" and BOUND.fullmatch(token.text):
                self.off_by_one(token.start, token.end, token.text)
            elif token.text == "sizeof":
                self.off_by_one(token.start, self.tokens[i + 1].end, f"sizeof {self.tokens[i + 1].text}")

    def number(self, token):
        match = re.fullmatch(r"(0x[0-9a-fA-F]+|[\d']+)([uUlL]*)", token.text)
        if match:
            digits = match[1].replace("'", "")
            octal = re.fullmatch(r"0\d+", digits)
            value = int(digits, 8 if octal else 0)
            for other in (value + 1, value - 1):
                shown = f"0{other:o}" if octal else other
                self.replace(token, f"{shown}{match[2]}" if other >= 0 else f"({other})")

    def off_by_one(self, start, end, name):
        # A size is always the last part of its term.
        text = self.source[start:end]
        for sign in "+-":
            if name == "size()":
                self.add(start, end, f"{text} {sign} 1", f"{name} becomes {name} {sign} 1")
            else:
                self.add(start, end, f"({text} {sign} 1)", f"{name} becomes {name} {sign} 1")

    # ---- conditions ----

    def condition(self, first, last):
        start, end = self.tokens[first].start, self.tokens[last - 1].end
        if self.source[start:end] in ("true", "false"):
            return
        shown = re.sub(r"\s+", " ", self.source[start:end])
        for value in ("true", "false"):
            self.add(start, end, value, f"({shown}) becomes {value}")

    def conditions(self, first, last):
        for i in range(first, last):
            text = self.tokens[i].text
            if text in ("if", "while") and self.tokens[i + 1].text == "(":
                self.condition(i + 2, closing(self.tokens, i + 1))
            elif text == "for":
                self.middle_of_for(i + 1)
            elif text == "?":
                self.before_question_mark(i)

    def middle_of_for(self, at):
        end = closing(self.tokens, at)
        parts = [i for i in range(at, end) if self.tokens[i].text == ";"]
        if len(parts) == 2 and parts[1] > parts[0] + 1:
            self.condition(parts[0] + 1, parts[1])

    def before_question_mark(self, at):
        depth, i = 0, at - 1
        while True:
            text = self.tokens[i].text
            depth += text in CLOSE
            depth -= text in OPEN
            if depth < 0 or (depth == 0 and text in ("=", "+=", "return", ",", ";", "?", ":", "}")):
                break
            i -= 1
        if i + 1 < at:
            self.condition(i + 1, at)

    # ---- statements ----

    def behind_heads(self, at):
        """Skips what introduces a statement: labels of a switch, if (...), else, loops."""
        while True:
            text = self.tokens[at].text
            if text in ("if", "while", "for", "switch", "catch"):
                at = closing(self.tokens, at + 1) + 1
            elif text in ("else", "do", "try"):
                at += 1
            elif text in ("case", "default"):
                while self.tokens[at].text != ":":
                    at += 1
                at += 1
            else:
                return at

    def statements(self, first, last):
        at = first
        while at < last:
            at = self.behind_heads(at)
            if at >= last or self.tokens[at].text in "{};":
                at += 1
                continue
            end = at
            while self.tokens[end].text != ";":
                end = closing(self.tokens, end) if self.tokens[end].text in OPEN else end
                end += 1
            text = self.source[self.tokens[at].start : self.tokens[end].end]
            if not DECLARATION.match(text):
                shown = re.sub(r"\s+", " ", text)
                self.add(self.tokens[at].start, self.tokens[end].end, ";", f"{shown} is dropped")
            at = end + 1

    def bodies(self, first, last):
        """The index ranges of the function bodies."""
        at = first
        while at < last:
            start = at
            while at < last and self.tokens[at].text not in ("{", ";"):
                at = closing(self.tokens, at) if self.tokens[at].text in "([" else at
                at += 1
            if at >= last:
                return
            if self.tokens[at].text == "{":
                end = closing(self.tokens, at)
                kind = self.kind_of(start, at)
                if kind == "scope":
                    yield from self.bodies(at + 1, end)
                elif kind == "function":
                    yield at + 1, end
                at = end
            at += 1

    def kind_of(self, start, brace):
        """What stands between the braces behind such a head: a "scope" of functions, a "function", or a "list"."""
        words = []
        at = start
        while at < brace:
            words.append(self.tokens[at].text)
            if words == ["template"]:
                words = []
                while self.tokens[at].text != ">" or self.tokens[at + 1].text in (",", ">"):
                    at += 1
            elif words[-1] in "([":
                at = closing(self.tokens, at)
            at += 1
        while words and words[0] in ("}", "public", "protected", "private", ":"):
            del words[0]
        if words[:1] == ["enum"] or "=" in words:
            return "list"
        return "scope" if words[:1] and words[0] in ("namespace", "extern", "struct", "class", "union") else "function"

    def find(self):
        for first, last in self.bodies(0, len(self.tokens)):
            self.mistakes(first, last)
        return self.mutants

    def mistakes(self, first, last):
        self.operators(first, last)
        self.conditions(first, last)
        self.statements(first, last)


class GrammarFinder(Finder):
    """The mistakes in a Bison grammar's rules: those of the actions, and a form that is missing."""

    def find(self):
        # The rules stand between two lines "%%".
        signs = [i for i in range(len(self.tokens) - 1) if self.tokens[i].text == self.tokens[i + 1].text == "%"]
        at, last = signs[0] + 2, signs[1]
        while at < last:
            # name: form | form ;
            end = at + 2
            bars = []
            while self.tokens[end].text != ";":
                if self.tokens[end].text == "{":
                    close = closing(self.tokens, end)
                    self.mistakes(end + 1, close)
                    end = close
                elif self.tokens[end].text == "|":
                    bars.append(end)
                end += 1
            self.forms(at + 1, bars, end)
            at = end + 1
        return self.mutants

    def forms(self, colon, bars, semicolon):
        """Each of several forms is dropped, together with the bar in front of it or, the first one, behind it."""
        ends = [colon, *bars, semicolon]
        if not bars:
            return
        for i in range(len(ends) - 1):
            first, end = ends[i] + 1, ends[i + 1]
            text = self.source[self.tokens[first].start : self.tokens[end - 1].end]
            shown = re.sub(r"\s+", " ", text)
            start = self.tokens[first if i == 0 else ends[i]].start
            self.add(start, self.tokens[end if i == 0 else end - 1].end, "", f"the form {shown} is dropped")


def mutants_of(file, source):
    finder = GrammarFinder if file.endswith(".y") else Finder
    return finder(file, source).find()
