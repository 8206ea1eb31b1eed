"""check_logins.py SOURCE_DIR BUILD_DIR [LANGUAGE...]: the programs say in every language exactly what they say in English, message by
message, with every placeholder filled in.

The English output of each run is translated through the catalogue, and the run in the other language has to equal that.
The catalogues of the build stand at their fixed place in a private mount namespace, beside the sample's volumes; exit
status 77 where the kernel allows none."""
import functools
import os
import pty
import re
import shutil
import subprocess
import sys
import tempfile

from catalogue import read_po
from translator import Translator

HERE = os.path.dirname(os.path.abspath(__file__))
HELP_FILES = {"tools/qrtlogin/options.cpp", "po/argp_texts.h"}

# What the script writes itself, and the rows of map's list.
OWN_LINE = re.compile(r"|own: .*|[A-Z]\d*:  +\S+|EXIT NOW|.*(SOMETIMES|WRITE \"own: \d+\"|= \"x\"|WRITE \)|CLS NOW|"
                      r"SHIFT A B|MEMBER OF|DEBUG DO|NO_DEFAULT NOW|PAUSE NOW|LASTLOGINTIME NOW|DISPLAY \"\"|IF \)|FIRE =)")

USER, ADMIN = "jdoe.sales.acme", "admin.acme"

# The password on descriptor 3, then the words.
RUNS = [
    ("sunflower", ["qrtlogin", f"--login-script={HERE}/many_messages.qrt", "--debug=0", USER]),
    ("sunflower", ["qrtlogin", f"--login-script={HERE}/left_open.qrt", USER]),
    ("sunflower", ["qrtlogin", "--login-script=/none.qrt", "--profile-script=/none", USER]),
    ("sunflower", ["qrtlogin", f"--login-script={HERE}/left_open.qrt", USER, "--", "/none/command"]),
    ("wrong", ["qrtlogin", USER]),
    ("", ["qrtlogin", USER]),
    ("x" * 1100, ["qrtlogin", USER]),
    ("zero\0", ["qrtlogin", USER]),
    ("sunflower", ["qrtlogin", "--password-fd=77", USER]),
    ("seaweed", ["qrtlogin", "rfox.it.acme"]),
    ("sunflower", ["qrtlogin", "nobody.acme"]),
    ("sunflower", ["qrtlogin", "--tree=NONE", USER]),
    ("sunflower", ["qrtlogin", f"--login-script={HERE}/left_open.qrt", "--server=SRV9", USER]),
    ("", ["qrtlogin"]),
    ("", ["qrtlogin", "--debug=x", USER]),
    ("", ["qrtlogin", "--var=9=x", USER]),
    ("", ["qrtlogin", USER, ADMIN]),
    ("", ["qrtlogin", "--shell", "--print-environment", USER]),
    ("", ["qrtlogin", USER, "--"]),
    ("", ["map"]),
    ("", ["map", "--help"]),
    ("", ["map", "H:"]),
    ("", ["map", "DEL H:"]),
    ("", ["map", "H:=SRV1/USERS:home/jdoe,H:,INS S1:=SRV1/SYS:public,DEL H:"]),
    ("", ["map", "NEXT .APPS.acme:"]),
    ("", ["map", "H:=SRV9/SYS:"]),
    ("", ["map", "H:=SRV1/NONE:"]),
    ("", ["map", "H:=SRV1/SYS:none/there"]),
    ("", ["map", "H:=.jdoe.sales.acme:"]),
    ("", ["map", "H:=SRV1/SYS:../.."]),
    ("", ["map", "H:=//SRV1"]),
    ("", ["map", "H:=" + "x" * 600]),
    ("", ["map", "S99:=SRV1/SYS:"]),
    ("", ["map", "DISPLAY MAYBE"]),
    ("", ["map", "DEL H:=SRV1/SYS:"]),
    ("", ["map", "H:="]),
    ("", ["map", "NEXT H:=SRV1/SYS:"]),
    ("", ["map", "INS H:=SRV1/SYS:"]),
    ("", ["map", "SRV1/SYS:"]),
    ("", ["map", "H:,,"]),
]

