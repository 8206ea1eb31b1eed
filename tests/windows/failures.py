"""failures.py BUILD_DIR [TEST...]: what becomes of a question when there is no window, when its program ends, hangs or
says what it should not, and when the display or the caller goes away. None of it counts as the person's answer."""
import json
import os
import pwd
import shutil
import signal
import subprocess
import sys
import unittest

from desktop import Desktop, wait_for

LINE = "asker: cannot ask in a window: {}\n"
OWN_FOLDER = os.path.dirname(os.path.abspath(__file__))


def is_running(pid):
    try:
        with open(f"/proc/{pid}/stat", encoding="ascii") as file:
            return file.read().rpartition(")")[2].split()[0] != "Z"
    except OSError:
        return False


class NoWindow(unittest.TestCase):
    """Each row is a way in which the window is lost, and the line that tells of it."""

    def lose_display(self, **options):
        return desktop.ask("login", "ACME", "jdoe", DISPLAY=":4711", **options), "the display cannot be opened"

    def lose_program(self, **options):
        return (desktop.ask("--program", "/nowhere/at/all", "login", "ACME", "jdoe", **options),
                "cannot run /nowhere/at/all: No such file or directory")

    def kill_program(self, **options):
        asked = desktop.ask("login", "ACME", "jdoe", **options)
        asked.type("secr")
        os.kill(asked.helper(), signal.SIGKILL)
        return asked, "the program with the window was ended by signal 9"

    def stop_program(self, **options):
        asked = desktop.ask("login", "ACME", "jdoe", **options)
        asked.type("secr")
        helper = asked.helper()
        os.kill(helper, signal.SIGSTOP)
        asked.tell("missing 1")
        wait_for("the end of the program that hangs", lambda: not is_running(helper))
        return asked, "the program with the window gave no sign of life for 1 seconds"

    def hang_display(self, **options):
        with Desktop("x11", build, accessible=False) as other:
            other.display.send_signal(signal.SIGSTOP)
            asked = desktop.ask("login", "ACME", "jdoe", DISPLAY=other.environment["DISPLAY"], **options)
            helper = asked.helper()
            asked.tell("missing 1")
            wait_for("the end of the program that hangs", lambda: not is_running(helper))
        return asked, "the program with the window gave no sign of life for 1 seconds"

    ways = (lose_display, hang_display, lose_program, kill_program, stop_program)

    def test_without_a_terminal_the_question_is_cancelled_with_one_line(self):
        for way in self.ways:
            asked, reason = way(self)
            self.assertEqual(asked.finish(), ("before\nafter\nlogin=1\n", LINE.format(reason)))

    def test_with_a_terminal_the_question_is_asked_there(self):
        for way in self.ways:
            asked, reason = way(self, terminal=True)
            asked.answer_terminal("User name [jdoe]: ", "\n")
            asked.answer_terminal("Password: ", "x1\n")
            self.assertEqual(asked.finish(), ("before\nafter\nbefore\nafter\nlogin=0 user=jdoe password=x1\n",
                                              LINE.format(reason)))

    def test_every_prompt_goes_to_the_terminal(self):
        rows = [(["confirm", "Log out?", "12"], "Log out? (y/n) ", "y\n", "confirm=4"),
                (["pause"], "Press Enter to continue: ", "\n", "pause=0")]
        for words, question, typed, answer in rows:
            asked = desktop.ask(*words, terminal=True)
            asked.focus()
            os.kill(asked.helper(), signal.SIGKILL)
            asked.answer_terminal(question, typed)
            out, errors = asked.finish()
            self.assertEqual(out.splitlines()[-1], answer)
            self.assertEqual(errors, LINE.format("the program with the window was ended by signal 9"))

    def test_the_display_is_asked_about_in_silence(self):
        self.assertEqual(desktop.ask("display", DISPLAY=":4711").finish(), ("display=1\n", ""))
        self.assertEqual(desktop.ask("display", DISPLAY=None).finish(), ("display=1\n", ""))

    def test_a_display_that_goes_away(self):
        for kind in ("x11", "wayland"):
            with Desktop(kind, build, accessible=False) as other:
                asked = other.ask("confirm", "Log out?", "12", terminal=True)
                asked.line("before")
                wait_for("the window", lambda: other.has_window(asked))
                other.display.kill()
                asked.answer_terminal("Log out? (y/n) ", "n\n")
                out, errors = asked.finish()
                self.assertEqual(out.splitlines()[-1], "confirm=0")
                self.assertRegex(errors, "^" + LINE.format(r"the program with the window .*").strip() + "\n$")


