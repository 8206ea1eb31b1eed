"""header.py SOURCE_DIR BUILD_DIR: libqrtscript(3) names each function, each member of the request and each code that the
public header declares, and no other function of its prefixes."""
import re
import sys

from page import Page


def main():
    source, build = sys.argv[1:]
    with open(source + "/include/qrtscript.h", encoding="utf-8") as file:
        header = re.sub(r"/\*.*?\*/", "", file.read(), flags=re.S)
    functions = set(re.findall(r"^[a-z]\w*[ *]+(\w+)\([^()]*\);", header, re.M))
    members = set(re.findall(r"[ *](\w+);", re.search(r"struct QrtRunScriptsArgs \{(.*?)\}", header, re.S)[1]))
    codes = set(re.findall(r"#define (QRT_\w+) \w+u\b", header))
    # userVar2 to userVar5
    text = Page(build, "libqrtscript.3").text.split("EXAMPLES")[0] + " userVar3 userVar4 "
    words = set(re.findall(r"\w+", text))
    missing = (functions | members | codes) - words
    others = {word for word in words if re.match(r"_*qrt_", word)} - functions - {"qrt_before_program", "qrt_in_program"}
    if len(functions) < 50 or missing or others:
        print(f"{len(functions)} functions; not in the page: {sorted(missing)}; not in the header: {sorted(others)}")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
