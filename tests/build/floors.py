#!/usr/bin/env python3
"""floors.py SOURCE_DIR BUILD_DIR: the folders of libqrtscript are its floors.

A file includes only its own folder and those below it in cmake/floors.txt, and its object refers to no symbol that a
higher one defines. Nowhere in the product do headers include each other in a circle.
"""

import re
import subprocess
import sys
from pathlib import Path

SOURCE, BUILD = map(Path, sys.argv[1:])
FLOORS = (SOURCE / "cmake/floors.txt").read_text().split()
# What every floor may use: the public interface, those of the platform, and what is shared with the programs.
SHARED = ("include", "platform")
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)


def sources(folder):
    return [path for end in ("h", "cpp", "y") for path in sorted((SOURCE / folder).rglob(f"*.{end}"))]


def included(path):
    """The files that this one includes, as paths from the top."""
    for name in INCLUDE.findall(path.read_text()):
        yield f"include/{name}" if name == "qrtscript.h" else name


def upward_includes():
    for folder in FLOORS:
        allowed = {*FLOORS[: FLOORS.index(folder) + 1], *SHARED}
        for path in sources(folder):
            for name in included(path):
                if name.split("/")[0] not in allowed:
                    yield f"{path.relative_to(SOURCE)} includes {name}"


def symbols(kind, path):
    listed = subprocess.run(["nm", "--format=posix", kind, path], check=True, capture_output=True, text=True).stdout
    # The weak ones are templates and inline functions, which every object has for itself.
    return {fields[0] for line in listed.splitlines() if (fields := line.split())[1] not in "wvWVu"}


def upward_references():
    objects = BUILD / "CMakeFiles/qrtscript_objects.dir"
    files = [f"{path.relative_to(SOURCE)}.o" for folder in FLOORS for path in sources(folder) if path.suffix == ".cpp"]
    found = {objects / name: name for name in files}
    found[objects / "generated/language/grammar.tab.cpp.o"] = "language/grammar.y"
    floor = {path: FLOORS.index(name.split("/")[0]) for path, name in found.items()}
    home = {symbol: path for path in found for symbol in symbols("--extern-only", path) - symbols("--undefined-only", path)}
    for path in found:
        for symbol in symbols("--undefined-only", path):
            if symbol in home and floor[home[symbol]] > floor[path]:
                yield f"{found[path]} refers to {symbol} of {found[home[symbol]]}"


def circles():
    graph = {}
    for path in [path for folder in [*FLOORS, "platform", "tools"] for path in sources(folder)]:
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


mistakes = [*upward_includes(), *upward_references(), *circles()]
print("\n".join(mistakes))
sys.exit(1 if mistakes else 0)
