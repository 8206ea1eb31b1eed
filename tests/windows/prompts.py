"""prompts.py KIND BUILD_DIR [TEST...]: each prompt in a window of KIND (x11, wayland): what it shows and what a screen
reader finds, how it is answered and cancelled, and what the caller gets."""
import os
import shutil
import sys
import unittest

from desktop import ISOLATES, Desktop, read_events, text_of, wait_for


# The keyboard of the X11 display has no other letters; that of Wayland gets those that are typed.
ASCII_SIGNS = "!\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~"


def outline(asked):
    """What a screen reader finds: the role and the name of everything that has a name, or can have the focus."""
    return [f"{part.getRoleName()} {part.name.translate(ISOLATES)}" for part in asked.parts()
            if part.getRoleName() not in ("panel", "filler", "scroll pane", "viewport", "scroll bar", "image")
            and not (part.getRoleName() == "label" and part.parent.getRoleName() == "push button")]


class Case(unittest.TestCase):
    maxDiff = None

    def expect_cancelled(self, asked, answer):
        self.assertEqual(asked.answer(), answer)
        wait_for("the end of the program with the window", lambda: not asked.has_helper())


class Login(Case):
    def test_the_password_is_typed_where_the_focus_is(self):
        asked = desktop.ask("login", "ACME_TREE", "jdoe.sales")
        self.assertEqual(asked.focus().getRoleName(), "password text")
        password = "sun fl\u00f6wer\u20ac" if kind == "wayland" else "Sun flower" + ASCII_SIGNS
        asked.type(password + "\n")
        self.assertEqual(asked.answer(), "login=0 user=jdoe.sales password=" + password)

    def test_without_a_name_to_offer_the_name_comes_first(self):
        for offered in ("", "<username>"):
            asked = desktop.ask("login", "ACME_TREE", offered)
            self.assertEqual((asked.focus().getRoleName(), text_of(asked.find("text"))), ("text", ""))
            asked.type("mlee\nx1\n")
            self.assertEqual(asked.answer(), "login=0 user=mlee password=x1")

    def test_another_name_than_the_offered_one(self):
        asked = desktop.ask("login", "ACME_TREE", "jdoe.sales")
        asked.key("alt+n")
        wait_for("the focus on the name", lambda: asked.focus().getRoleName() == "text")
        asked.type("mlee\nx1\n")
        self.assertEqual(asked.answer(), "login=0 user=mlee password=x1")

    def test_what_a_screen_reader_finds(self):
        asked = desktop.ask("login", "ACME_TREE", "jdoe.sales")
        asked.focus()
        self.assertEqual(outline(asked), [
            "dialog Login", "label Log in to the tree ACME_TREE",
            "label A login script logs you in to the directory tree ACME_TREE as jdoe.sales and needs your password there. "
            "You may give another name with its own password.",
            "label User name", "text User name", "label Password", "password text Password",
            "push button Show the password", "label Asked by the program asker", "push button Cancel", "push button Log in"])
        self.assertEqual(text_of(asked.find("text")), "jdoe.sales")
        asked.press("Cancel")
        self.expect_cancelled(asked, "login=1")

    def test_the_reason_names_what_is_logged_in_to(self):
        rows = [("ACME_TREE", "", "Log in to the tree ACME_TREE",
                 "A login script needs your name and your password in the directory tree ACME_TREE."),
                ("(server) FS1", "<username>", "Log in to the server FS1",
                 "A login script needs your name and your password on the server FS1, which does not accept those of the "
                 "directory."),
                ("Please log in again", "jdoe", "Please log in again",
                 "A login script needs your name and your password."),
                ("", "jdoe", "Log in", "A login script needs your name and your password.")]
        for label, user, heading, reason in rows:
            asked = desktop.ask("login", label, user)
            asked.focus()
            self.assertEqual(outline(asked)[1:3], [f"label {heading}", f"label {reason}"])
            asked.press("Cancel")
            asked.answer()

    def test_escape_and_the_windows_own_button_cancel(self):
        asked = desktop.ask("login", "ACME_TREE", "jdoe")
        asked.type("secret")
        asked.key("Escape")
        self.expect_cancelled(asked, "login=1")
        asked = desktop.ask("login", "ACME_TREE", "jdoe")
        asked.act(asked.window(), "window.close")
        self.expect_cancelled(asked, "login=1")

    def test_a_password_is_needed(self):
        asked = desktop.ask("login", "ACME_TREE", "jdoe")
        asked.type("\n")
        self.assertEqual(text_of(asked.find("alert")), "Enter your password.")
        self.assertEqual(asked.focus().getRoleName(), "password text")
        asked.type("x")
        wait_for("the complaint's end", lambda: not asked.has("alert", ""))
        asked.press("Log in")
        self.assertEqual(asked.answer(), "login=0 user=jdoe password=x")

    def test_a_name_is_needed(self):
        asked = desktop.ask("login", "ACME_TREE", "")
        asked.type("\n")
        self.assertEqual(text_of(asked.find("alert")), "Enter your user name.")
        self.assertEqual(asked.focus().getRoleName(), "text")
        asked.press("Cancel")
        asked.answer()

    def test_the_longest_password_and_one_that_is_longer(self):
        asked = desktop.ask("login", "ACME_TREE", "jdoe")
        asked.type("p" * 1025 + "\n")
        self.assertEqual(text_of(asked.find("alert")), "This is longer than 1024 bytes.")
        asked.type("q" * 1024 + "\n")  # in its place
        self.assertEqual(asked.answer(), "login=0 user=jdoe password=" + "q" * 1024)

    def test_a_password_is_edited(self):
        asked = desktop.ask("login", "ACME_TREE", "jdoe")
        first, second = ("\u00df", "\u20ac") if kind == "wayland" else ("x", "y")
        asked.type(first + "b" + second)
        for key in ("Left", "BackSpace", "Home", "Delete"):
            asked.key(key)
        asked.type(second + "a\n")
        self.assertEqual(asked.answer(), f"login=0 user=jdoe password={second}a{second}")

    def test_nothing_of_the_password_can_be_read_aloud(self):
        with read_events("object:text-changed") as events:
            asked = desktop.ask("login", "ACME_TREE", "")
            asked.type("nn\npppp")
            wait_for("the name", lambda: text_of(asked.find("text")) == "nn")
            self.assertIsNone(text_of(asked.find("password text")))
            asked.press("Show the password")
            asked.find("push button", "Hide the password")
            self.assertIsNone(text_of(asked.find("password text")))
            asked.press("Hide the password")
            asked.find("push button", "Show the password")
            asked.type("\n")
            self.assertEqual(asked.answer(), "login=0 user=nn password=pppp")
            wait_for("the name's letters", lambda: "n" in str(events()))
            self.assertNotIn("p", "".join(str(data) for data in events()))

    def test_caps_lock_is_hinted_at(self):
        if kind == "wayland":
            return  # where each key of a test comes from a keyboard of its own
        asked = desktop.ask("login", "ACME_TREE", "jdoe")
        asked.focus()
        self.assertFalse(asked.has("label", "Caps Lock is on"))
        asked.key("Caps_Lock")
        asked.find("label", "Caps Lock is on")
        asked.key("Caps_Lock")
        wait_for("the hint's end", lambda: not asked.has("label", "Caps Lock is on"))
        asked.key("Escape")
        asked.answer()

    def test_text_from_elsewhere_is_shown_and_not_obeyed(self):
        asked = desktop.ask("login", b"<b>A\x1b\xc2\x9b\xe2\x80\xae\xff</b>", b"j\x01\xff<i>")
        asked.focus()
        self.assertEqual(outline(asked)[1], r"label Log in to the tree <b>A\x1B\xC2\x9B\xE2\x80\xAE\xFF</b>")
        asked.press("Cancel")
        asked.answer()


