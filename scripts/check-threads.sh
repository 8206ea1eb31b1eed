#!/bin/bash
# Whole runs under ThreadSanitizer: in a calling program, beside the thread that reads their output, in qrtlogin, and in a
# qrtlogin that is interrupted; then qrtlogin's own tests, but for those that interrupt it from a terminal: there
# ThreadSanitizer delivers a signal late, and its _exit flushes streams, for which a forked child can wait for ever.
#   scripts/check-threads.sh [RUNS]    400
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build check
cmake --preset threads >/dev/null
cmake --build --preset threads --target threads tools
tests=build/threads/tests
log=build/threads/runs.log
rm -f build/threads/race.*
export TSAN_OPTIONS="log_path=$PWD/build/threads/race exitcode=66"
passed=yes
RUNS=${1:-400} $tests/threads >"$log" || passed=no
$tests/tools --gtest_filter='QrtloginTest.*:RunTest.*-*AnInterrupt*' >>"$log" || passed=no
[ $passed = yes ] || cat "$log"
for report in build/threads/race.*; do
    [ ! -e "$report" ] || cat "$report"
done
races=$(cat build/threads/race.* 2>/dev/null | grep -c '^WARNING: ThreadSanitizer' || true)
runs=$(awk '/^[0-9]+ runs$/ {sum += $1} END {print sum + 0}' "$log")
echo "threads: $runs runs beside their reader and $(grep -c '^\[       OK \]' "$log") tests, $races races"
[ $passed = yes ] && [ "$races" -eq 0 ]
