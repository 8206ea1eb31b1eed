"""The language side by side with shells and other interpreters: the goals W1 to W5 and W8 to W10."""
import os
import shutil

import workloads
from side_by_side import Goal, compare, compare_to_pipe, row, run

INTERPRETERS = {"dash": ["dash"], "bash": ["bash"], "mksh": ["mksh"], "mawk": ["mawk", "-f"], "lua": ["lua5.4"],
                "tcl": ["tclsh"], "perl": ["perl"]}
ENVIRONMENT = {"PATH": os.environ["PATH"], "LC_ALL": "C", "GREETING": "good morning", "PERSON": "jdoe",
               "PLACE": "the office", "A": "1", "B": "2"}
ENVIRONMENT |= {f"SITE_VARIABLE_{number}": "value" for number in range(30)}  # a session has some forty


class Language:
    def __init__(self, build, folder, quick):
        self.script, self.limit = build + "/bench/script", build + "/bench/limit"
        self.folder, self.quick = folder, quick
        self.rounds = 5 if quick else 15
        self.table = {}

    def write(self, name, text):
        path = f"{self.folder}/{name}"
        with open(path, "w") as file:
            file.write(text)
        return path

    def commands(self, name, texts, mode, count):
        ours = self.write(name + ".login", texts["login"])
        commands = {"C": [self.limit, mode, str(count) if mode == "loop" else ours], "this": [self.script, ours]}
        for peer, interpreter in INTERPRETERS.items():
            commands[peer] = [*interpreter, self.write(f"{name}.{peer}", texts[peer])]
        return commands

    def measure(self, title, texts, mode, count=0, pipe=False):
        commands = self.commands(title.split()[0], texts, mode, count)
        medians = (compare_to_pipe if pipe else compare)(commands, ENVIRONMENT, self.rounds)
        row(title, medians)
        self.table[title] = medians
        return medians

    def goals(self):
        part = 5 if self.quick else 1  # shorter scripts: the ratios stay
        times = self.measure("start of an empty script", workloads.empty(0), "print")
        Goal("start: processor time, dash = 1", times["this"] / times["dash"], 2)
        peers = lambda times: min(times[peer] for peer in INTERPRETERS)
        count = 200000 // part
        printed = workloads.print_lines(count)
        times = self.measure("W1 print, to /dev/null", printed, "print")
        Goal("W1: processor time, fastest peer = 1", times["this"] / peers(times), 1)
        Goal("W1: processor time, C = 1", times["this"] / times["C"], 2.5)
        self.measure("W1 print, to a pipe", printed, "print", pipe=True)
        times = self.measure("W2 print with three references", workloads.print_references(count), "print")
        Goal("W2: processor time, fastest peer = 1", times["this"] / peers(times), 1)
        times = self.measure("W3 counting loop by GOTO", workloads.count_loop(count), "loop", count)
        Goal("W3: processor time, dash = 1", times["this"] / times["dash"], 1)
        times = self.measure("W4 nested IF / ELSE / END", workloads.nested(100000 // part), "nested")
        Goal("W4: processor time, fastest peer = 1", times["this"] / peers(times), 1)
        times = self.measure("W5 programs with #", workloads.programs(2000 // part), "programs")
        Goal("W5: processor time, posix_spawn = 1", times["this"] / times["C"], 1.05)
        self.large_caller()
        self.growth()

    def ours(self, commands):
        return compare(commands, ENVIRONMENT, self.rounds, same=False)

    def large_caller(self):
        """A program of a script in a caller with 1 GiB of memory against one in a small caller."""
        many = self.write("many.login", "#/bin/true\n" * 200)
        none = self.write("none.login", "REM\n")
        commands = {f"{name}{size or ' small'}": [self.script, path] + ([size] if size else [])
                    for name, path in (("many", many), ("none", none)) for size in ("", "heap")}
        times = self.ours(commands)
        small, large = (times["many" + size] - times["none" + size] for size in (" small", "heap"))
        row("200 programs, in a caller of", {"a few MB": small, "1 GiB": large})
        Goal("a program in a caller with 1 GiB, in a small one = 1", large / small, 1.2)

    def growth(self):
        short, long = (self.write(f"W8-{size}.login", workloads.print_lines(37000 * size)["login"]) for size in (1, 10))
        times = self.ours({"1 MB": [self.script, short], "10 MB": [self.script, long]})
        row("W8 a long script", times)
        Goal("W8: time for a MB of 10 MB, of 1 MB = 1", times["10 MB"] / times["1 MB"] / 10, 1.2)
        memory = self.memory(long) - self.memory(self.write("none.login", "REM\n"))
        Goal("W8: memory of 10 MB, the text = 1", memory / os.path.getsize(long), 3)
        count = 100000 // (5 if self.quick else 1)
        near, far = (self.write(f"W9-{size}.login", workloads.far_label(count, size)) for size in (1000, 1000000))
        times = self.ours({"1 kB": [self.script, near], "1 MB": [self.script, far]})
        row("W9 jumps to a far label, in", times)
        Goal("W9: a jump in 1 MB, in 1 kB = 1", times["1 MB"] / times["1 kB"], 1.2)
        for title, size, counts in (("one line", 1, (1000, 10000)), ("10 kB", 100, (600, 6000))):
            included = self.write(f"included-{size}.qrt", ("REM " + "x" * 95 + "\n") * size)
            paths = [self.write(f"W10-{n}.login", workloads.includes(n, included, 1000000)) for n in counts]
            times = self.ours({str(n): [self.script, path] for n, path in zip(counts, paths)})
            row(f"W10 INCLUDEs of {title}", times)
            few, many = (times[str(n)] / n for n in counts)
            Goal(f"W10: an INCLUDE of {title} of {counts[1]}, of {counts[0]} = 1", many / few, 1.2)

    def memory(self, path):
        """The most memory that the script program has had, in bytes."""
        run([self.script, path, "memory"], ENVIRONMENT, self.folder + "/memory")
        with open(self.folder + "/memory", "rb") as file:
            return int(file.read().splitlines()[-1]) * 1024


def missing():
    return [name for name, command in INTERPRETERS.items() if shutil.which(command[0]) is None]