# A client.toml that something is wrong with; LDIF stands for a tree's file with what follows the bar in it.
BROKEN = [
    "name = 1", "default_tree = 7", "mount_point = \"here\"", "tree = 1", "default_tree = \"NONE\"", "[[tree]]\nname = \"\"",
    "[[tree]]\nname = \"A_\"", "[[tree]]\nname = \"A\"\nldif = \"none.ldif\"", "[[tree]]\nname = \"A\"\nuris = 1",
    "[[tree]]\nname = \"A\"\nuris = []", "[[tree]]\nname = \"A\"\nuris = [\"http://x\"]",
    "[[tree]]\nname = \"A\"\nuris = [\"ldap://x\"]\nldif = \"y\"",
    "[[tree]]\nname = \"A\"\nuris = [\"ldap://x\"]\nsasl_external = true",
    "[[tree]]\nname = \"A\"\nuris = [\"ldap://x\"]\nsasl_external = 1",
    "[[tree]]\nname = \"A\"\nuris = [\"ldap://x\"]\ntime_limit = 0",
    "[[tree]]\nname = \"A\"\nuris = [\"ldap://x\"]\nattributes = 1",
    "[[tree]]\nname = \"A\"\nuris = [\"ldap://x\"]\nattributes = { a = \"b\" }",
    "[[tree]]\nname = \"A\"\nuris = [\"ldap://x\"]\nsearch_base = \"x\"",
    "[[tree]]\nname = \"A\"\nuris = [\"ldap://127.0.0.1:1\"]\nbase = \"o=acme\"",
    "[[tree]]\nname = \"A\"\nuris = [\"ldaps://127.0.0.1:1\"]\nca_file = \"none.pem\"\nbase = \"o=acme\"",
    "[[tree]]\nname = \"A\"\nldif = \"none.ldif\"\n[[tree]]\nname = \"a\"\nldif = \"none.ldif\"",
    "[[tree]]\nname = \"A\"\nldif = \"tree.ldif\"\ndefault_server = \"SRV9\"",
] + ["LDIF|" + text for text in (
    "dn: x\no: x\n", "o: acme\n", " more\n", "dn: o=acme\no acme\n", "dn: o=acme\n=: x\n", "dn: o=acme\n\n", "dn: o=acme\no:: ?\n",
    "dn: o=acme\no:< http://x\n", "dn: o=acme\no:< file://host/x\n", "dn: o=acme\no:< file:%\n", "dn: o=acme\no:< file:none\n",
    "dn: o=acme\no:< file:/etc/hostname\n", "dn: o=acme\nchangetype: delete\n", "dn: o=acme\ndn: o=acme\n", "version: 2\n",
    "dn: o=acme\no: acme\n", "dn: o=acme\nobjectClass: organization\n", "dn: ou=x,o=acme\nobjectClass: organizationalUnit\nou: x\n",
    "dn: o=acme\nobjectClass: organization\no: acme\n\ndn: o=acme\nobjectClass: organization\no: acme\n",
    "dn: o=acme\nobjectClass: organization\no: acme\nqrtLocked: maybe\n", "dn: o=acme\nobjectClass: alias\no: acme\n",
    "dn: o=acme\nobjectClass: organization\no: acme\nqrtLoginExpirationTime: soon\n",
    "dn: o=acme\nobjectClass: organization\no: acme\nqrtPath: x\n", "dn: o=acme\nobjectClass: organization\no: acme\nmember: x\n",
    "dn: o=acme\nobjectClass: organization\no: acme\nqrtNetworkAddress: x\n", "dn: o=acme\nobjectClass: organization\no:\n",
)]


