#!/usr/bin/env python3
"""use_vim.py EDITOR: what a person does in a script, with vim or nvim: use.vim does it, and this says what comes of it."""
import os
import subprocess
import sys
import tempfile

from scripts import HERE, SOURCE

WANTED = r"""file type: 'qrtscript'
formatprg: 'qrtscript fmt -'
makeprg: 'qrtscript check --format gcc -- %:S'
comment: 'REM x'
typed: ['IF "a" = "a" THEN', '  WRITE "IF"', 'else', '  IF "b" = "b" THEN EXIT', 'again:', '  GOTO again', 'endif', 'CLS']
remark: ['* one', '* two']
matching: [6, 7, 1]
asked: ['check --format gcc -- use.qrt']
findings: [[2, 3, 'w', 'an IF [QS1001]'], [4, 1, 'n', 'an END [QS1002]']]
"""


def main():
    words = {"vim": ["vim", "-es"], "nvim": ["nvim", "--headless"]}[sys.argv[1]]
    with tempfile.TemporaryDirectory() as folder:
        environment = {"PATH": os.environ["PATH"], "HOME": folder, "TERM": "dumb", "LC_ALL": "C.UTF-8",
                       "SHOWN": folder + "/shown"}
        done = subprocess.run([*words, "-u", "NONE", "-i", "NONE", "-n", "--cmd",
                               f"set nocompatible shiftwidth=8 noexpandtab runtimepath^={SOURCE}/editors/vim",
                               "-c", "syntax on", "-S", HERE + "/use.vim"],
                              cwd=folder, env=environment, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              timeout=100, check=False)
        shown = ""
        if os.path.exists(folder + "/shown"):
            with open(folder + "/shown", encoding="utf-8") as file:
                shown = file.read()
    if done.returncode == 0 and shown == WANTED:
        return 0
    print(f"status {done.returncode}\n{done.stdout}{done.stderr}\n{shown}instead of\n{WANTED}")
    return 1


if __name__ == "__main__":
    sys.exit(main())
