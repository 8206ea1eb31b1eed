#!/bin/bash
# Prints docs/walkthrough.md from the golden cases that it shows, so that what it promises is what the tests hold:
#   docs/make-walkthrough.sh >docs/walkthrough.md
set -euo pipefail
cd "$(dirname "$0")/../tests/scripts"
step() { # title, case, words
    printf '\n## %s\n\n%s\n\n```\n' "$1" "$3"
    cat "$2.qrt"
    printf '```\n\nprints\n\n```text\n'
    cat "$2.expected"
    printf '```\n'
}
cat <<'TEXT'
# An administrator's walk-through

Every step is a script that jdoe of the sample tree runs (`examples/acme/`); each is also a test, and this page is made
from them (`docs/make-walkthrough.sh`). To try one by hand:

    scripts/sample-login.sh build/release --login-script=tests/scripts/trees/there_and_back.qrt

The last line `[result 1]`, where it appears, stands for the result of the run.
TEXT
step 'Another tree and back' trees/there_and_back \
    'Jane Doe has the same name in the tree LAB and another password. `TREE` logs in there; a tree where she is logged in already is only made current.'
step 'A tree that nobody knows' trees/unknown 'The next statement runs.'
step 'Servers' trees/attach 'A server of the tree needs no password.'
step 'A server with its own password' trees/attach_asks \
    'OLDSRV stands outside every tree: the name and the password are asked for on the terminal, here first with a wrong one.'
step 'A tree with another password' trees/tree_asks 'The login password is tried first, then the terminal asks.'
step 'Drives' links/map_and_display 'A mapping is a link in the home directory; a drive letter serves in file names.'
step 'The current drive' links/drive 'Names without a server are looked up in the current drive.'
step 'Includes, in every notation' include/server_files \
    'A volume on the primary server, a server and a volume, a UNC name, a directory map.'
step 'An object'"'"'s script' include/directory_object 'A directory object with a login script can be included, too.'
step 'Files that are not there' include/missing_files 'Each notation has its message.'
