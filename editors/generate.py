#!/usr/bin/env python3
"""generate.py [--check]: makes the editors' files from templates/, with the words of the language from its sources.

The keywords and their places come from language/grammar.y, the signs that end a word from language/tokenizer.cpp, those
that end a reference's name from directory/reference.h, those that end a label from script/labels.cpp, and the
identifiers from directory/identifier_names.cpp.
--check changes nothing, shows what is out of date, and then exits with status 1."""
import ast
import difflib
import json
import os
import re
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(HERE)
FILES = {
    "syntax.vim.in": ("vim/syntax/qrtscript.vim", "vim"),
    "indent.vim.in": ("vim/indent/qrtscript.vim", "vim"),
    "ftplugin.vim.in": ("vim/ftplugin/qrtscript.vim", "vim"),
    "qrtscript.nanorc.in": ("nano/qrtscript.nanorc", "posix"),
    "qrtscript.tmLanguage.json.in": ("vscode/syntaxes/qrtscript.tmLanguage.json", "json"),
    "language-configuration.json.in": ("vscode/language-configuration.json", "json"),
}


def read(*path):
    with open(os.path.join(SOURCE, *path), encoding="utf-8") as file:
        return file.read()


# ---- what the sources say ----

def c_string(path, pattern):
    found = re.search(pattern, read(path))
    if not found:
        raise SystemExit(f"generate.py: {path} has no {pattern}")
    return ast.literal_eval(found.group(1))


def without_actions(rules):
    """Nothing is left of an action but that it switches to the rest of the line."""
    text, depth, action = "", 0, ""
    for character in rules:
        depth += character == "{"
        if depth:
            action += character
        else:
            text += character
        if character == "}":
            depth -= 1
            if not depth:
                text += " REST " if "wholeline = 1" in action else " "
                action = ""
    return text


def grammar_rules():
    """For each symbol of the grammar its alternatives, each a list of symbols."""
    text = re.sub(r"(?m)(^|\s)//.*$", "", read("language/grammar.y").split("\n%%\n")[1])
    rules, name, expected = {}, None, None
    for token in re.findall(r"\"\w+\"|'(?:\\.|.)'|%?\w+|[:|;]", without_actions(text)):
        if name is None:
            name = token
        elif token == ":" and name not in rules:
            rules[name] = [[]]
        elif token == "|":
            rules[name].append([])
        elif token == ";":
            name = None
        elif token != "%empty":
            rules[name][-1].append(token)
    return rules


def is_word(symbol):
    return symbol.startswith('"')


def word(symbol):
    return symbol[1:-1]


def place_of(statement, rest):
    """What stands behind the keywords of a statement."""
    if "REST" in rest[:1]:
        return "remark" if statement == "remark_stmt" else "line"
    if "filespec" in rest:
        return "file"
    if rest[:2] == ["validstring", "'='"]:
        return "assign"
    by_symbol = {"compound_conditional": "condition", "validstring_label": "goto", "text": "text",
                 "QUOTEDSTRING": "text"}
    return by_symbol.get(rest[0], "alone" if rest[0] == "endln" else "other")


PLACES = ["remark", "line", "condition", "goto", "assign", "file", "text", "other", "alone"]


def statements(rules):
    """For each place the sequences of keywords in front of it, and the signs."""
    found, signs = {}, {"remark": "", "line": ""}
    for statement in (alternative[0] for alternative in rules["statement"]):
        for alternative in rules.get(statement, []):
            if statement in ("label_stmt", "endln") or not alternative:
                continue
            length = next((i for i, symbol in enumerate(alternative) if not is_word(symbol)), len(alternative))
            head, rest = tuple(map(word, alternative[:length])), alternative[length:]
            if not head and rest[0].startswith("'"):
                signs[place_of(statement, rest[1:])] += word(rest[0])
            elif head and "error" in rest:
                found.setdefault(head[:1], "alone")
            elif head:
                here, before = place_of(statement, rest), found.get(head, "alone")
                found[head] = min(here, before, key=PLACES.index)
                found.setdefault(head[:1], "alone")
    return found, signs


def between(alternatives, before, behind):
    """The sequences of keywords between two symbols."""
    found = set()
    for alternative in alternatives:
        if len(alternative) > 2 and alternative[0] == before and alternative[-1] == behind:
            middle = alternative[1:-1]
            if all(map(is_word, middle)):
                found.add(tuple(map(word, middle)))
    return found


