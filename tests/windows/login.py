"""login.py KIND BUILD_DIR [TEST...]: the window of qrtlogin --gui on a display of KIND (x11, wayland): asking, the run,
its end; and what becomes of the login when the window is lost."""
import ctypes
import os
import signal
import socket
import struct
import subprocess
import sys
import threading
import unittest

from desktop import PATIENCE, Asked, Desktop, Login, is_running, text_of, wait_for

USER = "jdoe.sales.acme"
GOOD = "sunflower"
# Waits until the test lets it go on.
WAITING = 'WRITE "waiting"\n#{gate}\nWRITE "over"\n'


class MappedWindows:
    """Counts the windows that are shown on an X11 display, for however short a time."""
    SUBSTRUCTURE_NOTIFY, MAP_NOTIFY = 1 << 19, 19

    def __init__(self, display):
        self.x = ctypes.CDLL("libX11.so.6")
        self.x.XOpenDisplay.restype = ctypes.c_void_p
        self.x.XDefaultRootWindow.restype = ctypes.c_ulong
        self.display = ctypes.c_void_p(self.x.XOpenDisplay(display.encode()))
        root = ctypes.c_ulong(self.x.XDefaultRootWindow(self.display))
        self.x.XSelectInput(self.display, root, ctypes.c_long(self.SUBSTRUCTURE_NOTIFY))
        self.x.XSync(self.display, 0)
        self.count = 0

    def all(self):
        self.x.XSync(self.display, 0)
        event = (ctypes.c_long * 24)()
        while self.x.XPending(self.display):
            self.x.XNextEvent(self.display, event)
            self.count += ctypes.c_int.from_buffer(event).value == self.MAP_NOTIFY
        return self.count


class Case(unittest.TestCase):
    maxDiff = None

    def gate(self):
        """A program that a script waits for, and what opens it."""
        self.count = getattr(self, "count", 0) + 1
        path = f"{desktop.folder}/{self.id()}{self.count}"
        os.mkfifo(path + ".fifo")
        with open(path, "w", encoding="utf-8") as file:
            file.write(f"#!/bin/sh\nread line <{path}.fifo\n")
        os.chmod(path, 0o755)

        def open_gate():
            with open(path + ".fifo", "w", encoding="utf-8") as file:
                file.write("\n")
        return path, open_gate

    def waiting_login(self, script=WAITING, *words, **settings):
        path, open_gate = self.gate()
        login = self.login(*words, USER, password=GOOD, script=script.replace("{gate}", path), **settings)
        login.open_gate = open_gate
        return login

    def output_of(self, login):
        return text_of(login.find("text", "Output of the scripts"))

    def shows(self, login, text):
        wait_for(f"'{text}' in the output", lambda: text in self.output_of(login))

    def labels(self, login):
        return [part.name for part in login.parts() if part.getRoleName() == "label"]

    def says(self, login, text):
        wait_for(f"the label '{text}'", lambda: login.has("label", text))


    def login(self, *words, **settings):
        """One that leaves nothing to the next test, whatever becomes of this one."""
        login = Login(desktop, *words, **settings)
        self.addCleanup(login.clean_up)
        return login


