#!/usr/bin/env python3
"""Makes every mutant of the chosen files, one at a time, and runs the unit tests of that file against it.

A mutant is killed when a test fails, crashes or does not end. One that the tests of the release build let live is tried
once more under the sanitizers, as every change has to pass both. Not counted: a mutant that does not compile, and one
whose object code is that of the original. Survivors have to stand in survivors.txt with the reason why they may live.

What came out is kept in build/mutants for as long as the code and the tests stay as they are; --fresh forgets it.
"""

import argparse
import hashlib
import json
import os
import random
import re
import resource
import shlex
import shutil
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import mutants

ROOT = Path(__file__).resolve().parents[2]
SURVIVORS = Path(__file__).with_name("survivors.txt")
KEPT = ROOT / "build" / "mutants"
TESTS = Path("tests/CMakeFiles/unit.dir")
# The tests of each file: those of its own module, and those that see its effects.
FILES = {
    "script/tokenizer.cpp": ["tokenizer*", "grammar", "syntax_error"],
    "script/conditions.cpp": ["conditions*", "control_flow"],
    "script/control_flow.cpp": ["control_flow*", "conditions"],
    "directory/substitution.cpp": ["substitution*"],
    "commands/words.cpp": ["words*"],
    "config/conf_reader.cpp": ["conf_reader*"],
}
ADDRESS_SPACE = 4 << 30
SANITIZED_LIMIT = "hard_rss_limit_mb=2000:allocator_may_return_null=0"


class Results:
    """What came out for the mutants of one file with one build, until any code or test changes."""

    def __init__(self, build, original):
        state = hashlib.sha256(original + Path(build.rest).read_bytes()).hexdigest()
        self.path = KEPT / f"{build.directory.name}-{Path(build.file).stem}-{state[:32]}.json"
        self.known = json.loads(self.path.read_text()) if self.path.exists() else {}

    def of(self, source, find):
        key = hashlib.sha256(source.encode()).hexdigest()
        if key not in self.known:
            self.known[key] = find()
        return self.known[key]

    def save(self):
        KEPT.mkdir(parents=True, exist_ok=True)
        self.path.write_text(json.dumps(self.known))


