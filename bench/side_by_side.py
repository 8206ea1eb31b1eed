"""Runs programs side by side: pairs in turn, medians of processor time, outputs compared before anything is timed."""
import ctypes
import os
import statistics
import sys
import time

TIMES = os.environ.get("BENCH_FOLDER", "/tmp")


class Goal:
    """What is compared with its limit: printed as a line, counted at the end."""
    all = []
    not_measured = 0

    def __init__(self, what, ratio, limit, words="times"):
        self.what, self.ratio, self.limit = what, ratio, limit
        self.met = ratio <= limit
        Goal.all.append(self)
        print(f"  {'met    ' if self.met else 'not met'}  {what}: {ratio:.2f} {words} (at most {limit:g})", flush=True)


def become_subreaper():
    """Processes that outlive the program that started them become children of this one, and are counted."""
    ctypes.CDLL(None).prctl(36, 1, 0, 0, 0)  # PR_SET_CHILD_SUBREAPER


class Command(list):
    """A command with variables of its own and a file as its input."""

    def __init__(self, words, variables, typed="/dev/null"):
        super().__init__(words)
        self.variables, self.typed = variables, typed


def run(command, environment, output):
    """Processor milliseconds and elapsed ones of a command, whose standard output becomes a file."""
    written = os.open(output, os.O_WRONLY | os.O_CREAT | os.O_TRUNC)
    typed = os.open(getattr(command, "typed", "/dev/null"), os.O_RDONLY)
    start = time.monotonic()
    child = os.posix_spawnp(command[0], command, environment | getattr(command, "variables", {}), file_actions=[
        (os.POSIX_SPAWN_DUP2, typed, 0), (os.POSIX_SPAWN_DUP2, written, 1), (os.POSIX_SPAWN_CLOSE, written)])
    os.close(written)
    os.close(typed)
    _, status, used = os.wait4(child, 0)
    elapsed = time.monotonic() - start
    if status != 0:
        sys.exit(f"{' '.join(command)}: status {status}")
    return (used.ru_utime + used.ru_stime + time_of_left_children()) * 1000, elapsed * 1000


KNOWN_CHILDREN = set()  # the servers


def time_of_left_children():
    """Processor seconds of what a program has left behind, such as a process that shows its output."""
    with open(f"/proc/self/task/{os.getpid()}/children") as file:
        left = {int(word) for word in file.read().split()} - KNOWN_CHILDREN
    seconds = 0
    for child in left:
        _, _, used = os.wait4(child, 0)
        seconds += used.ru_utime + used.ru_stime
    return seconds


def read(path):
    with open(path, "rb") as file:
        return file.read()


def compare_lines(commands, environment, beginning):
    """Ends unless all commands write the same lines of those that begin so."""
    written = {}
    for name, command in commands.items():
        run(command, environment, TIMES + "/output")
        lines = [line for line in read(TIMES + "/output").splitlines() if line.startswith(beginning)]
        written[name] = lines
    first = next(iter(written.values()))
    for name, lines in written.items():
        if lines != first or (beginning and not lines):
            sys.exit(f"{name} writes {lines}, not {first}")


def compare(commands, environment, rounds, output="/dev/null", same=True, elapsed=False, before=lambda: None):
    """Medians of processor time by name, after all have written the same; with `elapsed` those of both times. `before`
    is called before each run."""
    if same:
        compare_lines(commands, environment, b"")
    times = {name: [] for name in commands}
    for _ in range(rounds):
        for name, command in commands.items():
            before()
            times[name].append(run(command, environment, output))
    processor, whole = ({name: statistics.median(one[which] for one in all_times) for name, all_times in times.items()}
                        for which in (0, 1))
    return (processor, whole) if elapsed else processor


def compare_to_pipe(commands, environment, rounds):
    """The same, with each program writing to a pipe that cat reads; the time is the program's alone."""
    times = {name: [] for name in commands}
    for _ in range(rounds):
        for name, command in commands.items():
            ends = os.pipe()
            null = os.open("/dev/null", os.O_WRONLY)
            reader = os.posix_spawnp("cat", ["cat"], environment, file_actions=[
                (os.POSIX_SPAWN_DUP2, ends[0], 0), (os.POSIX_SPAWN_DUP2, null, 1), (os.POSIX_SPAWN_CLOSE, ends[1])])
            KNOWN_CHILDREN.add(reader)
            os.close(ends[0])
            times[name].append(run(command, environment, f"/dev/fd/{ends[1]}")[0])
            os.close(ends[1])
            os.close(null)
            os.waitpid(reader, 0)
            KNOWN_CHILDREN.discard(reader)
    return {name: statistics.median(all_times) for name, all_times in times.items()}


def row(title, medians):
    print(f"{title:34}" + "".join(f"{name} {median:9.1f}   " for name, median in medians.items()), flush=True)
