#!/bin/bash
# exports.sh LIBRARY MAP [MODULE...]: the library exports exactly the names that its map file lists, and beside those, at a
# version node of their own, exactly what the modules need.
set -euo pipefail
private=ZKCLIENT_PRIVATE
at_node() { # PATTERN OPTION FILE...: the names at the private node; a constructor has several symbols
    nm -D "${@:2}" | sed -n "s/.* \([^ ]*\)$1$private\$/\1/p" | c++filt | sort -u
}
listed=$(sed -e 's/#.*//' -e '/local:/,$d' -e 's/^[A-Z].* {//' "$2" | tr -s ' ;{}' '\n' | grep -vE '^(global:)?$' | sort)
exported=$(nm -D --defined-only "$1" | grep -v "@@$private$" | awk '$2 != "A" {print $3}' | sed 's/@.*//' |
    grep -v '^__odr_asan' | sort)
diff <(echo "$listed") <(echo "$exported")
[ $# -lt 3 ] || diff <(at_node @ --undefined-only "${@:3}") <(at_node @@ --defined-only "$1")
echo "$(wc -l <<<"$exported") names"
