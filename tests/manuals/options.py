"""options.py SOURCE_DIR BUILD_DIR: each option that a program's --help lists is in the program's page, and no other. Each
subcommand of qrtscript has a section."""
import re
import sys

from page import Page, help_of, options_of


def compared(page, section, wanted):
    got = page.options(section)
    if got == wanted:
        return []
    return [f"{page.name}, {section}: not in the page: {sorted(wanted - got)}; not in --help: {sorted(got - wanted)}"]


def subcommands(source):
    with open(source + "/tools/qrtscript/subcommands.h", encoding="utf-8") as file:
        return re.findall(r'^ +\{"([a-z-]+)", "qrtscript-', file.read(), re.M)


def compared_subcommands(source, build):
    page, names = Page(build, "qrtscript.1"), subcommands(source)
    described = {title.split("/")[1] for title in page.sections if title.startswith("SUBCOMMANDS/")}
    everywhere = {"-?", "--help", "--usage", "-V", "--version"}
    if described != set(names) or "check" not in names or page.options("OPTIONS") != everywhere:
        return [f"qrtscript has the subcommands {sorted(names)}, the page {sorted(described)}"]
    complaints = []
    for name in names:
        wanted = options_of(help_of(build + "/qrtscript", name)) - everywhere
        complaints += compared(page, "SUBCOMMANDS/" + name, wanted)
    return complaints


def main():
    source, build = sys.argv[1:]
    complaints = compared(Page(build, "qrtlogin.1"), "OPTIONS", options_of(help_of(build + "/qrtlogin")))
    # These two have no table of options: --help shows how they are called.
    for name, page in (("map", "map.1"), ("qrt-automount", "qrt-automount.8")):
        shown = help_of(f"{build}/{name}")
        wanted = set(re.findall(rf"{name} (--[a-z]+)", shown)) | {"--help", "--version"}
        complaints += compared(Page(build, page), "OPTIONS", wanted)
    complaints += compared_subcommands(source, build)
    print("\n".join(complaints))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
