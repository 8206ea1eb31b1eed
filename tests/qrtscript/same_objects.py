#!/usr/bin/env python3
"""same_objects.py BUILD_DIR PROGRAM LIBRARY: the planner is linked from the very objects of the library.

The linker's own list of inputs (build.ninja) names each object of libqrtscript for both, and no other object defines a
function of the grammar, the tokenizer, the statements or the run sequence.
"""

import re
import subprocess
import sys
from pathlib import Path

BUILD, PROGRAM, LIBRARY = map(Path, sys.argv[1:])


def inputs(target):
    """The object files and archives that a binary is linked from."""
    query = subprocess.run(["ninja", "-C", BUILD, "-t", "query", target], check=True, capture_output=True, text=True)
    section = query.stdout.split("outputs:")[0]
    return {line.strip().lstrip("| ") for line in section.splitlines() if re.search(r"\.(o|a)$", line)}


def functions(path):
    listed = subprocess.run(["nm", "--defined-only", "--extern-only", "--format=posix", path], check=True,
                            capture_output=True, text=True, cwd=BUILD).stdout
    return {line.split()[0] for line in listed.splitlines() if len(line.split()) > 1 and line.split()[1] == "T"}


def relative(path):
    return str(path.resolve().relative_to(BUILD.resolve()))


own = {name for name in inputs(relative(LIBRARY)) if "/qrtscript_objects.dir/" in name}
linked = inputs(relative(PROGRAM))
mistakes = [f"{name} is not linked" for name in sorted(own - linked)]
if len(own) < 40:
    mistakes.append(f"only {len(own)} objects of the library were found")
of_library = set().union(*(functions(name) for name in own))
# What stands at the seams is under another name.
for name in sorted(linked - own):
    for symbol in sorted(functions(name) & of_library):
        mistakes.append(f"{name} defines {symbol}, too")
print("\n".join(mistakes))
sys.exit(1 if mistakes else 0)
