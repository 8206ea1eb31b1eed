#!/usr/bin/env python3
"""server.py QRTSCRIPT: Neovim starts the language server for scripts, and shows what it finds."""
import os
import subprocess
import sys
import tempfile

from scripts import HERE, SOURCE

WANTED = "line 2, columns 1 to 4, severity 1\nclients 1\nclients 1\nservers 1\n"


def run(path, *settings):
    with tempfile.TemporaryDirectory() as folder:
        for name, text in (("mistake.qrt", 'WRITE "one"\nFOO 1\nWRITE "two"\n'), ("other.qrt", 'WRITE "one"\n')):
            with open(f"{folder}/{name}", "w", encoding="utf-8") as file:
                file.write(text)
        environment = {"PATH": path, "HOME": folder, "TERM": "dumb", "LC_ALL": "C.UTF-8", "SHOWN": folder + "/shown"}
        done = subprocess.run(["nvim", "--headless", "-u", "NONE", "-i", "NONE", "-n", "--cmd",
                               f"set runtimepath^={SOURCE}/editors/vim", *settings, "-c", f"luafile {HERE}/server.lua"],
                              cwd=folder, env=environment, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              timeout=100, check=False)
        if not os.path.exists(folder + "/shown"):
            raise SystemExit(f"nvim ends with {done.returncode}: {done.stdout}{done.stderr}")
        with open(folder + "/shown", encoding="utf-8") as file:
            return file.read()


def main():
    path = os.path.dirname(sys.argv[1]) + ":" + os.environ["PATH"]
    shown = run(path)
    # Without waiting for what cannot come.
    off = run(path, "--cmd", "let g:qrtscript_lsp = 0", "--cmd", "lua vim.wait = function() end")
    if shown == WANTED and off == "clients 0\nclients 0\nservers 0\n":
        return 0
    print(f"{shown}instead of\n{WANTED}and, switched off,\n{off}")
    return 1


if __name__ == "__main__":
    sys.exit(main())