class Programs:
    def __init__(self, source, build, folder):
        self.source, self.build, self.folder = source, build, folder

    def environment(self, language, configuration):
        home = self.folder + "/home"
        shutil.rmtree(home, ignore_errors=True)
        os.mkdir(home)
        kept = {name: value for name, value in os.environ.items() if re.match("(ASAN|LSAN|UBSAN|GCOV)_|LD_|PATH$", name)}
        return {**kept, "HOME": home, "ZKCLIENT_CONF": configuration, "LC_ALL": "C.UTF-8", "LANGUAGE": language}

    @functools.lru_cache(maxsize=None)
    def english(self, how, *what):
        return getattr(self, how)("en", *what)

    def run(self, language, password, words, configuration=None):
        configuration = configuration or self.source + "/examples/acme/client.toml"
        words = [f"{self.build}/{words[0]}", *words[1:]]
        if words[0].endswith("qrtlogin") and not any(word.startswith("--password-fd") for word in words):
            words.insert(1, "--password-fd=3")
        reading, writing = os.pipe()
        os.write(writing, password.encode())
        os.close(writing)
        os.dup2(reading, 3)
        result = subprocess.run(words, env=self.environment(language, configuration), pass_fds=[3], stdin=subprocess.DEVNULL,
                                capture_output=True, start_new_session=True)
        os.close(3)
        return result.returncode, result.stdout.decode(), result.stderr.decode()

    def broken(self, language, text):
        """A login with a broken configuration, or with a broken tree file."""
        kind, _, ldif = text.rpartition("|")
        if kind:
            text = '[[tree]]\nname = "A"\nldif = "tree.ldif"\n'
        for name, content in (("client.toml", text), ("tree.ldif", ldif or "dn: o=acme\nobjectClass: organization\no: acme\n")):
            with open(f"{self.folder}/{name}", "w") as file:
                file.write(content)
        return self.run(language, "x", ("qrtlogin", "jdoe"), self.folder + "/client.toml")

    def asked(self, language):
        """What stands on a terminal after a wrong password has been typed."""
        environment = self.environment(language, self.source + "/examples/acme/client.toml")
        child, terminal = pty.fork()
        if child == 0:
            os.execve(self.build + "/qrtlogin", ["qrtlogin", USER], environment)
        shown, typed = b"", False
        while True:
            if shown.endswith(b": ") and not typed:
                typed = os.write(terminal, b"wrong\n") > 0
            try:
                got = os.read(terminal, 512)
            except OSError:
                break
            shown += got
        status = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
        return status, shown.decode().replace("\r\n", "\n"), ""


def is_own(line):
    return OWN_LINE.fullmatch(line) is not None


def compare(name, english, other, translator, complain):
    wanted = (english[0], *(translator.output(text, is_own) for text in english[1:]))
    if other != wanted:
        complain(f"{name}\n--- wanted\n{wanted}\n--- got\n{other}")


def squeezed(text):
    return re.sub(r"\s", "", text)


def check_help(programs, language, messages, complain):
    """argp breaks the lines anew: every text that the English help shows stands in the other, blanks left aside."""
    english = squeezed(programs.english("run", "", ("qrtlogin", "--help"))[1])
    other = squeezed(programs.run(language, "", ("qrtlogin", "--help"))[1])
    template = read_po(programs.source + "/po/brasca-client-script.pot")
    of_help = {one.id for one in template if one.places & HELP_FILES and squeezed(one.id) in english}
    shown = [one for one in messages if one.id in of_help]
    for message in shown:
        if squeezed(message.forms[0]) not in other:
            complain(f"{language} --help lacks {message.forms[0]!r}")
    return {message.id for message in shown}


def check_language(programs, language, complain):
    messages = read_po(f"{programs.source}/po/{language}.po")[1:]
    translator = Translator(messages)
    runs = [("run", password, tuple(words)) for password, words in RUNS] + [("broken", text) for text in BROKEN]
    for how, *what in [*runs, ("asked",)]:
        english, other = programs.english(how, *what), getattr(programs, how)(language, *what)
        compare(f"{language} {how} {what}", english, other, translator, complain)
    shown = translator.used | check_help(programs, language, messages, complain)
    for line in set(translator.unknown):
        complain(f"{language}: no message says {line!r}")
    return len(shown), len(messages)


def main():
    if sys.argv[1] != "--inside":
        source = os.path.realpath(sys.argv[1])
        command = [source + "/scripts/with-volumes.sh", source + "/examples/acme/volumes", sys.executable, __file__, "--inside",
                   source, os.path.realpath(sys.argv[2]), *sys.argv[3:]]
        os.execv(command[0], command)
    source, build, *languages = sys.argv[2:]
    subprocess.run(["mount", "--bind", build + "/locale", "/usr/share/locale"], check=True)
    complaints = []
    with tempfile.TemporaryDirectory() as folder:
        programs = Programs(source, build, folder)
        for language in languages or open(source + "/po/LINGUAS").read().split():
            shown, all_messages = check_language(programs, language, complaints.append)
            print(f"{language}: {shown} of {all_messages} messages shown")
    for complaint in complaints:
        print(complaint)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
