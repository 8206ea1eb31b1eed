#!/bin/bash
# Runs all cases until one fails, for the mutation check; build/PRESET/tests/drives is a link to it.
#   all.sh BINARIES
set -u
binaries=$(realpath "$1")
here=$(dirname "$(readlink -f "$0")")
for case in "$here"/cases/*.sh; do
    name=$(basename "$case" .sh)
    echo "[ RUN      ] $name"
    timeout --kill-after=5 120 "$here/run.sh" "$binaries" "$name"
    status=$?
    [ $status -eq 0 ] || [ $status -eq 77 ] || exit 1
done
