#!/bin/sh
# Installs what is missing, builds, and logs a user in to the sample tree.
#   ./quickstart.sh [BUILD_FOLDER]
# It builds in build/release. If that has files of another user's, it is left as it is, and a folder below the user's own
# cache is taken: whoever comes first, and whoever comes next, can build again.
set -eu
cd "$(dirname "$0")"

is_ours() { # FOLDER, which is made if it can be
    [ -e "$1" ] || mkdir -p "$1" 2>/dev/null || return 1
    [ -w "$1" ] && [ -z "$(find "$1" ! -user "$(id -u)" -print -quit 2>&1)" ]
}

build=${1-$PWD/build/release}
if [ $# -eq 0 ] && ! is_ours "$build"; then
    # One for each checkout.
    build=${XDG_CACHE_HOME:-${HOME-}/.cache}/libqrtscript/$(printf %s "$PWD" | cksum | cut -d ' ' -f 1)
    echo "build/release is another user's: building in $build"
fi
is_ours "$build" || {
    echo "quickstart.sh: you cannot write to $build; name a folder of your own: $0 BUILD_FOLDER" >&2
    exit 1
}
build=$(cd "$build" && pwd)
log=$build/quickstart.log

step() { # WHAT COMMAND [WORDS...]: on a terminal as it goes, elsewhere in one line, and all of it when it fails
    echo "$1"
    shift
    if [ -t 1 ]; then
        "$@"
    else
        "$@" >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
    fi
}

scripts/install-packages.sh build
step "Configuring: some seconds" cmake --preset release -B "$build" --log-level=WARNING
step "Building: about three minutes on a small machine" cmake --build "$build" --target product
rm -f "$log"
exec scripts/sample-login.sh "$build"
