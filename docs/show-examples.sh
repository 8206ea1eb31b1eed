#!/bin/bash
# Fills the examples of a document from the golden cases below tests/scripts/, so that what it shows is what the tests
# check:
#   docs/show-examples.sh DOCUMENT            prints the document with its examples as the cases are
#   docs/show-examples.sh --update DOCUMENT   writes it
# An example is a line "<!-- example: TOPIC/BEHAVIOUR -->"; what follows, up to "<!-- end -->", is the case's script, its
# settings and its output.
set -euo pipefail
cases=$(cd "$(dirname "$0")/../tests/scripts" && pwd)

fenced() { # language, file
    printf '```%s\n' "$1"
    cat "$2"
    # A script may lack its last line end.
    [ -z "$(tail -c 1 "$2")" ] || echo
    printf '```\n\n'
}

example() { # TOPIC/BEHAVIOUR
    local with=
    fenced '' "$cases/$1.qrt"
    # shellcheck disable=SC2016 # the backquotes are the document's
    [ ! -e "$cases/$1.settings" ] ||
        with=", with $(sed -E 's/^([0-9])=(.*)/`--var=\1=\2`/; t; s/.*/`&`/' "$cases/$1.settings" | paste -sd, | sed 's/,/, /g'),"
    if [ -s "$cases/$1.expected" ]; then
        printf 'prints%s\n\n' "$with"
        fenced text "$cases/$1.expected"
    else
        printf 'prints nothing%s.\n\n' "${with%,}"
    fi
}

filled() { # DOCUMENT
    local line name inside=no
    while IFS= read -r line || [ -n "$line" ]; do
        case $line in
            '<!-- example: '*' -->')
                [ $inside = no ] || { echo "$1: an example without its end: $line" >&2; return 1; }
                name=${line#<!-- example: }
                name=${name% -->}
                [ -f "$cases/$name.qrt" ] || { echo "$1: no such case: $name" >&2; return 1; }
                printf '%s\n\n' "$line"
                example "$name"
                inside=yes
                ;;
            '<!-- end -->')
                [ $inside = yes ] || { echo "$1: an end without its example" >&2; return 1; }
                printf '%s\n' "$line"
                inside=no
                ;;
            *) [ $inside = yes ] || printf '%s\n' "$line" ;;
        esac
    done <"$1"
    [ $inside = no ] || { echo "$1: the last example has no end" >&2; return 1; }
}

if [ "${1:-}" = --update ]; then
    text=$(filled "$2")
    printf '%s\n' "$text" >"$2"
else
    filled "$1"
fi
