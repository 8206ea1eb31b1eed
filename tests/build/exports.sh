#!/bin/bash
# exports.sh LIBRARY MAP: the library exports exactly the names that its map file lists.
set -euo pipefail
listed=$(sed -e 's/#.*//' -e '/local:/,$d' "$2" | tr -s ' ;{}' '\n' | grep -vE '^(global:)?$' | sort)
exported=$(nm -D --defined-only "$1" | awk '$2 != "A" {print $3}' | sed 's/@.*//' | grep -v '^__odr_asan' | sort)
diff <(echo "$listed") <(echo "$exported") && echo "$(wc -l <<<"$exported") names"
