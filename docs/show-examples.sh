#!/bin/bash
# Fills the examples of a document, in Markdown or a manual page's source (man/*.scd), from the golden cases below
# tests/scripts/, so that what it shows is what the tests check:
#   docs/show-examples.sh DOCUMENT            prints the document with its examples as the cases are
#   docs/show-examples.sh --update DOCUMENT   writes it
# An example is a line "<!-- example: TOPIC/BEHAVIOUR -->"; what follows, up to "<!-- end -->", is the case's script, its
# settings and its output. In a manual page the lines are "; example: TOPIC/BEHAVIOUR" and "; end", and "; file: PATH" is
# a file of the source tree.
set -euo pipefail
source=$(cd "$(dirname "$0")/.." && pwd)
cases=$source/tests/scripts

# A page's formatter reads backslashes in a block as well. Many empty lines together say nothing on a page.
page_block() {
    sed 's/\\/\\\\/g' | awk '
        function flush() { if (empty > 10) print "[" empty " empty lines]"; else while (empty-- > 0) print ""; empty = 0 }
        /^$/ { ++empty; next } { flush(); print } END { flush() }'
}

fenced() { # language, file
    if [ $form = page ]; then
        printf '```\n'
        page_block <"$2"
    else
        printf '```%s\n' "$1"
        cat "$2"
        # A script may lack its last line end.
        [ -z "$(tail -c 1 "$2")" ] || echo
    fi
    printf '```\n\n'
}

settings() { # FILE: as options and variables, in the form of the document
    if [ $form = page ]; then
        sed -E 's/[\\*_]/\\&/g; s/^([0-9])=(.*)/--var=\1=\2/; s/.*/*&*/' "$1"
    else
        # shellcheck disable=SC2016 # the backquotes are the document's
        sed -E 's/^([0-9])=(.*)/`--var=\1=\2`/; t; s/.*/`&`/' "$1"
    fi | paste -sd, | sed 's/,/, /g'
}

example() { # TOPIC/BEHAVIOUR
    local with=
    [ $form = document ] || printf 'The script\n\n'
    fenced '' "$cases/$1.qrt"
    [ ! -e "$cases/$1.settings" ] || with=", with $(settings "$cases/$1.settings"),"
    if [ -s "$cases/$1.expected" ]; then
        printf 'prints%s\n\n' "$with"
        fenced text "$cases/$1.expected"
    else
        printf 'prints nothing%s.\n\n' "${with%,}"
    fi
}

filled() { # DOCUMENT
    local line name inside=no form=document start='<!-- ' end=' -->'
    case $1 in *.scd) form=page start='; ' end= ;; esac
    while IFS= read -r line || [ -n "$line" ]; do
        case $line in
            "${start}example: "*"$end" | "${start}file: "*"$end")
                [ $inside = no ] || { echo "$1: an example without its end: $line" >&2; return 1; }
                name=${line#"$start"*: }
                name=${name%"$end"}
                printf '%s\n\n' "$line"
                if [ "${line#"${start}file: "}" != "$line" ]; then
                    [ -f "$source/$name" ] || { echo "$1: no such file: $name" >&2; return 1; }
                    fenced '' "$source/$name"
                else
                    [ -f "$cases/$name.qrt" ] || { echo "$1: no such case: $name" >&2; return 1; }
                    example "$name"
                fi
                inside=yes
                ;;
            "${start}end$end")
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
