#!/usr/bin/env python3
"""indentation.py SCRIPT_PLACES: the lines of all sample scripts, flattened, are indented by vim as the parser nests them.

What an editor cannot know is listed in known_differences.txt, for the editor "indentation"."""
import os
import sys

from scripts import SOURCE, known_differences, parsed, read_lines, samples, vim


def main():
    depths, shown = parsed(sys.argv[1])[0], vim(["vim", "-es"], "indent.vim")
    known, failed, compared = known_differences("indentation"), False, 0
    count = sum(known.values())
    for path in samples():
        for text, right, given in zip(read_lines(path), depths[path], shown[path], strict=True):
            if "-" in (right, given):
                continue
            compared += 1
            script, line = os.path.relpath(path, SOURCE), text.decode()
            if float(right) == float(given):
                continue
            if known[(script, line)] > 0:
                known[(script, line)] -= 1
                continue
            failed = True
            print(f"{script}: level {given} for {right}\n  {line}")
    for script, text in +known:
        failed = True
        print(f"{script}\n  {text}\n  is listed in known_differences.txt, but does not differ")
    print(f"{len(depths)} scripts, {compared} lines compared, {count} with a known difference")
    return 1 if failed or compared < 500 else 0


if __name__ == "__main__":
    sys.exit(main())