class Asking(Case):
    def test_the_password_is_typed_and_a_clean_login_closes_by_itself(self):
        login = self.login(USER, script='WRITE "hello"\n')
        self.assertEqual(login.focus().getRoleName(), "password text")
        self.assertTrue(login.has("label", "Log in to the tree ACME"))
        login.type(GOOD + "\n")
        out, errors = login.finish()
        self.assertEqual((errors, login.process.returncode), ("", 0))
        self.assertTrue(out.endswith("hello\n"))
        login.closes()

    def test_the_name_is_asked_for_where_none_is_given(self):
        login = self.login("--context=sales.acme", script='WRITE "hello %LOGIN_NAME"\n')
        self.assertEqual(login.focus().getRoleName(), "text")
        login.type(f"jdoe\n{GOOD}\n")
        out, _ = login.finish()
        self.assertIn("hello JDOE\n", out.upper().replace("HELLO", "hello"))
        self.assertEqual(login.process.returncode, 0)

    def test_a_refused_password_is_asked_for_again_with_the_reason(self):
        login = self.login(USER, script="")
        login.type("wrong\n")
        reason = f"cannot log in as {USER} to tree ACME: wrong password"
        self.assertEqual(text_of(login.find("alert")), reason)
        self.assertEqual(login.focus().getRoleName(), "password text")
        login.type(GOOD + "\n")
        _, errors = login.finish()
        self.assertEqual((errors, login.process.returncode), (f"qrtlogin: {reason}\n", 0))

    def test_a_wrong_name_is_asked_for_again(self):
        login = self.login(script="")
        login.type(f"nosuch.acme\n{GOOD}\n")
        self.assertIn("no such user", text_of(login.find("alert")))
        login.press("Cancel")
        login.finish()
        self.assertEqual(login.process.returncode, 2)

    def test_the_last_refusal_is_shown(self):
        login = self.login("--tries=1", USER, script="")
        login.type("wrong\n")
        login.finish()
        self.assertEqual(login.process.returncode, 2)
        self.says(login, "The login has failed")
        self.assertIn("wrong password", text_of(login.find("alert")))
        login.press("Close")
        login.closes()

    def test_cancelling_the_question_is_a_refusal(self):
        for end in ("Escape", "Cancel"):
            login = self.login(USER)
            login.focus()
            login.key("Escape") if end == "Escape" else login.press("Cancel")
            _, errors = login.finish()
            self.assertEqual((errors, login.process.returncode), ("qrtlogin: cannot read the password: cancelled\n", 2))
            login.closes()


class Running(Case):
    def test_what_is_run_is_shown_and_ends(self):
        login = self.waiting_login('WRITE "waiting \\x1B[31m"\n#{gate}\nWRITE "over"\n')
        self.shows(login, "waiting")
        self.says(login, "is running")
        self.says(login, "line 2: #")
        self.assertTrue(login.has("label", "Elapsed: 0:"))
        login.open_gate()
        out, _ = login.finish()
        self.assertTrue(out.endswith("over\n"))
        login.closes()

    def test_cancel_ends_the_run_as_the_time_limit_does(self):
        login = self.waiting_login()
        self.shows(login, "waiting")
        login.press("Cancel")
        out, errors = login.finish()
        self.assertEqual(login.process.returncode, 130)
        self.assertEqual(errors, "qrtlogin: the scripts were cancelled in the window\n")
        self.assertNotIn("over", out)
        self.says(login, "The login was cancelled")
        login.press("Close")
        login.closes()

    def test_closing_the_window_in_mid_run_ends_nothing(self):
        login = self.waiting_login()
        self.shows(login, "waiting")
        login.act(login.window(), "window.close")
        self.assertTrue(is_running(login.window_process))
        login.open_gate()
        self.assertTrue(login.finish()[0].endswith("over\n"))
        self.assertEqual(login.process.returncode, 0)

    def test_the_scripts_of_the_tree(self):
        login = self.login("--keep-window", "--var=2=x", USER, password=GOOD)
        login.finish()
        self.says(login, "Close")
        labels = self.labels(login)
        for name, owner in (("Container's script", "sales.acme"), ("User's script", "jdoe.sales.acme")):
            self.assertIn(name, labels)
            self.assertTrue(login.has("label", owner))
        login.press("Close")

    def test_a_question_of_a_script_comes_in_a_window_of_its_own(self):
        login = self.login(USER, password=GOOD, script='WRITE "waiting"\nPAUSE\nWRITE "over"\n')
        self.shows(login, "waiting")
        question = Asked.__new__(Asked)
        question.desktop, question.process, question.found = desktop, login.process, None
        question.press("Continue")
        self.assertTrue(login.finish()[0].endswith("over\n"))
        self.assertEqual(login.process.returncode, 0)

    def test_the_line_of_a_mistake_in_and_behind_what_is_included(self):
        inner = f"{desktop.folder}/inner.qrt"
        with open(inner, "w", encoding="utf-8") as file:
            file.write('WRITE "inner"\nWRTE "one"\n')
        login = self.login(USER, password=GOOD, script=f'INCLUDE {inner}\nWRTE "two"\n')
        login.finish()
        self.says(login, "Close")
        labels = [label for label in self.labels(login) if "WRTE" in label]
        self.assertEqual(labels, ['User\'s script, line 2 of what line 1 includes: WRTE "one"',
                                  'User\'s script, line 2: WRTE "two"'])
        login.press("Close")

    def test_20000_lines_and_the_window_answers(self):
        path, open_gate = self.gate()
        lines = f"{desktop.folder}/lines"
        with open(lines, "w", encoding="utf-8") as file:
            file.write("#!/bin/sh\nseq -f 'line %.0f of many' 20000\n")
        os.chmod(lines, 0o755)
        login = self.login(USER, password=GOOD, script=f'#{lines}\n#{path}\nWRITE "over"\n')
        out = []
        reader = threading.Thread(target=lambda: out.extend(login.process.stdout), daemon=True)
        reader.start()
        wait_for("the newest line", lambda: "line 20000 of many\n" in self.output_of(login))
        shown = self.output_of(login)
        self.assertNotIn("line 10000 of many\n", shown)
        self.assertLess(shown.count("\n"), 10002)
        self.says(login, "lines at the beginning are not shown here any more")
        open_gate()
        login.process.wait(PATIENCE)
        reader.join(PATIENCE)
        self.assertEqual(sum(line.endswith(" of many\n") for line in out), 20000)


