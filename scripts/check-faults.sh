#!/bin/bash
# The fault sweep: a whole login with every kind of statement, run again for each call of the directory client and each
# class of code with that call failing, once and for good, under the sanitizers. tests/unit/fault_sweep_test.cpp says
# what is checked. One process for each core shares the work.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build check
cmake --preset sanitizers >/dev/null
cmake --build --preset sanitizers --target unit

# The programs that a login starts are forked from as little memory as possible: most of a login's time is that.
export ASAN_OPTIONS=quarantine_size_mb=1:malloc_context_size=10${ASAN_OPTIONS:+:$ASAN_OPTIONS}
shards=$(nproc)
logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT
for ((shard = 0; shard < shards; shard++)); do
    QRT_FAULTS=all GTEST_TOTAL_SHARDS=$shards GTEST_SHARD_INDEX=$shard \
        build/sanitizers/tests/unit --gtest_filter='*/FaultSweep.*' >"$logs/$shard" 2>&1 &
    pids[shard]=$!
done
failed=0
for ((shard = 0; shard < shards; shard++)); do
    wait "${pids[shard]}" && continue
    failed=1
    grep -v '^\[ *\(OK\|RUN\|-*\) *\]' "$logs/$shard" | tail -n 100
done
awk -v died=$failed '
    /^sweep / { logins += $2; if ($3 > calls) calls = $3; codes = $4; failures += $5 }
    END {
        if (died && !failures) failures = 1
        printf "faults: %d logins, %d calls, %d codes, %d failures\n", logins, calls, codes, failures
    }' "$logs"/*
exit $failed
