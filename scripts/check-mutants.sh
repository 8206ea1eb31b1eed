#!/bin/bash
# Makes small mistakes in the product's files, the grammar included, one at a time, and lists those that no test
# notices. There are some 16,500 of them. One takes 3 seconds of processor time, or a minute if nothing notices it, so
# that all of them take a day or two; 100 take ten minutes or so. The checkout is to stay as it is meanwhile.
#   ./check.sh --mutants                          100 at random, of all files
#   ./check.sh --mutants --sample=50 --seed=2     that many, of another draw
#   ./check.sh --mutants base/words.cpp       those of a file, or of a folder; with --sample, so many of them
#   ./check.sh --mutants --again                  those that no test noticed in the last run
#   ./check.sh --mutants --all                    all of them; goes on where it was broken off
#   ./check.sh --mutants --fresh                  forgets what is known from before
# --quick leaves the sanitizers out, --verbose names the test that notices each mistake, --list only lists them.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-packages.sh build check
for preset in release sanitizers; do
    cmake --preset "$preset" >/dev/null
done
cmake --build --preset release --target unit golden tools client ldap memory interrupts allocations tests/drives
cmake --build --preset sanitizers --target unit client
exec python3 -B tests/mutation/check.py "$@"
