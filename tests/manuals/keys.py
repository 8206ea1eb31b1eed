"""keys.py SOURCE_DIR BUILD_DIR: client.toml(5) and the client's README.md have each key that the client reads, in its
table, and no other; the client takes the examples."""
import re
import subprocess
import sys
import tempfile

from page import Page

TREE, TOP = "[[tree]]", "above the tables"
TABLES = {"read_server": "[[server]]", "read_volume": "[[volume]]", "read_automount": "[automount]"}
OBJECTS = {"top": TOP, "user": "[[server.user]]"}
SECTIONS = {"KEYS ABOVE THE TABLES": TOP, "KEYS OF EVERY TREE": TREE, "KEYS OF TREES ON LDAP SERVERS": TREE,
            "KEYS OF FILE SERVERS": "[[server]]", "KEYS OF USERS OF FILE SERVERS": "[[server.user]]",
            "KEYS OF VOLUMES": "[[volume]]", "KEYS OF AUTOMOUNT": "[automount]"}
READERS = "text|texts|required|flag|seconds|daysOrNone|days|pairs|tables|section"


def read_by_code(source):
    """(table, key) for each call that reads a key."""
    with open(source + "/platform/client/core/config.cpp", encoding="utf-8") as file:
        code = file.read()
    constants = dict(re.findall(r'constexpr const char \*(\w+) = "(\w+)";', code))
    found = set()
    for function in re.split(r"\n(?=static )", code):
        name = re.match(r"static [\w:<> ]+?[ *&](\w+)\(", function)
        for what, key in re.findall(rf"\b(table|top|user)\.(?:{READERS})\(\s*([^\s,)]+)", function):
            key = key.strip('"') if key.startswith('"') else constants[key]
            found.add((OBJECTS.get(what) or TABLES.get(name[1], TREE), key))
    return found


def in_page(page):
    found = set()
    for section, table in SECTIONS.items():
        for head in page.entries(section):
            found.update((table, key) for key in re.findall(r"(?:^|, )([a-z_]+)(?= =|,|$)", head.split(" = ")[0]))
    return found


def in_readme(source):
    """Those of the example that lists them all."""
    with open(source + "/platform/client/README.md", encoding="utf-8") as file:
        text = file.read()
    found, table = {(TOP, key) for key in re.findall(r"`(mount) = ", text)}, TOP
    for line in re.search(r"```toml\n(.*?)```", text, re.S)[1].splitlines():
        header = re.match(r"(\[+([a-z.]+)\]+)", line)
        if header:
            table = header[1]
            found.add(("[[server]]", "user") if table == "[[server.user]]" else (TOP, header[2]))
        key = re.match(r"(?:# )?([a-z_]+) = ", line)
        if key:
            found.add((table, key[1]))
    return found


def refused(build, example):
    """What the client says against an example. It is read before the tree of a login is looked for."""
    with tempfile.NamedTemporaryFile("w", suffix=".toml") as file:
        file.write(example)
        file.flush()
        done = subprocess.run([build + "/qrtlogin", "--password-fd=0", "--tree=NONE", "jdoe"], input="", text=True,
                              capture_output=True, timeout=60,
                              env={"PATH": "/usr/bin:/bin", "LC_ALL": "C", "HOME": "/tmp", "ZKCLIENT_CONF": file.name})
        no_such_tree = 4
        return "" if done.returncode == no_such_tree else f"{done.returncode}: {done.stderr}"


def examples(source):
    with open(source + "/man/client.toml.5.scd", encoding="utf-8") as file:
        return re.findall(r"```\n(.*?)```", file.read().split("# EXAMPLES")[1], re.S)


def main():
    source, build = sys.argv[1:]
    wanted, complaints = read_by_code(source), []
    for where, got in (("client.toml(5)", in_page(Page(build, "client.toml.5"))), ("README.md", in_readme(source))):
        if got != wanted:
            complaints.append(f"{where}: not there: {sorted(wanted - got)}; not read: {sorted(got - wanted)}")
    shown = examples(source)
    if len(shown) < 2 or "unknown key colour" not in refused(build, shown[0] + "colour = 1\n"):
        complaints.append("an unknown key in an example is not noticed")
    complaints += [f"{reason}{example}" for example in shown if (reason := refused(build, example))]
    print("\n".join(complaints))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
