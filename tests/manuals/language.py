"""language.py SOURCE_DIR BUILD_DIR: qrtscript(7) explains each keyword of the grammar and each identifier of the table, and
uses each in an example. That the examples are golden cases, and print what they show, other tests check."""
import re
import sys


def main():
    source, _ = sys.argv[1:]

    def read(path):
        with open(f"{source}/{path}", encoding="utf-8") as file:
            return file.read()

    keywords = re.findall(r'^%token <text> KW_\w+ \d+ "(\w+)"$', read("language/grammar.y"), re.M)
    identifiers = re.findall(r'^ +\{"(\w+)", \d+\},$', read("directory/identifier_names.cpp"), re.M)
    page = read("man/qrtscript.7.scd")
    example = re.compile(r"^; example: \S+\n\nThe script\n\n```\n(.*?)```.*?^; end$", re.M | re.S)
    scripts = "\n".join(example.findall(page))
    # What is said, not shown, in bold: a word or several.
    said = " ".join(re.findall(r"\*([^*\n]+)\*", example.sub("", page).replace("\\", ""))).split()
    complaints = [f"no example has {word}" for word in keywords if not re.search(rf"\b{word}\b", scripts, re.I)]
    complaints += [f"no example has %{word}" for word in identifiers if not re.search(rf"%{word}\b", scripts)]
    complaints += [f"{word} is not explained" for word in keywords + identifiers if word not in said]
    if len(keywords) < 50 or len(identifiers) < 50:
        complaints.append("the keywords or the identifiers were not found")
    print("\n".join(complaints))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
