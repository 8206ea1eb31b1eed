#!/bin/bash
# Reports what of the library the tests reach: builds with counters for each line and branch, runs the tests, prints the
# figures file by file, and compares them with the floors in tests/coverage/figures.py and with the list of what is not
# reached, tests/coverage/uncovered.txt.
#   ./check.sh --coverage [REGEX]   only the tests whose names match
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build check coverage

build=build/coverage
cmake --preset coverage >/dev/null
cmake --build --preset coverage -- -k 0
find $build -name '*.gcda' -delete
# Where gcov finds the grammar's actions: the parser names their file from the top of the tree.
ln -sfn ../../language $build/language
# Some tests give up their rights: they have to be able to write the counters too, and not to talk about it. The files
# are made beforehand, since the tests themselves run with the usual rights of new files.
export GCOV_ERROR_FILE=/dev/null
for program in unit golden client; do (umask 0 && $build/tests/$program --gtest_filter=none >/dev/null); done
status=0
ctest --test-dir $build --output-on-failure --no-tests=error -j "$(nproc)" ${1:+-R "$1"} |
    grep -vE --line-buffered '^ *(Start|[0-9]+/[0-9]+ Test .* Passed)' || status=1

# A branch that the compiler made for an exception that may pass is no decision of the source's; at a catch it is the
# one of an exception of another type. The parser's skeleton
# is Bison's; the grammar's actions are counted as lines of the grammar.
counted="($build/)?($(paste -sd "|" cmake/floors.txt)|platform/common)/"
gcovr --root . --object-directory $build --filter "$counted" --exclude '.*grammar\.tab\.(cpp|h)' \
    --exclude-throw-branches --exclude-unreachable-branches --exclude-branches-by-pattern '.*\} catch \(.*' --json $build/coverage.json \
    $build/CMakeFiles/qrtscript_objects.dir $build/CMakeFiles/common.dir
tests/coverage/figures.py $build/coverage.json tests/coverage/uncovered.txt || status=1
exit $status
