#!/usr/bin/env python3
"""coverage_map.py COVERAGE.md BUILD_DIR [JUNIT.xml]

Every test that the map names exists in the build and is switched on; with the record of a run, each has run and passed.
The tests of real LDAP servers count only where the build has them.
"""
import json
import re
import subprocess
import sys
import xml.etree.ElementTree


def plain(name):
    """The name without the values of a test that runs over several: a/Suite.Test/b is Suite.Test."""
    suite, _, rest = name.partition(".")
    return suite + "." + re.sub(r"/.*$", "", re.sub(r"^[^.]*/(?=[^/]*\.)", "", rest))


def behaviours(path):
    """The items of the map's lists, each in one line."""
    items = []
    for line in open(path):
        if line.startswith("- "):
            items.append(line.strip())
        elif line.startswith("  "):
            items[-1] += " " + line.strip()
    return items


def known_tests(build):
    """{plain name: all of its tests are switched on}"""
    told = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], check=True, capture_output=True)
    tests = {}
    for test in json.loads(told.stdout)["tests"]:
        off = any(p["name"] == "DISABLED" and p["value"] for p in test.get("properties", []))
        name = plain(test["name"])
        tests[name] = tests.get(name, True) and not off and "command" in test
    return tests


def passed_tests(record):
    """{plain name: all of its tests ran and passed}"""
    tests = {}
    for case in xml.etree.ElementTree.parse(record).iter("testcase"):
        name = plain(case.get("name"))
        passed = case.get("status") == "run" and case.find("skipped") is None and case.find("failure") is None
        tests[name] = tests.get(name, True) and passed
    return tests


def main():
    lines = behaviours(sys.argv[1])
    known = known_tests(sys.argv[2])
    passed = passed_tests(sys.argv[3]) if len(sys.argv) > 3 else None
    with_ldap = any(name.startswith("ldap.") for name in known)
    faults, named = [], set()
    for line in lines:
        names = re.findall(r"`([a-z_]+\.[^`]*)`", line)
        if not names:
            faults.append(f"no test: {line.strip()}")
        for name in names:
            if name.startswith("ldap.") and not with_ldap:
                continue
            named.add(name)
            if name not in known:
                faults.append(f"no such test: {name}")
            elif not known[name]:
                faults.append(f"switched off: {name}")
            elif passed is not None and not passed.get(name):
                faults.append(f"has not run and passed: {name}")
    print("\n".join(sorted(set(faults))))
    print(f"{len(lines)} behaviours, {len(named)} tests named, {len(set(faults))} faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
