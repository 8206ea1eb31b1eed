#!/bin/bash
# The directory of the drives under attack: another user swaps it while map's part and the client use it.
#   scripts/check-races.sh [COUNT]    1000000 uses; only root can be two users
set -euo pipefail
cd "$(dirname "$0")/.."
[ "$(id -u)" -eq 0 ] || { echo "races: skipped, only root can be two users"; exit 77; }
scripts/install-packages.sh build check
cmake --preset release >/dev/null
cmake --build --preset release --target tools
log=build/release/races.log
passed=yes
RACES=${1:-1000000} build/release/tests/tools --gtest_filter='LinkRaces*' >"$log" || passed=no
[ $passed = yes ] || cat "$log"
grep '^races:' "$log"
[ $passed = yes ]