class Build:
    """One CMake build of the unit tests, of which one object is exchanged."""

    def __init__(self, preset, file, scratch):
        self.directory = ROOT / "build" / preset
        self.file, self.scratch = file, Path(scratch) / preset
        self.scratch.mkdir(exist_ok=True)
        self.sanitized = preset == "sanitizers"
        self.compiler = self.compile_command()
        self.tests = self.test_objects()
        self.linker, self.rest = self.link_command()

    def compile_command(self):
        commands = json.loads((self.directory / "compile_commands.json").read_text())
        words = next(shlex.split(c["command"]) for c in commands if c["file"] == str(ROOT / self.file))
        words = [word for word in words if not re.fullmatch(r"-g\d?|-W.*|\S*/ccache", word)]
        words = words[: words.index("-o")]
        # A function that ends without its value is no C++.
        words += ["-Wno-all", "-Werror=return-type"]
        # The headers are most of a compiler run, and no mutant changes them.
        headers = self.scratch / "headers.h"
        included = re.findall(r"^#include .*\n", (ROOT / self.file).read_text(), re.MULTILINE)
        headers.write_text("".join(included))
        subprocess.run([*words, "-x", "c++-header", headers, "-o", f"{headers}.gch"], cwd=self.directory, check=True)
        return [*words, "-include", str(headers)]

    def test_objects(self):
        found = []
        for module in FILES[self.file]:
            found += sorted((self.directory / TESTS / "unit").glob(f"{module}_test.cpp.o"))
        return [str(path.relative_to(self.directory)) for path in found]

    def link_command(self):
        lines = subprocess.run(
            ["ninja", "-C", str(self.directory), "-t", "commands", "-s", "tests/unit"],
            check=True, capture_output=True, text=True,
        ).stdout.splitlines()  # fmt: skip
        words = shlex.split(lines[-1])
        words = words[words.index("&&") + 1 :]
        words = words[: words.index("-o")] + words[words.index("-o") + 2 : words.index("&&")]
        mutated = f"CMakeFiles/qrtscript_objects.dir/{self.file}.o"
        kept = [
            word for word in words
            if word != mutated and not (word.startswith(str(TESTS / "unit")) and word.endswith("_test.cpp.o"))
        ]  # fmt: skip
        objects = [word for word in kept if word.endswith(".o")] + self.tests
        rest = self.scratch / "rest.o"
        subprocess.run(["ld", "-r", "-S", "-o", rest, *objects], cwd=self.directory, check=True)
        return [word for word in kept if not word.endswith(".o")], str(rest)

    def compile(self, source, folder):
        """The object code, or None when the source is no C++."""
        folder = Path(folder)
        file, object_file = folder / Path(self.file).name, folder / "mutant.o"
        file.write_text(source)
        done = subprocess.run([*self.compiler, "-o", object_file, "-c", file], cwd=self.directory, capture_output=True)
        return object_file.read_bytes() if done.returncode == 0 else None

    def link(self, folder):
        program = Path(folder) / "program"
        head, libraries = self.linker[:1], self.linker[1:]
        subprocess.run(
            [*head, "-fuse-ld=gold", Path(folder) / "mutant.o", self.rest, *libraries, "-o", program],
            cwd=self.directory, check=True, capture_output=True,
        )  # fmt: skip
        return program

    def run(self, program, seconds):
        """Whether the tests pass, and the processor time that they took."""

        def limit():
            resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
            if not self.sanitized:
                resource.setrlimit(resource.RLIMIT_AS, (ADDRESS_SPACE, ADDRESS_SPACE))

        environment = {**os.environ, "GTEST_FAIL_FAST": "1", "GTEST_BRIEF": "1", "ASAN_OPTIONS": SANITIZED_LIMIT}
        with tempfile.TemporaryFile() as out:
            process = subprocess.Popen(
                [program], cwd=self.scratch, env=environment, preexec_fn=limit, start_new_session=True,
                stdin=subprocess.DEVNULL, stdout=out, stderr=subprocess.STDOUT,
            )  # fmt: skip
            try:
                passed = process.wait(timeout=60 + 10 * seconds) == 0
            except subprocess.TimeoutExpired:
                passed = False
            # Children that a mutant left behind go with it.
            try:
                os.killpg(process.pid, 9)
            except ProcessLookupError:
                pass
            process.wait()
            out.seek(0)
            return passed, out.read()


class Target:
    """One file with its two builds."""

    def __init__(self, file, scratch, jobs):
        self.file, self.source = file, (ROOT / file).read_text()
        self.jobs = jobs
        folder = Path(scratch) / Path(file).stem
        folder.mkdir()
        self.folder = folder
        self.limits = {}
        self.release = Build("release", file, folder)
        self.original = self.release.compile(self.source, folder)
        self.measure(self.release)
        self.kept = Results(self.release, self.original)
        self.sanitizers = None

    def measure(self, build):
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        program = build.link(self.folder)
        linked = resource.getrusage(resource.RUSAGE_CHILDREN)
        passed, output = build.run(program, 600)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        if not passed or not re.search(rb"PASSED.*\D[1-9]\d* test", output):
            sys.exit(f"The tests of {self.file} do not pass as it is:\n{output.decode(errors='replace')}")
        used = after.ru_utime + after.ru_stime - linked.ru_utime - linked.ru_stime
        self.limits[build] = 3 + int(4 * used)

    def sanitized(self):
        if self.sanitizers is None:
            self.sanitizers = Build("sanitizers", self.file, self.folder)
            self.kept_sanitized = Results(self.sanitizers, self.sanitizers.compile(self.source, self.folder))
            self.measure(self.sanitizers)
        return self.sanitizers

    def try_on(self, build, source):
        """What becomes of one mutant with one build: "refused", "same", "killed" or "alive"."""
        with tempfile.TemporaryDirectory(dir=self.folder) as folder:
            code = build.compile(source, folder)
            if code is None:
                return "refused"
            if code == self.original:
                return "same"
            passed, _ = build.run(build.link(folder), self.limits[build])
            return "alive" if passed else "killed"

    def try_release(self, mutant):
        source = mutant.apply(self.source)
        return self.kept.of(source, lambda: self.try_on(self.release, source))

    def try_sanitized(self, mutant):
        build, source = self.sanitized(), mutant.apply(self.source)
        return self.kept_sanitized.of(source, lambda: self.try_on(build, source))

    def results(self, chosen):
        with ThreadPoolExecutor(self.jobs) as pool:
            for mutant, result in zip(chosen, pool.map(self.try_release, chosen)):
                yield mutant, self.try_sanitized(mutant) if result == "alive" else result
        self.kept.save()
        if self.sanitizers is not None:
            self.kept_sanitized.save()