class OddPrograms(unittest.TestCase):
    def odd(self, name, *words, **options):
        path = f"{desktop.folder}/{name}"
        shutil.copy(OWN_FOLDER + "/odd_program.py", path)
        return desktop.ask("--program", path, *words, **options)

    def test_what_is_not_an_answer_is_none(self):
        names = ["garbage", "unknown", "cut", "more", "no-password", "with-nul", "too-long", "huge",
                 "failed-without-a-reason", "refused-with-a-name"]
        for name in names:
            with self.subTest(name):
                asked = self.odd(name, "login", "ACME", "jdoe")
                self.assertEqual(asked.finish(), ("before\nafter\nlogin=1\n", LINE.format(
                    "the program with the window sent an answer that is not one")))
        asked = self.odd("no-password", "confirm", "Log out?", "12")
        self.assertIn("confirm=0", asked.finish()[0])

    def test_one_that_ends_has_not_answered(self):
        for name in ("ends", "empty-answer"):
            out, errors = self.odd(name, "login", "ACME", "jdoe").finish()
            self.assertIn("login=1", out)
            self.assertIn("the program with the window ended with status " + ("3" if name == "ends" else "0"), errors)

    def test_a_reason_is_shown_and_not_obeyed(self):
        self.assertEqual(self.odd("hostile-reason", "pause").finish()[1], LINE.format(r"a\x1B[2Jb\x0Ac"))

    def test_signs_of_life_come_before_the_answer(self):
        self.assertIn("login=0 user=jdoe password=x\n", self.odd("alive-first", "login", "ACME", "").finish()[0])

    def test_how_it_is_started(self):
        dangerous = {name: "/tmp/evil" for name in (
            "GTK_MODULES", "GTK_PATH", "GTK_EXE_PREFIX", "GTK_DATA_PREFIX", "GIO_EXTRA_MODULES", "GIO_MODULE_DIR",
            "GDK_PIXBUF_MODULE_FILE", "GTK_DEBUG", "G_DEBUG", "GSK_DEBUG", "LD_LIBRARY_PATH", "GCONV_PATH", "LOCPATH",
            "GST_PLUGIN_PATH", "PYTHONPATH", "IFS", "ENV", "LIBGL_DRIVERS_PATH", "VK_ICD_FILENAMES")}
        dangerous["AT_SPI_BUS_ADDRESS"] = "unixexec:path=/tmp/evil"
        harmless = {"XDG_ACTIVATION_TOKEN": "token", "GTK_THEME": "Adwaita:dark", "GDK_SCALE": "2", "LC_TIME": "C",
                    "GTK_IM_MODULE": "ibus"}

        def change():
            signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGUSR1])
            signal.signal(signal.SIGHUP, signal.SIG_IGN)
            os.dup2(1, 77)
        asked = self.odd("describes", "login", "ACME", "jdoe", before=change, LANGUAGE="/tmp/evil", **dangerous, **harmless)
        self.assertIn("login=0", asked.finish()[0])
        with open(f"{desktop.folder}/describes.json", encoding="utf-8") as file:
            seen = json.load(file)
        environment = seen["environment"]
        self.assertEqual([], [name for name in (*dangerous, "LANGUAGE") if name in environment])
        self.assertEqual(harmless, {name: environment.get(name) for name in harmless})
        self.assertEqual(environment["DISPLAY"], desktop.environment["DISPLAY"])
        self.assertEqual(environment["PATH"], "/usr/local/bin:/usr/bin:/bin")
        self.assertEqual([seen[name] for name in ("arguments", "folder", "blocked", "ignored", "leads-its-session")],
                         [[], "/", [], [], True])
        self.assertEqual(seen["descriptors"], {"0": "/dev/null", "1": "/dev/null", "2": "/dev/null", "3": "socket"})


class Protection(unittest.TestCase):
    def test_the_program_is_not_readable_for_others_of_the_same_user(self):
        nobody = pwd.getpwnam("nobody").pw_uid
        # As root it runs as somebody else, whose own files in /proc can be told from those of root.
        other = {"before": lambda: os.setuid(nobody)} if os.geteuid() == 0 else {}
        may_run = subprocess.run(["test", "-x", build + "/qrt-prompt-window"], preexec_fn=other.get("before"))
        if may_run.returncode != 0:
            self.skipTest("nobody but root may run what is in this folder")
        with Desktop("x11", build, accessible=False) as hanging:
            hanging.display.send_signal(signal.SIGSTOP)
            asked = desktop.ask("pause", DISPLAY=hanging.environment["DISPLAY"], **other)
            helper = asked.helper()
            # What may not be traced, and dumps no core, has files of root's there.
            wait_for("the protection", lambda: os.stat(f"/proc/{helper}/maps").st_uid == 0)
            self.assertEqual(os.stat(f"/proc/{asked.process.pid}/maps").st_uid, nobody if other else os.geteuid())
            asked.process.kill()


class Endings(unittest.TestCase):
    def test_the_window_goes_with_its_caller(self):
        asked = desktop.ask("login", "ACME", "jdoe")
        asked.focus()
        helper = asked.helper()
        asked.process.kill()
        wait_for("the end of the program with the window", lambda: not is_running(helper))

    def test_a_signal_cancels_the_question(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT):
            # The caller's own handler is called again afterwards: here it ignores the signal.
            asked = desktop.ask("login", "ACME", "jdoe", terminal=True,
                                before=lambda number=number: signal.signal(number, signal.SIG_IGN))
            asked.focus()
            helper = asked.helper()
            os.kill(asked.process.pid, number)
            self.assertEqual(asked.finish(), ("before\nafter\nlogin=1\n", ""))
            self.assertFalse(is_running(helper))

    def test_the_program_is_not_started_by_hand(self):
        done = desktop.ask(program="../qrt-prompt-window").finish()
        self.assertEqual(done, ("", "qrt-prompt-window: is started by libtreelogin, for a prompt\n"))


if __name__ == "__main__":
    build = sys.argv[1]
    with Desktop("x11", build) as desktop:
        unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
