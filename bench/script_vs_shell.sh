#!/bin/bash
# The time of a login script against that of a shell script that does the same, in one run:
#   bench/script_vs_shell.sh [BUILD_FOLDER]      default: build/release
# Each line is the best of five runs of either side and their ratio; below 1 the login script is the quicker one. The
# login's side has the whole login in it: password hash, directory, connection, and the reading of its output.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/release}
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export ZKCLIENT_CONF="$PWD/examples/acme/client.toml" HOME=$folder LOGIN_NAME=jdoe LC_ALL=C
echo sunflower >"$folder/password"

best() { # COMMAND...: milliseconds of the quickest of five runs
    local least=0 start end i
    for i in 1 2 3 4 5; do
        start=$(date +%s%N)
        "$@" >"$folder/output"
        end=$(date +%s%N)
        if [ "$least" = 0 ] || [ $((end - start)) -lt "$least" ]; then least=$((end - start)); fi
    done
    echo $((least / 1000))
}
login() {
    "$build/qrtlogin" --password-fd 3 --login-script="$1" jdoe.sales.acme 3<"$folder/password"
}
compare() { # NAME: both scripts stand in the folder
    local ours shells
    ours=$(best login "$folder/$1.qrt")
    local lines
    lines=$(wc -l <"$folder/output")
    for shell in dash bash; do
        shells=$(best "$shell" "$folder/$1.sh")
        awk -v name="$1" -v shell="$shell" -v a="$ours" -v b="$shells" -v lines="$lines" 'BEGIN {
            printf "%-12s %7d lines out   login %8.1f ms   %-4s %8.1f ms   ratio %.2f\n", name, lines, a / 1000, shell, b / 1000, a / b }'
    done
}

touch "$folder/empty.qrt" "$folder/empty.sh"
seq 20000 | sed 's/.*/WRITE "Hello %LOGIN_NAME, line &"/' >"$folder/write.qrt"
seq 20000 | sed 's/.*/echo "Hello $LOGIN_NAME, line &"/' >"$folder/write.sh"
seq 20000 | sed 's/.*/IF "%LOGIN_NAME" = "jdoe" AND VALUE "&" > "10000" THEN WRITE "&"/' >"$folder/conditions.qrt"
seq 20000 | sed 's/.*/if [ "$LOGIN_NAME" = jdoe ] \&\& [ & -gt 10000 ]; then echo "&"; fi/' >"$folder/conditions.sh"
seq 500 | sed 's/.*/# true/' >"$folder/programs.qrt"
seq 500 | sed 's/.*/env true/; s/env true/\/bin\/true/' >"$folder/programs.sh"
seq 20000 | sed 's/.*/SET V&="value"/' >"$folder/variables.qrt"
seq 20000 | sed 's/.*/export V&=value/' >"$folder/variables.sh"
for name in empty write conditions programs variables; do compare "$name"; done
