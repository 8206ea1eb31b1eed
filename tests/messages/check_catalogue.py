"""check_catalogue.py SOURCE_DIR: the template is that of the code as it stands, every language has every message with
the same placeholders and blanks, and no text for people goes around the catalogue."""
import glob
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

from catalogue import placeholders, read_po, texts

FLOORS = Path(__file__).resolve().parents[2] / "cmake/floors.txt"
FOLDERS = [*FLOORS.read_text().split(), "platform", "tools"]
TEMPLATE = "po/brasca-client-script.pot"

# Whatever a text is handed to here reaches the catalogue, or is for developers and stays English.
MARKING = {"say", "output_translate", "output_mark", "catalogue_text", "catalogue_mark", "catalogue_format", "catalogue_plural"}
TRACING = {"TRACE", "TRACE_FOR", "output_trace", "syntax_error_report", "static_assert"}
# Whatever is handed to these is seen by somebody.
SHOWING = {"printf", "fprintf", "fputs", "puts", "perror", "vfprintf", "output_put", "argp_error", "error_keep", "DataError",
           "CodedError", "LdapTrouble", "Failure", "Refusal", "askLine", "askPassword"}

# Files whose texts go around it.
PLAN = "plans are in one language, so that they can be kept and compared"
PROTOCOL = "what an editor and its server tell each other"
AROUND_FILES = {
    "platform/prompt/window/style.cpp": "a style sheet",
    "tools/qrtscript/check/language_help.cpp": "sentences of the manual, in its language",
    "tools/qrtscript/check/lsp_document.cpp": PROTOCOL,
    "tools/qrtscript/check/lsp_help.cpp": "sentences of the manual, in its language",
    "tools/qrtscript/check/lsp_server.cpp": PROTOCOL,
    "tools/qrtscript/check/lsp_values.cpp": "sentences behind those of the manual, in its language",
    "tools/qrtscript/plan/difference.cpp": PLAN,
    "tools/qrtscript/plan/effects.cpp": PLAN,
    "tools/qrtscript/plan/mistake_text.cpp": PLAN,
    "tools/qrtscript/plan/plan.cpp": PLAN,
    "tools/qrtscript/plan/recorder.cpp": PLAN,
    "tools/qrtscript/plan/show_text.cpp": PLAN,
    "tools/qrtscript/plan/summary.cpp": PLAN,
    "tools/qrtscript/plan/summary_text.cpp": PLAN,
    "tools/qrtscript/plan/watch_directory.cpp": PLAN,
    "tools/qrtscript/plan/watch_language.cpp": PLAN,
}
# Texts that go around the catalogue, and why they may.
AROUND = {
    ("tools/automount/main.cpp", "qrt-automount"): "the name of a program",
    ("tools/qrtlogin/login_window.cpp", "qrtlogin: %s\n"): "the name of a program",
    ("tools/qrtlogin/window/main.cpp", "qrt-login-window: %s\n"): "the name of a program",
    ("tools/map/main.cpp", "map"): "the name of a program",
    ("tools/qrtscript/main.cpp", "qrtscript"): "the name of a program",
    ("commands/drive.cpp", "Invalid environment variable(%s)\n"): "a diagnosis of map.conf on standard output",
    ("base/exports.cpp", "ERROR, called %s(NULL)\n"): "a caller's programming error",
    ("directory/exports.cpp", "function:%s Line:%i - API:%s code:%04X %s\n"): "a line of the trace log",
    ("directory/identifier_rules.cpp", "not set"): "an identifier's value: scripts compare it",
    ("platform/common/location.cpp", "Marfs mount="): "a key of the network file system's status file",
    ("base/output.cpp", "--DEBUG--%s:%i "): "the head of a trace line",
    ("platform/client/copies/copy.cpp", "# zkclient copy 1 "): "the heading of a file that the client reads again",
    ("platform/client/copies/copy.cpp", "objectClass: organizationalUnit\n"): "a line of that file",
    ("platform/client/session/trees.cpp", "Tree %s: %zu objects read from %s in %.3f s.\n"): "a trace that the configuration asks for",
    ("platform/client/ldap/lookup.cpp", "Tree %s: schema %s.\n"): "a trace that the configuration asks for",
    ("platform/client/ldap/password_change.cpp", "unwilling to verify old password"): "what a server writes",
    ("platform/client/ldap/verdict.cpp", "AcceptSecurityContext error, data "): "what a server writes",
    ("platform/client/ldap/verdict.cpp", "Account inactivated"): "what a server writes",
    ("platform/client/ldap/verdict.cpp", "password expired!"): "what a server writes",
    ("tools/qrtscript/check/format.cpp", "home directory"): "a name of the language",
    ("tools/qrtscript/check/fmt.cpp", "qrtscript fmt: %s\n"): "the program's name and a message",
    ("tools/qrtscript/check/lsp.cpp", "qrtscript lsp: %s\n"): "the program's name and a message",
    ("tools/qrtscript/check/lsp.cpp", "qrtscript lsp"): "the program's name",
    ("tools/qrtscript/check/lsp.cpp", "password-fd"): "the name of an option",
    ("tools/qrtscript/check/main.cpp", "qrtscript fmt"): "the program's name",
    ("tools/qrtscript/check/main.cpp", "qrtscript lsp"): "the program's name",
    ("tools/qrtscript/check/main.cpp", "qrtscript"): "the program's name",
    ("tools/qrtscript/main.cpp", "qrtscript: %s\n"): "the program's name and a message",
    ("tools/qrtscript/plan/input.cpp", "qrtscript plan: %s\n"): "the program's name before a translated text",
    ("tools/qrtscript/plan/main.cpp", "qrtscript"): "the program's name",
    ("tools/qrtscript/plan/run.cpp", "qrtscript run"): "the program's name",
    ("tools/qrtscript/check/recorder.cpp", "Invalid if statement \n"): "the library's message, as it is",
    ("tools/qrtscript/check/rules_mistakes.cpp", "Reserved words cannot be used as labels"): "the parser's words",
    ("tools/qrtscript/check/rules_mistakes.cpp", "IF nested too deep"): "the parser's words",
    ("tools/qrtscript/check/rules_mistakes.cpp", "memory exhausted"): "the parser's words",
    ("tools/qrtscript/plan/session.cpp", "error"): "a key of the answer between two processes",
    ("tools/qrtscript/plan/session.cpp", "status"): "a key of the answer between two processes",
    ("language/tokenizer.cpp", "home directory"): "a name of the language",
    ("platform/prompt/window/main.cpp", "qrt-prompt-window: %s\n"): "the program's name before a translated text",
    ("tools/program_start.cpp", "%s: cannot open /dev/null: %s\n"): "before the environment is read, the language too",
    ("tools/program_start.cpp", "%s: does not run with the rights of another user or group, or with capabilities of its own\n"):
        "before the environment is read, the language too",
    ("tools/automount/map_entry.cpp", "-fstype=autofs program:"): "an entry of a map",
    ("tools/automount/mount_volume.cpp", "mount.qrt: %s\n"): "the program's name before a translated text",
    ("tools/automount/refresh.cpp", "qrt-automount: %s\n"): "the program's name before a translated text",
    ("tools/qrtlogin/logout.cpp", "qrtlogin: %s\n"): "the program's name before a translated text",
    ("tools/qrtlogin/main.cpp", "qrtlogin: %s\n"): "the program's name before a translated text",
    ("tools/qrtscript/check/check_command.cpp", "qrtscript check: %s\n"): "the program's name before a translated text",
    ("tools/qrtscript/check/explain_command.cpp", "qrtscript explain-code: %s\n"):
        "the program's name before a translated text",
    ("tools/qrtscript/check/main.cpp", "qrtscript check"): "the program's name",
    ("tools/qrtscript/check/main.cpp", "qrtscript explain-code"): "the program's name",
    ("tools/qrtscript/check/report_json.cpp", "qrtscript check"): "the program's name in JSON",
    ("tools/qrtscript/check/report_sarif.cpp", "qrtscript check"): "the program's name in JSON",
    ("tools/qrtscript/check/report_lines.cpp", "::error title=qrtscript check::"): "a command of a workflow",
}


