#!/bin/bash
# calls.sh FILE...: a library or a program calls no function that starts a shell or writes without bounds, whether by
# its own name or as the name that a fortified build has for it.
# calls.sh --letters FILE...: nor one whose letters are those of the process's locale. A script's keywords, labels and
# names are the same in every language; in some the capital of "i" is no "I".
# calls.sh --itself COMPILER: each such call would be found.
set -euo pipefail
unbounded="system popen strcpy strcat sprintf vsprintf gets"
letters="toupper tolower strcasecmp strncasecmp strcasestr strcoll strxfrm towupper towlower ctype_b_loc ctype_toupper_loc ctype_tolower_loc"
banned=$unbounded

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

letters_itself() { # COMPILER
    local call options
    banned=$letters
    for options in "-O0" "-O2 -D_FORTIFY_SOURCE=2"; do
        for call in "toupper(c)" "tolower(c)" "isalpha(c)" "isspace(c)" "strcasecmp(text, text + 1)" \
            "strncasecmp(text, text + 1, c)" "strcasestr(text, text + 1) != 0" "strcoll(text, text + 1)" "towupper(c)"; do
            printf '%s\n' "#define _GNU_SOURCE" "#include <ctype.h>" "#include <string.h>" "#include <strings.h>" \
                "#include <wctype.h>" "int call(int c, const char *text) { return $call; }" >"$folder/letters.c"
            # shellcheck disable=SC2086 # a list of words
            "$1" $options -w -fPIC -shared -o "$folder/letters.so" "$folder/letters.c"
            [ -n "$(found_in "$folder/letters.so")" ] || { echo "$call is not found ($options)"; exit 1; }
        done
    done
}

if [ "$1" = --itself ]; then
    itself "$2"
    letters_itself "$2"
    exit
fi
if [ "$1" = --letters ]; then
    banned=$letters
    shift
fi
for file in "$@"; do
    calls=$(found_in "$file")
    [ -z "$calls" ] || { echo "$file calls:" $calls; exit 1; }
done
