#!/usr/bin/env python3
"""make-completions.py BUILD_DIR FILE...: writes completions for qrtlogin, map and qrtscript. Each FILE is for the shell that
its folder is called after: bash/PROGRAM, zsh/_PROGRAM or fish/PROGRAM.fish.

Options, their arguments and what they are for come from what the programs in BUILD_DIR say with --help, the subcommands
from "qrtscript help"."""
import os
import re
import subprocess
import sys
from dataclasses import dataclass, field

# What an argument of this name is; any other is not completed.
KINDS = {"FILE": "file", "SCRIPT": "file", "OTHERSCRIPT": "file", "DIRECTORY": "directory", "DIR": "directory",
         "FOLDER": "directory", "USER": "user", "ADMIN": "user", "COMMAND": "command"}


@dataclass
class Option:
    names: list
    argument: str  # what --help calls it; empty for none
    optional: bool  # the argument may be left out, and is given after "=" only
    text: str

    @property
    def kind(self):
        return KINDS.get(re.split(r"\W", self.argument)[0], "")

    def listed(self):
        """Where the values are that the end of the text lists: "... as text (the default), gcc, json"."""
        one = r"[a-z][a-z0-9-]*(?: \([^()]*\))?"
        return self.argument and re.search(rf"(?:^|: | as )({one}(?:(?:,| or|, or) {one})+)$", self.text)

    @property
    def values(self):
        found = self.listed()
        return re.findall(r"(?:^|, |or )([a-z][a-z0-9-]*)", re.sub(r" \([^()]*\)", "", found[1])) if found else []

    @property
    def summary(self):
        found = self.listed()
        text = self.text[:found.start()] or self.argument if found else self.text
        return re.split(r"[;.](?: |$)| \(default", text)[0]


@dataclass
class Command:
    """A program, or a subcommand of one."""
    name: str
    summary: str = ""
    options: list = field(default_factory=list)
    operands: list = field(default_factory=list)  # kinds, in the order of the usage
    words: list = field(default_factory=list)     # that may stand for an operand
    subcommands: list = field(default_factory=list)


def shown(words, needed=True):
    # Each option in one line, whatever the user's own settings are.
    variables = {**os.environ, "LC_ALL": "C", "LANGUAGE": "",
                 "ARGP_HELP_FMT": "short-opt-col=2,long-opt-col=6,opt-doc-col=70,rmargin=10000"}
    done = subprocess.run(words, env=variables, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60)
    if done.returncode != 0 and needed:
        raise RuntimeError(f"{words}: {done.stdout}{done.stderr}")
    return done.stdout if done.returncode == 0 else ""


def described_by_argp(name, text, summary=""):
    command = Command(name, summary)
    for line in text.splitlines():
        # The list of options ends with those of argp itself.
        if not line and any("--usage" in option.names for option in command.options):
            break
        usage = re.match(r"(?:Usage:|  or:)\s+(.*)", line)
        if usage:
            for word in re.findall(r"[A-Z]{2,}", re.sub(r"\[OPTION\.\.\.\]|--[a-z-]+[ =][A-Z]+", "", usage[1])):
                if KINDS.get(word) and KINDS[word] not in command.operands:
                    command.operands.append(KINDS[word])
        option = re.match(r" {2,6}(-\S.*?)(?: {2,}(.*))?$", line)
        if option:
            heads = [re.fullmatch(r"(--?[^\s=\[]+)(?:\[?[= ](.+?)\]?)?", head) for head in option[1].split(", ")]
            argument = next((head[2] for head in heads if head[2]), "")
            command.options.append(Option([head[1] for head in heads if head[1] != "-?"], argument,
                                          "[=" in option[1], option[2] or ""))
    return command


def described_map(text):
    """It has no table of options: what it takes stands in the lines that show how it is called."""
    command = Command("map")
    for word, line in re.findall(r"^  map (--[a-z]+)(.*)$", text, re.M):
        command.options.append(Option([word], "", False, re.split(r" {2,}", line)[-1]))
    command.options += [Option(["--help"], "", False, "Give this help list"),
                        Option(["--version"], "", False, "Print program version")]
    command.words = sorted(set(re.findall(r"\bmap ([A-Z]{3,})\b", text) + re.findall(r"\b([A-Z]{3,}) OFF\b", text)))
    return command


def described_qrtscript(program):
    command = Command("qrtscript", options=[Option(["--help"], "", False, "Give this help list"),
                                            Option(["--version"], "", False, "Print program version")])
    for name, summary in re.findall(r"^  (\S+) {2,}(.*)$", shown([program, "help"]), re.M):
        text = shown([program, name, "--help"], needed=False)
        one = described_by_argp(name, text, summary)
        if name == "explain-code":
            one.words = re.findall(r"^(QS\d+) ", shown([program, name]), re.M)
        command.subcommands.append(one)
    return command


