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

from broken_sites import CONFIGURATIONS, LDIF_TREE, ORGANIZATION, SERVERS, TREE_FILES, tree
from catalogue import read_po
from odd_server import OddServer, make_certificate
from translator import Translator

HERE = os.path.dirname(os.path.abspath(__file__))
HELP_FILES = {"tools/qrtlogin/options.cpp", "po/argp_texts.h"}

# What the script writes itself, and the rows of map's list.
OWN_LINE = re.compile(r"|own: .*|[A-Z]\d*:  +\S+|EXIT NOW|.*(SOMETIMES|WRITE \"own: \d+\"|= \"x\"|WRITE \)|CLS NOW|"
                      r"SHIFT A B|MEMBER OF|DEBUG DO|NO_DEFAULT NOW|PAUSE NOW|LASTLOGINTIME NOW|DISPLAY \"\"|IF \)|FIRE =)")

# The descriptor that passwords are read from.
PASSWORD = 3
LOGIN = ["@/qrtlogin", "--password-fd=3"]
USER, ADMIN = "jdoe.sales.acme", "admin.acme"

# The password on descriptor 3, then the words; "@/" stands for the folder of the programs.
RUNS = [
    ("sunflower", [*LOGIN, f"--login-script={HERE}/many_messages.qrt", "--debug=0", USER]),
    ("sunflower", [*LOGIN, f"--login-script={HERE}/left_open.qrt", USER]),
    ("sunflower", [*LOGIN, "--login-script=/none.qrt", "--profile-script=/none", USER]),
    # A script that is gone when its turn comes.
    ("sunflower", ["/bin/sh", "-c", 'echo "#rm $HOME/own.qrt" | tee "$HOME/own.qrt" >"$HOME/first.qrt"; exec "@/qrtlogin" '
                   f'--password-fd=3 --profile-script="$HOME/first.qrt" --login-script="$HOME/own.qrt" {USER}']),
    ("sunflower", ["/bin/sh", "-c", f'mkfifo "$HOME/x"; exec "@/qrtlogin" --login-script="$HOME/x" {USER}']),
    ("sunflower", ["/bin/sh", "-c", f'exec "@/qrtlogin" --password-fd=3 {USER} >/dev/full']),
    ("sunflower", ["/bin/sh", "-c", 'echo "SET A=\\"b\\"" >"$HOME/own.qrt"; exec "@/qrtlogin" --password-fd=3 '
                   f'--print-environment --login-script="$HOME/own.qrt" {USER} >/dev/full']),
    ("sunflower", [*LOGIN, f"--login-script={HERE}/left_open.qrt", USER, "--", "/none/command"]),
    ("sunflower", ["/bin/sh", "-c", 'printf "REM\\nA:\\nGOTO A\\n" >"$HOME/own.qrt"; exec "@/qrtlogin" --password-fd=3 '
                   f'--time-limit=1 --login-script="$HOME/own.qrt" {USER}']),
    ("sunflower", ["/bin/sh", "-c", 'echo "while kill -INT \\$PPID; do sleep 0.1; done" >"$HOME/insist"; '
                   'echo "#sh $HOME/insist" >"$HOME/own.qrt"; exec "@/qrtlogin" --password-fd=3 '
                   f'--login-script="$HOME/own.qrt" {USER}']),
    ("sunflower", ["/bin/sh", "-c", 'printf "SET A=\\"%0140000d\\"\\n#true\\n" 0 >"$HOME/own.qrt"; exec "@/qrtlogin" '
                   f'--password-fd=3 --login-script="$HOME/own.qrt" {USER}']),
    ("wrong", [*LOGIN, USER]),
    ("", [*LOGIN, USER]),
    ("x" * 1100, [*LOGIN, USER]),
    ("zero\0", [*LOGIN, USER]),
    ("sunflower", ["@/qrtlogin", "--password-fd=77", USER]),
    ("seaweed", [*LOGIN, "rfox.it.acme"]),
    ("sunflower", [*LOGIN, "nobody.acme"]),
    ("sunflower", [*LOGIN, "--tree=NONE", USER]),
    ("sunflower", [*LOGIN, f"--login-script={HERE}/left_open.qrt", "--server=SRV9", USER]),
    ("", [*LOGIN]),
    ("", [*LOGIN, "--debug=x", USER]),
    ("", [*LOGIN, "--var=9=x", USER]),
    ("", [*LOGIN, USER, ADMIN]),
    ("", [*LOGIN, "--shell", "--print-environment", USER]),
    ("", [*LOGIN, USER, "--"]),
    ("", ["@/map"]),
    ("", ["@/map", "--help"]),
    ("", ["@/map", "H:"]),
    ("", ["@/map", "DEL H:"]),
    ("", ["@/map", "H:=SRV1/USERS:home/jdoe,H:,INS S1:=SRV1/SYS:public,DEL H:"]),
    ("", ["@/map", "NEXT .APPS.acme:"]),
    ("", ["@/map", "H:=SRV9/SYS:"]),
    ("", ["@/map", "H:=SRV1/NONE:"]),
    ("", ["@/map", "H:=SRV1/SYS:none/there"]),
    ("", ["@/map", "H:=.jdoe.sales.acme:"]),
    ("", ["@/map", "H:=SRV1/SYS:../.."]),
    ("", ["@/map", "H:=//SRV1"]),
    ("", ["@/map", "H:=" + "x" * 600]),
    ("", ["@/map", "S99:=SRV1/SYS:"]),
    ("", ["@/map", "DISPLAY MAYBE"]),
    ("", ["@/map", "DEL H:=SRV1/SYS:"]),
    ("", ["@/map", "H:="]),
    ("", ["@/map", "NEXT H:=SRV1/SYS:"]),
    ("", ["@/map", "INS H:=SRV1/SYS:"]),
    ("", ["@/map", "SRV1/SYS:"]),
    ("", ["@/map", "H:,,"]),
    ("", ["@/map", "H:=SRV1/SYS:a\x01b"]),
    ("", ["@/map", "H:=.SRV1.acme:"]),
    ("", ["@/map", "H:=.a..b:"]),
    ("", ["@/map", ",".join(f"S{place}:=SRV1/SYS:" for place in range(1, 17)) + ",INS S1:=SRV1/SYS:"]),
    ("", ["@/map", ",".join(["NEXT SRV1/SYS:"] * 22)]),
    ("", ["/usr/bin/env", "-u", "HOME", "@/map"]),
    ("", ["/usr/bin/env", "HOME=here", "@/map"]),
    ("", ["/usr/bin/env", "HOME=/etc/hostname", "@/map"]),
    ("", ["/usr/bin/env", "QRT_TREE=NONE", "@/map", "H:=.x.acme:"]),
    ("", ["/usr/bin/env", "ZKCLIENT_CONF=/", "@/map", "H:=.x.acme:"]),
    ("", ["/bin/sh", "-c", 'chmod 777 "$HOME" && exec "@/map"']),
    ("", ["/bin/sh", "-c", 'mkdir "$HOME/H" && exec "@/map" H:=SRV1/SYS:']),
    ("", ["@/qrtlogin", USER]),
    ("", ["/usr/bin/env", "ZKCLIENT_CONF=/none", "@/qrtlogin", USER]),
    ("sunflower", ["/bin/sh", "-c", f"exec \"@/qrtlogin\" --password-fd=3 --print-environment {USER} 2>/dev/null 4>&2 >&-"]),
]


