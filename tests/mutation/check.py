#!/usr/bin/env python3
"""Makes mutants of the product's files, one at a time, and runs the suites that see the file against it.

A mutant is killed when a test fails, crashes or does not end. One that the tests of the release build let live is tried
once more under the sanitizers, as every change has to pass both. Not counted: a mutant that does not compile, one whose
object code is that of the original, and one that survivors.txt lists as changing nothing. All survivors have to stand
there.

Each is tried in a world of its own (world.sh), in the build folders as they are. What came out is kept in build/mutants
for as long as the code and the tests stay as they are, so that a run that is broken off goes on where it was.
"""

import argparse
import hashlib
import json
import os
import random
import re
import shlex
import shutil
import subprocess
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import mutants
import suites

ROOT = suites.ROOT
HERE = Path(__file__).parent
SURVIVORS = HERE / "survivors.txt"
KEPT = ROOT / "build" / "mutants"
LAST = KEPT / "survivors.json"
SAMPLE = 100
# Under the sanitizers, which look for what is read or written beyond its end, these would only take long.
SLOW = "-*Large*:*Limit*:*StepByStep*"
ADDRESS_SPACE = 4 << 30
# Of processor time, for a suite whose usual time is not known.
MOST_SECONDS = 100


def in_a_world(job):
    done = subprocess.run(
        [HERE / "world.sh", ROOT, "python3", "-B", HERE / "attempt.py"], input=json.dumps(job), text=True,
        stdout=subprocess.PIPE, stderr=subprocess.PIPE,
    )  # fmt: skip
    if done.returncode != 0:
        sys.exit(f"{job['file']}: {done.stderr}")
    return json.loads(done.stdout)


class Build:
    """One CMake build of the product and its tests."""

    def __init__(self, preset, verbose):
        self.verbose = verbose
        self.directory = Path("build", preset)
        self.sanitized = preset == "sanitizers"
        self.commands = json.loads((ROOT / self.directory / "compile_commands.json").read_text())
        self.lock = threading.Lock()
        self.limits, self.originals = {}, {}
        self.kept = KEPT / f"{preset}-{self.state()}.json"
        self.known = json.loads(self.kept.read_text()) if self.kept.exists() else {}

    def state(self):
        found = hashlib.sha256()
        names = [*(f"tests/{suite}" for suite in sorted(suites.all_suites())), *suites.RUN]
        built = [path for name in names for path in sorted((ROOT / self.directory).glob(name))]
        for path in built + [path for name in suites.CASES for path in sorted(ROOT.glob(name))]:
            found.update(path.read_bytes())
        return found.hexdigest()[:32]

    def compile_commands(self, file):
        """One for each object that is made of the file: a program's part may be part of a suite too."""
        source = f"{self.directory}/generated/language/grammar.tab.cpp" if file.endswith(".y") else file
        commands = [shlex.split(c["command"]) for c in self.commands if c["file"] == str(ROOT / source)]
        built = [words for words in commands if (ROOT / self.directory / words[words.index("-o") + 1]).exists()]
        # A function that ends without its value is no C++.
        return [
            [*(word for word in words if not re.fullmatch(r"-g\d?|-W.*|\S*ccache", word)), "-Werror=return-type"]
            for words in built
        ]  # fmt: skip

    def known_suites(self, file):
        return [suite for suite in suites.suites_of(file) if not self.sanitized or suite in suites.SANITIZED]

    def tried_suites(self, file):
        """The tests beside the file first, then the others."""
        known = self.known_suites(file)
        tried = [self.run_of(suite, kin) for suite in known if (kin := suites.kin(file, suite))]
        if not self.sanitized or not tried or file in suites.WHOLE_UNDER_SANITIZERS:
            tried += [run for suite in known for run in self.whole(suite)]
        return tried

    def whole(self, suite):
        first = suites.FIRST.get(suite)
        return [self.run_of(suite, first), self.run_of(suite, f"*-{first}")] if first else [self.run_of(suite, "*")]

    def run_of(self, suite, tests):
        used = self.limits.get(suite, MOST_SECONDS)
        if self.sanitized:
            tests += SLOW if "-" not in tests else SLOW.replace("-", ":")
        return {
            "suite": suite, "target": f"tests/{suite}", "filter": tests, "processor": 10 + int(4 * used),
            "apart": suite in suites.APART, "arguments": suites.ARGUMENTS.get(suite, []),
        }  # fmt: skip

    def job(self, file, source, tried):
        return {
            "file": file, "source": source, "build": str(self.directory), "compile": self.compile_commands(file),
            "original": self.originals.get(file), "suites": tried, "memory": None if self.sanitized else ADDRESS_SPACE,
        }  # fmt: skip

    def measure(self, file):
        """Finds out how long the suites of the file take, which have to pass as it is, and what it compiles to."""
        source = (ROOT / file).read_text()
        with self.lock:
            if file in self.originals:
                return
            # The sanitizers' time is not worth a run without a mistake.
            unknown = [] if self.sanitized else [suite for suite in self.known_suites(file) if suite not in self.limits]
            for runs in [self.whole(suite) for suite in unknown] or [[]]:
                done = in_a_world(self.job(file, source, runs))
                if done["result"] != "alive":
                    sys.exit(f"{file} as it is does not pass: {done.get('by')}\n{done.get('output')}")
                for run in runs:
                    self.limits[run["suite"]] = done["used"]
            self.originals[file] = done["code"]

    def try_mutant(self, mutant):
        """What becomes of it: "refused", "same", "killed" or "alive"."""
        source = mutant.apply((ROOT / mutant.file).read_text())
        key = hashlib.sha256(f"{mutant.file}\n{source}".encode()).hexdigest()
        if key not in self.known:
            self.measure(mutant.file)
            done = in_a_world(self.job(mutant.file, source, self.tried_suites(mutant.file)))
            if self.verbose:
                noticed = done.get("by", "") + " " + done.get("output", "").split("\n")[0]
                place = f"{mutant.file}:{mutant.line_number}: {mutant.mutation}"
                print(f"{done['result']} {noticed}\n  {place}", flush=True)
            with self.lock:
                self.known[key] = done["result"]
                self.save()
        return self.known[key]

    def save(self):
        KEPT.mkdir(parents=True, exist_ok=True)
        whole = self.kept.with_suffix(".new")
        whole.write_text(json.dumps(self.known))
        whole.rename(self.kept)


