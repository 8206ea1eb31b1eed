#!/bin/sh
# Logs jdoe in to the sample tree with the programs of a build folder, in a home directory of its own and with the
# sample's volumes below the mount point:
#   scripts/sample-login.sh BUILD_FOLDER [qrtlogin's options]
set -eu
cd "$(dirname "$0")/.."
build=$1
shift
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
printf 'sunflower\n' >"$home/.password"

export HOME="$home" ZKCLIENT_CONF="$PWD/examples/acme/client.toml"
login() {
    "$@" --password-fd 3 jdoe.sales.acme 3<"$home/.password"
}
volumes=scripts/with-volumes.sh
$volumes examples/acme/volumes true || volumes=
echo "\$ qrtlogin $* jdoe.sales.acme"
login ${volumes:+$volumes examples/acme/volumes} "$build/qrtlogin" "$@"
echo
echo "The drives are links:"
(cd "$home" && ls -l | sed -n 's/.* \([^ ]* -> .*\)/\1/p')
