#!/bin/bash
# Looks at the libraries and programs without running them: clang-tidy and cppcheck have nothing to say, and what a
# program was linked with against the last release still fits (abidiff).
#   scripts/check-analysis.sh [REVISION]    compares with that revision in place of the last tag v*
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build windows analysis
work=build/analysis
commands=$work/clang
export commands
# clang's build without the tests: theirs has commands of its own for some sources.
cmake --preset sanitizers -B $commands -DQRT_TESTS=OFF >/dev/null
cmake --preset release >/dev/null
for build in $commands build/release; do cmake --build $build --target qrtscript zkclient treelogin; done
passed=yes

# One run for each source, so that a changed file costs a few seconds; a file that was clean and has not changed since,
# nor anything that it may include, is not looked at again.
folders="$(cat cmake/floors.txt) platform tools"
stamp=$({ cat .clang-tidy $commands/compile_commands.json; find $folders include -name '*.h' -exec cat {} +; } | sha1sum)
look_at() { # SOURCE
    local log=$2/${1//\//_}.log key
    key="$3 $(sha1sum <"$1")"
    [ "$(cat "$log.clean" 2>/dev/null)" != "$key" ] || return 0
    rm -f "$log.clean"
    if clang-tidy --quiet -p "$commands" "$1" >"$log" 2>/dev/null; then echo "$key" >"$log.clean"; fi
}
export -f look_at
rm -f $work/*.log
find $folders -name '*.cpp' | sort | xargs -P "$(nproc)" -I SOURCE bash -c 'look_at "$@"' - SOURCE $work "$stamp"
sources=$(find $folders -name '*.cpp' | wc -l)
clean=$(find $work -name '*.log.clean' | wc -l)
cat $work/*.log 2>/dev/null | sort -u >$work/findings || true
tidy=$(grep -cE ': (error|warning): ' $work/findings || true)
[ "$clean" -ge "$sources" ] && [ "$tidy" -eq 0 ] || { cat $work/findings; passed=no; }

tests/build/cppcheck.sh . >$work/cppcheck 2>&1 || { cat $work/cppcheck; passed=no; }

release=${1:-$(git describe --tags --abbrev=0 --match 'v*' 2>/dev/null || true)}
if [ -z "$release" ]; then
    interface="no release to compare the interface with"
else
    old=$work/release
    rm -rf $old
    mkdir -p $old
    git archive "$release" | tar -x -C $old
    (cd $old && cmake --preset release -DQRT_TESTS=OFF >/dev/null)
    cmake --build $old/build/release --target qrtscript zkclient treelogin >/dev/null
    interface="interface as in $release"
    # What only the client's own module uses is no interface.
    printf '[suppress_function]\n  symbol_version = ZKCLIENT_PRIVATE\n' >$work/inside
    for library in qrtscript zkclient treelogin; do
        status=0
        abidiff --suppressions $work/inside "$old/build/release/lib$library.so" "build/release/lib$library.so" || status=$?
        # 4: it has changed; 8: so that programs break; 1 and 2: it could not be compared.
        [ "$status" -eq 0 ] || interface="interface changed since $release"
        [ $((status & 11)) -eq 0 ] || passed=no
    done
fi
echo "analysis: clang-tidy $sources files, $tidy findings; cppcheck $(wc -l <$work/cppcheck) findings; $interface"
[ $passed = yes ]
