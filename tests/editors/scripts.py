"""The sample scripts, what the library's parser says of them, and what vim shows."""
import collections
import glob
import os
import re
import subprocess
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(os.path.dirname(HERE))


def samples():
    found = glob.glob(SOURCE + "/tests/**/*.qrt", recursive=True) + glob.glob(SOURCE + "/examples/**/*.qrt",
                                                                              recursive=True)
    return sorted(found)


def by_script(text):
    """The lines of each script, from text with a line "== PATH" in front of them."""
    parts = re.split(r"(?m)^== (.*)\n", text)
    return {path: lines.split("\n")[:-1] for path, lines in zip(parts[1::2], parts[2::2])}


def parsed(program):
    """For each script how many IFs each line stands in ("-" for an empty one), and the class of each byte."""
    shown = subprocess.run([program, *samples()], capture_output=True, text=True, check=True).stdout
    split = {path: [line.split("\t") for line in lines] for path, lines in by_script(shown).items()}
    return [{path: [parts[which] for parts in lines] for path, lines in split.items()} for which in (0, 1)]


def vim(words, script):
    """What a script of vim writes of all samples."""
    with tempfile.TemporaryDirectory() as folder:
        with open(folder + "/scripts", "w", encoding="utf-8") as file:
            file.write("\n".join(samples()) + "\n")
        environment = {"PATH": os.environ["PATH"], "HOME": folder, "TERM": "dumb", "LC_ALL": "C.UTF-8",
                       "SCRIPTS": folder + "/scripts", "SHOWN": folder + "/shown"}
        done = subprocess.run([*words, "-u", "NONE", "-i", "NONE", "-n", "--cmd",
                               f"set nocompatible runtimepath^={SOURCE}/editors/vim", "-S", HERE + "/" + script],
                              env=environment, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=100,
                              check=False)
        if done.returncode != 0 or not os.path.exists(folder + "/shown"):
            raise SystemExit(f"{words[0]} ends with {done.returncode}: {done.stdout}{done.stderr}")
        with open(folder + "/shown", encoding="utf-8") as file:
            return by_script(file.read())


def read_lines(path):
    with open(path, "rb") as file:
        return [line.rstrip(b"\r") for line in file.read().removesuffix(b"\n").split(b"\n")]


def known_differences(editor):
    with open(HERE + "/known_differences.txt", encoding="utf-8") as file:
        entries = [line.rstrip("\n").split("\t") for line in file if not line.startswith("#")]
    return collections.Counter((script, line) for name, script, line, _ in entries if name == editor)