class Told(Case):
    """The window's program alone, with the test in the place of qrtlogin. What it is told waits before it begins."""

    @staticmethod
    def message(kind, *fields):
        return kind.encode() + b"".join(struct.pack("<H", len(field)) + field.encode() for field in fields)

    def window_told(self, *messages):
        own, others = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        for message in messages:
            own.send(message)
        program = subprocess.Popen(["bash", "-c", f"exec {build}/qrt-login-window 3<&{others.fileno()}"],
                                   env=desktop.environment, pass_fds=[others.fileno()])
        self.addCleanup(program.kill)
        others.close()
        self.addCleanup(own.close)
        self.conversation = own
        return program

    def window_of(self, program):
        login = Login.__new__(Login)
        login.desktop, login.process, login.window_process = desktop, program, program.pid
        login.found, login.has_keyboard = None, False
        return login

    def answer(self):
        """The first message from the window that is no sign of life."""
        while True:
            message = self.conversation.recv(10000)
            if message != b"a":
                return message

    def test_a_new_password_is_asked_for_twice(self):
        program = self.window_told(self.message("b", "ACME", "jdoe", ""), self.message("q", "c", "jdoe", "too short"))
        login = self.window_of(program)
        self.assertEqual(text_of(login.find("alert")), "too short")
        login.type("first one\nsecond one\n")
        self.assertEqual(text_of(login.find("alert")), "the new passwords differ")
        login.type("first one\n")  # in its place
        self.assertEqual(self.answer(), self.message("l", "", "first one"))

    def test_what_is_not_a_message_ends_the_conversation(self):
        login = self.window_of(self.window_told(self.message("b", "ACME", "jdoe", ""), b"what?"))
        self.says(login, "The login has failed")
        self.assertEqual(text_of(login.find("alert")), "qrtlogin has ended before the scripts had")

    @unittest.skipUnless(sys.argv[1] == "x11", "only there it is told of the windows of others")
    def test_a_quick_clean_login_shows_no_window_and_one_that_goes_on_does(self):
        windows = MappedWindows(desktop.environment["DISPLAY"])
        begin = self.message("b", "ACME", "jdoe", "")
        program = self.window_told(begin, self.message("s", "u", "jdoe"), self.message("o", "hello\n"),
                                   self.message("e", "c", ""))
        self.assertEqual(program.wait(PATIENCE), 0)
        self.assertEqual(windows.all(), 0)
        self.window_told(begin)
        wait_for("the window", windows.all)


