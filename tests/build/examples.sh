#!/bin/bash
# examples.sh SOURCE_DIR DOCUMENT...: each document shows the golden cases as they are, and has no output (a block marked as
# text, or, in a manual page, what "prints" announces) but theirs.
set -euo pipefail
cd "$1"
shift
for document in "$@"; do
    diff "$document" <(docs/show-examples.sh "$document")
    awk -v document="$document" '
        /^(<!--|;) example: / { inside = 1 } /^(<!-- end -->|; end)$/ { inside = 0 }
        /^(```text|prints.*)$/ && !inside { print document ":" NR ": an output that no case is compared with"; failed = 1 }
        END { exit failed }' "$document"
done
