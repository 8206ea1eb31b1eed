#!/bin/sh
# Prints the words of the language as a dictionary for libFuzzer: the keywords of the grammar and the identifiers of the
# table.
#   dictionary.sh SOURCE_DIR
set -eu
cd "$1"
words=$(sed -nE 's/^%token <text> KW_[A-Z_]+ [0-9]+ ("[A-Z_]+")$/\1/p' language/grammar.y
    sed -nE 's/^    \{"([A-Z0-9_]+)", [0-9]+\},$/"%\1"/p' directory/identifier_names.cpp)
# The tables have at least as many: a pattern that no longer finds them is no success.
[ "$(echo "$words" | wc -l)" -ge 120 ] || { echo "dictionary.sh: the tables are not where they were" >&2; exit 1; }
echo "$words"