class Summary(Case):
    SCRIPT = ('WRTE "x"\nSET SHIP="black pearl"\n#false 1\n#nosuchprogram\nMAP Q:=NOWHERE\nWRITE "end"\n'
              'IF "1"="1" THEN\n')

    def test_mistakes_programs_and_variables(self):
        login = self.login(USER, password=GOOD, script=self.SCRIPT)
        out, _ = login.finish()
        self.assertEqual(login.process.returncode, 1)
        self.says(login, "You are logged in, but not everything has worked")
        labels = self.labels(login)
        start = labels.index("Mistakes in the scripts")
        self.assertEqual(labels[start:labels.index("Copy report")], [
            "Mistakes in the scripts", 'User\'s script, line 1: WRTE "x"', "User's script, line 5: MAP Q:=NOWHERE",
            "User's script, line unknown: IF without END", "Programs that failed",
            "User's script, line 3: #false 1 \u2013 ended with status 1",
            "User's script, line 4: #nosuchprogram \u2013 cannot run nosuchprogram: No such file or directory",
            "Variables that were set", "SHIP = black pearl"])
        self.assertIn("end\n", out)
        login.press("Copy report")
        self.says(login, "The report has been copied.")
        login.press("Close")
        login.closes()

    def test_a_mistake_is_marked_where_it_stands(self):
        login = self.login(USER, password=GOOD, script='WRITE "one"\nWRTE "x"\nWRITE "two"\n')
        login.finish()
        self.says(login, "You are logged in, but not everything has worked")
        text = self.output_of(login)
        self.assertLess(text.index("one\n"), text.index('User\'s script, line 2: WRTE "x"\n'))
        self.assertLess(text.index('User\'s script, line 2: WRTE "x"\n'), text.index("two\n"))
        login.press("Close")

    def test_a_clean_login_stays_if_it_is_told_to(self):
        login = self.login("--keep-window", USER, password=GOOD, script='WRITE "hi"\n')
        login.finish()
        self.says(login, "You are logged in")
        self.says(login, "No drives were mapped and no variables set.")
        self.assertTrue(is_running(login.window_process))
        login.press("Close")
        login.closes()


class Lost(Case):
    """The login goes on."""
    LINE = "qrtlogin: cannot show the login in a window: {}\n"

    def finishes(self, login, reason):
        out, errors = login.finish()
        self.assertEqual((errors, login.process.returncode), (self.LINE.format(reason), 0))
        self.assertTrue(out.endswith("over\n"))

    def test_the_window_is_killed_in_mid_run(self):
        login = self.waiting_login()
        self.shows(login, "waiting")
        os.kill(login.window_process, signal.SIGKILL)
        login.closes()
        login.open_gate()
        self.finishes(login, "the program with the window has ended")

    def test_the_window_is_stopped_in_mid_run(self):
        login = self.waiting_login()
        self.shows(login, "waiting")
        os.kill(login.window_process, signal.SIGSTOP)
        login.closes()  # it is ended when it has given no sign of life for long enough
        login.open_gate()
        self.finishes(login, "the program with the window gave no sign of life for 10 seconds")

    def test_the_window_is_killed_before_anything_was_typed(self):
        login = self.login(USER, script="")
        login.focus()
        os.kill(login.window_process, signal.SIGKILL)
        _, errors = login.finish()
        self.assertEqual((errors, login.process.returncode), (
            self.LINE.format("the program with the window has ended") +
            "qrtlogin: cannot read the password: no terminal; --password-fd 0 reads it from the standard input\n", 2))

    def test_then_a_terminal_is_asked(self):
        login = self.login(USER, script="", terminal=True)
        login.focus()
        os.kill(login.window_process, signal.SIGKILL)
        login.answer_terminal(f"Password for {USER}: ", GOOD + "\n")
        login.finish()
        self.assertEqual(login.process.returncode, 0)

    def test_no_display(self):
        for display, reason in ((None, "there is no display"), (":4711", "the display cannot be opened")):
            login = self.waiting_login(DISPLAY=display, WAYLAND_DISPLAY=None, GDK_BACKEND=None)
            login.open_gate()
            self.finishes(login, reason)


if __name__ == "__main__":
    kind, build = sys.argv[1:3]
    with Desktop(kind, build) as desktop:
        unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
