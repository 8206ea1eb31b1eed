"""pages.py SOURCE_DIR BUILD_DIR: no page has a mistake that man or mandoc warns of, each has the sections that readers
look for, and refers to pages that are there."""
import re
import subprocess
import sys

from page import Page, sources

# Of other packages, and none of them is looked for.
OTHERS = {"auto.master(5)", "automount(8)", "mount(8)", "dup(2)", "free(3)", "setlocale(3)", "vfork(2)"}
SECTIONS = {"1": ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "ENVIRONMENT", "FILES", "EXAMPLES", "SEE ALSO"],
            "3": ["NAME", "SYNOPSIS", "DESCRIPTION", "RETURN VALUE", "ENVIRONMENT", "FILES", "EXAMPLES", "SEE ALSO"],
            "5": ["NAME", "SYNOPSIS", "DESCRIPTION", "EXAMPLES", "SEE ALSO"],
            "7": ["NAME", "DESCRIPTION", "EXAMPLES", "SEE ALSO"],
            "8": ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "ENVIRONMENT", "FILES", "EXAMPLES", "SEE ALSO"]}


def warnings(path):
    variables = {"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8", "MANWIDTH": "80"}
    man = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", path], env=variables,
                         capture_output=True, text=True)
    lint = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", path], env=variables, capture_output=True, text=True)
    # scdoc puts an empty paragraph in front of each heading.
    found = [line for line in lint.stdout.splitlines() if "skipping paragraph macro: PP" not in line]
    return man.stderr.splitlines() + found


def check(build, name, known):
    complaints = warnings(f"{build}/man/{name}")
    page = Page(build, name)
    missing = [section for section in SECTIONS[name[-1]] if section not in page.sections]
    if missing:
        complaints.append(f"{name} has no {', '.join(missing)}")
    for reference in set(re.findall(r"[\w.-]+\([1-8]\)", page.text.replace("‐", "-"))):
        if reference not in known | OTHERS:
            complaints.append(f"{name} refers to {reference}")
    return complaints


def main():
    source, build = sys.argv[1:]
    pages, links = sources(source)
    if len(pages) < 4:
        raise RuntimeError(f"there are more pages than {pages}")
    known = {f"{name[:-2]}({name[-1]})" for name in pages + links}
    complaints = []
    for name in pages:
        complaints += check(build, name, known)
    for name in links:
        with open(f"{source}/man/{name}", encoding="utf-8") as file:
            target = re.fullmatch(r"\.so man([1-8])/(.+\.\1)\n", file.read())
        if not target or target[2] not in pages:
            complaints.append(f"{name} leads nowhere")
    print("\n".join(complaints))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
