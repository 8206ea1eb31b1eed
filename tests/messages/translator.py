"""Turns a program's English output into what it has to say in another language, by the catalogue alone."""
import re

from catalogue import PLACEHOLDER

PATTERNS = {"s": r"([^\n]*?)", "X": r"([0-9A-F]+)", "i": r"(-?\d+)", "d": r"(-?\d+)"}


class Form:
    """One English text of a message: a pattern for what the message looks like with its arguments."""

    def __init__(self, message, english):
        self.message, self.english = message, english
        self.groups, pattern, at, weight = {}, "", 0, 0
        for found in PLACEHOLDER.finditer(english):
            number, _, conversion, _ = found.groups()
            pattern += re.escape(english[at:found.start()])
            weight += found.start() - at
            at = found.end()
            if not conversion:
                pattern += "%"
                continue
            number = int(number) if number else len(self.groups) + 1
            if number in self.groups:
                pattern += rf"(?:\{self.groups[number]})"
            else:
                self.groups[number] = len(self.groups) + 1
                pattern += PATTERNS.get(conversion, r"(\d+)")
        self.pattern = re.compile(pattern + re.escape(english[at:]))
        self.weight = weight + len(english) - at


class Translator:
    def __init__(self, messages):
        self.lines, self.phrases = [], []
        for message in messages:
            for english in {message.id, message.plural} - {""}:
                if not re.search("[A-Za-z]", PLACEHOLDER.sub("", english)):
                    continue  # it joins two texts, and would seem to explain any that are joined
                form = Form(message, english)
                (self.lines if english.endswith("\n") else self.phrases).append(form)
        self.used = set()
        self.unknown = []
        self.explained = {}

    def fill(self, form, found):
        message = form.message
        self.used.add(message.id)
        # All of the languages have their form for one thing first.
        one = message.plural and found.group(1) == "1"
        text = message.forms[0 if one else -1]
        values = {number: self.phrase(found.group(group)) for number, group in form.groups.items()}
        order = iter(sorted(values))

        def value(placeholder):
            number, _, conversion, _ = placeholder.groups()
            if not conversion:
                return "%"
            return values[int(number) if number else next(order)]

        return PLACEHOLDER.sub(value, text)

    def explain(self, text):
        """How much of a text without a line end messages explain at best, and its pieces: a message with what it
        matched, or a text that stays. The pieces are joined by ": "."""
        if text in self.explained:
            return self.explained[text]
        best = (0, [text])
        for colon in re.finditer(": ", text):
            left, right = self.explain(text[:colon.start()]), self.explain(text[colon.end():])
            best = max(best, (left[0] + right[0], left[1] + right[1]), key=lambda one: one[0])
        for form in self.phrases:
            found = form.pattern.fullmatch(text)
            if found:
                inside = sum(self.explain(found.group(group))[0] for group in form.groups.values())
                best = max(best, (form.weight + inside, [(form, found)]), key=lambda one: one[0])
        self.explained[text] = best
        return best

    def phrase(self, text):
        """A message without a line end, an argument, or several of them joined by ": "."""
        pieces = self.explain(text)[1]
        return ": ".join(piece if isinstance(piece, str) else self.fill(*piece) for piece in pieces)

    def output(self, text, is_own):
        """The whole of an output; lines that no message explains must be the script's own."""
        result, at = "", 0
        while at < len(text):
            fits = [(form.weight, form, found) for form in self.lines for found in [form.pattern.match(text, at)] if found]
            if fits:
                _, form, found = max(fits, key=lambda fit: fit[0])
                result += self.fill(form, found)
                at = found.end()
                continue
            end = text.find("\n", at) + 1 or len(text)
            line, at = text[at:end].removesuffix("\n"), end
            translated = line if is_own(line) else self.phrase(line)
            if translated == line and not is_own(line):
                self.unknown.append(line)
            result += translated + "\n"
        return result
