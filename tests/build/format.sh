#!/bin/bash
# format.sh SOURCE_DIR: every source is as clang-format writes it with the project's .clang-format.
set -euo pipefail
cd "$1"
find base bench commands directory examples include language platform po run script tests tools \
    \( -name '*.h' -o -name '*.cpp' -o -name '*.c' \) -print0 |
    xargs -0 clang-format --dry-run --Werror
