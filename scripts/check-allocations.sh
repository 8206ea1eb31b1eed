#!/bin/bash
# The allocation check: the sample's scripts, whole logins and the programs, again for each allocation of each with that
# one failing, once and for good. tests/allocations/allocations.cpp says what is checked. One process for each core
# shares the work.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build check
cmake --preset release >/dev/null
cmake --build --preset release --target allocations map

shares=$(nproc)
logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT
for ((share = 0; share < shares; share++)); do
    build/release/tests/allocations --share "$share" "$shares" "$@" >"$logs/$share" 2>&1 &
    pids[share]=$!
done
failed=0
for ((share = 0; share < shares; share++)); do
    wait "${pids[share]}" || failed=1
    grep -v '^allocations: ' "$logs/$share" || true
done
awk -v failed=$failed '
    /^allocations: / { failures += $2; scripts += $5 }
    END { printf "allocations: %d failures in %d scripts %s\n", failures, scripts, failed ? "not all survived" : "survived" }
' "$logs"/*
exit $failed
