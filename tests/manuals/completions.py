"""completions.py SOURCE_DIR BUILD_DIR SHELL: what the shell offers for each program, with the completions that are made."""
import os
import re
import subprocess
import sys
import tempfile

from page import help_of, options_of

# What is typed, and what is offered: a set is all of it, a list a part.
CASES = [
    ("qrtlogin --lo", {"--login-script", "--logout"}),
    ("qrtlogin --login-script=sa", {"sales.qrt", "samples"}),
    ("qrtlogin --login-script sa", {"sales.qrt", "samples"}),
    ("qrtlogin --tree=", set()),
    ("qrtlogin --context sa", set()),
    ("qrtlogin ro", ["root"]),
    ("qrtlogin -u ro", ["root"]),
    ("qrtlogin root -- prin", ["printenv"]),
    ("map --", {"--status", "--check", "--help", "--version"}),
    ("map D", {"DEL", "DISPLAY"}),
    ("map E", {"ERRORS"}),
    ("qrtscript ch", {"check"}),
    ("qrtscript check --s", {"--severity"}),
    ("qrtscript check --severity=", {"style", "warning", "error"}),
    ("qrtscript check --severity w", {"warning"}),
    ("qrtscript check -s e", {"error"}),
    ("qrtscript check --format=g", {"gcc", "github"}),
    ("qrtscript check --color=n", {"never"}),
    ("qrtscript check --color sal", {"sales.qrt"}),
    ("qrtscript plan --format ", {"text", "json"}),
    ("qrtscript plan sal", {"sales.qrt"}),
    ("qrtscript put --backup-dir=sa", {"samples"}),
    ("qrtscript export sa", {"samples"}),
    ("qrtscript check sal", {"sales.qrt"}),
    ("qrtscript explain-code QS101", {f"QS101{digit}" for digit in range(10)}),
    ("qrtscript check check --us", {"--user", "--usage"}),
]


def bash(build, folder, lines):
    code = 'source "$0/$1"; name=$1; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); "_$name"; printf "%s\\n" "${COMPREPLY[@]}"'
    for line in lines:
        program, *words = line.split(" ")
        # As readline splits them.
        split = [program] + [part for word in words for part in re.split("(=)", word) if part or not word]
        words = ["bash", "--norc", "--noprofile", "-c", code, build + "/completions/bash", *split]
        yield run(words, folder, "/usr/bin:/bin")


def zsh(build, folder, lines):
    capture = os.path.join(os.path.dirname(os.path.abspath(__file__)), "capture.zsh")
    shown = run(["zsh", "-f", capture, build + "/completions/zsh", *lines], folder, "/usr/bin:/bin")
    answers = re.split(r"^== (.*)\n", shown, flags=re.M)[1:]
    if answers[::2] != lines:
        raise RuntimeError(f"zsh answered: {shown}")
    return answers[1::2]


def fish(build, folder, lines):
    # What it offers has a description.
    code = "for file in $argv[1]/*.fish; source $file; end; complete -C $argv[2]"
    for line in lines:
        words = ["fish", "--no-config", "-c", code, build + "/completions/fish", line]
        yield re.sub(r"\t.*", "", run(words, folder, f"{build}:/usr/bin:/bin"))


def run(words, folder, path):
    variables = {"PATH": path, "LC_ALL": "C.UTF-8", "HOME": folder + "/home", "TERM": "dumb"}
    done = subprocess.run(words, cwd=folder, capture_output=True, text=True, timeout=100, env=variables)
    if done.stderr or done.returncode != 0 and words[0] != "fish":
        raise RuntimeError(f"{words}: {done.returncode} {done.stderr}")
    return done.stdout


def offered(line, shown):
    # An option with an argument ends in "=", a folder in "/"; fish repeats the option in front of its argument.
    start = line.split(" ")[-1].rpartition("=")[0] + "="
    return {word.removeprefix(start).rstrip("=/") for word in shown.splitlines() if word}


def main():
    _, build, name = sys.argv[1:]
    shell, complaints = {"bash": bash, "zsh": zsh, "fish": fish}[name], []
    everything = [("qrtlogin --", help_of(build + "/qrtlogin")), ("qrtscript check --", help_of(build + "/qrtscript", "check"))]
    cases = CASES + [(line, {one for one in options_of(text) if one.startswith("--")}) for line, text in everything]
    with tempfile.TemporaryDirectory() as folder:
        os.mkdir(folder + "/samples")
        os.mkdir(folder + "/home")
        with open(folder + "/sales.qrt", "w", encoding="utf-8"):
            pass
        for (line, wanted), shown in zip(cases, shell(build, folder, [line for line, _ in cases])):
            got = offered(line, shown)
            if not (got == wanted if isinstance(wanted, set) else got.issuperset(wanted)):
                complaints.append(f"{line}: {sorted(got)} instead of {sorted(wanted)}")
    print("\n".join(complaints))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
