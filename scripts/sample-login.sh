#!/bin/sh
# Logs jdoe in to the sample tree with the programs of a build folder and a home directory of its own:
#   scripts/sample-login.sh BUILD_FOLDER                        the login of the quick start, then one with the volumes
#   scripts/sample-login.sh BUILD_FOLDER OPTION-OF-QRTLOGIN...  one login, with the volumes
# The volumes stand in a private mount namespace; where the kernel allows none, it says so and goes on without them.
set -eu
cd "$(dirname "$0")/.."
build=$1
shift
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
printf 'sunflower\n' >"$home/.password"
export HOME="$home" ZKCLIENT_CONF="$PWD/examples/acme/client.toml"

login() { # [PREFIX...] -- [OPTION...]
    prefix=
    while [ "$1" != -- ]; do
        prefix="$prefix $1"
        shift
    done
    shift
    echo "\$ qrtlogin $*${*:+ }jdoe.sales.acme"
    # shellcheck disable=SC2086 # a list of words
    $prefix "$build/qrtlogin" --password-fd 3 "$@" jdoe.sales.acme 3<"$home/.password"
}

volumes="scripts/with-volumes.sh examples/acme/volumes"
allowed=yes
$volumes true || allowed=no
[ $allowed = yes ] || volumes=
if [ $# -gt 0 ]; then
    login $volumes -- "$@"
    exit
fi
login --
if [ $allowed = yes ]; then
    echo
    login $volumes -- --login-script=examples/acme/scripts/volumes.qrt
fi
echo
echo "\$ ls -l ~"
for link in "$home"/*; do
    echo "${link##*/} -> $(readlink "$link")"
done
