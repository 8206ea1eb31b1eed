#!/bin/bash
# Runs a command in a world of its own, in which a mistake can break nothing: what it changes in the checkout is kept in
# memory and gone afterwards, /tmp is empty, the rest of the machine's files are read-only as far as the kernel lets,
# and with the command end all the processes that it started.
#   world.sh CHECKOUT COMMAND [ARGUMENT...]
# Exit status 77: the kernel does not allow such a world.
set -eu
if [ "${1:-}" = --inside ]; then
    checkout=$2
    shift 2
    layers=$checkout/build/mutants/layers
    mount -t tmpfs -o size=4g layers "$layers"
    mkdir "$layers/changed" "$layers/work"
    mount -t overlay -o "lowerdir=$checkout,upperdir=$layers/changed,workdir=$layers/work" overlay "$checkout"
    mount -o remount,bind,ro / 2>/dev/null || true
    case $checkout/ in
        /tmp/*) ;;
        *) mount -t tmpfs -o size=4g,mode=1777 tmp /tmp ;;
    esac
    cd "$checkout"
    exec "$@"
fi
checkout=$(realpath "$1")
shift
mkdir -p "$checkout/build/mutants/layers"
for user in "" -Ur; do
    unshare $user -m true 2>/dev/null || continue
    exec unshare $user --mount --pid --fork --kill-child --mount-proc "$0" --inside "$checkout" "$@"
done
echo "world.sh: this kernel allows no private mount namespace" >&2
exit 77
