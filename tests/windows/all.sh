#!/bin/bash
# Runs the tests on X11 until one fails, for the mutation check; build/PRESET/tests/windows is a link to it.
#   all.sh BINARIES
set -eu
binaries=$(realpath "$1")
here=$(dirname "$(readlink -f "$0")")
for test in "prompts.py x11" failures.py memory.py "login.py x11"; do
    # shellcheck disable=SC2086 # two words
    /usr/bin/python3 -B "$here"/$test "$binaries" --failfast
done
