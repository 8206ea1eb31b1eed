#!/usr/bin/env python3
"""Names the conflicts of the grammar that came and went.

    scripts/grammar-conflicts.py [REVISION]    compared with language/grammar.y of REVISION, HEAD unless given

A conflict is a place in a rule, or in several, where a token allows two things. What Bison does there comes first, then
what it could have done; the place is the point in the rules below it.
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
GRAMMAR = "language/grammar.y"
STATE = re.compile(r"^State (\d+)$", re.M)
RULE = re.compile(r"^ +(\d+) (.*)$")
ACTION = re.compile(r"^    (\S+) +(\[?)(shift, and go to state \d+|reduce using rule (\d+) \((\S+)\))\]?$", re.M)


def report(text):
    with tempfile.TemporaryDirectory() as folder:
        source = Path(folder, "grammar.y")
        source.write_text(text)
        command = ["bison", "-Wnone", f"--report-file={folder}/report", "--report=states", "-o", f"{folder}/out.c", source]
        subprocess.run(command, check=True)
        return Path(folder, "report").read_text()


def conflicts(text):
    """{(token, what is done, what is not, the rules of the state)}: state and rule numbers change with every rule."""
    found = set()
    parts = STATE.split(report(text))
    for body in parts[2::2]:
        items = []
        left = ""
        for line in body.splitlines():
            if rule := RULE.match(line):
                # "|" stands for the left side of the rule before.
                left = rule[2].split(":")[0] if ":" in rule[2] else left
                items.append(re.sub(r"^\s*\|", f"{left}:", rule[2].strip()))
        actions = {}
        for token, other, what, _, symbol in ACTION.findall(body):
            name = f"reduces to {symbol}" if symbol else "shifts"
            actions.setdefault(token, ([], []))[other == "["].append(name)
        for token, (done, others) in actions.items():
            for what in others:
                found.add((token, " ".join(done), what, "\n".join(sorted(items))))
    return found


def show(title, those):
    print(f"{title}: {len(those)}")
    for token, done, other, rules in sorted(those):
        indented = rules.replace("\n", "\n        ")
        print(f"  before {token} {done or 'nothing'}, not: {other}\n        {indented}")


def main():
    revision = sys.argv[1] if len(sys.argv) > 1 else "HEAD"
    before = subprocess.run(["git", "-C", ROOT, "show", f"{revision}:{GRAMMAR}"], check=True, capture_output=True, text=True)
    old, new = conflicts(before.stdout), conflicts((ROOT / GRAMMAR).read_text())
    show("gone", old - new)
    show("new", new - old)


main()