class Confirm(Case):
    question = "Already logged in to ACME_TREE as jdoe, log out?"

    def test_what_a_screen_reader_finds(self):
        asked = desktop.ask("confirm", self.question, "12")
        asked.focus()
        self.assertEqual(outline(asked), ["dialog Question", f"label {self.question}", "label Asked by the program asker",
                                          "push button No", "push button Yes"])
        asked.press("No")
        self.expect_cancelled(asked, "confirm=0")

    def test_yes_answers_4(self):
        asked = desktop.ask("confirm", self.question, "12")
        asked.press("Yes")
        self.assertEqual(asked.answer(), "confirm=4")

    def test_the_enter_key_means_yes_only_where_that_is_the_default(self):
        for default, answer in (("12", "confirm=0"), ("4", "confirm=4")):
            asked = desktop.ask("confirm", self.question, default)
            asked.type("\n")
            self.assertEqual(asked.answer(), answer)

    def test_escape_means_no(self):
        asked = desktop.ask("confirm", self.question, "4")
        asked.key("Escape")
        self.expect_cancelled(asked, "confirm=0")

    def test_a_long_question_scrolls(self):
        asked = desktop.ask("confirm", "line\n" * 100 + "w" * 500, "12")
        asked.focus()
        extents = asked.window().queryComponent().getExtents(0)
        self.assertLess(extents.height, 400)
        self.assertLess(extents.width, 700)
        asked.press("Yes")
        self.assertEqual(asked.answer(), "confirm=4")


class Pause(Case):
    def test_what_a_screen_reader_finds(self):
        asked = desktop.ask("pause")
        asked.focus()
        self.assertEqual(outline(asked), ["dialog Pause", "label The login script waits until you continue.",
                                          "label Asked by the program asker", "push button Continue"])
        asked.press("Continue")
        self.assertEqual(asked.answer(), "pause=0")

    def test_enter_continues_and_escape_breaks_off(self):
        for key, answer in (("Return", "pause=0"), ("Escape", "pause=1")):
            asked = desktop.ask("pause")
            asked.key(key)
            self.assertEqual(asked.answer(), answer)


