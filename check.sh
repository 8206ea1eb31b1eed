#!/bin/bash
# Installs what is missing, builds, and runs every test: as released, and under AddressSanitizer with
# UndefinedBehaviorSanitizer and LeakSanitizer. clang has to take the code as well, without a warning.
# The last line counts the tests of both runs together.
set -euo pipefail
cd "$(dirname "$0")"
scripts/install-packages.sh build check

passed=0
failed=0
skipped=0
run() { # preset
    local preset=$1 log summary
    echo "== $preset"
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" -- -k 0
    log=build/$preset/check.log
    ctest --preset "$preset" 2>&1 | tee "$log" | grep -vE '^ *(Start|[0-9]+/[0-9]+ Test .* Passed)' || true
    summary=$(grep -E 'tests passed, [0-9]+ tests failed out of [0-9]+' "$log") || { echo "$preset: no test ran" >&2; exit 1; }
    local bad total left
    bad=$(sed -E 's/.*, ([0-9]+) tests failed.*/\1/' <<<"$summary")
    total=$(sed -E 's/.*out of ([0-9]+).*/\1/' <<<"$summary")
    left=$(grep -c '\*\*\*Skipped' "$log" || true)
    passed=$((passed + total - bad - left))
    failed=$((failed + bad))
    skipped=$((skipped + left))
}
echo "== clang"
cmake --preset clang >/dev/null
cmake --build --preset clang
run release
run sanitizers
echo "check: $passed passed, $failed failed, $skipped skipped"
[ "$failed" -eq 0 ]