def language():
    rules = grammar_rules()
    sequences, signs = statements(rules)
    found = {place: {head for head, here in sequences.items() if here == place} for place in PLACES}
    # DEBUG OFF goes before DEBUG and its operand, and FIRE PHASER with an operand before FIRE, whose operand may be PHASER.
    found["phrase"] = {head for head in found["alone"] if len(head) > 1}
    found["alone"] -= found["phrase"]
    found["longer"] = {head for head in found["other"] if len(head) > 1}
    found["other"] -= found["longer"]
    found["compare"] = between(rules["exp"], "valuetext", "text")
    found["logic"] = between(rules["compound_conditional"], "compound_conditional", "compound_conditional")
    found["value"] = {tuple(map(word, one[:-1])) for one in rules["valuetext"] if len(one) == 2}
    found["then"] = {tuple(map(word, one)) for one in rules["begin"] if all(map(is_word, one))}
    found["member"] = {tuple(map(word, one[:-1])) for one in rules["checkforid"] if one[-1] == "QUOTEDSTRING"}
    found["if"] = {(word(one[0]),) for one in rules["if_stmt"]}
    found["else"] = {(word(one[0]),) for one in rules["else_stmt"]}
    found["end"] = {(word(one[0]),) for one in rules["end_stmt"]}
    found["no_label"] = {(word(one[0]),) for one in rules["reserved_words"] if is_word(one[0])}
    found["not_if"] = set(sequences) - found["condition"]
    names = re.findall(r'\{"(\w+)", \d+\}', read("directory/identifier_names.cpp"))
    found["identifiers"] = {(name,) for name in names}
    if not all(found[place] for place in found) or not names:
        raise SystemExit(f"generate.py: nothing for {[place for place in found if not found[place]]}")
    return found, signs


# ---- how the editors write it ----

class Dialect:
    """A kind of regular expression; `literal` is how a text stands in the file."""

    def __init__(self, either, group, blanks, tab, literal):
        self.either, self.group, self.blanks, self.tab, self.literal = either, group, blanks, tab, literal

    def words(self, sequences):
        ordered = sorted(sequences, key=lambda words: (-len(words), words))
        return self.group + self.either.join(self.blanks.join(words) for words in ordered) + self.end

    @property
    def end(self):
        return "\\)" if self.group.startswith("\\") else ")"

    def members(self, signs):
        """As they stand between brackets."""
        kept = "".join(sign for sign in signs if sign not in "\n\r\t -\\")
        # A carriage return is part of a line's end.
        return (" " + self.tab if "\t" in signs else "") + kept + ("\\\\" if self.tab == "\\t" else "\\") + (
            "-" if "-" in signs else "")


DIALECTS = {
    "vim": Dialect("\\|", "\\%(", "\\s\\+", "\\t", lambda text: text),
    "json": Dialect("|", "(?:", "[ \\t]+", "\\t", lambda text: json.dumps(text, ensure_ascii=False)[1:-1]),
    "posix": Dialect("|", "(", "[[:blank:]]+", "\t", lambda text: text),
}


def replacements(dialect):
    found, signs = language()
    values = {place: dialect.words(sequences) for place, sequences in found.items()}
    for place in signs:
        values[place + "_signs"] = signs[place]
    values["delimiters"] = dialect.members(c_string("language/tokenizer.cpp", r'delimiters = characters\((".*")\);'))
    values["home"] = c_string("language/tokenizer.cpp", r'words = ("home.*");')
    values["label_ends"] = dialect.members(c_string("script/labels.cpp", r'others\((".*"),').rstrip("\0"))
    values["name_ends"] = dialect.members(c_string("directory/reference.h", r'std::string_view\((".*")\)'))
    word_of = f"[^{values['delimiters']}]"
    more, zero = ("\\+", "*") if dialect is DIALECTS["vim"] else ("+", "*")
    blanks = dialect.blanks.removesuffix(more) + zero
    values["word"] = word_of + more
    values["name"] = f"{word_of}{more}{dialect.group}{blanks}[-*]{blanks}{word_of}{more}{dialect.end}*"
    values["over"] = (f"\\%([{values['delimiters']}]\\|$\\)\\@=" if dialect is DIALECTS["vim"]
                      else f"(?=[{values['delimiters']}]|$)")
    return values


def filled(template, dialect):
    values = replacements(dialect)

    def value(match):
        if match.group(1) not in values:
            raise SystemExit(f"generate.py: {template} asks for @{match.group(1)}@")
        return dialect.literal(values[match.group(1)])
    return re.sub(r"@([a-z_]+)@", value, read("editors", "templates", template))


def main():
    check, stale = sys.argv[1:] == ["--check"], False
    if sys.argv[1:] and not check:
        raise SystemExit(__doc__)
    for template, (path, dialect) in FILES.items():
        wanted, place = filled(template, DIALECTS[dialect]), os.path.join(HERE, path)
        before = read("editors", path) if os.path.exists(place) else ""
        if before == wanted:
            continue
        stale = True
        if check:
            sys.stdout.writelines(difflib.unified_diff(before.splitlines(True), wanted.splitlines(True), path,
                                                       "from " + template))
            continue
        with open(place, "w", encoding="utf-8") as file:
            file.write(wanted)
    if check and stale:
        print("editors/generate.py makes these files again")
    return 1 if check and stale else 0


if __name__ == "__main__":
    sys.exit(main())
