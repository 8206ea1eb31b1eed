#!/bin/bash
# Fuzzes every part that takes texts from outside, with libFuzzer under AddressSanitizer and UndefinedBehaviorSanitizer.
#   check-fuzz.sh [--runs=N] [SECONDS] [TARGET ...]
#     SECONDS   for each target, 60 unless given
#     --runs=N  so many executions of each target instead, however long they take
#     TARGET    only these of tests/fuzz/targets/
# The corpora grow in build/fuzz/corpus/ from one run to the next; an input that fails is kept in build/fuzz/failed/.
set -euo pipefail
cd "$(dirname "$0")/.."

all="tokenizer parse substitution words conf ldif names object_path prompt terminal ldap_answers client_toml offline_copy srv_answer map_arguments volume_source automount_site qrtscript_check format lsp tool_files ldif_rewrite"
limit=-max_total_time=60
targets=
for word in "$@"; do
    case $word in
        --runs=*[!0-9]* | --runs=) echo "check-fuzz.sh: '$word' is no number" >&2; exit 64 ;;
        --runs=*) limit=-runs=${word#--runs=} ;;
        *[!0-9]*)
            [ -f "tests/fuzz/targets/$word.cpp" ] || { echo "check-fuzz.sh: no target is called '$word'" >&2; exit 64; }
            targets="$targets $word"
            ;;
        *) limit=-max_total_time=$word ;;
    esac
done
targets=${targets:-$all}

scripts/install-packages.sh build check
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

build=$PWD/build/fuzz
# The golden cases are seeds as they stand.
scripts_folder=$build/seeds/scripts
mkdir -p "$scripts_folder"
find tests/scripts -name '*.qrt' | while read -r script; do
    cp "$script" "$scripts_folder/$(echo "${script#tests/scripts/}" | tr / _)"
done

{ cat tests/fuzz/script.dict; tests/fuzz/dictionary.sh .; } >"$build/script.dict"
# Of the targets, the dictionary and the longest input; further seeds.
dictionary_of() {
    case $1 in
        tokenizer | parse | substitution | format | qrtscript_check) echo "$build/script.dict" ;;
        *) echo "tests/fuzz/$1.dict" ;;
    esac
}
longest_of() {
    case $1 in
        tokenizer | substitution | names | object_path | prompt | terminal) echo 256 ;;
        ldap_answers | lsp) echo 2048 ;;
        *) echo 512 ;;
    esac
}

executions=0 failures=0 count=0
for target in $targets; do
    corpus=$build/corpus/$target failed=$build/failed/$target log=$build/fuzz_$target.log
    mkdir -p "$corpus" "$failed"
    seeds=("tests/fuzz/seeds/$target")
    case $target in tokenizer | parse | format) seeds+=("$scripts_folder") ;; esac
    dictionary=$(dictionary_of "$target")
    options=("$limit" -max_len="$(longest_of "$target")" -timeout=10 -rss_limit_mb=1024 -entropic=0 -reload=0
        -print_final_stats=1 -artifact_prefix="$failed/")
    [ ! -f "$dictionary" ] || options+=(-dict="$dictionary")
    status=0
    "$build/tests/fuzz/fuzz_$target" "${options[@]}" "$corpus" "${seeds[@]}" >"$log" 2>&1 || status=$?
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    coverage=$(grep -ao 'cov: [0-9]*' "$log" | tail -1) || true # none where a seed fails
    echo "$target: ${runs:-0} executions, ${coverage:-cov: 0}"
    executions=$((executions + ${runs:-0})) count=$((count + 1))
    if [ $status -ne 0 ]; then
        failures=$((failures + 1))
        grep -aE 'ERROR|runtime error|does not hold|SUMMARY' "$log" | head -3 >&2 || true
        echo "$target failed. Its input is in $failed, all that was said in $log; to see it again:" >&2
        echo "    $build/tests/fuzz/fuzz_$target $(sed -n 's/.*Test unit written to //p' "$log" | tail -1)" >&2
    fi
done
echo "fuzz: $count targets, $executions executions, $failures crashes"
[ $failures -eq 0 ]