# ---- bash ----

BASH_WAYS = {"file": "compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -f -- \"$current\")",
             "directory": "compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -d -- \"$current\")",
             "user": "mapfile -t COMPREPLY < <(compgen -u -- \"$current\")",
             "command": "mapfile -t COMPREPLY < <(compgen -c -- \"$current\")"}


def bash_words(words):
    return f"mapfile -t COMPREPLY < <(compgen -W '{' '.join(words)}' -- \"$current\")"


def bash_way(option):
    way = bash_words(option.values) if option.values else BASH_WAYS.get(option.kind, "")
    return way and way + "; "


def bash_names(option):
    """As the function has them in `option`: with the "=" that stands behind."""
    return [name for name in option.names if not option.optional] + [
        name + "=" for name in option.names if name.startswith("--")]


def bash_command(command, indent):
    lines = []
    if any(option.argument for option in command.options):
        lines += ["case $option in"] + [f"    {' | '.join(bash_names(option))}) {bash_way(option)}return ;;"
                                        for option in command.options if option.argument] + ["esac"]
    names = [name + ("=" if option.argument and not option.optional else "") for option in command.options for name in option.names
             if name.startswith("--")]
    lines += ["if [[ $current == -* && -z $dashes ]]; then", "    " + bash_words(names),
              "    [[ ${COMPREPLY[0]} != *= ]] || compopt -o nospace 2>/dev/null", "    return", "fi"]
    if "command" in command.operands:
        lines += ["if [[ -n $dashes ]]; then", "    " + BASH_WAYS["command"], "    return", "fi"]
    if command.words:
        lines.append(bash_words(command.words))
    lines += [BASH_WAYS[kind] for kind in command.operands if kind != "command"][:1]
    if command.subcommands:
        lines.append(bash_words([one.name for one in command.subcommands] + ["help"]))
    return "".join(f"{indent}{line}\n" for line in lines)


def bash(command):
    text = f"""# bash completion for {command.name}; made from its --help.
_{command.name}()
{{
    local current=${{COMP_WORDS[COMP_CWORD]}} option= dashes= index
    COMPREPLY=()
    for ((index = 1; index < COMP_CWORD; index++)); do
        [[ ${{COMP_WORDS[index]}} != -- ]] || dashes=yes
    done
    # "=" is a word of its own.
    if [[ -z $dashes && $current == = ]]; then
        option=${{COMP_WORDS[COMP_CWORD - 1]}}= current=
    elif [[ -z $dashes && ${{COMP_WORDS[COMP_CWORD - 1]}} == = ]]; then
        option=${{COMP_WORDS[COMP_CWORD - 2]}}=
    elif [[ -z $dashes ]]; then
        option=${{COMP_WORDS[COMP_CWORD - 1]}}
    fi
"""
    if command.subcommands:
        text += "    if ((COMP_CWORD > 1)); then\n        case ${COMP_WORDS[1]} in\n"
        for one in command.subcommands:
            text += f"            {one.name})\n{bash_command(one, ' ' * 16)}                ;;\n"
        text += "        esac\n        return\n    fi\n"
    return text + bash_command(command, "    ") + f"}}\ncomplete -F _{command.name} {command.name}\n"


# ---- zsh ----

ZSH_WAYS = {"file": "_files", "directory": "_files -/", "user": "_users", "command": "_normal"}


def zsh_quoted(text):
    return "'" + text.replace("'", "'\\''") + "'"


def zsh_escaped(text):
    return re.sub(r"([\[\]:\\])", r"\\\1", text)


def zsh_option(option):
    way = f"({' '.join(option.values)})" if option.values else ZSH_WAYS.get(option.kind, " ")
    argument = f"{':' if option.optional else ''}:{zsh_escaped(option.argument)}:{way}" if option.argument else ""
    alone = f"({' '.join(option.names)})"
    forms = {"-": "+", "--": "=-" if option.optional else "="}
    specifications = []
    for name in option.names:
        form = forms["--" if name.startswith("--") else "-"] if option.argument else ""
        repeated = "*" if "repeated" in option.text else ""
        specifications.append(zsh_quoted(f"{repeated or alone}{name}{form}[{zsh_escaped(option.summary)}]{argument}"))
    return specifications


