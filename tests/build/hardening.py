"""hardening.py BUILD_DIR COMPILER PRODUCT...: each program and library of the product is position-independent, maps its
relocated data read-only before it starts, has no executable stack, checks its stack and its buffers, and marks where
jumps may go. A binary that is built without each of these has to be noticed."""
import json
import platform
import re
import subprocess
import sys
import tempfile

# At which the C library checks the sizes of buffers that are known only as the program runs.
FORTIFY_LEVEL = "-D_FORTIFY_SOURCE=3"
SAMPLE = """#include <stdio.h>
#include <string.h>
__attribute__((visibility("default"))) int main(int argc, char **argv) {
    char buffer[64];
    memcpy(buffer, argv[0], (size_t)argc);
    return printf("%s", buffer);
}
"""
HARDENED = "-O2 -fPIE -pie -fstack-protector-strong -D_FORTIFY_SOURCE=2 -Wl,-z,relro,-z,now".split()
# What is switched off, with what has to be found then.
WEAKENED = [("-no-pie -fno-PIE", "position"), ("-Wl,-z,norelro", "read-only"), ("-Wl,-z,lazy", "read-only"),
            ("-Wl,-z,execstack", "stack is executable"), ("-fno-stack-protector", "stack protector"),
            ("-U_FORTIFY_SOURCE", "fortified")]


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def faults_of(path):
    headers, dynamic = output_of("readelf", "-lhW", path), output_of("readelf", "-dW", path)
    wanted = output_of("nm", "-D", "--undefined-only", path)
    if "Type:                              DYN" not in headers:
        yield "is not position-independent"
    if "GNU_RELRO" not in headers or not re.search(r"\bBIND_NOW\b|FLAGS_1\).*\bNOW\b", dynamic):
        yield "does not map its relocated data read-only"
    if not re.search(r"GNU_STACK .* RW ", headers):
        yield "does not say that no stack is executable"
    if "__stack_chk_fail" not in wanted:
        yield "has no stack protector"
    if not re.search(r" U __\w+_chk\b(?!_fail)", wanted.replace("__stack_chk_fail", "")):
        yield "is not fortified"


def unmarked_functions(path):
    """Exported functions, or main, that do not begin where an indirect jump may end."""
    code = output_of("objdump", "-d", "--no-show-raw-insn", "-j", ".text", path)
    exported = set(re.findall(r" T (\w+)", output_of("nm", "-D", "--defined-only", path))) | {"main"}
    functions = re.findall(r"^[0-9a-f]+ <(\w+)>:\n *[0-9a-f]+:\s+(\S+)", code, re.MULTILINE)
    starts = {name: first for name, first in functions if name in exported}
    if not starts:
        yield "has no function that could be looked at"
    yield from (f"{name} begins with {first}" for name, first in starts.items() if first != "endbr64")


def lower_levels(build):
    """Files of the product that are compiled at another level; the tests' own are built below another folder."""
    for entry in json.load(open(f"{build}/compile_commands.json")):
        target = re.search(r" -o CMakeFiles/(\w+)\.dir/", entry["command"])
        levels = re.findall(r"-[UD]_FORTIFY_SOURCE\S*", entry["command"])
        if target and levels[-1:] != [FORTIFY_LEVEL]:
            yield f"{entry['file']} is compiled with {levels} in {target[1]}"


def unnoticed(compiler):
    """Weak binaries that would pass."""
    with tempfile.TemporaryDirectory() as folder:
        open(f"{folder}/sample.c", "w").write(SAMPLE)
        for weaker, sign in [("", ""), *WEAKENED]:
            subprocess.run([compiler, *HARDENED, *weaker.split(), "-w", f"{folder}/sample.c", "-o", f"{folder}/sample"],
                           check=True)
            found = list(faults_of(f"{folder}/sample"))
            if (any(sign in fault for fault in found) if sign else not found) is False:
                yield f"with '{weaker}' the sample shows {found}"


def main():
    build, compiler, *product = sys.argv[1:]
    faults = [f"{path} {fault}" for path in product for fault in faults_of(path)]
    if platform.machine() == "x86_64":
        faults += [f"{path}: {fault}" for path in product for fault in unmarked_functions(path)]
    faults += [*lower_levels(build), *unnoticed(compiler)]
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
