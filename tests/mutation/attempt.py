#!/usr/bin/env python3
"""Tries one mutant, inside the world that world.sh makes: puts it into the checkout, compiles and links what it is part
of, and runs suites until one fails. Reads what to do as JSON, and writes what came out as a line of JSON.

  {"file": "base/words.cpp", "source": "...", "build": "build/release", "compile": [[...], ...],
   "original": the digest of the original's code, or null,
   "suites": [{"target": "tests/unit", "filter": "*", "processor": seconds,
               "arguments": [...], "apart": whether each test needs a process of its own}, ...],
   "memory": bytes of address space, or null}
"""

import hashlib
import json
import os
import re
import resource
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

SILENCE = 30
SANITIZER_OPTIONS = "hard_rss_limit_mb=2000:allocator_may_return_null=0"


def keep_time(path, before):
    """Ninja shall not see that a file has changed: it would compile again, with other warnings."""
    os.utime(path, ns=(before.st_atime_ns, before.st_mtime_ns))


def generate_parser(job):
    generated = [Path(job["build"], "generated/language", f"grammar.tab.{end}") for end in ("cpp", "h")]
    before = [os.stat(path) for path in generated]
    command = ["cmake", "-DBISON=bison", f"-DGRAMMAR={job['file']}", f"-DOUTPUT={generated[0].with_suffix('')}"]
    done = subprocess.run([*command, "-P", "cmake/grammar.cmake"], capture_output=True)
    if done.returncode == 0:
        for path, stat in zip(generated, before):
            keep_time(path, stat)
    return done.returncode == 0


def object_of(command):
    return command[command.index("-o") + 1]


def compile(job):
    """The digest of the object code, or None."""
    before = os.stat(job["file"])
    Path(job["file"]).write_text(job["source"])
    keep_time(job["file"], before)
    if job["file"].endswith(".y") and not generate_parser(job):
        return None
    code = hashlib.sha256()
    for command in job["compile"]:
        path = Path(job["build"], object_of(command))
        before = os.stat(path)
        if subprocess.run(command, cwd=job["build"], capture_output=True).returncode != 0:
            return None
        keep_time(path, before)
        code.update(path.read_bytes())
    return code.hexdigest()


def remove_what_is_linked(job):
    """So that Ninja links it again."""
    for command in job["compile"]:
        query = ["ninja", "-C", job["build"], "-t", "query", object_of(command)]
        told = subprocess.run(query, check=True, capture_output=True, text=True).stdout
        for output in told.split("  outputs:\n")[1].split():
            Path(job["build"], output).unlink(missing_ok=True)


def link(job, target):
    subprocess.run(["ninja", "-C", job["build"], target], check=True, stdout=sys.stderr)


def limits(job, suite):
    signal.signal(signal.SIGHUP, signal.SIG_DFL)  # also under nohup
    resource.setrlimit(resource.RLIMIT_CPU, (suite["processor"], suite["processor"]))
    # Tests that core files are not written can raise it.
    resource.setrlimit(resource.RLIMIT_CORE, (0, resource.getrlimit(resource.RLIMIT_CORE)[1]))
    if job["memory"]:
        resource.setrlimit(resource.RLIMIT_AS, (job["memory"], job["memory"]))


def run_once(job, suite, tests, *arguments):
    """Whether these tests pass, and what they wrote."""
    environment = {**os.environ, "GTEST_FAIL_FAST": "1", "GTEST_FILTER": tests, "ASAN_OPTIONS": SANITIZER_OPTIONS}
    with tempfile.TemporaryFile() as output:
        process = subprocess.Popen(
            [Path(job["build"], suite["target"]).resolve(), *arguments], env=environment, start_new_session=True,
            preexec_fn=lambda: limits(job, suite), stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
        )  # fmt: skip
        # A busy machine is no reason for a test to fail: one hangs when it neither says nor does anything.
        told, used = -1, -1.0
        while process.poll() is None and (os.fstat(output.fileno()).st_size > told or processor_time() > used + 0.2):
            told, used = os.fstat(output.fileno()).st_size, processor_time()
            try:
                process.wait(SILENCE)
            except subprocess.TimeoutExpired:
                pass
        output.seek(0)
        return process.poll() == 0, output.read().decode(errors="replace")


def processor_time():
    """The seconds of processor time that all processes of this world have used."""
    ticks = 0
    for stat in Path("/proc").glob("[0-9]*/stat"):
        try:
            # pid (name) state ..., the 14th to 17th field
            ticks += sum(int(field) for field in stat.read_text().rpartition(")")[2].split()[11:15])
        except (OSError, ValueError):
            pass  # has just ended
    return ticks / os.sysconf("SC_CLK_TCK")


def tests_of(listing):
    """The full names of the tests that --gtest_list_tests tells."""
    group = ""
    for line in listing.splitlines():
        name = line.split("#")[0].rstrip()
        if name.startswith("  "):
            yield group + name.strip()
        elif name.endswith("."):
            group = name


def run(job, suite):
    if not suite["apart"]:
        return run_once(job, suite, suite["filter"], *suite["arguments"])
    passed, output = run_once(job, suite, suite["filter"], "--gtest_list_tests")
    names = list(tests_of(output)) if passed else []
    for name in names:
        passed, output = run_once(job, suite, name)
        if not passed:
            break
    return passed and bool(names), output


def failure_in(output):
    """The test that failed or ended the suite, and what it said."""
    begun = re.findall(r"^\[ RUN      \] (\S+)", output, re.MULTILINE)
    failed = re.findall(r"^\[  FAILED  \] (\S+) \(", output, re.MULTILINE)
    at = output.find(": Failure")
    said = output[output.rfind("\n", 0, at) + 1 : at + 800] if at >= 0 else output[-800:]
    return (failed or begun[-1:] or ["?"])[0] + "\n" + said


def attempt(job):
    code = compile(job)
    if code is None:
        return {"result": "refused"}
    if code == job["original"]:
        return {"result": "same"}
    remove_what_is_linked(job)
    used = 0
    for suite in job["suites"]:
        link(job, suite["target"])
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        passed, output = run(job, suite)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        if not passed:
            return {"result": "killed", "by": suite["target"], "output": failure_in(output)}
        used += after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
    return {"result": "alive", "used": used, "code": code}


print(json.dumps(attempt(json.load(sys.stdin))))