def zsh_command(command, indent):
    lines = [one for option in command.options for one in zsh_option(option)]
    if command.words:
        lines.append(zsh_quoted(f"*:ITEM:({' '.join(command.words)})"))
    if "command" in command.operands:
        others = [kind for kind in command.operands if kind != "command"]
        lines += [zsh_quoted(f"{number}:{kind}:{ZSH_WAYS[kind]}") for number, kind in enumerate(others, 1)]
        lines.append(zsh_quoted("*:::command:_normal"))
    elif command.operands:
        lines.append(zsh_quoted(f"*:{command.operands[0]}:{ZSH_WAYS[command.operands[0]]}"))
    if not lines:
        return f"{indent}_message argument\n"
    return " \\\n".join([f"{indent}_arguments -s -S"] + [f"{indent}    {line}" for line in lines]) + "\n"


def zsh(command):
    text = f"#compdef {command.name}\n# Made from its --help.\n"
    if not command.subcommands:
        return text + zsh_command(command, "")
    text += f"""local curcontext=$curcontext state state_descr line
typeset -A opt_args
_arguments -C \\
    {" ".join(one for option in command.options for one in zsh_option(option))} \\
    '1:subcommand:->subcommand' \\
    '*::argument:->argument' && return
case $state in
    subcommand)
        local -a subcommands=(
"""
    for one in command.subcommands:
        text += f"            {zsh_quoted(one.name + ':' + one.summary.replace(':', chr(92) + ':'))}\n"
    text += "        )\n        _describe subcommand subcommands\n        ;;\n    argument)\n        case $words[1] in\n"
    for one in command.subcommands:
        text += f"            {one.name})\n{zsh_command(one, ' ' * 16)}                ;;\n"
    return text + "        esac\n        ;;\nesac\n"


# ---- fish ----

FISH_WAYS = {"file": "-F", "directory": "-a '(__fish_complete_directories (commandline -ct))'",
             "user": "-a '(__fish_complete_users)'"}


def fish_quoted(text):
    return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"


def fish_command(command, start):
    text = ""
    for option in command.options:
        words = [("-l " + name[2:]) if name.startswith("--") else ("-s " + name[1:]) for name in option.names]
        if option.argument and not option.optional:
            words.append("-r -F" if option.kind == "file" and not option.values else "-x")
        if option.values:
            words.append("-a " + fish_quoted(" ".join(option.values)))
        elif option.argument and option.kind in ("directory", "user"):
            words.append(FISH_WAYS[option.kind])
        text += f"{start} {' '.join(words)} -d {fish_quoted(option.summary)}\n"
    return text


def fish_operands(command, start):
    text = ""
    if command.words:
        text += f"{start} -a {fish_quoted(' '.join(command.words))}\n"
    if "command" in command.operands:
        text += f"{start} -n 'contains -- -- (commandline -opc)' -a '(__fish_complete_command)'\n"
        start += " -n 'not contains -- -- (commandline -opc)'"
    others = [kind for kind in command.operands if kind != "command"]
    return text + "".join(f"{start} {FISH_WAYS[kind]}\n" for kind in others[:1])


def fish(command):
    start = f"complete -c {command.name}"
    text = f"# fish completion for {command.name}; made from its --help.\n{start} -f\n"
    if not command.subcommands:
        return text + fish_command(command, start) + fish_operands(command, start)
    text += fish_command(command, start + " -n __fish_use_subcommand")
    for one in command.subcommands:
        text += f"{start} -n __fish_use_subcommand -a {one.name} -d {fish_quoted(one.summary)}\n"
    for one in command.subcommands:
        # The first word, not any: a file may be called like a subcommand.
        inside = f"{start} -n 'test (commandline -opc)[2] = {one.name} 2>/dev/null'"
        text += fish_command(one, inside) + fish_operands(one, inside)
    return text


def main():
    build, *paths = sys.argv[1:]
    commands = {"qrtlogin": described_by_argp("qrtlogin", shown([build + "/qrtlogin", "--help"])),
                "map": described_map(shown([build + "/map", "--help"])),
                "qrtscript": described_qrtscript(build + "/qrtscript")}
    for command in commands.values():
        if len(command.options) + len(command.subcommands) < 2:
            raise RuntimeError(f"the help of {command.name} is not as expected")
    for path in paths:
        folder, name = os.path.split(path)
        form = {"bash": bash, "zsh": zsh, "fish": fish}[os.path.basename(folder)]
        os.makedirs(folder, exist_ok=True)
        with open(path, "w", encoding="utf-8") as file:
            file.write(form(commands[name.removeprefix("_").removesuffix(".fish")]))


if __name__ == "__main__":
    main()
