#!/bin/bash
# quick_start_target.sh SOURCE_DIR BUILD_DIR: the target that quickstart.sh builds is all that `cmake --install` wants.
set -euo pipefail
cd "$2"
target=$(sed -nE 's/.*--target ([a-z]+).*/\1/p' "$1/quickstart.sh")
wanted=$(grep -oE "\"$PWD/[^\"]+\"" cmake_install.cmake | tr -d '"' |
    sed "s#^$PWD/##" | grep -E '\.mo$|^man/|^completions/|\.so[.0-9]*$|^to-install/' | sort -u)
[ "$(wc -l <<<"$wanted")" -ge 10 ] || { echo "cmake_install.cmake is not as expected:"; echo "$wanted"; exit 1; }
commands=$(ninja -t commands "$target")
missing=$(for file in $wanted; do grep -qF -- "$file" <<<"$commands" || echo "$file"; done)
[ -z "$missing" ] || { echo "the target $target does not build"; echo "$missing"; exit 1; }