def sources():
    return sorted(name for folder in FOLDERS for name in glob.glob(folder + "/**/*.*", recursive=True)
                  if name.endswith((".cpp", ".h", ".y")))


def is_for_people(text, calls):
    """A text of two words, the second in small letters, or any word that is handed to what shows it."""
    without = re.sub(r"%[-\d$]*[zl]*[a-zA-Z]", "", text)
    sentence = re.search(r"[A-Za-z]{2,}[,:.]? +[a-z]{2,}", without)
    return bool(sentence or (SHOWING & set(calls) and re.search("[A-Za-z]{2,}", without)))


def check_around(complain):
    used = set()
    for name in sources():
        for line, text, calls in texts(open(name, encoding="utf-8").read()):
            text = text.replace("\\n", "\n").replace('\\"', '"')
            if (MARKING | TRACING) & set(calls) or not is_for_people(text, calls):
                continue
            if name in AROUND_FILES:
                used.add(name)
            elif (name, text) in AROUND:
                used.add((name, text))
            else:
                complain(f"{name}:{line}: goes around the catalogue: {text!r}")
    for exception in (AROUND.keys() | AROUND_FILES.keys()) - used:
        complain(f"no such text any more, so no exception is needed: {exception}")


def check_template(complain):
    with tempfile.TemporaryDirectory() as folder:
        made = folder + "/made.pot"
        subprocess.run(["po/template.sh", made], check=True)
        if open(made, encoding="utf-8").read() != open(TEMPLATE, encoding="utf-8").read():
            complain(f"{TEMPLATE} is not what the code says now: run `cmake --build BUILD_DIR --target update-po`")