def listed_survivors():
    """The entries of survivors.txt by their key, with the reason."""
    entries = {}
    file = ""
    for number, paragraph in enumerate(re.split(r"\n\s*\n", SURVIVORS.read_text())):
        lines = [line for line in paragraph.splitlines() if line and not line.startswith("#")]
        if not lines:
            continue
        if len(lines) == 1:
            file = lines[0]
            continue
        fields = dict(line.strip().split(": ", 1) for line in lines if ": " in line)
        if set(fields) != {"line", "mutation", "reason"}:
            sys.exit(f"{SURVIVORS.name}: paragraph {number + 1} is no entry:\n{paragraph}")
        entries[file, fields["line"], fields["mutation"]] = fields["reason"]
    return entries


def show(mutant):
    print(f"{mutant.file}:{mutant.line_number}\nline: {mutant.line}\nmutation: {mutant.mutation}\n", flush=True)


def arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("files", nargs="*", metavar="FILE", help=f"of {', '.join(FILES)}; default: all")
    parser.add_argument("--sample", type=int, metavar="N", help="try only N mutants, drawn at random")
    parser.add_argument("--seed", type=int, default=1, help="of the draw")
    parser.add_argument("--jobs", type=int, default=len(os.sched_getaffinity(0)))
    parser.add_argument("--fresh", action="store_true", help="forget what came out before")
    parser.add_argument("--list", action="store_true", help="only list the mutants")
    chosen = parser.parse_args()
    for file in chosen.files:
        if file not in FILES:
            parser.error(f"no tests are known for {file}")
    return chosen


def stale_entries(listed, found):
    """Entries that no mutant answers to any more."""
    keys = {mutant.key() for mutant in found}
    files = {mutant.file for mutant in found}
    return [key for key in listed if key not in keys and key[0] in files]


def main():
    options = arguments()
    found = []
    for file in options.files or FILES:
        found += mutants.mutants_of(file, (ROOT / file).read_text())
    listed = listed_survivors()
    stale = stale_entries(listed, found)
    for key in stale:
        print("This entry of survivors.txt belongs to no mutant:", *key, sep="\n  ")
    if options.sample is not None:
        found = random.Random(options.seed).sample(found, min(options.sample, len(found)))
    if options.list:
        for mutant in found:
            show(mutant)
        return 0

    if options.fresh:
        shutil.rmtree(KEPT, ignore_errors=True)
    counts = dict.fromkeys(("refused", "same", "killed", "alive"), 0)
    unlisted, killed_though_listed = 0, []
    started = time.monotonic()
    with tempfile.TemporaryDirectory(prefix="mutants_") as scratch:
        for file in FILES:
            chosen = [mutant for mutant in found if mutant.file == file]
            if not chosen:
                continue
            here = dict.fromkeys(counts, 0)
            for mutant, result in Target(file, scratch, options.jobs).results(chosen):
                here[result] += 1
                if result == "alive" and mutant.key() not in listed:
                    unlisted += 1
                    print("Not listed:")
                    show(mutant)
                elif result == "killed" and mutant.key() in listed:
                    killed_though_listed.append(mutant)
            made = here["killed"] + here["alive"]
            print(f"{file}: {made} made, {here['killed']} killed, {here['alive']} survivors; "
                  f"not counted: {here['refused']} that do not compile, {here['same']} equal in object code", flush=True)  # fmt: skip
            for name, count in here.items():
                counts[name] += count
    for mutant in killed_though_listed:
        print("Listed, but killed now:")
        show(mutant)
    made = counts["killed"] + counts["alive"]
    rate = 100 * counts["killed"] / made if made else 100
    print(f"in {(time.monotonic() - started) / 60:.0f} minutes")
    rest = "all listed" if unlisted == 0 else f"{unlisted} of them not listed"
    print(f"mutants: {made} made, {counts['killed']} killed ({rate:.1f} %), {counts['alive']} survivors, {rest}")
    return 0 if unlisted == 0 and not stale and rate >= 90 else 1


if __name__ == "__main__":
    sys.exit(main())
