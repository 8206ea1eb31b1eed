"""search_paths.py BUILD_DIR PRODUCT...: nothing that was built looks for its libraries in an empty or a relative
folder, which would be one of whoever starts it. What the product consists of looks nowhere but beside itself."""
import os
import re
import subprocess
import sys


def is_elf(path):
    if os.path.islink(path) or not os.path.isfile(path):
        return False
    with open(path, "rb") as file:
        return file.read(4) == b"\x7fELF"


def search_paths(folder):
    """Each program and library below the folder with the elements of its search path."""
    for parent, _, names in os.walk(folder):
        for path in sorted(f"{parent}/{name}" for name in names if not name.endswith(".o")):
            if is_elf(path):
                dynamic = subprocess.run(["readelf", "-dW", path], check=True, capture_output=True, text=True).stdout
                yield path, [element for _, paths in re.findall(r"\((RPATH|RUNPATH)\).*\[(.*)\]", dynamic)
                             for element in paths.split(":")]


def main():
    build, product = sys.argv[1], {os.path.realpath(path) for path in sys.argv[2:]}
    faults = set()
    for path, elements in search_paths(build):
        own = path in product
        product.discard(path)
        faults |= {f"{path} looks for its libraries in '{element}'" for element in elements
                   if not re.match(r"\$ORIGIN(/|$)" if own else r"(\$ORIGIN)?/|\$ORIGIN$", element)}
    faults |= {f"{path} is not there" for path in product}
    print("\n".join(sorted(faults)))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
