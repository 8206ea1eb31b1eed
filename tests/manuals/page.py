"""What the tests of the manual pages have in common: pages as a reader sees them, and as they are written."""
import os
import re
import subprocess


class Page:
    """A built page, NAME.SECTION, as plain text in long lines."""

    def __init__(self, build, name):
        words = ["man", "--local-file", f"{build}/man/{name}"]
        variables = {"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8", "MANWIDTH": "1000", "MANPAGER": "cat",
                     "MANROFFOPT": "-rHY=0", "MAN_KEEP_FORMATTING": ""}
        self.name = name
        self.text = subprocess.run(words, env=variables, capture_output=True, text=True, check=True).stdout
        # "OPTIONS", and "SUBCOMMANDS/check" for a section in one. A section has the lines of those in it, too.
        self.sections, titles = {}, []
        for line in self.text.splitlines()[1:-1]:
            if re.match(r"\S", line):
                titles = [line.strip()]
                self.sections[titles[0]] = []
                continue
            if re.match(r" {3}\S", line):
                titles = [titles[0], f"{titles[0]}/{line.strip()}"]
            for title in titles:
                self.sections.setdefault(title, []).append(line)

    def entries(self, section):
        """What the section's lists explain: each entry's head, in one line."""
        lines = self.sections.get(section, [])
        return [line.strip() for line, following in zip(lines, lines[1:] + [""])
                if indent(line) and indent(following) > indent(line)]

    def options(self, section):
        """The options that the heads of the section's list name."""
        found = set()
        for head in self.entries(section):
            found.update(re.findall(r"(?:^|, )(--?[a-zA-Z?][a-z-]*)", head))
        return found


def indent(line):
    return len(line) - len(line.lstrip()) if line.strip() else 0


def sources(source):
    """The names of all pages, and of those that only refer to another."""
    files = os.listdir(source + "/man")
    return (sorted(name.removesuffix(".scd") for name in files if name.endswith(".scd")),
            sorted(name for name in files if re.fullmatch(r".*\.[1-8]", name)))


def help_of(program, *words):
    """What --help says; nothing when there is none."""
    variables = {"PATH": "/usr/bin:/bin", "LC_ALL": "C",
                 "ARGP_HELP_FMT": "short-opt-col=2,long-opt-col=6,opt-doc-col=29,rmargin=10000"}
    done = subprocess.run([program, *words, "--help"], env=variables, capture_output=True, text=True, timeout=60)
    return done.stdout if done.returncode == 0 else ""


def options_of(text):
    """The options in a list that argp has made."""
    found = set()
    for line in text.split("\nMandatory or optional arguments")[0].splitlines():
        names = re.match(r"  (?:(-.)(?:, |$)|    )(--[a-z-]+)?", line)
        if names:
            found.update(name for name in names.groups() if name)
    return found
