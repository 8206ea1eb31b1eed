"""memory.py BUILD_DIR [TEST...]: nothing of a password is left in the caller after a prompt, and nothing in the program
with the window once what was typed has been cleared. To look into a process that allows it to nobody takes rights over
it: without root's, all runs in a user namespace of its own."""
import os
import subprocess
import sys
import unittest

from desktop import Desktop, Login, wait_for


def left_in(pid):
    """What is left of the secret: lines for people, none if there is nothing."""
    done = subprocess.run([f"{build}/tests/scan_memory", str(pid)], capture_output=True, text=True)
    if done.returncode not in (0, 1) or (done.returncode == 0) != (done.stdout == ""):
        raise AssertionError(f"the memory cannot be read: {done.stdout}{done.stderr}")
    return done.stdout.splitlines()


class Memory(unittest.TestCase):
    def at_rest(self, asked, answer):
        """Leaves the caller after its prompt, and looks into it."""
        self.assertEqual(asked.line("login"), answer)
        asked.line("at rest")
        self.assertEqual(left_in(asked.process.pid), [])
        self.assertEqual(asked.finish(), ("", ""))

    def test_the_caller_after_an_answer(self):
        asked = desktop.ask("--stay", "login", "ACME", "jdoe")
        asked.type(secret + "\n")
        self.at_rest(asked, f"login=0 user of 4 bytes password of {len(secret)} bytes")

    def test_the_caller_after_a_cancelled_prompt(self):
        asked = desktop.ask("--stay", "login", "ACME", "jdoe")
        asked.type(secret)
        asked.key("Escape")
        self.at_rest(asked, "login=1")

    def test_the_caller_after_the_programs_end(self):
        asked = desktop.ask("--stay", "login", "ACME", "jdoe")
        asked.type(secret)
        os.kill(asked.helper(), 9)
        self.assertEqual(asked.line("login"), "login=1")
        asked.line("at rest")
        self.assertEqual(left_in(asked.process.pid), [])
        asked.finish()

    def clear_and_look(self, clear, show=False):
        asked = desktop.ask("login", "ACME", "jdoe")
        asked.type(secret)
        if show:
            asked.press("Show the password")
            asked.find("push button", "Hide the password")
        wait_for("what has been typed", lambda: left_in(asked.helper()))
        for key in clear:
            asked.key(key)
        # The window has drawn and forgotten: it shows the next thing that is typed.
        asked.type("\n")
        asked.find("alert")
        self.assertEqual(left_in(asked.helper()), [])
        asked.key("Escape")
        self.assertEqual(asked.answer(), "login=1")

    def test_the_window_after_everything_was_deleted_at_once(self):
        self.clear_and_look(["ctrl+a", "BackSpace"])

    def test_the_window_after_it_was_deleted_letter_by_letter(self):
        self.clear_and_look(["BackSpace"] * len(secret))

    def test_the_window_after_a_shown_password_was_deleted(self):
        self.clear_and_look(["ctrl+a", "BackSpace"], show=True)

    def test_what_the_toolkit_frees_is_wiped(self):
        # By functions of the program's that all of its libraries use.
        for program in ("qrt-prompt-window", "qrt-login-window"):
            defined = subprocess.run(["nm", "-D", "--defined-only", f"{build}/{program}"], capture_output=True, text=True,
                                     check=True).stdout
            self.assertLessEqual({"free", "realloc", "reallocarray"},
                                 {line.split()[-1] for line in defined.splitlines()})

    def test_the_logins_window_when_the_password_has_been_sent(self):
        login = Login(desktop, "jdoe.sales.acme")
        login.type(secret)
        self.assertNotEqual(left_in(login.helper()), [], "the look itself finds nothing")
        login.type("\n")
        login.find("alert")  # it was refused
        self.assertEqual(left_in(login.helper()), [])
        login.clean_up()

    def test_the_logins_window_when_what_was_typed_has_been_deleted(self):
        login = Login(desktop, "jdoe.sales.acme")
        login.type(secret)
        for key in ("ctrl+a", "BackSpace"):
            login.key(key)
        login.type("\n")
        login.find("alert")
        self.assertEqual(left_in(login.helper()), [])
        login.clean_up()

    def test_the_pages_of_the_password_are_locked(self):
        asked = desktop.ask("login", "ACME", "jdoe")
        asked.type(secret)
        with open(f"/proc/{asked.helper()}/status", encoding="ascii") as file:
            locked = next(int(line.split()[1]) for line in file if line.startswith("VmLck:"))
        self.assertGreater(locked, 0)
        asked.key("Escape")
        asked.answer()


if __name__ == "__main__":
    build = sys.argv[1]
    if os.geteuid() != 0:
        os.execvp("unshare", ["unshare", "-Ur", sys.executable, "-B", *sys.argv])
    secret = subprocess.run([f"{build}/tests/scan_memory", "--secret"], capture_output=True, text=True,
                            check=True).stdout.strip()
    with Desktop("x11", build) as desktop:
        unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
