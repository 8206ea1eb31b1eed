"""Reads the translation files, and finds the texts of the C++ sources: what the checks in this folder share."""
import re

ESCAPES = {"n": "\n", "t": "\t", "v": "\v", '"': '"', "\\": "\\"}


class Message:
    def __init__(self):
        self.id = self.plural = ""
        self.texts = {}
        self.flags = set()
        self.places = set()  # the files that hold it; only the template tells

    @property
    def forms(self):
        """The translations, one for each plural form."""
        return [self.texts[number] for number in sorted(self.texts)]


def unquoted(text):
    return re.sub(r"\\(.)", lambda found: ESCAPES[found.group(1)], text[1:-1])


def read_po(path):
    """The messages of a .po or .pot file in order, the header first. Obsolete ones are an error."""
    messages, flags, places, add = [], set(), set(), None
    for line in open(path, encoding="utf-8"):
        line = line.rstrip("\n")
        if line.startswith("#~"):
            raise ValueError(f"{path}: an obsolete message: {line}")
        if line.startswith("#,"):
            flags |= {flag.strip() for flag in line[2:].split(",")}
        if line.startswith("#:"):
            places |= set(line[2:].split())
        if not line or line.startswith("#"):
            continue
        found = re.match(r'(msgid_plural|msgid|msgstr)(?:\[(\d)\])? (".*")$', line)
        if found and found.group(1) == "msgid":
            messages.append(Message())
            messages[-1].flags, messages[-1].places, flags, places = flags, places, set(), set()
        if found:
            add = (found.group(1), int(found.group(2) or 0))
        text = unquoted(found.group(3) if found else line)
        message = messages[-1]
        if add[0] == "msgid":
            message.id += text
        elif add[0] == "msgid_plural":
            message.plural += text
        else:
            message.texts[add[1]] = message.texts.get(add[1], "") + text
    return messages


PLACEHOLDER = re.compile(r"%(?:(\d+)\$)?(?:(z|l)?([sXiud])|(%))")


def placeholders(text):
    """The conversions of a message, by the number of the argument: {1: "s", 2: "X"}."""
    found = {}
    for number, size, conversion, _ in PLACEHOLDER.findall(text):
        if conversion:
            found[int(number) if number else len(found) + 1] = size + conversion
    return found


TOKENS = re.compile(r'//[^\n]*|/\*.*?\*/|R"\((?P<raw>.*?)\)"|"(?P<text>(?:[^"\\\n]|\\.)*)"|'
                    r"'(?:[^'\\\n]|\\.)+'|#\s*include[^\n]*|[A-Za-z_]\w*|[(){};]|.", re.S)


def texts(source):
    """Every text of a C++ source as (its line, the text, the names of the calls around it)."""
    calls, name, pending, found = [], "", None, []
    line = 1
    for token in TOKENS.finditer(source):
        word = token.group()
        if token.group("text") is not None:
            if pending is None:
                pending = [line, "", [call for call in calls if call]]
            pending[1] += token.group("text")
        elif not word.isspace() and not word.startswith(("//", "/*")):
            if pending is not None:
                found.append(tuple(pending))
                pending = None
            if word in "({":
                calls.append(name if word == "(" else "")
            elif word in ")}" and calls:
                calls.pop()
            name = word if re.match(r"[A-Za-z_]", word) else ""
        line += word.count("\n")
    return found
