"""screenshots.py BUILD_DIR OUTPUT_DIR: pictures of every prompt window and of the login's as they are installed: light, dark, at 200 %, in German
and Japanese, and from right to left. scripts/make-screenshots.sh calls it."""
import gettext
import os
import shutil
import subprocess
import sys

from desktop import Desktop, Login, text_of, wait_for

LOOKS = {
    "light": {},
    "dark": {"GTK_THEME": "Adwaita:dark"},
    "200-percent": {"GDK_SCALE": "2"},
    "german": {"LANGUAGE": "de"},
    "japanese": {"LANGUAGE": "ja"},
    "right-to-left": {"LANGUAGE": "he"},
}


def nothing(_):
    pass


def wrong_input(asked):
    """Enter without a password, with Caps Lock."""
    asked.key("Caps_Lock")
    asked.type("\n")
    asked.find("alert")


def shown_password(asked):
    asked.type("sun flower")
    asked.press("Show the password")
    asked.find("push button", "Hide the password")


# The library's own question, which it asks in the person's language.
QUESTION = "Already logged in to %1$s as %2$s, log out?"


def translated(folder, text, language):
    catalogue = gettext.translation("brasca-client-script", folder + "/usr/share/locale", [language], fallback=True)
    return catalogue.gettext(text).replace("%1$s", "ACME_TREE").replace("%2$s", "jdoe.sales.acme")


# What is asked, and what the person has done when the picture is taken.
WINDOWS = {
    "login": (("login", "ACME_TREE", "jdoe.sales.acme"), nothing),
    "confirm": (("confirm", QUESTION, "12"), nothing),
    "pause": (("pause",), nothing),
}
# Pictures of which one will do.
ONCE = {"server": (("login", "(server) FS1", "<username>"), nothing), "login-problem": (WINDOWS["login"][0], wrong_input), "login-shown": (WINDOWS["login"][0], shown_password)}


LOGIN_SCRIPT = """REM A login script with two mistakes
WRITE "Good %GREETING_TIME, %LOGIN_NAME."
MAP F:=SRV1/SYS:PUBLIC
MAP G:=NOWHERE
SET REGION="north"
WRTE "welcome"
#backup-home --quick
WRITE "\x1b[31mThis is not shown in red."
{waits}WRITE "The scripts have run."
"""


def login_script(folder, waits):
    """The script, which with `waits` does not come to its end."""
    programs = folder + "/bin"
    os.makedirs(programs, exist_ok=True)
    for name, text in (("backup-home", "echo 'backup-home: no space left on device' >&2; exit 3"),
                       ("copy-templates", "echo 'copying 148 templates ...'; sleep 600")):
        with open(f"{programs}/{name}", "w", encoding="utf-8") as file:
            file.write(f"#!/bin/sh\n{text}\n")
        os.chmod(f"{programs}/{name}", 0o755)
    return LOGIN_SCRIPT.format(waits="#copy-templates\n" if waits else "")


def start_login(desktop, script="", password=None, **variables):
    """qrtlogin as it is installed; it finds its own libraries."""
    path = f"{desktop.folder}/bin:/usr/local/bin:/usr/bin:/bin"
    login = Login(desktop, "--context=sales.acme", *([] if password is None else ["jdoe"]), password=password,
                  script=script, PATH=path, **variables)
    login.window()
    return login


def login_pictures(desktop, output, look, variables):
    """The login's window while it asks, has refused, runs the scripts, and has run them."""
    login = start_login(desktop, **variables)
    login.type("jdoe\n")
    login.picture(f"{output}/login-asking-{look}.png")
    login.type("moonflower\n")
    login.find("alert")
    login.picture(f"{output}/login-refused-{look}.png")
    login.clean_up()
    for name, waits in (("running", True), ("summary", False)):
        login = start_login(desktop, login_script(desktop.folder, waits), "sunflower", **variables)
        if waits:
            wait_for("the last program", lambda login=login: login.has("label", "copy-templates"))
            wait_for("its output", lambda login=login: "148" in text_of(login.find("text")))
        else:
            login.finish()
            wait_for("the summary", lambda login=login: login.has("label", "SRV1"))
        login.focus()
        login.picture(f"{output}/login-{name}-{look}.png")
        login.clean_up()


def main():
    build, output = map(os.path.abspath, sys.argv[1:])
    os.makedirs(output, exist_ok=True)
    with Desktop("x11", build, size="1400x1000") as desktop:
        # As it is installed, with the translations, and asked by a program of a name that says something.
        subprocess.run(["cmake", "--install", build, "--prefix", "/usr"], check=True, stdout=subprocess.DEVNULL,
                       env={**os.environ, "DESTDIR": desktop.folder})
        # The text cursor is in each picture.
        os.makedirs(desktop.folder + "/.config/gtk-4.0")
        with open(desktop.folder + "/.config/gtk-4.0/settings.ini", "w", encoding="utf-8") as file:
            file.write("[Settings]\ngtk-cursor-blink=false\n")
        desktop.build = desktop.folder + "/build"
        os.makedirs(desktop.build + "/tests")
        shutil.copy(f"{build}/tests/installed_asker", f"{desktop.build}/tests/qrtlogin")
        pictures = [(f"prompt-{name}-{look}", window, variables) for look, variables in LOOKS.items()
                    for name, window in WINDOWS.items()]
        pictures += [(f"prompt-{name}", window, {}) for name, window in ONCE.items()]
        for name, (words, act), variables in pictures:
            words = [translated(desktop.folder, word, variables.get("LANGUAGE", "en")) for word in words]
            asked = desktop.ask(*words, program="qrtlogin", LD_LIBRARY_PATH=desktop.folder + "/usr/lib", **variables)
            asked.focus()
            act(asked)
            asked.picture(f"{output}/{name}.png")
            if asked.has("label", "Caps Lock is on"):
                asked.key("Caps_Lock")
            asked.process.kill()
        desktop.qrtlogin = desktop.folder + "/usr/bin/qrtlogin"
        for look, variables in LOOKS.items():
            login_pictures(desktop, output, look, variables)


if __name__ == "__main__":
    main()
