"""Which suites see which file of the product, the quickest first: a mutant is tried on one after the other."""

import re
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

# Where a mistake shows: in the tests of the module itself, in whole scripts, in the programs.
FOLDERS = {
    "base": ["unit", "golden", "tools"],
    "directory": ["unit", "golden", "tools"],
    "script": ["unit", "golden"],
    "commands": ["unit", "golden", "tools"],
    "language": ["unit", "golden"],
    "run": ["unit", "golden", "tools"],
    "platform/common": ["unit", "client", "golden", "tools"],
    "platform/client/core": ["client", "golden", "tools"],
    "platform/client/ldif": ["client", "golden", "tools"],
    "platform/client/ldap": ["ldap"],
    "platform/client/copies": ["ldap"],
    "platform/client/overlay": ["client", "ldap", "allocations"],
    "platform/client/session": ["client", "golden", "tools"],
    "platform/client/interface": ["client", "golden", "tools"],
    "platform/prompt": ["tools", "golden", "memory", "windows"],
    "platform/prompt/window": ["windows"],
    "tools": ["tools", "allocations"],
    "tools/qrtlogin": ["tools", "interrupts", "allocations", "memory"],
    "tools/qrtlogin/window": ["tools", "windows"],
    "tools/map": ["tools", "golden", "allocations"],
    "tools/automount": ["tools", "drives"],
    "tools/qrtscript": ["qrtscript_tools"],
    "tools/qrtscript/check": ["qrtscript_tools"],
    "tools/qrtscript/plan": ["qrtscript_tools"],
    "tools/qrtscript/object": ["qrtscript_tools", "ldap"],
}
# Files whose work shows elsewhere. Real servers take long to start and are asked only where nothing else would tell.
EXCEPTIONS = {
    "platform/client/core/bounded.cpp": ["client", "ldap"],
    "platform/client/core/config.cpp": ["client", "ldap"],
    "platform/client/interface/connections.cpp": ["client", "golden", "tools", "ldap"],
    "platform/client/session/connections.cpp": ["client", "golden", "tools", "ldap"],
    "platform/client/core/entry_find.cpp": ["client", "golden", "ldap"],
    "platform/client/interface/identity.cpp": ["client", "golden", "tools", "memory", "ldap"],
    "platform/client/ldap/connection.cpp": ["ldap", "memory"],
    "platform/client/ldap/identity.cpp": ["ldap", "memory"],
    "platform/client/copies/copy.cpp": ["ldap", "memory"],
    "platform/client/ldap/stream.cpp": ["ldap", "memory"],
    "platform/client/core/login_check.cpp": ["client", "tools", "ldap"],
    "platform/client/copies/offline_login.cpp": ["client", "memory", "ldap"],
    "platform/client/core/password.cpp": ["client", "memory"],
    "platform/client/core/private_folder.cpp": ["client", "ldap"],
    "platform/client/interface/server_login.cpp": ["client", "tools", "ldap"],
    "tools/qrtlogin/login_summary.cpp": ["windows"],
    "tools/qrtlogin/login_window.cpp": ["windows"],
    "tools/qrtlogin/run_watch.cpp": ["windows"],
    "tools/qrtlogin/watched_calls.cpp": ["windows"],
    "tools/qrtlogin/login.cpp": ["tools", "allocations", "memory", "ldap"],
}
# Beside the test programs: what they run, and cases that are no part of one.
RUN = ["qrt-prompt-window", "qrt-login-window", "tests/asker", "tests/scan_memory", "qrtlogin", "map", "qrt-automount", "lib*.so.?"]
CASES = ["tests/windows/*.py", "tests/drives/*.*", "tests/drives/cases/*"]
# What is no test program of GoogleTest's.
ARGUMENTS = {
    "allocations": ["--stride", "97", "qrtlogin", "qrtlogin_flood", "qrtlogin_site", "map"],
    "drives": ["build/release"],
    "windows": ["build/release"],
}
# Those that are run once more under the sanitizers: what they would find is in the product's own process.
SANITIZED = {"unit", "client"}
# Under them the tests beside the file are all that is run, unless any script may be what shows the mistake.
WHOLE_UNDER_SANITIZERS = {"language/grammar.y"}
# Those whose tests each need a process of their own; of the others one process is quicker.
APART = {"client", "golden", "ldap", "memory"}
# What has to come first in its process.
FIRST = {"unit": "StateGlobals.*", "tools": "RunTest.*"}


def suites_of(file):
    return EXCEPTIONS.get(file, FOLDERS[str(Path(file).parent)])


def files():
    """Every file of the product in which mistakes can be made."""
    return [
        str(path.relative_to(ROOT)) for folder in FOLDERS for end in ("cpp", "y")
        for path in sorted((ROOT / folder).glob(f"*.{end}"))
    ]  # fmt: skip


def unlisted_folders():
    """Folders of the product that FOLDERS lacks, so that no mistake would be made in them."""
    tops = {Path(folder).parts[0] for folder in FOLDERS}
    sources = [path for top in tops for end in ("cpp", "y") for path in (ROOT / top).rglob(f"*.{end}")]
    return sorted({str(path.parent.relative_to(ROOT)) for path in sources} - FOLDERS.keys())


def kin(file, suite):
    """The filter for the tests named after the file or after its folder; empty when there are none."""
    own = Path(file)
    tests = ROOT / "tests" / suite
    found = []
    names = [f"{own.stem}*", f"{own.parent.name}_{own.stem}*", own.parent.name]
    for path in [path for name in names for path in sorted(tests.glob(f"{name}_test.cpp"))]:
        found += re.findall(r"^TEST(?:_F|_P)?\((\w+),", path.read_text(), re.MULTILINE)
    return ":".join(f"*{name}.*" for name in dict.fromkeys(found))


def all_suites():
    return {suite for file in files() for suite in suites_of(file)}
