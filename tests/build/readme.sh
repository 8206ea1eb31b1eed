#!/bin/bash
# readme.sh SOURCE_DIR BINARY_DIR [PREFIX...]: README.md shows what the quick start prints. Only the greeting's word and
# the name of the user whom the mount is for may differ. PREFIX runs the quick start as somebody else.
set -euo pipefail
export LC_ALL=C # as the README is
prefix=("${@:3}")
"${prefix[@]}" test -x "$2/qrtlogin" || exit 77
"${prefix[@]}" "$1/scripts/with-volumes.sh" "$1/examples/acme/volumes" true || exit 77
comparable() {
    sed -E -e 's/Good (morning|afternoon|evening),/Good day,/' -e 's#/mnt/brasca/[^/]+/#/mnt/brasca/USER/#'
}
diff <(awk '/^```text$/{shown=1; next} /^```$/{shown=0} shown' "$1/README.md" | comparable) \
     <("${prefix[@]}" "$1/scripts/sample-login.sh" "$2" 2>&1 | comparable)
