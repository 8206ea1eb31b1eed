#!/usr/bin/env python3
"""colours.py EDITOR SCRIPT_PLACES: what an editor shows of every byte of all sample scripts is what the parser says.

EDITOR is vim, nvim, nano or vscode. What an editor's patterns cannot know is listed in known_differences.txt, in lines of
four parts with tabs between them: the editor, the script, the line, the reason. An entry that is none fails, too."""
import os
import re
import subprocess
import sys

from scripts import HERE, SOURCE, by_script, known_differences, parsed, read_lines, samples, vim

def shown_by_vim(words):
    return vim(words, "show.vim")


def nano(_):
    """Each rule of nano's file paints over those before it, as regexec finds it in a line; grep calls the same."""
    with open(SOURCE + "/editors/nano/qrtscript.nanorc", encoding="utf-8") as file:
        rules = re.findall(r'^(i?)color (\S+) (".*")$', file.read(), re.M)
    letters = {"brightcyan": "K", "green": "Q", "brightmagenta": "I", "brightyellow": "L", "brightblue": "R",
               "normal": "."}
    texts = {path: read_lines(path) for path in samples()}
    everything = b"".join(line + b"\n" for lines in texts.values() for line in lines)
    classes = bytearray(b"." * len(everything))
    for ignore_case, colour, expressions in rules:
        for expression in re.findall(r'"(.*?)"(?= "|$)', expressions):
            words = ["grep", "-aboE", *(["-i"] if ignore_case else []), "-e", expression]
            done = subprocess.run(words, input=everything, env={**os.environ, "LC_ALL": "C.UTF-8"},
                                  capture_output=True, check=False)
            if done.returncode > 1:
                raise SystemExit(f"{expression}: {done.stderr.decode()}")
            for match in done.stdout.splitlines():
                place, text = match.split(b":", 1)
                classes[int(place):int(place) + len(text)] = letters[colour].encode() * len(text)
    shown, at = {}, 0
    for path, lines in texts.items():
        shown[path] = []
        for line in lines:
            shown[path].append(classes[at:at + len(line)].decode())
            at += len(line) + 1
    return shown


def vscode(_):
    done = subprocess.run(["node", HERE + "/show_textmate.js", *samples()], capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise SystemExit(done.stderr)
    return by_script(done.stdout)


EDITORS = {"vim": (shown_by_vim, ["vim", "-es"]), "nvim": (shown_by_vim, ["nvim", "--headless"]), "nano": (nano, []),
           "vscode": (vscode, [])}


def is_right(said, shown):
    return said in (" ", shown) or (said == "?" and shown in "KIN.")


def differences(said, shown, editor):
    """Of each line that differs: the script, its text, and what both say."""
    for path in samples():
        texts = read_lines(path)
        if said[path] and not len(said[path]) == len(shown[path]) == len(texts):
            raise SystemExit(f"{path}: {len(said[path])}, {len(shown[path])} and {len(texts)} lines")
        for text, right, given in zip(texts, said[path], shown[path]):
            given = given.ljust(len(right), ".")
            if editor == "nano":  # identifiers have no colour of their own, and blanks none
                right = right.replace("N", "I")
                given = "".join(one if byte in b" \t" else other for byte, one, other in zip(text, right, given))
            if not all(map(is_right, right, given)):
                yield os.path.relpath(path, SOURCE), text.decode(errors="replace"), right, given


def main():
    editor, program = sys.argv[1:]
    run, words = EDITORS[editor]
    said, known, failed = parsed(program)[1], known_differences(editor), False
    count = sum(known.values())
    for script, text, right, given in differences(said, run(words), editor):
        if known[(script, text)] > 0:
            known[(script, text)] -= 1
            continue
        failed = True
        print(f"{script}\n  {text}\n  {right}  by the parser\n  {given}  in {editor}")
    for script, text in +known:
        failed = True
        print(f"{script}\n  {text}\n  is listed in known_differences.txt, but does not differ")
    tokens = sum(len(re.findall(r"([KRQILN.?])\1*", line)) for lines in said.values() for line in lines)
    print(f"{editor}: {len(said)} scripts, {tokens} pieces compared, {count} lines with a known difference")
    return 1 if failed or tokens < 1000 else 0


if __name__ == "__main__":
    sys.exit(main())
