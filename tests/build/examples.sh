#!/bin/bash
# examples.sh SOURCE_DIR DOCUMENT...: each document shows the golden cases as they are, and no output of a script but
# theirs. Its other blocks of text are what programs print.
set -euo pipefail
cd "$1"
shift
for document in "$@"; do
    diff "$document" <(docs/show-examples.sh "$document")
    awk -v document="$document" '
        /^<!-- example: / { inside = 1 } /^<!-- end -->$/ { inside = 0 }
        /^```text$/ && !inside { print document ":" NR ": an output that no case is compared with"; failed = 1 }
        END { exit failed }' "$document"
done