class Programs:
    def __init__(self, source, build, folder):
        self.source, self.build, self.folder = source, build, folder
        self.sample = source + "/examples/acme/client.toml"
        for name in ("CA", "OTHER"):
            make_certificate(folder, name)
        self.servers = {kind: OddServer(kind, folder) for kind, _ in SERVERS}

    @functools.lru_cache(maxsize=None)
    def english(self, how, *what):
        return getattr(self, how)("en", *what)

    def environment(self, language, configuration):
        home = self.folder + "/home"
        shutil.rmtree(home, ignore_errors=True)
        os.mkdir(home)
        kept = {name: value for name, value in os.environ.items() if re.match("(ASAN|LSAN|UBSAN|GCOV)_|LD_|PATH$", name)}
        return {**kept, "HOME": home, "ZKCLIENT_CONF": configuration, "LC_ALL": "C.UTF-8", "LANGUAGE": language}

    def run(self, language, password, words, configuration=None):
        """The status and both outputs. What stands on descriptor 3 is the password."""
        reading, writing = os.pipe()
        os.write(writing, password.encode())
        os.close(writing)
        os.dup2(reading, PASSWORD)
        os.close(reading)
        result = subprocess.run([word.replace("@/", self.build + "/") for word in words],
                                env=self.environment(language, configuration or self.sample), pass_fds=[PASSWORD],
                                stdin=subprocess.DEVNULL, capture_output=True, start_new_session=True)
        return result.returncode, result.stdout.decode(), result.stderr.decode()

    def broken(self, language, configuration, tree_file=ORGANIZATION):
        """A login at a site that something is wrong with."""
        for name, content in (("client.toml", configuration), ("tree.ldif", tree_file)):
            with open(f"{self.folder}/{name}", "w", encoding="utf-8") as file:
                file.write(content)
        return self.run(language, "x", ("@/qrtlogin", "--password-fd=3", "jdoe.acme"), self.folder + "/client.toml")

    def odd(self, language, kind, keys):
        """A login over a server that is none."""
        for name in ("CA", "OTHER"):
            keys = keys.replace(f'"{name}"', f'"{self.folder}/{name}.pem"')
        uri = self.servers[kind].uri()
        # Only the silent one is waited for to the end.
        limit = 1.0 if kind == "silent" else 30.0
        return self.broken(language, tree(f'uris = ["{uri}"]\ntime_limit = {limit}\nbase = "o=acme"\n' + keys))

    def asked(self, language, typed):
        """What stands on a terminal after the question for the password has been answered."""
        child, terminal = pty.fork()
        if child == 0:
            os.execve(self.build + "/qrtlogin", ["qrtlogin", "--tries=1", USER], self.environment(language, self.sample))
        shown, answered = b"", False
        while True:
            if shown.endswith(b": ") and not answered:
                answered = os.write(terminal, typed) > 0
            try:
                got = os.read(terminal, 512)
            except OSError:
                break
            shown += got
        os.close(terminal)
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
    english = squeezed(programs.english("run", "", ("@/qrtlogin", "--help"))[1])
    other = squeezed(programs.run(language, "", ("@/qrtlogin", "--help"))[1])
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
    runs = [("run", password, tuple(words)) for password, words in RUNS]
    runs += [("broken", configuration) for configuration in CONFIGURATIONS]
    runs += [("broken", LDIF_TREE, tree_file) for tree_file in TREE_FILES]
    runs += [("odd", kind, keys) for kind, keys in SERVERS]
    runs += [("asked", b"wrong\n"), ("asked", b"\n")]
    for how, *what in runs:
        english, other = programs.english(how, *what), getattr(programs, how)(language, *what)
        compare(f"{language} {how} {what}", english, other, translator, complain)
    shown = translator.used | check_help(programs, language, messages, complain)
    for line in set(translator.unknown):
        complain(f"{language}: no message says {line!r}")
    return len(shown), len(messages)


def enter_namespace(arguments):
    """Goes on in a mount namespace as its root; the volumes' own keeps the rights of the user who calls."""
    for namespaces in ("-Urm", "-m"):
        if subprocess.run(["unshare", namespaces, "true"], stderr=subprocess.DEVNULL).returncode == 0:
            os.execvp("unshare", ["unshare", namespaces, sys.executable, __file__, "--mount", *arguments])
    sys.exit(77)


def mount_translations(source, build, languages):
    subprocess.run(["mount", "--bind", build + "/locale", "/usr/share/locale"], check=True)
    command = [source + "/scripts/with-volumes.sh", source + "/examples/acme/volumes", sys.executable, __file__, "--inside",
               source, build, *languages]
    os.execv(command[0], command)


def main():
    if sys.argv[1] == "--mount":
        mount_translations(sys.argv[2], sys.argv[3], sys.argv[4:])
    if sys.argv[1] != "--inside":
        enter_namespace([os.path.realpath(sys.argv[1]), os.path.realpath(sys.argv[2]), *sys.argv[3:]])
    source, build, *languages = sys.argv[2:]
    os.dup2(os.open("/dev/null", os.O_RDONLY), PASSWORD)  # so that nothing else takes its number
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
