#!/usr/bin/env python3
"""figures.py REPORT.json UNCOVERED.txt

Prints what the tests reach of the library, file by file, from gcovr's report, and holds it to the floors below and to
the list of what is not reached: each line that is not executed, or has a branch that is not taken, stands in the list
with its reason, and nothing else does. The last line is the whole figure; the exit status is 0 when all of this holds.
"""
import collections
import json
import os
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDERS = (ROOT / "cmake/floors.txt").read_text().split()
LEAST = 95.0
# Here a mistake is silent, since every script passes through: nothing may be left out.
WHOLE = ("language/tokenizer.cpp", "language/grammar.y", "script/conditions.cpp", "directory/substitution.cpp",
         "base/words.cpp")

Line = collections.namedtuple("Line", "number executed taken branches")


def read_report(path):
    """{file: [Line]}; a line that stands in several objects counts once, with the best of each."""
    files = {}
    for file in json.load(open(path))["files"]:
        name = file["file"].replace("build/coverage/", "")
        if name.split("/")[0] not in FOLDERS:
            continue
        lines = []
        for line in file["lines"]:
            if line.get("gcovr/noncode") or line.get("gcovr/excluded"):
                continue
            branches = line.get("branches", [])
            lines.append(Line(line["line_number"], line["count"] > 0, sum(b["count"] > 0 for b in branches),
                              len(branches)))
        if lines:
            files[name] = lines
    return files


def read_list(path):
    """{(file, text): reason}. An entry is a line "file: text of the line" and an indented reason."""
    entries, key = {}, None
    for line in open(path):
        if line.startswith("#") or not line.strip():
            continue
        if line[0] != " ":
            file, text = line.rstrip("\n").split(": ", 1)
            key = (file, " ".join(text.split()))
            entries[key] = ""
        else:
            entries[key] += line.strip()
    return entries


def sums(lines):
    return (sum(line.executed for line in lines), len(lines), sum(line.taken for line in lines),
            sum(line.branches for line in lines))


def percent(part, whole):
    return 100.0 * part / whole if whole else 100.0


def row(name, figures):
    executed, lines, taken, branches = figures
    return (f"{name:36} {executed:5}/{lines:<5} {percent(executed, lines):6.2f} %  "
            f"{taken:5}/{branches:<5} {percent(taken, branches):6.2f} %")


def missing_lines(files):
    """{(file, text): [number]} of what is not reached."""
    missing = collections.defaultdict(list)
    for name, lines in files.items():
        source = open(name).read().split("\n")
        for line in lines:
            if not line.executed or line.taken < line.branches:
                missing[name, " ".join(source[line.number - 1].split())].append(line)
    return missing


def main():
    files, listed = read_report(sys.argv[1]), read_list(sys.argv[2])
    faults = []
    print(f"{'file':36} {'lines':^20}  {'branches':^20}")
    for name in sorted(files):
        print(row(name, sums(files[name])))
    total = sums([line for lines in files.values() for line in lines])
    print(row("all", total))
    for name in WHOLE:
        if name not in files:
            faults.append(f"{name}: no counters")
        else:
            executed, lines, taken, branches = sums(files[name])
            if executed < lines or taken < branches:
                faults.append(f"{name}: has to be reached wholly")
    if percent(total[2], total[3]) < LEAST:
        faults.append(f"less than {LEAST} % of the branches")
    missing = missing_lines(files)
    for (name, text), lines in sorted(missing.items()):
        if (name, text) not in listed:
            for line in lines:
                faults.append(f"{name}:{line.number}: not reached and not listed "
                              f"({line.taken}/{line.branches} branches): {text}")
    for (name, text), reason in sorted(listed.items()):
        if (name, text) not in missing:
            faults.append(f"{name}: listed as not reached, but it is, or is no more: {text}")
        if not reason:
            faults.append(f"{name}: listed without a reason: {text}")
    for fault in faults:
        print(fault)
    executed, lines, taken, branches = total
    print(f"coverage: {executed}/{lines} lines ({percent(executed, lines):.2f} %), {taken}/{branches} branches "
          f"({percent(taken, branches):.2f} %), {len(listed)} places listed as not reached, {len(faults)} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
