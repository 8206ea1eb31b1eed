#!/bin/sh
# Holds the fuzzers' dictionary to the language: it names every keyword, identifier and attribute name of the tables.
#   dictionary.sh SOURCE-FOLDER
set -eu
cd "$1"
missing=0
words() {
    sed -nE 's/^%token <text> KW_[A-Z_]+ [0-9]+ ("[A-Z_]+")$/\1/p' language/grammar.y
    sed -nE 's/^    \{"([A-Z0-9_]+)", [0-9]+\},$/"%\1"/p' directory/identifiers.cpp
}
count=$(words | wc -l)
# The tables have at least as many: a pattern that no longer finds them is no success.
[ "$count" -ge 120 ] || { echo "only $count words found in the grammar and the identifiers"; exit 1; }
for word in $(words); do
    grep -qxF "$word" tests/fuzz/script.dict || { echo "script.dict lacks $word"; missing=1; }
done
exit $missing
