#!/bin/bash
# The client and qrtlogin over the directories that sites have: a Samba domain controller and a 389 Directory Server,
# which tests/directories/README.md describes. Needs root: the servers have a private network, with their usual ports.
#   ./check.sh --directories [REGEX]   only the tests whose names match
set -euo pipefail
cd "$(dirname "$0")/.."
[ "$(id -u)" -eq 0 ] || { echo "check-directories.sh: run it as root" >&2; exit 77; }
scripts/install-packages.sh build check directories
cmake --preset release >/dev/null
cmake --build --preset release --target directories qrtlogin map automount
ctest --test-dir build/release -C directories -R "^directories\..*${1-}" --output-on-failure --no-tests=error \
    -j "$(nproc)" | grep -vE --line-buffered '^ *(Start|[0-9]+/[0-9]+ Test .* Passed|Total Test time|$)'