def results(chosen, options):
    presets = ["release"] if options.quick else ["release", "sanitizers"]
    builds = [Build(preset, options.verbose) for preset in presets]

    def result_of(mutant):
        result = "alive"
        for build in builds:
            if result == "alive" and build.known_suites(mutant.file):
                result = build.try_mutant(mutant)
        return result

    with ThreadPoolExecutor(options.jobs) as pool:
        yield from zip(chosen, pool.map(result_of, chosen))


def listed_survivors():
    """The entries of survivors.txt by their key; True for one that changes nothing."""
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
        if set(fields) not in ({"line", "mutation", "reason"}, {"line", "mutation", "unseen"}):
            sys.exit(f"{SURVIVORS.name}: paragraph {number + 1} is not an entry:\n{paragraph}")
        key = file, fields["line"], fields["mutation"]
        if key in entries:
            sys.exit(f"{SURVIVORS.name}: paragraph {number + 1} is there twice:\n{paragraph}")
        entries[key] = "reason" in fields
    return entries


def show(mutant):
    print(f"{mutant.file}:{mutant.line_number}\nline: {mutant.line}\nmutation: {mutant.mutation}\n", flush=True)


def arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("files", nargs="*", metavar="FILE", help="a file or a folder of the product; default: all")
    parser.add_argument("--sample", type=int, metavar="N", help=f"try N mutants at random; without a FILE {SAMPLE}")
    parser.add_argument("--all", action="store_true", help="try every mutant")
    parser.add_argument("--seed", type=int, default=1, help="of the draw")
    parser.add_argument("--jobs", type=int, default=len(os.sched_getaffinity(0)))
    parser.add_argument("--again", action="store_true", help="only those that no test noticed in the last run")
    parser.add_argument("--quick", action="store_true", help="not under the sanitizers")
    parser.add_argument("--verbose", action="store_true", help="tell of each mutant which suite notices it")
    parser.add_argument("--fresh", action="store_true", help="forget what came out before")
    parser.add_argument("--list", action="store_true", help="only list the mutants")
    parser.add_argument("--check-lists", action="store_true", help="only check survivors.txt and the list of folders")
    options = parser.parse_args()
    known = suites.files()
    chosen = []
    for word in options.files:
        meant = [file for file in known if word.rstrip("/") in (file, str(Path(file).parent))]
        chosen += meant or parser.error(f"{word} is not a file or a folder of the product")
    options.files = chosen or known
    if options.sample is None and not options.all and not options.again and not chosen:
        options.sample = SAMPLE
    return options


