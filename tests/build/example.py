"""example.py SOURCE_DIR BUILD_DIR PROGRAM: examples/c/login.c, compiled as PROGRAM, logs a user in to the sample tree
and runs what qrtlogin runs; a wrong password and an unknown tree run nothing. README.md shows the whole file."""
import fcntl
import os
import re
import subprocess
import sys
import tempfile
import termios

USER, PASSWORD = "jdoe.sales.acme", "sunflower"


class Sample:
    """Logins in to the sample tree, each with a home directory of its own."""

    def __init__(self, source, programs):
        kept = {name: value for name, value in os.environ.items() if re.match("(ASAN|LSAN|UBSAN|GCOV)_", name)}
        self.variables = {**kept, "ZKCLIENT_CONF": source + "/examples/acme/client.toml", "LC_ALL": "C.UTF-8",
                          "LANGUAGE": "en", "PATH": programs + ":/usr/bin:/bin"}

    def run(self, words, typed="", talk=None, **variables):
        """The exit status, standard output and standard error. `talk` is handed the program's terminal."""
        keyboard, terminal = os.openpty()
        with tempfile.TemporaryDirectory() as home, os.fdopen(keyboard, "r+b", buffering=0) as keyboard:
            def own_terminal():
                fcntl.ioctl(terminal, termios.TIOCSCTTY, 0)
            with subprocess.Popen(words, env={**self.variables, "HOME": home, **variables}, stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, start_new_session=True,
                                  pass_fds=[terminal], preexec_fn=own_terminal) as program:
                os.close(terminal)
                if talk:
                    talk(keyboard)
                shown, errors = program.communicate(typed, timeout=60)
        day_time = re.sub(r"Good (morning|afternoon|evening),", "Good day,", shown)
        return program.returncode, day_time, errors

    def qrtlogin(self, program, password=PASSWORD, **variables):
        return self.run([program, "--password-fd=0", USER], password, **variables)

    def example(self, program, password=PASSWORD, tree="ACME", **variables):
        def talk(keyboard):
            for answer in (USER, password):
                asked = b""
                while not asked.endswith(b": "):
                    asked += keyboard.read(512)
                keyboard.write(answer.encode() + b"\n")
        return self.run([program, tree], talk=talk, **variables)


def check_example(sample, program, qrtlogin, complain, **variables):
    status, shown, errors = sample.qrtlogin(qrtlogin)
    wanted = {"sunflower": (status, shown + "\0", errors), "guess": (1, "", "login: not logged in (0xFFFFE001): wrong password\n"),
              "": (1, "", "login: no user name or no password was typed\n")}
    for password, outcome in wanted.items():
        got = sample.example(program, password, **variables)
        if got != outcome:
            complain(f"the example with the password {password}\n--- wanted\n{outcome}\n--- got\n{got}")
    got = sample.example(program, tree="NONE", **variables)
    if got != (1, "", "login: not logged in (0xFFFFFD42): no such tree\n"):
        complain(f"the example with an unknown tree: {got}")


def main():
    source, build, program = sys.argv[1:]
    complaints = []
    check_example(Sample(source, build), program, build + "/qrtlogin", complaints.append)
    if f"```c\n{open(source + '/examples/c/login.c').read()}```\n" not in open(source + "/README.md").read():
        complaints.append("README.md does not show examples/c/login.c")
    print("\n".join(complaints))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