class Look(Case):
    def left_of(self, asked, name):
        return asked.find("push button", name).queryComponent().getExtents(0).x

    def test_from_right_to_left(self):
        # The toolkit's own catalogue says which languages are.
        if not os.path.exists("/usr/share/locale/he/LC_MESSAGES/gtk40.mo"):
            self.skipTest("this system has been installed without the toolkit's catalogues")
        asked = desktop.ask("login", "ACME_TREE", "jdoe", LANGUAGE="he")
        asked.focus()
        self.assertLess(self.left_of(asked, "Log in"), self.left_of(asked, "Cancel"))
        asked.press("Cancel")
        asked.answer()
        asked = desktop.ask("login", "ACME_TREE", "jdoe")
        asked.focus()
        self.assertLess(self.left_of(asked, "Cancel"), self.left_of(asked, "Log in"))
        asked.press("Cancel")
        asked.answer()

    def test_in_the_persons_language(self):
        program = f"{desktop.folder}/libexec/qrtscript/qrt-prompt-window"
        catalogues = f"{desktop.folder}/share/locale/de/LC_MESSAGES"
        for folder in (os.path.dirname(program), catalogues):
            os.makedirs(folder)
        shutil.copy(f"{build}/qrt-prompt-window", program)
        messages = {"": r"Content-Type: text/plain; charset=ISO-8859-1\n", "Pause": "Pause\u00e4", "_Continue": "_Weiter",
                    "The login script waits until you continue.": "Es geht weiter, wenn Sie m\u00f6gen.",
                    "Asked by the program %s": "Es fragt %s"}
        with open(catalogues + "/po", "w", encoding="latin-1") as file:
            file.writelines(f'msgid "{english}"\nmsgstr "{german}"\n\n' for english, german in messages.items())
        desktop.run("msgfmt", "-o", catalogues + "/brasca-client-script.mo", catalogues + "/po")
        asked = desktop.ask("--program", program, "pause", LANGUAGE="de")
        asked.focus()
        self.assertEqual(outline(asked), ["dialog Pause\u00e4", "label Es geht weiter, wenn Sie m\u00f6gen.",
                                          "label Es fragt asker", "push button Weiter"])
        asked.press("Weiter")
        self.assertEqual(asked.answer(), "pause=0")

    def look(self, **variables):
        """The mean brightness, from 0 to 1, and the width of a window."""
        asked = desktop.ask("pause", **variables)
        asked.focus()
        path = desktop.folder + "/look.png"
        asked.picture(path)
        shown = desktop.run("convert", path, "-colorspace", "Gray", "-format", "%[fx:mean] %w", "info:").split()
        asked.press("Continue")
        asked.answer()
        return float(shown[0]), int(shown[1])

    def test_light_dark_and_twice_as_large(self):
        if kind == "wayland":
            return  # where a picture is one of the whole display
        brightness, width = self.look()
        self.assertGreater(brightness, 0.8)
        self.assertEqual(self.look(GDK_SCALE="2")[1], 2 * width)
        self.assertLess(self.look(GTK_THEME="Adwaita:dark")[0], 0.35)

    def test_a_dark_desktop_has_dark_windows(self):
        if kind == "wayland":
            return
        settings = desktop.folder + "/.config/glib-2.0/settings"
        os.makedirs(settings)
        with open(settings + "/keyfile", "w", encoding="utf-8") as file:
            file.write("[org/gnome/desktop/interface]\ncolor-scheme='prefer-dark'\n")
        self.assertLess(self.look(GSETTINGS_BACKEND="keyfile")[0], 0.35)


class Display(Case):
    def test_the_token_of_the_startup_reaches_the_compositor(self):
        if kind == "x11":
            return  # where there are no tokens
        trace = desktop.folder + "/trace"
        asked = desktop.ask("pause", prefix=["strace", "-f", "-e", "trace=sendmsg", "-s", "4096", "-o", trace],
                            XDG_ACTIVATION_TOKEN="token-4711")
        asked.press("Continue")
        self.assertEqual(asked.answer(), "pause=0")
        with open(trace, encoding="utf-8") as file:
            self.assertTrue("token-4711" in file.read(), "it is not in what the window's program has sent")

    def test_it_is_there(self):
        self.assertEqual(desktop.ask("display").finish(), ("display=0\n", ""))

    def test_the_library_finds_the_program_by_itself(self):
        asked = desktop.ask("pause", program="installed_asker")
        asked.press("Continue")
        self.assertEqual(asked.answer(), "pause=0")


if __name__ == "__main__":
    kind, build = sys.argv[1:3]
    with Desktop(kind, build) as desktop:
        unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