def stale_entries(listed, found, files):
    """Entries of these files, or of files that are gone, that no mutant answers to any more."""
    keys = {mutant.key() for mutant in found}
    return [key for key in listed if key not in keys and (key[0] in files or not (ROOT / key[0]).exists())]


def check_lists(stale):
    for key in stale:
        print("This entry of survivors.txt belongs to no mutant:", *key, sep="\n  ")
    unlisted = suites.unlisted_folders()
    for folder in unlisted:
        print(f"suites.py does not tell which suites see {folder}")
    gone = [file for file in suites.EXCEPTIONS if not (ROOT / file).exists()]
    for file in gone:
        print(f"suites.py lists {file}, which does not exist")
    return not stale and not unlisted and not gone


def chosen_of(found, options):
    if options.again:
        last = {tuple(key) for key in json.loads(LAST.read_text())} if LAST.exists() else set()
        found = [mutant for mutant in found if mutant.key() in last]
    if options.sample is not None:
        found = random.Random(options.seed).sample(found, min(options.sample, len(found)))
    return sorted(found, key=lambda mutant: (mutant.file, mutant.start))


class Count:
    def __init__(self):
        self.results = dict.fromkeys(("refused", "same", "killed", "alive"), 0)
        self.listed = 0

    def __str__(self):
        made, killed, alive = self.made(), self.results["killed"], self.results["alive"]
        rest = "" if alive == 0 else f", {self.listed} of them listed"
        return (f"{made} made, {killed} killed ({self.rate():.1f} %), {alive} survivors{rest}; not counted: "
                f"{self.results['refused']} that do not compile, {self.results['same']} that change nothing")  # fmt: skip

    def made(self):
        return self.results["killed"] + self.results["alive"]

    def rate(self):
        return 100 * self.results["killed"] / self.made() if self.made() else 100


def main():
    options = arguments()
    found = []
    for file in options.files:
        found += mutants.mutants_of(file, (ROOT / file).read_text())
    listed = listed_survivors()
    lists_are_right = check_lists(stale_entries(listed, found, options.files))
    if options.check_lists:
        return 0 if lists_are_right else 1
    chosen = chosen_of(found, options)
    if options.list:
        for mutant in chosen:
            show(mutant)
        return 0

    if options.fresh:
        shutil.rmtree(KEPT, ignore_errors=True)
    KEPT.mkdir(parents=True, exist_ok=True)
    folders, whole = {}, Count()
    alive, killed_though_listed = [], []
    started = time.monotonic()
    for mutant, result in results(chosen, options):
        for count in (folders.setdefault(str(Path(mutant.file).parent), Count()), whole):
            changes_nothing = result == "alive" and listed.get(mutant.key(), False)
            count.results["same" if changes_nothing else result] += 1
            count.listed += result == "alive" and listed.get(mutant.key()) is False
        if result == "alive":
            alive.append(mutant.key())
            if mutant.key() not in listed:
                print("Not listed:")
                show(mutant)
        elif result == "killed" and mutant.key() in listed:
            killed_though_listed.append(mutant)
    LAST.write_text(json.dumps(alive))
    for mutant in killed_though_listed:
        print("Listed, but killed now:")
        show(mutant)
    for folder, count in folders.items():
        print(f"{folder}: {count}")
    minutes = (time.monotonic() - started) / 60
    print(f"in {minutes:.0f} minutes, {len(chosen)} of {len(found)} mutants, seed {options.seed}")
    print(f"mutants: {whole}")
    unlisted = [key for key in alive if key not in listed]
    return 0 if not unlisted and lists_are_right and whole.rate() >= 90 else 1


sys.exit(main())
