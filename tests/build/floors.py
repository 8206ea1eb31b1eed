#!/usr/bin/env python3
"""floors.py SOURCE_DIR BUILD_DIR: the folders of libqrtscript and of the client are their floors.

A file includes only its own folder and those below it in floors.txt, and its object refers to no symbol that a
higher one defines. A function that libqrtscript exports is defined in its folder's exports.cpp and called by no other
file of the library. Nowhere in the product do headers include each other in a circle.
"""

import re
import subprocess
import sys
from pathlib import Path

SOURCE, BUILD = map(Path, sys.argv[1:])
# Of each library: where its folders stand, and the object files that they become. Bottom up in its floors.txt.
LIBRARIES = {"": "qrtscript_objects", "platform/client/": "zkclient_objects"}
MODULES = {"platform/client/ldap": "zkclient_ldap_objects"}
FLOORS = {
    top: [top + name for name in (SOURCE / (top or "cmake/") / "floors.txt").read_text().split()] for top in LIBRARIES
}
# What every floor may use: the public interface, those of the platform, and what is shared with the programs.
SHARED = re.compile(r"include/|platform/(common/)?[^/]+$")
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)


def sources(folder):
    return [path for end in ("h", "cpp", "y") for path in sorted((SOURCE / folder).rglob(f"*.{end}"))]


def included(path):
    """The files that this one includes, as paths from the top."""
    for name in INCLUDE.findall(path.read_text()):
        yield f"include/{name}" if name == "qrtscript.h" else name


def upward_includes():
    for floors in FLOORS.values():
        for number, folder in enumerate(floors):
            allowed = floors[: number + 1]
            for path in sources(folder):
                for name in included(path):
                    if name.rpartition("/")[0] not in allowed and not SHARED.match(name):
                        yield f"{path.relative_to(SOURCE)} includes {name}"


def symbols(kind, path):
    listed = subprocess.run(["nm", "--format=posix", kind, path], check=True, capture_output=True, text=True).stdout
    # The weak ones are templates and inline functions, which every object has for itself.
    return {fields[0] for line in listed.splitlines() if (fields := line.split())[1] not in "wvWVu"}


def objects_of(floors, library):
    """The objects of a library, with the source of each."""
    found = {}
    for folder in floors:
        objects = BUILD / f"CMakeFiles/{MODULES.get(folder, library)}.dir"
        names = [f"{path.relative_to(SOURCE)}.o" for path in sources(folder) if path.suffix == ".cpp"]
        found.update({objects / name: name for name in names})
    if "language" in floors:
        found[BUILD / f"CMakeFiles/{library}.dir/generated/language/grammar.tab.cpp.o"] = "language/grammar.y"
    return found


def upward_references(floors, library):
    found = objects_of(floors, library)
    floor = {path: floors.index(name.rpartition("/")[0]) for path, name in found.items()}
    home = {symbol: path for path in found for symbol in symbols("--extern-only", path) - symbols("--undefined-only", path)}
    for path in found:
        for symbol in symbols("--undefined-only", path):
            if symbol in home and floor[home[symbol]] > floor[path]:
                yield f"{found[path]} refers to {symbol} of {found[home[symbol]]}"


def exported_functions_inside():
    """Those of libqrtscript; the parser and the interrupt handler have no core of their own."""
    functions = (SOURCE / "libqrtscript.map").read_text().split("# functions")[1].split("# variables")[0]
    exported = {*re.findall(r"\w+", functions)} - {"yyparse", "cntrlcHandler"}
    for path, name in objects_of(FLOORS[""], LIBRARIES[""]).items():
        if not name.endswith("/exports.cpp.o"):
            for symbol in sorted(exported & symbols("--extern-only", path)):
                yield f"{name} defines or calls {symbol}"


def circles():
    graph = {}
    for path in [path for folder in [*FLOORS[""], "platform", "tools"] for path in sources(folder)]:
        name = path.relative_to(SOURCE).with_suffix("").as_posix()
        graph.setdefault(name, set()).update(Path(target).with_suffix("").as_posix() for target in included(path))
    done = set()

    def walk(module, way):
        if module in way:
            yield "circle: " + " -> ".join([*way[way.index(module) :], module])
        elif module not in done:
            for target in sorted(graph.get(module, set()) - {module}):
                yield from walk(target, [*way, module])
            done.add(module)

    for module in sorted(graph):
        yield from walk(module, [])


mistakes = [*upward_includes(), *exported_functions_inside(), *circles()]
for top, library in LIBRARIES.items():
    mistakes += upward_references(FLOORS[top], library)
print("\n".join(mistakes))
sys.exit(1 if mistakes else 0)
