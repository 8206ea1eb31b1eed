#!/bin/bash
# calls.sh FILE...: a library or a program calls no function that starts a shell or writes without bounds, whether by
# its own name or as the name that a fortified build has for it.
# calls.sh --itself COMPILER: each such call would be found.
set -euo pipefail
banned="system popen strcpy strcat sprintf vsprintf gets"

found_in() { # FILE
    local names
    names=$(nm -D --undefined-only "$1" | awk '{sub(/@.*/, "", $NF); print $NF}')
    [ -n "$names" ] || { echo "$1 calls nothing at all" >&2; exit 1; }
    grep -xE "(_*(${banned// /|})(_chk)?)" <<<"$names" || true
}

itself() { # COMPILER
    local name options
    folder=$(mktemp -d)
    trap 'rm -rf "$folder"' EXIT
    for options in "-O0" "-O2 -D_FORTIFY_SOURCE=2"; do
        cat >"$folder/calls.c" <<'END'
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
extern char *gets(char *);
extern char buffer[10];
void call_system(const char *text) { system(text); }
void call_popen(const char *text) { popen(text, "r"); }
void call_strcpy(const char *text) { strcpy(buffer, text); }
void call_strcat(const char *text) { strcat(buffer, text); }
void call_sprintf(const char *text) { sprintf(buffer, "%d %s", 1, text); }
void call_vsprintf(const char *text, va_list list) { vsprintf(buffer, text, list); }
void call_gets(void) { gets(buffer); }
char buffer[10];
END
        # shellcheck disable=SC2086 # a list of words
        "$1" $options -w -fPIC -shared -o "$folder/calls.so" "$folder/calls.c"
        for name in $banned; do
            found_in "$folder/calls.so" | grep -qxE "_*${name}(_chk)?" || { echo "$name is not found ($options)"; exit 1; }
        done
    done
}

if [ "$1" = --itself ]; then
    itself "$2"
    exit
fi
for file in "$@"; do
    calls=$(found_in "$file")
    [ -z "$calls" ] || { echo "$file calls:" $calls; exit 1; }
done
