"""Runs programs side by side: pairs in turn, medians of processor time, outputs compared before anything is timed."""
import os
import statistics
import sys

TIMES = os.environ.get("BENCH_FOLDER", "/tmp")


class Goal:
    """What is compared with its limit: printed as a line, counted at the end."""
    all = []

    def __init__(self, what, ratio, limit, words="times"):
        self.what, self.ratio, self.limit = what, ratio, limit
        self.met = ratio <= limit
        Goal.all.append(self)
        print(f"  {'met    ' if self.met else 'not met'}  {what}: {ratio:.2f} {words} (at most {limit:g})", flush=True)


def run(command, environment, output):
    """Processor milliseconds of a command, whose standard output becomes a file."""
    descriptor = os.open(output, os.O_WRONLY | os.O_CREAT | os.O_TRUNC)
    child = os.posix_spawnp(command[0], command, environment,
                            file_actions=[(os.POSIX_SPAWN_DUP2, descriptor, 1), (os.POSIX_SPAWN_CLOSE, descriptor)])
    os.close(descriptor)
    _, status, used = os.wait4(child, 0)
    if status != 0:
        sys.exit(f"{' '.join(command)}: status {status}")
    return (used.ru_utime + used.ru_stime) * 1000


def read(path):
    with open(path, "rb") as file:
        return file.read()


def compare(commands, environment, rounds, output="/dev/null", same=True):
    """Medians by name, after all have written the same."""
    first = None
    for name, command in commands.items():
        run(command, environment, TIMES + "/output")
        written = read(TIMES + "/output")
        if first is None:
            first = written
        if same and written != first:
            sys.exit(f"{name} writes something else: {written[:60]!r}, not {first[:60]!r}")
    times = {name: [] for name in commands}
    for _ in range(rounds):
        for name, command in commands.items():
            times[name].append(run(command, environment, output))
    return {name: statistics.median(all_times) for name, all_times in times.items()}


def compare_to_pipe(commands, environment, rounds):
    """The same, with each program writing to a pipe that cat reads; the time is the program's alone."""
    times = {name: [] for name in commands}
    for _ in range(rounds):
        for name, command in commands.items():
            ends = os.pipe()
            null = os.open("/dev/null", os.O_WRONLY)
            reader = os.posix_spawnp("cat", ["cat"], environment, file_actions=[
                (os.POSIX_SPAWN_DUP2, ends[0], 0), (os.POSIX_SPAWN_DUP2, null, 1), (os.POSIX_SPAWN_CLOSE, ends[1])])
            os.close(ends[0])
            times[name].append(run(command, environment, f"/dev/fd/{ends[1]}"))
            os.close(ends[1])
            os.close(null)
            os.waitpid(reader, 0)
    return {name: statistics.median(all_times) for name, all_times in times.items()}


def row(title, medians):
    print(f"{title:34}" + "".join(f"{name} {time:9.1f}   " for name, time in medians.items()), flush=True)