def blanks(text):
    return re.match(r"\s*", text).group(), re.search(r"\s*$", text).group()


def check_form(message, english, form, where, complain):
    if placeholders(form) != placeholders(english):
        complain(f"{where}: other placeholders: {form!r}")
    if len(placeholders(english)) > 1 and "$" not in english and "$" in form:
        complain(f"{where}: the message does not number its placeholders, so their order stays: {form!r}")
    if blanks(form) != blanks(english):
        complain(f"{where}: other blanks at the ends: {form!r}")
    if form == english and is_for_people(message.id, []):
        complain(f"{where}: left in English: {form!r}")


def check_language(language, wanted, complain):
    path = f"po/{language}.po"
    result = subprocess.run(["msgfmt", "-c", "--check-format", "-o", "/dev/null", path], capture_output=True, text=True)
    if result.returncode != 0 or result.stderr:
        complain(result.stderr)
    header, *messages = read_po(path)
    if f"Language: {language}\n" not in header.texts[0]:
        complain(f"{path}: the header names another language")
    if [(one.id, one.plural) for one in messages] != wanted:
        complain(f"{path} does not hold the template's messages: run the target update-po")
    for message in messages:
        where = f"{path}: {message.id!r}"
        if "fuzzy" in message.flags or not all(message.forms):
            complain(f"{where}: not translated")
            continue
        for form in message.forms:
            check_form(message, message.plural or message.id, form, where, complain)


def main():
    os.chdir(sys.argv[1])
    os.environ["LC_ALL"] = "C.UTF-8"
    complaints = []
    check_around(complaints.append)
    check_template(complaints.append)
    wanted = [(one.id, one.plural) for one in read_po(TEMPLATE)[1:]]
    languages = open("po/LINGUAS").read().split()
    if sorted(f"po/{language}.po" for language in languages) != sorted(glob.glob("po/*.po")):
        complaints.append("po/LINGUAS and the files po/*.po are not the same languages")
    for language in languages:
        check_language(language, wanted, complaints.append)
    for complaint in complaints:
        print(complaint)
    print(f"{len(wanted)} messages in {len(languages)} languages, {len(complaints)} complaints")
    return 1 if complaints or not wanted else 0


if __name__ == "__main__":
    sys.exit(main())
