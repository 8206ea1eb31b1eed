#!/bin/bash
# Interrupts a run of scripts at random points, with BREAK ON and without, one of ten through qrtlogin.
#   scripts/check-interrupts.sh [COUNT [SEED]]    10000 interrupts and a seed of its own, which it prints
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build check
cmake --preset release >/dev/null
cmake --build --preset release --target interrupts
log=build/release/interrupts.log
passed=yes
INTERRUPTS=${1:-10000} ${2:+env SEED="$2"} build/release/tests/interrupts >"$log" || passed=no
[ $passed = yes ] || cat "$log"
grep '^seed' "$log"
grep '^interrupts:' "$log"
[ $passed = yes ]
