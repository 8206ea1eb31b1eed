#!/usr/bin/env python3
"""own_objects.py BUILD PROGRAM PART...: the program is linked from the library's own objects of those parts."""

import re
import subprocess
import sys


def main():
    build, program, *parts = sys.argv[1:]
    commands = subprocess.run(["ninja", "-C", build, "-t", "query", program], capture_output=True, text=True,
                              check=True).stdout
    inputs = set(re.findall(r"^\s+(?:\| )?(\S+\.o)$", commands, re.M))
    missing = [part for part in parts if f"CMakeFiles/qrtscript_objects.dir/{part}.cpp.o" not in inputs]
    others = [one for one in inputs if "qrtscript_objects.dir" not in one
              and any(one.endswith(f"/{part}.cpp.o") for part in parts)]
    for part in missing:
        print(f"{program} is not linked from the library's {part}")
    for one in others:
        print(f"{program} is linked from {one}")
    return 1 if missing or others else 0


if __name__ == "__main__":
    sys.exit(main())
